#include "kstVectorFileImport.h"

#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstCodePage.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstWebMercatorProjection.h"

#include <QCoreApplication>
#include <QDate>
#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QTime>

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal_priv.h>
#include <ogr_featurestyle.h>
#include <ogr_geometry.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace Kestrum {

namespace {

struct CplFree
{
    void operator()(void* p) const { CPLFree(p); }
};
using CplString = std::unique_ptr<char, CplFree>;

struct FeatureDestroyer
{
    void operator()(OGRFeature* feature) const { OGRFeature::DestroyFeature(feature); }
};
using FeaturePtr = std::unique_ptr<OGRFeature, FeatureDestroyer>;

const kstTextCode::CharSet kNoCharSet = static_cast<kstTextCode::CharSet>(-1);

// A colour text of a style tool; components it cannot parse stay black, opaque.
QColor colorFromOGR(const char* text)
{
    int red = 0, green = 0, blue = 0, alpha = 255;
    OGRStyleTool::GetRGBFromString(text, red, green, blue, alpha);
    return QColor(red, green, blue, alpha);
}

// The integer part of a length a style tool gives in pixels, within
// [low, high] (infinities give the bounds, NaN gives 0 within them). Lengths
// stored in other units come back with rounding noise (5 px written as
// millimetres reads back as 4.99996 px), so a value that close to a whole
// number is taken as that number.
int stylePixels(double value, int low, int high)
{
    if (std::isnan(value))
        return std::clamp(0, low, high);
    const double nearest = std::round(value);
    const double whole = std::abs(value - nearest) < 1e-3 ? nearest : std::trunc(value);
    return int(std::clamp(whole, double(low), double(high)));
}

// Pen widths and point sizes, and symbol anchors (which may lie outside the
// picture), in pixels.
constexpr int kMaxStylePixels = VectorPoint::kMaxPointSize;

int styleLength(double value)
{
    return stylePixels(value, 0, kMaxStylePixels);
}

int styleOffset(double value)
{
    return stylePixels(value, -kMaxStylePixels, kMaxStylePixels);
}

// Source coordinates larger than this are on no map in any unit (the
// equator is 4e10 mm long).
constexpr double kMaxSourceCoordinate = 1e12;

bool withinSourceBounds(int n, const double* xs, const double* ys)
{
    for (int i = 0; i < n; ++i) {
        if (!(std::abs(xs[i]) <= kMaxSourceCoordinate && std::abs(ys[i]) <= kMaxSourceCoordinate))
            return false;
    }
    return true;
}

void logUnrepresentable()
{
    qDebug().noquote() << "kstVectorFileImport::shapeDataFromOGR:coordinates the map projection cannot represent!";
}

// The projection of shapes read without a view configuration.
kstProjection* fallbackProjection()
{
    static kstWebMercatorProjection projection;
    return &projection;
}

struct CslDestroyer
{
    void operator()(char** list) const { CSLDestroy(list); }
};
using CslList = std::unique_ptr<char*, CslDestroyer>;

// One tool's text ("PEN(c:#ff0000,w:2px)") with each parameter given once,
// at its last place. GDAL takes the last value of a parameter given twice but
// loses the memory of the earlier string values, so a tool is rebuilt before
// GDAL parses it; the text is split the way GDAL splits it.
QByteArray withoutRepeatedParameters(const char* tool)
{
    const int keepText = CSLT_HONOURSTRINGS | CSLT_PRESERVEQUOTES | CSLT_PRESERVEESCAPES;
    const CslList parts(CSLTokenizeString2(tool, "()", keepText));
    if (CSLCount(parts.get()) != 2)
        return QByteArray(tool); // GDAL reads no parameters from it
    const CslList pairs(CSLTokenizeString2(parts.get()[1], ",", keepText | CSLT_STRIPLEADSPACES | CSLT_STRIPENDSPACES));
    const int count = CSLCount(pairs.get());
    QList<QByteArray> keys;
    QList<QByteArray> kept;
    for (int i = 0; i < count; ++i) {
        const CslList keyValue(CSLTokenizeString2(pairs.get()[i], ":",
                                                  CSLT_HONOURSTRINGS | CSLT_STRIPLEADSPACES | CSLT_STRIPENDSPACES
                                                      | CSLT_ALLOWEMPTYTOKENS));
        const int n = CSLCount(keyValue.get());
        if (n < 1 || n > 2)
            continue; // GDAL skips these as well
        const QByteArray key = QByteArray(keyValue.get()[0]).toUpper();
        const int earlier = keys.indexOf(key);
        if (earlier >= 0) {
            keys.removeAt(earlier);
            kept.removeAt(earlier);
        }
        keys.append(key);
        kept.append(QByteArray(pairs.get()[i]));
    }
    if (kept.size() == count)
        return QByteArray(tool);
    return QByteArray(parts.get()[0]) + '(' + kept.join(',') + ')';
}

// Walks the tools of a style string in order; `apply` returns false to end
// the walk. Each tool is deleted after use.
template <class Apply>
void walkStyleTools(const QString& style, Apply apply)
{
    const QByteArray utf8 = style.toUtf8();
    OGRStyleMgr manager(nullptr);
    manager.InitStyleString(utf8.constData());
    const int count = manager.GetPartCount(nullptr);
    for (int i = 0; i < count; ++i) {
        std::unique_ptr<OGRStyleTool> tool(manager.GetPart(i, nullptr));
        if (!tool)
            continue;
        // An unparsed tool gives back its text as it came.
        const char* text = tool->GetStyleString();
        const QByteArray once = withoutRepeatedParameters(text);
        if (once != text) {
            OGRStyleMgr rebuilt(nullptr);
            rebuilt.InitStyleString(once.constData());
            tool.reset(rebuilt.GetPart(0, nullptr));
        }
        if (!tool)
            continue;
        if (!apply(tool.get()))
            break;
    }
}

} // namespace

