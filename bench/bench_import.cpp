// Import time of a large shapefile through kstVectorFileImport against
// ogr2ogr converting the same file to a GeoPackage, measured in one run.
//
// 100 000 polygons of 10 distinct vertices each (11 with the closing point)
// in EPSG:4326, each with a name, an integer code and a real value. Both
// figures are wall time of a single run: the importer's from startImport to
// importFinished (the event loop included), ogr2ogr's from process start to
// exit.
#include "VectorPolygon.h"
#include "kstBenchSupport.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstWebMercatorProjection.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace Kestrum;

namespace {

constexpr int kFeatures = 100000;
constexpr int kVertices = 10;
constexpr int kViewLevel = 12;
// Longest the import may take before the run is declared failed.
constexpr int kTimeoutMs = 30 * 60 * 1000;

// Writes the polygons; false (with a message) when GDAL refuses.
bool writeShapefile(const QString& file)
{
    const Bench::DatasetPtr dataset = Bench::createVector("ESRI Shapefile", file);
    if (!dataset)
        return false;
    OGRSpatialReference srs;
    srs.importFromEPSG(4326);
    srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const char* const layerOptions[] = {"ENCODING=UTF-8", nullptr};
    OGRLayer* layer =
        dataset->CreateLayer("parcels", &srs, wkbPolygon, const_cast<char**>(layerOptions));
    if (!layer) {
        std::fprintf(stderr, "cannot create the layer: %s\n", CPLGetLastErrorMsg());
        return false;
    }
    OGRFieldDefn name("name", OFTString);
    name.SetWidth(32);
    OGRFieldDefn code("code", OFTInteger);
    OGRFieldDefn value("value", OFTReal);
    if (layer->CreateField(&name) != OGRERR_NONE || layer->CreateField(&code) != OGRERR_NONE
        || layer->CreateField(&value) != OGRERR_NONE) {
        std::fprintf(stderr, "cannot create the fields: %s\n", CPLGetLastErrorMsg());
        return false;
    }

    QRandomGenerator rng(20240611);
    for (int i = 0; i < kFeatures; ++i) {
        auto ring = std::make_unique<OGRLinearRing>();
        // Clockwise, as shapefile outer rings are stored.
        for (const QPointF& p : Bench::parcelRing(rng, Bench::parcelCentre(rng), kVertices, true))
            ring->addPoint(p.x(), p.y());
        ring->closeRings();
        auto polygon = std::make_unique<OGRPolygon>();
        polygon->addRingDirectly(ring.release());

        const Bench::FeaturePtr feature = Bench::newFeature(layer->GetLayerDefn());
        feature->SetField("name", QStringLiteral("parcel %1").arg(i + 1).toUtf8().constData());
        feature->SetField("code", i * 7);
        feature->SetField("value", i * 0.25);
        feature->SetGeometryDirectly(polygon.release());
        if (layer->CreateFeature(feature.get()) != OGRERR_NONE) {
            std::fprintf(stderr, "cannot write feature %d: %s\n", i, CPLGetLastErrorMsg());
            return false;
        }
    }
    return true;
}

struct ImportResult
{
    bool finished = false;
    double seconds = -1.0;
    qint64 layers = 0;
    qint64 collects = 0;
    qint64 vertices = 0;
};

// Imports every layer of the file and destroys what arrived.
ImportResult importAll(const QString& file)
{
    ImportResult result;
    GDALDataset* dataSource =
        GDALDataset::FromHandle(GDALOpenEx(file.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    if (!dataSource) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(file), CPLGetLastErrorMsg());
        return result;
    }
    QList<int> indices;
    for (int i = 0; i < dataSource->GetLayerCount(); ++i)
        indices.append(i);

    kstWebMercatorProjection projection;
    kstTileResulotion resolution;
    kstVectorFileImport importer;
    importer.setCurrentMapViewConfig(&projection, &resolution, kViewLevel);

    QEventLoop loop;
    QList<kstVectorLayer*> layers;
    QObject::connect(&importer, &kstVectorFileImport::layerImport, &loop,
                     [&layers](kstVectorLayer* layer) { layers.append(layer); });
    QObject::connect(&importer, &kstVectorFileImport::importFinished, &loop, [&] {
        result.finished = true;
        loop.quit();
    });
    QObject::connect(&importer, &kstVectorFileImport::importStoped, &loop, &QEventLoop::quit);
    QTimer::singleShot(kTimeoutMs, &loop, &QEventLoop::quit);

    result.seconds = Bench::secondsFor([&] {
        importer.startImport(dataSource, indices);
        loop.exec();
    });
    if (importer.isImporting())
        importer.stopImport();

    result.layers = layers.size();
    for (kstVectorLayer* layer : qAsConst(layers)) {
        result.collects += layer->m_collects.size();
        for (const kstVectorCollect* collect : qAsConst(layer->m_collects)) {
            for (const kstVectorShape* shape : collect->m_shapes) {
                if (shape->shapeType() == kstVectorShape::Type_Polygon)
                    result.vertices += static_cast<const VectorPolygon*>(shape)->geoData().outer.size();
            }
        }
        kstVectorLayer::destoryLayer(layer);
    }
    return result;
}

} // namespace

int main(int argc, char** argv)
{
    Bench::offscreenByDefault();
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    if (!Bench::gdalScratch(dir))
        return 1;
    const QString shapefile = dir.filePath(QStringLiteral("parcels.shp"));
    const QString gpkg = dir.filePath(QStringLiteral("out.gpkg"));

    bool written = false;
    const double generation = Bench::secondsFor([&] { written = writeShapefile(shapefile); });
    if (!written)
        return 1;
    std::printf("%d polygons of %d vertices written to %s in %.3f s (%.1f MiB .shp)\n", kFeatures, kVertices,
                qPrintable(shapefile), generation, QFileInfo(shapefile).size() / 1048576.0);
    std::fflush(stdout);

    const ImportResult imported = importAll(shapefile);
    if (!imported.finished) {
        std::fprintf(stderr, "the import did not finish (%.3f s)\n", imported.seconds);
        return 1;
    }
    const qint64 expectedVertices = qint64(kFeatures) * kVertices;
    if (imported.layers != 1 || imported.collects != kFeatures
        || (imported.vertices != expectedVertices && imported.vertices != expectedVertices + kFeatures)) {
        std::fprintf(stderr, "imported %lld layers, %lld collects, %lld vertices; expected 1, %d, %lld\n",
                     imported.layers, imported.collects, imported.vertices, kFeatures, expectedVertices);
        return 1;
    }

    const double gdal = Bench::ogr2ogrSeconds(QStringLiteral("GPKG"), {}, shapefile, gpkg, kTimeoutMs);
    if (gdal < 0)
        return 1;

    std::printf("kstVectorFileImport %10.3f s   (%lld collects, %lld vertices)\n", imported.seconds,
                imported.collects, imported.vertices);
    std::printf("ogr2ogr -f GPKG     %10.3f s   (%.1f MiB .gpkg)\n", gdal, QFileInfo(gpkg).size() / 1048576.0);
    std::printf("import/ogr2ogr      %10.2f\n", imported.seconds / gdal);
    return 0;
}
