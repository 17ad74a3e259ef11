// Mouse events of the edit layer and the five drawing modes.

#include "kstVectorEditLayer.h"

#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorShape.h"
#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"

#include <QFontMetrics>
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneHoverEvent>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>

#include <ogr_core.h>

#include <cmath>

namespace Kestrum {

namespace {

// Drawing states of m_newing.
constexpr int kNewingReady = 1;
constexpr int kNewingDrawing = 2;
constexpr int kNewingFinished = 3;

// A release this close to its press is a click.
constexpr double kSamePositionTolerance = 1e-12;
// A drawn circle is a ring of this many points, every 3 degrees.
constexpr int kCircleRingPoints = 120;
constexpr double kCirclePi = 3.141592653589;
// Gap in pixels between the radius line and its text.
constexpr double kRadiusTextGap = 3.0;

bool samePosition(const QPointF& a, const QPointF& b)
{
    return std::abs(a.x() - b.x()) <= kSamePositionTolerance && std::abs(a.y() - b.y()) <= kSamePositionTolerance;
}

// The vertices of a drawn line or polygon without repeats: clicking twice on
// one place (a double click right after a click) places one vertex.
QList<QPointF> distinctVertices(const QList<QPointF>& points)
{
    QList<QPointF> vertices;
    for (const QPointF& p : points)
        if (vertices.isEmpty() || !samePosition(vertices.last(), p))
            vertices.append(p);
    return vertices;
}

} // namespace

// --- Event dispatch ------------------------------------------------------

void kstVectorEditLayer::mousePressEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_action != None)
        m_pressPos = event->scenePos();
    kstElement::mousePressEvent(event);
}

void kstVectorEditLayer::mouseReleaseEvent(QGraphicsSceneMouseEvent* event)
{
    // Only left releases arrive: the base ignores right presses of a
    // selectable item that does not move, so the scene grabs nothing for them.
    if (m_action != None && viewReady()) {
        if (samePosition(event->scenePos(), m_pressPos)) {
            switch (m_action) {
            case SelectEdit: on_SelectEdit_LeftClicked(event); break;
            case NewPoint: on_NewPoint_LeftClicked(event); break;
            case NewLine: on_NewLine_LeftClicked(event); break;
            case NewPolygon: on_NewPolygon_LeftClicked(event); break;
            case NewRect: on_NewRect_LeftClicked(event); break;
            case NewCircle: on_NewCircle_LeftClicked(event); break;
            case Fit: on_Fit_LeftClicked(event); break;
            case RectSelect: on_RectSelect_LeftClicked(event); break;
            case PolygonSelect: on_PolygonSelect_LeftClicked(event); break;
            default: break;
            }
        } else if (m_action == SelectEdit) {
            on_SelectEdit_DragEnd(event);
        }
    }
    kstElement::mouseReleaseEvent(event);
}

void kstVectorEditLayer::mouseMoveEvent(QGraphicsSceneMouseEvent* event)
{
    if (m_action == SelectEdit && viewReady()) {
        if (samePosition(event->lastScenePos(), m_pressPos))
            on_SelectEdit_DragBegin(event);
        else
            on_SelectEdit_DragMove(event);
    }
    kstElement::mouseMoveEvent(event);
}

void kstVectorEditLayer::mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && viewReady()) {
        switch (m_action) {
        case SelectEdit: on_SelectEdit_DoubleClicked(event); break;
        case NewLine: on_NewLine_DoubleClicked(event); break;
        case NewPolygon: on_NewPolygon_DoubleClicked(event); break;
        case PolygonSelect: on_PolygonSelect_DoubleClicked(event); break;
        default: break;
        }
    }
    // The base hands the event on as a press, which stores m_pressPos.
    kstElement::mouseDoubleClickEvent(event);
}

