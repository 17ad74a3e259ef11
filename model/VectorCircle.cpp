#include "VectorCircle.h"

#include "kstCorrection.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorStyle.h"

#include <QFontMetrics>
#include <QPainter>

#include <cmath>
#include <memory>

namespace Kestrum {

namespace {

// The extent's top-left corner counts as unmoved within this distance.
constexpr double kSameCornerTolerance = 1e-12;
// Rings are laid out with this value of pi, the one the drawing tool uses too,
// so that a resized circle has the same ring as a freshly drawn one.
constexpr double kRingPi = 3.141592653589;
// Gap in pixels between the radius line and its text.
constexpr double kRadiusTextGap = 3.0;

} // namespace

VectorCircle::VectorCircle(const Circle__& geo, kstVectorEditLayer* layer)
    : kstVectorShape(layer)
    , m_geoData(geo)
    , m_borderPen(kstVectorStyle::polygonBorderPen_default)
    , m_fillBrush(kstVectorStyle::polygonFillBrush_default)
    , m_ringSize(geo.ring.size())
{
    m_shapeType = Type_Circle;
}

void VectorCircle::setGeoData(const Circle__& geo)
{
    // Loaders create an empty circle and fill it afterwards, so the ring size
    // follows the data it is given.
    m_geoData = geo;
    m_ringSize = geo.ring.size();
}

// --- Style ---------------------------------------------------------------

void VectorCircle::setBorderPen(const QPen& pen)
{
    if (pen != m_borderPen)
        m_borderPen = pen;
}

void VectorCircle::setFillBrush(const QBrush& brush)
{
    if (brush != m_fillBrush)
        m_fillBrush = brush;
}

void VectorCircle::setStyleDirect(const QPen& pen, const QBrush& brush)
{
    m_borderPen = pen;
    m_fillBrush = brush;
}

// --- Update steps --------------------------------------------------------

void VectorCircle::correctInShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData.ring)
        p = gcp2pt(correction->correctIn(pt2gcp(p)));
    m_geoData.center = gcp2pt(correction->correctIn(pt2gcp(m_geoData.center)));
}

void VectorCircle::correctOutShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData.ring)
        p = gcp2pt(correction->correctOut(pt2gcp(p)));
    m_geoData.center = gcp2pt(correction->correctOut(pt2gcp(m_geoData.center)));
}

bool VectorCircle::updateExtent()
{
    // The ring alone: the centre always lies inside it.
    return updateExtentFrom(m_geoData.ring);
}

void VectorCircle::updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateBoundingRectFromExtent(mpp, proj);
}

void VectorCircle::updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    m_pixData = pixCircle(currentPlane(proj), mpp);
}

Circle__ VectorCircle::pixCircle(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp)
{
    const QPointF lt = plane.ltPlane();
    Circle__ pix;
    pix.ring = pixRing(plane.rings().value(0), lt, mpp);
    pix.center = pixOf(plane.rings().value(1).value(0), lt, mpp);
    return pix;
}

bool VectorCircle::geoRings(QVector<QPolygonF>& rings) const
{
    rings = {m_geoData.ring, QPolygonF(QVector<QPointF>{m_geoData.center})};
    return true;
}

void VectorCircle::setGeoRings(const QVector<QPolygonF>& rings)
{
    m_geoData.ring = rings.value(0);
    m_geoData.center = rings.value(1).value(0);
}

bool VectorCircle::computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const
{
    QVector<QPolygonF> rings;
    geoRings(rings);
    frameExtent(frame, rings, {m_geoData.ring}, scale);
    const kstPlaneCache& plane = framePlane(frame);
    const QPointF lt = plane.ltPlane();
    frame.rings.resize(1);
    pixRingInto(frame.rings[0], plane.ring(0), lt, scale.mpp);
    frame.centre = pixOf(plane.ring(1).value(0), lt, scale.mpp);
    if (m_selected)
        frame.addVertexPath = QPainterPath();
    Circle__ pix;
    pix.ring = frame.rings.at(0);
    pix.center = frame.centre;
    frame.labels = circleLabels(pix);
    return true;
}

void VectorCircle::storeFramePixels(kstShapeFrame& frame)
{
    if (!frame.rings.isEmpty())
        m_pixData.ring.swap(frame.rings.first());
    m_pixData.center = frame.centre;
}

void VectorCircle::updateShapePath()
{
    QPolygonF ring = m_pixData.ring;
    if (!ring.isEmpty() && !ring.isClosed())
        ring.append(ring.first());
    m_shapePath = QPainterPath();
    m_shapePath.addPolygon(ring);
}

void VectorCircle::updateAddVertexPath()
{
    m_addVertexPath = QPainterPath();
}

void VectorCircle::updateLabels()
{
    m_labels = circleLabels(m_pixData);
}

