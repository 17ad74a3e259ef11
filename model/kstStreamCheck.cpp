#include "kstStreamCheck.h"

#include "kstGeographicalCoordinatesPoint.h"

#include <QDataStream>
#include <QMetaType>
#include <QtEndian>
#include <QPalette>

#include <algorithm>
#include <cstring>

namespace Kestrum {

namespace {

// Fixed parts of the Qt 5.15 stream formats, in doubles or bytes.
constexpr qint64 kTransformDoubles = 9;
constexpr qint64 kColorBytes = 11;
constexpr qint64 kLinearGradientDoubles = 4;  // start and final points
constexpr qint64 kRadialGradientDoubles = 5;  // centre, focal point, radius
constexpr qint64 kConicalGradientDoubles = 3; // centre and angle
constexpr qint64 kVariantHeaderBytes = 4 + 1; // type and null flag
constexpr quint32 kNullLength = 0xFFFFFFFFu;
constexpr quint32 kUserType = 1024;           // QMetaType::User as streamed
constexpr int kBitmapCursor = 24;             // Qt::BitmapCursor
constexpr qint32 kRegionRects = 10;           // a region streamed as its rectangles
// Deflate cannot expand data by more than about 1032 to 1, which bounds the
// pixels a PNG of a given length can honestly describe.
constexpr qint64 kMaxDeflateRatio = 1032;
constexpr qint64 kPngSlack = 4096;
// Nesting of lists and maps inside attribute values, and of CBOR items.
constexpr int kMaxVariantDepth = 16;
constexpr int kMaxCborDepth = 64;
// Regions are rebuilt rectangle by rectangle, each merge costing up to the
// size of what is there already.
constexpr quint32 kMaxRegionRects = 4096;

constexpr char kPngSignature[] = "\x89PNG\r\n\x1a\n";
constexpr char kPixmapIconEngine[] = "QPixmapIconEngine";
constexpr char kOffsetTimeZone[] = "OffsetFromUtc";

quint32 bigEndian32(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return quint32(u[0]) << 24 | quint32(u[1]) << 16 | quint32(u[2]) << 8 | quint32(u[3]);
}

// The geographic point of the core library is the streamable user type that
// attribute values hold; its record has a fixed size, whatever its layout.
bool isPointTypeName(const char* name, quint32 bytes)
{
    const char* registered = QMetaType::typeName(qMetaTypeId<kstGeographicalCoordinatesPoint>());
    return registered && bytes == std::strlen(registered) + 1 && std::memcmp(name, registered, bytes) == 0;
}

qint64 pointRecordBytes(int doubleBytes)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setFloatingPointPrecision(doubleBytes == 8 ? QDataStream::DoublePrecision : QDataStream::SinglePrecision);
    out << kstGeographicalCoordinatesPoint();
    return bytes.size();
}

} // namespace

qint64 kstStreamCheck::measure(Kind kind)
{
    m_p = m_begin;
    m_short = false;
    m_easingCurve = false;
    return value(kind) ? m_p - m_begin : -1;
}

bool kstStreamCheck::value(Kind kind)
{
    switch (kind) {
    case Pen: return pen();
    case Brush: return brush();
    case Pixmap: return image();
    case Font: return font();
    case Variant: return variant(0);
    }
    return false;
}

// --- Primitives ------------------------------------------------------------

bool kstStreamCheck::skip(qint64 n)
{
    if (n < 0)
        return false;
    if (n > left()) {
        m_short = true;
        return false;
    }
    m_p += n;
    return true;
}

quint32 kstStreamCheck::load32(const char* p) const
{
    const quint32 big = bigEndian32(p);
    return m_bigEndian ? big : qbswap(big);
}

bool kstStreamCheck::u8(quint8& v)
{
    if (!skip(1))
        return false;
    v = quint8(m_p[-1]);
    return true;
}

bool kstStreamCheck::u16(quint16& v)
{
    if (!skip(2))
        return false;
    const auto* u = reinterpret_cast<const unsigned char*>(m_p - 2);
    v = m_bigEndian ? quint16(u[0] << 8 | u[1]) : quint16(u[1] << 8 | u[0]);
    return true;
}

bool kstStreamCheck::u32(quint32& v)
{
    if (!skip(4))
        return false;
    v = load32(m_p - 4);
    return true;
}

