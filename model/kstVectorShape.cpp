#include "kstVectorShape.h"

#include "kstCorrection.h"
#include "kstShapeIndex.h"
#include "kstTileMapView.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstWebMercatorProjection.h"

#include <QCursor>
#include <QDebug>
#include <QFontMetrics>
#include <QGraphicsScene>
#include <QGraphicsSceneHoverEvent>
#include <QPainter>
#include <QPainterPathStroker>
#include <QStaticText>

#include <cpl_error.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <cmath>
#include <memory>
#include <mutex>

namespace Kestrum {

namespace {

// The extent procedure starts from an inverted box and moves a corner only by
// at least this much, so that recomputing an unchanged geometry reports "unchanged".
constexpr double kExtentTolerance = 1e-12;
// Handle colours are drawn with this alpha while the scene has no focus.
constexpr int kUnfocusedHandleAlpha = 204;

// What a shape converts with when it is on no view.
const kstWebMercatorProjection& fallbackProjection()
{
    static const kstWebMercatorProjection projection;
    return projection;
}

const kstTileResulotion& fallbackResolution()
{
    static const kstTileResulotion resolution;
    return resolution;
}

kstIdentityCorrection& fallbackCorrection()
{
    static kstIdentityCorrection correction;
    return correction;
}

QString hex2(int component)
{
    return QStringLiteral("%1").arg(component, 2, 16, QLatin1Char('0'));
}

QString penId(Qt::PenStyle style)
{
    switch (style) {
    case Qt::NoPen: return QStringLiteral("ogr-pen-1");
    case Qt::DashLine: return QStringLiteral("ogr-pen-2");
    case Qt::DotLine: return QStringLiteral("ogr-pen-5");
    case Qt::DashDotLine: return QStringLiteral("ogr-pen-6");
    case Qt::DashDotDotLine: return QStringLiteral("ogr-pen-7");
    default: return QStringLiteral("ogr-pen-0"); // solid and custom dashes
    }
}

QString brushId(Qt::BrushStyle style)
{
    switch (style) {
    case Qt::NoBrush: return QStringLiteral("ogr-brush-1");
    case Qt::HorPattern: return QStringLiteral("ogr-brush-2");
    case Qt::VerPattern: return QStringLiteral("ogr-brush-3");
    case Qt::FDiagPattern: return QStringLiteral("ogr-brush-4");
    case Qt::BDiagPattern: return QStringLiteral("ogr-brush-5");
    case Qt::CrossPattern: return QStringLiteral("ogr-brush-6");
    case Qt::DiagCrossPattern: return QStringLiteral("ogr-brush-7");
    default: return QStringLiteral("ogr-brush-0"); // solid, dense, gradients, textures
    }
}

struct TransformDeleter
{
    void operator()(OGRCoordinateTransformation* t) const { OGRCoordinateTransformation::DestroyCT(t); }
};

} // namespace

const kstDistanceArea kstVectorShape::m_da;
OGRSpatialReference kstVectorShape::m_wgs84Srs;
int kstVectorShape::m_vertexSize = 8;
int kstVectorShape::m_shapeIconSize = 28;
int kstVectorShape::m_addVertexPathWidth = 4;
QColor kstVectorShape::m_vertexClr0 = Qt::red;
QColor kstVectorShape::m_vertexClr1 = Qt::green;
QColor kstVectorShape::m_vertexClr2 = Qt::yellow;

kstVectorShape::kstVectorShape(kstVectorEditLayer* layer)
    : QGraphicsItem(layer)
    , m_parentLayer(layer)
{
    // Shapes are created on worker threads too (import), so the shared WGS84
    // reference is set up exactly once.
    static std::once_flag wgs84Once;
    std::call_once(wgs84Once, [] {
        m_wgs84Srs.SetWellKnownGeogCS("WGS84");
        m_wgs84Srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    });
    setFlags(QGraphicsItem::ItemStacksBehindParent);
    setAcceptHoverEvents(true);
    if (layer)
        layer->shapeIndex()->insert(this);
}

kstVectorShape::~kstVectorShape()
{
    if (m_parentLayer)
        m_parentLayer->shapeIndex()->remove(this);
}

// --- QGraphicsItem -------------------------------------------------------

QRectF kstVectorShape::boundingRect() const
{
    // Room for the vertex handles around the painted shape.
    return m_brc.adjusted(-m_vertexSize, -m_vertexSize, m_vertexSize, m_vertexSize);
}

QPainterPath kstVectorShape::shape() const
{
    ensureShapePath();
    return m_shapePath;
}

QPainterPath kstVectorShape::shapePath() const
{
    ensureShapePath();
    return m_shapePath;
}

void kstVectorShape::ensureShapePath() const
{
    // Building (and for lines stroking) paths of every shape at every update
    // would cost most of an update; only shapes that are painted or hit-tested
    // need them. Called on the GUI thread only, like all item operations.
    if (!m_shapePathStale)
        return;
    auto* self = const_cast<kstVectorShape*>(this);
    self->m_shapePathStale = false;
    self->updateShapePath();
}

void kstVectorShape::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    if (!painter->isActive())
        return;
    ensureShapePath();
    drawShape(painter);
    if (m_selected)
        drawShapeVertex(painter);
}

