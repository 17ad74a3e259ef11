// Save and load times of the layers file against a GeoPackage written and
// read through GDAL, on the same features, measured in one run.
//
// 20 000 features of 50 vertices (half lines, half polygons), one million
// vertices in all, each with a name, an integer code and a real value. Every
// figure is the best of five runs.
#include "VectorLine.h"
#include "VectorPolygon.h"
#include "kstBenchSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>

using namespace Kestrum;

namespace {

constexpr int kFeaturesPerKind = 10000;
constexpr int kVerticesPerFeature = 50;
constexpr int kRuns = 5;
// Save and load together against GeoPackage write and read.
constexpr double kSaveLoadGoal = 3.0;

const char* const kFieldName = "name";
const char* const kFieldCode = "code";
const char* const kFieldValue = "value";

// What a reader got back: enough to prove both readers saw every feature and
// every vertex, and to keep the compiler from skipping the work.
struct Tally
{
    qint64 features = 0;
    qint64 vertices = 0;
    double checksum = 0.0;

    bool operator==(const Tally& o) const { return features == o.features && vertices == o.vertices; }
};

// n points running east from a centre, in degrees.
QVector<QPointF> eastward(QRandomGenerator& rng, const QPointF& centre, int n)
{
    QVector<QPointF> points;
    for (int i = 0; i < n; ++i)
        points.append(centre + QPointF(i * 0.001, rng.bounded(0.002) - 0.001));
    return points;
}

void addFeature(kstVectorLayer* layer, quint64 fid, int type, kstVectorShape* shape)
{
    kstVectorCollect* collect = kstVectorCollect::newCollect();
    collect->m_layer = layer;
    collect->m_fid = fid;
    collect->m_geometryType = type;
    collect->m_fields.insert(QString::fromLatin1(kFieldName), QStringLiteral("feature %1").arg(fid));
    collect->m_fields.insert(QString::fromLatin1(kFieldCode), qlonglong(fid * 7));
    collect->m_fields.insert(QString::fromLatin1(kFieldValue), fid * 0.25);
    shape->setShapeCollect(collect, 0);
    shape->updateExtent();
    collect->m_shapes.append(shape);
    layer->m_collects.insert(fid, collect);
}

kstVectorLayer* newLayer(const QString& name, const QString& wkt)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = name;
    layer->m_srsWkt = wkt;
    layer->m_fieldNames = {QString::fromLatin1(kFieldName), QString::fromLatin1(kFieldCode),
                           QString::fromLatin1(kFieldValue)};
    layer->m_fieldTypes = {OFTString, OFTInteger64, OFTReal};
    return layer;
}

QList<kstVectorLayer*> makeLayers(const QString& wkt)
{
    QRandomGenerator rng(20240611);
    kstVectorLayer* lines = newLayer(QStringLiteral("lines"), wkt);
    kstVectorLayer* polygons = newLayer(QStringLiteral("polygons"), wkt);
    for (int i = 0; i < kFeaturesPerKind; ++i) {
        const QPointF centre = Bench::parcelCentre(rng);
        addFeature(lines, quint64(i + 1), wkbLineString,
                   new VectorLine(eastward(rng, centre, kVerticesPerFeature), nullptr));
        const Polygon__ polygon{QPolygonF(Bench::parcelRing(rng, centre, kVerticesPerFeature)), {}};
        addFeature(polygons, quint64(i + 1), wkbPolygon, new VectorPolygon(polygon, nullptr));
    }
    return {lines, polygons};
}

// Vertices from the geographic data: a polygon's vertexCount() counts its
// pixel copy, which exists only once the shape is shown on a view.
int geoVertices(const kstVectorShape* shape)
{
    if (shape->shapeType() == kstVectorShape::Type_Line)
        return static_cast<const VectorLine*>(shape)->geoData().size();
    if (shape->shapeType() != kstVectorShape::Type_Polygon)
        return 0;
    const Polygon__ polygon = static_cast<const VectorPolygon*>(shape)->geoData();
    int count = polygon.outer.size();
    for (const QPolygonF& ring : polygon.inner)
        count += ring.size();
    return count;
}

