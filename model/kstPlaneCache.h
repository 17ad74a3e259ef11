#pragma once

#include "kstVectorGlobal.h"

#include <QPointF>
#include <QPolygonF>
#include <QVector>

namespace Kestrum {

class kstProjection;

// Plane coordinates of a shape's geographic points in one projection. They do
// not change when only the level does, so a level change rescales them
// instead of projecting every point again. The cache holds shared copies of
// the rings it was made from: a ring that still shares its data with them is
// unchanged, any other ring must hold exactly the same values. The two extent
// corners are compared by value.
class KSTVECTOR_EXPORT kstPlaneCache
{
public:
    bool matches(const QVector<QPolygonF>& rings, const QPointF& lt, const QPointF& rb,
                 const kstProjection* proj) const;
    // Projects the rings and corners; afterwards matches() holds for them.
    void fill(const QVector<QPolygonF>& rings, const QPointF& lt, const QPointF& rb, const kstProjection* proj);
    void clear();
    void swap(kstPlaneCache& other) noexcept;
    // Marks the corners as the extent of the rings, computed from them.
    void setExtentOfRings() { m_extentOfRings = true; }
    bool extentOfRings() const { return m_extentOfRings; }

    const QVector<QPolygonF>& rings() const { return m_planeRings; }
    // Ring i of the plane coordinates, or an empty ring.
    const QPolygonF& ring(int i) const;
    const QPointF& ltPlane() const { return m_ltPlane; }
    const QPointF& rbPlane() const { return m_rbPlane; }

private:
    const kstProjection* m_proj = nullptr;
    QVector<QPolygonF> m_rings;
    QPointF m_lt;
    QPointF m_rb;
    QVector<QPolygonF> m_planeRings;
    QPointF m_ltPlane;
    QPointF m_rbPlane;
    bool m_extentOfRings = false;
};

} // namespace Kestrum
