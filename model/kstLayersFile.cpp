#include "kstLayersFile.h"

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstStreamCheck.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QSaveFile>

namespace Kestrum {

namespace {

// Smallest possible records, used to bound counts before allocating.
constexpr qint64 kMinStringBytes = 4;
constexpr qint64 kMinLayerBytes = 200;
constexpr qint64 kMinCollectBytes = 8 + 4 + 4 + 4 + 4;
constexpr qint64 kMinShapeBytes = 4 + 1; // kind code and the visible flag
constexpr qint64 kPointBytes = 16;

void prepare(QDataStream& stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
}

// Reads a Qt value only after the bytes ahead proved to hold a sound one.
template <class T>
void readChecked(QDataStream& in, T& value, kstStreamCheck::Kind kind)
{
    if (kstStreamCheck::ahead(in, kind))
        in >> value;
}

bool readCount(QDataStream& in, qint32& n, qint64 minElementBytes)
{
    in >> n;
    return kstStreamCheck::fits(in, n, minElementBytes);
}

void readStrings(QDataStream& in, QList<QString>& list)
{
    list.clear();
    qint32 n = 0;
    if (!readCount(in, n, kMinStringBytes))
        return;
    for (qint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
        QString s;
        in >> s;
        list.append(s);
    }
}

void readInts(QDataStream& in, QList<int>& list)
{
    list.clear();
    qint32 n = 0;
    if (!readCount(in, n, 4))
        return;
    for (qint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
        qint32 v = 0;
        in >> v;
        list.append(v);
    }
}

void readPoints(QDataStream& in, QVector<QPointF>& points)
{
    points.clear();
    qint32 n = 0;
    if (!readCount(in, n, kPointBytes))
        return;
    points.reserve(n);
    for (qint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
        QPointF p;
        in >> p;
        points.append(p);
    }
}

// Every shape record ends with the visible flag; then the extent follows the
// geometry that was read.
void finishShape(QDataStream& in, kstVectorShape& shape)
{
    bool visible = true;
    in >> visible;
    shape.setShapeVisible(visible);
    shape.updateExtent();
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

QDataStream& readShape(QDataStream& in, kstVectorShape& shape)
{
    switch (shape.shapeType()) {
    case kstVectorShape::Type_Point: return in >> static_cast<VectorPoint&>(shape);
    case kstVectorShape::Type_Line: return in >> static_cast<VectorLine&>(shape);
    case kstVectorShape::Type_Polygon: return in >> static_cast<VectorPolygon&>(shape);
    case kstVectorShape::Type_Rect: return in >> static_cast<VectorRect&>(shape);
    case kstVectorShape::Type_Circle: return in >> static_cast<VectorCircle&>(shape);
    default: return in;
    }
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

// Opens a layers file, reads `bytes` of it (all with -1) into memory, so that
// every check of the reader is bounded by the file's own size, and checks
// the magic number.
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
    QPointF geo;
    qint32 type = 0, size = 0;
    QPen pen;
    QBrush brush;
    QPoint anchor;
    QPixmap icon;
    in >> geo >> type >> size;
    readChecked(in, pen, kstStreamCheck::Pen);
    readChecked(in, brush, kstStreamCheck::Brush);
    in >> anchor;
    readChecked(in, icon, kstStreamCheck::Pixmap);
    point.setGeoData(geo);
    point.setPointType(type);
    point.setPointStyleDirect(size, pen, brush);
    point.setMarkerStyleDirect(type, icon, anchor);
    finishShape(in, point);
    return in;
}

QDataStream& operator<<(QDataStream& out, const VectorLine& line)
{
    return out << line.geoData() << line.linePen() << line.isShapeVisible();
}

QDataStream& operator>>(QDataStream& in, VectorLine& line)
{
    QVector<QPointF> points;
    QPen pen;
    readPoints(in, points);
    readChecked(in, pen, kstStreamCheck::Pen);
    line.setGeoData(points);
    line.setStyleDirect(pen);
    finishShape(in, line);
    return in;
}

// Polygons, rectangles and circles: geometry, border pen, fill brush, visible.
template <class AreaShape>
QDataStream& writeAreaShape(QDataStream& out, const AreaShape& shape)
{
    return out << shape.geoData() << shape.borderPen() << shape.fillBrush() << shape.isShapeVisible();
}

template <class AreaShape, class Geometry>
QDataStream& readAreaShape(QDataStream& in, AreaShape& shape, const Geometry& geometry)
{
    QPen pen;
    QBrush brush;
    readChecked(in, pen, kstStreamCheck::Pen);
    readChecked(in, brush, kstStreamCheck::Brush);
    shape.setGeoData(geometry);
    shape.setStyleDirect(pen, brush);
    finishShape(in, shape);
    return in;
}

QDataStream& operator<<(QDataStream& out, const VectorPolygon& polygon)
{
    return writeAreaShape(out, polygon);
}

QDataStream& operator>>(QDataStream& in, VectorPolygon& polygon)
{
    Polygon__ geometry;
    in >> geometry;
    return readAreaShape(in, polygon, geometry);
}

QDataStream& operator<<(QDataStream& out, const VectorRect& rect)
{
    return writeAreaShape(out, rect);
}

QDataStream& operator>>(QDataStream& in, VectorRect& rect)
{
    QVector<QPointF> corners;
    readPoints(in, corners);
    return readAreaShape(in, rect, QPolygonF(corners));
}

QDataStream& operator<<(QDataStream& out, const VectorCircle& circle)
{
    return writeAreaShape(out, circle);
}

QDataStream& operator>>(QDataStream& in, VectorCircle& circle)
{
    Circle__ geometry;
    in >> geometry;
    return readAreaShape(in, circle, geometry);
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
    qint64 fid = 0;
    qint32 type = 0, count = 0;
    in >> fid >> collect.m_text >> type;
    collect.m_fid = quint64(fid);
    collect.m_geometryType = type;
    collect.m_fields.clear();
    readChecked(in, collect.m_fields, kstStreamCheck::VariantMap);
    collect.m_shapes.clear();
    if (!readCount(in, count, kMinShapeBytes))
        return in;
    for (qint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        qint32 kind = -1;
        in >> kind;
        kstVectorShape* shape = newShapeOfKind(kind);
        if (!shape)
            continue; // unknown kinds carry no data the reader could skip
        shape->setShapeCollect(&collect, i);
        readShape(in, *shape);
        collect.m_shapes.append(shape);
    }
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
    qint32 pointType = 0, pointSize = 0, charSet = 0, labelMode = 0, count = 0;
    in >> layer.m_name >> layer.m_srsWkt;
    readStrings(in, layer.m_fieldNames);
    readInts(in, layer.m_fieldTypes);
    in >> pointType >> pointSize;
    readChecked(in, layer.m_pointBorderPen, kstStreamCheck::Pen);
    readChecked(in, layer.m_pointFillBrush, kstStreamCheck::Brush);
    in >> layer.m_markerAnchor;
    readChecked(in, layer.m_markerIcon, kstStreamCheck::Pixmap);
    readChecked(in, layer.m_linePen, kstStreamCheck::Pen);
    readChecked(in, layer.m_polygonBorderPen, kstStreamCheck::Pen);
    readChecked(in, layer.m_pointFillBrush, kstStreamCheck::Brush);
    readChecked(in, layer.m_labelFont, kstStreamCheck::Font);
    in >> layer.m_labelTextClr >> layer.m_labelOutlineClr >> layer.m_antiAliasing
       >> layer.m_showLabels >> charSet >> labelMode >> layer.m_labelField;
    layer.m_pointType = pointType;
    layer.m_pointSize = pointSize;
    layer.m_charSet = charSet;
    layer.m_labelMode = labelMode;
    layer.m_collects.clear();
    if (!readCount(in, count, kMinCollectBytes))
        return in;
    for (qint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        kstVectorCollect* collect = kstVectorCollect::newCollect();
        collect->m_layer = &layer;
        in >> *collect;
        // A later collect with the same fid replaces the earlier one.
        kstVectorCollect::destroyCollect(layer.m_collects.take(collect->m_fid));
        layer.m_collects.insert(collect->m_fid, collect);
    }
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
    if (!kstStreamCheck::fits(in, header.layerCount, kMinLayerBytes))
        return true;
    for (qint32 i = 0; i < header.layerCount && in.status() == QDataStream::Ok; ++i) {
        kstVectorLayer* layer = newLayer();
        in >> *layer;
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
