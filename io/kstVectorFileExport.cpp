#include "kstVectorFileExport.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QFileInfo>
#include <QVariant>

#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal_priv.h>
#include <ogr_featurestyle.h>
#include <ogr_geometry.h>
#include <ogrsf_frmts.h>

#include <memory>
#include <vector>

namespace Kestrum {

namespace {

struct OptionsDestroyer
{
    void operator()(char** list) const { CSLDestroy(list); }
};
using OptionsPtr = std::unique_ptr<char*, OptionsDestroyer>;

struct FeatureDestroyer
{
    void operator()(OGRFeature* feature) const { OGRFeature::DestroyFeature(feature); }
};
using FeaturePtr = std::unique_ptr<OGRFeature, FeatureDestroyer>;

struct GeometryDestroyer
{
    void operator()(OGRGeometry* geometry) const { OGRGeometryFactory::destroyGeometry(geometry); }
};
using GeometryPtr = std::unique_ptr<OGRGeometry, GeometryDestroyer>;

bool isVisible(Qt::CheckState state)
{
    return state != Qt::Unchecked;
}

// The kind of geometry a collect's container takes, with its debug text.
struct Container
{
    OGRwkbGeometryType type;
    const char* failure;
};

bool containerOf(int collectType, Container& container)
{
    switch (OGRwkbGeometryType(collectType)) {
    case wkbMultiPoint:
    case wkbMultiPoint25D:
        container = {wkbMultiPoint, "wkbMultiPoint addGeometry failed:"};
        return true;
    case wkbMultiLineString:
    case wkbMultiLineString25D:
        container = {wkbMultiLineString, "wkbMultiLineString addGeometry failed:"};
        return true;
    case wkbMultiPolygon:
    case wkbMultiPolygon25D:
        container = {wkbMultiPolygon, "wkbMultiPolygon addGeometry failed:"};
        return true;
    case wkbGeometryCollection:
        container = {wkbGeometryCollection, "wkbGeometryCollection addGeometry failed:"};
        return true;
    default:
        return false;
    }
}

bool acceptedBy(OGRwkbGeometryType container, OGRwkbGeometryType part)
{
    switch (container) {
    case wkbMultiPoint:
        return part == wkbPoint || part == wkbPoint25D;
    case wkbMultiLineString:
        return part == wkbLineString || part == wkbLineString25D;
    case wkbMultiPolygon:
        return part == wkbPolygon || part == wkbPolygon25D;
    default:
        return true;
    }
}

// Lists of a QVariant: a QVariantList, a QStringList or a byte string list
// all convert through toList().
template <class T, class Get>
std::vector<T> listOf(const QVariant& value, Get get)
{
    std::vector<T> result;
    const QVariantList list = value.toList();
    result.reserve(list.size());
    for (const QVariant& item : list)
        result.push_back(get(item));
    return result;
}

// Border pen and fill brush of the three area kinds.
template <class Get>
auto ofArea(kstVectorShape* shape, Get get)
{
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Rect:
        return get(static_cast<VectorRect*>(shape));
    case kstVectorShape::Type_Circle:
        return get(static_cast<VectorCircle*>(shape));
    default:
        return get(static_cast<VectorPolygon*>(shape));
    }
}

QPen areaBorderPen(kstVectorShape* shape)
{
    return ofArea(shape, [](auto* area) { return area->borderPen(); });
}

QBrush areaFillBrush(kstVectorShape* shape)
{
    return ofArea(shape, [](auto* area) { return area->fillBrush(); });
}

QByteArray bmpBytes(const QImage& picture)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "BMP");
    return bytes;
}

// Marker pictures are compared as images, whichever way they are kept.
[[maybe_unused]] QImage imageOf(const QPixmap& picture)
{
    return picture.toImage();
}

[[maybe_unused]] QImage imageOf(const QImage& picture)
{
    return picture;
}

// Two pictures are the same when their sizes, depths and BMP encodings agree.
template <class A, class B>
bool samePicture(const A& first, const B& second)
{
    const QImage a = imageOf(first);
    const QImage b = imageOf(second);
    return a.width() == b.width() && a.height() == b.height() && a.depth() == b.depth() && a.rect() == b.rect()
        && bmpBytes(a) == bmpBytes(b);
}