// --- Update pipeline -----------------------------------------------------

void kstVectorShape::updatePosition(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    m_layoutPos = getPosition(mpp, proj);
    setPos(m_layoutPos);
    notifyRectChange();
}

QPointF kstVectorShape::getPosition(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    const QPointF position = m_ltGcp.toPcp(proj).toPix(mpp, proj->ltGcp().toPcp(proj));
    // The poles of an empty shape's inverted extent have no finite pixel.
    return std::isfinite(position.x()) && std::isfinite(position.y()) ? position : QPointF();
}

void kstVectorShape::initShape(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateExtent();
    updateBoundingRect(mpp, proj);
    updatePixsData(mpp, proj);
    m_shapePathStale = true;
    updateLabels();
}

void kstVectorShape::updateShape(const kstMeterPerPixle__& mpp, kstProjection* proj, bool updateExtent)
{
    if (updateExtent)
        this->updateExtent();
    updatePixelSteps(mpp, proj);
    updatePathSteps();
}

void kstVectorShape::resetShape(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    // An unchanged extent keeps pixels and position; paths and labels follow
    // the geometry in any case.
    if (updateExtent())
        updatePixelSteps(mpp, proj);
    updatePathSteps();
}

void kstVectorShape::updatePixelSteps(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    updateBoundingRect(mpp, proj);
    updatePixsData(mpp, proj);
    updatePosition(mpp, proj);
}

void kstVectorShape::updatePathSteps()
{
    if (m_selected)
        updateAddVertexPath();
    m_shapePathStale = true; // rebuilt by ensureShapePath when first needed
    updateLabels();
}

// --- Frames --------------------------------------------------------------

bool kstVectorShape::computeFrame(kstShapeFrame&, const kstShapeScale&) const
{
    return false;
}

void kstVectorShape::storeFramePixels(kstShapeFrame&) {}

bool kstVectorShape::geoRings(QVector<QPolygonF>&) const
{
    return false;
}

void kstVectorShape::setGeoRings(const QVector<QPolygonF>&) {}

void kstVectorShape::storeFrameData(kstShapeFrame& frame)
{
    // What the shape held before goes into the frame, so that whoever
    // disposes of the frame frees it. The hit-test path is rebuilt from the
    // new pixels when the scene next asks for it, on the GUI thread.
    m_ltGcp = frame.lt;
    m_rbGcp = frame.rb;
    storeFramePixels(frame);
    if (!frame.planeKept)
        m_plane.swap(frame.plane);
    if (m_selected)
        m_addVertexPath.swap(frame.addVertexPath);
    m_labels.swap(frame.labels);
    m_labelWindow = frame.labelWindow;
    m_shapePathStale = true;
}

void kstVectorShape::placeItem(const QRectF& brc, const QPointF& position)
{
    // setPos tells the scene of the change before it moves the item, which
    // covers the rectangle stored right after it as well; an item that stays
    // in place announces the change itself.
    if (position == pos())
        prepareGeometryChange();
    else
        setPos(position);
    m_brc = brc;
    m_layoutPos = position;
    notifyRectChange();
}