void kstVectorEditLayer::hoverMoveEvent(QGraphicsSceneHoverEvent* event)
{
    if (viewReady()) {
        switch (m_action) {
        case NewLine: on_NewLine_HoverMove(event); break;
        case NewPolygon: on_NewPolygon_HoverMove(event); break;
        case NewRect: on_NewRect_HoverMove(event); break;
        case NewCircle: on_NewCircle_HoverMove(event); break;
        case Fit: on_Fit_HoverMove(event); break;
        case RectSelect: on_RectSelect_HoverMove(event); break;
        case PolygonSelect: on_PolygonSelect_HoverMove(event); break;
        default: break;
        }
    }
    kstElement::hoverMoveEvent(event);
}

void kstVectorEditLayer::contextMenuEvent(QGraphicsSceneContextMenuEvent* event)
{
    if (viewReady()) {
        switch (m_action) {
        case SelectEdit: on_SelectEdit_RightClicked(event); break;
        case NewLine: on_NewLine_RightClicked(event); break;
        case NewPolygon: on_NewPolygon_RightClicked(event); break;
        case NewRect: on_NewRect_RightClicked(event); break;
        case NewCircle: on_NewCirce_RightClicked(event); break;
        case Fit: on_Fit_RightClicked(event); break;
        case RectSelect: on_RectSelect_RightClicked(event); break;
        case PolygonSelect: on_PolygonSelect_RightClicked(event); break;
        default: break;
        }
    }
    kstElement::contextMenuEvent(event);
}

// --- Finishing a shape ---------------------------------------------------

QPointF kstVectorEditLayer::layerGeoPoint(const QPointF& p) const
{
    const kstGeographicalCoordinatesPoint gcp = layerGcp(p);
    return QPointF(gcp.lon(), gcp.lat());
}

void kstVectorEditLayer::finishShape(kstVectorShape* shape, int geometryType)
{
    kstVectorCollect* collect = kstVectorCollect::newCollect();
    collect->m_geometryType = geometryType;
    if (shape->shapeType() == kstVectorShape::Type_Point) {
        const kstGeographicalCoordinatesPoint gcp(static_cast<VectorPoint*>(shape)->geoData());
        shape->setShapeExtent(gcp, gcp);
    } else {
        shape->updateExtent();
    }
    shape->setShapeCollect(collect, 0);
    collect->m_shapes.append(shape);
    // The receiver owns the new collect; with nobody listening it would leak.
    if (receivers(SIGNAL(collectCreate(Kestrum::kstVectorCollect*))) == 0) {
        kstVectorCollect::destroyCollect(collect);
        return;
    }
    emit collectCreate(collect);
}

// --- Points --------------------------------------------------------------

void kstVectorEditLayer::on_NewPoint_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    const kstGeographicalCoordinatesPoint gcp = layerGcp(event->pos());
    if (!mapView()->projection()->isValidGcp(gcp))
        return;
    clearSelected();
    finishShape(new VectorPoint(QPointF(gcp.lon(), gcp.lat()), nullptr), wkbPoint);
}

// --- Lines and polygons --------------------------------------------------

void kstVectorEditLayer::clickNewLineOrPolygon(const QPointF& pos)
{
    switch (m_newing) {
    case kNewingFinished:
        // The click that follows a finish only makes the mode ready again.
        m_newingPoints.clear();
        m_newing = kNewingReady;
        break;
    case kNewingReady:
        clearSelected();
        m_newingPoints.append(pos);
        m_newing = kNewingDrawing;
        break;
    case kNewingDrawing:
        // The rubber band becomes a vertex where it was snapped; the new
        // point is the next rubber band.
        m_newingPoints.append(pos);
        break;
    default:
        break;
    }
    refresh();
}

void kstVectorEditLayer::hoverNewLineOrPolygon(const QPointF& pos)
{
    if (m_newing != kNewingDrawing)
        return;
    if (m_newingPoints.size() == 1)
        m_newingPoints.append(pos);
    else
        m_newingPoints.last() = vertexAdsorb(pos, nullptr);
    refresh();
}