// Rings of areas end on their first point in every format.
OGRGeometry* closedRings(OGRGeometry* geometry)
{
    if (geometry)
        geometry->closeRings();
    return geometry;
}

} // namespace

// --- Life cycle ----------------------------------------------------------

kstVectorFileExport::kstVectorFileExport(QObject* parent)
    : QObject(parent)
{
    moveToThread(&m_thread);
    connect(&m_thread, &QThread::started, this, &kstVectorFileExport::doExport);
}

kstVectorFileExport::~kstVectorFileExport()
{
    // A QThread must not be destroyed while it runs. The format exporters stop
    // in their own destructors, before their steps are gone; this catches an
    // exporter of another kind.
    if (m_thread.isRunning()) {
        m_stop = true;
        m_thread.quit();
        m_thread.wait();
    }
    closeDataSource();
    qDebug().noquote() << "kstVectorFileExport::~kstVectorFileExport()";
}

void kstVectorFileExport::startExport(const QString& path, const QList<kstVectorLayer*>& layers)
{
    if (m_thread.isRunning())
        return;
    m_exportPath = path;
    m_layers = layers;
    // After an earlier export the object lives in the main thread again.
    if (thread() != &m_thread)
        moveToThread(&m_thread);
    preparePointStyles();
    m_stop = false;
    m_thread.start(QThread::InheritPriority);
}

void kstVectorFileExport::stopExport()
{
    if (!m_thread.isRunning())
        return;
    m_stop = true;
    m_thread.quit();
    m_thread.wait();
}

bool kstVectorFileExport::isExportting() const
{
    return m_thread.isRunning();
}

void kstVectorFileExport::closeDataSource()
{
    if (m_dataSource) {
        GDALClose(GDALDataset::ToHandle(m_dataSource));
        m_dataSource = nullptr;
    }
}

void kstVectorFileExport::leaveWorker()
{
    closeDataSource();
    m_thread.quit();
    if (QCoreApplication* app = QCoreApplication::instance())
        moveToThread(app->thread());
}

void kstVectorFileExport::preparePointStyles()
{
    m_pointStyles.clear();
    if (!m_keepStyle || !m_pointSymbols)
        return;
    // Points of the same look give the same string; the picture is painted
    // and compared once per look.
    struct Look
    {
        int type;
        int size;
        QPen pen;
        QBrush brush;
        qint64 picture;
        QPoint anchor;
        bool operator==(const Look& o) const
        {
            return type == o.type && size == o.size && pen == o.pen && brush == o.brush && picture == o.picture
                && anchor == o.anchor;
        }
    };
    QList<QPair<Look, QString>> looks;
    for (kstVectorLayer* layer : qAsConst(m_layers)) {
        if (!layer || !isVisible(kstVectorEditLayer::layerVisibleState(layer)))
            continue;
        for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
            if (collect->m_shapes.isEmpty() || !collect->m_shapes.first()
                || collect->m_shapes.first()->shapeType() != kstVectorShape::Type_Point
                || !isVisible(kstVectorEditLayer::collectVisibleState(collect)))
                continue;
            auto* point = static_cast<VectorPoint*>(collect->m_shapes.first());
            const bool figure = point->pointType() == 0;
            const Look look{point->pointType(),
                            figure ? point->pointSize() : 0,
                            figure ? point->pointBorderPen() : QPen(),
                            figure ? point->pointFillBrush() : QBrush(),
                            figure ? 0 : qint64(point->markerIcon().cacheKey()),
                            figure ? QPoint() : point->markerAnchor()};
            QString style;
            for (const auto& known : qAsConst(looks)) {
                if (known.first == look) {
                    style = known.second;
                    break;
                }
            }
            if (style.isNull()) {
                style = point->styleString(m_exportPath, kstVectorShape::Color_RGBA);
                looks.append({look, style});
            }
            m_pointStyles.insert(point, style);
        }
    }
}

// --- Shared pieces -------------------------------------------------------