bool kstStreamCheck::count(quint32& n, qint64 minElementSize)
{
    if (!u32(n))
        return false;
    if (qint64(n) * minElementSize > left()) {
        m_short = true;
        return false;
    }
    return true;
}

bool kstStreamCheck::bytes()
{
    quint32 n = 0;
    return u32(n) && (n == kNullLength || skip(n));
}

bool kstStreamCheck::string()
{
    quint32 n = 0;
    if (!u32(n))
        return false;
    return n == kNullLength || (n % 2 == 0 && skip(n));
}

bool kstStreamCheck::stringList()
{
    quint32 n = 0;
    if (!count(n, 4))
        return false;
    for (quint32 i = 0; i < n; ++i)
        if (!string())
            return false;
    return true;
}

bool kstStreamCheck::bytesList()
{
    quint32 n = 0;
    if (!count(n, 4))
        return false;
    for (quint32 i = 0; i < n; ++i)
        if (!bytes())
            return false;
    return true;
}

bool kstStreamCheck::bitArray()
{
    quint32 bits = 0;
    return u32(bits) && skip((qint64(bits) + 7) / 8);
}

// --- Pens, brushes, pictures, fonts ------------------------------------------

// QPen: style and flags (quint16), cosmetic (bool), width, brush, miter
// limit, dash count and dashes, dash offset, default-width flag (bool).
bool kstStreamCheck::pen()
{
    quint32 dashes = 0;
    return skip(2 + 1) && doubles(1) && brush() && doubles(1) && count(dashes, m_double) && doubles(dashes)
        && doubles(1) && skip(1);
}

// QBrush: style (quint8), colour, then a texture image or a gradient by
// style, then the brush transform.
bool kstStreamCheck::brush()
{
    quint8 style = 0;
    if (!u8(style) || !color())
        return false;
    if (style == Qt::TexturePattern) {
        if (!image())
            return false;
    } else if (style == Qt::LinearGradientPattern || style == Qt::RadialGradientPattern
               || style == Qt::ConicalGradientPattern) {
        quint32 type = 0, stops = 0;
        // type, spread, coordinate mode, interpolation mode, stops
        if (!u32(type) || !skip(3 * 4) || !count(stops, m_double + kColorBytes)
            || !skip(qint64(stops) * (m_double + kColorBytes)))
            return false;
        const qint64 geometry = type == 0 ? kLinearGradientDoubles : type == 1 ? kRadialGradientDoubles
                              : type == 2 ? kConicalGradientDoubles : -1;
        if (geometry < 0 || !doubles(geometry))
            return false;
    }
    return doubles(kTransformDoubles);
}

// QImage, QPixmap and QBitmap: a null marker (qint32), then for a non-null
// picture a PNG file. The PNG is walked chunk by chunk to its end, and its
// declared size must be one that its compressed data can describe.
bool kstStreamCheck::image()
{
    quint32 marker = 0;
    if (!u32(marker))
        return false;
    if (marker == 0)
        return true;
    const char* start = m_p;
    if (!skip(8))
        return false;
    if (std::memcmp(start, kPngSignature, 8) != 0)
        return false;
    quint64 pixels = 0;
    for (bool first = true;; first = false) {
        if (left() < 8) {
            m_short = true;
            return false;
        }
        const quint32 length = bigEndian32(m_p); // PNG is big-endian whatever the stream
        const char* type = m_p + 4;
        m_p += 8;
        if (first) {
            if (std::memcmp(type, "IHDR", 4) != 0 || length < 8)
                return false;
            if (left() < 8) {
                m_short = true;
                return false;
            }
            pixels = quint64(bigEndian32(m_p)) * bigEndian32(m_p + 4);
            if (pixels == 0)
                return false;
        }
        if (!skip(qint64(length) + 4)) // data and CRC
            return false;
        if (std::memcmp(type, "IEND", 4) == 0)
            break;
    }
    const qint64 pngBytes = m_p - start;
    return pixels * 4 <= quint64(pngBytes) * kMaxDeflateRatio + kPngSlack;
}

