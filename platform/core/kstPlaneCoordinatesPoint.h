#pragma once

#include "kstCoreGlobal.h"
#include "kstGeometryRecords.h"
#include "kstWindowCoordinatesPoint.h"

#include <QMetaType>
#include <QPointF>
#include <QSizeF>

namespace Kestrum {

class kstProjection;
class kstResulotion;
class kstGeographicalCoordinatesPoint;

// A projected point in metres: x east, y north.
class KSTCORE_EXPORT kstPlaneCoordinatesPoint
{
public:
    kstPlaneCoordinatesPoint() = default;
    kstPlaneCoordinatesPoint(double x, double y) : m_x(x), m_y(y) {}
    explicit kstPlaneCoordinatesPoint(const QPointF& pt) : m_x(pt.x()), m_y(pt.y()) {}

    double x() const { return m_x; }
    double y() const { return m_y; }
    QPointF toPointF() const { return QPointF(m_x, m_y); }

    kstGeographicalCoordinatesPoint toGcp(const kstProjection* proj) const;

    // Window position of this point relative to the plane point of pixel (0, 0);
    // pixel y grows downwards while plane y grows northwards.
    kstWindowCoordinatesPoint toPix(const kstMeterPerPixle__& mpp, const kstPlaneCoordinatesPoint& ltPcp) const;
    kstWindowCoordinatesPoint toPix(const kstResulotion* resolution, int level,
                                    const kstPlaneCoordinatesPoint& ltPcp) const;

    // The plane point that lies size pixels to the right of and below this point.
    kstPlaneCoordinatesPoint rbPcp(const kstMeterPerPixle__& mpp, const QSizeF& size) const;

    bool operator==(const kstPlaneCoordinatesPoint& o) const { return m_x == o.m_x && m_y == o.m_y; }
    bool operator!=(const kstPlaneCoordinatesPoint& o) const { return !(*this == o); }

private:
    double m_x = 0.0;
    double m_y = 0.0;
};

using PCP = kstPlaneCoordinatesPoint;

KSTCORE_EXPORT QDataStream& operator<<(QDataStream& out, const kstPlaneCoordinatesPoint& pcp);
KSTCORE_EXPORT QDataStream& operator>>(QDataStream& in, kstPlaneCoordinatesPoint& pcp);

} // namespace Kestrum

Q_DECLARE_METATYPE(Kestrum::kstPlaneCoordinatesPoint)
