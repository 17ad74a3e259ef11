#pragma once

#include "kstVectorShape.h"

#include <QBrush>
#include <QPen>
#include <QPolygonF>

#include <ogr_geometry.h>

namespace Kestrum {

// A rectangle that stays axis-aligned on the map: four geographic corners in
// the order top-left, top-right, bottom-right, bottom-left as drawn (a
// rectangle dragged inside out keeps that order and a negative pixel width or
// height). It is edited through eight handles: the corners 0 to 3, then the
// middles of the top, right, bottom and left edges 4 to 7. vertex() and
// vertexCount() see the corners only.
class KSTVECTOR_EXPORT VectorRect : public kstVectorShape
{
public:
    VectorRect(const QPolygonF& geo, kstVectorEditLayer* layer);

    QPolygonF geoData() const { return m_geoData; }
    // Stores the corners only; the caller runs the update pipeline.
    void setGeoData(const QPolygonF& geo) { m_geoData = geo; }
    // Corners 0 to 3, then the edge middles 4 to 7, in item pixels.
    QPolygonF pixData() const { return m_pixData; }

    QPen borderPen() const { return m_borderPen; }
    void setBorderPen(const QPen& pen);
    QBrush fillBrush() const { return m_fillBrush; }
    void setFillBrush(const QBrush& brush);
    // Bulk setter for loaders: no comparison, no repaint.
    void setStyleDirect(const QPen& pen, const QBrush& brush);

    // The rectangle spanned by pixel corners 0 and 2, not normalised.
    QRectF pixRect() const;
    static QPointF midPoint(const QPointF& a, const QPointF& b);

    // The rectangle in the exchange frame, in WGS84.
    OGRPolygon toOGR();

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
    // Handle indices 0 to 7; the opposite sides stay where they are.
    void moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    void moveVertexBy(int index, double dx, double dy) override;
    // A rectangle has no free vertices: nothing is inserted or removed.
    void insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    bool removeVertex(int index) override;
    int vertexHoverIndex(const QPointF& pix) override;
    int vertexInsertIndex(const QPointF& pix) override;
    kstGeographicalCoordinatesPoint vertex(int index) override;
    // The four corners and the first one again.
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

protected:
    void storeFramePixels(kstShapeFrame& frame) override;

private:
    // The eight handle pixels from plane corners; empty without four corners.
    static QPolygonF handlePixels(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp);
    static QRectF pixRectOf(const QPolygonF& handles);
    QList<VectorShapeLabel__> rectLabels(const QPolygonF& handles) const;
    static constexpr int kCornerCount = 4;
    static constexpr int kHandleCount = 8;

    // The corners, without anything a malformed ring carries beyond them.
    QPolygonF corners() const { return QPolygonF(m_geoData.mid(0, kCornerCount)); }
    bool hasHandles() const { return m_pixData.size() == kHandleCount; }
    // Lays the eight handles out on a pixel rectangle and derives the corners from them.
    void setFromPixRect(const QRectF& rect);
    void moveHandleTo(int index, const QPointF& pix);

    QPolygonF m_geoData;
    QPolygonF m_pixData;
    QPen m_borderPen;
    QBrush m_fillBrush;
};

} // namespace Kestrum