bool kstVectorShape::extentOf(const QVector<QPolygonF>& rings, GCP& lt, GCP& rb)
{
    return extentOf(QVector<QPointF>(), rings, lt, rb);
}

bool kstVectorShape::extentOf(const QVector<QPointF>& points, const QVector<QPolygonF>& rings, GCP& lt, GCP& rb)
{
    double minLon = 180.0, maxLat = -90.0, maxLon = -180.0, minLat = 90.0;
    auto add = [&](const QVector<QPointF>& ring) {
        for (const QPointF& p : ring) {
            minLon = std::min(minLon, p.x());
            maxLon = std::max(maxLon, p.x());
            minLat = std::min(minLat, p.y());
            maxLat = std::max(maxLat, p.y());
        }
    };
    add(points);
    for (const QPolygonF& ring : rings)
        add(ring);
    auto differs = [](const GCP& a, double lon, double lat) {
        return std::abs(a.lon() - lon) >= kExtentTolerance || std::abs(a.lat() - lat) >= kExtentTolerance;
    };
    bool changed = false;
    if (differs(lt, minLon, maxLat)) {
        lt = GCP(minLon, maxLat);
        changed = true;
    }
    if (differs(rb, maxLon, minLat)) {
        rb = GCP(maxLon, minLat);
        changed = true;
    }
    return changed;
}

kstPlaneCache kstVectorShape::planeFor(const QVector<QPolygonF>& rings, const GCP& lt, const GCP& rb,
                                       kstProjection* proj) const
{
    if (m_plane.matches(rings, gcp2pt(lt), gcp2pt(rb), proj))
        return m_plane;
    kstPlaneCache plane;
    plane.fill(rings, gcp2pt(lt), gcp2pt(rb), proj);
    return plane;
}

const kstPlaneCache& kstVectorShape::currentPlane(kstProjection* proj)
{
    QVector<QPolygonF> rings;
    geoRings(rings);
    if (!m_plane.matches(rings, gcp2pt(m_ltGcp), gcp2pt(m_rbGcp), proj))
        m_plane.fill(rings, gcp2pt(m_ltGcp), gcp2pt(m_rbGcp), proj);
    return m_plane;
}

QRectF kstVectorShape::brcOf(const GCP& lt, const GCP& rb, const kstPlaneCache& plane, const kstMeterPerPixle__& mpp)
{
    // A shape without points keeps the inverted extent, which has no pixels.
    if (lt.lon() > rb.lon() || lt.lat() < rb.lat())
        return QRectF();
    const PCP ltPlane(plane.ltPlane());
    const PCP rbPlane(plane.rbPlane());
    return QRectF(QPointF(0, 0), QPointF(rbPlane.toPix(mpp, ltPlane)));
}

QPointF kstVectorShape::positionOf(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp, const PCP& origin)
{
    const QPointF position = PCP(plane.ltPlane()).toPix(mpp, origin);
    // The poles of an empty shape's inverted extent have no finite pixel.
    return std::isfinite(position.x()) && std::isfinite(position.y()) ? position : QPointF();
}

void kstVectorShape::frameExtent(kstShapeFrame& frame, const QVector<QPolygonF>& rings,
                                 const QVector<QPolygonF>& extentRings, const kstShapeScale& scale) const
{
    frame.lt = m_ltGcp;
    frame.rb = m_rbGcp;
    // The extent of unchanged rings is the one computed from them before.
    // Kept plane coordinates are read in place rather than shared, which
    // would write to their reference counts from whichever thread computes.
    frame.planeKept = m_plane.extentOfRings() && m_plane.matches(rings, gcp2pt(m_ltGcp), gcp2pt(m_rbGcp), scale.proj);
    if (!frame.planeKept) {
        extentOf(extentRings, frame.lt, frame.rb);
        frame.plane = planeFor(rings, frame.lt, frame.rb, scale.proj);
        frame.plane.setExtentOfRings();
    }
    const kstPlaneCache& plane = framePlane(frame);
    frame.brc = brcOf(frame.lt, frame.rb, plane, scale.mpp);
    frame.position = positionOf(plane, scale.mpp, scale.origin);
    frame.labelWindow = QRectF();
}

