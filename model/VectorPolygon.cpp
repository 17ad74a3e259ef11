#include "VectorPolygon.h"

#include "kstCorrection.h"
#include "kstVectorStyle.h"

#include <QPainter>

#include <cmath>
#include <memory>

namespace Kestrum {

namespace {

struct GeometryDeleter
{
    void operator()(OGRGeometry* geometry) const { OGRGeometryFactory::destroyGeometry(geometry); }
};

// The rings in vertex order: the outer ring, then the holes.
QVector<QPolygonF> ringList(const Polygon__& polygon)
{
    QVector<QPolygonF> rings;
    rings.reserve(polygon.inner.size() + 1);
    rings.append(polygon.outer);
    rings.append(polygon.inner);
    return rings;
}

// Writable rings in vertex order. Iterating the holes non-const detaches them
// first, so the pointers stay valid while the polygon is not copied.
QVector<QPolygonF*> ringPointers(Polygon__& polygon)
{
    QVector<QPolygonF*> rings{&polygon.outer};
    for (QPolygonF& ring : polygon.inner)
        rings.append(&ring);
    return rings;
}

// Stored rings do not repeat their first point; painting and hit areas need it.
QPolygonF closedRing(const QPolygonF& ring)
{
    QPolygonF closed = ring;
    if (!closed.isEmpty() && !closed.isClosed())
        closed.append(closed.first());
    return closed;
}

// A ring's outline back to its first point, for the add-vertex band.
QPainterPath ringOutline(const QPolygonF& ring)
{
    QPainterPath path;
    if (ring.isEmpty())
        return path;
    path.moveTo(ring.first());
    for (int i = 1; i < ring.size(); ++i)
        path.lineTo(ring.at(i));
    path.lineTo(ring.first());
    return path;
}

// 2D points, then the closing point GDAL rings carry.
OGRLinearRing linearRing(const QVector<QPointF>& points)
{
    OGRLinearRing ring;
    ring.setNumPoints(points.size(), FALSE);
    for (int i = 0; i < points.size(); ++i)
        ring.setPoint(i, points.at(i).x(), points.at(i).y());
    ring.closeRings();
    return ring;
}

} // namespace

VectorPolygon::VectorPolygon(const Polygon__& geo, kstVectorEditLayer* layer)
    : kstVectorShape(layer)
    , m_geoData(geo)
    , m_borderPen(kstVectorStyle::polygonBorderPen_default)
    , m_fillBrush(kstVectorStyle::polygonFillBrush_default)
{
    m_shapeType = Type_Polygon;
}

// --- Style ---------------------------------------------------------------

void VectorPolygon::setBorderPen(const QPen& pen)
{
    if (m_borderPen != pen)
        m_borderPen = pen;
}

void VectorPolygon::setFillBrush(const QBrush& brush)
{
    if (m_fillBrush != brush)
        m_fillBrush = brush;
}

void VectorPolygon::setStyleDirect(const QPen& pen, const QBrush& brush)
{
    m_borderPen = pen;
    m_fillBrush = brush;
}

QString VectorPolygon::styleString(const QString&, Color_Mode mode)
{
    return brushStyleString(m_fillBrush, mode) + QLatin1Char(';') + penStyleString(m_borderPen, mode);
}

QImage VectorPolygon::icon()
{
    QImage image = iconCanvas();
    const double s = m_shapeIconSize;
    QPainterPath path(QPointF(0.1 * s, 0.35 * s));
    path.lineTo(0.15 * s, 0.75 * s);
    path.lineTo(0.55 * s, 0.9 * s);
    path.lineTo(0.9 * s, 0.65 * s);
    path.lineTo(0.35 * s, 0.1 * s);
    path.lineTo(0.1 * s, 0.35 * s);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(m_borderPen);
    painter.setBrush(m_fillBrush);
    painter.drawPath(path);
    return image;
}

// --- Update steps --------------------------------------------------------

void VectorPolygon::mapGeoPoints(const std::function<QPointF(const QPointF&)>& map)
{
    for (QPolygonF* ring : ringPointers(m_geoData))
        for (QPointF& point : *ring)
            point = map(point);
}

void VectorPolygon::correctInShape(kstCorrection* correction)
{
    if (!correction)
        return;
    mapGeoPoints([correction](const QPointF& p) { return gcp2pt(correction->correctIn(pt2gcp(p))); });
}

void VectorPolygon::correctOutShape(kstCorrection* correction)
{
    if (!correction)
        return;
    mapGeoPoints([correction](const QPointF& p) { return gcp2pt(correction->correctOut(pt2gcp(p))); });
}

bool VectorPolygon::updateExtent()
{
    return extentOf(m_geoData.outer, m_geoData.inner, m_ltGcp, m_rbGcp);
}

bool VectorPolygon::geoRings(QVector<QPolygonF>& rings) const
{
    rings = ringList(m_geoData);
    return true;
}

void VectorPolygon::setGeoRings(const QVector<QPolygonF>& rings)
{
    m_geoData.outer = rings.value(0);
    m_geoData.inner = rings.mid(1);
}

Polygon__ VectorPolygon::pixPolygon(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp)
{
    const QPointF lt = plane.ltPlane();
    Polygon__ pix;
    pix.outer = pixRing(plane.ring(0), lt, mpp);
    for (int i = 1; i < plane.rings().size(); ++i)
        pix.inner.append(pixRing(plane.rings().at(i), lt, mpp));
    return pix;
}

bool VectorPolygon::computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const
{
    const QVector<QPolygonF> rings = ringList(m_geoData);
    frameExtent(frame, rings, rings, scale);
    const Polygon__ pix = pixPolygon(framePlane(frame), scale.mpp);
    frame.rings = ringList(pix);
    if (m_selected)
        frame.addVertexPath = addVertexBand(pix);
    frame.labels = polygonLabels(pix.outer);
    return true;
}

void VectorPolygon::storeFramePixels(kstShapeFrame& frame)
{
    m_pixData.outer = frame.rings.value(0);
    m_pixData.inner = frame.rings.mid(1);
}

void VectorPolygon::updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateBoundingRectFromExtent(mpp, proj);
}

