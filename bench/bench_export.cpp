// Export time of a large layer through the format exporters against ogr2ogr
// converting the same features, measured in one run, with the memory the
// export needs.
//
// 100 000 polygons of 10 distinct vertices each in WGS84 degrees, each with
// a name, an integer code and a real value, are built as one layer in
// memory. A GeoPackage of the same features is written with GDAL directly;
// ogr2ogr converts it to each format with the exporter's creation options.
// Both figures are wall time of a single run: the exporter's from
// startExport to exportFinished (the event loop included), ogr2ogr's from
// process start to exit. The peak resident set during each export is read
// from the kernel (VmHWM, reset before the export) and set against the
// memory the layer took when it was built. Formats named on the command line
// (GeoPackage, Shapefile, GeoJSON) run alone.
#include "GeoJSONFileExport.h"
#include "GeoPackageFileExport.h"
#include "SHPFileExport.h"
#include "VectorPolygon.h"
#include "kstBenchSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorFileExport.h"
#include "kstVectorLayer.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <functional>

using namespace Kestrum;

namespace {

constexpr int kFeatures = 100000;
constexpr int kVertices = 10;
// Longest one export may take before the run is declared failed.
constexpr int kTimeoutMs = 30 * 60 * 1000;

// The peak resident set starts again from the current one.
void resetPeak()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

kstVectorLayer* buildLayer()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QStringLiteral("parcels");
    layer->m_fieldNames = QStringList{"name", "code", "value"};
    layer->m_fieldTypes = QList<int>{OFTString, OFTInteger, OFTReal};
    QRandomGenerator rng(20240611);
    for (int i = 0; i < kFeatures; ++i) {
        const Polygon__ data{QPolygonF(Bench::parcelRing(rng, Bench::parcelCentre(rng), kVertices)), {}};
        kstVectorCollect* collect = kstVectorCollect::newCollect();
        collect->m_layer = layer;
        collect->m_fid = quint64(i + 1);
        collect->m_geometryType = wkbPolygon;
        collect->m_fields.insert(QStringLiteral("name"), QStringLiteral("parcel %1").arg(i + 1));
        collect->m_fields.insert(QStringLiteral("code"), i * 7);
        collect->m_fields.insert(QStringLiteral("value"), i * 0.25);
        auto* polygon = new VectorPolygon(data, nullptr);
        polygon->setShapeCollect(collect, 0);
        collect->m_shapes.append(polygon);
        layer->m_collects.insert(collect->m_fid, collect);
    }
    return layer;
}

// The same features as a GeoPackage written by GDAL alone, ogr2ogr's source.
bool writeSource(const kstVectorLayer* layer, const QString& file, OGRSpatialReference* srs)
{
    const Bench::DatasetPtr dataset = Bench::createVector("GPKG", file);
    if (!dataset)
        return false;
    OGRLayer* ogrLayer = dataset->CreateLayer("parcels", srs, wkbPolygon, nullptr);
    OGRFieldDefn name("name", OFTString);
    OGRFieldDefn code("code", OFTInteger);
    OGRFieldDefn value("value", OFTReal);
    if (!ogrLayer || ogrLayer->CreateField(&name) != OGRERR_NONE || ogrLayer->CreateField(&code) != OGRERR_NONE
        || ogrLayer->CreateField(&value) != OGRERR_NONE) {
        std::fprintf(stderr, "cannot create the source layer: %s\n", CPLGetLastErrorMsg());
        return false;
    }
    if (ogrLayer->StartTransaction() != OGRERR_NONE)
        return false;
    for (const kstVectorCollect* collect : layer->m_collects) {
        Bench::FeaturePtr feature = Bench::newFeature(ogrLayer->GetLayerDefn());
        feature->SetFID(GIntBig(collect->m_fid));
        feature->SetField("name", collect->m_fields.value("name").toString().toUtf8().constData());
        feature->SetField("code", collect->m_fields.value("code").toInt());
        feature->SetField("value", collect->m_fields.value("value").toDouble());
        auto ring = std::make_unique<OGRLinearRing>();
        for (const QPointF& p : static_cast<VectorPolygon*>(collect->m_shapes.first())->geoData().outer)
            ring->addPoint(p.x(), p.y());
        ring->closeRings();
        auto polygon = std::make_unique<OGRPolygon>();
        polygon->addRingDirectly(ring.release());
        feature->SetGeometryDirectly(polygon.release());
        if (ogrLayer->CreateFeature(feature.get()) != OGRERR_NONE) {
            std::fprintf(stderr, "cannot write the source: %s\n", CPLGetLastErrorMsg());
            return false;
        }
    }
    if (ogrLayer->CommitTransaction() != OGRERR_NONE)
        return false;
    return true;
}

struct ExportResult
{
    bool finished = false;
    double seconds = -1.0;
    qint64 peakKb = -1;
};

