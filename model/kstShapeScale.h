#pragma once

#include "kstVectorGlobal.h"

#include "kstGeometryRecords.h"
#include "kstPlaneCoordinatesPoint.h"

#include <QRectF>

namespace Kestrum {

class kstProjection;
class kstTileMapView;

// What a shape's pixel data are computed at: the metres per pixel of a level,
// the projection, the plane point of the projection's top-left corner (the
// origin of the edit layer's coordinates) and the part of the edit layer's
// coordinates in which a label could be seen (null: no bound).
struct KSTVECTOR_EXPORT kstShapeScale
{
    kstMeterPerPixle__ mpp;
    kstProjection* proj = nullptr;
    kstPlaneCoordinatesPoint origin;
    QRectF labelWindow;

    kstShapeScale() = default;
    kstShapeScale(const kstMeterPerPixle__& mpp, kstProjection* proj, const QRectF& labelWindow);

    // The area a view shows, in edit-layer coordinates, widened by one view
    // size on every side so that short pans find labels in place; null when
    // there is no view or it has no size yet.
    static QRectF labelWindowOf(const kstTileMapView* view);
};

} // namespace Kestrum