QPointF kstVectorShape::pixOf(const QPointF& plane, const QPointF& ltPlane, const kstMeterPerPixle__& mpp)
{
    return PCP(plane).toPix(mpp, PCP(ltPlane));
}

QPolygonF kstVectorShape::pixRing(const QPolygonF& plane, const QPointF& ltPlane, const kstMeterPerPixle__& mpp)
{
    QPolygonF pix;
    pixRingInto(pix, plane, ltPlane, mpp);
    return pix;
}

void kstVectorShape::pixRingInto(QPolygonF& pix, const QPolygonF& plane, const QPointF& ltPlane,
                                 const kstMeterPerPixle__& mpp)
{
    // Reuses the buffer when it is not shared and large enough.
    pix.resize(plane.size());
    QPointF* out = pix.data();
    const PCP lt(ltPlane);
    for (int i = 0; i < plane.size(); ++i)
        out[i] = PCP(plane.at(i)).toPix(mpp, lt);
}

void kstVectorShape::prefetchPlacement() const
{
    const auto lines = [](const void* object, size_t size) {
        for (size_t offset = 0; offset < size; offset += 64)
            __builtin_prefetch(static_cast<const char*>(object) + offset, 1);
    };
    lines(this, sizeof(kstVectorShape));
    lines(d_ptr.data(), 256); // the item's position, flags and scene links
}

QRectF kstVectorShape::itemWindow(const QRectF& layerWindow, const QPointF& itemPos)
{
    return layerWindow.isNull() ? QRectF() : layerWindow.translated(-itemPos);
}

QRectF kstVectorShape::currentLabelWindow() const
{
    return kstShapeScale::labelWindowOf(m_parentLayer ? m_parentLayer->mapView() : nullptr);
}

// --- Flags and links -----------------------------------------------------

void kstVectorShape::setShapeVisible(bool visible)
{
    if (m_visible == visible)
        return;
    m_visible = visible;
    setVisible(visible);
}

void kstVectorShape::setShapeSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    update();
    if (selected)
        updateAddVertexPath();
    else
        m_addVertexPath = QPainterPath();
}

void kstVectorShape::setParentLayer(kstVectorEditLayer* layer)
{
    // A shape that becomes a child anew stacks above its siblings of equal z.
    const bool joinsAnew = parentItem() != layer;
    if (m_parentLayer && m_parentLayer != layer)
        m_parentLayer->shapeIndex()->remove(this);
    m_parentLayer = layer;
    setParentItem(layer);
    if (layer)
        layer->shapeIndex()->insert(this, joinsAnew);
}

void kstVectorShape::notifyRectChange()
{
    // Shapes built off the GUI thread have no edit layer yet.
    if (m_parentLayer)
        m_parentLayer->shapeIndex()->markDirty(this);
}

void kstVectorShape::setShapeCollect(kstVectorCollect* collect, int index)
{
    m_collect = collect;
    m_collectIndex = index;
}

void kstVectorShape::getShapeExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const
{
    lt = m_ltGcp;
    rb = m_rbGcp;
}

void kstVectorShape::setShapeExtent(const kstGeographicalCoordinatesPoint& lt, const kstGeographicalCoordinatesPoint& rb)
{
    m_ltGcp = lt;
    m_rbGcp = rb;
}

// --- Conversions ---------------------------------------------------------

kstMeterPerPixle__ kstVectorShape::curMpp() const
{
    const kstTileMapView* view = m_parentLayer ? m_parentLayer->mapView() : nullptr;
    return view ? view->resolution()->mpp(view->level()) : fallbackResolution().mpp(0);
}

kstProjection* kstVectorShape::curProj() const
{
    const kstTileMapView* view = m_parentLayer ? m_parentLayer->mapView() : nullptr;
    return view ? view->projection() : const_cast<kstWebMercatorProjection*>(&fallbackProjection());
}

kstCorrection* kstVectorShape::curCorr() const
{
    const kstTileMapView* view = m_parentLayer ? m_parentLayer->mapView() : nullptr;
    return view ? view->correction() : &fallbackCorrection();
}

