#include "kstShapeGeometry.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"

#include <cmath>

namespace Kestrum {

namespace {

const int registerShapeGeometry = [] {
    qRegisterMetaType<kstShapeGeometry>("kstShapeGeometry");
    QMetaType::registerEqualsComparator<kstShapeGeometry>();
    return 0;
}();

bool near(const QPointF* a, const QPointF* b, int count, double tolerance)
{
    for (int i = 0; i < count; ++i) {
        if (std::abs(a[i].x() - b[i].x()) > tolerance || std::abs(a[i].y() - b[i].y()) > tolerance)
            return false;
    }
    return true;
}

} // namespace

kstShapeGeometry kstShapeGeometry::capture(const QList<kstVectorShape*>& shapes)
{
    kstShapeGeometry geometry;
    geometry.m_offsets.reserve(shapes.size() + 1);
    for (kstVectorShape* shape : shapes) {
        // A point is moved onto its target exactly; it needs no copy.
        if (shape && shape->shapeType() != kstVectorShape::Type_Point)
            geometry.m_points += pointsOf(shape);
        geometry.m_offsets.append(geometry.m_points.size());
    }
    return geometry;
}

bool kstShapeGeometry::restore(int index, kstVectorShape* shape, double tolerance) const
{
    if (!shape || index < 0 || index >= size())
        return false;
    const int begin = m_offsets.at(index);
    const int count = m_offsets.at(index + 1) - begin;
    const QVector<QPointF> current = pointsOf(shape);
    if (current.size() != count)
        return false;
    if (tolerance >= 0 && !near(current.constData(), m_points.constData() + begin, count, tolerance))
        return false;
    if (near(current.constData(), m_points.constData() + begin, count, 0.0))
        return true; // already exact
    if (!setPointsOf(shape, m_points.mid(begin, count)))
        return false;
    // The extent keeps corners that moved by less than 1e-12; it must be the
    // exact one of these points, as it was, so it is computed afresh.
    shape->setShapeExtent(GCP(180.0, -90.0), GCP(-180.0, 90.0));
    shape->updateShape(shape->curMpp(), shape->curProj(), true);
    return true;
}

QVector<QPointF> kstShapeGeometry::pointsOf(kstVectorShape* shape)
{
    switch (shape ? shape->shapeType() : kstVectorShape::Type_Unknown) {
    case kstVectorShape::Type_Point:
        return {static_cast<VectorPoint*>(shape)->geoData()};
    case kstVectorShape::Type_Line:
        return static_cast<VectorLine*>(shape)->geoData();
    case kstVectorShape::Type_Polygon: {
        const Polygon__ polygon = static_cast<VectorPolygon*>(shape)->geoData();
        QVector<QPointF> points = polygon.outer;
        for (const QPolygonF& ring : polygon.inner)
            points += ring;
        return points;
    }
    case kstVectorShape::Type_Rect:
        return static_cast<VectorRect*>(shape)->geoData();
    case kstVectorShape::Type_Circle: {
        const Circle__ circle = static_cast<VectorCircle*>(shape)->geoData();
        QVector<QPointF> points{circle.center};
        points += circle.ring;
        return points;
    }
    default:
        return {};
    }
}

bool kstShapeGeometry::setPointsOf(kstVectorShape* shape, const QVector<QPointF>& points)
{
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Point:
        static_cast<VectorPoint*>(shape)->setGeoData(points.first());
        return true;
    case kstVectorShape::Type_Line:
        static_cast<VectorLine*>(shape)->setGeoData(points);
        return true;
    case kstVectorShape::Type_Polygon: {
        // The rings keep their sizes: only moves are restored this way.
        auto* shapePolygon = static_cast<VectorPolygon*>(shape);
        Polygon__ polygon = shapePolygon->geoData();
        int at = 0;
        polygon.outer = QPolygonF(points.mid(at, polygon.outer.size()));
        at += polygon.outer.size();
        for (QPolygonF& ring : polygon.inner) {
            ring = QPolygonF(points.mid(at, ring.size()));
            at += ring.size();
        }
        shapePolygon->setGeoData(polygon);
        return true;
    }
    case kstVectorShape::Type_Rect:
        static_cast<VectorRect*>(shape)->setGeoData(QPolygonF(points));
        return true;
    case kstVectorShape::Type_Circle: {
        Circle__ circle;
        circle.center = points.first();
        circle.ring = QPolygonF(points.mid(1));
        static_cast<VectorCircle*>(shape)->setGeoData(circle);
        return true;
    }
    default:
        return false;
    }
}

} // namespace Kestrum
