#pragma once

#include "kstVectorShape.h"

#include <QBrush>
#include <QPen>
#include <QPolygonF>

#include <ogr_geometry.h>

#include <functional>

class tst_VectorPolygon;

namespace Kestrum {

// A polygon with holes: one outer ring and any number of inner rings, each
// stored unclosed (the last point joins the first). Vertex indices run over
// all rings in order, outer ring first; insertion indices name the edge that
// ends at a ring point, the closing edge of each ring last. The fill uses the
// even-odd rule, so holes are neither painted nor hit.
class KSTVECTOR_EXPORT VectorPolygon : public kstVectorShape
{
public:
    VectorPolygon(const Polygon__& geo, kstVectorEditLayer* layer);

    Polygon__ geoData() const { return m_geoData; }
    Polygon__ pixData() const { return m_pixData; }
    // Stores the rings only; the caller runs the update pipeline.
    void setGeoData(const Polygon__& geo) { m_geoData = geo; }

    QPen borderPen() const { return m_borderPen; }
    void setBorderPen(const QPen& pen);
    QBrush fillBrush() const { return m_fillBrush; }
    void setFillBrush(const QBrush& brush);
    // Bulk setter for loaders: no comparison, no repaint.
    void setStyleDirect(const QPen& pen, const QBrush& brush);

    void correctInShape(kstCorrection* correction) override;
    void correctOutShape(kstCorrection* correction) override;
    bool updateExtent() override;
    void updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj) override;
    void updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj) override;
    void updateLabels() override;
    void updateShapePath() override;
    void updateAddVertexPath() override;
    void drawShape(QPainter* painter) override;
    void drawShapeVertex(QPainter* painter) override;
    void moveShapeTo(const kstGeographicalCoordinatesPoint& gcp) override;
    void moveShapeBy(double dx, double dy) override;
    void moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    void moveVertexBy(int index, double dx, double dy) override;
    void insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    bool removeVertex(int index) override;
    int vertexHoverIndex(const QPointF& pix) override;
    int vertexInsertIndex(const QPointF& pix) override;
    kstGeographicalCoordinatesPoint vertex(int index) override;
    // Every ring followed by its first point again; not indexed like vertex().
    QList<kstGeographicalCoordinatesPoint> vertexs() override;
    int vertexCount() const override;
    double area() override;
    double perimeter() override;
    OGRGeometry* toOGRGeometry(OGRSpatialReference* srs) override;
    OGRGeometry* toOGRGeometry() override;
    QString styleString(const QString& path, Color_Mode mode) override;
    QImage icon() override;
    void fit(const FourParamter__& parameters) override;
    kstVectorShape* clone() override;
    bool computeFrame(kstShapeFrame& frame, const kstShapeScale& scale) const override;
    bool geoRings(QVector<QPolygonF>& rings) const override;
    void setGeoRings(const QVector<QPolygonF>& rings) override;

    // The polygon in the exchange frame (WGS84), by value.
    OGRPolygon toOGR();

protected:
    void storeFramePixels(kstShapeFrame& frame) override;

private:
    // Pixel rings from plane rings (outer first) and the label on them.
    static Polygon__ pixPolygon(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp);
    static QPainterPath addVertexBand(const Polygon__& pix);
    QList<VectorShapeLabel__> polygonLabels(const QPolygonF& outer) const;
    // Ring and local index of a vertex index; false when it lies in no ring.
    bool polygonIndex2RingIndex_HoverVertex(Polygon__* polygon, int index, QPolygonF*& ring, int& ringIndex);
    // Ring and local insertion position (1 to ring size) of an insertion index.
    bool polygonIndex2RingIndex_InsertVertex(Polygon__* polygon, int index, QPolygonF*& ring, int& ringIndex);
    // The ring without points that share a whole pixel with their predecessor, closed.
    QPolygonF simplifyPolygon(const QPolygonF& ring);

    // Rings in the exchange frame: WGS84, or transformed into a target system.
    OGRLinearRing toRing(const QPolygonF& ring);
    OGRLinearRing toRing(const QPolygonF& ring, OGRSpatialReference* srs);

    // The geographic and pixel point of a vertex index, when both exist.
    bool vertexPoints(int index, QPointF*& geo, QPointF*& pix);
    // Replaces every geographic point of every ring.
    void mapGeoPoints(const std::function<QPointF(const QPointF&)>& map);
    // Handles of one pixel ring, drawn the way a line draws its vertices.
    void drawRingHandles(QPainter* painter, const QPolygonF& ring);

    Polygon__ m_geoData;
    Polygon__ m_pixData;
    QPen m_borderPen;
    QBrush m_fillBrush;

    friend class ::tst_VectorPolygon;
};

} // namespace Kestrum