void kstVectorEditLayer::rightClickPointList(QList<QPointF>& points, int& state)
{
    // Shared by the drawn line or polygon and the selection polygon, whose
    // ready and drawing states have the same values.
    if (state != kNewingDrawing)
        return;
    if (points.size() > 2) {
        points.removeAt(points.size() - 2);
    } else {
        points.clear();
        state = kNewingReady;
    }
    refresh();
}

void kstVectorEditLayer::on_NewLine_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    clickNewLineOrPolygon(event->pos());
}

void kstVectorEditLayer::on_NewLine_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    rightClickPointList(m_newingPoints, m_newing);
}

void kstVectorEditLayer::on_NewLine_HoverMove(QGraphicsSceneHoverEvent* event)
{
    hoverNewLineOrPolygon(event->pos());
}

void kstVectorEditLayer::on_NewLine_DoubleClicked(QGraphicsSceneMouseEvent*)
{
    // The click of the double click added a point of its own.
    if (m_newing != kNewingDrawing || m_newingPoints.size() <= 2)
        return;
    const QList<QPointF> vertices = distinctVertices(m_newingPoints.mid(0, m_newingPoints.size() - 1));
    if (vertices.size() < 2)
        return;
    QVector<QPointF> geo;
    geo.reserve(vertices.size());
    for (const QPointF& p : vertices)
        geo.append(layerGeoPoint(p));
    finishShape(new VectorLine(geo, nullptr), wkbLineString);
    m_newingPoints.clear();
    m_newing = kNewingFinished;
    refresh();
}

void kstVectorEditLayer::on_NewPolygon_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    clickNewLineOrPolygon(event->pos());
}

void kstVectorEditLayer::on_NewPolygon_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    rightClickPointList(m_newingPoints, m_newing);
}

void kstVectorEditLayer::on_NewPolygon_HoverMove(QGraphicsSceneHoverEvent* event)
{
    hoverNewLineOrPolygon(event->pos());
}

void kstVectorEditLayer::on_NewPolygon_DoubleClicked(QGraphicsSceneMouseEvent*)
{
    if (m_newing != kNewingDrawing || m_newingPoints.size() <= 3)
        return;
    const QList<QPointF> vertices = distinctVertices(m_newingPoints.mid(0, m_newingPoints.size() - 1));
    if (vertices.size() < 3)
        return;
    Polygon__ geo;
    for (const QPointF& p : vertices)
        geo.outer.append(layerGeoPoint(p));
    finishShape(new VectorPolygon(geo, nullptr), wkbPolygon);
    m_newingPoints.clear();
    m_newing = kNewingFinished;
    refresh();
}

// --- Rectangles ----------------------------------------------------------

void kstVectorEditLayer::on_NewRect_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    if (m_newing == kNewingReady) {
        clearSelected();
        m_newingPoints.append(event->pos());
        m_newing = kNewingDrawing;
    } else if (m_newing == kNewingDrawing && m_newingPoints.size() == 4 &&
               !samePosition(m_newingPoints.at(0), m_newingPoints.at(2))) {
        // Before the pointer has left the anchor there is no rectangle.
        QPolygonF corners;
        for (const QPointF& p : qAsConst(m_newingPoints))
            corners.append(layerGeoPoint(p));
        finishShape(new VectorRect(corners, nullptr), wkbPolygon);
        m_newingPoints.clear();
        m_newing = kNewingReady;
    }
    refresh();
}

void kstVectorEditLayer::on_NewRect_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    if (m_newing != kNewingDrawing)
        return;
    m_newingPoints.clear();
    m_newing = kNewingReady;
    refresh();
}

