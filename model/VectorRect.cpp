#include "VectorRect.h"

#include "kstCorrection.h"
#include "kstVectorStyle.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <memory>

namespace Kestrum {

namespace {

// The extent's top-left corner counts as unmoved within this distance.
constexpr double kSameCornerTolerance = 1e-12;

} // namespace

VectorRect::VectorRect(const QPolygonF& geo, kstVectorEditLayer* layer)
    : kstVectorShape(layer)
    , m_geoData(geo)
    , m_borderPen(kstVectorStyle::polygonBorderPen_default)
    , m_fillBrush(kstVectorStyle::polygonFillBrush_default)
{
    m_shapeType = Type_Rect;
}

// --- Style ---------------------------------------------------------------

void VectorRect::setBorderPen(const QPen& pen)
{
    if (pen != m_borderPen)
        m_borderPen = pen;
}

void VectorRect::setFillBrush(const QBrush& brush)
{
    if (brush != m_fillBrush)
        m_fillBrush = brush;
}

void VectorRect::setStyleDirect(const QPen& pen, const QBrush& brush)
{
    m_borderPen = pen;
    m_fillBrush = brush;
}

QRectF VectorRect::pixRect() const
{
    return pixRectOf(m_pixData);
}

QRectF VectorRect::pixRectOf(const QPolygonF& handles)
{
    return handles.size() == kHandleCount ? QRectF(handles.at(0), handles.at(2)) : QRectF();
}

QPointF VectorRect::midPoint(const QPointF& a, const QPointF& b)
{
    return QPointF(a.x() + (b.x() - a.x()) * 0.5, a.y() + (b.y() - a.y()) * 0.5);
}

// --- Update steps --------------------------------------------------------

void VectorRect::correctInShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData)
        p = gcp2pt(correction->correctIn(pt2gcp(p)));
}

void VectorRect::correctOutShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData)
        p = gcp2pt(correction->correctOut(pt2gcp(p)));
}

bool VectorRect::updateExtent()
{
    return updateExtentFrom(corners());
}

void VectorRect::updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateBoundingRectFromExtent(mpp, proj);
}

void VectorRect::updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    m_pixData = handlePixels(currentPlane(proj), mpp);
}

QPolygonF VectorRect::handlePixels(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp)
{
    // Without its four corners there is nothing to lay handles out on.
    const QPolygonF corners = plane.rings().value(0);
    if (corners.size() < kCornerCount)
        return QPolygonF();
    QPolygonF handles(kHandleCount);
    for (int i = 0; i < kCornerCount; ++i)
        handles[i] = pixOf(corners.at(i), plane.ltPlane(), mpp);
    for (int i = 0; i < kCornerCount; ++i)
        handles[kCornerCount + i] = midPoint(handles.at(i), handles.at((i + 1) % kCornerCount));
    return handles;
}

bool VectorRect::geoRings(QVector<QPolygonF>& rings) const
{
    rings = {m_geoData};
    return true;
}

void VectorRect::setGeoRings(const QVector<QPolygonF>& rings)
{
    m_geoData = rings.value(0);
}

bool VectorRect::computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const
{
    frameExtent(frame, {m_geoData}, {corners()}, scale);
    const QPolygonF handles = handlePixels(framePlane(frame), scale.mpp);
    frame.rings = {handles};
    if (m_selected)
        frame.addVertexPath = QPainterPath();
    frame.labels = rectLabels(handles);
    return true;
}

void VectorRect::storeFramePixels(kstShapeFrame& frame)
{
    if (!frame.rings.isEmpty())
        m_pixData.swap(frame.rings.first());
}

void VectorRect::updateShapePath()
{
    m_shapePath = QPainterPath();
    if (hasHandles())
        m_shapePath.addRect(pixRect());
}

void VectorRect::updateAddVertexPath()
{
    m_addVertexPath = QPainterPath();
}

void VectorRect::updateLabels()
{
    m_labels = rectLabels(m_pixData);
}

QList<VectorShapeLabel__> VectorRect::rectLabels(const QPolygonF& handles) const
{
    QString text;
    QSizeF size;
    if (!labelSpec(text, size) || handles.size() != kHandleCount)
        return {};
    QRectF rect(QPointF(), size);
    rect.moveCenter(pixRectOf(handles).center());
    return {{text, 0.0, rect}};
}

// --- Painting ------------------------------------------------------------

void VectorRect::drawShape(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing, antiAliasiing());
    painter->setPen(m_borderPen);
    painter->setBrush(m_fillBrush);
    painter->drawPath(m_shapePath);
}

void VectorRect::drawShapeVertex(QPainter* painter)
{
    if (!hasHandles())
        return;
    drawVertexHandles(painter, m_pixData, m_vertexClr2);
    drawVertexHandle(painter, m_pixData.at(0), m_vertexClr0);
    drawVertexHandle(painter, m_pixData.at(1), m_vertexClr1);
}

QImage VectorRect::icon()
{
    QImage image = iconCanvas();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(m_borderPen);
    painter.setBrush(m_fillBrush);
    const int s = m_shapeIconSize;
    painter.drawRect(QRect(QPoint(int(0.1 * s), int(0.1 * s)), QPoint(int(0.9 * s), int(0.9 * s))));
    return image;
}

// --- Hit tests -----------------------------------------------------------

