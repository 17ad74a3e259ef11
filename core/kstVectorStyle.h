#pragma once

#include "kstVectorGlobal.h"

#include <QBrush>
#include <QColor>
#include <QFont>
#include <QImage>
#include <QPen>
#include <QPoint>

namespace Kestrum {

// The default look of shapes, vertex handles, labels, fit lines and the box
// selection. Each setting exists as a constant <name>_default and as a
// changeable <name> that starts as a copy of it and belongs to the host.
class KSTVECTOR_EXPORT kstVectorStyle
{
public:
    static const double pointSize_default;
    static const QPen pointBorderPen_default;
    static const QBrush pointFillBrush_default;
    static const QImage markerIcon_default;
    static const QPoint markerAnchor_default;
    static const QPen linePen_default;
    static const QPen linePen_New_default;
    static const QPen polygonBorderPen_default;
    static const QBrush polygonFillBrush_default;
    static const QPen polygonBorderPen_New_default;
    static const QBrush polygonFillBrush_New_default;
    static const QFont labelFont_default;
    static const QColor labelTextClr_default;
    static const QColor labelOutlineClr_default;
    static const double vertexSize_default;
    static const QColor vertexClr0_default;
    static const QColor vertexClr1_default;
    static const QColor vertexClr2_default;
    static const double fitLineWidth_default;
    static const double fitLineSelectedWidth_default;
    static const QColor fitLineClr_default;
    static const QColor fitLineSelectedClr_default;
    static const double boxLineWidth_default;
    static const QColor boxLineClr_default;

    static double pointSize;
    static QPen pointBorderPen;
    static QBrush pointFillBrush;
    static QImage markerIcon;
    static QPoint markerAnchor;
    static QPen linePen;
    static QPen linePen_New;
    static QPen polygonBorderPen;
    static QBrush polygonFillBrush;
    static QPen polygonBorderPen_New;
    static QBrush polygonFillBrush_New;
    static QFont labelFont;
    static QColor labelTextClr;
    static QColor labelOutlineClr;
    static double vertexSize;
    static QColor vertexClr0;
    static QColor vertexClr1;
    static QColor vertexClr2;
    static double fitLineWidth;
    static double fitLineSelectedWidth;
    static QColor fitLineClr;
    static QColor fitLineSelectedClr;
    static double boxLineWidth;
    static QColor boxLineClr;

    static void resetPointStyle();
    static void resetLineStyle();
    static void resetAreaStyle();
    static void resetLabelStyle();
    static void resetVertexStyle();
    static void resetFitLineStyle();
    static void resetBoxSelectLineStyle();
    static void resetStyle();

    // Reserved for random styling; they leave every setting as it is.
    static void randPointStyle();
    static void randLineStyle();
    static void randAreaStyle();
    static void randLabelStyle();
    static void randVertexStyle();
    static void randFitLineStyle();
    static void randBoxSelectLineStyle();
    static void randStyle();
    static void randStyleUnique();

    kstVectorStyle() = delete;
};

} // namespace Kestrum
