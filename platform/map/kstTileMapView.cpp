#include "kstTileMapView.h"

#include "kstTileResulotion.h"
#include "kstWebMercatorProjection.h"

#include <QGraphicsScene>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace Kestrum {

namespace {

// Graticule spacings in degrees, coarse to fine; the finest one whose lines
// stay at least kMinGridSpacing pixels apart at the equator is drawn.
constexpr double kGridSteps[] = {30, 15, 10, 5, 2, 1, 0.5, 0.2, 0.1, 0.05, 0.02, 0.01,
                                 0.005, 0.002, 0.001, 0.0005, 0.0002, 0.0001, 0.00005};
constexpr double kMinGridSpacing = 90.0;
constexpr int kWheelStep = 120; // one notch of a standard mouse wheel

const QColor kSeaColor(0xE4, 0xEC, 0xF3);
const QColor kOutsideColor(0xC8, 0xC8, 0xC8);
const QColor kGridColor(0x8A, 0x9B, 0xAE);
const QColor kGridTextColor(0x50, 0x60, 0x72);

// Decimals needed to print multiples of a grid step exactly.
int stepDecimals(double step)
{
    int decimals = 0;
    while (decimals < 6 && std::abs(step * std::pow(10.0, decimals) - std::round(step * std::pow(10.0, decimals))) > 1e-9)
        ++decimals;
    return decimals;
}

QString degreeLabel(double value, bool longitude, int decimals)
{
    const QChar hemisphere = longitude ? (value < 0 ? QLatin1Char('W') : QLatin1Char('E'))
                                       : (value < 0 ? QLatin1Char('S') : QLatin1Char('N'));
    const double v = std::abs(value);
    QString text = QString::number(v, 'f', decimals) + QChar(0x00B0);
    if (v != 0.0)
        text += hemisphere;
    return text;
}

} // namespace

kstTileMapView::kstTileMapView(QWidget* parent)
    : QGraphicsView(parent)
    , m_ownProjection(new kstWebMercatorProjection)
    , m_ownResolution(new kstTileResulotion)
    , m_ownCorrection(new kstIdentityCorrection)
    , m_projection(m_ownProjection.get())
    , m_resolution(m_ownResolution.get())
    , m_correction(m_ownCorrection.get())
{
    setScene(new QGraphicsScene(this));
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    setRenderHint(QPainter::Antialiasing);
    setMouseTracking(true);
    // Until the view has a size, its top-left point is the centre of the map.
    m_viewSize = QSize(0, 0);
    m_ltPcp = kstGeographicalCoordinatesPoint(0.0, 0.0).toPcp(m_projection);
}

kstTileMapView::~kstTileMapView() = default;

QSize kstTileMapView::viewSize() const
{
    return m_viewSize;
}

kstMeterPerPixle__ kstTileMapView::currentMpp() const
{
    return m_resolution->mpp(m_level);
}

kstPlaneCoordinatesPoint kstTileMapView::centerPcp(const QSizeF& size) const
{
    return m_ltPcp.rbPcp(currentMpp(), size / 2.0);
}

kstPlaneCoordinatesPoint kstTileMapView::ltPcpAround(const kstPlaneCoordinatesPoint& center,
                                                     const QSizeF& size, int level) const
{
    return center.rbPcp(m_resolution->mpp(level), QSizeF(-size.width() / 2.0, -size.height() / 2.0));
}

kstGeographicalCoordinatesPoint kstTileMapView::currentCenterGcp() const
{
    return centerPcp(QSizeF(viewSize())).toGcp(m_projection);
}

kstGeographicalCoordinatesPoint kstTileMapView::pixToGcp(const QPointF& pix) const
{
    return m_ltPcp.rbPcp(currentMpp(), QSizeF(pix.x(), pix.y())).toGcp(m_projection);
}

