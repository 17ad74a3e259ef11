#include "kstVectorEditLayer.h"

#include "kstCorrection.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QCursor>
#include <QGraphicsScene>
#include <QtConcurrent>

namespace Kestrum {

namespace {

// From this many shapes on, pixel data are recomputed on the thread pool.
constexpr int kParallelShapeThreshold = 1000;

struct ShapeSyncUpdateHold__
{
    kstVectorShape* shape;
    kstProjection* projection;
    kstMeterPerPixle__ mpp;
};

struct ShapeSyncCorrectHold__
{
    kstVectorShape* shape;
    kstCorrection* correction;
};

// One shape's pixel data on a pool thread; the position is set afterwards on
// the GUI thread, since setPos touches the scene.
QPointF syncShape(const ShapeSyncUpdateHold__& hold)
{
    kstVectorShape* shape = hold.shape;
    shape->updateBoundingRect(hold.mpp, hold.projection);
    shape->updatePixsData(hold.mpp, hold.projection);
    if (shape->isShapeSelected())
        shape->updateAddVertexPath();
    shape->updateShapePath();
    shape->updateLabels();
    return shape->getPosition(hold.mpp, hold.projection);
}

void appendPosition(QList<QPointF>& positions, const QPointF& position)
{
    positions.append(position);
}

int correctIn(const ShapeSyncCorrectHold__& hold)
{
    hold.shape->correctInShape(hold.correction);
    return 0;
}

int correctOut(const ShapeSyncCorrectHold__& hold)
{
    hold.shape->correctOutShape(hold.correction);
    return 0;
}

void discard(int&, int) {}

void correctShapes(const QList<kstVectorShape*>& shapes, kstCorrection* correction,
                   int (*step)(const ShapeSyncCorrectHold__&))
{
    QList<ShapeSyncCorrectHold__> holds;
    holds.reserve(shapes.size());
    for (kstVectorShape* shape : shapes)
        holds.append({shape, correction});
    if (holds.size() < kParallelShapeThreshold) {
        for (const ShapeSyncCorrectHold__& hold : qAsConst(holds))
            step(hold);
        return;
    }
    QtConcurrent::blockingMappedReduced<int>(holds, step, discard, QtConcurrent::OrderedReduce);
}

} // namespace

kstVectorEditLayer::kstVectorEditLayer(QGraphicsItem* parent)
    : QObject(nullptr)
    , kstElement(parent)
{
    setFlags(QGraphicsItem::ItemIsSelectable | QGraphicsItem::ItemIsFocusable);
    setCursor(Qt::ArrowCursor);
    setAcceptedMouseButtons(Qt::LeftButton | Qt::RightButton);
}

kstVectorEditLayer::~kstVectorEditLayer() = default;

void kstVectorEditLayer::setLayerAction(Action action)
{
    if (action == m_action)
        return;
    emit actionChanged(m_action, action);
    m_action = action;
}

// --- Layers --------------------------------------------------------------

void kstVectorEditLayer::insertLayer(kstVectorLayer* layer, int index)
{
    insertLayer(layer, index, false);
}

void kstVectorEditLayer::importLayer(kstVectorLayer* layer, int index)
{
    insertLayer(layer, index, true);
}

void kstVectorEditLayer::insertLayer(kstVectorLayer* layer, int index, bool shapesHavePixels)
{
    if (!layer || m_layers.contains(layer))
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        for (kstVectorShape* shape : qAsConst(collect->m_shapes)) {
            if (!shapesHavePixels) {
                attachShape(shape);
            } else {
                shape->setParentLayer(this);
                if (viewReady())
                    shape->updatePosition(mapView()->resolution()->mpp(mapView()->level()), mapView()->projection());
            }
        }
    }
    m_layers.insert(index, layer);
    emit layerInserted(layer, index);
}

void kstVectorEditLayer::removeLayer(kstVectorLayer* layer)
{
    if (!m_layers.contains(layer))
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        for (kstVectorShape* shape : qAsConst(collect->m_shapes)) {
            m_selectedShapes.removeAll(shape);
            if (shape->scene())
                shape->scene()->removeItem(shape);
        }
    }
    m_layers.removeAll(layer);
    emit layerRemoved(layer);
}

