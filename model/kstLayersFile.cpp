#include "kstLayersFile.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstRecordReader.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorStyle.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QSaveFile>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#ifdef Q_OS_UNIX
#include <sys/mman.h>
#endif

namespace Kestrum {

namespace {

// Generic devices are read through growing windows of their bytes, so that
// a record costs what it holds and never a copy of the rest of the device.
constexpr qint64 kFirstWindow = 256;
// The layers file is read ahead in chunks of this size.
constexpr qint64 kChunkBytes = 256 * 1024;

void prepare(QDataStream& stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

bool hasLayersFileSettings(const QDataStream& stream)
{
    return stream.version() == QDataStream::Qt_5_15 && stream.byteOrder() == QDataStream::BigEndian;
}

// Layers nearly always keep the default marker. Its bytes in a layers file
// are known, so reading shares the default picture instead of decoding it.
const QByteArray& defaultMarkerBytes()
{
    static const QByteArray bytes = [] {
        QByteArray data;
        QDataStream out(&data, QIODevice::WriteOnly);
        prepare(out);
        out << kstVectorStyle::markerIcon_default;
        return data;
    }();
    return bytes;
}

// Memory for the read-ahead chunk, taken from the system rather than the
// heap where it can: a large heap block first merges every small block freed
// before it (all the shape parts of a document just closed), and a chunk
// freed to the system would raise the heap's threshold for the next one.
class ChunkMemory
{
public:
    ChunkMemory() = default;
    explicit ChunkMemory(qint64 size) : m_size(size)
    {
#ifdef Q_OS_UNIX
        void* pages = mmap(nullptr, size_t(size), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_data = pages == MAP_FAILED ? nullptr : static_cast<char*>(pages);
        m_mapped = m_data != nullptr;
#endif
        if (!m_data)
            m_data = new (std::nothrow) char[size_t(size)];
        if (!m_data)
            m_size = 0;
    }
    ~ChunkMemory() { release(); }
    ChunkMemory(const ChunkMemory&) = delete;
    ChunkMemory& operator=(const ChunkMemory&) = delete;
    void swap(ChunkMemory& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_mapped, other.m_mapped);
    }
    char* data() const { return m_data; }
    qint64 size() const { return m_size; }

private:
    void release()
    {
#ifdef Q_OS_UNIX
        if (m_mapped) {
            munmap(m_data, size_t(m_size));
            return;
        }
#endif
        delete[] m_data;
    }

    char* m_data = nullptr;
    qint64 m_size = 0;
    bool m_mapped = false;
};

// Where records come from. Each record is parsed from bytes in memory by
// `parse`, which returns whether it succeeded and may be called again from
// the start: in place from a QBuffer; from a device the caller lends through
// windows of what follows (nothing beyond the record is consumed), grown
// until the record fits or the whole rest is in view; from a layers file
// through chunks read ahead.
class RecordSource
{
public:
    RecordSource(QDataStream& in, bool readAhead) : m_in(in), m_context(in), m_readAhead(readAhead)
    {
        if (hasLayersFileSettings(in))
            m_context.knowImage(defaultMarkerBytes(), kstVectorStyle::markerIcon_default);
    }

    template <class Parse>
    bool read(Parse&& parse)
    {
        QIODevice* device = m_in.device();
        if (m_in.status() != QDataStream::Ok || !device)
            return false;
        auto* buffer = qobject_cast<QBuffer*>(device);
        if (buffer && buffer->isReadable()) {
            const QByteArray& data = buffer->data();
            kstRecordReader reader(data.constData(), data.size(), buffer->pos(), m_context);
            const bool ok = finish(reader, parse(reader));
            buffer->seek(reader.pos());
            return ok;
        }
        if (m_readAhead)
            return readAhead(*device, parse);
        for (qint64 window = kFirstWindow;; window *= 2) {
            const qint64 available = device->bytesAvailable();
            const QByteArray bytes = device->peek(std::min(window, available));
            kstRecordReader reader(bytes.constData(), bytes.size(), 0, m_context);
            const bool parsed = parse(reader);
            if ((parsed && reader.ok()) || bytes.size() >= available) {
                device->skip(reader.pos());
                return finish(reader, parsed);
            }
        }
    }

private:
    template <class Parse>
    bool readAhead(QIODevice& device, Parse& parse)
    {
        for (;;) {
            kstRecordReader reader(m_chunk.constData(), m_chunk.size(), m_chunkPos, m_context);
            const bool parsed = parse(reader);
            if ((parsed && reader.ok()) || !refill(device)) {
                m_chunkPos = reader.pos();
                return finish(reader, parsed);
            }
        }
    }

    // Moves what is unread to the front and fills the rest, growing the chunk
    // when one record fills it; false at the end. The chunk is reused, so
    // that reading costs no allocation per chunk.
    bool refill(QIODevice& device)
    {
        const qint64 unread = m_chunk.size() - m_chunkPos;
        const qint64 size = std::max(kChunkBytes, 2 * unread);
        if (m_capacity.size() < size) {
            ChunkMemory grown(size);
            if (grown.size() < size)
                return false;
            std::memcpy(grown.data(), m_chunk.constData() + m_chunkPos, size_t(unread));
            m_capacity.swap(grown);
        } else {
            std::memmove(m_capacity.data(), m_chunk.constData() + m_chunkPos, size_t(unread));
        }
        char* data = m_capacity.data();
        const qint64 got = std::max<qint64>(0, device.read(data + unread, size - unread));
        m_chunk = QByteArray::fromRawData(data, int(unread + got));
        m_chunkPos = 0;
        return got > 0;
    }

    bool finish(const kstRecordReader& reader, bool parsed)
    {
        const bool ok = parsed && reader.ok();
        if (!ok)
            m_in.setStatus(reader.ok() ? QDataStream::ReadCorruptData : reader.status());
        return ok;
    }

    QDataStream& m_in;
    kstRecordReader::Context m_context;
    bool m_readAhead;
    ChunkMemory m_capacity; // owns the chunk's bytes
    QByteArray m_chunk;    // the part of them read from the device
    qint64 m_chunkPos = 0;
};

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

// Writes Qt values of records, and writes the bytes of a pen, brush or
// picture again when the very same value (shared data, or the same cache
// key) comes again, instead of streaming it anew.
class RecordSink
{
public:
    explicit RecordSink(QDataStream& out) : m_out(out) {}
    QDataStream& out() { return m_out; }

    void pen(const QPen& pen) { write(m_pens, pen, const_cast<QPen&>(pen).data_ptr()); }
    void brush(const QBrush& brush) { write(m_brushes, brush, const_cast<QBrush&>(brush).data_ptr().data()); }
    void pixmap(const QPixmap& pixmap) { write(m_pixmaps, pixmap, reinterpret_cast<const void*>(pixmap.cacheKey())); }
    void image(const QImage& image) { write(m_images, image, reinterpret_cast<const void*>(image.cacheKey())); }

private:
    static constexpr int kRecent = 4;

    // The value is kept, so that its data stays alive and unchanged while
    // its key is remembered.
    template <class T>
    struct Entry
    {
        T value;
        const void* key;
        QByteArray bytes;
    };

    template <class T>
    void write(QVector<Entry<T>>& entries, const T& value, const void* key)
    {
        for (const Entry<T>& entry : entries) {
            if (entry.key == key) {
                m_out.writeRawData(entry.bytes.constData(), entry.bytes.size());
                return;
            }
        }
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(m_out.version());
        stream.setByteOrder(m_out.byteOrder());
        stream.setFloatingPointPrecision(m_out.floatingPointPrecision());
        stream << value;
        m_out.writeRawData(bytes.constData(), bytes.size());
        if (entries.size() == kRecent)
            entries.removeFirst();
        entries.append(Entry<T>{value, key, bytes});
    }

    QDataStream& m_out;
    QVector<Entry<QPen>> m_pens;
    QVector<Entry<QBrush>> m_brushes;
    QVector<Entry<QPixmap>> m_pixmaps;
    QVector<Entry<QImage>> m_images;
};

// Gathers the many small writes of a stream and hands them on in blocks.
class BlockWriter : public QIODevice
{
public:
    explicit BlockWriter(QIODevice& target) : m_target(target) { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    bool flushBlock()
    {
        const bool ok = m_pending.isEmpty() || m_target.write(m_pending) == m_pending.size();
        m_pending.clear();
        return ok;
    }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override
    {
        m_pending.append(data, int(size));
        if (m_pending.size() >= kChunkBytes && !flushBlock())
            return -1;
        return size;
    }

private:
    QIODevice& m_target;
    QByteArray m_pending;
};

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

// --- Writing records -----------------------------------------------------------

void writePoint(RecordSink& sink, const VectorPoint& point)
{
    sink.out() << point.geoData() << qint32(point.pointType()) << qint32(point.pointSize());
    sink.pen(point.pointBorderPen());
    sink.brush(point.pointFillBrush());
    sink.out() << point.markerAnchor();
    sink.pixmap(point.markerIcon());
    sink.out() << point.isShapeVisible();
}

void writeLine(RecordSink& sink, const VectorLine& line)
{
    writePoints(sink.out(), line.geoData());
    sink.pen(line.linePen());
    sink.out() << line.isShapeVisible();
}

// Polygons, rectangles and circles: geometry, border pen, fill brush, visible.
template <class AreaShape>
void writeAreaShape(RecordSink& sink, const AreaShape& shape)
{
    sink.pen(shape.borderPen());
    sink.brush(shape.fillBrush());
    sink.out() << shape.isShapeVisible();
}

void writePolygon(RecordSink& sink, const VectorPolygon& polygon)
{
    sink.out() << polygon.geoData();
    writeAreaShape(sink, polygon);
}

void writeRect(RecordSink& sink, const VectorRect& rect)
{
    writePoints(sink.out(), rect.geoData());
    writeAreaShape(sink, rect);
}

void writeCircle(RecordSink& sink, const VectorCircle& circle)
{
    sink.out() << circle.geoData();
    writeAreaShape(sink, circle);
}

void writeShape(RecordSink& sink, const kstVectorShape& shape)
{
    switch (shape.shapeType()) {
    case kstVectorShape::Type_Point: return writePoint(sink, static_cast<const VectorPoint&>(shape));
    case kstVectorShape::Type_Line: return writeLine(sink, static_cast<const VectorLine&>(shape));
    case kstVectorShape::Type_Polygon: return writePolygon(sink, static_cast<const VectorPolygon&>(shape));
    case kstVectorShape::Type_Rect: return writeRect(sink, static_cast<const VectorRect&>(shape));
    case kstVectorShape::Type_Circle: return writeCircle(sink, static_cast<const VectorCircle&>(shape));
    default: return;
    }
}

void writeCollect(RecordSink& sink, const kstVectorCollect& collect)
{
    sink.out() << qint64(collect.m_fid) << collect.m_text << qint32(collect.m_geometryType) << collect.m_fields
               << qint32(collect.m_shapes.size());
    for (const kstVectorShape* shape : collect.m_shapes) {
        sink.out() << qint32(shape->shapeType());
        writeShape(sink, *shape);
    }
}

void writeLayer(RecordSink& sink, const kstVectorLayer& layer)
{
    QDataStream& out = sink.out();
    out << layer.m_name << layer.m_srsWkt << layer.m_fieldNames << layer.m_fieldTypes << qint32(layer.m_pointType)
        << qint32(layer.m_pointSize);
    sink.pen(layer.m_pointBorderPen);
    sink.brush(layer.m_pointFillBrush);
    out << layer.m_markerAnchor;
    sink.image(layer.m_markerIcon);
    sink.pen(layer.m_linePen);
    sink.pen(layer.m_polygonBorderPen);
    // The point fill brush is stored a second time where a polygon fill
    // could be; the polygon fill keeps its default on loading.
    sink.brush(layer.m_pointFillBrush);
    out << layer.m_labelFont << layer.m_labelTextClr << layer.m_labelOutlineClr << layer.m_antiAliasing
        << layer.m_showLabels << qint32(layer.m_charSet) << qint32(layer.m_labelMode) << layer.m_labelField
        << qint32(layer.m_collects.size());
    for (const kstVectorCollect* collect : layer.m_collects)
        writeCollect(sink, *collect);
}

// Writes one record through a sink of its own.
template <class Record, class Write>
QDataStream& writeRecord(QDataStream& out, const Record& record, Write write)
{
    RecordSink sink(out);
    write(sink, record);
    return out;
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

// Polygons and circles are read in place, in the layout their stream
// operators write: rings as counted point blocks, holes after their count.
void readPolygonGeometry(kstRecordReader& r, Polygon__& polygon)
{
    r.points(polygon.outer);
    const quint32 holes = quint32(r.i32());
    for (quint32 i = 0; i < holes && r.ok(); ++i) {
        QPolygonF ring;
        r.points(ring);
        if (r.ok())
            polygon.inner.append(ring);
    }
}

void readPolygon(kstRecordReader& r, VectorPolygon& polygon)
{
    Polygon__ geometry;
    readPolygonGeometry(r, geometry);
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
    geometry.center = r.pointF();
    r.points(geometry.ring);
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
    RecordSource(in, false).read([&](kstRecordReader& r) {
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
bool readCollectRecord(RecordSource& source, kstVectorCollect& collect)
{
    bool retry = false;
    return source.read([&](kstRecordReader& r) {
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
    r.image(layer.m_markerIcon);
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
// map (`last` is the greatest fid so far); a later collect with the same fid
// replaces the earlier one.
void addCollect(QMap<quint64, kstVectorCollect*>& collects, kstVectorCollect* collect, quint64& last)
{
    const quint64 fid = collect->m_fid;
    if (collects.isEmpty() || last < fid) {
        collects.insert(collects.constEnd(), fid, collect);
        last = fid;
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
bool readLayer(RecordSource& source, kstVectorLayer& layer)
{
    qint32 count = 0;
    const bool fields = source.read([&](kstRecordReader& r) { return readLayerFields(r, layer, count); });
    layer.m_collects.clear();
    if (!fields)
        return false;
    quint64 lastFid = 0;
    for (qint32 i = 0; i < count; ++i) {
        kstVectorCollect* collect = kstVectorCollect::newCollect();
        collect->m_layer = &layer;
        if (!readCollectRecord(source, *collect)) {
            kstVectorCollect::destroyCollect(collect);
            break;
        }
        addCollect(layer.m_collects, collect, lastFid);
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

// Opens a layers file and reads its header.
bool openLayersFile(const QString& file, QFile& device, QDataStream& in, Header& header)
{
    device.setFileName(file);
    if (!device.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        qDebug().noquote() << "open layers buf file error:" + device.errorString();
        return false;
    }
    in.setDevice(&device);
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
    return writeRecord(out, point, writePoint);
}

QDataStream& operator>>(QDataStream& in, VectorPoint& point)
{
    return readShapeRecord(in, point);
}

QDataStream& operator<<(QDataStream& out, const VectorLine& line)
{
    return writeRecord(out, line, writeLine);
}

QDataStream& operator>>(QDataStream& in, VectorLine& line)
{
    return readShapeRecord(in, line);
}

QDataStream& operator<<(QDataStream& out, const VectorPolygon& polygon)
{
    return writeRecord(out, polygon, writePolygon);
}

QDataStream& operator>>(QDataStream& in, VectorPolygon& polygon)
{
    return readShapeRecord(in, polygon);
}

QDataStream& operator<<(QDataStream& out, const VectorRect& rect)
{
    return writeRecord(out, rect, writeRect);
}

QDataStream& operator>>(QDataStream& in, VectorRect& rect)
{
    return readShapeRecord(in, rect);
}

QDataStream& operator<<(QDataStream& out, const VectorCircle& circle)
{
    return writeRecord(out, circle, writeCircle);
}

QDataStream& operator>>(QDataStream& in, VectorCircle& circle)
{
    return readShapeRecord(in, circle);
}

// --- Collects and layers -------------------------------------------------

QDataStream& operator<<(QDataStream& out, const kstVectorCollect& collect)
{
    return writeRecord(out, collect, writeCollect);
}

QDataStream& operator>>(QDataStream& in, kstVectorCollect& collect)
{
    RecordSource source(in, false);
    readCollectRecord(source, collect);
    return in;
}

QDataStream& operator<<(QDataStream& out, const kstVectorLayer& layer)
{
    return writeRecord(out, layer, writeLayer);
}

QDataStream& operator>>(QDataStream& in, kstVectorLayer& layer)
{
    RecordSource source(in, false);
    readLayer(source, layer);
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

    BlockWriter blocks(device);
    QDataStream out(&blocks);
    prepare(out);
    out << quint64(magicNum_) << qint32(layers.size()) << collects << lt << rb;
    RecordSink sink(out);
    for (const kstVectorLayer* layer : layers)
        writeLayer(sink, *layer);
    if (out.status() != QDataStream::Ok || !blocks.flushBlock() || !device.commit()) {
        qDebug().noquote() << "write layers buf file error:" + device.errorString();
        return false;
    }
    return true;
}

bool kstVectorLayer::loadLayers(QList<kstVectorLayer*>& layers, const QString& file)
{
    QFile device;
    QDataStream in;
    Header header;
    if (!openLayersFile(file, device, in, header))
        return false;
    layers.clear();
    // Layers and collects before a damaged record are kept.
    RecordSource source(in, true);
    for (qint32 i = 0; i < header.layerCount && in.status() == QDataStream::Ok; ++i) {
        kstVectorLayer* layer = newLayer();
        if (!readLayer(source, *layer)) {
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
    QFile device;
    QDataStream in;
    Header header;
    if (!openLayersFile(file, device, in, header))
        return false;
    lt = header.lt;
    rb = header.rb;
    return true;
}

} // namespace Kestrum
