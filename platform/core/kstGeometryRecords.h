#pragma once

#include "kstCoreGlobal.h"

#include <QDataStream>
#include <QPointF>
#include <QPolygonF>
#include <QVector>

namespace Kestrum {

// Ground size of one pixel in metres, along x and along y.
struct KSTCORE_EXPORT kstMeterPerPixle__
{
    double x = 0.0;
    double y = 0.0;

    kstMeterPerPixle__() = default;
    kstMeterPerPixle__(double mx, double my) : x(mx), y(my) {}
    bool operator==(const kstMeterPerPixle__& o) const { return x == o.x && y == o.y; }
    bool operator!=(const kstMeterPerPixle__& o) const { return !(*this == o); }
};

// A polygon: its exterior ring and its holes. Rings need not repeat their first point.
struct KSTCORE_EXPORT Polygon__
{
    QPolygonF outer;
    QVector<QPolygonF> inner;

    bool operator==(const Polygon__& o) const { return outer == o.outer && inner == o.inner; }
    bool operator!=(const Polygon__& o) const { return !(*this == o); }
};

// A circle: its centre and its outline as a ring of points in order of increasing angle.
struct KSTCORE_EXPORT Circle__
{
    QPointF center;
    QPolygonF ring;

    bool operator==(const Circle__& o) const { return center == o.center && ring == o.ring; }
    bool operator!=(const Circle__& o) const { return !(*this == o); }
};

KSTCORE_EXPORT QDataStream& operator<<(QDataStream& out, const kstMeterPerPixle__& mpp);
KSTCORE_EXPORT QDataStream& operator>>(QDataStream& in, kstMeterPerPixle__& mpp);
KSTCORE_EXPORT QDataStream& operator<<(QDataStream& out, const Polygon__& polygon);
KSTCORE_EXPORT QDataStream& operator>>(QDataStream& in, Polygon__& polygon);
KSTCORE_EXPORT QDataStream& operator<<(QDataStream& out, const Circle__& circle);
KSTCORE_EXPORT QDataStream& operator>>(QDataStream& in, Circle__& circle);

} // namespace Kestrum
