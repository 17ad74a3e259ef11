#include "kstRecordReader.h"

#include <QEasingCurve>
#include <QTextFormat>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace Kestrum {

namespace {

constexpr quint32 kNullLength = 0xFFFFFFFFu;
// Decoded values of each kind kept for reuse, and map keys by place.
constexpr int kRecentValues = 8;
constexpr int kKeySlots = 1024;
constexpr int kMaxVariantDepth = 16;

static_assert(sizeof(QPointF) == 2 * sizeof(double), "points are read as blocks of doubles");

template <class T>
T load(const char* p, bool bigEndian)
{
    return bigEndian ? qFromBigEndian<T>(p) : qFromLittleEndian<T>(p);
}

double bitsToDouble(quint64 bits)
{
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// An easing curve keeps the address of its function, which means nothing in
// another process: the curve is rebuilt from its type, keeping its settings.
// Custom curves cannot be rebuilt and become the default curve.
QEasingCurve safeEasingCurve(const QEasingCurve& curve)
{
    const QEasingCurve::Type type = curve.type();
    if (type < QEasingCurve::Linear || type >= QEasingCurve::Custom)
        return QEasingCurve();
    QEasingCurve safe(curve);
    safe.setType(type == QEasingCurve::Linear ? QEasingCurve::InQuad : QEasingCurve::Linear);
    safe.setType(type);
    return safe;
}

void sanitizeVariant(QVariant& value, int depth)
{
    if (depth > kMaxVariantDepth)
        return;
    switch (value.userType()) {
    case QMetaType::QEasingCurve: value = QVariant::fromValue(safeEasingCurve(value.value<QEasingCurve>())); break;
    case QMetaType::QVariant: {
        QVariant inner = *static_cast<const QVariant*>(value.constData());
        sanitizeVariant(inner, depth + 1);
        value = QVariant(QMetaType::QVariant, &inner);
        break;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant& item : list)
            sanitizeVariant(item, depth + 1);
        value = list;
        break;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (QVariant& item : map)
            sanitizeVariant(item, depth + 1);
        value = map;
        break;
    }
    case QMetaType::QVariantHash: {
        QVariantHash hash = value.toHash();
        for (QVariant& item : hash)
            sanitizeVariant(item, depth + 1);
        value = hash;
        break;
    }
    case QMetaType::QTextFormat: {
        QTextFormat format = value.value<QTextFormat>();
        const QMap<int, QVariant> properties = format.properties();
        for (auto it = properties.begin(); it != properties.end(); ++it) {
            QVariant item = it.value();
            sanitizeVariant(item, depth + 1);
            format.setProperty(it.key(), item);
        }
        value = QVariant::fromValue(format);
        break;
    }
    default: break;
    }
}

} // namespace

// --- Context ---------------------------------------------------------------

template <class T>
const T* kstRecordReader::Context::Cache<T>::find(const char* bytes, qint64 size) const
{
    for (const Entry& entry : m_entries) {
        if (entry.bytes.size() == size && std::memcmp(entry.bytes.constData(), bytes, size_t(size)) == 0)
            return &entry.value;
    }
    return nullptr;
}

template <class T>
void kstRecordReader::Context::Cache<T>::add(const char* bytes, qint64 size, const T& value)
{
    add(QByteArray(bytes, int(size)), value);
}

template <class T>
void kstRecordReader::Context::Cache<T>::add(const QByteArray& bytes, const T& value)
{
    Entry entry{bytes, value};
    if (m_entries.size() < kRecentValues) {
        m_entries.append(entry);
        return;
    }
    m_entries[m_next] = entry;
    m_next = (m_next + 1) % kRecentValues;
}

template <class T>
const T* kstRecordReader::Context::Cache<T>::findAt(int slot, const char* bytes, qint64 size) const
{
    if (slot >= m_entries.size())
        return nullptr;
    const Entry& entry = m_entries.at(slot);
    return entry.bytes.size() == size && std::memcmp(entry.bytes.constData(), bytes, size_t(size)) == 0
        ? &entry.value : nullptr;
}

template <class T>
void kstRecordReader::Context::Cache<T>::setAt(int slot, const char* bytes, qint64 size, const T& value)
{
    if (slot >= kKeySlots)
        return;
    if (slot >= m_entries.size())
        m_entries.resize(slot + 1);
    m_entries[slot] = Entry{QByteArray(bytes, int(size)), value};
}

kstRecordReader::Context::Context(const QDataStream& settings)
    : m_byteOrder(settings.byteOrder())
    , m_version(settings.version())
    , m_precision(settings.floatingPointPrecision())
{
}

kstRecordReader::Context::~Context() = default;

void kstRecordReader::Context::knowImage(const QByteArray& bytes, const QImage& image)
{
    m_images.add(bytes, image);
}

// --- Reader ----------------------------------------------------------------

