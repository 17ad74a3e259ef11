#include "kstShapeScale.h"

#include "kstGeographicalCoordinatesPoint.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstTileMapView.h"

namespace Kestrum {

kstShapeScale::kstShapeScale(const kstMeterPerPixle__& mpp, kstProjection* proj, const QRectF& labelWindow)
    : mpp(mpp)
    , proj(proj)
    , origin(proj->ltGcp().toPcp(proj))
    , labelWindow(labelWindow)
{
}

QRectF kstShapeScale::labelWindowOf(const kstTileMapView* view)
{
    if (!view)
        return QRectF();
    const QSize size = view->viewSize();
    if (size.isEmpty())
        return QRectF();
    kstProjection* proj = view->projection();
    const kstMeterPerPixle__ mpp = view->resolution()->mpp(view->level());
    const QPointF topLeft = view->currentLeftTopPcp().toPix(mpp, proj->ltGcp().toPcp(proj));
    const double w = size.width();
    const double h = size.height();
    return QRectF(topLeft, QSizeF(size)).adjusted(-w, -h, w, h);
}

} // namespace Kestrum
