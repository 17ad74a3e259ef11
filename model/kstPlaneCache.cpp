#include "kstPlaneCache.h"

#include "kstGeographicalCoordinatesPoint.h"
#include "kstPlaneCoordinatesPoint.h"
#include "kstProjection.h"

#include <algorithm>
#include <utility>

namespace Kestrum {

namespace {

QPointF planeOf(const QPointF& geo, const kstProjection* proj)
{
    return kstGeographicalCoordinatesPoint(geo.x(), geo.y()).toPcp(proj).toPointF();
}

bool sameValue(const QPointF& a, const QPointF& b)
{
    return a.x() == b.x() && a.y() == b.y();
}

} // namespace

bool kstPlaneCache::matches(const QVector<QPolygonF>& rings, const QPointF& lt, const QPointF& rb,
                            const kstProjection* proj) const
{
    if (!proj || proj != m_proj || rings.size() != m_rings.size() || !sameValue(lt, m_lt) || !sameValue(rb, m_rb))
        return false;
    for (int i = 0; i < rings.size(); ++i) {
        const QPolygonF& ring = rings.at(i);
        const QPolygonF& cached = m_rings.at(i);
        if (ring.size() != cached.size())
            return false;
        // Shared data is the same data: writing to either copy would have
        // detached it. Other data must hold exactly the same values.
        if (ring.constData() != cached.constData()
            && !std::equal(ring.cbegin(), ring.cend(), cached.cbegin(), sameValue))
            return false;
    }
    return true;
}

void kstPlaneCache::fill(const QVector<QPolygonF>& rings, const QPointF& lt, const QPointF& rb,
                         const kstProjection* proj)
{
    m_proj = proj;
    m_extentOfRings = false;
    m_rings = rings;
    m_lt = lt;
    m_rb = rb;
    m_planeRings.resize(rings.size());
    for (int i = 0; i < rings.size(); ++i) {
        const QPolygonF& ring = rings.at(i);
        QPolygonF plane(ring.size());
        for (int k = 0; k < ring.size(); ++k)
            plane[k] = planeOf(ring.at(k), proj);
        m_planeRings[i] = plane;
    }
    m_ltPlane = planeOf(lt, proj);
    m_rbPlane = planeOf(rb, proj);
}

const QPolygonF& kstPlaneCache::ring(int i) const
{
    static const QPolygonF none;
    return i >= 0 && i < m_planeRings.size() ? m_planeRings.at(i) : none;
}

void kstPlaneCache::clear()
{
    *this = kstPlaneCache();
}

void kstPlaneCache::swap(kstPlaneCache& other) noexcept
{
    std::swap(m_proj, other.m_proj);
    m_rings.swap(other.m_rings);
    std::swap(m_lt, other.m_lt);
    std::swap(m_rb, other.m_rb);
    m_planeRings.swap(other.m_planeRings);
    std::swap(m_ltPlane, other.m_ltPlane);
    std::swap(m_rbPlane, other.m_rbPlane);
    std::swap(m_extentOfRings, other.m_extentOfRings);
}

} // namespace Kestrum
