// Writes seed inputs for fuzz_loadLayers into a directory: a small layers
// file that holds every shape kind, attribute values of several types and
// non-default styles, and a file with no layer at all.
//
//   fuzz_make_seed <corpus directory>
#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QDateTime>
#include <QDir>
#include <QGuiApplication>
#include <QRadialGradient>

#include <cmath>
#include <cstdio>

using namespace Kestrum;

namespace {

void addShape(kstVectorLayer* layer, quint64 fid, int geometryType, kstVectorShape* shape)
{
    kstVectorCollect* collect = layer->m_collects.value(fid);
    if (!collect) {
        collect = kstVectorCollect::newCollect();
        collect->m_layer = layer;
        collect->m_fid = fid;
        collect->m_geometryType = geometryType;
        layer->m_collects.insert(fid, collect);
    }
    shape->setShapeCollect(collect, collect->m_shapes.size());
    shape->updateExtent();
    collect->m_shapes.append(shape);
}

kstVectorLayer* seedLayer()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QStringLiteral("seed 种子");
    layer->m_srsWkt = QStringLiteral("GEOGCS[\"WGS 84\"]");
    layer->m_fieldNames = {QStringLiteral("name"), QStringLiteral("pop")};
    layer->m_fieldTypes = {4, 12};
    QPixmap marker(2, 2);
    marker.fill(Qt::magenta);
    layer->m_markerIcon = marker.toImage();
    layer->m_linePen = QPen(Qt::darkGreen, 3);
    layer->m_linePen.setDashPattern({3, 2});
    layer->m_labelFont = QFont(QStringLiteral("Sans"), 9);
    layer->m_labelField = QStringLiteral("name");

    VectorPoint* point = new VectorPoint(QPointF(116.4, 39.9), nullptr);
    point->setPointStyleDirect(9, QPen(Qt::blue, 2), QBrush(Qt::green, Qt::CrossPattern));
    addShape(layer, 1, 1, point);
    layer->m_collects[1]->m_text = QStringLiteral("label");
    layer->m_collects[1]->m_fields = {{QStringLiteral("name"), QStringLiteral("北京")},
                                      {QStringLiteral("pop"), qlonglong(21893095)},
                                      {QStringLiteral("area"), 16410.5},
                                      {QStringLiteral("when"), QDateTime(QDate(2020, 11, 1), QTime(0, 0), Qt::UTC)},
                                      {QStringLiteral("tags"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
                                      {QStringLiteral("ok"), true}};
    addShape(layer, 1, 1, new VectorLine({QPointF(1, 2), QPointF(3, 4), QPointF(5, 1)}, nullptr));

    Polygon__ polygon;
    polygon.outer << QPointF(0, 0) << QPointF(10, 0) << QPointF(10, 10) << QPointF(0, 10);
    polygon.inner << (QPolygonF() << QPointF(2, 2) << QPointF(4, 2) << QPointF(3, 4));
    VectorPolygon* area = new VectorPolygon(polygon, nullptr);
    QRadialGradient radial(1, 2, 3);
    radial.setColorAt(0, Qt::red);
    radial.setColorAt(1, Qt::blue);
    area->setStyleDirect(QPen(Qt::black), QBrush(radial));
    addShape(layer, 2, 3, area);

    VectorRect* rect = new VectorRect(QPolygonF() << QPointF(20, 10) << QPointF(22, 10) << QPointF(22, 8)
                                                  << QPointF(20, 8), nullptr);
    rect->setStyleDirect(QPen(Qt::black), QBrush(marker));
    addShape(layer, 3, 3, rect);

    Circle__ circle;
    circle.center = QPointF(30, 30);
    for (int k = 0; k < 6; ++k)
        circle.ring << QPointF(30 + std::cos(k * M_PI / 3), 30 + std::sin(k * M_PI / 3));
    addShape(layer, 4, 3, new VectorCircle(circle, nullptr));
    return layer;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!QDir().mkpath(dir.path())) {
        std::fprintf(stderr, "cannot create %s\n", argv[1]);
        return 1;
    }

    QList<kstVectorLayer*> layers{seedLayer()};
    const bool full = kstVectorLayer::saveLayers(layers, dir.filePath(QStringLiteral("seed-all-kinds.kst")));
    kstVectorLayer::destoryLayer(layers.takeFirst());
    const bool empty = kstVectorLayer::saveLayers(layers, dir.filePath(QStringLiteral("seed-no-layer.kst")));
    if (!full || !empty) {
        std::fprintf(stderr, "cannot write the seeds into %s\n", argv[1]);
        return 1;
    }
    return 0;
}
