#include "kstWindowCoordinatesPoint.h"

#include "kstPlaneCoordinatesPoint.h"

namespace Kestrum {

kstPlaneCoordinatesPoint kstWindowCoordinatesPoint::toPcp(const kstMeterPerPixle__& mpp,
                                                          const kstPlaneCoordinatesPoint& ltPcp) const
{
    return ltPcp.rbPcp(mpp, QSizeF(m_x, m_y));
}

} // namespace Kestrum