char** kstVectorFileExport::optionList(const QMap<QString, QString>& options)
{
    char** list = nullptr;
    for (auto it = options.cbegin(); it != options.cend(); ++it)
        list = CSLSetNameValue(list, it.key().toUtf8().constData(), it.value().toUtf8().constData());
    return list;
}

QString kstVectorFileExport::lastGdalError()
{
    return QString::fromUtf8(CPLGetLastErrorMsg());
}

void kstVectorFileExport::debugGdalError(const char* text)
{
    qDebug().noquote() << QString::fromUtf8(text) + lastGdalError();
}

void kstVectorFileExport::createLayerFields(OGRLayer* ogrLayer, kstVectorLayer* layer)
{
    const int count = qMin(layer->m_fieldNames.size(), layer->m_fieldTypes.size());
    for (int j = 0; j < count; ++j) {
        const int type = layer->m_fieldTypes.at(j);
        // A type code from a damaged file is no field type; drivers are not
        // asked to create it.
        if (type < 0 || type > OFTMaxType) {
            CPLError(CE_Failure, CPLE_NotSupported, "Field %s has the unknown type %d",
                     layer->m_fieldNames.at(j).toUtf8().constData(), type);
            debugGdalError("CreateField failed:");
            continue;
        }
        OGRFieldDefn definition(layer->m_fieldNames.at(j).toUtf8().constData(), OGRFieldType(type));
        if (ogrLayer->CreateField(&definition, TRUE) != OGRERR_NONE)
            debugGdalError("CreateField failed:");
    }
}

QByteArray kstVectorFileExport::exportText(const kstVectorLayer* layer, const QByteArray& text) const
{
    const auto from = kstTextCode::CharSet(layer->m_charSet);
    if (from == m_charset || text.isEmpty())
        return text;
    QByteArray converted;
    kstTextCode::conv(from, text, m_charset, converted);
    return converted;
}

QString kstVectorFileExport::shapeStyleString(kstVectorShape* shape, int mode)
{
    const auto it = m_pointStyles.constFind(shape);
    if (it != m_pointStyles.constEnd())
        return *it;
    return shape->styleString(m_exportPath, kstVectorShape::Color_Mode(mode));
}

bool kstVectorFileExport::setDirectStyle(kstVectorCollect* collect, OGRFeature* feature, int mode)
{
    kstVectorShape* shape = collect->m_shapes.isEmpty() ? nullptr : collect->m_shapes.first();
    if (!shape || shape->shapeType() == kstVectorShape::Type_Point)
        return false;
    feature->SetStyleString(shapeStyleString(shape, mode).toUtf8().constData());
    return true;
}

// --- The worker ----------------------------------------------------------

void kstVectorFileExport::doExport()
{
    if (!createDataSource()) {
        const QString detail = lastGdalError();
        leaveWorker();
        emit exportFailed(QStringLiteral("创建导出矢量数据文件失败：\n%1").arg(detail));
        return;
    }
    emit exportStarted();
    if (!flushed())
        return;

    const int n = m_layers.size();
    int i = 0;
    for (kstVectorLayer* layer : qAsConst(m_layers)) {
        if (!layer || !isVisible(kstVectorEditLayer::layerVisibleState(layer)))
            continue;
        OGRLayer* ogrLayer = layerToOGR(layer, i, n);
        ++i;
        if (ogrLayer && ogrLayer->SyncToDisk() != OGRERR_NONE)
            debugGdalError("SyncToDisk failed:");
        emit exportProgress(int(i * m_progressMax / n),
                            QStringLiteral("图层\"%1\"正在写入导出矢量文件，请稍候...").arg(layer->m_name));
        if (!flushed())
            return;
        if (m_stop) {
            leaveWorker();
            emit exportStoped();
            return;
        }
    }
    genProjectionFile();
    emit exportProgress(int(m_progressMax), QStringLiteral("正在写入导出矢量文件，请稍候..."));
    // Drivers that write the whole file when it is closed report there that
    // it cannot be written.
    CPLErrorReset();
    closeDataSource();
    if (writeFailed())
        return;
    leaveWorker();
    emit exportProgress(100, QStringLiteral("矢量文件导出完成！"));
    emit exportFinished();
}

