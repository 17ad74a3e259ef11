#pragma once

#include <QToolBar>

class QAction;
class QActionGroup;

namespace Kestrum {
class kstVectorEditLayer;
}

// The editing toolbar: one checked mode of the edit layer at a time (select,
// draw a point, line, polygon, rectangle or circle, select by rectangle or
// polygon, fit lines), snapping and delete. It follows mode
// changes that the edit layer makes itself.
class kstDemoEditToolBar : public QToolBar
{
    Q_OBJECT

public:
    explicit kstDemoEditToolBar(Kestrum::kstVectorEditLayer* editLayer, QWidget* parent = nullptr);

    QAction* modeAction(int action) const;
    QAction* snapAction() const { return m_snap; }
    QAction* deleteAction() const { return m_delete; }

signals:
    void deleteRequested();

private:
    void addMode(int action, const QString& text, const QKeySequence& shortcut);
    void showAction(int action);

    Kestrum::kstVectorEditLayer* m_editLayer;
    QActionGroup* m_modes;
    QAction* m_snap = nullptr;
    QAction* m_delete = nullptr;
};