QPointF kstTileMapView::gcpToPix(const kstGeographicalCoordinatesPoint& gcp) const
{
    return gcp.toPcp(m_projection).toPix(currentMpp(), m_ltPcp);
}

void kstTileMapView::setConfig(kstProjection* projection, kstResulotion* resolution, kstCorrection* correction)
{
    projection = projection ? projection : m_projection;
    resolution = resolution ? resolution : m_resolution;
    correction = correction ? correction : m_correction;
    emit configNeedChange(projection, resolution, correction);

    const kstGeographicalCoordinatesPoint center = currentCenterGcp();
    m_projection = projection;
    m_resolution = resolution;
    m_correction = correction;
    const int level = std::clamp(m_level, m_resolution->minLevel(), m_resolution->maxLevel());
    // The new top-left point is announced before configChanged, so that a
    // listener re-syncing on configChanged already sees the final view.
    setView(ltPcpAround(center.toPcp(m_projection), QSizeF(viewSize()), level), level);
    emit configChanged(m_projection, m_resolution, m_correction);
    viewport()->update();
}

void kstTileMapView::setDragEnable(bool enable)
{
    m_dragEnable = enable;
    if (!enable)
        m_dragging = false;
}

void kstTileMapView::panAndZoom(const kstGeographicalCoordinatesPoint& center, int level)
{
    level = std::clamp(level, m_resolution->minLevel(), m_resolution->maxLevel());
    setView(ltPcpAround(center.toPcp(m_projection), QSizeF(viewSize()), level), level);
}

void kstTileMapView::zoomIn(const QPointF& pix)
{
    zoomAbout(pix, m_level + 1);
}

void kstTileMapView::zoomOut(const QPointF& pix)
{
    zoomAbout(pix, m_level - 1);
}

void kstTileMapView::zoomIn()
{
    zoomIn(QRectF(QPointF(0, 0), QSizeF(viewSize())).center());
}

void kstTileMapView::zoomOut()
{
    zoomOut(QRectF(QPointF(0, 0), QSizeF(viewSize())).center());
}

void kstTileMapView::panBy(const QPointF& delta)
{
    setView(m_ltPcp.rbPcp(currentMpp(), QSizeF(-delta.x(), -delta.y())), m_level);
}

void kstTileMapView::zoomAbout(const QPointF& pix, int level)
{
    level = std::clamp(level, m_resolution->minLevel(), m_resolution->maxLevel());
    if (level == m_level)
        return;
    const QSizeF offset(pix.x(), pix.y());
    const kstPlaneCoordinatesPoint anchor = m_ltPcp.rbPcp(currentMpp(), offset);
    setView(anchor.rbPcp(m_resolution->mpp(level), QSizeF(-offset.width(), -offset.height())), level);
}

void kstTileMapView::setView(const kstPlaneCoordinatesPoint& ltPcp, int level)
{
    if (ltPcp == m_ltPcp && level == m_level)
        return;
    m_ltPcp = ltPcp;
    m_level = level;
    emit viewChanged(m_ltPcp, m_level);
    emit needRefresh(true);
    viewport()->update();
}

void kstTileMapView::resizeEvent(QResizeEvent* event)
{
    // Keep the plane point at the centre of the view where it was.
    const kstPlaneCoordinatesPoint center = centerPcp(QSizeF(m_viewSize));
    QGraphicsView::resizeEvent(event);
    const QSize size = viewport()->size();
    m_viewSize = size;
    scene()->setSceneRect(0, 0, size.width(), size.height());
    emit sizeChanged(size);
    setView(ltPcpAround(center, QSizeF(size), m_level), m_level);
}

void kstTileMapView::mousePressEvent(QMouseEvent* event)
{
    QGraphicsView::mousePressEvent(event);
    if (m_dragEnable && event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_lastDragPos = event->localPos();
    }
}

