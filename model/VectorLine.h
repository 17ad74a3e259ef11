#pragma once

#include "kstVectorShape.h"

#include <QLineF>
#include <QPainterPath>
#include <QPen>
#include <QVector>

#include <ogr_geometry.h>

namespace Kestrum {

// An open polyline of geographic points. Its pixel copy is relative to the
// extent's top-left corner; vertex i is the i-th point, 0 the line's start.
class KSTVECTOR_EXPORT VectorLine : public kstVectorShape
{
public:
    VectorLine(const QVector<QPointF>& geo, kstVectorEditLayer* layer);

    QVector<QPointF> geoData() const { return m_geoData; }
    // Stores the points only; the caller runs the update pipeline.
    void setGeoData(const QVector<QPointF>& geo) { m_geoData = geo; }
    QVector<QPointF> pixData() const { return m_pixData; }

    QPen linePen() const { return m_linePen; }
    void setLinePen(const QPen& pen);
    void setStyleDirect(const QPen& pen) { m_linePen = pen; }

    // The line in the exchange frame, in WGS84.
    OGRLineString toOGR();

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

    // Most label anchors one line offers, however long it is.
    static constexpr int kMaxLabelAnchors = 256;

protected:
    void storeFramePixels(kstShapeFrame& frame) override;

private:
    // Label anchors along a segment: its midpoint, or the midpoints of its
    // halves, quarters ... until no piece is longer than 2 * minLength; only
    // those near the window (item pixels, null for no bound), at most budget
    // of them, which is reduced by the number returned.
    static QList<QPointF> extractLineAnchorsPoints(const QLineF& line, int minLength, const QRectF& window,
                                                   int& budget);
    QList<VectorShapeLabel__> lineLabels(const QVector<QPointF>& pix, const QRectF& brc, const QRectF& window) const;
    bool validIndex(int index) const { return index >= 0 && index < m_geoData.size(); }

    QVector<QPointF> m_geoData;
    QVector<QPointF> m_pixData;
    QPen m_linePen;
    QPainterPath m_linePath;
    int m_hitWidth;
};

} // namespace Kestrum