// --- Id tables -----------------------------------------------------------

const kstVectorFileImport::PenIdStyle kstVectorFileImport::penIdTable_[8] = {
    {"ogr-pen-0", Qt::SolidLine},
    {"ogr-pen-1", Qt::NoPen},
    {"ogr-pen-2", Qt::DashLine},
    {"ogr-pen-3", Qt::DashLine},
    {"ogr-pen-4", Qt::DashLine},
    {"ogr-pen-5", Qt::DotLine},
    {"ogr-pen-6", Qt::DashDotLine},
    {"ogr-pen-7", Qt::DashDotDotLine},
};

// "ogr-brush-0" (solid) is what no match gives, so it is not searched.
const kstVectorFileImport::BrushIdStyle kstVectorFileImport::brushIdTable_[7] = {
    {"ogr-brush-1", Qt::NoBrush},
    {"ogr-brush-2", Qt::HorPattern},
    {"ogr-brush-3", Qt::VerPattern},
    {"ogr-brush-4", Qt::FDiagPattern},
    {"ogr-brush-5", Qt::BDiagPattern},
    {"ogr-brush-6", Qt::CrossPattern},
    {"ogr-brush-7", Qt::DiagCrossPattern},
};

Qt::PenStyle kstVectorFileImport::penStyleFromId(const char* id)
{
    for (const PenIdStyle& entry : penIdTable_) {
        if (std::strstr(id, entry.id))
            return entry.style;
    }
    return Qt::SolidLine;
}

Qt::BrushStyle kstVectorFileImport::brushStyleFromId(const char* id)
{
    for (const BrushIdStyle& entry : brushIdTable_) {
        if (std::strstr(id, entry.id))
            return entry.style;
    }
    return Qt::SolidPattern;
}

// --- Deleters ------------------------------------------------------------

void kstVectorFileImport::DataSourceCloser::operator()(GDALDataset* dataSource) const
{
    GDALClose(dataSource);
}

void kstVectorFileImport::SrsReleaser::operator()(OGRSpatialReference* srs) const
{
    srs->Release();
}

void kstVectorFileImport::TransformDeleter::operator()(OGRCoordinateTransformation* ct) const
{
    OCTDestroyCoordinateTransformation(OGRCoordinateTransformation::ToHandle(ct));
}

// --- Life cycle ----------------------------------------------------------

kstVectorFileImport::kstVectorFileImport(QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<kstVectorLayer*>("Kestrum::kstVectorLayer*");
    qRegisterMetaType<kstVectorLayer*>("kstVectorLayer*");
    m_wgs84Srs.SetWellKnownGeogCS("WGS84");
    m_wgs84Srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    moveToThread(&m_thread);
    connect(&m_thread, &QThread::started, this, &kstVectorFileImport::doImport);
}

