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
// without touching the item, so that it can be computed on any thread and
// stored on the GUI thread (kstVectorShape::applyFrame). Storing swaps the
// shape's previous data into the frame.
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
    kstPlaneCache plane; // the plane coordinates the frame was computed from
};

} // namespace Kestrum