QPointF kstVectorShape::gcp2pix(const kstGeographicalCoordinatesPoint& gcp) const
{
    kstProjection* proj = curProj();
    return gcp.toPcp(proj).toPix(curMpp(), m_ltGcp.toPcp(proj));
}

kstGeographicalCoordinatesPoint kstVectorShape::pix2gcp(const QPointF& pix) const
{
    kstProjection* proj = curProj();
    // Whole pixels, truncated toward zero.
    const QSizeF size(QSize(int(pix.x()), int(pix.y())));
    return m_ltGcp.toPcp(proj).rbPcp(curMpp(), size).toGcp(proj);
}

QPointF kstVectorShape::gcp2pt(const kstGeographicalCoordinatesPoint& gcp)
{
    return QPointF(gcp.lon(), gcp.lat());
}

kstGeographicalCoordinatesPoint kstVectorShape::pt2gcp(const QPointF& pt)
{
    return kstGeographicalCoordinatesPoint(pt.x(), pt.y());
}

kstGeographicalCoordinatesPoint kstVectorShape::validGcp(const kstGeographicalCoordinatesPoint& gcp, kstProjection* proj)
{
    return proj->isValidGcp(gcp) ? gcp : proj->ltGcp();
}

// --- Hover ---------------------------------------------------------------

void kstVectorShape::setEditCursor(const QCursor& cursor)
{
    if (m_parentLayer)
        m_parentLayer->setCursor(cursor);
}

void kstVectorShape::setMapDragEnable(bool enable)
{
    if (m_parentLayer && m_parentLayer->mapView())
        m_parentLayer->mapView()->setDragEnable(enable);
}

void kstVectorShape::hoverEnterEvent(QGraphicsSceneHoverEvent* event)
{
    if (m_selected) {
        m_action = Action_MoveShape;
        setEditCursor(Qt::SizeAllCursor);
        setMapDragEnable(false);
    }
    QGraphicsItem::hoverEnterEvent(event);
}

void kstVectorShape::hoverMoveEvent(QGraphicsSceneHoverEvent* event)
{
    if (m_selected) {
        const QPointF pos = event->pos();
        m_hoverVertexIndex = vertexHoverIndex(pos);
        if (m_hoverVertexIndex != -1) {
            static const QCursor vertexCursor(QPixmap(QStringLiteral(":/kstVector/Resources/icon/cursor_vexter_move_32.png")),
                                              -1, -1);
            m_action = Action_MoveVertex;
            setEditCursor(vertexCursor);
        } else if (m_addVertexPath.contains(pos)) {
            m_action = Action_InsertVertex;
            setEditCursor(Qt::CrossCursor);
        } else {
            m_action = Action_MoveShape;
            setEditCursor(Qt::SizeAllCursor);
        }
        setMapDragEnable(false);
    }
    QGraphicsItem::hoverMoveEvent(event);
}

void kstVectorShape::hoverLeaveEvent(QGraphicsSceneHoverEvent* event)
{
    m_action = Action_None;
    if (m_parentLayer && m_parentLayer->layerAction() != kstVectorEditLayer::None)
        setEditCursor(Qt::ArrowCursor);
    setMapDragEnable(true);
    QGraphicsItem::hoverLeaveEvent(event);
}

// --- Painting helpers ----------------------------------------------------

QRectF kstVectorShape::vertexRect(const QPointF& pix)
{
    const int half = int(m_vertexSize * 0.5);
    return QRectF(pix.x() - half, pix.y() - half, m_vertexSize, m_vertexSize);
}

void kstVectorShape::drawVertexHandle(QPainter* painter, const QPointF& pix, const QColor& color) const
{
    drawVertexHandles(painter, QVector<QPointF>{pix}, color);
}

void kstVectorShape::drawVertexHandles(QPainter* painter, const QVector<QPointF>& pixs, const QColor& color) const
{
    QColor c = color;
    if (scene() && !scene()->hasFocus())
        c.setAlpha(kUnfocusedHandleAlpha);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QBrush(c, Qt::SolidPattern));
    for (const QPointF& pix : pixs)
        painter->drawRect(vertexRect(pix));
    painter->restore();
}

