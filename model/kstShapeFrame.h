#pragma once

#include "kstVectorGlobal.h"

#include "VectorShapeLabel.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstPlaneCache.h"

#include <QList>
#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QVector>

namespace Kestrum {

// Everything an update at one scale derives from a shape's geometry, computed
// without touching the item, so that it can be computed on any thread; the
// item's rectangle and position are placed on the GUI thread
// (kstVectorShape::storeFrameData and placeItem). Storing swaps the shape's
// previous data into the frame, so one frame serves shape after shape.
struct KSTVECTOR_EXPORT kstShapeFrame
{
    kstGeographicalCoordinatesPoint lt; // extent
    kstGeographicalCoordinatesPoint rb;
    QRectF brc;
    QPointF position;
    // The kind's pixel points, in the kind's own layout (rings, then a centre).
    QVector<QPolygonF> rings;
    QPointF centre;
    QPainterPath addVertexPath; // selected shapes only
    QList<VectorShapeLabel__> labels;
    QRectF labelWindow;
    kstPlaneCache plane; // the plane coordinates the frame was computed from,
    bool planeKept = false; // unless the shape's own still hold (then `plane` is stale)
};

} // namespace Kestrum
