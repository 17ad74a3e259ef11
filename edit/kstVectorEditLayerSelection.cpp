// Selecting shapes by click, rectangle and polygon; moving shapes and
// vertices, inserting and removing vertices, with their undo records.

#include "kstVectorEditLayer.h"

#include "kstProjection.h"
#include "kstShapeIndex.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorLayerMemo.h"
#include "kstVectorShape.h"
#include "VectorCircle.h"
#include "VectorPolygon.h"
#include "VectorRect.h"

#include <QGraphicsScene>
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneHoverEvent>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QVariant>

#include <ogr_geometry.h>

#include <cmath>
#include <utility>

namespace Kestrum {

namespace {

// Selection-outline states of m_boxSelecting.
constexpr int kBoxReady = 1;
constexpr int kBoxDrawing = 2;
constexpr int kBoxFinished = 3;

// Planar area in degrees of an area shape, the measure that orders
// overlapping areas under a click.
double planarArea(kstVectorShape* shape)
{
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Polygon: return static_cast<VectorPolygon*>(shape)->toOGR().get_Area();
    case kstVectorShape::Type_Rect: return static_cast<VectorRect*>(shape)->toOGR().get_Area();
    case kstVectorShape::Type_Circle: return static_cast<VectorCircle*>(shape)->toOGR().get_Area();
    default: return 0.0;
    }
}

kstVectorShape* firstOfType(const QList<kstVectorShape*>& shapes, kstVectorShape::Shape_Type type)
{
    for (kstVectorShape* shape : shapes)
        if (shape->shapeType() == type)
            return shape;
    return nullptr;
}

QMap<QString, QVariant> vertexData(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    QMap<QString, QVariant> data;
    data.insert(QStringLiteral("vertexGcp"), QVariant::fromValue(gcp));
    data.insert(QStringLiteral("vertexIndex"), index);
    return data;
}

// The ring (0 outer, then the holes) of a polygon vertex index, or -1.
int polygonVertexRing(kstVectorShape* shape, int index)
{
    const Polygon__ polygon = static_cast<VectorPolygon*>(shape)->geoData();
    int first = 0;
    for (int ring = 0; ring <= polygon.inner.size(); ++ring) {
        const int size = ring == 0 ? polygon.outer.size() : polygon.inner.at(ring - 1).size();
        if (index >= first && index < first + size)
            return ring;
        first += size;
    }
    return -1;
}

} // namespace

// --- Picking -------------------------------------------------------------

kstVectorShape* kstVectorEditLayer::currentInteractiveShape() const
{
    for (kstVectorShape* shape : m_selectedShapes)
        if (shape->action() != kstVectorShape::Action_None)
            return shape;
    return nullptr;
}

kstVectorShape* kstVectorEditLayer::currentHoverShape(const QPointF& scenePos) const
{
    if (!scene())
        return nullptr;
    // The shapes the scene reports at the point, topmost first.
    const QList<kstVectorShape*> shapes = m_shapeIndex->items(scenePos);
    if (shapes.size() <= 1)
        return shapes.value(0, nullptr);
    if (kstVectorShape* point = firstOfType(shapes, kstVectorShape::Type_Point))
        return point;
    if (kstVectorShape* line = firstOfType(shapes, kstVectorShape::Type_Line))
        return line;
    // Only areas are left: the smallest wins; of equal ones the lowest in
    // stacking order, which comes last.
    QMap<double, kstVectorShape*> byArea;
    for (kstVectorShape* shape : qAsConst(shapes))
        byArea.insert(planarArea(shape), shape);
    return byArea.first();
}

// --- Vertex removal ------------------------------------------------------

void kstVectorEditLayer::removeShapeVertex(kstVectorShape* shape)
{
    // The hovered index is only current while the pointer is on the handle.
    if (!shape || shape->action() != kstVectorShape::Action_MoveVertex)
        return;
    const int index = shape->currentVertexHoverIndex();
    if (index == -1)
        return;
    const kstGeographicalCoordinatesPoint gcp = shape->vertex(index);
    QMap<QString, QVariant> data = vertexData(index, gcp);
    // The record is written after the removal: the ring a polygon vertex came
    // from is taken now, for undo to put it back there.
    if (shape->shapeType() == kstVectorShape::Type_Polygon)
        data.insert(QStringLiteral("vertexRing"), polygonVertexRing(shape, index));
    if (!shape->removeVertex(index)) {
        m_memo->memo(LayerMemo::VertexRemove, shape, data);
        return;
    }
    // The shape cannot lose a vertex: it goes as a whole.
    m_memo->memo(LayerMemo::ShapesRemove, shape, QMap<QString, QVariant>());
    removeShape(shape);
    // Off the scene it hears no hover leave; brought back it must not act on
    // a pointer that has long moved on.
    shape->setAction(kstVectorShape::Action_None);
}

