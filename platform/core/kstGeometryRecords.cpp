#include "kstGeometryRecords.h"

namespace Kestrum {

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
    return in >> polygon.outer >> polygon.inner;
}

QDataStream& operator<<(QDataStream& out, const Circle__& circle)
{
    return out << circle.center << circle.ring;
}

QDataStream& operator>>(QDataStream& in, Circle__& circle)
{
    return in >> circle.center >> circle.ring;
}

} // namespace Kestrum
