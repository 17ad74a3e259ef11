#include "kstVectorEditLayer.h"

#include "kstCorrection.h"
#include "kstPipelinedMap.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstShapeIndex.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"
#include "kstVectorShape.h"
#include "kstVectorStyle.h"
#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"

#include <QCursor>
#include <QSet>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>
#include <QGraphicsScene>

namespace Kestrum {

namespace {

// Labels keep this many pixels clear on every side.
constexpr double kLabelMargin = 3.0;
// Label rotation is converted to degrees with this value of pi.
constexpr double kLabelPi = 3.141592653589;

// The bounding box of a rectangle rotated about its centre.
QRectF rotatedBounds(const QRectF& rect, double angle)
{
    if (angle == 0.0)
        return rect;
    const QPointF c = rect.center();
    const QTransform rotation = QTransform::fromTranslate(-c.x(), -c.y())
                              * QTransform(std::cos(angle), std::sin(angle), -std::sin(angle), std::cos(angle), 0, 0)
                              * QTransform::fromTranslate(c.x(), c.y());
    return rotation.mapRect(rect);
}

QRectF spaced(const QRectF& rect)
{
    return rect.adjusted(-kLabelMargin, -kLabelMargin, kLabelMargin, kLabelMargin);
}

// From this many shapes on, pixel data are recomputed on the thread pool.
constexpr int kParallelShapeThreshold = 1000;

// A scene looks for an item it has not indexed yet among all such items, so
// taking thousands of freshly moved items out of it costs the square of
// their number. Any query of the scene indexes them first.
void indexScene(QGraphicsScene* scene, int items)
{
    if (scene && items >= kParallelShapeThreshold)
        scene->items(QRectF(0, 0, 1, 1));
}

// Where the GUI thread places an item, from the shape's frame.
struct ShapePlacement__
{
    kstVectorShape* shape;
    QRectF brc;
    QPointF position;
    bool computed;
};
static_assert(std::is_trivially_destructible<ShapePlacement__>::value, "placements are made in raw memory");

// Each computing thread computes frame after frame in one frame of its own,
// whose buffers (and the shape data each shape hands back) stay in that
// core's cache from one shape to the next.
kstShapeFrame& threadFrame()
{
    thread_local kstShapeFrame frame;
    return frame;
}

struct ShapeSyncCorrectHold__
{
    kstVectorShape* shape;
    QVector<QPolygonF> rings; // the corrected geographic points
    bool computed;
};

QPointF correctedPoint(const QPointF& p, kstCorrection* correction, bool in)
{
    const GCP gcp(p.x(), p.y());
    return kstVectorShape::gcp2pt(in ? correction->correctIn(gcp) : correction->correctOut(gcp));
}

void correctShapes(const QList<kstVectorShape*>& shapes, kstCorrection* correction, bool in)
{
    if (!correction)
        return;
    if (shapes.size() < kParallelShapeThreshold) {
        for (kstVectorShape* shape : shapes)
            in ? shape->correctInShape(correction) : shape->correctOutShape(correction);
        return;
    }
    std::vector<ShapeSyncCorrectHold__> holds;
    holds.reserve(shapes.size());
    for (kstVectorShape* shape : shapes)
        holds.push_back({shape, {}, false});
    // The corrected points are computed on the pool and stored on the GUI thread.
    kstPipelinedMap::run(
        int(holds.size()),
        [&](int i) {
            ShapeSyncCorrectHold__& hold = holds[size_t(i)];
            hold.computed = hold.shape->geoRings(hold.rings);
            if (!hold.computed)
                return;
            for (QPolygonF& ring : hold.rings)
                for (QPointF& p : ring)
                    p = correctedPoint(p, correction, in);
        },
        [&](int i) {
            ShapeSyncCorrectHold__& hold = holds[size_t(i)];
            if (hold.computed)
                hold.shape->setGeoRings(hold.rings);
            else
                in ? hold.shape->correctInShape(correction) : hold.shape->correctOutShape(correction);
        });
}

} // namespace

kstVectorEditLayer::kstVectorEditLayer(QGraphicsItem* parent)
    : QObject(nullptr)
    , kstElement(parent)
    , m_vertexClr0(kstVectorStyle::vertexClr0_default)
    , m_vertexClr1(kstVectorStyle::vertexClr1_default)
    , m_vertexClr2(kstVectorStyle::vertexClr2_default)
    , m_newingLinePen(kstVectorStyle::linePen_New_default)
    // The host's current choice for areas being drawn, not the constants.
    , m_newingBorderPen(kstVectorStyle::polygonBorderPen_New)
    , m_newingFillBrush(kstVectorStyle::polygonFillBrush_New)
    , m_fitLineClr(kstVectorStyle::fitLineClr_default)
    , m_fitLineSelectedClr(kstVectorStyle::fitLineSelectedClr_default)
    , m_boxLineClr(kstVectorStyle::boxLineClr_default)
{
    setFlags(QGraphicsItem::ItemIsSelectable | QGraphicsItem::ItemIsFocusable);
    setCursor(Qt::ArrowCursor);
    setAcceptedMouseButtons(Qt::LeftButton | Qt::RightButton);
    m_memo = new kstVectorLayerMemo(this);
    m_shapeIndex = std::make_unique<kstShapeIndex>(this);
    connect(m_memo, &kstVectorLayerMemo::undoUsabilityChanged, this, &kstVectorEditLayer::undoUsabilityChanged);
    connect(m_memo, &kstVectorLayerMemo::redoUsabilityChanged, this, &kstVectorEditLayer::redoUsabilityChanged);
}

kstVectorEditLayer::~kstVectorEditLayer()
{
    clearShapeLabels();
    // The layers are the host's: their shapes must not die with this item.
    for (kstVectorLayer* layer : qAsConst(m_layers))
        detachShapes(layerShapes(layer));
    // Shapes left as children die with this item, after the index is gone.
    for (QGraphicsItem* child : childItems())
        if (auto* shape = dynamic_cast<kstVectorShape*>(child))
            shape->m_parentLayer = nullptr;
}

void kstVectorEditLayer::setLayerAction(Action action)
{
    if (action == m_action)
        return;
    // Selecting and editing go through the shapes' own hover handling; the
    // other modes follow the cursor themselves.
    setAcceptHoverEvents(action != None && action != SelectEdit);
    const bool drawing = action >= NewPoint && action <= NewPolygon;
    m_newing = drawing ? 1 : 0;
    m_boxSelecting = action == RectSelect || action == PolygonSelect ? 1 : 0;
    m_fitting = action == Fit ? 1 : 0;
    if (action == None || drawing)
        clearSelected();
    emit actionChanged(m_action, action);
    m_action = action;
    // A half-drawn shape or outline is dropped; fit lines survive.
    m_newingPoints.clear();
    m_boxPoints.clear();
    refresh();
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
    detachShapes(layerShapes(layer));
    m_layers.removeAll(layer);
    emit layerRemoved(layer);
}

void kstVectorEditLayer::deleteLayer(kstVectorLayer* layer)
{
    if (!m_layers.contains(layer))
        return;
    removeLayer(layer);
    m_memo->removeDo(layer); // records must not outlive what they point to
    kstVectorLayer::destoryLayer(layer);
}

void kstVectorEditLayer::clearLayers()
{
    const QList<kstVectorLayer*> layers = m_layers;
    for (kstVectorLayer* layer : layers)
        deleteLayer(layer);
}

// --- Collects and shapes -------------------------------------------------

void kstVectorEditLayer::detachShape(kstVectorShape* shape)
{
    m_selectedShapes.removeAll(shape);
    dropShapeLabels(shape);
    if (shape->scene())
        shape->scene()->removeItem(shape);
    // Off the scene too (the edit layer may have left it already), the shape
    // must stop being a child item: it would otherwise die with this item.
    if (shape->parentLayer() == this || shape->parentItem() == this)
        shape->setParentLayer(nullptr);
}

void kstVectorEditLayer::detachShapes(const QList<kstVectorShape*>& shapes)
{
    // In the order they were attached: the parent's child list finds each
    // one at its front.
    indexScene(scene(), shapes.size());
    for (kstVectorShape* shape : shapes)
        detachShape(shape);
}

QList<kstVectorShape*> kstVectorEditLayer::layerShapes(const kstVectorLayer* layer)
{
    QList<kstVectorShape*> shapes;
    for (kstVectorCollect* collect : layer->m_collects)
        shapes += collect->m_shapes;
    return shapes;
}

void kstVectorEditLayer::insertCollect(kstVectorCollect* collect)
{
    if (!collect)
        return;
    for (kstVectorShape* shape : qAsConst(collect->m_shapes))
        attachShape(shape);
    int index = -1;
    if (collect->m_layer) {
        collect->m_layer->m_collects.insert(collect->m_fid, collect);
        index = collect->m_layer->m_collects.keys().indexOf(collect->m_fid);
    }
    emit collectInserted(collect, index);
}

void kstVectorEditLayer::removeCollect(kstVectorCollect* collect)
{
    if (!collect)
        return;
    detachShapes(collect->m_shapes);
    if (collect->m_layer)
        collect->m_layer->m_collects.remove(collect->m_fid);
    emit collectRemoved(collect);
}

void kstVectorEditLayer::deleteCollect(kstVectorCollect* collect)
{
    if (!collect)
        return;
    removeCollect(collect);
    m_memo->removeDo(collect);
    kstVectorCollect::destroyCollect(collect);
}

void kstVectorEditLayer::insertShape(kstVectorShape* shape, int index)
{
    if (!shape)
        return;
    attachShape(shape);
    if (kstVectorCollect* collect = shape->shapeCollect()) {
        if (!collect->m_shapes.contains(shape))
            collect->m_shapes.insert(qBound(0, index, collect->m_shapes.size()), shape);
    }
    emit shapeInserted(shape, index);
}

void kstVectorEditLayer::insertShapes(const QList<kstVectorShape*>& shapes)
{
    for (kstVectorShape* shape : shapes) {
        attachShape(shape);
        kstVectorCollect* collect = shape->shapeCollect();
        if (!collect)
            continue;
        if (!collect->m_shapes.contains(shape)) {
            const int index = qMax(0, shape->shapeCollectIndex());
            collect->m_shapes.insert(qMin(index, collect->m_shapes.size()), shape);
        }
        if (collect->m_layer && !collect->m_layer->m_collects.contains(collect->m_fid))
            collect->m_layer->m_collects.insert(collect->m_fid, collect);
    }
    emit shapesInserted(shapes);
}

void kstVectorEditLayer::takeShapeFromCollect(kstVectorShape* shape)
{
    detachShape(shape);
    kstVectorCollect* collect = shape->shapeCollect();
    if (!collect)
        return;
    collect->m_shapes.removeAll(shape);
    // The shape keeps its collect and index, so that it can be put back.
    if (collect->m_shapes.isEmpty() && collect->m_layer)
        collect->m_layer->m_collects.remove(collect->m_fid);
}

void kstVectorEditLayer::removeShape(kstVectorShape* shape)
{
    if (!shape)
        return;
    takeShapeFromCollect(shape);
    emit shapeRemoved(shape);
}

void kstVectorEditLayer::removeShapes(const QList<kstVectorShape*>& shapes)
{
    const QList<kstVectorShape*> copy = shapes;
    for (kstVectorShape* shape : copy)
        takeShapeFromCollect(shape);
    emit shapesRemoved(copy);
}

void kstVectorEditLayer::deleteShape(kstVectorShape* shape)
{
    deleteShapes(shape ? QList<kstVectorShape*>{shape} : QList<kstVectorShape*>{});
}

void kstVectorEditLayer::deleteShapes(const QList<kstVectorShape*>& shapes)
{
    const QList<kstVectorShape*> copy = shapes;
    if (copy.size() == 1)
        removeShape(copy.first());
    else
        removeShapes(copy);
    // Records of these shapes, and of shapes of collects that end empty and
    // go with them, must not outlive them.
    m_memo->removeDo(copy);
    for (kstVectorShape* shape : copy) {
        if (shape->shapeCollect() && shape->shapeCollect()->m_shapes.isEmpty())
            m_memo->removeDo(shape->shapeCollect());
    }
    QList<kstVectorCollect*> deleted;
    for (kstVectorShape* shape : copy) {
        kstVectorCollect* collect = shape->shapeCollect();
        delete shape;
        // Shapes of one collect share it: it is looked at only while it lives.
        if (collect && !deleted.contains(collect) && collect->m_shapes.isEmpty()) {
            deleted.append(collect);
            kstVectorCollect::deleteCollect(collect);
        }
    }
}

// --- Visibility ----------------------------------------------------------

void kstVectorEditLayer::updateShapeNow(kstVectorShape* shape)
{
    if (viewReady())
        shape->updateShape(mapView()->resolution()->mpp(mapView()->level()), mapView()->projection(), false);
}

void kstVectorEditLayer::visibleShape(kstVectorShape* shape)
{
    shape->setShapeVisible(true);
    updateShapeNow(shape);
}

void kstVectorEditLayer::unvisibleShape(kstVectorShape* shape)
{
    unselectShape(shape);
    shape->setShapeVisible(false);
}

void kstVectorEditLayer::setShapeVisible(kstVectorShape* shape, bool visible)
{
    if (!shape)
        return;
    if (visible) {
        updateShapeNow(shape);
        shape->setShapeVisible(true);
    } else {
        unvisibleShape(shape);
    }
}

void kstVectorEditLayer::setShapesVisible(const QList<kstVectorShape*>& shapes, bool visible)
{
    for (kstVectorShape* shape : shapes)
        visible ? visibleShape(shape) : unvisibleShape(shape);
}

void kstVectorEditLayer::setCollectVisible(kstVectorCollect* collect, bool visible)
{
    if (collect)
        setShapesVisible(collect->m_shapes, visible);
}

void kstVectorEditLayer::setLayerVisible(kstVectorLayer* layer, bool visible)
{
    if (!layer)
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        setCollectVisible(collect, visible);
}

Qt::CheckState kstVectorEditLayer::shapeVisibleState(kstVectorShape* shape)
{
    return shape && shape->isShapeVisible() ? Qt::Checked : Qt::Unchecked;
}

// The state shared by all elements, or partly checked when they differ;
// no elements count as checked.
template <class Range, class StateOf>
static Qt::CheckState commonState(const Range& elements, StateOf stateOf)
{
    if (elements.isEmpty())
        return Qt::Checked;
    const Qt::CheckState first = stateOf(*elements.begin());
    for (const auto& element : elements)
        if (stateOf(element) != first)
            return Qt::PartiallyChecked;
    return first;
}

Qt::CheckState kstVectorEditLayer::collectVisibleState(kstVectorCollect* collect)
{
    return collect ? commonState(collect->m_shapes, shapeVisibleState) : Qt::Checked;
}

Qt::CheckState kstVectorEditLayer::layerVisibleState(kstVectorLayer* layer)
{
    return layer ? commonState(layer->m_collects, collectVisibleState) : Qt::Checked;
}

// --- Selection -----------------------------------------------------------

void kstVectorEditLayer::selectShape(kstVectorShape* shape)
{
    if (!shape)
        return;
    if (!m_selectedShapes.contains(shape))
        m_selectedShapes.append(shape);
    shape->setZValue(m_selectedZLevel);
    shape->setShapeSelected(true);
}

void kstVectorEditLayer::unselectShape(kstVectorShape* shape)
{
    if (!shape)
        return;
    m_selectedShapes.removeAll(shape);
    shape->setShapeSelected(false);
}

void kstVectorEditLayer::setShapeSelected(kstVectorShape* shape, bool selected)
{
    selected ? selectShape(shape) : unselectShape(shape);
}

void kstVectorEditLayer::setShapesSelecte(const QList<kstVectorShape*>& shapes, bool selected)
{
    // A layer of 100 000 shapes is selected in one go: membership is looked
    // up in a set, not in the list, and the list is rewritten once.
    QSet<kstVectorShape*> listed(m_selectedShapes.cbegin(), m_selectedShapes.cend());
    if (selected) {
        for (kstVectorShape* shape : shapes) {
            if (!shape || listed.contains(shape))
                continue;
            listed.insert(shape);
            m_selectedShapes.append(shape);
            shape->setZValue(m_selectedZLevel);
            shape->setShapeSelected(true);
        }
        return;
    }
    QSet<kstVectorShape*> dropped;
    for (kstVectorShape* shape : shapes) {
        if (!shape)
            continue;
        if (listed.contains(shape))
            dropped.insert(shape);
        shape->setShapeSelected(false);
    }
    if (!dropped.isEmpty())
        m_selectedShapes.erase(std::remove_if(m_selectedShapes.begin(), m_selectedShapes.end(),
                                              [&](kstVectorShape* shape) { return dropped.contains(shape); }),
                               m_selectedShapes.end());
}

void kstVectorEditLayer::setCollectSelecte(kstVectorCollect* collect, bool selected)
{
    if (collect)
        setShapesSelecte(collect->m_shapes, selected);
}

void kstVectorEditLayer::setLayerSelecte(kstVectorLayer* layer, bool selected)
{
    if (layer)
        setShapesSelecte(layerShapes(layer), selected);
}

void kstVectorEditLayer::clearSelected()
{
    for (kstVectorShape* shape : qAsConst(m_selectedShapes)) {
        shape->setZValue(shape->shapeLayerZLevel());
        shape->setShapeSelected(false);
    }
    m_selectedShapes.clear();
}

bool kstVectorEditLayer::isShapeSelected(kstVectorShape* shape)
{
    return shape && shape->isShapeSelected();
}

bool kstVectorEditLayer::isCollectSelected(kstVectorCollect* collect)
{
    return !collect || std::all_of(collect->m_shapes.cbegin(), collect->m_shapes.cend(), isShapeSelected);
}

bool kstVectorEditLayer::isLayerSelected(kstVectorLayer* layer)
{
    return !layer || std::all_of(layer->m_collects.cbegin(), layer->m_collects.cend(), isCollectSelected);
}

// --- Layer display -------------------------------------------------------

void kstVectorEditLayer::setLayerAntiAliasing(kstVectorLayer* layer, bool on)
{
    if (!layer || layer->m_antiAliasing == on)
        return;
    layer->m_antiAliasing = on;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        for (kstVectorShape* shape : qAsConst(collect->m_shapes))
            shape->setAntiAliasing(on);
}

bool kstVectorEditLayer::isLayerAntiAliasinged(kstVectorLayer* layer)
{
    return layer && layer->m_antiAliasing;
}

template <class AreaShape>
static void applyAreaStyle(AreaShape* shape, const kstVectorLayer* layer)
{
    shape->setBorderPen(layer->m_polygonBorderPen);
    shape->setFillBrush(layer->m_polygonFillBrush);
}

void kstVectorEditLayer::updateLayerStyle(kstVectorLayer* layer)
{
    if (!layer)
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        for (kstVectorShape* shape : qAsConst(collect->m_shapes)) {
            switch (shape->shapeType()) {
            case kstVectorShape::Type_Point: {
                auto* point = static_cast<VectorPoint*>(shape);
                point->setPointType(layer->m_pointType);
                if (layer->m_pointType == 0) {
                    point->setPointSize(layer->m_pointSize);
                    point->setPointBorderPen(layer->m_pointBorderPen);
                    point->setPointFillBrush(layer->m_pointFillBrush);
                } else {
                    point->setMarkerAnchor(layer->m_markerAnchor);
                    point->setMarkerImage(layer->m_markerIcon);
                }
                break;
            }
            case kstVectorShape::Type_Line:
                static_cast<VectorLine*>(shape)->setLinePen(layer->m_linePen);
                break;
            case kstVectorShape::Type_Polygon:
                applyAreaStyle(static_cast<VectorPolygon*>(shape), layer);
                break;
            case kstVectorShape::Type_Rect:
                applyAreaStyle(static_cast<VectorRect*>(shape), layer);
                break;
            case kstVectorShape::Type_Circle:
                applyAreaStyle(static_cast<VectorCircle*>(shape), layer);
                break;
            default:
                break;
            }
        }
    }
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
    // Every level change walks all shapes through this list: one allocation,
    // and no list per collect.
    int collects = 0;
    for (const kstVectorLayer* layer : m_layers)
        collects += layer->m_collects.size();
    QList<kstVectorShape*> shapes;
    shapes.reserve(collects);
    for (const kstVectorLayer* layer : m_layers)
        for (const kstVectorCollect* collect : layer->m_collects)
            for (kstVectorShape* shape : collect->m_shapes)
                shapes.append(shape);
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
    indexScene(scene(), childItems().size());
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
        const int oldLevel = m_level;
        m_level = level;
        setLayerBoundingRect();
        if (isVisible()) {
            updateShapes();
            updateFitLines(oldLevel);
            updateBoxSelect(oldLevel);
            updateNewingShape(oldLevel);
        }
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
    // A shape half drawn in the old configuration is dropped; the mode stays.
    if (!m_newingPoints.isEmpty()) {
        m_newingPoints.clear();
        m_newing = 1;
    }
    if (!isVisible() || !viewReady())
        return;
    // A projection may have changed in place: nothing projected before counts.
    for (kstVectorShape* shape : allShapes())
        shape->dropPlaneCache();
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
    m_shapeIndex->invalidate();
    kstProjection* proj = mapView()->projection();
    const kstMeterPerPixle__ mpp = mapView()->resolution()->mpp(m_level);
    if (m_shapeIndex->size() < kParallelShapeThreshold) {
        for (kstVectorShape* shape : allShapes())
            shape->updateShape(mpp, proj, true);
        return;
    }
    // Every shape shown is a child of this item and so in the shape index,
    // whose one array is walked far faster than the layers' maps of collects
    // (a shape of a layer that is not a child yet is brought up to date when
    // it becomes one). Frames are pure, so the order of storing them does not
    // change what is stored.
    const std::vector<kstVectorShape*>& shapes = m_shapeIndex->shapeSlots();
    const int count = int(shapes.size());
    // The pool computes each shape's frame and hands the shape its own data
    // at once, while it is still in that core's cache; only the GUI thread
    // touches the items and the scene, placing the items in shape order
    // while the pool computes later shapes. Each placement is written by the
    // thread that computes its shape, so nothing walks all shapes before
    // the pool starts.
    const kstShapeScale scale(mpp, proj, kstShapeScale::labelWindowOf(mapView()));
    std::unique_ptr<char[]> memory(new char[size_t(count) * sizeof(ShapePlacement__)]);
    auto* placements = reinterpret_cast<ShapePlacement__*>(memory.get());
    // Placing touches every item once; the memory of the items a few ahead
    // is fetched while one is placed.
    constexpr int kAhead = 8;
    const auto prefetch = [&](int i) {
        if (i < count && shapes[size_t(i)])
            shapes[size_t(i)]->prefetchPlacement();
    };
    for (int i = 0; i < kAhead; ++i)
        prefetch(i);
    kstPipelinedMap::run(
        count,
        [&](int i) {
            kstVectorShape* shape = shapes[size_t(i)];
            ShapePlacement__* placement = new (&placements[i]) ShapePlacement__{shape, QRectF(), QPointF(), false};
            if (!shape)
                return;
            kstShapeFrame& frame = threadFrame();
            placement->computed = shape->computeFrame(frame, scale);
            if (!placement->computed)
                return;
            placement->brc = frame.brc;
            placement->position = frame.position;
            shape->storeFrameData(frame);
        },
        [&](int i) {
            prefetch(i + kAhead);
            const ShapePlacement__& placement = placements[i];
            if (placement.computed)
                placement.shape->placeItem(placement.brc, placement.position);
            else if (placement.shape)
                placement.shape->updateShape(mpp, proj, true);
        });
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
    clearShapeLabels();
    refresh();
    setVisible(false);
}

