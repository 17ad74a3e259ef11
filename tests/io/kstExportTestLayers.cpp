#include "kstExportTestLayers.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstGdalTestSupport.h"
#include "kstSampleLayer.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileExport.h"
#include "kstVectorFileImport.h"
#include "kstWebMercatorProjection.h"

#include <QDateTime>
#include <QEventLoop>
#include <QTimer>

#include <gdal_priv.h>
#include <ogr_geometry.h>

#include <cmath>

namespace Kestrum {
namespace ExportTestLayers {

namespace {

const double kLon = 116.123456789012;
const double kLat = 39.987654321098;

QPointF at(double dx, double dy)
{
    return QPointF(kLon + dx, kLat + dy);
}

QPolygonF square(double x, double y, double side)
{
    return QPolygonF({at(x, y), at(x + side, y), at(x + side, y + side), at(x, y + side)});
}

QMap<QString, QVariant> fieldsOf(quint64 fid)
{
    const int k = int(fid);
    // Even features in UTC, odd ones in local time.
    const QDateTime stamp(QDate(2023, 12, 31), QTime(23, 59, 58), k % 2 ? Qt::LocalTime : Qt::UTC);
    return {{"i32", -100 + k}, {"i64", qlonglong(5000000000LL + k)}, {"real", 3.25 + k / 8.0},
            {"name", QStringLiteral("北京测试%1").arg(k)}, {"day", QDate(2024, 2, 29)}, {"clock", QTime(13, 45, 7)},
            {"stamp", stamp}, {"ints", QVariantList{1, 2, k}}, {"bigs", QVariantList{qlonglong(1) << 40, qlonglong(-k)}},
            {"reals", QVariantList{0.5, 1.5 + k}},
            {"names", QVariantList{QStringLiteral("甲"), QStringLiteral("乙%1").arg(k)}},
            {"blob", QByteArray("\x00\x01\xff kst", 7) + QByteArray::number(k)}};
}

// A collect with the fields and a label text of its fid.
void addFeature(kstVectorLayer* layer, int geometryType, const QList<kstVectorShape*>& shapes)
{
    kstVectorCollect* collect = addCollect(layer, shapes, geometryType);
    collect->m_fields = fieldsOf(collect->m_fid);
    collect->m_text = QStringLiteral("标注%1").arg(collect->m_fid);
}

VectorPoint* point(double dx, double dy, const QColor& color)
{
    auto* p = new VectorPoint(at(dx, dy), nullptr);
    p->setPointType(0);
    p->setPointSize(10);
    p->setPointBorderPen(QPen(color.darker(), 2));
    p->setPointFillBrush(QBrush(color));
    return p;
}

VectorLine* line(double dy, const QPen& pen)
{
    auto* l = new VectorLine({at(0, dy), at(0.01, dy + 0.002), at(0.02, dy - 0.003)}, nullptr);
    l->setLinePen(pen);
    return l;
}

VectorPolygon* polygon(double x, double y, bool hole)
{
    Polygon__ data;
    data.outer = square(x, y, 0.01);
    if (hole)
        data.inner.append(square(x + 0.003, y + 0.003, 0.004));
    auto* p = new VectorPolygon(data, nullptr);
    p->setFillBrush(QBrush(QColor(255, 255, 0, 128)));
    p->setBorderPen(QPen(QColor(0, 0, 0), 2));
    return p;
}

VectorCircle* circle(double x, double y, double radius)
{
    Circle__ data;
    data.center = at(x, y);
    for (int i = 0; i < 36; ++i) {
        const double a = i * 10 * M_PI / 180;
        data.ring.append(at(x + radius * std::cos(a), y + radius * std::sin(a)));
    }
    auto* c = new VectorCircle(data, nullptr);
    c->setFillBrush(QBrush(QColor(0, 200, 100, 90), Qt::FDiagPattern));
    c->setBorderPen(QPen(QColor(90, 0, 90), 1, Qt::DashLine));
    return c;
}

const char* layerName(Kind kind)
{
    static const char* names[] = {"点", "线", "面", "多点", "多线", "多面", "隐藏"};
    return names[kind];
}

} // namespace

QStringList fieldNames()
{
    return {"i32", "i64", "real", "name", "day", "clock", "stamp", "ints", "bigs", "reals", "names", "blob"};
}

QList<int> fieldTypes()
{
    return {OFTInteger, OFTInteger64, OFTReal, OFTString, OFTDate, OFTTime, OFTDateTime,
            OFTIntegerList, OFTInteger64List, OFTRealList, OFTStringList, OFTBinary};
}

kstVectorLayer* makeLayer(Kind kind)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QString::fromUtf8(layerName(kind));
    layer->m_fieldNames = fieldNames();
    layer->m_fieldTypes = fieldTypes();
    switch (kind) {
    case Points:
        // Three points look alike, the fourth differs.
        for (int i = 0; i < 3; ++i)
            addFeature(layer, wkbPoint, {point(0.001 * i, 0.002 * i, QColor(255, 0, 0))});
        addFeature(layer, wkbPoint, {point(0.005, -0.004, QColor(0, 0, 255))});
        break;
    case Lines:
        addFeature(layer, wkbLineString, {line(0.01, QPen(QColor(0, 128, 0, 200), 3, Qt::DashLine))});
        addFeature(layer, wkbLineString, {line(0.02, QPen(QColor(10, 20, 250), 2, Qt::DotLine))});
        break;
    case Areas: {
        addFeature(layer, wkbPolygon, {polygon(0.03, 0.0, true)});
        auto* rect = new VectorRect(square(0.05, 0.0, 0.008), nullptr);
        rect->setFillBrush(QBrush(QColor(0, 0, 255), Qt::CrossPattern));
        rect->setBorderPen(QPen(QColor(255, 0, 0), 4));
        addFeature(layer, wkbPolygon, {rect});
        addFeature(layer, wkbPolygon, {circle(0.07, 0.0, 0.005)});
        break;
    }
    case MultiPoints: {
        QList<kstVectorShape*> points{point(0, -0.01, Qt::green), point(0.001, -0.01, Qt::green),
                                      point(0.002, -0.01, Qt::green)};
        points.at(1)->setShapeVisible(false);
        addFeature(layer, wkbMultiPoint, points);
        break;
    }
    case MultiLines:
        addFeature(layer, wkbMultiLineString, {line(-0.02, QPen(Qt::magenta, 2)), line(-0.03, QPen(Qt::magenta, 2))});
        break;
    case MultiAreas: {
        QList<kstVectorShape*> parts{polygon(0.1, 0.0, false), polygon(0.12, 0.0, true)};
        parts.at(1)->setShapeVisible(false);
        addFeature(layer, wkbMultiPolygon, parts);
        break;
    }
    case Hidden: {
        VectorPoint* hidden = point(0.2, 0.2, Qt::black);
        hidden->setShapeVisible(false);
        addFeature(layer, wkbPoint, {hidden});
        break;
    }
    }
    return layer;
}

kstVectorLayer* makePointLayer(const QString& name, int count)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = name;
    layer->m_fieldNames = QStringList{"i32", "name"};
    layer->m_fieldTypes = QList<int>{OFTInteger, OFTString};
    for (int i = 0; i < count; ++i) {
        kstVectorCollect* collect =
            addCollect(layer, {new VectorPoint(at(1e-4 * (i % 100), 1e-4 * (i / 100)), nullptr)}, wkbPoint);
        collect->m_fields = {{QStringLiteral("i32"), i}, {QStringLiteral("name"), QStringLiteral("点%1").arg(i)}};
    }
    return layer;
}

