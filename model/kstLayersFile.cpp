#include "kstLayersFile.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstRecordReader.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QSaveFile>
#include <QtEndian>

#include <algorithm>

namespace Kestrum {

namespace {

// Generic devices are read through growing windows of their bytes, so that
// a record costs what it holds and never a copy of the rest of the device.
constexpr qint64 kFirstWindow = 4096;

void prepare(QDataStream& stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

// Reads one record with `parse`, which returns whether it succeeded and may
// be called again from the start. From a QBuffer the record is read in
// place; from other devices through windows of what follows, grown until
// the record fits or the whole rest is in view.
template <class Parse>
bool readRecord(QDataStream& in, kstRecordReader::Context& context, Parse&& parse)
{
    QIODevice* device = in.device();
    if (in.status() != QDataStream::Ok || !device)
        return false;
    auto* buffer = qobject_cast<QBuffer*>(device);
    if (buffer && buffer->isReadable()) {
        const QByteArray& data = buffer->data();
        const qint64 at = buffer->pos();
        kstRecordReader reader(data.constData(), data.size(), at, context);
        const bool ok = parse(reader) && reader.ok();
        buffer->seek(reader.pos());
        if (!ok)
            in.setStatus(reader.ok() ? QDataStream::ReadCorruptData : reader.status());
        return ok;
    }
    for (qint64 window = kFirstWindow;; window *= 2) {
        const qint64 available = device->bytesAvailable();
        const QByteArray bytes = device->peek(std::min(window, available));
        kstRecordReader reader(bytes.constData(), bytes.size(), 0, context);
        const bool ok = parse(reader) && reader.ok();
        if (ok || bytes.size() >= available) {
            device->skip(reader.pos());
            if (!ok)
                in.setStatus(reader.ok() ? QDataStream::ReadCorruptData : reader.status());
            return ok;
        }
    }
}

// Writes points in Qt's QVector<QPointF> layout as one block.
void writePoints(QDataStream& out, const QVector<QPointF>& points)
{
    if (out.floatingPointPrecision() != QDataStream::DoublePrecision) {
        out << points;
        return;
    }
    QByteArray block(int(points.size() * sizeof(QPointF)), Qt::Uninitialized);
    if (out.byteOrder() == QDataStream::BigEndian)
        qToBigEndian<quint64>(points.constData(), 2 * qsizetype(points.size()), block.data());
    else
        qToLittleEndian<quint64>(points.constData(), 2 * qsizetype(points.size()), block.data());
    out << quint32(points.size());
    out.writeRawData(block.constData(), block.size());
}

kstVectorShape* newShapeOfKind(qint32 kind)
{
    switch (kind) {
    case kstVectorShape::Type_Point: return new VectorPoint(QPointF(0, 0), nullptr);
    case kstVectorShape::Type_Line: return new VectorLine(QVector<QPointF>(), nullptr);
    case kstVectorShape::Type_Polygon: return new VectorPolygon(Polygon__(), nullptr);
    case kstVectorShape::Type_Rect: return new VectorRect(QPolygonF(), nullptr);
    case kstVectorShape::Type_Circle: return new VectorCircle(Circle__(), nullptr);
    default: return nullptr;
    }
}

QDataStream& writeShape(QDataStream& out, const kstVectorShape& shape)
{
    out << qint32(shape.shapeType());
    switch (shape.shapeType()) {
    case kstVectorShape::Type_Point: return out << static_cast<const VectorPoint&>(shape);
    case kstVectorShape::Type_Line: return out << static_cast<const VectorLine&>(shape);
    case kstVectorShape::Type_Polygon: return out << static_cast<const VectorPolygon&>(shape);
    case kstVectorShape::Type_Rect: return out << static_cast<const VectorRect&>(shape);
    case kstVectorShape::Type_Circle: return out << static_cast<const VectorCircle&>(shape);
    default: return out;
    }
}

// --- Shape records -----------------------------------------------------------

// Every shape record ends with the visible flag; then the extent follows the
// geometry that was read.
void finishShape(kstRecordReader& r, kstVectorShape& shape)
{
    shape.setShapeVisible(r.boolean());
    shape.updateExtent();
}

void readPoint(kstRecordReader& r, VectorPoint& point)
{
    const QPointF geo = r.pointF();
    const qint32 type = r.i32();
    const qint32 size = r.i32();
    QPen pen;
    QBrush brush;
    QPixmap icon;
    r.pen(pen);
    r.brush(brush);
    const QPoint anchor = r.point();
    r.pixmap(icon);
    point.setGeoData(geo);
    point.setPointType(type);
    point.setPointStyleDirect(size, pen, brush);
    point.setMarkerStyleDirect(type, icon, anchor);
    finishShape(r, point);
}

void readLine(kstRecordReader& r, VectorLine& line)
{
    QVector<QPointF> points;
    QPen pen;
    r.points(points);
    r.pen(pen);
    line.setGeoData(points);
    line.setStyleDirect(pen);
    finishShape(r, line);
}

// Polygons, rectangles and circles: geometry, border pen, fill brush, visible.
template <class AreaShape, class Geometry>
void readAreaShape(kstRecordReader& r, AreaShape& shape, const Geometry& geometry)
{
    QPen pen;
    QBrush brush;
    r.pen(pen);
    r.brush(brush);
    shape.setGeoData(geometry);
    shape.setStyleDirect(pen, brush);
    finishShape(r, shape);
}

void readPolygon(kstRecordReader& r, VectorPolygon& polygon)
{
    Polygon__ geometry;
    r.streamed(geometry);
    readAreaShape(r, polygon, geometry);
}

void readRect(kstRecordReader& r, VectorRect& rect)
{
    QVector<QPointF> corners;
    r.points(corners);
    readAreaShape(r, rect, QPolygonF(corners));
}

void readCircle(kstRecordReader& r, VectorCircle& circle)
{
    Circle__ geometry;
    r.streamed(geometry);
    readAreaShape(r, circle, geometry);
}

void readShape(kstRecordReader& r, kstVectorShape& shape)
{
    switch (shape.shapeType()) {
    case kstVectorShape::Type_Point: return readPoint(r, static_cast<VectorPoint&>(shape));
    case kstVectorShape::Type_Line: return readLine(r, static_cast<VectorLine&>(shape));
    case kstVectorShape::Type_Polygon: return readPolygon(r, static_cast<VectorPolygon&>(shape));
    case kstVectorShape::Type_Rect: return readRect(r, static_cast<VectorRect&>(shape));
    case kstVectorShape::Type_Circle: return readCircle(r, static_cast<VectorCircle&>(shape));
    default: return;
    }
}

// Reads one shape record of the stream into `shape`.
template <class Shape>
QDataStream& readShapeRecord(QDataStream& in, Shape& shape)
{
    kstRecordReader::Context context(in);
    readRecord(in, context, [&](kstRecordReader& r) {
        readShape(r, shape);
        return r.ok();
    });
    return in;
}

// --- Collect and layer records -----------------------------------------------

bool readCollect(kstRecordReader& r, kstVectorCollect& collect)
{
    collect.m_fid = quint64(r.i64());
    collect.m_text = r.string();
    collect.m_geometryType = r.i32();
    r.variantMap(collect.m_fields);
    const qint32 count = r.i32();
    for (qint32 i = 0; i < count && r.ok(); ++i) {
        const qint32 kind = r.i32();
        kstVectorShape* shape = r.ok() ? newShapeOfKind(kind) : nullptr;
        if (!shape)
            continue; // unknown kinds carry no data the reader could skip
        shape->setShapeCollect(&collect, i);
        readShape(r, *shape);
        collect.m_shapes.append(shape);
    }
    return r.ok();
}

// The collect's shapes list is emptied first; shapes of an earlier attempt
// at the same record are the reader's own and are deleted.
bool readCollectRecord(QDataStream& in, kstRecordReader::Context& context, kstVectorCollect& collect)
{
    bool retry = false;
    return readRecord(in, context, [&](kstRecordReader& r) {
        if (retry)
            qDeleteAll(collect.m_shapes);
        retry = true;
        collect.m_shapes.clear();
        return readCollect(r, collect);
    });
}

// Fields 1 to 21 and the collect count.
bool readLayerFields(kstRecordReader& r, kstVectorLayer& layer, qint32& count)
{
    layer.m_name = r.string();
    layer.m_srsWkt = r.string();
    r.strings(layer.m_fieldNames);
    r.ints(layer.m_fieldTypes);
    layer.m_pointType = r.i32();
    layer.m_pointSize = r.i32();
    r.pen(layer.m_pointBorderPen);
    r.brush(layer.m_pointFillBrush);
    layer.m_markerAnchor = r.point();
    r.pixmap(layer.m_markerIcon);
    r.pen(layer.m_linePen);
    r.pen(layer.m_polygonBorderPen);
    // The point fill brush is stored a second time where a polygon fill
    // could be; the polygon fill keeps its default.
    r.brush(layer.m_pointFillBrush);
    r.font(layer.m_labelFont);
    r.color(layer.m_labelTextClr);
    r.color(layer.m_labelOutlineClr);
    layer.m_antiAliasing = r.boolean();
    layer.m_showLabels = r.boolean();
    layer.m_charSet = r.i32();
    layer.m_labelMode = r.i32();
    layer.m_labelField = r.string();
    count = r.i32();
    return r.ok();
}

// Collects come in ascending fid order, so they mostly go to the end of the
// map; a later collect with the same fid replaces the earlier one.
void addCollect(QMap<quint64, kstVectorCollect*>& collects, kstVectorCollect* collect)
{
    const quint64 fid = collect->m_fid;
    if (collects.isEmpty() || (collects.constEnd() - 1).key() < fid) {
        collects.insert(collects.constEnd(), fid, collect);
        return;
    }
    auto it = collects.find(fid);
    if (it == collects.end()) {
        collects.insert(fid, collect);
        return;
    }
    kstVectorCollect::destroyCollect(it.value());
    it.value() = collect;
}

// Reads a layer record. A damaged collect and everything after it are left
// out; false when the layer's own fields are damaged.
bool readLayer(QDataStream& in, kstRecordReader::Context& context, kstVectorLayer& layer)
{
    qint32 count = 0;
    const bool fields = readRecord(in, context, [&](kstRecordReader& r) { return readLayerFields(r, layer, count); });
    layer.m_collects.clear();
    if (!fields)
        return false;
    for (qint32 i = 0; i < count; ++i) {
        kstVectorCollect* collect = kstVectorCollect::newCollect();
        collect->m_layer = &layer;
        if (!readCollectRecord(in, context, *collect)) {
            kstVectorCollect::destroyCollect(collect);
            break;
        }
        addCollect(layer.m_collects, collect);
    }
    return true;
}

struct Header
{
    quint64 magic = 0;
    qint32 layerCount = 0;
    qint32 collectCount = 0;
    GCP lt;
    GCP rb;
};

constexpr qint64 kHeaderBytes = 8 + 4 + 4 + 16 + 16;

// Opens a layers file, reads `bytes` of it (all with -1) into memory, and
// checks the magic number.
bool openLayersFile(const QString& file, qint64 bytes, QBuffer& buffer, QDataStream& in, Header& header)
{
    QFile device(file);
    if (!device.open(QIODevice::ReadOnly)) {
        qDebug().noquote() << "open layers buf file error:" + device.errorString();
        return false;
    }
    buffer.setData(bytes < 0 ? device.readAll() : device.read(bytes));
    buffer.open(QIODevice::ReadOnly);
    in.setDevice(&buffer);
    prepare(in);
    qint64 magic = 0;
    in >> magic;
    if (quint64(magic) != kstVectorLayer::magicNum_) {
        qDebug().noquote() << "layers buf file error : magicNum verification failed!";
        return false;
    }
    in >> header.layerCount >> header.collectCount >> header.lt >> header.rb;
    return true;
}

} // namespace

// --- Shapes --------------------------------------------------------------

QDataStream& operator<<(QDataStream& out, const VectorPoint& point)
{
    return out << point.geoData() << qint32(point.pointType()) << qint32(point.pointSize()) << point.pointBorderPen()
               << point.pointFillBrush() << point.markerAnchor() << point.markerIcon() << point.isShapeVisible();
}

QDataStream& operator>>(QDataStream& in, VectorPoint& point)
{
    return readShapeRecord(in, point);
}

QDataStream& operator<<(QDataStream& out, const VectorLine& line)
{
    writePoints(out, line.geoData());
    return out << line.linePen() << line.isShapeVisible();
}

QDataStream& operator>>(QDataStream& in, VectorLine& line)
{
    return readShapeRecord(in, line);
}

// Polygons, rectangles and circles: geometry, border pen, fill brush, visible.
template <class AreaShape>
QDataStream& writeAreaShape(QDataStream& out, const AreaShape& shape)
{
    return out << shape.geoData() << shape.borderPen() << shape.fillBrush() << shape.isShapeVisible();
}

QDataStream& operator<<(QDataStream& out, const VectorPolygon& polygon)
{
    return writeAreaShape(out, polygon);
}

QDataStream& operator>>(QDataStream& in, VectorPolygon& polygon)
{
    return readShapeRecord(in, polygon);
}

QDataStream& operator<<(QDataStream& out, const VectorRect& rect)
{
    writePoints(out, rect.geoData());
    return out << rect.borderPen() << rect.fillBrush() << rect.isShapeVisible();
}

QDataStream& operator>>(QDataStream& in, VectorRect& rect)
{
    return readShapeRecord(in, rect);
}

QDataStream& operator<<(QDataStream& out, const VectorCircle& circle)
{
    return writeAreaShape(out, circle);
}

QDataStream& operator>>(QDataStream& in, VectorCircle& circle)
{
    return readShapeRecord(in, circle);
}

// --- Collects and layers -------------------------------------------------

QDataStream& operator<<(QDataStream& out, const kstVectorCollect& collect)
{
    out << qint64(collect.m_fid) << collect.m_text << qint32(collect.m_geometryType) << collect.m_fields
        << qint32(collect.m_shapes.size());
    for (const kstVectorShape* shape : collect.m_shapes)
        writeShape(out, *shape);
    return out;
}

QDataStream& operator>>(QDataStream& in, kstVectorCollect& collect)
{
    kstRecordReader::Context context(in);
    readCollectRecord(in, context, collect);
    return in;
}

QDataStream& operator<<(QDataStream& out, const kstVectorLayer& layer)
{
    out << layer.m_name << layer.m_srsWkt << layer.m_fieldNames << layer.m_fieldTypes << qint32(layer.m_pointType)
        << qint32(layer.m_pointSize) << layer.m_pointBorderPen << layer.m_pointFillBrush << layer.m_markerAnchor
        << layer.m_markerIcon << layer.m_linePen << layer.m_polygonBorderPen
        // The point fill brush is stored a second time where a polygon fill
        // could be; the polygon fill keeps its default on loading.
        << layer.m_pointFillBrush << layer.m_labelFont << layer.m_labelTextClr << layer.m_labelOutlineClr
        << layer.m_antiAliasing << layer.m_showLabels << qint32(layer.m_charSet) << qint32(layer.m_labelMode)
        << layer.m_labelField << qint32(layer.m_collects.size());
    for (const kstVectorCollect* collect : layer.m_collects)
        out << *collect;
    return out;
}

QDataStream& operator>>(QDataStream& in, kstVectorLayer& layer)
{
    kstRecordReader::Context context(in);
    readLayer(in, context, layer);
    return in;
}

// --- The file ------------------------------------------------------------

bool kstVectorLayer::saveLayers(const QList<kstVectorLayer*>& layers, const QString& file)
{
    // The previous file is replaced only once the new one is complete.
    QSaveFile device(file);
    if (!device.open(QIODevice::WriteOnly)) {
        qDebug().noquote() << "open layers buf file error:" + device.errorString();
        return false;
    }
    GCP lt, rb;
    getLayersExtent(layers, lt, rb);
    qint32 collects = 0;
    for (const kstVectorLayer* layer : layers)
        collects += layer->m_collects.size();

    QDataStream out(&device);
    prepare(out);
    out << quint64(magicNum_) << qint32(layers.size()) << collects << lt << rb;
    for (const kstVectorLayer* layer : layers)
        out << *layer;
    if (out.status() != QDataStream::Ok || !device.commit()) {
        qDebug().noquote() << "write layers buf file error:" + device.errorString();
        return false;
    }
    return true;
}

bool kstVectorLayer::loadLayers(QList<kstVectorLayer*>& layers, const QString& file)
{
    QBuffer buffer;
    QDataStream in;
    Header header;
    if (!openLayersFile(file, -1, buffer, in, header))
        return false;
    layers.clear();
    // Layers and collects before a damaged record are kept.
    kstRecordReader::Context context(in);
    for (qint32 i = 0; i < header.layerCount && in.status() == QDataStream::Ok; ++i) {
        kstVectorLayer* layer = newLayer();
        if (!readLayer(in, context, *layer)) {
            destoryLayer(layer);
            break;
        }
        layers.append(layer);
    }
    return true;
}

bool kstVectorLayer::getLayersExtent(const QString& file, kstGeographicalCoordinatesPoint& lt,
                                     kstGeographicalCoordinatesPoint& rb)
{
    QBuffer buffer;
    QDataStream in;
    Header header;
    if (!openLayersFile(file, kHeaderBytes, buffer, in, header))
        return false;
    lt = header.lt;
    rb = header.rb;
    return true;
}

} // namespace Kestrum