Tally tallyLayers(const QList<kstVectorLayer*>& layers)
{
    Tally tally;
    for (const kstVectorLayer* layer : layers) {
        for (const kstVectorCollect* collect : layer->m_collects) {
            ++tally.features;
            tally.checksum += collect->m_fields.value(QString::fromLatin1(kFieldValue)).toDouble();
            for (kstVectorShape* shape : collect->m_shapes) {
                tally.vertices += geoVertices(shape);
                tally.checksum += shape->ltGcp().lon();
            }
        }
    }
    return tally;
}

void destroyLayers(QList<kstVectorLayer*>& layers)
{
    for (kstVectorLayer* layer : layers)
        kstVectorLayer::destoryLayer(layer);
    layers.clear();
}

// --- GeoPackage through GDAL ------------------------------------------------

OGRLayer* createGpkgLayer(GDALDataset* dataset, const kstVectorLayer& layer, OGRwkbGeometryType type,
                          OGRSpatialReference* srs)
{
    OGRLayer* out = dataset->CreateLayer(layer.m_name.toUtf8().constData(), srs, type, nullptr);
    if (!out)
        return nullptr;
    for (int i = 0; i < layer.m_fieldNames.size(); ++i) {
        OGRFieldDefn field(layer.m_fieldNames.at(i).toUtf8().constData(), OGRFieldType(layer.m_fieldTypes.at(i)));
        if (out->CreateField(&field) != OGRERR_NONE)
            return nullptr;
    }
    return out;
}

bool writeGpkgFeature(OGRLayer* out, const kstVectorCollect& collect)
{
    const Bench::FeaturePtr feature = Bench::newFeature(out->GetLayerDefn());
    feature->SetFID(GIntBig(collect.m_fid));
    feature->SetField(kFieldName, collect.m_fields.value(QString::fromLatin1(kFieldName)).toString().toUtf8().constData());
    feature->SetField(kFieldCode, GIntBig(collect.m_fields.value(QString::fromLatin1(kFieldCode)).toLongLong()));
    feature->SetField(kFieldValue, collect.m_fields.value(QString::fromLatin1(kFieldValue)).toDouble());
    const kstVectorShape* shape = collect.m_shapes.value(0);
    if (shape && shape->shapeType() == kstVectorShape::Type_Line) {
        const QVector<QPointF> points = static_cast<const VectorLine*>(shape)->geoData();
        auto line = std::make_unique<OGRLineString>();
        line->setNumPoints(points.size(), FALSE);
        for (int i = 0; i < points.size(); ++i)
            line->setPoint(i, points.at(i).x(), points.at(i).y());
        feature->SetGeometryDirectly(line.release());
    } else if (shape && shape->shapeType() == kstVectorShape::Type_Polygon) {
        const QPolygonF outer = static_cast<const VectorPolygon*>(shape)->geoData().outer;
        auto ring = std::make_unique<OGRLinearRing>();
        ring->setNumPoints(outer.size() + 1, FALSE);
        for (int i = 0; i <= outer.size(); ++i) {
            const QPointF& p = outer.at(i % outer.size());
            ring->setPoint(i, p.x(), p.y());
        }
        auto polygon = std::make_unique<OGRPolygon>();
        polygon->addRingDirectly(ring.release());
        feature->SetGeometryDirectly(polygon.release());
    }
    return out->CreateFeature(feature.get()) == OGRERR_NONE;
}

bool writeGpkg(const QList<kstVectorLayer*>& layers, const QString& file, OGRSpatialReference* srs)
{
    QFile::remove(file);
    const Bench::DatasetPtr dataset = Bench::createVector("GPKG", file);
    if (!dataset)
        return false;
    for (const kstVectorLayer* layer : layers) {
        const OGRwkbGeometryType type = layer->m_name == QLatin1String("lines") ? wkbLineString : wkbPolygon;
        OGRLayer* out = createGpkgLayer(dataset.get(), *layer, type, srs);
        if (!out || dataset->StartTransaction() != OGRERR_NONE)
            return false;
        for (const kstVectorCollect* collect : layer->m_collects) {
            if (!writeGpkgFeature(out, *collect)) {
                dataset->RollbackTransaction();
                return false;
            }
        }
        if (dataset->CommitTransaction() != OGRERR_NONE)
            return false;
    }
    return true;
}