bool kstVectorFileExport::flushed()
{
    CPLErrorReset();
    m_dataSource->FlushCache();
    return !writeFailed();
}

bool kstVectorFileExport::writeFailed()
{
    const CPLErrorNum error = CPLGetLastErrorNo();
    if (CPLGetLastErrorType() < CE_Failure || (error != CPLE_FileIO && error != CPLE_OpenFailed))
        return false;
    const QString detail = lastGdalError();
    leaveWorker();
    emit exportFailed(QStringLiteral("创建导出矢量数据文件失败：\n%1").arg(detail));
    return true;
}

bool kstVectorFileExport::createDataSource()
{
    CPLErrorReset();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(m_driverName.toLatin1().constData());
    if (!driver) {
        CPLError(CE_Failure, CPLE_AppDefined, "GDAL driver \"%s\" is not available",
                 m_driverName.toUtf8().constData());
        return false;
    }
    const OptionsPtr options(optionList(m_dataSourceCreateOption));
    m_dataSource = driver->Create(m_exportPath.toUtf8().constData(), 0, 0, 0, GDT_Unknown, options.get());
    // A driver that writes its file only when it is closed accepts a folder
    // that does not exist; the export would run for nothing.
    const QFileInfo target(m_exportPath);
    if (m_dataSource && !target.exists() && !target.absoluteDir().exists()) {
        closeDataSource();
        CPLErrorReset();
        CPLError(CE_Failure, CPLE_OpenFailed, "Cannot create %s: the folder %s does not exist",
                 m_exportPath.toUtf8().constData(), target.absolutePath().toUtf8().constData());
    }
    // Some drivers fail without saying why; the failure still needs a text.
    if (!m_dataSource && !*CPLGetLastErrorMsg())
        CPLError(CE_Failure, CPLE_OpenFailed, "%s cannot create \"%s\"", driver->GetDescription(),
                 m_exportPath.toUtf8().constData());
    return m_dataSource != nullptr;
}

OGRLayer* kstVectorFileExport::layerToOGR(kstVectorLayer* layer, int index, int count)
{
    emit exportProgress(int(index * m_progressMax / count), QStringLiteral("开始导出矢量图层：%1").arg(layer->m_name));
    OGRLayer* ogrLayer = getLayer(layer);
    if (!ogrLayer)
        return nullptr;
    // Databases write a layer's features in one transaction, not one each.
    const bool transaction = m_dataSource->TestCapability(ODsCTransactions)
        && m_dataSource->StartTransaction(FALSE) == OGRERR_NONE;
    const auto commit = [this, transaction] {
        if (transaction && m_dataSource->CommitTransaction() != OGRERR_NONE)
            debugGdalError("CommitTransaction failed:");
    };
    OGRStyleTable styleTable;
    OGRFeatureDefn* definition = ogrLayer->GetLayerDefn();
    m_pointStyleCount = m_lineStyleCount = m_areaStyleCount = 0;

    const int total = layer->m_collects.size();
    const QString featureText = QStringLiteral("导出矢量图层 \"%1\" 要素：").arg(layer->m_name);
    int k = 0;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        if (!isVisible(kstVectorEditLayer::collectVisibleState(collect)))
            continue;
        ++k;
        emit exportProgress(int(k * m_progressMax / total / count + m_progressMax * index / count),
                            featureText + QString::number(collect->m_fid));
        FeaturePtr feature(getFeature(collect, definition, &styleTable));
        if (!feature)
            continue;
        setFeatureFields(collect, feature.get());
        if (m_keepStyle)
            setFeatureStyles(collect, feature.get(), ogrLayer, &styleTable);
        if (ogrLayer->CreateFeature(feature.get()) != OGRERR_NONE)
            debugGdalError("CreateFeature failed:");
        feature.reset();
        if (m_stop) {
            commit();
            return ogrLayer;
        }
    }
    commit();
    ogrLayer->SetStyleTable(&styleTable);
    return ogrLayer;
}