// QFont: family and style name, then fixed fields (point size, pixel size,
// style hint, strategy, weight, flags, stretch, extended flags, letter and
// word spacing, hinting, capitalisation), then the list of families.
bool kstStreamCheck::font()
{
    constexpr qint64 kFixedFontBytes = 4 + 1 + 2 + 1 + 1 + 1 + 2 + 1 + 4 + 4 + 1 + 1;
    return string() && string() && doubles(1) && skip(kFixedFontBytes) && stringList();
}

// --- Variants ----------------------------------------------------------------

// QVariant: type (quint32), null flag (qint8), value.
bool kstStreamCheck::variant(int depth)
{
    quint32 type = 0;
    quint8 isNull = 0;
    if (depth > kMaxVariantDepth || !u32(type) || !u8(isNull))
        return false;
    if (type == kUserType)
        return userType(depth);
    return builtIn(type, depth);
}

bool kstStreamCheck::builtIn(quint32 type, int depth)
{
    switch (type) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr: return true;
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::QCborSimpleType: return skip(1);
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::QChar: return skip(2);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::QTime: return skip(4);
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::QDate:
    case QMetaType::QPoint:
    case QMetaType::QSize: return skip(8);
    case QMetaType::QRect:
    case QMetaType::QLine:
    case QMetaType::QUuid: return skip(16);
    case QMetaType::Double:
    case QMetaType::Float: return doubles(1); // floats follow the stream's precision
    case QMetaType::QPointF:
    case QMetaType::QSizeF: return doubles(2);
    case QMetaType::QRectF:
    case QMetaType::QLineF: return doubles(4);
    case QMetaType::QDateTime: return dateTime();
    case QMetaType::QString:
    case QMetaType::QLocale: return string();
    case QMetaType::QByteArray:
    case QMetaType::QUrl:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
    case QMetaType::QJsonDocument: return bytes();
    case QMetaType::QCborValue:
    case QMetaType::QCborArray:
    case QMetaType::QCborMap: return cbor();
    case QMetaType::QStringList: return stringList();
    case QMetaType::QByteArrayList: return bytesList();
    case QMetaType::QBitArray: return bitArray();
    case QMetaType::QRegExp: return string() && skip(3); // case, syntax, minimal
    case QMetaType::QRegularExpression: return string() && skip(4); // options
    case QMetaType::QEasingCurve: return easingCurve();
    case QMetaType::QJsonValue: return jsonValue();
    case QMetaType::QVariant: return variant(depth + 1);
    case QMetaType::QVariantList: return variantList(depth);
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: return variantMap(depth, -1);
    default: return guiType(type, depth);
    }
}

bool kstStreamCheck::guiType(quint32 type, int depth)
{
    quint32 n = 0;
    switch (type) {
    case QMetaType::QFont: return font();
    case QMetaType::QPixmap:
    case QMetaType::QImage:
    case QMetaType::QBitmap: return image();
    case QMetaType::QBrush: return brush();
    case QMetaType::QColor: return color();
    case QMetaType::QPalette:
        for (int i = 0; i < QPalette::NColorGroups * QPalette::NColorRoles; ++i)
            if (!brush())
                return false;
        return true;
    case QMetaType::QIcon: return icon();
    case QMetaType::QPolygon: return count(n, 8) && skip(qint64(n) * 8);
    case QMetaType::QPolygonF: return count(n, 2 * m_double) && doubles(2 * qint64(n));
    case QMetaType::QRegion: return region();
    case QMetaType::QCursor: return cursor();
    case QMetaType::QKeySequence: return keySequence();
    case QMetaType::QPen: return pen();
    case QMetaType::QTextLength: return skip(4) && doubles(1);
    case QMetaType::QTextFormat: return textFormat(depth);
    case QMetaType::QMatrix: return doubles(6);
    case QMetaType::QTransform: return doubles(9);
    case QMetaType::QMatrix4x4: return doubles(16);
    case QMetaType::QVector2D: return doubles(2);
    case QMetaType::QVector3D: return doubles(3);
    case QMetaType::QVector4D:
    case QMetaType::QQuaternion: return doubles(4);
    case QMetaType::QColorSpace: return bytes(); // the ICC profile
    case QMetaType::QSizePolicy: return skip(4);
    default: return false; // pointers, model indexes and unknown ids carry nothing readable
    }
}

