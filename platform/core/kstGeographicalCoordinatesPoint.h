#pragma once

#include "kstCoreGlobal.h"

#include <QDataStream>
#include <QList>
#include <QMetaType>
#include <QPointF>

namespace Kestrum {

class kstProjection;
class kstPlaneCoordinatesPoint;

// A geographic point: longitude and latitude in degrees. The empty point is (0, 0).
class KSTCORE_EXPORT kstGeographicalCoordinatesPoint
{
public:
    kstGeographicalCoordinatesPoint() = default;
    kstGeographicalCoordinatesPoint(double lon, double lat) : m_lon(lon), m_lat(lat) {}
    explicit kstGeographicalCoordinatesPoint(const QPointF& pt) : m_lon(pt.x()), m_lat(pt.y()) {}

    double lon() const { return m_lon; }
    double lat() const { return m_lat; }
    void setLon(double lon) { m_lon = lon; }
    void setLat(double lat) { m_lat = lat; }
    QPointF toPointF() const { return QPointF(m_lon, m_lat); }

    kstPlaneCoordinatesPoint toPcp(const kstProjection* proj) const;

    bool operator==(const kstGeographicalCoordinatesPoint& o) const
    {
        return m_lon == o.m_lon && m_lat == o.m_lat;
    }
    bool operator!=(const kstGeographicalCoordinatesPoint& o) const { return !(*this == o); }

private:
    double m_lon = 0.0;
    double m_lat = 0.0;
};

using GCP = kstGeographicalCoordinatesPoint;

KSTCORE_EXPORT QDataStream& operator<<(QDataStream& out, const kstGeographicalCoordinatesPoint& gcp);
KSTCORE_EXPORT QDataStream& operator>>(QDataStream& in, kstGeographicalCoordinatesPoint& gcp);

} // namespace Kestrum

Q_DECLARE_METATYPE(Kestrum::kstGeographicalCoordinatesPoint)
Q_DECLARE_METATYPE(QList<Kestrum::kstGeographicalCoordinatesPoint>)
