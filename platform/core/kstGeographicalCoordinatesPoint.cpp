#include "kstGeographicalCoordinatesPoint.h"

#include "kstPlaneCoordinatesPoint.h"
#include "kstProjection.h"

namespace Kestrum {

namespace {
// Registers the point under its short name "GCP" (and its list) as soon as the
// library is loaded, so that both travel in QVariant and queued signals.
const int registerGcpMetaTypes = [] {
    qRegisterMetaType<kstGeographicalCoordinatesPoint>("GCP");
    qRegisterMetaType<QList<kstGeographicalCoordinatesPoint>>("QList<GCP>");
    qRegisterMetaTypeStreamOperators<kstGeographicalCoordinatesPoint>("GCP");
    return 0;
}();
} // namespace

kstPlaneCoordinatesPoint kstGeographicalCoordinatesPoint::toPcp(const kstProjection* proj) const
{
    return proj->forward(*this);
}

QDataStream& operator<<(QDataStream& out, const kstGeographicalCoordinatesPoint& gcp)
{
    return out << gcp.lon() << gcp.lat();
}

QDataStream& operator>>(QDataStream& in, kstGeographicalCoordinatesPoint& gcp)
{
    double lon = 0.0;
    double lat = 0.0;
    in >> lon >> lat;
    gcp = kstGeographicalCoordinatesPoint(lon, lat);
    return in;
}

} // namespace Kestrum
