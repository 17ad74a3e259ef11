#include "kstMixedLayer.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstVectorCollect.h"

#include <QRandomGenerator>

#include <cmath>

namespace Kestrum {

namespace {

QPolygonF ring(const QPointF& centre, double radius, int points, double phase)
{
    QPolygonF ring;
    for (int k = 0; k < points; ++k) {
        const double a = phase + 2.0 * k * 3.141592653589 / points;
        ring << centre + QPointF(radius * std::cos(a), radius * std::sin(a));
    }
    return ring;
}

} // namespace

kstVectorShape* randomShape(int kind, QRandomGenerator& rng, const QPointF& at, double size, int maxHoles)
{
    switch (kind) {
    case 0:
        return new VectorPoint(at, nullptr);
    case 1: {
        QVector<QPointF> points{at};
        for (int k = 0; k < 7; ++k)
            points << points.last() + QPointF(size * rng.generateDouble(), size * (rng.generateDouble() - 0.5));
        return new VectorLine(points, nullptr);
    }
    case 2: {
        Polygon__ polygon;
        polygon.outer = ring(at, size, 9, rng.generateDouble());
        for (int h = 0, holes = rng.bounded(maxHoles + 1); h < holes; ++h)
            polygon.inner << (holes == 1 ? ring(at, size * 0.4, 5, 0.3)
                                         : ring(at + QPointF(size * (h % 2 ? -0.5 : 0.5), 0), size * 0.2, 4, 0.3));
        return new VectorPolygon(polygon, nullptr);
    }
    case 3:
        return new VectorRect(QPolygonF({at, at + QPointF(size, 0), at + QPointF(size, -size * 0.6),
                                         at + QPointF(0, -size * 0.6)}),
                              nullptr);
    default: {
        Circle__ circle;
        circle.center = at;
        circle.ring = ring(at, size * 0.5, 36, 0.0);
        return new VectorCircle(circle, nullptr);
    }
    }
}

kstVectorLayer* mixedLayer(int count, quint32 seed)
{
    QRandomGenerator rng(seed);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < count; ++i) {
        kstVectorCollect* collect = kstVectorCollect::newCollect();
        collect->m_layer = layer;
        collect->m_fid = quint64(i + 1);
        collect->m_text = QStringLiteral("S%1").arg(i);
        const QPointF at(107 + rng.generateDouble() * 6, 32 + rng.generateDouble() * 6);
        kstVectorShape* shape = randomShape(i % 5, rng, at, 0.01 + rng.generateDouble() * 0.3);
        shape->setShapeCollect(collect, 0);
        collect->m_shapes << shape;
        layer->m_collects.insert(collect->m_fid, collect);
    }
    return layer;
}

} // namespace Kestrum
