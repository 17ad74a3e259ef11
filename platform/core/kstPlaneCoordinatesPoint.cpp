#include "kstPlaneCoordinatesPoint.h"

#include "kstGeographicalCoordinatesPoint.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstWindowCoordinatesPoint.h"

namespace Kestrum {

namespace {
const int registerPcpMetaType = [] {
    qRegisterMetaType<kstPlaneCoordinatesPoint>("PCP");
    return 0;
}();
} // namespace

kstGeographicalCoordinatesPoint kstPlaneCoordinatesPoint::toGcp(const kstProjection* proj) const
{
    return proj->inverse(*this);
}

kstWindowCoordinatesPoint kstPlaneCoordinatesPoint::toPix(const kstMeterPerPixle__& mpp,
                                                          const kstPlaneCoordinatesPoint& ltPcp) const
{
    return kstWindowCoordinatesPoint((m_x - ltPcp.m_x) / mpp.x, (ltPcp.m_y - m_y) / mpp.y);
}

kstWindowCoordinatesPoint kstPlaneCoordinatesPoint::toPix(const kstResulotion* resolution, int level,
                                                          const kstPlaneCoordinatesPoint& ltPcp) const
{
    return toPix(resolution->mpp(level), ltPcp);
}

kstPlaneCoordinatesPoint kstPlaneCoordinatesPoint::rbPcp(const kstMeterPerPixle__& mpp, const QSizeF& size) const
{
    return kstPlaneCoordinatesPoint(m_x + size.width() * mpp.x, m_y - size.height() * mpp.y);
}

QDataStream& operator<<(QDataStream& out, const kstPlaneCoordinatesPoint& pcp)
{
    return out << pcp.x() << pcp.y();
}

QDataStream& operator>>(QDataStream& in, kstPlaneCoordinatesPoint& pcp)
{
    double x = 0.0;
    double y = 0.0;
    in >> x >> y;
    pcp = kstPlaneCoordinatesPoint(x, y);
    return in;
}

} // namespace Kestrum
