#pragma once

#include "kstVectorGlobal.h"

#include "VectorShapeLabel.h"
#include "kstDistanceArea.h"
#include "kstFourParamter.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstGeometryRecords.h"
#include "kstPlaneCache.h"
#include "kstPlaneCoordinatesPoint.h"
#include "kstShapeFrame.h"
#include "kstShapeScale.h"

#include <QColor>
#include <QGraphicsItem>
#include <QImage>
#include <QBrush>
#include <QList>
#include <QPainterPath>
#include <QPen>

#include <memory>

#include <ogr_spatialref.h>

class OGRGeometry;
class OGRPolygon;

namespace Kestrum {

class kstCorrection;
class kstProjection;
class kstVectorCollect;
class kstVectorEditLayer;

// Base of the five shape kinds. A shape is a child graphics item of the edit
// layer; it stores its geometry in geographic coordinates (x = longitude,
// y = latitude, degrees on WGS84) and keeps pixel data derived from it,
// relative to the pixel of its extent's top-left corner, which is also its
// item position.
class KSTVECTOR_EXPORT kstVectorShape : public QGraphicsItem
{
public:
    enum Shape_Type {
        Type_Unknown = -1,
        Type_Point = 0,
        Type_Line = 1,
        Type_Polygon = 2,
        Type_Rect = 3,
        Type_Circle = 4
    };

    // What a drag started now would do.
    enum Shape_Action {
        Action_None = 0,
        Action_MoveShape = 1,
        Action_InsertVertex = 2,
        Action_MoveVertex = 3
    };

    // Colour notation of style strings.
    enum Color_Mode {
        Color_RGBA = 0,
        Color_ARGB = 1,
        Color_RGB = 2
    };

    explicit kstVectorShape(kstVectorEditLayer* layer);
    ~kstVectorShape() override;

    kstVectorShape(const kstVectorShape&) = delete;
    kstVectorShape& operator=(const kstVectorShape&) = delete;