kstVectorFileImport::~kstVectorFileImport()
{
    // The thread may still be running the end of an import (or a whole one
    // the host did not stop); a QThread must not be destroyed while it runs.
    if (m_thread.isRunning()) {
        m_stop = true;
        m_thread.quit();
        m_thread.wait();
    }
    qDebug().noquote() << "kstVectorFileImport::~kstVectorFileImport()";
}

void kstVectorFileImport::setCurrentMapViewConfig(kstProjection* projection, kstResulotion* resolution, int level)
{
    m_projection = projection;
    m_resolution = resolution;
    m_level = level;
    m_meterPerPixel = resolution ? resolution->mpp(level) : kstMeterPerPixle__();
}

void kstVectorFileImport::startImport(GDALDataset* dataSource, const QList<int>& layerIndices)
{
    if (m_thread.isRunning()) {
        qDebug().noquote() << "kstVectorFileImport::startImport:an import is running!";
        // The data source was handed over all the same.
        if (dataSource && dataSource != m_dataSource.get())
            GDALClose(dataSource);
        return;
    }
    m_dataSource.reset(dataSource);
    m_layerIndices = layerIndices;
    if (!m_dataSource) {
        qDebug().noquote() << "kstVectorFileImport::startImport:data source is null!";
        return;
    }
    // After an earlier import the object lives in the main thread again.
    if (thread() != &m_thread)
        moveToThread(&m_thread);
    m_stop = false;
    m_thread.start(QThread::InheritPriority);
}

void kstVectorFileImport::stopImport()
{
    if (!m_thread.isRunning())
        return;
    m_stop = true;
    m_thread.quit();
    m_thread.wait();
}

bool kstVectorFileImport::isImporting() const
{
    return m_thread.isRunning();
}

void kstVectorFileImport::leaveWorker()
{
    m_thread.quit();
    if (QCoreApplication* app = QCoreApplication::instance())
        moveToThread(app->thread());
}

// --- The worker ----------------------------------------------------------

void kstVectorFileImport::doImport()
{
    emit importStarted();

    const QFileInfo source(QString::fromUtf8(m_dataSource->GetDescription()));
    // A folder of shapefiles is its own folder.
    m_sourceDir = source.isDir() ? source.absoluteFilePath() : source.absolutePath();
    m_dataSourceStyleTable = m_dataSource->GetStyleTable();
    m_styleTableSaved = false;
    m_symbols.reset(m_sourceDir);

    const int n = m_layerIndices.size();
    for (int i = 0; i < n; ++i) {
        const int index = m_layerIndices.at(i);
        OGRLayer* ogrLayer = index >= 0 && index < m_dataSource->GetLayerCount() ? m_dataSource->GetLayer(index) : nullptr;
        if (ogrLayer) {
            m_layerStyleTable = ogrLayer->GetStyleTable();
            kstVectorLayer* layer = layerFromOGR(ogrLayer, i, n);
            m_layerStyleTable = nullptr;
            if (layer)
                emit layerImport(layer);
        } else {
            qDebug().noquote() << QStringLiteral("kstVectorFileImport::doImport:no layer at index %1!").arg(index);
        }
        if (m_stop) {
            m_dataSourceStyleTable = nullptr;
            m_dataSource.reset();
            m_symbols.reset(QString());
            leaveWorker();
            emit importStoped();
            return;
        }
    }

    emit importProgress(int(m_progressMax), QStringLiteral("正在关闭矢量文件..."));
    m_dataSourceStyleTable = nullptr;
    m_dataSource.reset();
    m_symbols.reset(QString());
    leaveWorker();
    emit importProgress(100, QStringLiteral("矢量文件加载完成！"));
    emit importFinished();
}