void VectorPolygon::updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    m_pixData = pixPolygon(currentPlane(proj), mpp);
}

void VectorPolygon::updateLabels()
{
    m_labels = polygonLabels(m_pixData.outer);
}

QList<VectorShapeLabel__> VectorPolygon::polygonLabels(const QPolygonF& outer) const
{
    QString text;
    QSizeF size;
    if (!labelSpec(text, size) || outer.size() < 3)
        return {};
    // The mean of the outer ring's points; holes do not move the label.
    QPointF sum;
    for (const QPointF& point : outer)
        sum += point;
    QRectF rect(QPointF(), size);
    rect.moveCenter(sum / outer.size());
    return {VectorShapeLabel__{text, 0.0, rect}};
}

void VectorPolygon::updateShapePath()
{
    // Even-odd filling leaves the holes out of both the paint and the hit area.
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    for (const QPolygonF& ring : ringList(m_pixData))
        path.addPolygon(closedRing(ring));
    m_shapePath = path;
}

void VectorPolygon::updateAddVertexPath()
{
    m_addVertexPath = addVertexBand(m_pixData);
}

QPainterPath VectorPolygon::addVertexBand(const Polygon__& pix)
{
    QPainterPath band = ringOutline(pix.outer);
    for (const QPolygonF& ring : pix.inner)
        band.connectPath(ringOutline(ring));
    return strokePath(band, m_addVertexPathWidth);
}

// --- Painting ------------------------------------------------------------

void VectorPolygon::drawShape(QPainter* painter)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, m_antiAliasing);
    painter->setPen(m_borderPen);
    painter->setBrush(m_fillBrush);
    painter->drawPath(m_shapePath);
    painter->restore();
}

void VectorPolygon::drawRingHandles(QPainter* painter, const QPolygonF& ring)
{
    if (ring.isEmpty())
        return;
    // The second point is left to its own colour below; points on the pixel
    // of the last handle drawn would only cover it.
    QVector<QPointF> others{ring.first()};
    QPoint last = ring.first().toPoint();
    for (int i = 2; i < ring.size(); ++i) {
        if (ring.at(i).toPoint() == last)
            continue;
        others.append(ring.at(i));
        last = ring.at(i).toPoint();
    }
    drawVertexHandles(painter, others, m_vertexClr2);
    if (ring.size() > 1) {
        drawVertexHandle(painter, ring.at(0), m_vertexClr0);
        drawVertexHandle(painter, ring.at(1), m_vertexClr1);
    }
}

void VectorPolygon::drawShapeVertex(QPainter* painter)
{
    for (const QPolygonF& ring : ringList(m_pixData))
        drawRingHandles(painter, ring);
}

// --- Index mapping -------------------------------------------------------

bool VectorPolygon::polygonIndex2RingIndex_HoverVertex(Polygon__* polygon, int index, QPolygonF*& ring,
                                                       int& ringIndex)
{
    if (!polygon || index < 0)
        return false;
    for (QPolygonF* candidate : ringPointers(*polygon)) {
        if (index < candidate->size()) {
            ring = candidate;
            ringIndex = index;
            return true;
        }
        index -= candidate->size();
    }
    return false;
}