void destroy(QList<kstVectorLayer*>& layers)
{
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    layers.clear();
}

QVector<QPointF> exportedVertices(const kstVectorCollect* collect)
{
    QVector<QPointF> points;
    const auto ring = [&points](const QPolygonF& r) {
        for (const QPointF& p : r)
            points.append(p);
    };
    for (kstVectorShape* shape : collect->m_shapes) {
        switch (shape->shapeType()) {
        case kstVectorShape::Type_Point:
            if (collect->m_geometryType != wkbMultiPoint || shape->isShapeVisible())
                points.append(static_cast<VectorPoint*>(shape)->geoData());
            break;
        case kstVectorShape::Type_Line:
            for (const QPointF& p : static_cast<VectorLine*>(shape)->geoData())
                points.append(p);
            break;
        case kstVectorShape::Type_Polygon: {
            const Polygon__ data = static_cast<VectorPolygon*>(shape)->geoData();
            ring(data.outer);
            for (const QPolygonF& inner : data.inner)
                ring(inner);
            break;
        }
        case kstVectorShape::Type_Rect:
            ring(static_cast<VectorRect*>(shape)->geoData().mid(0, 4));
            break;
        case kstVectorShape::Type_Circle:
            ring(static_cast<VectorCircle*>(shape)->geoData().ring);
            break;
        default:
            break;
        }
    }
    return points;
}