kstVectorLayer* kstVectorFileImport::layerFromOGR(OGRLayer* ogrLayer, int index, int count)
{
    OGRFeatureDefn* definition = ogrLayer->GetLayerDefn();
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    const QString name = QString::fromUtf8(ogrLayer->GetName());
    layer->m_name = name;
    layer->m_charSet = layerChartSet(ogrLayer);
    beginLayer(ogrLayer, kstTextCode::CharSet(layer->m_charSet));
    if (m_sourceSrs) {
        char* wkt = nullptr;
        m_sourceSrs->exportToPrettyWkt(&wkt, FALSE);
        const CplString hold(wkt);
        layer->m_srsWkt = QString::fromUtf8(wkt);
    }

    emit importProgress(int(index * m_progressMax / count), QStringLiteral("开始加载图层：%1").arg(name));

    GIntBig featureCount = ogrLayer->GetFeatureCount(TRUE);
    if (featureCount < 0) {
        featureCount = 0;
        ogrLayer->ResetReading();
        while (FeaturePtr feature = FeaturePtr(ogrLayer->GetNextFeature()))
            ++featureCount;
    }

    for (int i = 0; i < definition->GetFieldCount(); ++i) {
        const OGRFieldDefn* field = definition->GetFieldDefn(i);
        const QString fieldName = QString::fromUtf8(field->GetNameRef());
        layer->m_fieldNames.append(fieldName);
        layer->m_fieldTypes.append(int(field->GetType()));
        if (layer->m_labelField.isEmpty() && fieldName.compare(QLatin1String("name"), Qt::CaseInsensitive) == 0) {
            layer->m_labelField = fieldName;
            layer->m_labelMode = 2;
        }
    }

    // Without a view configuration shapes convert like shapes on no view.
    kstProjection* projection = shapeProjection();
    const kstMeterPerPixle__ mpp = m_resolution ? m_meterPerPixel : kstTileResulotion().mpp(0);

    ogrLayer->ResetReading();
    GIntBig k = 0;
    while (FeaturePtr feature = FeaturePtr(ogrLayer->GetNextFeature())) {
        ++k;
        // A count that fell short of the features read ends at the layer's share.
        const double read = double(featureCount > 0 ? qMin(k, featureCount) : 1);
        const double total = double(featureCount > 0 ? featureCount : 1);
        emit importProgress(int(read * m_progressMax / total / count + m_progressMax * index / count),
                            QStringLiteral("加载矢量图层 \"%1\" 要素：%2").arg(name).arg(feature->GetFID()));

        OGRGeometry* geometry = feature->GetGeometryRef();
        if (geometry) {
            m_featureFields = getFeatureFields(definition, feature.get());
            const QList<kstVectorShape*> shapes = shapesFromOGR(geometry, feature->GetStyleString());
            if (!shapes.isEmpty()) {
                kstVectorCollect* collect = kstVectorCollect::newCollect();
                collect->m_layer = layer;
                // Every collect needs a key of its own, also where the driver gives none.
                quint64 fid = quint64(feature->GetFID());
                if (feature->GetFID() == OGRNullFID || layer->m_collects.contains(fid))
                    fid = layer->genFid();
                collect->m_fid = fid;
                collect->m_fields = m_featureFields;
                if (!layer->m_labelField.isEmpty()) {
                    QString text;
                    kstTextCode::encode(kstTextCode::CharSet(layer->m_charSet),
                                        m_featureFields.value(layer->m_labelField).toByteArray(), text);
                    collect->m_text = text;
                }
                collect->m_geometryType = int(geometry->getGeometryType());
                collect->m_shapes = shapes;
                for (int j = 0; j < shapes.size(); ++j) {
                    shapes.at(j)->setShapeCollect(collect, j);
                    shapes.at(j)->initShape(mpp, projection);
                }
                layer->m_collects.insert(fid, collect);
            }
        }
        if (m_stop)
            break;
    }
    endLayer();
    return layer;
}

void kstVectorFileImport::beginLayer(OGRLayer* ogrLayer, kstTextCode::CharSet charSet)
{
    endLayer();
    const kstProjection* projection = shapeProjection();
    const kstPlaneCoordinatesPoint lt = projection->forward(projection->ltGcp());
    const kstPlaneCoordinatesPoint rb = projection->forward(projection->rbGcp());
    const double extent = std::max({std::abs(lt.x()), std::abs(lt.y()), std::abs(rb.x()), std::abs(rb.y())});
    m_planeLimit = std::isfinite(extent) ? 3.0 * extent : std::numeric_limits<double>::max();
    if (const OGRSpatialReference* srs = ogrLayer->GetSpatialRef()) {
        m_sourceSrs.reset(srs->Clone());
        m_sourceSrs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (!m_sourceSrs->IsSame(&m_wgs84Srs)) {
            CPLErrorReset();
            m_toWgs84.reset(OGRCreateCoordinateTransformation(m_sourceSrs.get(), &m_wgs84Srs));
            if (!m_toWgs84) {
                m_toWgs84Failed = true;
                m_toWgs84Error = QString::fromUtf8(CPLGetLastErrorMsg());
            }
        }
    }

    // GDAL recodes a shapefile's text to UTF-8 when its code page is known,
    // and a MapInfo table's when its charset is declared; the attribute map
    // keeps the bytes as the file holds them, in the layer's character set.
    const char* driver = m_dataSource ? m_dataSource->GetDriverName() : nullptr;
    if (driver && EQUAL(driver, "ESRI Shapefile")) {
        const char* encoding = ogrLayer->GetMetadataItem("SOURCE_ENCODING", "SHAPEFILE");
        if (encoding && *encoding)
            m_sourceEncoding = encoding;
    } else if (charSet >= 0 && charSet <= kstTextCode::UCS_4LE && charSet != kstTextCode::UTF_8
               && ogrLayer->TestCapability(OLCStringsAsUTF8)) {
        m_sourceEncoding = kstTextCode::charsetString(charSet).toLatin1();
    }
}