QList<VectorShapeLabel__> VectorCircle::circleLabels(const Circle__& pix) const
{
    QString text;
    QSizeF size;
    // A ring still being laid out has no meaningful centre yet.
    if (!labelSpec(text, size) || m_ringSize == 0 || pix.ring.size() != m_ringSize)
        return {};
    QRectF rect(QPointF(), size);
    rect.moveCenter(pix.center);
    return {{text, 0.0, rect}};
}

// --- Painting ------------------------------------------------------------

void VectorCircle::drawShape(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing, antiAliasiing());
    painter->setPen(m_borderPen);
    painter->setBrush(m_fillBrush);
    painter->drawPath(m_shapePath);
    drawRadius(painter);
}

QString VectorCircle::radiusText(double metres)
{
    if (metres > 1000.0)
        return QStringLiteral("%1km").arg(metres / 1000.0, 0, 'f', 3, QLatin1Char(' '));
    return QStringLiteral("%1m").arg(metres, 0, 'f', 2, QLatin1Char(' '));
}

void VectorCircle::drawRadius(QPainter* painter)
{
    if (m_geoData.ring.isEmpty() || m_pixData.ring.isEmpty())
        return;
    const QString text = radiusText(m_da.distance(m_geoData.center, m_geoData.ring.first()));
    // The radius is written in the look of its layer's labels, whether or not
    // the layer shows labels; a circle of no layer uses the current label style.
    const kstVectorLayer* layer = m_collect ? m_collect->m_layer : nullptr;
    QFont font = layer ? layer->m_labelFont : kstVectorStyle::labelFont;
    font.setWeight(QFont::Bold);
    const QRect bounds = QFontMetrics(font).boundingRect(text);
    const int w = bounds.width();
    const int h = bounds.height();
    const QPointF c = m_pixData.center;
    const QPointF edge = m_pixData.ring.first();
    const double d = edge.x() - c.x();
    // A circle too small for its text shows neither line nor text.
    if (!(std::abs(d) * 3.0 > w))
        return;
    painter->setPen(QPen(QBrush(m_borderPen.color(), Qt::SolidPattern), 1.0, Qt::SolidLine, Qt::SquareCap,
                         Qt::BevelJoin));
    // The line leaves a gap in its middle for the text.
    painter->drawLine(c, QPointF(c.x() + (d - w) * 0.5 - kRadiusTextGap, c.y()));
    painter->drawLine(QPointF(c.x() + (w + d) * 0.5 + kRadiusTextGap, c.y()), edge);
    painter->setFont(font);
    const QPointF topLeft(int(c.x() + (d - w) * 0.5), int(c.y() - h / 2));
    drawOutlineText(painter, text, QRectF(topLeft, QSizeF(w, h)),
                    layer ? layer->m_labelOutlineClr : kstVectorStyle::labelOutlineClr,
                    layer ? layer->m_labelTextClr : kstVectorStyle::labelTextClr);
}

void VectorCircle::drawShapeVertex(QPainter* painter)
{
    if (m_pixData.ring.isEmpty())
        return;
    QVector<QPointF> handles;
    for (int handle = 1; handle <= kHandleCount; ++handle)
        handles.append(m_pixData.ring.at(handleRingIndex(handle)));
    drawVertexHandles(painter, handles, m_vertexClr2);
    drawVertexHandle(painter, handles.at(0), m_vertexClr0);
    drawVertexHandle(painter, handles.at(1), m_vertexClr1);
}

QImage VectorCircle::icon()
{
    QImage image = iconCanvas();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(m_borderPen);
    painter.setBrush(m_fillBrush);
    const double s = m_shapeIconSize;
    painter.drawEllipse(QPointF(0.5 * s, 0.5 * s), 0.4 * s, 0.4 * s);
    return image;
}

// --- Hit tests -----------------------------------------------------------

int VectorCircle::handleRingIndex(int handle) const
{
    const int count = m_pixData.ring.size();
    if (count == 0 || handle < 1 || handle > kHandleCount)
        return -1;
    return (handle - 1) * count / kHandleCount;
}

int VectorCircle::vertexHoverIndex(const QPointF& pix)
{
    for (int handle = 1; handle <= kHandleCount; ++handle) {
        const int index = handleRingIndex(handle);
        if (index >= 0 && vertexRect(m_pixData.ring.at(index)).contains(pix))
            return handle;
    }
    return -1;
}

int VectorCircle::vertexInsertIndex(const QPointF&)
{
    return -1;
}

// --- Editing -------------------------------------------------------------

void VectorCircle::insertVertex(int, const kstGeographicalCoordinatesPoint&)
{
}

bool VectorCircle::removeVertex(int)
{
    // Never degenerate: the caller must not delete the circle either.
    return false;
}

void VectorCircle::moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    moveHandleTo(index, gcp2pix(gcp));
}

