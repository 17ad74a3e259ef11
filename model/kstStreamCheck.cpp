#include "kstStreamCheck.h"

#include <QBuffer>
#include <QDataStream>
#include <QMetaType>

#include <cstring>

namespace Kestrum {

namespace {

// Fixed parts of the Qt 5.15 stream formats that are skipped whole.
constexpr qint64 kTransformBytes = 9 * 8;       // QTransform: nine doubles
constexpr qint64 kGradientStopBytes = 8 + 11;   // position and QColor
constexpr qint64 kLinearGradientBytes = 32;     // start and final points
constexpr qint64 kRadialGradientBytes = 40;     // centre, focal point, radius
constexpr qint64 kConicalGradientBytes = 24;    // centre and angle
// Deflate cannot expand data by more than about 1032 to 1, which bounds the
// pixels a PNG of a given length can honestly describe.
constexpr qint64 kMaxDeflateRatio = 1032;
constexpr qint64 kPngSlack = 4096;
// Nesting of lists and maps inside attribute values.
constexpr int kMaxVariantDepth = 16;

constexpr char kPngSignature[] = "\x89PNG\r\n\x1a\n";

quint32 bigEndian32(const char* p)
{
    const auto* u = reinterpret_cast<const unsigned char*>(p);
    return quint32(u[0]) << 24 | quint32(u[1]) << 16 | quint32(u[2]) << 8 | quint32(u[3]);
}

} // namespace

bool kstStreamCheck::ahead(QDataStream& in, Kind kind)
{
    if (in.status() != QDataStream::Ok)
        return false;
    QIODevice* device = in.device();
    bool valid = false;
    if (auto* buffer = qobject_cast<QBuffer*>(device)) {
        const QByteArray& data = buffer->data();
        const qint64 pos = buffer->pos();
        kstStreamCheck check(data.constData() + pos, data.size() - pos);
        valid = check.value(kind);
    } else if (device) {
        // Other devices are looked at through a copy of what remains, which
        // is bounded by the data itself.
        const QByteArray rest = device->peek(device->bytesAvailable());
        kstStreamCheck check(rest.constData(), rest.size());
        valid = check.value(kind);
    }
    if (!valid)
        in.setStatus(QDataStream::ReadCorruptData);
    return valid;
}

bool kstStreamCheck::value(Kind kind)
{
    switch (kind) {
    case Pen: return pen();
    case Brush: return brush();
    case Pixmap: return image();
    case Font: return font();
    case VariantMap: return variantMap();
    }
    return false;
}

bool kstStreamCheck::fits(QDataStream& in, qint64 n, qint64 minElementSize)
{
    const bool valid = in.status() == QDataStream::Ok && n >= 0 && in.device()
                    && n * minElementSize <= in.device()->bytesAvailable();
    if (!valid && in.status() == QDataStream::Ok)
        in.setStatus(QDataStream::ReadCorruptData);
    return valid;
}

bool kstStreamCheck::skip(qint64 n)
{
    if (n < 0 || n > left())
        return false;
    m_p += n;
    return true;
}

bool kstStreamCheck::u8(quint8& v)
{
    if (left() < 1)
        return false;
    v = quint8(*m_p++);
    return true;
}

bool kstStreamCheck::u32(quint32& v)
{
    if (left() < 4)
        return false;
    v = bigEndian32(m_p);
    m_p += 4;
    return true;
}

bool kstStreamCheck::count(quint32& n, qint64 minElementSize)
{
    return u32(n) && qint64(n) * minElementSize <= left();
}

bool kstStreamCheck::bytes()
{
    quint32 n = 0;
    if (!u32(n))
        return false;
    return n == 0xFFFFFFFFu || skip(n);
}

// QDateTime: date (qint64), time (quint32), time spec (qint8), then the
// offset from UTC or the time zone's id for those two specs.
bool kstStreamCheck::dateTime()
{
    quint8 spec = 0;
    if (!skip(8 + 4) || !u8(spec))
        return false;
    if (spec == Qt::OffsetFromUTC)
        return skip(4);
    if (spec == Qt::TimeZone)
        return bytes();
    return spec <= Qt::TimeZone;
}

bool kstStreamCheck::string()
{
    quint32 bytes = 0;
    if (!u32(bytes))
        return false;
    return bytes == 0xFFFFFFFFu || (bytes % 2 == 0 && skip(bytes));
}

// QPen: style and flags (quint16), cosmetic (bool), width (double), brush,
// miter limit (double), dash count and dashes (doubles), dash offset
// (double), default-width flag (bool).
bool kstStreamCheck::pen()
{
    quint32 dashes = 0;
    return skip(2 + 1 + 8) && brush() && skip(8) && count(dashes, 8) && skip(qint64(dashes) * 8) && skip(8 + 1);
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
        // type, spread, coordinate mode, interpolation mode
        if (!u32(type) || !skip(3 * 4) || !count(stops, kGradientStopBytes)
            || !skip(qint64(stops) * kGradientStopBytes))
            return false;
        const qint64 geometry = type == 0 ? kLinearGradientBytes : type == 1 ? kRadialGradientBytes
                              : type == 2 ? kConicalGradientBytes : -1;
        if (!skip(geometry))
            return false;
    }
    return skip(kTransformBytes);
}