// User types are streamed with their type name (with its terminating zero);
// the only one known here is the geographic point.
bool kstStreamCheck::userType(int)
{
    quint32 n = 0;
    if (!u32(n))
        return false;
    const char* name = m_p;
    return skip(n) && isPointTypeName(name, n) && skip(pointRecordBytes(m_double));
}

bool kstStreamCheck::variantList(int depth)
{
    quint32 n = 0;
    if (!count(n, kVariantHeaderBytes))
        return false;
    for (quint32 i = 0; i < n; ++i)
        if (!variant(depth + 1))
            return false;
    return true;
}

// Maps and hashes: count, then key and value pairs; keys are strings, or
// fixed-size numbers of keyBytes.
bool kstStreamCheck::variantMap(int depth, qint64 keyBytes)
{
    quint32 n = 0;
    if (!count(n, (keyBytes < 0 ? 4 : keyBytes) + kVariantHeaderBytes))
        return false;
    for (quint32 i = 0; i < n; ++i) {
        if (!(keyBytes < 0 ? string() : skip(keyBytes)) || !variant(depth + 1))
            return false;
    }
    return true;
}

// QDateTime: date (qint64), time (quint32), time spec (qint8), then the
// offset from UTC or the time zone for those two specs. A time zone is its
// id, or for a fixed offset a marker id followed by the zone's fields.
bool kstStreamCheck::dateTime()
{
    quint8 spec = 0;
    if (!skip(8 + 4) || !u8(spec))
        return false;
    if (spec == Qt::OffsetFromUTC)
        return skip(4);
    if (spec != Qt::TimeZone)
        return spec < Qt::TimeZone;
    const char* id = m_p;
    if (!string())
        return false;
    const qint64 idBytes = m_p - id - 4;
    bool offsetZone = idBytes == 2 * qint64(sizeof(kOffsetTimeZone) - 1);
    for (qint64 i = 0; offsetZone && i < idBytes / 2; ++i) {
        const auto* u = reinterpret_cast<const unsigned char*>(id + 4 + 2 * i);
        const int unit = m_bigEndian ? u[0] << 8 | u[1] : u[1] << 8 | u[0];
        offsetZone = unit == kOffsetTimeZone[i];
    }
    // IANA id, offset, name, abbreviation, country, comment
    return !offsetZone || (string() && skip(4) && string() && string() && skip(4) && string());
}

// QEasingCurve: type (quint8), function (quint64), configuration flag, then
// period, amplitude and overshoot, the Bézier points and the TCB points.
bool kstStreamCheck::easingCurve()
{
    quint8 hasConfig = 0;
    quint32 n = 0;
    m_easingCurve = true;
    if (!skip(1 + 8) || !u8(hasConfig))
        return false;
    if (!hasConfig)
        return true;
    return doubles(3) && count(n, 2 * m_double) && doubles(2 * qint64(n)) && count(n, 5 * m_double)
        && doubles(5 * qint64(n));
}

// QJsonValue: type (quint8), then the value; arrays and objects as JSON text.
bool kstStreamCheck::jsonValue()
{
    quint8 type = 0;
    if (!u8(type))
        return false;
    switch (type) {
    case 0x00: // null
    case 0x80: return true; // undefined
    case 0x01: return skip(1);
    case 0x02: return doubles(1);
    case 0x03: return string();
    case 0x04:
    case 0x05: return bytes();
    default: return false;
    }
}

// CBOR values travel as a byte array of CBOR; every length inside is checked
// against the bytes that hold it.
bool kstStreamCheck::cbor()
{
    quint32 n = 0;
    if (!u32(n))
        return false;
    if (n == kNullLength || n == 0)
        return true;
    const char* start = m_p;
    if (!skip(n))
        return false;
    const char* p = start;
    return cborItem(p, m_p, 0);
}