void kstVectorEditLayer::correctInShapes()
{
    if (viewReady())
        correctShapes(allShapes(), mapView()->correction(), true);
}

void kstVectorEditLayer::correctOutShapes()
{
    if (viewReady())
        correctShapes(allShapes(), mapView()->correction(), false);
}

// --- Labels --------------------------------------------------------------

void kstVectorEditLayer::clearShapeLabels()
{
    for (const QList<VectorShapeLabel__*>& labels : qAsConst(m_shapeLabels))
        qDeleteAll(labels);
    m_shapeLabels.clear();
    m_labelGrid.clear();
}

void kstVectorEditLayer::dropShapeLabels(kstVectorShape* shape)
{
    qDeleteAll(m_shapeLabels.take(shape));
    m_labelGrid.remove(shape);
}

bool kstVectorEditLayer::isIntersectsWithCurrentLabels(const QRectF& rect) const
{
    return m_labelGrid.intersects(spaced(rect));
}

void kstVectorEditLayer::setLayerLabels()
{
    clearShapeLabels();
    if (!scene())
        return;
    const QRectF visible = QRectF(QPointF(0, 0), QSizeF(m_viewSize)).translated(-pos());
    // The visible area in scene coordinates, topmost items first.
    const QList<QGraphicsItem*> items =
        scene()->items(mapRectToScene(visible), Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform());
    for (QGraphicsItem* item : items) {
        auto* shape = dynamic_cast<kstVectorShape*>(item);
        if (!shape || shape->parentLayer() != this)
            continue;
        const kstVectorCollect* collect = shape->shapeCollect();
        if (!collect || collect->m_text.isEmpty() || !collect->m_layer || !collect->m_layer->m_showLabels)
            continue;
        // Shapes with many labels offer only those near the view they were
        // computed for; after a long pan they offer those of the new view.
        if (!shape->labelWindow().isNull() && !shape->labelWindow().contains(visible))
            shape->updateLabels();
        const QList<VectorShapeLabel__*> labels = placeLabels(shape, visible);
        if (!labels.isEmpty())
            m_shapeLabels.insert(shape, labels);
    }
}

