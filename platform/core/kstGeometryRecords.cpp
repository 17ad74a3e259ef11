#include "kstGeometryRecords.h"

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

void readRing(QDataStream& in, QPolygonF& ring)
{
    ring.clear();
    quint32 n = 0;
    in >> n;
    if (!countFits(in, n, kPointBytes))
        return;
    ring.reserve(int(n));
    for (quint32 i = 0; i < n && in.status() == QDataStream::Ok; ++i) {
        QPointF p;
        in >> p;
        ring.append(p);
    }
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
    return out << polygon.outer << polygon.inner;
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
    return out << circle.center << circle.ring;
}

QDataStream& operator>>(QDataStream& in, Circle__& circle)
{
    in >> circle.center;
    readRing(in, circle.ring);
    return in;
}

} // namespace Kestrum