OGRLayer* kstVectorFileExport::getLayer(kstVectorLayer* layer)
{
    QMap<QString, QString> options = m_layerCreateOption;
    for (auto it = m_driverLayerOption.cbegin(); it != m_driverLayerOption.cend(); ++it)
        options.insert(it.key(), it.value());
    const OptionsPtr list(optionList(options));
    OGRLayer* ogrLayer =
        m_dataSource->CreateLayer(layer->m_name.toUtf8().constData(), m_spatialRef, layer->getType(), list.get());
    if (!ogrLayer) {
        debugGdalError("ogrDataDest CreateLayer Failed:");
        return nullptr;
    }
    // Fields some drivers add by themselves; drivers that refuse keep them.
    {
        const CPLErrorStateBackuper keepLastError;
        const CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
        for (int field = ogrLayer->GetLayerDefn()->GetFieldCount() - 1; field >= 0; --field)
            ogrLayer->DeleteField(field);
    }
    createLayerFields(ogrLayer, layer);
    return ogrLayer;
}

OGRFeature* kstVectorFileExport::getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable*)
{
    return newFeature(collect, definition, true);
}

OGRFeature* kstVectorFileExport::newFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, bool withFid)
{
    FeaturePtr feature(OGRFeature::CreateFeature(definition));
    if (!feature) {
        debugGdalError("OGRFeature::CreateFeature failed:");
        return nullptr;
    }
    if (withFid && feature->SetFID(GIntBig(collect->m_fid)) != OGRERR_NONE) {
        debugGdalError("SetFID failed:");
        return nullptr;
    }
    OGRGeometry* geometry = shapesToOGR(collect->m_shapes);
    if (!geometry)
        return nullptr;
    // The feature takes the built geometry over instead of copying it.
    if (feature->SetGeometryDirectly(geometry) != OGRERR_NONE)
        return nullptr;
    return feature.release();
}

OGRGeometry* kstVectorFileExport::shapesToOGR(const QList<kstVectorShape*>& shapes)
{
    if (shapes.isEmpty() || !shapes.first())
        return nullptr;
    const kstVectorCollect* collect = shapes.first()->shapeCollect();
    Container container;
    if (!collect || !containerOf(collect->m_geometryType, container)) {
        if (shapes.size() != 1)
            qWarning().noquote() << QStringLiteral("lost geomerty data.geomerty count is %1.and just save one geomerty!!!")
                                        .arg(shapes.size());
        return closedRings(shapes.first()->toOGRGeometry(m_spatialRef));
    }
    GeometryPtr result(OGRGeometryFactory::createGeometry(container.type));
    auto* parts = result->toGeometryCollection();
    for (kstVectorShape* shape : shapes) {
        if (!shape)
            continue;
        if (container.type == wkbMultiPoint && !isVisible(kstVectorEditLayer::shapeVisibleState(shape)))
            continue;
        GeometryPtr part(shape->toOGRGeometry(m_spatialRef));
        if (!part || !acceptedBy(container.type, part->getGeometryType()))
            continue;
        if (parts->addGeometryDirectly(part.get()) != OGRERR_NONE) {
            debugGdalError(container.failure);
            continue;
        }
        part.release();
    }
    if (parts->IsEmpty())
        return nullptr;
    return closedRings(result.release());
}

