#pragma once

#include "kstCoreGlobal.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstPlaneCoordinatesPoint.h"

namespace Kestrum {

// A map projection between geographic points and plane points, with a valid area.
class KSTCORE_EXPORT kstProjection
{
public:
    virtual ~kstProjection();

    virtual kstPlaneCoordinatesPoint forward(const kstGeographicalCoordinatesPoint& gcp) const = 0;
    virtual kstGeographicalCoordinatesPoint inverse(const kstPlaneCoordinatesPoint& pcp) const = 0;

    // Top-left and bottom-right corners of the valid area.
    virtual kstGeographicalCoordinatesPoint ltGcp() const = 0;
    virtual kstGeographicalCoordinatesPoint rbGcp() const = 0;

    // True when the point lies inside the valid area (borders included).
    virtual bool isValidGcp(const kstGeographicalCoordinatesPoint& gcp) const;
};

} // namespace Kestrum