void kstVectorFileImport::endLayer()
{
    m_toWgs84.reset();
    m_toWgs84Failed = false;
    m_toWgs84Error.clear();
    m_sourceSrs.reset();
    m_sourceEncoding.clear();
    m_featureFields.clear();
}

QByteArray kstVectorFileImport::sourceText(const char* text) const
{
    if (!text)
        return QByteArray();
    if (m_sourceEncoding.isEmpty())
        return QByteArray(text);
    const CplString raw(CPLRecode(text, CPL_ENC_UTF8, m_sourceEncoding.constData()));
    return raw ? QByteArray(raw.get()) : QByteArray(text);
}

kstTextCode::CharSet kstVectorFileImport::layerChartSet(OGRLayer* ogrLayer)
{
    const char* driver = m_dataSource ? m_dataSource->GetDriverName() : nullptr;
    if (driver && EQUAL(driver, "ESRI Shapefile")) {
        const QString base = QStringLiteral("%1/%2").arg(m_sourceDir, QString::fromUtf8(ogrLayer->GetName()));
        QFile cpg(base + QStringLiteral(".cpg"));
        if (!cpg.exists())
            cpg.setFileName(base + QStringLiteral(".CPG"));
        if (!cpg.exists() || !cpg.open(QIODevice::ReadOnly))
            return kstTextCode::GBK;
        const QString content = QString::fromUtf8(cpg.readAll());
        const kstTextCode::CharSet charSet = kstTextCode::shpCPGCharSet(content);
        // Other tools spell the same code pages in their own ways.
        return charSet != kNoCharSet ? charSet : kstCodePage::charSet(content);
    }
    if (driver && EQUAL(driver, "Mapinfo File")) {
        // Tables without a declared charset are GBK by convention, but tools
        // that write UTF-8 often leave the charset "Neutral"; such text is
        // recognised by being well-formed UTF-8.
        if (!ogrLayer->TestCapability(OLCStringsAsUTF8) && kstCodePage::holdsUtf8Text(ogrLayer))
            return kstTextCode::UTF_8;
        return kstTextCode::GBK;
    }
    return kstTextCode::UTF_8;
}

// --- Geometries ----------------------------------------------------------

namespace {

VectorPoint* newShapeFor(const QPointF& data)
{
    return new VectorPoint(data, nullptr);
}

VectorLine* newShapeFor(const QVector<QPointF>& data)
{
    return new VectorLine(data, nullptr);
}

VectorPolygon* newShapeFor(const Polygon__& data)
{
    return new VectorPolygon(data, nullptr);
}

} // namespace

QList<kstVectorShape*> kstVectorFileImport::shapesFromOGR(OGRGeometry* geometry, const char* style)
{
    QList<kstVectorShape*> shapes;
    if (!geometry)
        return shapes;
    // One part becomes one shape of the kind its data describe.
    auto add = [&](auto* part, auto data) {
        if (!shapeDataFromOGR(part, data))
            return;
        auto* shape = newShapeFor(data);
        if (style)
            setShapeStyleFromOGR(shape, style);
        shapes.append(shape);
    };

    switch (wkbFlatten(geometry->getGeometryType())) {
    case wkbPoint:
        add(geometry->toPoint(), QPointF());
        break;
    case wkbLineString:
        add(geometry->toLineString(), QVector<QPointF>());
        break;
    case wkbPolygon:
        add(geometry->toPolygon(), Polygon__());
        break;
    case wkbMultiPoint:
    case wkbMultiLineString:
    case wkbMultiPolygon:
    case wkbGeometryCollection:
        // Multi-part geometries and collections, nested ones included, give
        // one shape per simple part.
        for (OGRGeometry* member : *geometry->toGeometryCollection())
            shapes += shapesFromOGR(member, style);
        break;
    default:
        break;
    }
    return shapes;
}