void kstVectorEditLayer::on_NewRect_HoverMove(QGraphicsSceneHoverEvent* event)
{
    if (m_newing != kNewingDrawing)
        return;
    const QPointF anchor = m_newingPoints.first();
    // Not normalised: the corners keep their order whichever way the pointer went.
    const QRectF r(anchor, vertexAdsorb(event->pos(), nullptr));
    m_newingPoints = {r.topLeft(), r.topRight(), r.bottomRight(), r.bottomLeft()};
    refresh();
}

// --- Circles -------------------------------------------------------------

void kstVectorEditLayer::on_NewCircle_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    if (m_newing == kNewingReady) {
        clearSelected();
        m_newingPoints.append(event->pos());
        m_newing = kNewingDrawing;
    } else if (m_newing == kNewingDrawing && m_newingPoints.size() >= 2 &&
               !samePosition(m_newingPoints.at(0), m_newingPoints.at(1))) {
        // A circle needs a radius: a click on the centre builds nothing.
        const QPointF c = m_newingPoints.at(0);
        const double r = QLineF(c, m_newingPoints.at(1)).length();
        Circle__ geo;
        geo.center = layerGeoPoint(c);
        geo.ring.reserve(kCircleRingPoints);
        for (int k = 0; k < kCircleRingPoints; ++k) {
            const double a = (2 * k * kCirclePi) / double(kCircleRingPoints);
            geo.ring.append(layerGeoPoint(QPointF(c.x() + r * std::cos(a), c.y() + r * std::sin(a))));
        }
        finishShape(new VectorCircle(geo, nullptr), wkbPolygon);
        m_newingPoints.clear();
        m_newing = kNewingReady;
    }
    refresh();
}

void kstVectorEditLayer::on_NewCirce_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    if (m_newing != kNewingDrawing)
        return;
    m_newingPoints.clear();
    m_newing = kNewingReady;
    refresh();
}

void kstVectorEditLayer::on_NewCircle_HoverMove(QGraphicsSceneHoverEvent* event)
{
    if (m_newing != kNewingDrawing)
        return;
    const QPointF c = m_newingPoints.first();
    const double r = QLineF(c, vertexAdsorb(event->pos(), nullptr)).length();
    // A circle that would leave the projection's extent keeps its last radius.
    if (!insideLayer(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r)))
        return;
    const QList<QPointF> radiusPoints{QPointF(c.x() + r, c.y()), QPointF(c.x(), c.y() + r),
                                      QPointF(c.x() - r, c.y()), QPointF(c.x(), c.y() - r)};
    m_newingPoints = QList<QPointF>{c} + radiusPoints;
    refresh();
}

bool kstVectorEditLayer::insideLayer(const QRectF& rect) const
{
    return boundingRect().contains(rect);
}

// --- Level changes -------------------------------------------------------

void kstVectorEditLayer::clearNewingShape()
{
    m_newingPoints.clear();
    refresh();
}

void kstVectorEditLayer::rescalePoints(QList<QPointF>& points, int oldLevel) const
{
    if (points.isEmpty() || !viewReady())
        return;
    kstProjection* proj = mapView()->projection();
    kstResulotion* resolution = mapView()->resolution();
    const kstMeterPerPixle__ oldMpp = resolution->mpp(oldLevel);
    const kstMeterPerPixle__ newMpp = resolution->mpp(m_level);
    const kstPlaneCoordinatesPoint origin = proj->ltGcp().toPcp(proj);
    for (QPointF& p : points)
        p = origin.rbPcp(oldMpp, QSizeF(p.x(), p.y())).toPix(newMpp, origin);
}

void kstVectorEditLayer::updateNewingShape(int oldLevel)
{
    rescalePoints(m_newingPoints, oldLevel);
}

// --- Painting ------------------------------------------------------------

QRectF kstVectorEditLayer::vertexRect(const QPointF& p) const
{
    const int shift = int(m_vertexSize * -0.5);
    return QRectF(p.x() + shift, p.y() + shift, m_vertexSize, m_vertexSize);
}

