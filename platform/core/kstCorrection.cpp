#include "kstCorrection.h"

namespace Kestrum {

kstCorrection::~kstCorrection() = default;

kstGeographicalCoordinatesPoint kstIdentityCorrection::correctIn(const kstGeographicalCoordinatesPoint& gcp) const
{
    return gcp;
}

kstGeographicalCoordinatesPoint kstIdentityCorrection::correctOut(const kstGeographicalCoordinatesPoint& gcp) const
{
    return gcp;
}

} // namespace Kestrum