bool kstVectorFileImport::toWgs84(int n, double* xs, double* ys)
{
    if (m_toWgs84Failed) {
        qDebug().noquote() << QStringLiteral("OGRCreateCoordinateTransformation failed:") + m_toWgs84Error;
        return false;
    }
    if (m_toWgs84 && n > 0) {
        // GDAL wraps Web Mercator x into longitudes step by step: time grows
        // with the value, and values beyond any real map would stall the worker.
        if (!withinSourceBounds(n, xs, ys)) {
            logUnrepresentable();
            return false;
        }
        CPLErrorReset();
        if (!m_toWgs84->Transform(n, xs, ys))
            qDebug().noquote() << QStringLiteral("Transform failed:") + QString::fromUtf8(CPLGetLastErrorMsg());
    }
    // Points that failed to transform come back as infinities and go here.
    if (!representable(n, xs, ys)) {
        logUnrepresentable();
        return false;
    }
    return true;
}

bool kstVectorFileImport::representable(int n, const double* xs, const double* ys) const
{
    const kstProjection* projection = shapeProjection();
    for (int i = 0; i < n; ++i) {
        const double lon = xs[i];
        const double lat = ys[i];
        if (!(std::abs(lon) <= 180.0 && std::abs(lat) <= 90.0)) // NaN fails too
            return false;
        const kstPlaneCoordinatesPoint pcp = projection->forward(kstGeographicalCoordinatesPoint(lon, lat));
        if (!(std::abs(pcp.x()) <= m_planeLimit && std::abs(pcp.y()) <= m_planeLimit))
            return false;
    }
    return true;
}

kstProjection* kstVectorFileImport::shapeProjection() const
{
    return m_projection ? m_projection : fallbackProjection();
}

bool kstVectorFileImport::shapeDataFromOGR(OGRPoint* point, QPointF& data)
{
    if (!point || point->IsEmpty())
        return false;
    double x = point->getX();
    double y = point->getY();
    if (!toWgs84(1, &x, &y))
        return false;
    data = QPointF(x, y);
    return true;
}

bool kstVectorFileImport::shapeDataFromOGR(OGRLineString* line, QVector<QPointF>& data)
{
    if (!line || line->getNumPoints() < 2)
        return false;
    return curveToWgs84(*line, line->getNumPoints(), data);
}

bool kstVectorFileImport::shapeDataFromOGR(OGRLinearRing* ring, QPolygonF& data)
{
    if (!ring || ring->getNumPoints() < 3)
        return false;
    ring->closeRings();
    // The closing repeat is left out; a ring with fewer than three points of
    // its own encloses nothing.
    const int n = ring->getNumPoints() - 1;
    if (n < 3)
        return false;
    return curveToWgs84(*ring, n, data);
}

bool kstVectorFileImport::curveToWgs84(const OGRSimpleCurve& curve, int n, QVector<QPointF>& data)
{
    std::vector<double> xs(n), ys(n);
    for (int i = 0; i < n; ++i) {
        xs[i] = curve.getX(i);
        ys[i] = curve.getY(i);
    }
    if (!toWgs84(n, xs.data(), ys.data()))
        return false;
    data.resize(n);
    for (int i = 0; i < n; ++i)
        data[i] = QPointF(xs[i], ys[i]);
    return true;
}

bool kstVectorFileImport::shapeDataFromOGR(OGRPolygon* polygon, Polygon__& data)
{
    if (!polygon)
        return false;
    Polygon__ result;
    if (!shapeDataFromOGR(polygon->getExteriorRing(), result.outer))
        return false;
    for (int i = 0; i < polygon->getNumInteriorRings(); ++i) {
        QPolygonF inner;
        if (shapeDataFromOGR(polygon->getInteriorRing(i), inner))
            result.inner.append(inner);
    }
    data = result;
    return true;
}

// --- Attributes ----------------------------------------------------------