kstRecordReader::kstRecordReader(const char* data, qint64 size, qint64 start, Context& context)
    : m_begin(data)
    , m_p(data + start)
    , m_end(data + size)
    , m_context(context)
    , m_bigEndian(context.m_byteOrder == QDataStream::BigEndian)
    , m_doubleBytes(context.m_precision == QDataStream::DoublePrecision ? 8 : 4)
{
}

void kstRecordReader::fail(QDataStream::Status status)
{
    if (m_status == QDataStream::Ok)
        m_status = status;
}

const char* kstRecordReader::take(qint64 n)
{
    if (!ok())
        return nullptr;
    if (m_end - m_p < n) {
        fail(QDataStream::ReadPastEnd);
        return nullptr;
    }
    const char* p = m_p;
    m_p += n;
    return p;
}

qint32 kstRecordReader::i32()
{
    const char* p = take(4);
    return p ? load<qint32>(p, m_bigEndian) : 0;
}

qint64 kstRecordReader::i64()
{
    const char* p = take(8);
    return p ? load<qint64>(p, m_bigEndian) : 0;
}

bool kstRecordReader::boolean()
{
    const char* p = take(1);
    return p && *p != 0;
}

double kstRecordReader::real()
{
    const char* p = take(m_doubleBytes);
    if (!p)
        return 0.0;
    if (m_doubleBytes == 4) {
        const quint32 bits = load<quint32>(p, m_bigEndian);
        float f;
        std::memcpy(&f, &bits, 4);
        return f;
    }
    return bitsToDouble(load<quint64>(p, m_bigEndian));
}

QPoint kstRecordReader::point()
{
    const qint32 x = i32();
    const qint32 y = i32();
    return QPoint(x, y);
}

QPointF kstRecordReader::pointF()
{
    const double x = real();
    const double y = real();
    return QPointF(x, y);
}

QString kstRecordReader::string()
{
    const quint32 bytes = quint32(i32());
    if (!ok() || bytes == kNullLength)
        return QString();
    if (bytes % 2 != 0) {
        fail(QDataStream::ReadCorruptData);
        return QString();
    }
    if (bytes == 0)
        return QString(QLatin1String("")); // empty, not null
    const char* p = take(bytes);
    if (!p)
        return QString();
    QString s(int(bytes / 2), Qt::Uninitialized);
    if (m_bigEndian)
        qFromBigEndian<quint16>(p, bytes / 2, s.data());
    else
        qFromLittleEndian<quint16>(p, bytes / 2, s.data());
    return s;
}

// Attribute names repeat in every collect, mostly in the same places: equal
// bytes give a shared string.
QString kstRecordReader::keyString(int index)
{
    if (!ok() || m_end - m_p < 4)
        return string();
    const quint32 bytes = load<quint32>(m_p, m_bigEndian);
    const qint64 total = 4 + (bytes == kNullLength ? 0 : qint64(bytes));
    if (total > m_end - m_p)
        return string();
    if (const QString* hit = m_context.m_keys.findAt(index, m_p, total)) {
        m_p += total;
        return *hit;
    }
    const char* start = m_p;
    const QString key = string();
    if (ok())
        m_context.m_keys.setAt(index, start, total, key);
    return key;
}

void kstRecordReader::strings(QList<QString>& list)
{
    list.clear();
    const quint32 n = quint32(i32());
    for (quint32 i = 0; i < n && ok(); ++i) {
        const QString s = string();
        if (ok())
            list.append(s);
    }
    if (!ok())
        list.clear();
}

void kstRecordReader::ints(QList<int>& list)
{
    list.clear();
    const quint32 n = quint32(i32());
    for (quint32 i = 0; i < n && ok(); ++i) {
        const qint32 v = i32();
        if (ok())
            list.append(v);
    }
    if (!ok())
        list.clear();
}

void kstRecordReader::points(QVector<QPointF>& points)
{
    points.clear();
    const quint32 n = quint32(i32());
    const qint64 pointBytes = 2 * qint64(m_doubleBytes);
    if (!ok() || qint64(n) * pointBytes > m_end - m_p) {
        fail(QDataStream::ReadPastEnd);
        return;
    }
    if (m_doubleBytes == 4) {
        points.reserve(int(n));
        for (quint32 i = 0; i < n; ++i)
            points.append(pointF());
        return;
    }
    const char* p = take(qint64(n) * pointBytes);
    points.resize(int(n));
    QPointF* out = points.data();
    if (m_bigEndian) {
        for (quint32 i = 0; i < n; ++i, p += 16)
            out[i] = QPointF(bitsToDouble(qFromBigEndian<quint64>(p)), bitsToDouble(qFromBigEndian<quint64>(p + 8)));
    } else {
        for (quint32 i = 0; i < n; ++i, p += 16)
            out[i] = QPointF(bitsToDouble(qFromLittleEndian<quint64>(p)),
                             bitsToDouble(qFromLittleEndian<quint64>(p + 8)));
    }
}

