#pragma once

#include "kstCoreGlobal.h"
#include "kstGeographicalCoordinatesPoint.h"

namespace Kestrum {

// A coordinate correction between the exchange frame and the stored frame:
// correctIn takes a point into the stored frame, correctOut back out of it.
class KSTCORE_EXPORT kstCorrection
{
public:
    virtual ~kstCorrection();

    virtual kstGeographicalCoordinatesPoint correctIn(const kstGeographicalCoordinatesPoint& gcp) const = 0;
    virtual kstGeographicalCoordinatesPoint correctOut(const kstGeographicalCoordinatesPoint& gcp) const = 0;
};

// The default correction: both directions return the point unchanged.
class KSTCORE_EXPORT kstIdentityCorrection : public kstCorrection
{
public:
    kstGeographicalCoordinatesPoint correctIn(const kstGeographicalCoordinatesPoint& gcp) const override;
    kstGeographicalCoordinatesPoint correctOut(const kstGeographicalCoordinatesPoint& gcp) const override;
};

} // namespace Kestrum
