#include "VectorLine.h"

#include "kstCorrection.h"
#include "kstVectorStyle.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace Kestrum {

namespace {

// The extent's top-left corner counts as unmoved within this distance.
constexpr double kSameCornerTolerance = 1e-12;
// Label anchors are looked for on pieces of at most twice this length.
constexpr int kLabelAnchorMinLength = 512;
// Rotation of labels on vertical segments (the value the label painter expects).
constexpr double kHalfPi = 1.5707963267945;

QPainterPath segmentPath(const QPointF& from, const QPointF& to)
{
    QPainterPath path(from);
    path.lineTo(to);
    return path;
}

QPainterPath polygonPath(const QPolygonF& points)
{
    QPainterPath path;
    path.addPolygon(points);
    return path;
}

} // namespace

VectorLine::VectorLine(const QVector<QPointF>& geo, kstVectorEditLayer* layer)
    : kstVectorShape(layer)
    , m_geoData(geo)
    , m_linePen(kstVectorStyle::linePen_default)
    , m_hitWidth(4 * m_addVertexPathWidth)
{
    m_shapeType = Type_Line;
}

void VectorLine::setLinePen(const QPen& pen)
{
    if (pen != m_linePen)
        m_linePen = pen;
}

// --- Update steps --------------------------------------------------------

void VectorLine::correctInShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData)
        p = gcp2pt(correction->correctIn(pt2gcp(p)));
}

void VectorLine::correctOutShape(kstCorrection* correction)
{
    for (QPointF& p : m_geoData)
        p = gcp2pt(correction->correctOut(pt2gcp(p)));
}

bool VectorLine::updateExtent()
{
    return updateExtentFrom(m_geoData);
}

void VectorLine::updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateBoundingRectFromExtent(mpp, proj);
}

void VectorLine::updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    const kstPlaneCache& plane = currentPlane(proj);
    m_pixData = pixRing(plane.rings().value(0), plane.ltPlane(), mpp);
}

bool VectorLine::geoRings(QVector<QPolygonF>& rings) const
{
    rings = {QPolygonF(m_geoData)};
    return true;
}

void VectorLine::setGeoRings(const QVector<QPolygonF>& rings)
{
    m_geoData = rings.value(0);
}

bool VectorLine::computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const
{
    const QVector<QPolygonF> rings{QPolygonF(m_geoData)};
    frameExtent(frame, rings, rings, scale);
    frame.rings.resize(1);
    const kstPlaneCache& plane = framePlane(frame);
    pixRingInto(frame.rings[0], plane.ring(0), plane.ltPlane(), scale.mpp);
    const QPolygonF& pix = frame.rings.at(0);
    if (m_selected)
        frame.addVertexPath = strokePath(polygonPath(pix), m_addVertexPathWidth);
    frame.labelWindow = scale.labelWindow;
    frame.labels = lineLabels(pix, frame.brc, itemWindow(frame.labelWindow, frame.position));
    return true;
}

void VectorLine::storeFramePixels(kstShapeFrame& frame)
{
    if (!frame.rings.isEmpty())
        m_pixData.swap(frame.rings.first());
}

void VectorLine::updateShapePath()
{
    // Points on the same whole pixel as their predecessor add nothing visible.
    m_linePath = QPainterPath();
    if (!m_pixData.isEmpty()) {
        m_linePath.moveTo(m_pixData.first());
        QPoint last = m_pixData.first().toPoint();
        for (int i = 1; i < m_pixData.size(); ++i) {
            const QPoint p = m_pixData.at(i).toPoint();
            if (p == last)
                continue;
            m_linePath.lineTo(m_pixData.at(i));
            last = p;
        }
    }
    m_shapePath = strokePath(m_linePath, m_hitWidth);
}

void VectorLine::updateAddVertexPath()
{
    m_addVertexPath = strokePath(polygonPath(QPolygonF(m_pixData)), m_addVertexPathWidth);
}

void VectorLine::updateLabels()
{
    m_labels.clear();
    m_labelWindow = currentLabelWindow();
    m_labels = lineLabels(m_pixData, m_brc, itemWindow(m_labelWindow, m_layoutPos));
}