void kstRecordReader::pen(QPen& pen)
{
    checked(pen, m_context.m_pens, kstStreamCheck::Pen);
}

void kstRecordReader::brush(QBrush& brush)
{
    checked(brush, m_context.m_brushes, kstStreamCheck::Brush);
}

void kstRecordReader::pixmap(QPixmap& pixmap)
{
    checked(pixmap, m_context.m_pixmaps, kstStreamCheck::Pixmap);
}

void kstRecordReader::image(QImage& image)
{
    checked(image, m_context.m_images, kstStreamCheck::Pixmap);
}

void kstRecordReader::font(QFont& font)
{
    checked(font, m_context.m_fonts, kstStreamCheck::Font);
}

void kstRecordReader::color(QColor& color)
{
    streamed(color);
}

void kstRecordReader::variantMap(QMap<QString, QVariant>& map)
{
    map.clear();
    const quint32 n = quint32(i32());
    for (quint32 i = 0; i < n && ok(); ++i) {
        const QString key = keyString(int(std::min<quint32>(i, kKeySlots)));
        QVariant value;
        variant(value);
        if (!ok())
            break;
        // Equal keys stay side by side, as Qt's own reader keeps them.
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        map.insertMulti(key, value);
        QT_WARNING_POP
    }
    if (!ok())
        map.clear();
}

void kstRecordReader::variant(QVariant& value)
{
    if (!ok())
        return;
    if (m_end - m_p < 5) {
        fail(QDataStream::ReadPastEnd);
        return;
    }
    const quint32 type = load<quint32>(m_p, m_bigEndian);
    const bool isNull = m_p[4] != 0;
    if (!isNull && plainVariant(type, value))
        return;
    checked(value, m_context.m_variants, kstStreamCheck::Variant);
}

// The value types attributes mostly hold, decoded here.
bool kstRecordReader::plainVariant(quint32 type, QVariant& value)
{
    const char* header = m_p;
    m_p += 5;
    switch (type) {
    case QMetaType::Bool: value = QVariant(boolean()); break;
    case QMetaType::Int: value = QVariant(i32()); break;
    case QMetaType::UInt: value = QVariant(uint(i32())); break;
    case QMetaType::LongLong: value = QVariant(qlonglong(i64())); break;
    case QMetaType::ULongLong: value = QVariant(qulonglong(i64())); break;
    case QMetaType::Double: value = QVariant(real()); break;
    case QMetaType::QString: value = QVariant(string()); break;
    default: m_p = header; return false;
    }
    return true;
}

template <class T>
void kstRecordReader::checked(T& value, Context::Cache<T>& cache, kstStreamCheck::Kind kind)
{
    if (!ok())
        return;
    kstStreamCheck check(m_p, m_end - m_p, m_bigEndian, m_doubleBytes);
    const qint64 n = check.measure(kind);
    if (n < 0) {
        fail(check.isShort() ? QDataStream::ReadPastEnd : QDataStream::ReadCorruptData);
        return;
    }
    if (const T* hit = cache.find(m_p, n)) {
        value = *hit;
        m_p += n;
        return;
    }
    const qint64 start = pos();
    QDataStream* stream = streamAt();
    *stream >> value;
    if (stream->status() != QDataStream::Ok || m_context.m_buffer->pos() != start + n) {
        fail(QDataStream::ReadCorruptData);
        return;
    }
    if constexpr (std::is_same<T, QVariant>::value) {
        if (check.hasEasingCurve())
            sanitizeVariant(value, 0);
    }
    cache.add(m_p, n, value);
    m_p += n;
}

QDataStream* kstRecordReader::streamAt()
{
    if (!ok())
        return nullptr;
    Context& c = m_context;
    if (!c.m_buffer) {
        c.m_buffer = std::make_unique<QBuffer>();
        c.m_stream = std::make_unique<QDataStream>();
    }
    // The block stays the same from record to record of one buffer.
    if (c.m_block.constData() != m_begin || c.m_block.size() != m_end - m_begin || !c.m_buffer->isOpen()) {
        c.m_buffer->close();
        c.m_block = QByteArray::fromRawData(m_begin, int(m_end - m_begin));
        c.m_buffer->setBuffer(&c.m_block);
        c.m_buffer->open(QIODevice::ReadOnly);
        c.m_stream->setDevice(c.m_buffer.get());
        c.m_stream->setByteOrder(c.m_byteOrder);
        c.m_stream->setVersion(c.m_version);
        c.m_stream->setFloatingPointPrecision(c.m_precision);
    }
    c.m_stream->resetStatus();
    c.m_buffer->seek(pos());
    return c.m_stream.get();
}

void kstRecordReader::finishStreamed(QDataStream& stream)
{
    if (stream.status() != QDataStream::Ok)
        fail(stream.status());
    else
        m_p = m_begin + m_context.m_buffer->pos();
}

} // namespace Kestrum
