#include "kstProjection.h"

namespace Kestrum {

kstProjection::~kstProjection() = default;

bool kstProjection::isValidGcp(const kstGeographicalCoordinatesPoint& gcp) const
{
    const kstGeographicalCoordinatesPoint lt = ltGcp();
    const kstGeographicalCoordinatesPoint rb = rbGcp();
    return gcp.lon() >= lt.lon() && gcp.lon() <= rb.lon()
        && gcp.lat() <= lt.lat() && gcp.lat() >= rb.lat();
}

} // namespace Kestrum