QList<VectorShapeLabel__> VectorLine::lineLabels(const QVector<QPointF>& pix, const QRectF& brc,
                                                 const QRectF& window) const
{
    QString text;
    QSizeF size;
    if (!labelSpec(text, size) || pix.size() < 2)
        return {};
    // A label needs a segment half as long again as its text.
    const double minLength = size.width() * 1.5;
    if (minLength > std::max(brc.width(), brc.height()))
        return {};
    // Anchors whose label could reach into the window.
    const double reach = size.width() + size.height();
    const QRectF near = window.isNull() ? QRectF() : window.adjusted(-reach, -reach, reach, reach);
    QList<VectorShapeLabel__> labels;
    int budget = kMaxLabelAnchors;
    for (int i = 1; i < pix.size() && budget > 0; ++i) {
        const QLineF segment(pix.at(i - 1), pix.at(i));
        const double length = segment.length();
        if (!std::isfinite(length) || length < minLength)
            continue;
        const double dx = segment.dx();
        const double dy = segment.dy();
        const double angle = dx != 0.0 ? std::atan(dy / dx) : (dy > 0.0 ? -kHalfPi : kHalfPi);
        for (const QPointF& anchor : extractLineAnchorsPoints(segment, kLabelAnchorMinLength, near, budget)) {
            QRectF rect(QPointF(), size);
            rect.moveCenter(anchor);
            labels.append({text, angle, rect});
        }
    }
    return labels;
}

namespace {

// The part [t0, t1] of the segment p + t·d, 0 <= t <= 1, that lies in the
// rectangle (Liang-Barsky); false when none does.
bool clipSegment(const QPointF& p, const QPointF& d, const QRectF& rect, double& t0, double& t1)
{
    const double q[4][2] = {{-d.x(), p.x() - rect.left()}, {d.x(), rect.right() - p.x()},
                            {-d.y(), p.y() - rect.top()}, {d.y(), rect.bottom() - p.y()}};
    for (const auto& edge : q) {
        if (edge[0] == 0.0) {
            if (edge[1] < 0.0)
                return false;
            continue;
        }
        const double t = edge[1] / edge[0];
        if (edge[0] < 0.0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
    }
    return t0 <= t1;
}

} // namespace

QList<QPointF> VectorLine::extractLineAnchorsPoints(const QLineF& line, int minLength, const QRectF& window,
                                                    int& budget)
{
    const double length = line.length();
    const double piece = 2.0 * minLength;
    if (!std::isfinite(length) || budget <= 0)
        return {};
    double t0 = 0.0, t1 = 1.0;
    const QPointF d = line.p2() - line.p1();
    if (!window.isNull() && !clipSegment(line.p1(), d, window, t0, t1))
        return {};
    // The segment falls into 2^k equal pieces of at most `piece` pixels whose
    // midpoints are the anchors; only those between t0 and t1 are produced.
    int k = 0;
    if (length > piece) {
        k = std::max(1, int(std::ceil(std::log2(length / piece))));
        while (std::ldexp(length, -k) > piece)
            ++k;
        while (k > 1 && !(std::ldexp(length, -(k - 1)) > piece))
            --k;
    }
    if (k == 0) {
        if (t0 > 0.5 || t1 < 0.5)
            return {};
        --budget;
        return {line.center()};
    }
    const double pieces = std::ldexp(1.0, k);
    const double first = std::max(0.0, std::ceil(t0 * pieces - 0.5));
    const double last = std::min(pieces - 1.0, std::floor(t1 * pieces - 0.5));
    QList<QPointF> anchors;
    for (int i = 0; budget > 0 && first + i <= last; ++i, --budget)
        anchors.append(line.p1() + d * ((first + i + 0.5) / pieces));
    return anchors;
}

// --- Painting ------------------------------------------------------------

void VectorLine::drawShape(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing, antiAliasiing());
    painter->setPen(m_linePen);
    painter->setBrush(Qt::NoBrush);
    painter->drawPath(m_linePath);
}

void VectorLine::drawShapeVertex(QPainter* painter)
{
    if (m_pixData.isEmpty())
        return;
    // The second vertex is left out here: it is drawn in its own colour below.
    QVector<QPointF> others{m_pixData.first()};
    QPoint last = m_pixData.first().toPoint();
    for (int i = 2; i < m_pixData.size(); ++i) {
        const QPoint p = m_pixData.at(i).toPoint();
        if (p == last)
            continue;
        others.append(m_pixData.at(i));
        last = p;
    }
    drawVertexHandles(painter, others, m_vertexClr2);
    if (m_pixData.size() > 1) {
        drawVertexHandle(painter, m_pixData.at(0), m_vertexClr0);
        drawVertexHandle(painter, m_pixData.at(1), m_vertexClr1);
    }
}

QImage VectorLine::icon()
{
    QImage image = iconCanvas();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(m_linePen);
    const int s = m_shapeIconSize;
    auto at = [s](double fraction) { return int(fraction * s); };
    const QLine lines[] = {QLine(at(0.1), at(0.9), at(0.4), at(0.3)),
                           QLine(at(0.3), at(0.4), at(0.5), at(0.6)),
                           QLine(at(0.6), at(0.5), at(0.1), at(0.9))};
    painter.drawLines(lines, 3);
    return image;
}

// --- Hit tests -----------------------------------------------------------

int VectorLine::vertexHoverIndex(const QPointF& pix)
{
    for (int i = 0; i < m_pixData.size(); ++i) {
        if (vertexRect(m_pixData.at(i)).contains(pix))
            return i;
    }
    return -1;
}

