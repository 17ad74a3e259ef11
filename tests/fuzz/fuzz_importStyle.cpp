// libFuzzer target for the importer's style and geometry path. An input is
//   <reference byte> <feature style string> NUL <WKB geometry>
// The reference byte picks the layer's reference system (none, WGS84, Web
// Mercator, a local one that cannot reach WGS84). One feature with that
// geometry and style (and the style in a STYLE attribute, for "{STYLE}") is
// imported from a memory data source whose folder holds symbol files of
// every kind: small and large pictures, a FIFO, a folder, a link that leads
// out of the folder and a file that is no picture. The import must neither
// crash, leak, hang nor allocate beyond bounds whatever the input is.
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstFuzzSupport.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstWebMercatorProjection.h"

#include <QDir>
#include <QFile>
#include <QImage>

#include <cpl_error.h>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace Kestrum;

namespace {

QString g_dataSource;

void check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "out of range: %s\n", what);
        std::abort();
    }
}

bool onTheGlobe(const QPointF& p)
{
    return std::abs(p.x()) <= 180.0 && std::abs(p.y()) <= 90.0;
}

bool onTheGlobe(const QPolygonF& ring)
{
    return std::all_of(ring.cbegin(), ring.cend(), [](const QPointF& p) { return onTheGlobe(p); });
}

// What reaches a shape is within the ranges the shapes are made for.
void checkShape(kstVectorShape* shape)
{
    constexpr int kMax = VectorPoint::kMaxPointSize;
    if (auto* point = dynamic_cast<VectorPoint*>(shape)) {
        check(onTheGlobe(point->geoData()), "point");
        check(point->pointSize() >= 0 && point->pointSize() <= kMax, "point size");
        check(point->markerImage().width() <= kMax && point->markerImage().height() <= kMax, "marker");
        check(std::abs(point->markerAnchor().x()) <= kMax && std::abs(point->markerAnchor().y()) <= kMax, "anchor");
    } else if (auto* line = dynamic_cast<VectorLine*>(shape)) {
        check(onTheGlobe(QPolygonF(line->geoData())), "line");
        check(line->linePen().width() >= 0 && line->linePen().width() <= kMax, "line pen");
    } else if (auto* polygon = dynamic_cast<VectorPolygon*>(shape)) {
        const Polygon__ data = polygon->geoData();
        check(onTheGlobe(data.outer), "polygon");
        for (const QPolygonF& ring : data.inner)
            check(onTheGlobe(ring), "hole");
        check(polygon->borderPen().width() >= 0 && polygon->borderPen().width() <= kMax, "border pen");
    }
}

// Reads one feature through the importer on its worker, as a host does.
class FuzzImport : public kstVectorFileImport
{
public:
    FuzzImport()
    {
        setCurrentMapViewConfig(&m_projection, &m_resolution, 22);
        connect(this, &kstVectorFileImport::layerImport, this,
                [this](kstVectorLayer* layer) { m_layers.append(layer); }, Qt::DirectConnection);
    }
    void run(GDALDataset* dataSource)
    {
        startImport(dataSource, {0});
        m_thread.wait();
        for (kstVectorLayer* layer : qAsConst(m_layers)) {
            for (kstVectorCollect* collect : layer->m_collects)
                for (kstVectorShape* shape : collect->m_shapes)
                    checkShape(shape);
            kstVectorLayer::destoryLayer(layer);
        }
        m_layers.clear();
    }

private:
    kstWebMercatorProjection m_projection;
    kstTileResulotion m_resolution;
    QList<kstVectorLayer*> m_layers;
};

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        std::abort();
}

void makeSymbolFolder(const QDir& dir)
{
    QImage small(12, 8, QImage::Format_ARGB32);
    small.fill(QColor(200, 30, 30, 128));
    QImage large(700, 300, QImage::Format_RGB32);
    large.fill(Qt::blue);
    if (!small.save(dir.filePath(QStringLiteral("s.png"))) || !large.save(dir.filePath(QStringLiteral("l.png")))
        || !large.save(dir.filePath(QStringLiteral("l.bmp"))) || !small.save(dir.filePath(QStringLiteral("s.jpg"))))
        std::abort();
    writeFile(dir.filePath(QStringLiteral("t.png")), QByteArray("not a picture"));
    dir.mkdir(QStringLiteral("d"));
    ::mkfifo(QFile::encodeName(dir.filePath(QStringLiteral("fifo"))).constData(), 0600);
    QFile::link(QStringLiteral("/etc/hostname"), dir.filePath(QStringLiteral("out")));
}

OGRSpatialReference* referenceSystem(std::uint8_t choice)
{
    auto* srs = new OGRSpatialReference();
    switch (choice % 4) {
    case 1: srs->importFromEPSG(4326); break;
    case 2: srs->importFromEPSG(3857); break;
    case 3: srs->importFromWkt("LOCAL_CS[\"plant grid\",UNIT[\"metre\",1]]"); break;
    default: srs->Release(); return nullptr;
    }
    srs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return srs;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const QDir dir(startFuzzTarget("fuzz_importStyle"));
    CPLSetErrorHandler(CPLQuietErrorHandler);
    GDALAllRegister();
    makeSymbolFolder(dir);
    g_dataSource = dir.filePath(QStringLiteral("source"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    const char* text = reinterpret_cast<const char*>(data + 1);
    const std::size_t rest = size - 1;
    const std::size_t styleLength = strnlen(text, rest);
    const QByteArray style(text, int(styleLength));
    const std::size_t wkbOffset = styleLength < rest ? styleLength + 1 : rest;

    OGRGeometry* geometry = nullptr;
    OGRGeometryFactory::createFromWkb(data + 1 + wkbOffset, nullptr, &geometry, rest - wkbOffset);
    if (!geometry)
        return 0;

    GDALDriver* memory = GetGDALDriverManager()->GetDriverByName("Memory");
    GDALDataset* dataSource = memory->Create(g_dataSource.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr);
    OGRSpatialReference* srs = referenceSystem(data[0]);
    OGRLayer* layer = dataSource->CreateLayer("fuzz", srs, wkbUnknown, nullptr);
    if (srs)
        srs->Release();
    OGRFieldDefn field("STYLE", OFTString);
    layer->CreateField(&field);
    OGRFeature* feature = OGRFeature::CreateFeature(layer->GetLayerDefn());
    feature->SetGeometryDirectly(geometry);
    feature->SetStyleString(style.constData());
    feature->SetField(0, style.constData());
    const OGRErr created = layer->CreateFeature(feature);
    OGRFeature::DestroyFeature(feature);
    if (created != OGRERR_NONE) {
        GDALClose(dataSource);
        return 0;
    }

    static FuzzImport importer;
    importer.run(dataSource);
    return 0;
}
