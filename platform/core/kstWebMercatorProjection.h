#pragma once

#include "kstProjection.h"

namespace Kestrum {

// Spherical Web Mercator (EPSG:3857) on the WGS84 semi-major axis.
class KSTCORE_EXPORT kstWebMercatorProjection : public kstProjection
{
public:
    static constexpr double kEarthRadius = 6378137.0;
    // Latitude at which the projected square ends: y = ±π·R, as x does at ±180°.
    static constexpr double kMaxLatitude = 85.05112877980659;

    kstPlaneCoordinatesPoint forward(const kstGeographicalCoordinatesPoint& gcp) const override;
    kstGeographicalCoordinatesPoint inverse(const kstPlaneCoordinatesPoint& pcp) const override;
    kstGeographicalCoordinatesPoint ltGcp() const override;
    kstGeographicalCoordinatesPoint rbGcp() const override;
};

} // namespace Kestrum