    // QGraphicsItem
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    // Kind-specific operations.
    virtual void correctInShape(kstCorrection* correction) = 0;
    virtual void correctOutShape(kstCorrection* correction) = 0;
    virtual bool updateExtent() = 0;
    virtual void updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj) = 0;
    virtual void updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj) = 0;
    virtual void updatePosition(const kstMeterPerPixle__& mpp, kstProjection* proj);
    virtual QPointF getPosition(const kstMeterPerPixle__& mpp, kstProjection* proj);
    virtual void updateLabels() = 0;
    virtual void updateShapePath() = 0;
    virtual void updateAddVertexPath() = 0;
    virtual void drawShape(QPainter* painter) = 0;
    virtual void drawShapeVertex(QPainter* painter) = 0;
    virtual void moveShapeTo(const kstGeographicalCoordinatesPoint& gcp) = 0;
    virtual void moveShapeBy(double dx, double dy) = 0;
    virtual void moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp) = 0;
    virtual void moveVertexBy(int index, double dx, double dy) = 0;
    virtual void insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp) = 0;
    // True when nothing was removed because the shape would become degenerate;
    // the caller then removes the whole shape.
    virtual bool removeVertex(int index) = 0;
    virtual int vertexHoverIndex(const QPointF& pix) = 0;
    virtual int vertexInsertIndex(const QPointF& pix) = 0;
    virtual kstGeographicalCoordinatesPoint vertex(int index) = 0;
    virtual QList<kstGeographicalCoordinatesPoint> vertexs() = 0;
    virtual int vertexCount() const = 0;
    virtual double area() = 0;
    virtual double perimeter() = 0;
    // New GDAL geometries; the caller owns them. Null when the target
    // reference system cannot be reached from WGS84.
    virtual OGRGeometry* toOGRGeometry(OGRSpatialReference* srs) = 0;
    virtual OGRGeometry* toOGRGeometry() = 0;
    virtual QString styleString(const QString& path, Color_Mode mode) = 0;
    virtual QImage icon() = 0;
    virtual void fit(const FourParamter__& parameters) = 0;
    // A new shape of the same kind, geometry and style: no layer, no collect, not selected.
    virtual kstVectorShape* clone() = 0;

    // An update split in three. computeFrame derives everything an update at
    // a scale would store, reading only the shape's own data; storeFrameData
    // hands the shape the part that only the shape itself reads (extent,
    // pixels, plane coordinates, labels) and leaves the shape's previous data
    // in the frame, whose buffers the next frame computed in it reuses. Both
    // may run on any thread while the GUI thread leaves the shape alone.
    // placeItem then gives the item the frame's bounding rectangle and
    // position, which the scene reads, on the GUI thread. Together they give
    // exactly what updateShape(mpp, proj, true) gives. Kinds that cannot
    // compute frames return false and are updated with updateShape instead.
    virtual bool computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const;
    void storeFrameData(kstShapeFrame& frame);
    void placeItem(const QRectF& brc, const QPointF& position);
    // Asks the processor for the memory placeItem touches, ahead of the
    // call: placing thousands of items is bound by memory latency.
    void prefetchPlacement() const;
    // The geographic points as rings, in the kind's own order, and back (the
    // caller runs the update pipeline); false when the kind does not offer them.
    virtual bool geoRings(QVector<QPolygonF>& rings) const;
    virtual void setGeoRings(const QVector<QPolygonF>& rings);
    // Makes the next update project the geometry anew, for a projection that
    // changed in place.
    void dropPlaneCache() { m_plane.clear(); }
    // The edit-layer area the labels were computed for (null: no bound).
    QRectF labelWindow() const { return m_labelWindow; }

    Shape_Type shapeType() const { return m_shapeType; }
    Shape_Action action() const { return m_action; }
    void setAction(Shape_Action action) { m_action = action; }
    bool antiAliasiing() const { return m_antiAliasing; }
    void setAntiAliasing(bool on) { m_antiAliasing = on; }
    bool isShapeSelected() const { return m_selected; }
    // Selection belongs to the edit layer; it is public for hosts that drive
    // selection themselves.
    void setShapeSelected(bool selected);
    bool isShapeVisible() const { return m_visible; }
    void setShapeVisible(bool visible);

    kstVectorEditLayer* parentLayer() const { return m_parentLayer; }
    void setParentLayer(kstVectorEditLayer* layer);
    kstVectorCollect* shapeCollect() const { return m_collect; }
    int shapeCollectIndex() const { return m_collectIndex; }
    void setShapeCollect(kstVectorCollect* collect, int index);
    int shapeLayerZLevel() const { return m_zLevel; }

    kstGeographicalCoordinatesPoint ltGcp() const { return m_ltGcp; }
    kstGeographicalCoordinatesPoint rbGcp() const { return m_rbGcp; }
    void getShapeExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const;
    void setShapeExtent(const kstGeographicalCoordinatesPoint& lt, const kstGeographicalCoordinatesPoint& rb);
    QRectF brc() const { return m_brc; }
    QRectF shapeBoundingRect() const { return m_brc; }
    QPainterPath shapePath() const;
    int currentVertexHoverIndex() const { return m_hoverVertexIndex; }
    QList<VectorShapeLabel__> labels() const { return m_labels; }

    static QColor vertexColor0() { return m_vertexClr0; }
    static QColor vertexColor1() { return m_vertexClr1; }
    static QColor vertexColor2() { return m_vertexClr2; }
    static void setVertexColor0(const QColor& color) { m_vertexClr0 = color; }
    static void setVertexColor1(const QColor& color) { m_vertexClr1 = color; }
    static void setVertexColor2(const QColor& color) { m_vertexClr2 = color; }
    static int vertexSize() { return m_vertexSize; }
    static int iconSize() { return m_shapeIconSize; }
    static void setIconSize(int size) { m_shapeIconSize = size; }

    // Conversions through the view the shape's edit layer is on. A shape that
    // is on no view converts with the default Web Mercator projection, level 0
    // and no correction.
    kstMeterPerPixle__ curMpp() const;
    kstProjection* curProj() const;
    kstCorrection* curCorr() const;
    QPointF gcp2pix(const kstGeographicalCoordinatesPoint& gcp) const;
    kstGeographicalCoordinatesPoint pix2gcp(const QPointF& pix) const;
    static QPointF gcp2pt(const kstGeographicalCoordinatesPoint& gcp);
    static kstGeographicalCoordinatesPoint pt2gcp(const QPointF& pt);
    static kstGeographicalCoordinatesPoint validGcp(const kstGeographicalCoordinatesPoint& gcp, kstProjection* proj);

    // The update pipeline: every geometry change ends with one of these.
    void initShape(const kstMeterPerPixle__& mpp, kstProjection* proj);
    void updateShape(const kstMeterPerPixle__& mpp, kstProjection* proj, bool updateExtent);
    void resetShape(const kstMeterPerPixle__& mpp, kstProjection* proj);

    static const kstDistanceArea m_da;
    static OGRSpatialReference m_wgs84Srs;