QVector<QPointF> vertices(const OGRGeometry* geometry)
{
    QVector<QPointF> points;
    if (!geometry)
        return points;
    switch (wkbFlatten(geometry->getGeometryType())) {
    case wkbPoint:
        points.append(QPointF(geometry->toPoint()->getX(), geometry->toPoint()->getY()));
        break;
    case wkbLineString: {
        const OGRLineString* line = geometry->toLineString();
        for (int i = 0; i < line->getNumPoints(); ++i)
            points.append(QPointF(line->getX(i), line->getY(i)));
        break;
    }
    case wkbPolygon:
        for (const OGRLinearRing* ring : *geometry->toPolygon()) {
            const int n = ring->getNumPoints();
            const bool closed = n > 1 && ring->getX(0) == ring->getX(n - 1) && ring->getY(0) == ring->getY(n - 1);
            for (int i = 0; i < (closed ? n - 1 : n); ++i)
                points.append(QPointF(ring->getX(i), ring->getY(i)));
        }
        break;
    case wkbMultiPoint:
    case wkbMultiLineString:
    case wkbMultiPolygon:
    case wkbGeometryCollection:
        for (const OGRGeometry* part : *geometry->toGeometryCollection())
            points += vertices(part);
        break;
    default:
        break;
    }
    return points;
}

bool sameVertices(const QVector<QPointF>& expected, const QVector<QPointF>& actual, double tolerance, QString* why)
{
    if (expected.size() != actual.size()) {
        if (why)
            *why = QStringLiteral("%1 vertices expected, %2 read").arg(expected.size()).arg(actual.size());
        return false;
    }
    QVector<bool> used(actual.size(), false);
    for (const QPointF& p : expected) {
        int found = -1;
        for (int i = 0; i < actual.size() && found < 0; ++i) {
            if (!used[i] && std::abs(actual[i].x() - p.x()) <= tolerance && std::abs(actual[i].y() - p.y()) <= tolerance)
                found = i;
        }
        if (found < 0) {
            if (why)
                *why = QStringLiteral("no vertex near (%1, %2)").arg(p.x(), 0, 'g', 17).arg(p.y(), 0, 'g', 17);
            return false;
        }
        used[found] = true;
    }
    return true;
}

QStringList runExport(kstVectorFileExport* exporter, const QString& path, const QList<kstVectorLayer*>& layers)
{
    QStringList signalNames;
    QEventLoop loop;
    QObject::connect(exporter, &kstVectorFileExport::exportStarted, &loop, [&] { signalNames << "started"; });
    QObject::connect(exporter, &kstVectorFileExport::exportStoped, &loop, [&] {
        signalNames << "stoped";
        loop.quit();
    });
    QObject::connect(exporter, &kstVectorFileExport::exportFinished, &loop, [&] {
        signalNames << "finished";
        loop.quit();
    });
    QObject::connect(exporter, &kstVectorFileExport::exportFailed, &loop, [&](const QString& detail) {
        signalNames << "failed:" + detail;
        loop.quit();
    });
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);
    exporter->startExport(path, layers);
    loop.exec();
    return signalNames;
}

QList<kstVectorLayer*> importFile(const QString& path)
{
    QList<kstVectorLayer*> layers;
    GDALDataset* dataSource = openVector(path).release();
    if (!dataSource)
        return layers;
    QList<int> indices;
    for (int i = 0; i < dataSource->GetLayerCount(); ++i)
        indices.append(i);
    kstWebMercatorProjection projection;
    kstTileResulotion resolution;
    kstVectorFileImport importer;
    importer.setCurrentMapViewConfig(&projection, &resolution, 12);
    QEventLoop loop;
    QObject::connect(&importer, &kstVectorFileImport::layerImport, &loop,
                     [&layers](kstVectorLayer* layer) { layers.append(layer); });
    QObject::connect(&importer, &kstVectorFileImport::importFinished, &loop, &QEventLoop::quit);
    QObject::connect(&importer, &kstVectorFileImport::importStoped, &loop, &QEventLoop::quit);
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);
    importer.startImport(dataSource, indices);
    loop.exec();
    importer.stopImport();
    return layers;
}

} // namespace ExportTestLayers
} // namespace Kestrum
