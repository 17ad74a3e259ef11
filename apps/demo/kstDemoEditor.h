#pragma once

#include <QList>
#include <QObject>

#include <functional>

class QLabel;
class QMainWindow;
class kstDemoEditToolBar;

namespace Kestrum {
class kstVectorCollect;
class kstVectorEditLayer;
class kstVectorLayer;
class kstVectorShape;
}

// What the demo does around the edit layer's mouse editing: new features go
// into the current layer with a fresh fid and an undo record; Delete removes
// the vertex under the pointer or else the selected shapes (recorded); a
// double click on a shape opens its feature's properties; a status label
// shows the length or area of the selected shape.
class kstDemoEditor : public QObject
{
    Q_OBJECT

public:
    using LayerSource = std::function<Kestrum::kstVectorLayer*()>;

    // `currentLayer` names the layer new features go into (null: none).
    kstDemoEditor(Kestrum::kstVectorEditLayer* editLayer, LayerSource currentLayer, QMainWindow* window);

    kstDemoEditToolBar* toolBar() const { return m_toolBar; }
    QLabel* measureLabel() const { return m_measure; }

    void insertCreated(Kestrum::kstVectorCollect* collect);
    void deleteSelection();
    void showMeasure();
    // Deletes the shapes that edits took out and nothing brought back; call
    // before the layers are destroyed.
    void disposeRemoved();

signals:
    // A feature was added or removed: lists of features are out of date.
    void featuresChanged();

private:
    void configure(Kestrum::kstVectorCollect* collect);
    void keepRemoved(const QList<Kestrum::kstVectorShape*>& shapes);

    Kestrum::kstVectorEditLayer* m_editLayer;
    LayerSource m_currentLayer;
    QMainWindow* m_window;
    kstDemoEditToolBar* m_toolBar;
    QLabel* m_measure;
    QList<Kestrum::kstVectorShape*> m_removed;
};
