// Fit lines of the edit layer: drawing them in the Fit mode, editing them,
// handing out their ends as control points, and applying a fitted
// four-parameter transformation to whole layers.

#include "kstVectorEditLayer.h"

#include "kstFourParamter.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"
#include "kstWindowCoordinatesPoint.h"

#include <QDebug>
#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneHoverEvent>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>

#include <cmath>

namespace Kestrum {

namespace {

// States of m_fitting.
enum FitState { FitOff = 0, FitReady = 1, FitDrawing = 2 };

// Half the opening of the arrow head (25 degrees) and its wing length in pixels.
constexpr double kArrowAngle = 0.4363323129984722;
constexpr double kArrowWing = 10.0;

void outOfRange()
{
    qDebug().noquote() << "kstVectorEditLayer::setFiltLine:index out of range!";
}

void busyDrawing()
{
    qDebug().noquote() << "kstVectorEditLayer::deleteFitLine:can not delete fit line when line creating!";
}

// Item pixels and plane coordinates of one level: the origin is the plane
// point of the projection's top-left corner.
struct PixelFrame
{
    kstMeterPerPixle__ mpp;
    kstPlaneCoordinatesPoint origin;

    QPointF toPix(const kstPlaneCoordinatesPoint& pcp) const { return pcp.toPix(mpp, origin); }
    kstPlaneCoordinatesPoint toPcp(const QPointF& pix) const { return kstWindowCoordinatesPoint(pix).toPcp(mpp, origin); }
};

bool pixelFrame(const kstTileMapView* view, int level, PixelFrame& frame)
{
    if (!view || !view->projection() || !view->resolution())
        return false;
    kstProjection* proj = view->projection();
    frame.mpp = view->resolution()->mpp(level);
    frame.origin = proj->ltGcp().toPcp(proj);
    return true;
}

} // namespace

// --- Editing -------------------------------------------------------------

void kstVectorEditLayer::setFiltLine(int index, const kstPlaneCoordinatesPoint& src, const kstPlaneCoordinatesPoint& dst)
{
    if (index < 0 || index >= m_fitLines.size()) {
        outOfRange();
        return;
    }
    PixelFrame frame;
    if (!pixelFrame(mapView(), m_level, frame))
        return;
    m_fitLines[index] = QLineF(frame.toPix(src), frame.toPix(dst));
    emit fitValuesChanged();
    refresh();
}

bool kstVectorEditLayer::deleteFitLine(int index)
{
    if (m_fitting == FitDrawing) {
        busyDrawing();
        return false;
    }
    if (index < 0 || index >= m_fitLines.size()) {
        outOfRange();
        return false;
    }
    m_fitLines.removeAt(index);
    // Only the deleted line loses the highlight; other indices stay as they are.
    if (m_selectedFitLine == index)
        m_selectedFitLine = -1;
    emit fitValuesChanged();
    refresh();
    return true;
}

bool kstVectorEditLayer::clearFit()
{
    if (m_fitting == FitDrawing) {
        busyDrawing();
        return false;
    }
    m_fitLines.clear();
    m_selectedFitLine = -1;
    emit fitValuesChanged();
    refresh();
    return true;
}

void kstVectorEditLayer::reverseFitLine()
{
    for (QLineF& line : m_fitLines)
        line = QLineF(line.p2(), line.p1());
    emit fitValuesChanged();
    refresh();
}

void kstVectorEditLayer::setFitLineSelected(int index)
{
    if (index < 0 || index >= m_fitLines.size()) {
        outOfRange();
        return;
    }
    m_selectedFitLine = index;
    refresh();
}

void kstVectorEditLayer::getFitValues(QList<kstPlaneCoordinatesPoint>& src, QList<kstPlaneCoordinatesPoint>& dst)
{
    PixelFrame frame;
    if (!pixelFrame(mapView(), m_level, frame))
        return;
    for (const QLineF& line : qAsConst(m_fitLines)) {
        src.append(frame.toPcp(line.p1()));
        dst.append(frame.toPcp(line.p2()));
    }
}

void kstVectorEditLayer::updateFitLines(int oldLevel)
{
    PixelFrame before, now;
    if (m_fitLines.isEmpty() || !pixelFrame(mapView(), oldLevel, before) || !pixelFrame(mapView(), m_level, now))
        return;
    for (QLineF& line : m_fitLines)
        line = QLineF(now.toPix(before.toPcp(line.p1())), now.toPix(before.toPcp(line.p2())));
}

// --- Applying a fit ------------------------------------------------------

void kstVectorEditLayer::fitLayer(const FourParamter__& p, kstVectorLayer* layer)
{
    if (!layer)
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        for (kstVectorShape* shape : qAsConst(collect->m_shapes))
            shape->fit(p);
}

void kstVectorEditLayer::fitLayers(const FourParamter__& p, QList<kstVectorLayer*> layers)
{
    for (kstVectorLayer* layer : qAsConst(layers))
        fitLayer(p, layer);
}

// --- Fit mode ------------------------------------------------------------

void kstVectorEditLayer::on_Fit_LeftClicked(QGraphicsSceneMouseEvent* event)
{
    const QPointF p = event->pos();
    if (m_fitting == FitReady) {
        m_fitLines.append(QLineF(p, p));
        m_fitting = FitDrawing;
    } else if (m_fitting == FitDrawing && !m_fitLines.isEmpty()) {
        m_fitLines.last().setP2(p);
        m_fitting = FitReady;
        emit fitValuesChanged();
        refresh();
    }
}

void kstVectorEditLayer::on_Fit_HoverMove(QGraphicsSceneHoverEvent* event)
{
    if (m_fitting != FitDrawing || m_fitLines.isEmpty())
        return;
    m_fitLines.last().setP2(event->pos());
    m_selectedFitLine = m_fitLines.size() - 1; // the line being drawn shows as selected
    refresh();
}

void kstVectorEditLayer::on_Fit_RightClicked(QGraphicsSceneContextMenuEvent*)
{
    if (m_fitting != FitDrawing)
        return;
    if (!m_fitLines.isEmpty())
        m_fitLines.removeLast();
    m_fitting = FitReady;
    refresh();
}

void kstVectorEditLayer::drawFit(QPainter* painter, const QStyleOptionGraphicsItem*)
{
    if (m_action != Fit || m_fitLines.isEmpty())
        return;
    painter->setRenderHint(QPainter::Antialiasing, true);
    const QPen pen(QBrush(m_fitLineClr, Qt::SolidPattern), m_fitLineWidth, Qt::DashLine, Qt::SquareCap, Qt::BevelJoin);
    const QPen selectedPen(QBrush(m_fitLineSelectedClr, Qt::SolidPattern), m_fitLineSelectedWidth, Qt::DashLine,
                           Qt::SquareCap, Qt::BevelJoin);
    const double wingX = kArrowWing * std::cos(kArrowAngle);
    const double wingY = kArrowWing * std::sin(kArrowAngle);
    for (int i = 0; i < m_fitLines.size(); ++i) {
        const QLineF& line = m_fitLines.at(i);
        const double length = line.length();
        painter->setPen(i == m_selectedFitLine ? selectedPen : pen);
        // Drawn along the x axis and turned onto the line; a line of length 0
        // shows its arrow head pointing along x.
        painter->save();
        painter->translate(line.p1());
        painter->rotate(-line.angle());
        painter->drawLine(QPointF(0, 0), QPointF(length, 0));
        painter->drawLine(QPointF(length, 0), QPointF(length - wingX, -wingY));
        painter->drawLine(QPointF(length, 0), QPointF(length - wingX, wingY));
        painter->restore();
    }
}

} // namespace Kestrum