bool kstStreamCheck::cborItem(const char*& p, const char* end, int depth) const
{
    if (depth > kMaxCborDepth || p >= end)
        return false;
    const quint8 initial = quint8(*p++);
    const int major = initial >> 5;
    const int info = initial & 31;
    quint64 arg = quint64(info);
    if (info >= 24 && info <= 27) {
        const int size = 1 << (info - 24);
        if (end - p < size)
            return false;
        arg = 0;
        for (int i = 0; i < size; ++i)
            arg = arg << 8 | quint8(p[i]);
        p += size;
    } else if (info >= 28 && (info != 31 || major < 2 || major == 6 || major == 7)) {
        return false; // reserved, or an indefinite length where none may be
    }
    const bool indefinite = info == 31;
    const quint64 room = quint64(end - p);
    switch (major) {
    case 0:
    case 1:
    case 7: return true;
    case 2:
    case 3:
        if (!indefinite) {
            if (arg > room)
                return false;
            p += arg;
            return true;
        }
        while (p < end && quint8(*p) != 0xFF) {
            if ((quint8(*p) >> 5) != major || (quint8(*p) & 31) == 31 || !cborItem(p, end, depth + 1))
                return false;
        }
        return p++ < end;
    case 4:
    case 5: {
        const int perEntry = major == 5 ? 2 : 1;
        if (indefinite) {
            while (p < end && quint8(*p) != 0xFF)
                for (int k = 0; k < perEntry; ++k)
                    if (!cborItem(p, end, depth + 1))
                        return false;
            return p++ < end;
        }
        if (arg > room / quint64(perEntry))
            return false;
        for (quint64 i = 0; i < arg * perEntry; ++i)
            if (!cborItem(p, end, depth + 1))
                return false;
        return true;
    }
    case 6: return cborItem(p, end, depth + 1); // a tag and its item
    }
    return false;
}

// QIcon: the engine's key, then its data. Only icons made of pictures are
// read; other engines and entries name files or themes to be looked up.
bool kstStreamCheck::icon()
{
    quint32 keyBytes = 0;
    const char* key = m_p + 4;
    if (!string())
        return false;
    keyBytes = load32(key - 4);
    if (keyBytes == kNullLength || keyBytes == 0)
        return true;
    const qint64 engineBytes = 2 * qint64(sizeof(kPixmapIconEngine) - 1);
    if (keyBytes != engineBytes)
        return false;
    for (qint64 i = 0; i < engineBytes / 2; ++i) {
        const auto* u = reinterpret_cast<const unsigned char*>(key + 2 * i);
        if ((m_bigEndian ? u[0] << 8 | u[1] : u[1] << 8 | u[0]) != kPixmapIconEngine[i])
            return false;
    }
    quint32 entries = 0;
    if (!count(entries, 4 + 4 + 8 + 4 + 4))
        return false;
    for (quint32 i = 0; i < entries; ++i) {
        const bool nullPixmap = left() >= 4 && load32(m_p) == 0;
        quint32 nameBytes = 0;
        if (!image() || !u32(nameBytes) || (nameBytes != kNullLength && (nameBytes % 2 != 0 || !skip(nameBytes))))
            return false;
        if (nullPixmap && nameBytes != kNullLength && nameBytes != 0)
            return false; // an entry to be loaded from a file
        if (!skip(8 + 4 + 4)) // size, mode, state
            return false;
    }
    return true;
}

// QCursor: shape (qint16); a bitmap cursor adds a pixmap flag, the pixmap or
// the bitmap and its mask, and the hot spot.
bool kstStreamCheck::cursor()
{
    quint16 shape = 0;
    quint8 isPixmap = 0;
    if (!u16(shape))
        return false;
    if (shape != kBitmapCursor)
        return true;
    return u8(isPixmap) && image() && (isPixmap || image()) && skip(8);
}

// QRegion: a byte array that holds the rectangles (id, count, rectangles).
bool kstStreamCheck::region()
{
    quint32 n = 0;
    if (!u32(n))
        return false;
    if (n == kNullLength || n == 0)
        return true;
    if (n < 8 || left() < 8) {
        m_short = left() < 8;
        return false;
    }
    const qint32 id = qint32(load32(m_p));
    const quint32 rects = load32(m_p + 4);
    return id == kRegionRects && rects <= kMaxRegionRects && qint64(n) == 8 + 16 * qint64(rects) && skip(n);
}

// QTextFormat: type (qint32), then its properties as a map from qint32.
bool kstStreamCheck::textFormat(int depth)
{
    return skip(4) && variantMap(depth, 4);
}

// QKeySequence: count, then up to four keys.
bool kstStreamCheck::keySequence()
{
    quint32 n = 0;
    return u32(n) && skip(4 * qint64(std::min<quint32>(n, 4)));
}

} // namespace Kestrum
