#include "kstDemoEditToolBar.h"

#include "kstVectorEditLayer.h"

#include <QAction>
#include <QActionGroup>

using namespace Kestrum;

kstDemoEditToolBar::kstDemoEditToolBar(kstVectorEditLayer* editLayer, QWidget* parent)
    : QToolBar(tr("Edit"), parent)
    , m_editLayer(editLayer)
    , m_modes(new QActionGroup(this))
{
    setObjectName(QStringLiteral("editToolBar"));
    setToolButtonStyle(Qt::ToolButtonTextOnly);
    m_modes->setExclusionPolicy(QActionGroup::ExclusionPolicy::ExclusiveOptional);
    addMode(kstVectorEditLayer::SelectEdit, tr("Select"), QKeySequence(Qt::Key_S));
    addMode(kstVectorEditLayer::NewPoint, tr("Point"), QKeySequence(Qt::Key_1));
    addMode(kstVectorEditLayer::NewLine, tr("Line"), QKeySequence(Qt::Key_2));
    addMode(kstVectorEditLayer::NewPolygon, tr("Polygon"), QKeySequence(Qt::Key_3));
    addMode(kstVectorEditLayer::NewRect, tr("Rectangle"), QKeySequence(Qt::Key_4));
    addMode(kstVectorEditLayer::NewCircle, tr("Circle"), QKeySequence(Qt::Key_5));
    addMode(kstVectorEditLayer::RectSelect, tr("Rect Select"), QKeySequence(Qt::Key_R));
    addMode(kstVectorEditLayer::PolygonSelect, tr("Polygon Select"), QKeySequence(Qt::Key_P));
    addMode(kstVectorEditLayer::Fit, tr("Fit"), QKeySequence(Qt::Key_F));
    addSeparator();

    m_snap = addAction(tr("Snap"));
    m_snap->setCheckable(true);
    m_snap->setToolTip(tr("Snap placed and dragged vertices onto nearby vertices"));
    connect(m_snap, &QAction::toggled, editLayer, &kstVectorEditLayer::setVertexAdsorbEnable);

    addSeparator();
    m_delete = addAction(tr("Delete"), this, &kstDemoEditToolBar::deleteRequested);
    m_delete->setShortcut(QKeySequence::Delete);
    m_delete->setToolTip(tr("Delete the vertex under the pointer, or else the selected shapes"));

    connect(editLayer, &kstVectorEditLayer::actionChanged, this, [this](int, int now) { showAction(now); });
    showAction(editLayer->layerAction());
}

void kstDemoEditToolBar::addMode(int action, const QString& text, const QKeySequence& shortcut)
{
    QAction* mode = addAction(text);
    mode->setCheckable(true);
    mode->setShortcut(shortcut);
    mode->setData(action);
    m_modes->addAction(mode);
    // Unchecking the current mode leaves the map to panning alone.
    connect(mode, &QAction::triggered, this, [this, action](bool checked) {
        m_editLayer->setLayerAction(
            static_cast<kstVectorEditLayer::Action>(checked ? action : kstVectorEditLayer::None));
    });
}

QAction* kstDemoEditToolBar::modeAction(int action) const
{
    for (QAction* mode : m_modes->actions())
        if (mode->data().toInt() == action)
            return mode;
    return nullptr;
}

void kstDemoEditToolBar::showAction(int action)
{
    if (QAction* mode = modeAction(action))
        mode->setChecked(true);
    else if (QAction* checked = m_modes->checkedAction())
        checked->setChecked(false);
}
