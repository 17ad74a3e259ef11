#include "kstGeometryRecords.h"

#include <QtEndian>

#include <cstring>
#include <limits>

namespace Kestrum {

namespace {

constexpr qint64 kPointBytes = 16;
constexpr qint64 kCountBytes = 4;

// Qt's own container readers reserve room for the count they read before
// reading the elements; these check the count against the bytes that remain
// first, so that a damaged stream cannot make them allocate beyond its data.
bool countFits(QDataStream& in, quint32 n, qint64 elementBytes)
{
    QIODevice* device = in.device();
    if (in.status() != QDataStream::Ok)
        return false;
    if (!device || qint64(n) * elementBytes > device->bytesAvailable()) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    return true;
}

// Rings move as one block of doubles (Qt's own QVector<QPointF> layout)
// rather than point by point, which would cost a device call per value.
bool blockTransfer(const QDataStream& stream)
{
    return stream.floatingPointPrecision() == QDataStream::DoublePrecision && sizeof(QPointF) == kPointBytes;
}

// From the stream's byte order to the host's and back (the same swap).
void swapDoubles(const QDataStream& stream, char* data, qint64 count)
{
    if ((stream.byteOrder() == QDataStream::BigEndian) == (QSysInfo::ByteOrder == QSysInfo::BigEndian))
        return;
    for (qint64 i = 0; i < count; ++i, data += 8) {
        quint64 v;
        std::memcpy(&v, data, 8);
        v = qbswap(v);
        std::memcpy(data, &v, 8);
    }
}

void readRing(QDataStream& in, QPolygonF& ring)
{
    ring.clear();
    quint32 n = 0;
    in >> n;
    if (!countFits(in, n, kPointBytes))
        return;
    if (n > quint32(std::numeric_limits<int>::max() / kPointBytes)) {
        in.setStatus(QDataStream::ReadCorruptData);
        return;
    }
    if (!blockTransfer(in)) {
        ring.reserve(int(n));
        for (quint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
            QPointF p;
            in >> p;
            ring.append(p);
        }
        return;
    }
    ring.resize(int(n));
    char* data = reinterpret_cast<char*>(ring.data());
    if (in.readRawData(data, int(n * kPointBytes)) != qint64(n) * kPointBytes) {
        ring.clear();
        in.setStatus(QDataStream::ReadPastEnd);
        return;
    }
    swapDoubles(in, data, 2 * qint64(n));
}

void writeRing(QDataStream& out, const QPolygonF& ring)
{
    if (!blockTransfer(out)) {
        out << ring;
        return;
    }
    QByteArray block(reinterpret_cast<const char*>(ring.constData()), int(ring.size() * kPointBytes));
    swapDoubles(out, block.data(), 2 * qint64(ring.size()));
    out << quint32(ring.size());
    out.writeRawData(block.constData(), block.size());
}

} // namespace

QDataStream& operator<<(QDataStream& out, const kstMeterPerPixle__& mpp)
{
    return out << mpp.x << mpp.y;
}

QDataStream& operator>>(QDataStream& in, kstMeterPerPixle__& mpp)
{
    return in >> mpp.x >> mpp.y;
}

QDataStream& operator<<(QDataStream& out, const Polygon__& polygon)
{
    writeRing(out, polygon.outer);
    out << quint32(polygon.inner.size());
    for (const QPolygonF& ring : polygon.inner)
        writeRing(out, ring);
    return out;
}

QDataStream& operator>>(QDataStream& in, Polygon__& polygon)
{
    readRing(in, polygon.outer);
    polygon.inner.clear();
    quint32 n = 0;
    in >> n;
    if (!countFits(in, n, kCountBytes))
        return in;
    for (quint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
        QPolygonF ring;
        readRing(in, ring);
        polygon.inner.append(ring);
    }
    return in;
}

QDataStream& operator<<(QDataStream& out, const Circle__& circle)
{
    out << circle.center;
    writeRing(out, circle.ring);
    return out;
}

QDataStream& operator>>(QDataStream& in, Circle__& circle)
{
    in >> circle.center;
    readRing(in, circle.ring);
    return in;
}

} // namespace Kestrum
