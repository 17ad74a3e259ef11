#include "kstDemoSampleLayer.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstDistanceArea.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QtMath>

using namespace Kestrum;

namespace {

constexpr int kCircleRingPoints = 120;

void addCollect(kstVectorLayer* layer, kstVectorShape* shape, const QString& text, int geometryType)
{
    kstVectorCollect* collect = kstVectorCollect::newCollect();
    collect->m_layer = layer;
    collect->m_fid = layer->genFid();
    collect->m_text = text;
    collect->m_geometryType = geometryType;
    shape->setShapeCollect(collect, 0);
    collect->m_shapes.append(shape);
    layer->m_collects.insert(collect->m_fid, collect);
}

// A geodesic circle: ring points at equal azimuth steps, in order of increasing
// angle on the map (clockwise from east, as pixel y grows downwards).
Circle__ geodesicCircle(const QPointF& center, double radiusMetres)
{
    const kstDistanceArea da;
    Circle__ circle;
    circle.center = center;
    for (int k = 0; k < kCircleRingPoints; ++k) {
        const double azimuth = M_PI / 2 + 2 * M_PI * k / kCircleRingPoints;
        circle.ring << da.location(center, radiusMetres, azimuth);
    }
    return circle;
}

} // namespace

kstVectorLayer* kstDemoSampleLayer::create()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QStringLiteral("示例图层");

    addCollect(layer, new VectorPoint(QPointF(116.397, 39.909), nullptr), QStringLiteral("北京"), 1);
    addCollect(layer, new VectorPoint(QPointF(121.474, 31.230), nullptr), QStringLiteral("上海"), 1);
    VectorPoint* marker = new VectorPoint(QPointF(113.264, 23.129), nullptr);
    marker->setPointType(1);
    addCollect(layer, marker, QStringLiteral("广州"), 1);

    addCollect(layer, new VectorLine({QPointF(116.397, 39.909), QPointF(117.200, 39.084), QPointF(118.80, 32.06),
                                      QPointF(121.474, 31.230)}, nullptr),
               QStringLiteral("京沪线"), 2);

    Polygon__ polygon;
    polygon.outer << QPointF(100.0, 38.0) << QPointF(106.0, 38.5) << QPointF(107.0, 33.0) << QPointF(101.0, 32.0);
    polygon.inner << (QPolygonF() << QPointF(102.0, 36.5) << QPointF(104.5, 36.0) << QPointF(103.0, 34.0));
    addCollect(layer, new VectorPolygon(polygon, nullptr), QStringLiteral("带洞多边形"), 3);

    addCollect(layer, new VectorRect(QPolygonF() << QPointF(108.0, 30.0) << QPointF(112.0, 30.0)
                                                 << QPointF(112.0, 27.0) << QPointF(108.0, 27.0), nullptr),
               QStringLiteral("矩形"), 3);
    addCollect(layer, new VectorCircle(geodesicCircle(QPointF(104.07, 30.67), 250000.0), nullptr),
               QString(), 3); // the circle shows its radius itself
    return layer;
}