ExportResult exportLayer(kstVectorFileExport* exporter, const QString& path, const QList<kstVectorLayer*>& layers)
{
    ExportResult result;
    QEventLoop loop;
    QObject::connect(exporter, &kstVectorFileExport::exportFinished, &loop, [&] {
        result.finished = true;
        loop.quit();
    });
    QObject::connect(exporter, &kstVectorFileExport::exportFailed, &loop, [&](const QString& detail) {
        std::fprintf(stderr, "%s\n", qPrintable(detail));
        loop.quit();
    });
    QTimer::singleShot(kTimeoutMs, &loop, &QEventLoop::quit);
    resetPeak();
    result.seconds = Bench::secondsFor([&] {
        exporter->startExport(path, layers);
        loop.exec();
    });
    result.peakKb = Bench::statusKb("VmHWM");
    if (exporter->isExportting())
        exporter->stopExport();
    return result;
}

qint64 featureCount(const QString& path)
{
    const Bench::DatasetPtr dataset = Bench::openVector(path);
    qint64 count = 0;
    for (int i = 0; dataset && i < dataset->GetLayerCount(); ++i)
        count += dataset->GetLayer(i)->GetFeatureCount();
    return count;
}

double sizeMiB(const QString& path)
{
    qint64 bytes = QFileInfo(path).isDir() ? 0 : QFileInfo(path).size();
    QDirIterator it(path, QDir::Files);
    while (it.hasNext())
        bytes += QFileInfo(it.next()).size();
    return bytes / 1048576.0;
}

struct Format
{
    const char* name;
    const char* gdalName;
    const char* target;
    std::function<kstVectorFileExport*()> make;
    QStringList ogr2ogrOptions; // the exporter's creation options
};

} // namespace

int main(int argc, char** argv)
{
    Bench::offscreenByDefault();
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    if (!Bench::gdalScratch(dir))
        return 1;
    OGRSpatialReference wgs84;
    Bench::setWgs84(wgs84);

    const qint64 before = Bench::statusKb("VmRSS");
    QList<kstVectorLayer*> layers{buildLayer()};
    const qint64 layerKb = Bench::statusKb("VmRSS") - before;
    std::printf("%d polygons of %d vertices with 3 attributes in memory: %.1f MiB\n", kFeatures, kVertices,
                layerKb / 1024.0);
    const QString source = dir.filePath(QStringLiteral("source.gpkg"));
    if (!writeSource(layers.first(), source, &wgs84))
        return 1;

    const Format formats[] = {
        {"GeoPackage", "GPKG", "ours.gpkg", [] { return new GeoPackageFileExport(nullptr); }, {}},
        {"Shapefile", "ESRI Shapefile", "ours_shp", [] { return new SHPFileExport(nullptr); },
         {"-lco", "SPATIAL_INDEX=YES"}},
        {"GeoJSON", "GeoJSON", "ours.geojson", [] { return new GeoJSONFileExport(nullptr); }, {}},
    };
    int failures = 0;
    std::printf("%-11s %10s %10s %7s %14s %16s\n", "format", "export s", "ogr2ogr s", "ratio", "peak RSS MiB",
                "peak/layer size");
    // Formats named on the command line run alone.
    const QStringList chosen = app.arguments().mid(1);
    for (const Format& format : formats) {
        if (!chosen.isEmpty() && !chosen.contains(QString::fromLatin1(format.name), Qt::CaseInsensitive))
            continue;
        const std::unique_ptr<kstVectorFileExport> exporter(format.make());
        exporter->setExportSpatialRef(&wgs84);
        const QString ours = dir.filePath(QString::fromLatin1(format.target));
        const ExportResult result = exportLayer(exporter.get(), ours, layers);
        const QString theirs = dir.filePath(QStringLiteral("gdal_") + QString::fromLatin1(format.target));
        const double gdal = Bench::ogr2ogrSeconds(QString::fromLatin1(format.gdalName), format.ogr2ogrOptions,
                                                  source, theirs, kTimeoutMs);
        const qint64 written = featureCount(ours);
        if (!result.finished || gdal < 0 || written != kFeatures || featureCount(theirs) != kFeatures) {
            std::fprintf(stderr, "%s: the export did not finish or wrote %lld features\n", format.name, written);
            ++failures;
            continue;
        }
        // Memory of the whole process at its peak against the layer itself.
        const double peakOverLayer = double(result.peakKb - before) / layerKb;
        std::printf("%-11s %10.3f %10.3f %7.2f %14.1f %16.2f   (%.1f MiB written, ogr2ogr %.1f MiB)\n", format.name,
                    result.seconds, gdal, result.seconds / gdal, result.peakKb / 1024.0, peakOverLayer,
                    sizeMiB(ours), sizeMiB(theirs));
        std::fflush(stdout);
    }
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    std::printf("ratio = export time / ogr2ogr time (goal <= 1.0); peak/layer size = (peak RSS during the export -"
                " RSS before the layer was built) / layer size (goal < 2.0)\n");
    return failures ? 1 : 0;
}