void kstVectorShape::drawOutlineText(QPainter* painter, const QString& text, const QRectF& rect,
                                     const QColor& outlineColor, const QColor& textColor)
{
    if (text.isEmpty())
        return;
    // The outline is the text drawn one pixel off in each of the eight directions.
    static const QPoint kOffsets[] = {{-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}};
    QStaticText staticText(text);
    staticText.prepare(painter->transform(), painter->font());
    painter->setPen(outlineColor);
    for (const QPoint& offset : kOffsets)
        painter->drawStaticText(rect.topLeft() + offset, staticText);
    painter->setPen(textColor);
    painter->drawStaticText(rect.topLeft(), staticText);
}

QImage kstVectorShape::iconCanvas()
{
    QImage image(m_shapeIconSize, m_shapeIconSize, QImage::Format_RGBA8888_Premultiplied);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(image.rect(), Qt::transparent);
    return image;
}

QPainterPath kstVectorShape::strokePath(const QPainterPath& path, double width)
{
    QPainterPathStroker stroker;
    stroker.setCapStyle(Qt::FlatCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    stroker.setWidth(width);
    return stroker.createStroke(path);
}

// --- Geometry helpers ----------------------------------------------------

bool kstVectorShape::updateExtentFrom(const QVector<QPointF>& points)
{
    return extentOf(points, QVector<QPolygonF>(), m_ltGcp, m_rbGcp);
}

void kstVectorShape::updateBoundingRectFromExtent(const kstMeterPerPixle__& mpp, kstProjection* proj)
{
    // The scene must learn of the change before the rectangle changes.
    prepareGeometryChange();
    m_brc = brcOf(m_ltGcp, m_rbGcp, currentPlane(proj), mpp);
    notifyRectChange();
}

QPointF kstVectorShape::itemPix(const QPointF& geo, const kstMeterPerPixle__& mpp, kstProjection* proj) const
{
    return pt2gcp(geo).toPcp(proj).toPix(mpp, m_ltGcp.toPcp(proj));
}

QPointF kstVectorShape::movedByPix(const QPointF& geo, double dx, double dy) const
{
    kstProjection* proj = curProj();
    return gcp2pt(pt2gcp(geo).toPcp(proj).rbPcp(curMpp(), QSizeF(dx, dy)).toGcp(proj));
}

QPointF kstVectorShape::movedToPix(const kstGeographicalCoordinatesPoint& gcp, const QPointF& pix) const
{
    kstProjection* proj = curProj();
    return gcp2pt(gcp.toPcp(proj).rbPcp(curMpp(), QSizeF(pix.x(), pix.y())).toGcp(proj));
}

QPointF kstVectorShape::itemPixToGeo(const QPointF& pix) const
{
    kstProjection* proj = curProj();
    const QPointF scenePix = pix + pos();
    const QSizeF size(QSize(int(scenePix.x()), int(scenePix.y())));
    return gcp2pt(proj->ltGcp().toPcp(proj).rbPcp(curMpp(), size).toGcp(proj));
}

QVector<QPointF> kstVectorShape::fitPoints(const QVector<QPointF>& points, const FourParamter__& parameters) const
{
    kstProjection* proj = curProj();
    QList<QPointF> plane;
    plane.reserve(points.size());
    for (const QPointF& p : points)
        plane.append(pt2gcp(p).toPcp(proj).toPointF());
    QVector<QPointF> result;
    result.reserve(points.size());
    for (const QPointF& p : kstFourParamter(parameters).transforms(plane))
        result.append(gcp2pt(validGcp(kstPlaneCoordinatesPoint(p).toGcp(proj), proj)));
    return result;
}

QVector<QPointF> kstVectorShape::correctedOut(const QVector<QPointF>& points) const
{
    kstCorrection* corr = curCorr();
    QVector<QPointF> result;
    result.reserve(points.size());
    for (const QPointF& p : points)
        result.append(gcp2pt(corr->correctOut(pt2gcp(p))));
    return result;
}

bool kstVectorShape::transformPoints(QVector<QPointF>& points, OGRSpatialReference* srs)
{
    std::unique_ptr<OGRCoordinateTransformation, TransformDeleter> ct(
        OGRCreateCoordinateTransformation(&m_wgs84Srs, srs));
    if (!ct) {
        qDebug().noquote() << CPLGetLastErrorMsg();
        return false;
    }
    std::vector<double> xs(points.size()), ys(points.size());
    for (int i = 0; i < points.size(); ++i) {
        xs[i] = points[i].x();
        ys[i] = points[i].y();
    }
    if (!points.isEmpty())
        ct->Transform(points.size(), xs.data(), ys.data());
    for (int i = 0; i < points.size(); ++i)
        points[i] = QPointF(xs[i], ys[i]);
    return true;
}

OGRSpatialReference* kstVectorShape::newWgs84Srs()
{
    OGRSpatialReference* srs = m_wgs84Srs.Clone();
    srs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return srs;
}

namespace {

OGRPolygon* newClosedRingPolygon(const QVector<QPointF>& points, OGRSpatialReference* srs)
{
    OGRLinearRing ring;
    for (const QPointF& p : points)
        ring.addPoint(p.x(), p.y());
    // GDAL checks rings when they are added: an open one is refused when the
    // host does not accept unclosed rings, and reported otherwise.
    ring.closeRings();
    OGRPolygon* polygon = new OGRPolygon;
    polygon->addRing(&ring);
    polygon->assignSpatialReference(srs);
    return polygon;
}

} // namespace

OGRPolygon kstVectorShape::ringPolygon(const QVector<QPointF>& ring) const
{
    OGRSpatialReference* wgs84 = newWgs84Srs();
    std::unique_ptr<OGRPolygon> polygon(newClosedRingPolygon(correctedOut(ring), wgs84));
    wgs84->Release(); // the polygon holds its own reference
    return *polygon;
}

OGRGeometry* kstVectorShape::ringPolygonGeometry(const QVector<QPointF>& ring, OGRSpatialReference* srs) const
{
    if (!srs || srs->IsSame(&m_wgs84Srs))
        return new OGRPolygon(ringPolygon(ring));
    QVector<QPointF> points = correctedOut(ring);
    if (!transformPoints(points, srs))
        return nullptr;
    return newClosedRingPolygon(points, srs);
}

// --- Styles and labels ---------------------------------------------------

QString kstVectorShape::colorString(const QColor& color, Color_Mode mode)
{
    switch (mode) {
    case Color_RGBA:
        return QStringLiteral("#%1%2%3%4").arg(hex2(color.red()), hex2(color.green()), hex2(color.blue()),
                                               hex2(color.alpha()));
    case Color_ARGB:
        return QStringLiteral("#%1%2%3%4").arg(hex2(color.alpha()), hex2(color.red()), hex2(color.green()),
                                               hex2(color.blue()));
    case Color_RGB:
        return QStringLiteral("#%1%2%3").arg(hex2(color.red()), hex2(color.green()), hex2(color.blue()));
    }
    return QString();
}

QString kstVectorShape::penStyleString(const QPen& pen, Color_Mode mode)
{
    return QStringLiteral("PEN(c:%1,w:%2px,id:\"%3\",cap:p,j:b)")
        .arg(colorString(pen.color(), mode))
        .arg(pen.width())
        .arg(penId(pen.style()));
}

QString kstVectorShape::brushStyleString(const QBrush& brush, Color_Mode mode)
{
    return QStringLiteral("Brush(fc:%1,id:\"%2\")").arg(colorString(brush.color(), mode), brushId(brush.style()));
}

bool kstVectorShape::labelText(QString& text, QSizeF& size)
{
    m_labels.clear();
    return labelSpec(text, size);
}

bool kstVectorShape::labelSpec(QString& text, QSizeF& size) const
{
    if (!m_collect || m_collect->m_text.isEmpty() || !m_collect->m_layer || !m_collect->m_layer->m_showLabels)
        return false;
    text = m_collect->m_text;
    size = QFontMetrics(m_collect->m_layer->m_labelFont).boundingRect(text).size();
    return true;
}

} // namespace Kestrum