bool readGpkg(const QString& file, Tally& tally)
{
    tally = Tally();
    const Bench::DatasetPtr dataset = Bench::openVector(file);
    if (!dataset)
        return false;
    for (OGRLayer* layer : dataset->GetLayers()) {
        layer->ResetReading();
        const int valueIndex = layer->GetLayerDefn()->GetFieldIndex(kFieldValue);
        while (OGRFeature* raw = layer->GetNextFeature()) {
            const Bench::FeaturePtr feature(raw, &OGRFeature::DestroyFeature);
            ++tally.features;
            tally.checksum += feature->GetFieldAsDouble(valueIndex);
            const OGRGeometry* geometry = feature->GetGeometryRef();
            if (!geometry)
                continue;
            OGREnvelope envelope;
            geometry->getEnvelope(&envelope);
            tally.checksum += envelope.MinX;
            switch (wkbFlatten(geometry->getGeometryType())) {
            case wkbLineString:
                tally.vertices += geometry->toLineString()->getNumPoints();
                break;
            case wkbPolygon:
                // Rings repeat their first point; the layers file does not.
                tally.vertices += geometry->toPolygon()->getExteriorRing()->getNumPoints() - 1;
                break;
            default:
                break;
            }
        }
    }
    return true;
}

// --- Measuring ---------------------------------------------------------------

void report(const char* what, double ours, double gdal, const char* unit)
{
    std::printf("%-8s layers file %10.3f %s   GeoPackage %10.3f %s   ours/GDAL %.2f\n", what, ours, unit, gdal,
                unit, ours / gdal);
}

} // namespace

int main(int argc, char** argv)
{
    Bench::offscreenByDefault();
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    if (!Bench::gdalScratch(dir))
        return 1;
    const QString ours = dir.filePath(QStringLiteral("bench.kst"));
    const QString gpkg = dir.filePath(QStringLiteral("bench.gpkg"));

    OGRSpatialReference srs;
    Bench::setWgs84(srs);
    char* wkt = nullptr;
    srs.exportToWkt(&wkt);
    const QString srsWkt = QString::fromUtf8(wkt);
    CPLFree(wkt);

    QList<kstVectorLayer*> layers = makeLayers(srsWkt);
    const Tally expected = tallyLayers(layers);
    std::printf("%lld features, %lld vertices, in %s\n", expected.features, expected.vertices,
                qPrintable(dir.path()));
    std::fflush(stdout);

    const double saveOurs = Bench::bestSeconds(kRuns, [&] { return kstVectorLayer::saveLayers(layers, ours); });
    QList<kstVectorLayer*> loaded;
    Tally oursRead;
    const double loadOurs = Bench::bestSeconds(kRuns, [&] { return kstVectorLayer::loadLayers(loaded, ours); },
                                        [&] {
                                            oursRead = tallyLayers(loaded);
                                            destroyLayers(loaded);
                                        });
    const double saveGdal = Bench::bestSeconds(kRuns, [&] { return writeGpkg(layers, gpkg, &srs); });
    Tally gdalRead;
    const double loadGdal = Bench::bestSeconds(kRuns, [&] { return readGpkg(gpkg, gdalRead); });
    destroyLayers(layers);

    if (saveOurs < 0 || loadOurs < 0 || saveGdal < 0 || loadGdal < 0) {
        std::fprintf(stderr, "a run failed: save %g load %g gpkg write %g gpkg read %g\n", saveOurs, loadOurs,
                     saveGdal, loadGdal);
        return 1;
    }
    if (!(oursRead == expected) || !(gdalRead == expected)) {
        std::fprintf(stderr, "read back %lld/%lld (ours) and %lld/%lld (GeoPackage) features/vertices\n",
                     oursRead.features, oursRead.vertices, gdalRead.features, gdalRead.vertices);
        return 1;
    }

    const double sizeOurs = QFileInfo(ours).size() / 1048576.0;
    const double sizeGdal = QFileInfo(gpkg).size() / 1048576.0;
    report("save", saveOurs, saveGdal, "s ");
    report("load", loadOurs, loadGdal, "s ");
    report("size", sizeOurs, sizeGdal, "MiB");
    std::printf("goals: load no slower than the GeoPackage read (%s); save and load together at least %.0fx "
                "faster than GeoPackage write and read (%.1fx: %s)\n",
                loadOurs <= loadGdal ? "met" : "missed", kSaveLoadGoal, (saveGdal + loadGdal) / (saveOurs + loadOurs),
                saveGdal + loadGdal >= kSaveLoadGoal * (saveOurs + loadOurs) ? "met" : "missed");
    return 0;
}