QMap<QString, QVariant> kstVectorFileImport::getFeatureFields(OGRFeatureDefn* definition, OGRFeature* feature)
{
    QMap<QString, QVariant> fields;
    for (int i = 0; i < definition->GetFieldCount(); ++i) {
        const OGRFieldDefn* field = definition->GetFieldDefn(i);
        const QString name = QString::fromUtf8(field->GetNameRef());
        switch (field->GetType()) {
        case OFTInteger:
            fields.insert(name, feature->GetFieldAsInteger(i));
            break;
        case OFTInteger64:
            fields.insert(name, qlonglong(feature->GetFieldAsInteger64(i)));
            break;
        case OFTReal:
            fields.insert(name, feature->GetFieldAsDouble(i));
            break;
        case OFTString:
            fields.insert(name, sourceText(feature->GetFieldAsString(i)));
            break;
        case OFTBinary: {
            int length = 0;
            const GByte* bytes = feature->GetFieldAsBinary(i, &length);
            fields.insert(name, QByteArray(reinterpret_cast<const char*>(bytes), bytes ? length : 0));
            break;
        }
        case OFTDate:
        case OFTTime:
        case OFTDateTime: {
            int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, zone = 0;
            feature->GetFieldAsDateTime(i, &year, &month, &day, &hour, &minute, &second, &zone);
            const QDate date(year, month, day);
            const QTime time(hour, minute, second, 0);
            if (field->GetType() == OFTDate)
                fields.insert(name, date);
            else if (field->GetType() == OFTTime)
                fields.insert(name, time);
            else
                fields.insert(name, QDateTime(date, time, zone == 100 ? Qt::UTC : Qt::LocalTime));
            break;
        }
        case OFTIntegerList: {
            int n = 0;
            const int* values = feature->GetFieldAsIntegerList(i, &n);
            QVariantList list;
            for (int j = 0; j < n; ++j)
                list.append(values[j]);
            fields.insert(name, list);
            break;
        }
        case OFTInteger64List: {
            int n = 0;
            const GIntBig* values = feature->GetFieldAsInteger64List(i, &n);
            QVariantList list;
            for (int j = 0; j < n; ++j)
                list.append(qlonglong(values[j]));
            fields.insert(name, list);
            break;
        }
        case OFTRealList: {
            int n = 0;
            const double* values = feature->GetFieldAsDoubleList(i, &n);
            QVariantList list;
            for (int j = 0; j < n; ++j)
                list.append(values[j]);
            fields.insert(name, list);
            break;
        }
        case OFTStringList: {
            char** values = feature->GetFieldAsStringList(i);
            const int n = CSLCount(values);
            QVariantList list;
            for (int j = 0; j < n; ++j)
                list.append(sourceText(values[j]));
            fields.insert(name, list);
            break;
        }
        default:
            break;
        }
    }
    return fields;
}

// --- Styles --------------------------------------------------------------

QString kstVectorFileImport::pureStyleString(const QString& style)
{
    if (style.startsWith(QLatin1Char('@'))) {
        const QByteArray name = style.mid(1).toUtf8();
        if (m_layerStyleTable) {
            if (const char* found = m_layerStyleTable->Find(name.constData()))
                return QString::fromUtf8(found);
        }
        if (m_dataSourceStyleTable) {
            // A copy of the data source's table for the user, once per import;
            // a failure to write it changes nothing.
            if (!m_styleTableSaved) {
                const CPLErrorStateBackuper keepLastError;
                const CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
                m_dataSourceStyleTable->SaveStyleTable("style_table.txt");
                m_styleTableSaved = true;
            }
            if (const char* found = m_dataSourceStyleTable->Find(name.constData()))
                return QString::fromUtf8(found);
        }
        return QString();
    }
    if (style.size() >= 2 && style.startsWith(QLatin1Char('{')) && style.endsWith(QLatin1Char('}'))) {
        const auto it = m_featureFields.constFind(style.mid(1, style.size() - 2));
        return it == m_featureFields.constEnd() ? QString() : it->toString();
    }
    return style;
}