void kstVectorEditLayer::attachShape(kstVectorShape* shape)
{
    shape->setParentLayer(this);
    if (viewReady())
        shape->updateShape(mapView()->resolution()->mpp(mapView()->level()), mapView()->projection(), true);
    if (!shape->isShapeVisible())
        shape->setVisible(false);
}

kstVectorLayer* kstVectorEditLayer::layer(int index) const
{
    return index >= 0 && index < m_layers.size() ? m_layers.at(index) : nullptr;
}

void kstVectorEditLayer::resetZLevel()
{
    // Layer 0 ends on top; selected shapes above all layers; the overlay above them.
    int z = m_minZLevel;
    for (int i = m_layers.size() - 1; i >= 0; --i, ++z) {
        for (kstVectorCollect* collect : qAsConst(m_layers.at(i)->m_collects)) {
            for (kstVectorShape* shape : qAsConst(collect->m_shapes)) {
                shape->setZValue(z);
                shape->setShapeLayerZLevel(z);
            }
        }
    }
    m_selectedZLevel = m_minZLevel + m_layers.size();
    for (kstVectorShape* shape : qAsConst(m_selectedShapes))
        shape->setZValue(m_selectedZLevel);
    setZValue(m_selectedZLevel + 1);
}

QList<kstVectorShape*> kstVectorEditLayer::allShapes() const
{
    QList<kstVectorShape*> shapes;
    for (kstVectorLayer* layer : m_layers) {
        for (kstVectorCollect* collect : qAsConst(layer->m_collects))
            shapes += collect->m_shapes;
    }
    return shapes;
}

// --- View hosting --------------------------------------------------------

bool kstVectorEditLayer::viewReady() const
{
    return mapView() != nullptr;
}

void kstVectorEditLayer::addToMapView(kstTileMapView* view)
{
    kstElement::addToMapView(view);
    if (!view)
        return;
    const QSize size = view->viewSize();
    if (size.isValid()) {
        mapViewResized(size);
        mapViewChanged(view->currentLeftTopPcp(), view->level());
    }
    connect(view, SIGNAL(configNeedChange(Kestrum::kstProjection*, Kestrum::kstResulotion*, Kestrum::kstCorrection*)),
            this, SLOT(onConfigNeedChange(Kestrum::kstProjection*, Kestrum::kstResulotion*, Kestrum::kstCorrection*)));
    connect(view, SIGNAL(configChanged(Kestrum::kstProjection*, Kestrum::kstResulotion*, Kestrum::kstCorrection*)),
            this, SLOT(onConfigChanged(Kestrum::kstProjection*, Kestrum::kstResulotion*, Kestrum::kstCorrection*)));
    connect(view, SIGNAL(sizeChanged(QSize)), this, SLOT(mapViewResized(QSize)));
    connect(view, SIGNAL(viewChanged(Kestrum::kstPlaneCoordinatesPoint, int)),
            this, SLOT(mapViewChanged(Kestrum::kstPlaneCoordinatesPoint, int)));
    connect(view, SIGNAL(needRefresh(bool)), this, SLOT(refresh()));
}

void kstVectorEditLayer::removeFromMapView()
{
    if (kstTileMapView* view = mapView())
        disconnect(view, nullptr, this, nullptr);
    kstElement::removeFromMapView();
}

void kstVectorEditLayer::mapViewResized(const QSize& size)
{
    m_viewSize = size;
}

void kstVectorEditLayer::mapViewChanged(const kstPlaneCoordinatesPoint& ltPcp, int level)
{
    if (!viewReady())
        return;
    if (level != m_level) {
        m_level = level;
        setLayerBoundingRect();
        if (isVisible())
            updateShapes();
    }
    if (ltPcp != m_ltPcp) {
        m_ltPcp = ltPcp;
        setLayerPosition();
        if (isVisible())
            setLayerLabels();
    }
}

void kstVectorEditLayer::onConfigNeedChange(kstProjection*, kstResulotion*, kstCorrection*) {}