QList<VectorShapeLabel__*> kstVectorEditLayer::placeLabels(kstVectorShape* shape, const QRectF& visible)
{
    QList<VectorShapeLabel__*> accepted;
    for (const VectorShapeLabel__& candidate : shape->labels()) {
        const QRectF r = candidate.rect.translated(shape->pos());
        const QRectF test = rotatedBounds(r, candidate.angle);
        if (!test.intersects(visible) || isIntersectsWithCurrentLabels(test))
            continue;
        accepted.append(new VectorShapeLabel__{candidate.text, candidate.angle, r});
        // Rotated labels block others with their unrotated rectangle.
        m_labelGrid.insert(spaced(r), shape);
        if (shape->shapeType() == kstVectorShape::Type_Point)
            break; // one label per point, at its first free position
    }
    return accepted;
}

void kstVectorEditLayer::updateLabels()
{
    setLayerLabels();
    refresh();
}

void kstVectorEditLayer::upateLayerShapeLabels(kstVectorLayer* layer)
{
    if (!layer)
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        for (kstVectorShape* shape : qAsConst(collect->m_shapes))
            shape->updateLabels();
}

void kstVectorEditLayer::setLayerShowLabes(kstVectorLayer* layer, bool show)
{
    if (layer && layer->m_showLabels != show)
        layer->m_showLabels = show;
}