void kstVectorFileImport::setShapeStyleFromOGR(VectorPoint* point, const char* style)
{
    if (!style || !*style)
        return;
    const QString resolved = pureStyleString(QString::fromUtf8(style));
    if (resolved.isEmpty())
        return;
    // The first symbol or pen decides the look of a point.
    walkStyleTools(resolved, [&](OGRStyleTool* tool) {
        if (tool->GetType() == OGRSTCSymbol) {
            auto* symbol = static_cast<OGRStyleSymbol*>(tool);
            symbol->SetUnit(OGRSTUPixel, 1.0);
            GBool unset = TRUE;
            const char* id = symbol->Id(unset);
            if (unset || !id)
                return false;
            // A missing, refused or unreadable picture leaves the point as it is.
            const kstSymbolPictureCache::Picture picture = m_symbols.picture(QString::fromUtf8(id));
            if (picture.image.isNull())
                return false;
            point->setPointType(1);
            point->setMarkerImage(picture.image);
            QPoint anchor(picture.image.width() / 2, picture.image.height() / 2);
            GBool dyUnset = TRUE;
            const double dy = symbol->SpacingY(dyUnset);
            if (!dyUnset) {
                // Offsets are file pixels; the picture may have been scaled down.
                GBool dxUnset = TRUE;
                anchor = QPoint(styleOffset(symbol->SpacingX(dxUnset) * picture.scale), styleOffset(dy * picture.scale));
            }
            point->setMarkerAnchor(anchor);
            return false;
        }
        if (tool->GetType() == OGRSTCPen) {
            auto* pen = static_cast<OGRStylePen*>(tool);
            pen->SetUnit(OGRSTUPixel, 1.0);
            GBool unset = TRUE;
            const char* color = pen->Color(unset);
            if (unset || !color)
                return false;
            const QColor qcolor = colorFromOGR(color);
            point->setPointType(0);
            point->setPointBorderPen(QPen(QBrush(qcolor), 1, Qt::SolidLine));
            point->setPointFillBrush(QBrush(qcolor, Qt::SolidPattern));
            GBool widthUnset = TRUE;
            const double width = pen->Width(widthUnset);
            if (!widthUnset)
                point->setPointSize(styleLength(width));
            return false;
        }
        return true;
    });
}

void kstVectorFileImport::setShapeStyleFromOGR(VectorLine* line, const char* style)
{
    if (!style || !*style)
        return;
    const QString resolved = pureStyleString(QString::fromUtf8(style));
    if (resolved.isEmpty())
        return;
    walkStyleTools(resolved, [&](OGRStyleTool* tool) {
        if (tool->GetType() == OGRSTCPen)
            line->setLinePen(stylePenFromOGR(static_cast<OGRStylePen*>(tool)));
        return true;
    });
}

void kstVectorFileImport::setShapeStyleFromOGR(VectorPolygon* polygon, const char* style)
{
    if (!style || !*style)
        return;
    const QString resolved = pureStyleString(QString::fromUtf8(style));
    if (resolved.isEmpty())
        return;
    walkStyleTools(resolved, [&](OGRStyleTool* tool) {
        if (tool->GetType() == OGRSTCPen)
            polygon->setBorderPen(stylePenFromOGR(static_cast<OGRStylePen*>(tool)));
        else if (tool->GetType() == OGRSTCBrush)
            polygon->setFillBrush(styleBrushFromOGR(static_cast<OGRStyleBrush*>(tool)));
        return true;
    });
}

QPen kstVectorFileImport::stylePenFromOGR(OGRStylePen* ogrPen)
{
    QPen pen;
    if (!ogrPen)
        return pen;
    ogrPen->SetUnit(OGRSTUPixel, 1.0);
    GBool unset = TRUE;
    const char* color = ogrPen->Color(unset);
    if (!unset && color)
        pen.setColor(colorFromOGR(color));
    const double width = ogrPen->Width(unset);
    if (!unset && width >= 0)
        pen.setWidth(styleLength(width));
    ogrPen->Pattern(unset);
    pen.setStyle(unset ? Qt::SolidLine : Qt::DashLine);
    const char* id = ogrPen->Id(unset);
    if (!unset && id)
        pen.setStyle(penStyleFromId(id));
    const char* cap = ogrPen->Cap(unset);
    if (!unset && cap)
        pen.setCapStyle(cap[0] == 'b' ? Qt::FlatCap : cap[0] == 'r' ? Qt::RoundCap : Qt::SquareCap);
    const char* join = ogrPen->Join(unset);
    if (!unset && join)
        pen.setJoinStyle(join[0] == 'm' ? Qt::MiterJoin : join[0] == 'r' ? Qt::RoundJoin : Qt::BevelJoin);
    return pen;
}

QBrush kstVectorFileImport::styleBrushFromOGR(OGRStyleBrush* ogrBrush)
{
    QBrush brush;
    if (!ogrBrush)
        return brush;
    ogrBrush->SetUnit(OGRSTUPixel, 1.0);
    GBool unset = TRUE;
    const char* color = ogrBrush->ForeColor(unset);
    if (!unset && color)
        brush = QBrush(colorFromOGR(color), Qt::SolidPattern);
    const char* id = ogrBrush->Id(unset);
    if (!unset && id)
        brush.setStyle(brushStyleFromId(id));
    return brush;
}

} // namespace Kestrum