int VectorRect::vertexHoverIndex(const QPointF& pix)
{
    for (int i = 0; i < m_pixData.size(); ++i) {
        if (vertexRect(m_pixData.at(i)).contains(pix))
            return i;
    }
    return -1;
}

int VectorRect::vertexInsertIndex(const QPointF&)
{
    return -1;
}

// --- Editing -------------------------------------------------------------

void VectorRect::insertVertex(int, const kstGeographicalCoordinatesPoint&)
{
}

bool VectorRect::removeVertex(int)
{
    // Never degenerate: the caller must not delete the rectangle either.
    return false;
}

void VectorRect::moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    moveHandleTo(index, gcp2pix(gcp));
}

void VectorRect::moveVertexBy(int index, double dx, double dy)
{
    if (index >= 0 && index < m_pixData.size())
        moveHandleTo(index, m_pixData.at(index) + QPointF(dx, dy));
}

void VectorRect::moveHandleTo(int index, const QPointF& pix)
{
    // An index that names no handle must not snap the corners to whole pixels.
    if (!hasHandles() || index < 0 || index >= kHandleCount)
        return;
    // Corners move both of their sides, edge middles only their own side; the
    // rectangle is not normalised, so dragging past the opposite side turns it
    // inside out while every corner keeps its index.
    QRectF rect = pixRect();
    switch (index) {
    case 0: rect.setTopLeft(pix); break;
    case 1: rect.setTopRight(pix); break;
    case 2: rect.setBottomRight(pix); break;
    case 3: rect.setBottomLeft(pix); break;
    case 4: rect.setTop(pix.y()); break;
    case 5: rect.setRight(pix.x()); break;
    case 6: rect.setBottom(pix.y()); break;
    case 7: rect.setLeft(pix.x()); break;
    }
    setFromPixRect(rect);
}

void VectorRect::setFromPixRect(const QRectF& rect)
{
    const double halfWidth = rect.width() * 0.5;
    const double halfHeight = rect.height() * 0.5;
    m_pixData = QPolygonF({rect.topLeft(), rect.topRight(), rect.bottomRight(), rect.bottomLeft(),
                           rect.topLeft() + QPointF(halfWidth, 0), rect.topRight() + QPointF(0, halfHeight),
                           rect.bottomRight() - QPointF(halfWidth, 0), rect.bottomLeft() - QPointF(0, halfHeight)});
    // Corners come from whole scene pixels, so the sides stay axis-aligned on the map.
    for (int i = 0; i < kCornerCount; ++i)
        m_geoData[i] = itemPixToGeo(m_pixData.at(i));
    resetShape(curMpp(), curProj());
}

void VectorRect::moveShapeBy(double dx, double dy)
{
    for (QPointF& p : m_geoData)
        p = movedByPix(p, dx, dy);
    updateShape(curMpp(), curProj(), true);
}

void VectorRect::moveShapeTo(const kstGeographicalCoordinatesPoint& gcp)
{
    if (std::abs(gcp.lon() - m_ltGcp.lon()) < kSameCornerTolerance
        && std::abs(gcp.lat() - m_ltGcp.lat()) < kSameCornerTolerance)
        return;
    // A rectangle that was never laid out gets its pixel form first.
    if (!hasHandles()) {
        updateExtent();
        updatePixsData(curMpp(), curProj());
        if (!hasHandles())
            return;
    }
    // Rebuilding each corner from its pixel offset keeps the pixel form.
    for (int i = 0; i < kCornerCount; ++i)
        m_geoData[i] = movedToPix(gcp, m_pixData.at(i));
    updateShape(curMpp(), curProj(), true);
}

void VectorRect::fit(const FourParamter__& parameters)
{
    m_geoData = QPolygonF(fitPoints(m_geoData, parameters));
    updateShape(curMpp(), curProj(), true);
}

// --- Vertices and measures -----------------------------------------------

kstGeographicalCoordinatesPoint VectorRect::vertex(int index)
{
    return index >= 0 && index < vertexCount() ? pt2gcp(m_geoData.at(index)) : kstGeographicalCoordinatesPoint();
}

QList<kstGeographicalCoordinatesPoint> VectorRect::vertexs()
{
    QList<kstGeographicalCoordinatesPoint> points;
    const QPolygonF ring = corners();
    for (const QPointF& p : ring)
        points.append(pt2gcp(p));
    if (!ring.isEmpty())
        points.append(pt2gcp(ring.first()));
    return points;
}

int VectorRect::vertexCount() const
{
    return std::min(int(m_geoData.size()), kCornerCount);
}

double VectorRect::area()
{
    return m_da.area(corners());
}

double VectorRect::perimeter()
{
    return m_da.perimeter(corners());
}

// --- Export --------------------------------------------------------------

OGRPolygon VectorRect::toOGR()
{
    return ringPolygon(corners());
}

OGRGeometry* VectorRect::toOGRGeometry()
{
    return new OGRPolygon(toOGR());
}

OGRGeometry* VectorRect::toOGRGeometry(OGRSpatialReference* srs)
{
    return ringPolygonGeometry(corners(), srs);
}

QString VectorRect::styleString(const QString&, Color_Mode mode)
{
    return brushStyleString(m_fillBrush, mode) + QLatin1Char(';') + penStyleString(m_borderPen, mode);
}

kstVectorShape* VectorRect::clone()
{
    auto* rect = new VectorRect(m_geoData, nullptr);
    rect->setBorderPen(m_borderPen);
    rect->setFillBrush(m_fillBrush);
    return rect;
}

} // namespace Kestrum