void kstVectorEditLayer::drawShapeNewing(QPainter* painter, const QStyleOptionGraphicsItem*)
{
    if (m_newingPoints.isEmpty())
        return;
    const QList<QPointF>& pts = m_newingPoints;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, true);
    if (m_action == NewLine) {
        painter->setPen(m_newingLinePen);
        painter->setBrush(Qt::NoBrush);
        for (int i = 1; i < pts.size(); ++i)
            painter->drawLine(pts.at(i - 1), pts.at(i));
    } else if (m_action == NewPolygon || m_action == NewRect || m_action == NewCircle) {
        painter->setPen(m_newingBorderPen);
        painter->setBrush(m_newingFillBrush);
        if (m_action == NewPolygon) {
            painter->drawPolygon(QPolygonF(pts.toVector()), Qt::OddEvenFill);
        } else if (m_action == NewRect && pts.size() == 4) {
            painter->drawRect(QRectF(pts.at(0), pts.at(2)).normalized());
        } else if (m_action == NewCircle && pts.size() == 5) {
            const double r = QLineF(pts.at(0), pts.at(1)).length();
            painter->drawEllipse(pts.at(0), r, r);
            drawNewingRadius(painter);
        }
    }
    painter->restore();
}

void kstVectorEditLayer::drawNewingRadius(QPainter* painter)
{
    const QPointF c = m_newingPoints.at(0);
    const QPointF edge = m_newingPoints.at(1);
    const double meters = m_distanceArea.distance(layerGeoPoint(c), layerGeoPoint(edge));
    const QString text = VectorCircle::radiusText(meters);
    QFont font = painter->font();
    font.setWeight(QFont::Bold);
    painter->setFont(font);
    const QRect box = QFontMetrics(font).boundingRect(text);
    const int tw = box.width();
    const int th = box.height();
    const double dx = edge.x() - c.x();
    // The line is written over only when it is long enough for its text.
    if (!(3.0 * std::abs(dx) > tw))
        return;
    painter->setPen(QPen(QBrush(Qt::green, Qt::SolidPattern), 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    painter->drawLine(c, QPointF((dx - tw) * 0.5 + c.x() - kRadiusTextGap, c.y()));
    painter->drawLine(QPointF((tw + dx) * 0.5 + c.x() + kRadiusTextGap, c.y()), edge);
    const QPointF topLeft(int((dx - tw) * 0.5 + c.x()), int(c.y() - th / 2));
    kstVectorShape::drawOutlineText(painter, text, QRectF(topLeft, QSizeF(tw, th)), QColor(0, 255, 0, 255),
                                    QColor(68, 68, 68, 255));
}

void kstVectorEditLayer::drawShapeVertexNewing(QPainter* painter, const QStyleOptionGraphicsItem*)
{
    if (m_action == None || m_action == SelectEdit || m_action == Fit || m_newingPoints.isEmpty())
        return;
    const QList<QPointF>& pts = m_newingPoints;
    painter->save();
    painter->setPen(Qt::NoPen);
    painter->setRenderHint(QPainter::Antialiasing, true);
    auto handle = [&](int i, const QColor& color) {
        painter->setBrush(color);
        painter->drawRect(vertexRect(pts.at(i)));
    };
    if (m_action == NewCircle) {
        if (pts.size() >= 2)
            handle(1, m_vertexClr0);
        painter->setBrush(m_vertexClr2);
        painter->drawEllipse(vertexRect(pts.at(0)));
        if (pts.size() >= 3)
            handle(2, m_vertexClr1);
        for (int i = 3; i < qMin(pts.size(), 5); ++i)
            handle(i, m_vertexClr2);
    } else {
        handle(0, m_vertexClr0);
        if (pts.size() >= 2)
            handle(1, m_vertexClr1);
        for (int i = 2; i < pts.size(); ++i)
            handle(i, m_vertexClr2);
    }
    painter->restore();
}

} // namespace Kestrum
