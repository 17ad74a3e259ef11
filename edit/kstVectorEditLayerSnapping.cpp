// Snapping of placed positions and dragged shapes onto nearby vertices.

#include "kstVectorEditLayer.h"

#include "kstShapeIndex.h"
#include "kstVectorShape.h"
#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"

#include <QGraphicsScene>

#include <cmath>

namespace Kestrum {

namespace {

// A snap that moves a vertex by less than this is no snap.
constexpr double kSnapTolerance = 1e-12;

// The vertices a snap can land on, in the shape's item pixels: the point;
// the polyline; the outer ring and then each hole; the rectangle's corners
// and edge middles; the circle's ring and then its centre.
QVector<QPointF> pixelVertices(kstVectorShape* shape)
{
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Point:
        return {static_cast<VectorPoint*>(shape)->pixData()};
    case kstVectorShape::Type_Line:
        return static_cast<VectorLine*>(shape)->pixData();
    case kstVectorShape::Type_Polygon: {
        const Polygon__ pix = static_cast<VectorPolygon*>(shape)->pixData();
        QVector<QPointF> vertices = pix.outer;
        for (const QPolygonF& hole : pix.inner)
            vertices += hole;
        return vertices;
    }
    case kstVectorShape::Type_Rect:
        return static_cast<VectorRect*>(shape)->pixData();
    case kstVectorShape::Type_Circle: {
        const Circle__ pix = static_cast<VectorCircle*>(shape)->pixData();
        QVector<QPointF> vertices = pix.ring;
        vertices.append(pix.center);
        return vertices;
    }
    default:
        return {};
    }
}

} // namespace

QList<kstVectorShape*> kstVectorEditLayer::snapShapes(const QRectF& rect, kstVectorShape* excluded) const
{
    QList<kstVectorShape*> shapes;
    if (!scene())
        return shapes;
    // Topmost first, as the scene reports them.
    for (kstVectorShape* shape : m_shapeIndex->items(rect.translated(pos()), Qt::IntersectsItemShape))
        if (shape != excluded)
            shapes.append(shape);
    return shapes;
}

QPointF kstVectorEditLayer::snapPoint(const QPointF& p, const QList<kstVectorShape*>& shapes) const
{
    const double t = m_adsorbTolerance;
    // Later candidates at the same distance replace earlier ones.
    QMap<double, QPointF> byDistance;
    auto consider = [&](const QPointF& c) {
        // The square's edges belong to it.
        if (std::abs(c.x() - p.x()) > t || std::abs(c.y() - p.y()) > t)
            return;
        const double dx = p.x() - c.x();
        const double dy = p.y() - c.y();
        byDistance.insert(std::sqrt(dx * dx + dy * dy), c);
    };
    for (const QPointF& c : m_newingPoints)
        consider(c);
    for (kstVectorShape* shape : shapes) {
        const QPointF offset = shape->pos();
        for (const QPointF& v : pixelVertices(shape))
            consider(v + offset);
    }
    return byDistance.isEmpty() ? p : byDistance.first();
}

QPointF kstVectorEditLayer::vertexAdsorb(const QPointF& p, kstVectorShape* excluded)
{
    if (!m_adsorbEnabled)
        return p;
    const double t = m_adsorbTolerance;
    return snapPoint(p, snapShapes(QRectF(p.x() - t, p.y() - t, 2 * t, 2 * t), excluded));
}

QPointF kstVectorEditLayer::shapeAdsorb(const QPointF& d, kstVectorShape* shape)
{
    if (!m_adsorbEnabled || !shape)
        return d;
    const QPointF base = shape->pos() + d;
    QVector<QPointF> moved = pixelVertices(shape);
    if (moved.isEmpty())
        return d;
    for (QPointF& v : moved)
        v += base;
    // The shapes near any vertex, asked for once; each vertex then looks at
    // those whose vertices lie in its own square.
    const double t = m_adsorbTolerance;
    const QRectF around = QPolygonF(moved).boundingRect().adjusted(-t, -t, t, t);
    const QList<kstVectorShape*> nearby = snapShapes(around, shape);
    // The first vertex that snaps decides the offset of the whole step.
    for (const QPointF& v : qAsConst(moved)) {
        const QPointF snapped = snapPoint(v, nearby);
        if (std::abs(snapped.x() - v.x()) > kSnapTolerance || std::abs(snapped.y() - v.y()) > kSnapTolerance)
            return d + (snapped - v);
    }
    return d;
}

} // namespace Kestrum
