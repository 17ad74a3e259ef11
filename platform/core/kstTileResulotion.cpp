#include "kstTileResulotion.h"

#include "kstWebMercatorProjection.h"

#include <cmath>

namespace Kestrum {

kstResulotion::~kstResulotion() = default;

kstMeterPerPixle__ kstTileResulotion::mpp(int level) const
{
    // The equator's length spread over the 256·2^level pixels of a level.
    constexpr double kEquator = 2.0 * 3.141592653589793 * kstWebMercatorProjection::kEarthRadius;
    const double m = kEquator / (kTileSize * std::ldexp(1.0, level));
    return kstMeterPerPixle__(m, m);
}

} // namespace Kestrum