void VectorCircle::moveVertexBy(int index, double dx, double dy)
{
    const int ringIndex = handleRingIndex(index);
    if (ringIndex >= 0)
        moveHandleTo(index, m_pixData.ring.at(ringIndex) + QPointF(dx, dy));
}

void VectorCircle::moveHandleTo(int handle, const QPointF& pix)
{
    // Only the four handles resize; any other index would collapse the ring.
    if (handle < 1 || handle > kHandleCount || m_ringSize == 0 || m_pixData.ring.isEmpty())
        return;
    const QPointF c = m_pixData.center;
    double radius = 0.0;
    switch (handle) {
    case 1: radius = pix.x() - c.x(); break;
    case 2: radius = pix.y() - c.y(); break;
    case 3: radius = c.x() - pix.x(); break;
    case 4: radius = c.y() - pix.y(); break;
    }
    m_pixData.ring.resize(m_ringSize);
    m_geoData.ring.resize(m_ringSize);
    for (int k = 0; k < m_ringSize; ++k) {
        const double angle = 2.0 * k * kRingPi / m_ringSize;
        const QPointF p(c.x() + radius * std::cos(angle), c.y() + radius * std::sin(angle));
        m_pixData.ring[k] = p;
        // Whole scene pixels, as a drawn circle gets them.
        m_geoData.ring[k] = itemPixToGeo(p);
    }
    updateShape(curMpp(), curProj(), true);
}

void VectorCircle::moveShapeBy(double dx, double dy)
{
    for (QPointF& p : m_geoData.ring)
        p = movedByPix(p, dx, dy);
    m_geoData.center = movedByPix(m_geoData.center, dx, dy);
    updateShape(curMpp(), curProj(), true);
}

void VectorCircle::moveShapeTo(const kstGeographicalCoordinatesPoint& gcp)
{
    if (std::abs(gcp.lon() - m_ltGcp.lon()) < kSameCornerTolerance
        && std::abs(gcp.lat() - m_ltGcp.lat()) < kSameCornerTolerance)
        return;
    // A circle that was never laid out gets its pixel form first.
    if (m_pixData.ring.size() != m_geoData.ring.size()) {
        updateExtent();
        updatePixsData(curMpp(), curProj());
    }
    // Rebuilding each point from its pixel offset keeps the pixel form.
    for (int i = 0; i < m_geoData.ring.size(); ++i)
        m_geoData.ring[i] = movedToPix(gcp, m_pixData.ring.at(i));
    m_geoData.center = movedToPix(gcp, m_pixData.center);
    updateShape(curMpp(), curProj(), true);
}

void VectorCircle::fit(const FourParamter__& parameters)
{
    // Ring and centre in one go, so that they share one transformation.
    QVector<QPointF> points = m_geoData.ring;
    points.append(m_geoData.center);
    points = fitPoints(points, parameters);
    m_geoData.center = points.takeLast();
    m_geoData.ring = QPolygonF(points);
    updateShape(curMpp(), curProj(), true);
}

// --- Vertices and measures -----------------------------------------------

kstGeographicalCoordinatesPoint VectorCircle::vertex(int index)
{
    return index >= 0 && index < m_geoData.ring.size() ? pt2gcp(m_geoData.ring.at(index))
                                                       : kstGeographicalCoordinatesPoint();
}

QList<kstGeographicalCoordinatesPoint> VectorCircle::vertexs()
{
    QList<kstGeographicalCoordinatesPoint> points;
    for (const QPointF& p : m_geoData.ring)
        points.append(pt2gcp(p));
    if (!m_geoData.ring.isEmpty())
        points.append(pt2gcp(m_geoData.ring.first()));
    return points;
}

int VectorCircle::vertexCount() const
{
    return m_ringSize;
}

double VectorCircle::area()
{
    return m_da.area(m_geoData.ring);
}

double VectorCircle::perimeter()
{
    return m_da.perimeter(m_geoData.ring);
}

// --- Export --------------------------------------------------------------

OGRPolygon VectorCircle::toOGR()
{
    // The centre is not exported: the ring is the circle.
    return ringPolygon(m_geoData.ring);
}

OGRGeometry* VectorCircle::toOGRGeometry()
{
    return new OGRPolygon(toOGR());
}

OGRGeometry* VectorCircle::toOGRGeometry(OGRSpatialReference* srs)
{
    return ringPolygonGeometry(m_geoData.ring, srs);
}

QString VectorCircle::styleString(const QString&, Color_Mode mode)
{
    return brushStyleString(m_fillBrush, mode) + QLatin1Char(';') + penStyleString(m_borderPen, mode);
}

kstVectorShape* VectorCircle::clone()
{
    auto* circle = new VectorCircle(m_geoData, nullptr);
    circle->setBorderPen(m_borderPen);
    circle->setFillBrush(m_fillBrush);
    return circle;
}

} // namespace Kestrum