void kstTileMapView::mouseMoveEvent(QMouseEvent* event)
{
    QGraphicsView::mouseMoveEvent(event);
    if (m_dragging && m_dragEnable && (event->buttons() & Qt::LeftButton)) {
        const QPointF pos = event->localPos();
        panBy(pos - m_lastDragPos);
        m_lastDragPos = pos;
    }
}

void kstTileMapView::mouseReleaseEvent(QMouseEvent* event)
{
    QGraphicsView::mouseReleaseEvent(event);
    if (event->button() == Qt::LeftButton)
        m_dragging = false;
}

void kstTileMapView::wheelEvent(QWheelEvent* event)
{
    const int steps = event->angleDelta().y() / kWheelStep;
    if (steps != 0)
        zoomAbout(event->position(), m_level + steps);
    event->accept();
}

void kstTileMapView::drawBackground(QPainter* painter, const QRectF& rect)
{
    painter->fillRect(rect, kOutsideColor);
    const QPointF lt = gcpToPix(m_projection->ltGcp());
    const QPointF rb = gcpToPix(m_projection->rbGcp());
    painter->fillRect(QRectF(lt, rb).intersected(rect), kSeaColor);
    drawGraticule(painter, rect);
}

void kstTileMapView::drawGraticule(QPainter* painter, const QRectF& rect) const
{
    const kstGeographicalCoordinatesPoint ltValid = m_projection->ltGcp();
    const kstGeographicalCoordinatesPoint rbValid = m_projection->rbGcp();
    const double pixPerDegree = gcpToPix(kstGeographicalCoordinatesPoint(1, 0)).x()
                              - gcpToPix(kstGeographicalCoordinatesPoint(0, 0)).x();
    double step = kGridSteps[0];
    for (double s : kGridSteps) {
        if (s * pixPerDegree < kMinGridSpacing)
            break;
        step = s;
    }

    // The visible geographic window, clamped to the projection's valid area.
    const kstGeographicalCoordinatesPoint tl = pixToGcp(rect.topLeft());
    const kstGeographicalCoordinatesPoint br = pixToGcp(rect.bottomRight());
    const double west = std::max(tl.lon(), ltValid.lon());
    const double east = std::min(br.lon(), rbValid.lon());
    const double north = std::min(tl.lat(), ltValid.lat());
    const double south = std::max(br.lat(), rbValid.lat());
    if (west > east || south > north)
        return;

    const double top = gcpToPix(kstGeographicalCoordinatesPoint(0, north)).y();
    const double bottom = gcpToPix(kstGeographicalCoordinatesPoint(0, south)).y();
    const double left = gcpToPix(kstGeographicalCoordinatesPoint(west, 0)).x();
    const double right = gcpToPix(kstGeographicalCoordinatesPoint(east, 0)).x();

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    QFont font = painter->font();
    font.setPointSizeF(8);
    painter->setFont(font);
    const QPen gridPen(kGridColor, 0, Qt::DotLine);
    const int decimals = stepDecimals(step);
    for (double i = std::ceil(west / step); i * step <= east; ++i) {
        const double lon = i * step;
        const double x = gcpToPix(kstGeographicalCoordinatesPoint(lon, 0)).x();
        painter->setPen(gridPen);
        painter->drawLine(QPointF(x, top), QPointF(x, bottom));
        painter->setPen(kGridTextColor);
        painter->drawText(QPointF(x + 3, std::max(top, rect.top()) + 12), degreeLabel(lon, true, decimals));
    }
    for (double i = std::ceil(south / step); i * step <= north; ++i) {
        const double lat = i * step;
        const double y = gcpToPix(kstGeographicalCoordinatesPoint(0, lat)).y();
        painter->setPen(gridPen);
        painter->drawLine(QPointF(left, y), QPointF(right, y));
        painter->setPen(kGridTextColor);
        painter->drawText(QPointF(std::max(left, rect.left()) + 3, y - 3), degreeLabel(lat, false, decimals));
    }
    painter->restore();
}

} // namespace Kestrum
