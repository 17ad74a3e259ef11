#include "kstVectorStyle.h"

#include <QtGlobal>

// Registers the library's compiled-in resources. It must run before the
// marker is loaded, and static initialisation order across translation
// units is unspecified, so the loader calls it explicitly.
static void kstInitVectorResources()
{
    Q_INIT_RESOURCE(kstVector);
}

namespace Kestrum {

namespace {

QPen solidPen(const QColor& color, double width)
{
    return QPen(QBrush(color, Qt::SolidPattern), width, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

QImage loadMarkerIcon()
{
    kstInitVectorResources();
    return QImage(QStringLiteral(":/kstVector/Resources/icon/maker_32.png"));
}

} // namespace

// The constants, in the order the changeable values below copy them.
const double kstVectorStyle::pointSize_default = 8.0;
const QPen kstVectorStyle::pointBorderPen_default = solidPen(QColor(68, 68, 68, 255), 1.0);
const QBrush kstVectorStyle::pointFillBrush_default = QBrush(QColor(255, 0, 0, 255), Qt::SolidPattern);
const QImage kstVectorStyle::markerIcon_default = loadMarkerIcon();
const QPoint kstVectorStyle::markerAnchor_default = QPoint(17, 31);
const QPen kstVectorStyle::linePen_default = solidPen(QColor(0, 255, 0, 255), 1.5);
const QPen kstVectorStyle::linePen_New_default = solidPen(Qt::red, 1.5);
const QPen kstVectorStyle::polygonBorderPen_default = solidPen(QColor(0, 0, 255, 255), 1.0);
const QBrush kstVectorStyle::polygonFillBrush_default = QBrush(QColor(0, 0, 255, 68), Qt::SolidPattern);
const QPen kstVectorStyle::polygonBorderPen_New_default = solidPen(Qt::red, 1.0);
const QBrush kstVectorStyle::polygonFillBrush_New_default = QBrush(QColor(0, 0, 255, 51), Qt::SolidPattern);
const QFont kstVectorStyle::labelFont_default = QFont(QStringLiteral("微软雅黑"), 9, -1, false);
const QColor kstVectorStyle::labelTextClr_default = Qt::white;
const QColor kstVectorStyle::labelOutlineClr_default = Qt::black;
const double kstVectorStyle::vertexSize_default = 8.0;
const QColor kstVectorStyle::vertexClr0_default = Qt::red;
const QColor kstVectorStyle::vertexClr1_default = Qt::green;
const QColor kstVectorStyle::vertexClr2_default = Qt::yellow;
const double kstVectorStyle::fitLineWidth_default = 2.0;
const double kstVectorStyle::fitLineSelectedWidth_default = 3.0;
const QColor kstVectorStyle::fitLineClr_default = Qt::red;
const QColor kstVectorStyle::fitLineSelectedClr_default = Qt::red;
const double kstVectorStyle::boxLineWidth_default = 1.5;
const QColor kstVectorStyle::boxLineClr_default = Qt::red;

double kstVectorStyle::pointSize = pointSize_default;
QPen kstVectorStyle::pointBorderPen = pointBorderPen_default;
QBrush kstVectorStyle::pointFillBrush = pointFillBrush_default;
QImage kstVectorStyle::markerIcon = markerIcon_default;
QPoint kstVectorStyle::markerAnchor = markerAnchor_default;
QPen kstVectorStyle::linePen = linePen_default;
QPen kstVectorStyle::linePen_New = linePen_New_default;
QPen kstVectorStyle::polygonBorderPen = polygonBorderPen_default;
QBrush kstVectorStyle::polygonFillBrush = polygonFillBrush_default;
QPen kstVectorStyle::polygonBorderPen_New = polygonBorderPen_New_default;
QBrush kstVectorStyle::polygonFillBrush_New = polygonFillBrush_New_default;
QFont kstVectorStyle::labelFont = labelFont_default;
QColor kstVectorStyle::labelTextClr = labelTextClr_default;
QColor kstVectorStyle::labelOutlineClr = labelOutlineClr_default;
double kstVectorStyle::vertexSize = vertexSize_default;
QColor kstVectorStyle::vertexClr0 = vertexClr0_default;
QColor kstVectorStyle::vertexClr1 = vertexClr1_default;
QColor kstVectorStyle::vertexClr2 = vertexClr2_default;
double kstVectorStyle::fitLineWidth = fitLineWidth_default;
double kstVectorStyle::fitLineSelectedWidth = fitLineSelectedWidth_default;
QColor kstVectorStyle::fitLineClr = fitLineClr_default;
QColor kstVectorStyle::fitLineSelectedClr = fitLineSelectedClr_default;
double kstVectorStyle::boxLineWidth = boxLineWidth_default;
QColor kstVectorStyle::boxLineClr = boxLineClr_default;

void kstVectorStyle::resetPointStyle()
{
    pointSize = 8.0;
    pointBorderPen = pointBorderPen_default;
    pointFillBrush = pointFillBrush_default;
    markerIcon = markerIcon_default;
    markerAnchor = markerAnchor_default;
}

void kstVectorStyle::resetLineStyle()
{
    linePen = linePen_default;
}

void kstVectorStyle::resetAreaStyle()
{
    polygonBorderPen = polygonBorderPen_default;
    polygonFillBrush = polygonFillBrush_default;
}

void kstVectorStyle::resetLabelStyle()
{
    labelFont = labelFont_default;
    labelTextClr = labelTextClr_default;
    labelOutlineClr = labelOutlineClr_default;
}

void kstVectorStyle::resetVertexStyle()
{
    vertexSize = 8.0;
    vertexClr0 = vertexClr0_default;
    vertexClr1 = vertexClr1_default;
    vertexClr2 = vertexClr2_default;
}

void kstVectorStyle::resetFitLineStyle()
{
    fitLineWidth = 2.0;
    fitLineSelectedWidth = 3.0;
    fitLineClr = fitLineClr_default;
    fitLineSelectedClr = fitLineSelectedClr_default;
}

// The box line has no reset: the host's choice stays.
void kstVectorStyle::resetBoxSelectLineStyle() {}

// The new-shape pens and brushes and the box line are not part of the reset.
void kstVectorStyle::resetStyle()
{
    resetPointStyle();
    resetLineStyle();
    resetAreaStyle();
    resetLabelStyle();
    resetVertexStyle();
    resetFitLineStyle();
}

void kstVectorStyle::randPointStyle() {}
void kstVectorStyle::randLineStyle() {}
void kstVectorStyle::randAreaStyle() {}
void kstVectorStyle::randLabelStyle() {}
void kstVectorStyle::randVertexStyle() {}
void kstVectorStyle::randFitLineStyle() {}
void kstVectorStyle::randBoxSelectLineStyle() {}
void kstVectorStyle::randStyle() {}
void kstVectorStyle::randStyleUnique() {}

} // namespace Kestrum