protected:
    void hoverEnterEvent(QGraphicsSceneHoverEvent* event) override;
    void hoverMoveEvent(QGraphicsSceneHoverEvent* event) override;
    void hoverLeaveEvent(QGraphicsSceneHoverEvent* event) override;

    void setShapeLayerZLevel(int level) { m_zLevel = level; }
    // Tells the edit layer that the shape's rectangle there may have changed
    // (position or bounding rectangle); GUI thread only.
    void notifyRectChange();
    // The handle square of side m_vertexSize centred on a pixel.
    static QRectF vertexRect(const QPointF& pix);
    static void drawOutlineText(QPainter* painter, const QString& text, const QRectF& rect,
                                const QColor& outlineColor, const QColor& textColor);
    static QString colorString(const QColor& color, Color_Mode mode);

    // --- Shared pieces of the kinds ---------------------------------------
    // Handles: one square per pixel point in a colour; the scene's focus decides the alpha.
    void drawVertexHandles(QPainter* painter, const QVector<QPointF>& pixs, const QColor& color) const;
    void drawVertexHandle(QPainter* painter, const QPointF& pix, const QColor& color) const;
    // Widens the extent over the points; corners move only by 1e-12 or more.
    // Returns whether a corner was replaced.
    bool updateExtentFrom(const QVector<QPointF>& points);
    // Bounding rectangle from the extent corners at a resolution.
    void updateBoundingRectFromExtent(const kstMeterPerPixle__& mpp, kstProjection* proj);
    // Item-pixel position of a geographic point relative to the extent's top-left corner.
    QPointF itemPix(const QPointF& geo, const kstMeterPerPixle__& mpp, kstProjection* proj) const;
    // A geographic point moved by a pixel distance at the current level (unrounded).
    QPointF movedByPix(const QPointF& geo, double dx, double dy) const;
    // The geographic point of an item pixel: item pixel plus item position,
    // truncated to whole pixels, taken from the projection's top-left corner.
    QPointF itemPixToGeo(const QPointF& pix) const;
    // Keeps the pixel form and places the extent's top-left corner on gcp.
    QPointF movedToPix(const kstGeographicalCoordinatesPoint& gcp, const QPointF& pix) const;
    // Plane-coordinate fitting of a set of points.
    QVector<QPointF> fitPoints(const QVector<QPointF>& points, const FourParamter__& parameters) const;
    // Stroke of a path as used by hit bands (flat cap, round join).
    static QPainterPath strokePath(const QPainterPath& path, double width);
    // Empty transparent icon canvas of m_shapeIconSize pixels.
    static QImage iconCanvas();
    // Pen part and brush part of style strings.
    static QString penStyleString(const QPen& pen, Color_Mode mode);
    static QString brushStyleString(const QBrush& brush, Color_Mode mode);
    // Corrected (exchange-frame) copy of geographic points.
    QVector<QPointF> correctedOut(const QVector<QPointF>& points) const;
    // Transforms WGS84 points into srs; false (and the GDAL message logged)
    // when no transformation can be made.
    static bool transformPoints(QVector<QPointF>& points, OGRSpatialReference* srs);
    // A new copy of the WGS84 reference, for geometries handed to GDAL.
    static OGRSpatialReference* newWgs84Srs();
    // Export of kinds that are one closed ring of geographic points: the
    // corrected ring as a WGS84 polygon, and the same in a target reference
    // system (WGS84 when srs is null or the same; null when unreachable).
    OGRPolygon ringPolygon(const QVector<QPointF>& ring) const;
    OGRGeometry* ringPolygonGeometry(const QVector<QPointF>& ring, OGRSpatialReference* srs) const;
    // Common start of the label candidates: the text and its size, or false
    // when the shape has no label to show.
    bool labelText(QString& text, QSizeF& size);
    bool labelSpec(QString& text, QSizeF& size) const;

    // --- Pure pieces of the update, shared by the pipeline steps and frames --
    // The extent of rings: the corners given move only where they differ by 1e-12 or more.
    static bool extentOf(const QVector<QPolygonF>& rings, kstGeographicalCoordinatesPoint& lt,
                         kstGeographicalCoordinatesPoint& rb);
    // The same for a line of points followed by rings.
    static bool extentOf(const QVector<QPointF>& points, const QVector<QPolygonF>& rings,
                         kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb);
    // Plane coordinates of the geographic rings and of the extent corners lt and rb.
    kstPlaneCache planeFor(const QVector<QPolygonF>& rings, const kstGeographicalCoordinatesPoint& lt,
                           const kstGeographicalCoordinatesPoint& rb, kstProjection* proj) const;
    // The same for the current extent, kept for later updates.
    const kstPlaneCache& currentPlane(kstProjection* proj);
    // Bounding rectangle and item position from the plane extent corners.
    static QRectF brcOf(const kstGeographicalCoordinatesPoint& lt, const kstGeographicalCoordinatesPoint& rb,
                        const kstPlaneCache& plane, const kstMeterPerPixle__& mpp);
    static QPointF positionOf(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp,
                              const kstPlaneCoordinatesPoint& origin);
    // Fills the frame's extent (over extentRings), plane data (of rings),
    // bounding rectangle and position.
    void frameExtent(kstShapeFrame& frame, const QVector<QPolygonF>& rings, const QVector<QPolygonF>& extentRings,
                     const kstShapeScale& scale) const;
    // The plane coordinates a frame was computed from.
    const kstPlaneCache& framePlane(const kstShapeFrame& frame) const
    {
        return frame.planeKept ? m_plane : frame.plane;
    }
    // Item pixels of plane points relative to the extent's top-left plane point.
    static QPointF pixOf(const QPointF& plane, const QPointF& ltPlane, const kstMeterPerPixle__& mpp);
    static QPolygonF pixRing(const QPolygonF& plane, const QPointF& ltPlane, const kstMeterPerPixle__& mpp);
    static void pixRingInto(QPolygonF& pix, const QPolygonF& plane, const QPointF& ltPlane,
                            const kstMeterPerPixle__& mpp);
    // A label window in item coordinates of an item at itemPos (null stays null).
    static QRectF itemWindow(const QRectF& layerWindow, const QPointF& itemPos);
    // The label window of the view the shape's edit layer is on.
    QRectF currentLabelWindow() const;
    // Stores the kind's pixel data of a frame.
    virtual void storeFramePixels(kstShapeFrame& frame);

    kstGeographicalCoordinatesPoint m_ltGcp;
    kstGeographicalCoordinatesPoint m_rbGcp;
    QRectF m_brc;
    QPainterPath m_shapePath;
    QList<VectorShapeLabel__> m_labels;
    int m_zLevel = 1;
    kstVectorCollect* m_collect = nullptr;
    int m_collectIndex = -1;
    bool m_visible = true;
    bool m_selected = false;
    bool m_antiAliasing = true;
    Shape_Action m_action = Action_None;
    QPainterPath m_addVertexPath;
    int m_hoverVertexIndex = -1;
    Shape_Type m_shapeType = Type_Unknown;
    kstVectorEditLayer* m_parentLayer = nullptr;
    QRectF m_labelWindow;
    kstPlaneCache m_plane;
    // The position the last update computed; labels are laid out from it.
    QPointF m_layoutPos;
    // The hit-test path is built when first asked for after an update.
    bool m_shapePathStale = false;

    static int m_vertexSize;
    static int m_shapeIconSize;
    static int m_addVertexPathWidth;
    static QColor m_vertexClr0;
    static QColor m_vertexClr1;
    static QColor m_vertexClr2;

private:
    void updatePixelSteps(const kstMeterPerPixle__& mpp, kstProjection* proj);
    void updatePathSteps();
    void ensureShapePath() const;
    void setEditCursor(const QCursor& cursor);
    void setMapDragEnable(bool enable);

    friend class kstVectorEditLayer;
};

} // namespace Kestrum