// --- SelectEdit ----------------------------------------------------------

void kstVectorEditLayer::on_SelectEdit_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    kstVectorShape* current = currentInteractiveShape();
    if (current && current->action() == kstVectorShape::Action_InsertVertex) {
        const QPointF local = current->mapFromScene(event->scenePos());
        const int index = current->vertexInsertIndex(local);
        if (index == -1)
            return;
        const kstGeographicalCoordinatesPoint gcp = current->pix2gcp(local);
        m_memo->memo(LayerMemo::VertexInsert, current, vertexData(index, gcp));
        current->insertVertex(index, gcp);
        // The new vertex may widen the extent, which later moves start from.
        current->resetShape(current->curMpp(), current->curProj());
        return;
    }
    kstVectorShape* hit = currentHoverShape(event->scenePos());
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    if (!hit) {
        if (modifiers != Qt::ControlModifier)
            clearSelected();
        return;
    }
    if (modifiers == Qt::ControlModifier) {
        setShapeSelected(hit, true);
    } else if (modifiers == Qt::ShiftModifier && hit->shapeCollect()) {
        // The whole feature.
        clearSelected();
        setCollectSelecte(hit->shapeCollect(), true);
    } else {
        clearSelected();
        setShapeSelected(hit, true);
    }
    emit shapeChanged(hit);
}

void kstVectorEditLayer::on_SelectEdit_RightClicked(QGraphicsSceneContextMenuEvent*) {}

void kstVectorEditLayer::on_SelectEdit_DoubleClicked(QGraphicsSceneMouseEvent*)
{
    kstVectorShape* current = currentInteractiveShape();
    if (current && current->action() == kstVectorShape::Action_MoveShape && current->shapeCollect())
        emit collectConfig(current->shapeCollect());
}

void kstVectorEditLayer::on_SelectEdit_DragBegin(QGraphicsSceneMouseEvent*)
{
    kstVectorShape* current = currentInteractiveShape();
    if (!current)
        return;
    if (current->action() == kstVectorShape::Action_MoveShape) {
        QList<kstGeographicalCoordinatesPoint> ltGcps;
        for (kstVectorShape* shape : qAsConst(m_selectedShapes))
            ltGcps.append(shape->ltGcp());
        QMap<QString, QVariant> data;
        data.insert(QStringLiteral("shapesLtGcps"), QVariant::fromValue(ltGcps));
        m_memo->memo(LayerMemo::ShapesMove, m_selectedShapes, data);
        // Labels come back where the shapes are dropped.
        for (kstVectorShape* shape : qAsConst(m_selectedShapes))
            dropShapeLabels(shape);
        refresh();
    } else if (current->action() == kstVectorShape::Action_MoveVertex) {
        const int index = current->currentVertexHoverIndex();
        m_memo->memo(LayerMemo::VertexMove, current, vertexData(index, current->vertex(index)));
        dropShapeLabels(current);
        refresh();
    }
}

void kstVectorEditLayer::on_SelectEdit_DragMove(QGraphicsSceneMouseEvent* event)
{
    kstVectorShape* current = currentInteractiveShape();
    if (!current || !boundingRect().contains(event->pos()))
        return;
    if (current->action() == kstVectorShape::Action_MoveShape) {
        const QPointF d = event->scenePos() - event->lastScenePos();
        // A step that would push any selected shape off the extent moves none.
        for (kstVectorShape* shape : qAsConst(m_selectedShapes))
            if (!insideLayer(shape->brc().translated(shape->pos() + d)))
                return;
        const QPointF snapped = shapeAdsorb(d, current);
        for (kstVectorShape* shape : qAsConst(m_selectedShapes)) {
            shape->moveBy(snapped.x(), snapped.y());
            shape->notifyRectChange();
        }
    } else if (current->action() == kstVectorShape::Action_MoveVertex) {
        const int index = current->currentVertexHoverIndex();
        const kstGeographicalCoordinatesPoint gcp = layerGcp(vertexAdsorb(event->pos(), nullptr));
        if (current->shapeType() == kstVectorShape::Type_Circle) {
            // The new radius must keep the circle inside the extent.
            const QPointF c = static_cast<VectorCircle*>(current)->pixData().center + current->pos();
            const double r = index == 1 || index == 3 ? std::abs(event->pos().x() - c.x())
                                                      : std::abs(event->pos().y() - c.y());
            if (!insideLayer(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r)))
                return;
        }
        if (mapView()->projection()->isValidGcp(gcp)) {
            current->moveVertexTo(index, gcp);
            refresh();
        }
    }
}

void kstVectorEditLayer::on_SelectEdit_DragEnd(QGraphicsSceneMouseEvent*)
{
    if (kstVectorShape* current = currentInteractiveShape()) {
        if (current->action() == kstVectorShape::Action_MoveShape) {
            // Only the item positions moved during the drag; now the geometry follows.
            for (kstVectorShape* shape : qAsConst(m_selectedShapes))
                shape->moveShapeTo(layerGcp(shape->pos()));
        } else if (current->action() == kstVectorShape::Action_MoveVertex) {
            current->updateLabels();
        }
    }
    setLayerLabels();
    refresh();
}