bool kstVectorEditLayer::isLayerShowLabes(kstVectorLayer* layer)
{
    return layer && layer->m_showLabels;
}

// --- Painting ------------------------------------------------------------

void kstVectorEditLayer::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget*)
{
    drawShapeLabels(painter, option);
    drawShapeNewing(painter, option);
    drawShapeVertexNewing(painter, option);
    drawFit(painter, option);
    drawBoxSelect(painter, option);
}

void kstVectorEditLayer::drawShapeLabels(QPainter* painter, const QStyleOptionGraphicsItem*)
{
    for (auto it = m_shapeLabels.cbegin(); it != m_shapeLabels.cend(); ++it) {
        const kstVectorLayer* layer = it.key()->shapeCollect() ? it.key()->shapeCollect()->m_layer : nullptr;
        if (!layer)
            continue;
        painter->setRenderHint(QPainter::TextAntialiasing, layer->m_antiAliasing);
        painter->setFont(layer->m_labelFont);
        for (const VectorShapeLabel__* label : it.value()) {
            const bool rotated = label->angle != 0.0;
            if (rotated) {
                const QPointF c = label->rect.center();
                painter->save();
                painter->translate(c);
                painter->rotate(label->angle * 180.0 / kLabelPi);
                painter->translate(-c);
            }
            kstVectorShape::drawOutlineText(painter, label->text, label->rect, layer->m_labelOutlineClr,
                                            layer->m_labelTextClr);
            if (rotated)
                painter->restore();
        }
    }
}

} // namespace Kestrum
