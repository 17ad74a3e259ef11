#pragma once

#include <QObject>

class QAction;

namespace Kestrum {
class kstVectorEditLayer;
}

// Undo and Redo for an edit layer's recorder, enabled while there is
// something to undo or redo.
class kstDemoUndoActions : public QObject
{
    Q_OBJECT

public:
    explicit kstDemoUndoActions(Kestrum::kstVectorEditLayer* editLayer, QObject* parent = nullptr);

    QAction* undoAction() const { return m_undo; }
    QAction* redoAction() const { return m_redo; }

private:
    QAction* m_undo;
    QAction* m_redo;
};