// --- Selection by rectangle and polygon ----------------------------------

void kstVectorEditLayer::selectShapesInScene(const QPainterPath& scenePath, Qt::ItemSelectionMode mode)
{
    if (!scene())
        return;
    setShapesSelecte(m_shapeIndex->items(scenePath, mode), true);
}

void kstVectorEditLayer::hoverBoxSelect(const QPointF& pos)
{
    if (m_boxSelecting != kBoxDrawing)
        return;
    if (m_boxPoints.size() == 1)
        m_boxPoints.append(pos);
    else
        m_boxPoints.last() = pos;
    refresh();
}

void kstVectorEditLayer::on_RectSelect_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    if (m_boxSelecting == kBoxReady) {
        m_boxPoints.append(event->pos());
        m_boxSelecting = kBoxDrawing;
    } else if (m_boxSelecting == kBoxDrawing && m_boxPoints.size() == 2) {
        // Towards the lower right: every shape touched; any other way: only
        // the shapes wholly inside.
        QPointF p0 = m_boxPoints.at(0);
        QPointF p1 = m_boxPoints.at(1);
        Qt::ItemSelectionMode mode = Qt::IntersectsItemShape;
        if (p0.x() > p1.x() || p0.y() > p1.y()) {
            std::swap(p0, p1);
            mode = Qt::ContainsItemShape;
        }
        clearSelected();
        QPainterPath path;
        path.addRect(QRectF(p0, p1).normalized().translated(pos()));
        selectShapesInScene(path, mode);
        m_boxPoints.clear();
        m_boxSelecting = kBoxReady;
        setLayerAction(SelectEdit);
    }
    refresh();
}

void kstVectorEditLayer::on_RectSelect_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    if (m_boxSelecting != kBoxDrawing)
        return;
    m_boxPoints.clear();
    m_boxSelecting = kBoxReady;
    refresh();
}

void kstVectorEditLayer::on_RectSelect_HoverMove(QGraphicsSceneHoverEvent* event)
{
    hoverBoxSelect(event->pos());
}

void kstVectorEditLayer::on_PolygonSelect_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    switch (m_boxSelecting) {
    case kBoxFinished:
        m_boxPoints.clear();
        m_boxSelecting = kBoxReady;
        setLayerAction(SelectEdit);
        break;
    case kBoxReady:
        m_boxPoints.append(event->pos());
        m_boxSelecting = kBoxDrawing;
        break;
    case kBoxDrawing:
        m_boxPoints.append(event->pos());
        break;
    default:
        break;
    }
    refresh();
}

void kstVectorEditLayer::on_PolygonSelect_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    rightClickPointList(m_boxPoints, m_boxSelecting);
}

void kstVectorEditLayer::on_PolygonSelect_HoverMove(QGraphicsSceneHoverEvent* event)
{
    hoverBoxSelect(event->pos());
}

void kstVectorEditLayer::on_PolygonSelect_DoubleClicked(QGraphicsSceneMouseEvent*)
{
    if (m_boxSelecting != kBoxDrawing || m_boxPoints.size() < 4)
        return;
    m_boxPoints.removeLast(); // added by the click of the double click
    QPolygonF polygon(m_boxPoints.toVector());
    if (!polygon.isClosed())
        polygon.append(polygon.first());
    clearSelected();
    QPainterPath path;
    path.addPolygon(polygon.translated(pos()));
    selectShapesInScene(path, Qt::IntersectsItemShape);
    m_boxPoints.clear();
    m_boxSelecting = kBoxFinished;
    refresh();
}

void kstVectorEditLayer::updateBoxSelect(int oldLevel)
{
    rescalePoints(m_boxPoints, oldLevel);
}

void kstVectorEditLayer::drawBoxSelect(QPainter* painter, const QStyleOptionGraphicsItem*)
{
    if ((m_action != RectSelect && m_action != PolygonSelect) || m_boxPoints.isEmpty())
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, true);
    painter->setPen(QPen(QBrush(m_boxLineClr, Qt::SolidPattern), m_boxLineWidth, Qt::DashLine, Qt::SquareCap,
                         Qt::BevelJoin));
    // The outline is not filled.
    painter->setBrush(Qt::NoBrush);
    if (m_action == RectSelect) {
        if (m_boxPoints.size() == 2)
            painter->drawRect(QRectF(m_boxPoints.at(0), m_boxPoints.at(1)).normalized());
    } else {
        painter->drawPolygon(QPolygonF(m_boxPoints.toVector()), Qt::OddEvenFill);
    }
    painter->restore();
}

} // namespace Kestrum