int VectorLine::vertexInsertIndex(const QPointF& pix)
{
    for (int i = 1; i < m_pixData.size(); ++i) {
        if (strokePath(segmentPath(m_pixData.at(i - 1), m_pixData.at(i)), m_addVertexPathWidth).contains(pix))
            return i;
    }
    return -1;
}

// --- Editing -------------------------------------------------------------

void VectorLine::insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    if (index < 0 || index > m_geoData.size())
        return;
    m_geoData.insert(index, gcp2pt(gcp));
    m_pixData.insert(std::min(index, m_pixData.size()), gcp2pix(gcp));
    // The edit layer runs the update pipeline after an insertion.
    update();
}

bool VectorLine::removeVertex(int index)
{
    if (!validIndex(index))
        return false;
    if (m_geoData.size() <= 2)
        return true;
    m_geoData.remove(index);
    if (index < m_pixData.size())
        m_pixData.remove(index);
    resetShape(curMpp(), curProj());
    return false;
}

void VectorLine::moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    if (!validIndex(index))
        return;
    // The pixel point is set here too: resetShape leaves the pixel data alone
    // when the extent does not change.
    if (index < m_pixData.size())
        m_pixData[index] = gcp2pix(gcp);
    m_geoData[index] = gcp2pt(gcp);
    resetShape(curMpp(), curProj());
}

void VectorLine::moveVertexBy(int index, double dx, double dy)
{
    if (!validIndex(index))
        return;
    if (index < m_pixData.size())
        m_pixData[index] += QPointF(dx, dy);
    m_geoData[index] = movedByPix(m_geoData.at(index), dx, dy);
    resetShape(curMpp(), curProj());
}

void VectorLine::moveShapeBy(double dx, double dy)
{
    for (QPointF& p : m_geoData)
        p = movedByPix(p, dx, dy);
    updateShape(curMpp(), curProj(), true);
}

void VectorLine::moveShapeTo(const kstGeographicalCoordinatesPoint& gcp)
{
    if (std::abs(gcp.lon() - m_ltGcp.lon()) < kSameCornerTolerance
        && std::abs(gcp.lat() - m_ltGcp.lat()) < kSameCornerTolerance)
        return;
    if (m_pixData.size() != m_geoData.size())
        updatePixsData(curMpp(), curProj());
    // Rebuilding each vertex from its pixel offset keeps the pixel form.
    for (int i = 0; i < m_geoData.size(); ++i)
        m_geoData[i] = movedToPix(gcp, m_pixData.at(i));
    updateShape(curMpp(), curProj(), true);
}

void VectorLine::fit(const FourParamter__& parameters)
{
    m_geoData = fitPoints(m_geoData, parameters);
    updateShape(curMpp(), curProj(), true);
}

// --- Vertices and measures -----------------------------------------------

kstGeographicalCoordinatesPoint VectorLine::vertex(int index)
{
    return validIndex(index) ? pt2gcp(m_geoData.at(index)) : kstGeographicalCoordinatesPoint();
}

QList<kstGeographicalCoordinatesPoint> VectorLine::vertexs()
{
    QList<kstGeographicalCoordinatesPoint> points;
    points.reserve(m_geoData.size());
    for (const QPointF& p : m_geoData)
        points.append(pt2gcp(p));
    return points;
}

int VectorLine::vertexCount() const
{
    return m_geoData.size();
}

double VectorLine::area()
{
    return 0.0;
}

double VectorLine::perimeter()
{
    return m_da.perimeter(m_geoData);
}

// --- Export --------------------------------------------------------------

OGRLineString VectorLine::toOGR()
{
    OGRLineString line;
    for (const QPointF& p : correctedOut(m_geoData))
        line.addPoint(p.x(), p.y());
    OGRSpatialReference* wgs84 = newWgs84Srs();
    line.assignSpatialReference(wgs84);
    wgs84->Release(); // the line holds its own reference
    return line;
}

OGRGeometry* VectorLine::toOGRGeometry()
{
    return new OGRLineString(toOGR());
}

OGRGeometry* VectorLine::toOGRGeometry(OGRSpatialReference* srs)
{
    if (!srs || srs->IsSame(&m_wgs84Srs))
        return toOGRGeometry();
    QVector<QPointF> points = correctedOut(m_geoData);
    if (!transformPoints(points, srs))
        return nullptr;
    auto* line = new OGRLineString;
    for (const QPointF& p : points)
        line->addPoint(p.x(), p.y());
    line->assignSpatialReference(srs);
    return line;
}

QString VectorLine::styleString(const QString&, Color_Mode mode)
{
    return penStyleString(m_linePen, mode);
}

kstVectorShape* VectorLine::clone()
{
    auto* line = new VectorLine(m_geoData, nullptr);
    line->setLinePen(m_linePen);
    return line;
}

} // namespace Kestrum