// QImage and QPixmap: a null marker (qint32), then for a non-null picture a
// PNG file. The PNG is walked chunk by chunk to its end, and its declared
// size must be one that its compressed data can describe.
bool kstStreamCheck::image()
{
    quint32 marker = 0;
    if (!u32(marker))
        return false;
    if (marker == 0)
        return true;
    const char* start = m_p;
    if (left() < 8 || std::memcmp(m_p, kPngSignature, 8) != 0)
        return false;
    m_p += 8;
    quint64 pixels = 0;
    for (bool first = true;; first = false) {
        quint32 length = 0;
        if (!u32(length) || left() < 4)
            return false;
        const char* type = m_p;
        m_p += 4;
        if (first) {
            if (std::memcmp(type, "IHDR", 4) != 0 || length < 8 || left() < 8)
                return false;
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

// QFont: family and style name, then fixed fields (point size, pixel size,
// style hint, strategy, weight, flags, stretch, extended flags, letter and
// word spacing, hinting, capitalisation), then the list of families.
bool kstStreamCheck::font()
{
    constexpr qint64 kFixedFontBytes = 8 + 4 + 1 + 2 + 1 + 1 + 1 + 2 + 1 + 4 + 4 + 1 + 1;
    return string() && string() && skip(kFixedFontBytes) && stringList();
}

// QMap<QString, QVariant>: count, then key and value pairs.
bool kstStreamCheck::variantMap()
{
    quint32 n = 0;
    if (!count(n, 4 + 5))
        return false;
    for (quint32 i = 0; i < n; ++i) {
        if (!string() || !variant(0))
            return false;
    }
    return true;
}

// QVariant: type (quint32), null flag (qint8), value. Only the value types
// that attribute values take are accepted.
bool kstStreamCheck::variant(int depth)
{
    quint32 type = 0;
    quint8 isNull = 0;
    if (depth > kMaxVariantDepth || !u32(type) || !u8(isNull))
        return false;
    switch (type) {
    case QMetaType::UnknownType: return true; // an invalid QVariant carries nothing more
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar: return skip(1);
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::QChar: return skip(2);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::QTime: return skip(4);
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float: // streamed at double precision
    case QMetaType::QDate: return skip(8);
    case QMetaType::QDateTime: return dateTime();
    case QMetaType::QString: return string();
    case QMetaType::QByteArray: return bytes();
    case QMetaType::QStringList: return stringList();
    case QMetaType::QVariantList: {
        quint32 n = 0;
        if (!count(n, 5))
            return false;
        for (quint32 i = 0; i < n; ++i)
            if (!variant(depth + 1))
                return false;
        return true;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        quint32 n = 0;
        if (!count(n, 4 + 5))
            return false;
        for (quint32 i = 0; i < n; ++i)
            if (!string() || !variant(depth + 1))
                return false;
        return true;
    }
    default:
        return false;
    }
}

} // namespace Kestrum
