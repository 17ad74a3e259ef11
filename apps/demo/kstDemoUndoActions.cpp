#include "kstDemoUndoActions.h"

#include "kstVectorEditLayer.h"
#include "kstVectorLayerMemo.h"

#include <QAction>

using namespace Kestrum;

kstDemoUndoActions::kstDemoUndoActions(kstVectorEditLayer* editLayer, QObject* parent)
    : QObject(parent)
    , m_undo(new QAction(tr("&Undo"), this))
    , m_redo(new QAction(tr("&Redo"), this))
{
    m_undo->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Z));
    m_redo->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    kstVectorLayerMemo* memo = editLayer->memoer();
    m_undo->setEnabled(memo->undoUsability());
    m_redo->setEnabled(memo->redoUsability());
    connect(m_undo, &QAction::triggered, memo, &kstVectorLayerMemo::undo);
    connect(m_redo, &QAction::triggered, memo, &kstVectorLayerMemo::redo);
    connect(editLayer, &kstVectorEditLayer::undoUsabilityChanged, m_undo, &QAction::setEnabled);
    connect(editLayer, &kstVectorEditLayer::redoUsabilityChanged, m_redo, &QAction::setEnabled);
}