void kstVectorFileExport::setFeatureFields(kstVectorCollect* collect, OGRFeature* feature)
{
    const kstVectorLayer* layer = collect->m_layer;
    if (!layer)
        return;
    OGRFeatureDefn* definition = feature->GetDefnRef();
    const int count = qMin(layer->m_fieldNames.size(), layer->m_fieldTypes.size());
    for (int j = 0; j < count; ++j) {
        const QString& name = layer->m_fieldNames.at(j);
        const int index = definition->GetFieldIndex(name.toUtf8().constData());
        const auto found = collect->m_fields.constFind(name);
        if (index < 0 || found == collect->m_fields.constEnd())
            continue;
        const QVariant& value = *found;
        switch (layer->m_fieldTypes.at(j)) {
        case OFTInteger:
            feature->SetField(index, value.toInt());
            break;
        case OFTInteger64:
            feature->SetField(index, GIntBig(value.toLongLong()));
            break;
        case OFTReal:
            feature->SetField(index, value.toDouble());
            break;
        case OFTString:
            feature->SetField(index, exportText(layer, value.toByteArray()).constData());
            break;
        case OFTBinary: {
            QByteArray bytes = value.toByteArray();
            feature->SetField(index, bytes.size(), reinterpret_cast<GByte*>(bytes.data()));
            break;
        }
        case OFTDate:
        case OFTTime:
        case OFTDateTime: {
            // A time alone has no date; the date parts are then zero.
            const QDateTime dateTime = value.type() == QVariant::Time ? QDateTime() : value.toDateTime();
            const QDate date = dateTime.date();
            const QTime time = value.type() == QVariant::Time ? value.toTime() : dateTime.time();
            feature->SetField(index, date.year(), date.month(), date.day(), qMax(0, time.hour()),
                              qMax(0, time.minute()), float(qMax(0, time.second())),
                              dateTime.timeSpec() == Qt::UTC ? 100 : 1);
            break;
        }
        case OFTIntegerList: {
            const auto values = listOf<int>(value, [](const QVariant& v) { return v.toInt(); });
            feature->SetField(index, int(values.size()), values.data());
            break;
        }
        case OFTInteger64List: {
            const auto values = listOf<GIntBig>(value, [](const QVariant& v) { return GIntBig(v.toLongLong()); });
            feature->SetField(index, int(values.size()), values.data());
            break;
        }
        case OFTRealList: {
            const auto values = listOf<double>(value, [](const QVariant& v) { return v.toDouble(); });
            feature->SetField(index, int(values.size()), values.data());
            break;
        }
        case OFTStringList: {
            CPLStringList list;
            for (const QVariant& item : value.toList())
                list.AddString(exportText(layer, item.toByteArray()).constData());
            feature->SetField(index, list.List());
            break;
        }
        default:
            break;
        }
    }
}

void kstVectorFileExport::setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer*,
                                           OGRStyleTable* styleTable)
{
    if (collect->m_shapes.isEmpty() || !collect->m_shapes.first())
        return;
    kstVectorShape* shape = collect->m_shapes.first();
    const QByteArray style = shapeStyleString(shape, kstVectorShape::Color_RGBA).toUtf8();
    QByteArray name;
    if (const char* known = styleTable->GetStyleName(style.constData())) {
        name = known;
    } else {
        switch (shape->shapeType()) {
        case kstVectorShape::Type_Point:
            name = "Point" + QByteArray::number(++m_pointStyleCount);
            break;
        case kstVectorShape::Type_Line:
            name = "Line" + QByteArray::number(++m_lineStyleCount);
            break;
        default:
            name = "Area" + QByteArray::number(++m_areaStyleCount);
            break;
        }
        styleTable->AddStyle(name.constData(), style.constData());
    }
    feature->SetStyleString(("@" + name).constData());
}

void kstVectorFileExport::genProjectionFile()
{
}

bool kstVectorFileExport::isCollectHasStyle(kstVectorCollect* collect)
{
    if (!collect || collect->m_shapes.isEmpty() || !collect->m_shapes.first() || !collect->m_layer)
        return false;
    const kstVectorLayer* layer = collect->m_layer;
    kstVectorShape* shape = collect->m_shapes.first();
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Line:
        return static_cast<VectorLine*>(shape)->linePen() != layer->m_linePen;
    case kstVectorShape::Type_Polygon:
    case kstVectorShape::Type_Rect:
    case kstVectorShape::Type_Circle:
        return areaBorderPen(shape) != layer->m_polygonBorderPen || areaFillBrush(shape) != layer->m_polygonFillBrush;
    case kstVectorShape::Type_Point: {
        auto* point = static_cast<VectorPoint*>(shape);
        if (point->pointType() != 0)
            return point->markerAnchor() != layer->m_markerAnchor || !samePicture(point->markerImage(), layer->m_markerIcon);
        return point->pointSize() != layer->m_pointSize || point->pointBorderPen() != layer->m_pointBorderPen
            || point->pointFillBrush() != layer->m_pointFillBrush;
    }
    default:
        return false;
    }
}

} // namespace Kestrum