void kstVectorEditLayer::onConfigChanged(kstProjection*, kstResulotion*, kstCorrection*)
{
    if (!isVisible() || !viewReady())
        return;
    updateShapes();
    setLayerBoundingRect();
    setLayerPosition();
    setLayerLabels();
}

void kstVectorEditLayer::refresh()
{
    const QPointF p = pos();
    update(QRectF(QPointF(-qRound(p.x()), -qRound(p.y())), QSizeF(m_viewSize)));
}

QRectF kstVectorEditLayer::boundingRect() const
{
    return m_rect;
}

void kstVectorEditLayer::setLayerBoundingRect()
{
    kstProjection* proj = mapView()->projection();
    const kstMeterPerPixle__ mpp = mapView()->resolution()->mpp(m_level);
    const QPointF size = proj->rbGcp().toPcp(proj).toPix(mpp, proj->ltGcp().toPcp(proj));
    m_rect = QRectF(0, 0, size.x(), size.y());
    prepareGeometryChange();
}

void kstVectorEditLayer::setLayerPosition()
{
    kstProjection* proj = mapView()->projection();
    setPos(proj->ltGcp().toPcp(proj).toPix(mapView()->resolution(), m_level, m_ltPcp));
}

kstGeographicalCoordinatesPoint kstVectorEditLayer::layerGcp(const QPointF& p) const
{
    kstProjection* proj = mapView()->projection();
    const kstMeterPerPixle__ mpp = mapView()->resolution()->mpp(m_level);
    return proj->ltGcp().toPcp(proj).rbPcp(mpp, QSizeF(p.x(), p.y())).toGcp(proj);
}

void kstVectorEditLayer::updateShapes()
{
    kstProjection* proj = mapView()->projection();
    const kstMeterPerPixle__ mpp = mapView()->resolution()->mpp(m_level);
    QList<ShapeSyncUpdateHold__> holds;
    for (kstVectorShape* shape : allShapes())
        holds.append({shape, proj, mpp});
    if (holds.size() < kParallelShapeThreshold) {
        for (const ShapeSyncUpdateHold__& hold : qAsConst(holds))
            hold.shape->updateShape(hold.mpp, hold.projection, true);
        return;
    }
    const QList<QPointF> positions = QtConcurrent::blockingMappedReduced<QList<QPointF>>(
        holds, syncShape, appendPosition, QtConcurrent::OrderedReduce);
    for (int i = 0; i < holds.size(); ++i)
        holds.at(i).shape->setPos(positions.at(i));
}

void kstVectorEditLayer::showVectorLayer()
{
    setVisible(true);
    if (viewReady()) {
        updateShapes();
        setLayerLabels();
    }
    refresh();
}

void kstVectorEditLayer::hideVectorLayer()
{
    refresh();
    setVisible(false);
}

void kstVectorEditLayer::correctInShapes()
{
    if (viewReady())
        correctShapes(allShapes(), mapView()->correction(), correctIn);
}

void kstVectorEditLayer::correctOutShapes()
{
    if (viewReady())
        correctShapes(allShapes(), mapView()->correction(), correctOut);
}

// Label placement arrives with the label overlay; until then no label is placed.
void kstVectorEditLayer::setLayerLabels() {}

// --- Painting ------------------------------------------------------------

void kstVectorEditLayer::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget*)
{
    drawShapeLabels(painter, option);
    drawShapeNewing(painter, option);
    drawShapeVertexNewing(painter, option);
    drawFit(painter, option);
    drawBoxSelect(painter, option);
}

void kstVectorEditLayer::drawShapeLabels(QPainter*, const QStyleOptionGraphicsItem*) {}
void kstVectorEditLayer::drawShapeNewing(QPainter*, const QStyleOptionGraphicsItem*) {}
void kstVectorEditLayer::drawShapeVertexNewing(QPainter*, const QStyleOptionGraphicsItem*) {}
void kstVectorEditLayer::drawFit(QPainter*, const QStyleOptionGraphicsItem*) {}
void kstVectorEditLayer::drawBoxSelect(QPainter*, const QStyleOptionGraphicsItem*) {}

} // namespace Kestrum
