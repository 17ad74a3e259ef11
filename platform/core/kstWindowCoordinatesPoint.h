#pragma once

#include "kstCoreGlobal.h"
#include "kstGeometryRecords.h"

#include <QPointF>

namespace Kestrum {

class kstPlaneCoordinatesPoint;

// A pixel position: x to the right, y downwards.
class KSTCORE_EXPORT kstWindowCoordinatesPoint
{
public:
    kstWindowCoordinatesPoint() = default;
    kstWindowCoordinatesPoint(double x, double y) : m_x(x), m_y(y) {}
    kstWindowCoordinatesPoint(const QPointF& pt) : m_x(pt.x()), m_y(pt.y()) {}

    double x() const { return m_x; }
    double y() const { return m_y; }

    // Inverse of kstPlaneCoordinatesPoint::toPix.
    kstPlaneCoordinatesPoint toPcp(const kstMeterPerPixle__& mpp, const kstPlaneCoordinatesPoint& ltPcp) const;

    operator QPointF() const { return QPointF(m_x, m_y); }
    QPointF toPointF() const { return QPointF(m_x, m_y); }

private:
    double m_x = 0.0;
    double m_y = 0.0;
};

} // namespace Kestrum
