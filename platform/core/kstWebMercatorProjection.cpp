#include "kstWebMercatorProjection.h"

#include <cmath>

namespace Kestrum {

namespace {
constexpr double kPi = 3.141592653589793;
constexpr double kDegToRad = kPi / 180.0;
} // namespace

kstPlaneCoordinatesPoint kstWebMercatorProjection::forward(const kstGeographicalCoordinatesPoint& gcp) const
{
    const double x = kEarthRadius * gcp.lon() * kDegToRad;
    const double y = kEarthRadius * std::log(std::tan(kPi / 4.0 + gcp.lat() * kDegToRad / 2.0));
    return kstPlaneCoordinatesPoint(x, y);
}

kstGeographicalCoordinatesPoint kstWebMercatorProjection::inverse(const kstPlaneCoordinatesPoint& pcp) const
{
    const double lon = pcp.x() / kEarthRadius / kDegToRad;
    // Gudermannian: φ = 2·atan(exp(y/R)) − π/2.
    const double lat = (2.0 * std::atan(std::exp(pcp.y() / kEarthRadius)) - kPi / 2.0) / kDegToRad;
    return kstGeographicalCoordinatesPoint(lon, lat);
}

kstGeographicalCoordinatesPoint kstWebMercatorProjection::ltGcp() const
{
    return kstGeographicalCoordinatesPoint(-180.0, kMaxLatitude);
}

kstGeographicalCoordinatesPoint kstWebMercatorProjection::rbGcp() const
{
    return kstGeographicalCoordinatesPoint(180.0, -kMaxLatitude);
}

} // namespace Kestrum