bool VectorPolygon::polygonIndex2RingIndex_InsertVertex(Polygon__* polygon, int index, QPolygonF*& ring,
                                                        int& ringIndex)
{
    if (!polygon || index <= 0)
        return false;
    // Each ring takes as many insertion indices as it has edges, the closing edge last.
    for (QPolygonF* candidate : ringPointers(*polygon)) {
        if (index <= candidate->size()) {
            ring = candidate;
            ringIndex = index;
            return true;
        }
        index -= candidate->size();
    }
    return false;
}

QPolygonF VectorPolygon::simplifyPolygon(const QPolygonF& ring)
{
    if (ring.isEmpty())
        return QPolygonF();
    QPolygonF simple;
    simple.append(ring.first());
    for (int i = 1; i < ring.size(); ++i)
        if (ring.at(i).toPoint() != simple.last().toPoint())
            simple.append(ring.at(i));
    return closedRing(simple);
}

bool VectorPolygon::vertexPoints(int index, QPointF*& geo, QPointF*& pix)
{
    QPolygonF* geoRing = nullptr;
    QPolygonF* pixRing = nullptr;
    int geoIndex = 0;
    int pixIndex = 0;
    if (!polygonIndex2RingIndex_HoverVertex(&m_geoData, index, geoRing, geoIndex)
        || !polygonIndex2RingIndex_HoverVertex(&m_pixData, index, pixRing, pixIndex))
        return false;
    geo = &(*geoRing)[geoIndex];
    pix = &(*pixRing)[pixIndex];
    return true;
}

// --- Hit tests -----------------------------------------------------------

int VectorPolygon::vertexHoverIndex(const QPointF& pix)
{
    int index = 0;
    for (const QPolygonF& ring : ringList(m_pixData)) {
        for (const QPointF& point : ring) {
            if (vertexRect(point).contains(pix))
                return index;
            ++index;
        }
    }
    return -1;
}

int VectorPolygon::vertexInsertIndex(const QPointF& pix)
{
    int offset = 0;
    for (const QPolygonF& ring : ringList(m_pixData)) {
        const int count = ring.size();
        for (int i = 1; i <= count; ++i) {
            QPainterPath edge(ring.at(i - 1));
            edge.lineTo(ring.at(i % count));
            if (strokePath(edge, m_addVertexPathWidth).contains(pix))
                return offset + i;
        }
        offset += count;
    }
    return -1;
}

// --- Editing -------------------------------------------------------------

void VectorPolygon::insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    QPolygonF* geoRing = nullptr;
    QPolygonF* pixRing = nullptr;
    int geoIndex = 0;
    int pixIndex = 0;
    if (polygonIndex2RingIndex_InsertVertex(&m_geoData, index, geoRing, geoIndex)
        && polygonIndex2RingIndex_InsertVertex(&m_pixData, index, pixRing, pixIndex)) {
        geoRing->insert(geoIndex, gcp2pt(gcp));
        pixRing->insert(pixIndex, gcp2pix(gcp));
    }
    update();
}

bool VectorPolygon::removeVertex(int index)
{
    if (index < 0 || index >= vertexCount())
        return false;
    QPolygonF* geoRing = nullptr;
    QPolygonF* pixRing = nullptr;
    int geoIndex = 0;
    int pixIndex = 0;
    if (polygonIndex2RingIndex_HoverVertex(&m_geoData, index, geoRing, geoIndex)
        && polygonIndex2RingIndex_HoverVertex(&m_pixData, index, pixRing, pixIndex)) {
        // A ring needs three points; the caller removes the whole polygon,
        // also when the small ring is a hole.
        if (geoRing->size() <= 3 || pixRing->size() <= 3)
            return true;
        geoRing->remove(geoIndex);
        pixRing->remove(pixIndex);
    }
    resetShape(curMpp(), curProj());
    return false;
}

void VectorPolygon::moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    QPointF* geo = nullptr;
    QPointF* pix = nullptr;
    if (index < 0 || index >= vertexCount() || !vertexPoints(index, geo, pix))
        return;
    *pix = gcp2pix(gcp);
    *geo = gcp2pt(gcp);
    resetShape(curMpp(), curProj());
}

void VectorPolygon::moveVertexBy(int index, double dx, double dy)
{
    QPointF* geo = nullptr;
    QPointF* pix = nullptr;
    if (index < 0 || index >= vertexCount() || !vertexPoints(index, geo, pix))
        return;
    *pix += QPointF(dx, dy);
    *geo = movedByPix(*geo, dx, dy);
    resetShape(curMpp(), curProj());
}

void VectorPolygon::moveShapeBy(double dx, double dy)
{
    mapGeoPoints([this, dx, dy](const QPointF& p) { return movedByPix(p, dx, dy); });
    updateShape(curMpp(), curProj(), true);
}

void VectorPolygon::moveShapeTo(const kstGeographicalCoordinatesPoint& gcp)
{
    if (std::abs(gcp.lon() - m_ltGcp.lon()) < 1e-12 && std::abs(gcp.lat() - m_ltGcp.lat()) < 1e-12)
        return;
    // Each point keeps its pixel offset from the top-left corner, which lands on gcp.
    const QVector<QPolygonF> pixRings = ringList(m_pixData);
    const QVector<QPolygonF*> geoRings = ringPointers(m_geoData);
    for (int r = 0; r < geoRings.size(); ++r) {
        QPolygonF& ring = *geoRings.at(r);
        for (int i = 0; i < ring.size(); ++i) {
            const bool hasPix = r < pixRings.size() && i < pixRings.at(r).size();
            const QPointF pix = hasPix ? pixRings.at(r).at(i) : gcp2pix(pt2gcp(ring.at(i)));
            ring[i] = movedToPix(gcp, pix);
        }
    }
    updateShape(curMpp(), curProj(), true);
}

void VectorPolygon::fit(const FourParamter__& parameters)
{
    QVector<QPointF> points;
    for (const QPolygonF& ring : ringList(m_geoData))
        points += ring;
    const QVector<QPointF> fitted = fitPoints(points, parameters);
    int next = 0;
    mapGeoPoints([&fitted, &next](const QPointF& p) { return fitted.value(next++, p); });
    updateShape(curMpp(), curProj(), true);
}

// --- Vertices and measures -----------------------------------------------

kstGeographicalCoordinatesPoint VectorPolygon::vertex(int index)
{
    QPolygonF* ring = nullptr;
    int ringIndex = 0;
    if (!polygonIndex2RingIndex_HoverVertex(&m_geoData, index, ring, ringIndex))
        return kstGeographicalCoordinatesPoint();
    return pt2gcp(ring->at(ringIndex));
}

QList<kstGeographicalCoordinatesPoint> VectorPolygon::vertexs()
{
    QList<kstGeographicalCoordinatesPoint> points;
    for (const QPolygonF& ring : ringList(m_geoData))
        for (const QPointF& point : closedRing(ring))
            points.append(pt2gcp(point));
    return points;
}

int VectorPolygon::vertexCount() const
{
    int count = m_pixData.outer.size();
    for (const QPolygonF& ring : m_pixData.inner)
        count += ring.size();
    return count;
}

double VectorPolygon::area()
{
    // A hole counts with its whole area, also where it leaves the outer ring.
    double result = m_da.area(m_geoData.outer);
    for (const QPolygonF& ring : qAsConst(m_geoData.inner))
        result -= m_da.area(ring);
    return result;
}

double VectorPolygon::perimeter()
{
    double result = m_da.perimeter(m_geoData.outer);
    for (const QPolygonF& ring : qAsConst(m_geoData.inner))
        result += m_da.perimeter(ring);
    return result;
}

// --- Export --------------------------------------------------------------

OGRLinearRing VectorPolygon::toRing(const QPolygonF& ring)
{
    return linearRing(correctedOut(ring));
}

OGRLinearRing VectorPolygon::toRing(const QPolygonF& ring, OGRSpatialReference* srs)
{
    if (!srs || m_wgs84Srs.IsSame(srs))
        return toRing(ring);
    QVector<QPointF> points = correctedOut(ring);
    if (!transformPoints(points, srs))
        return OGRLinearRing();
    return linearRing(points);
}

OGRPolygon VectorPolygon::toOGR()
{
    OGRPolygon polygon;
    for (const QPolygonF& ring : ringList(m_geoData)) {
        OGRLinearRing linear = toRing(ring);
        polygon.addRing(&linear);
    }
    OGRSpatialReference* srs = newWgs84Srs();
    polygon.assignSpatialReference(srs);
    srs->Release(); // the polygon holds its own reference
    return polygon;
}

OGRGeometry* VectorPolygon::toOGRGeometry()
{
    return new OGRPolygon(toOGR());
}

OGRGeometry* VectorPolygon::toOGRGeometry(OGRSpatialReference* srs)
{
    if (!srs)
        return toOGRGeometry();
    // A ring that cannot be transformed stays empty; the polygon is still returned.
    std::unique_ptr<OGRPolygon, GeometryDeleter> polygon(new OGRPolygon);
    for (const QPolygonF& ring : ringList(m_geoData)) {
        OGRLinearRing linear = toRing(ring, srs);
        polygon->addRing(&linear);
    }
    polygon->assignSpatialReference(srs);
    return polygon.release();
}

// --- Copy ----------------------------------------------------------------

kstVectorShape* VectorPolygon::clone()
{
    auto* copy = new VectorPolygon(m_geoData, nullptr);
    copy->setBorderPen(m_borderPen);
    copy->setFillBrush(m_fillBrush);
    return copy;
}

} // namespace Kestrum
