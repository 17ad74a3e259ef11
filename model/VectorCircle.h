#pragma once

#include "kstVectorShape.h"

#include <QBrush>
#include <QPen>

#include <ogr_geometry.h>

class tst_VectorRectCircle;

namespace Kestrum {

// A circle kept as its centre and a ring of outline points in order of
// increasing angle (a drawn circle has 120). It is measured, exported and
// painted as the polygon of its ring; the centre serves for moving and
// resizing. Four handles, numbered 1 to 4, sit on the ring points at angle 0
// (right of the centre), a quarter turn (below), a half turn (left) and three
// quarters (above); dragging one changes the radius only. vertex() and
// vertexCount() see the ring points.
class KSTVECTOR_EXPORT VectorCircle : public kstVectorShape
{
public:
    VectorCircle(const Circle__& geo, kstVectorEditLayer* layer);

    Circle__ geoData() const { return m_geoData; }
    // Stores the circle only (its ring decides the ring size from now on);
    // the caller runs the update pipeline.
    void setGeoData(const Circle__& geo);
    Circle__ pixData() const { return m_pixData; }

    QPen borderPen() const { return m_borderPen; }
    void setBorderPen(const QPen& pen);
    QBrush fillBrush() const { return m_fillBrush; }
    void setFillBrush(const QBrush& brush);
    // Bulk setter for loaders: no comparison, no repaint.
    void setStyleDirect(const QPen& pen, const QBrush& brush);

    // The ring polygon in the exchange frame, in WGS84.
    OGRPolygon toOGR();

    void correctInShape(kstCorrection* correction) override;
    void correctOutShape(kstCorrection* correction) override;
    bool updateExtent() override;
    void updateBoundingRect(const kstMeterPerPixle__& mpp, kstProjection* proj) override;
    void updatePixsData(const kstMeterPerPixle__& mpp, kstProjection* proj) override;
    void updateLabels() override;
    void updateShapePath() override;
    void updateAddVertexPath() override;
    // The ring, then the radius as a line from the centre with its length as text.
    void drawShape(QPainter* painter) override;
    void drawShapeVertex(QPainter* painter) override;
    void moveShapeTo(const kstGeographicalCoordinatesPoint& gcp) override;
    void moveShapeBy(double dx, double dy) override;
    // Handle indices 1 to 4: the ring is rebuilt around the centre with the
    // radius the handle now gives; dragging across the centre mirrors it.
    void moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    void moveVertexBy(int index, double dx, double dy) override;
    // A circle has no free vertices: nothing is inserted or removed.
    void insertVertex(int index, const kstGeographicalCoordinatesPoint& gcp) override;
    bool removeVertex(int index) override;
    int vertexHoverIndex(const QPointF& pix) override;
    int vertexInsertIndex(const QPointF& pix) override;
    kstGeographicalCoordinatesPoint vertex(int index) override;
    // The ring points and the first one again.
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
    // The ring, then the centre as a ring of its own.
    bool geoRings(QVector<QPolygonF>& rings) const override;
    void setGeoRings(const QVector<QPolygonF>& rings) override;

protected:
    void storeFramePixels(kstShapeFrame& frame) override;

public:
    // "1.500km" above 1000 m, "1000.00m" up to it.
    static QString radiusText(double metres);

private:
    static Circle__ pixCircle(const kstPlaneCache& plane, const kstMeterPerPixle__& mpp);
    QList<VectorShapeLabel__> circleLabels(const Circle__& pix) const;
    static constexpr int kHandleCount = 4;

    // Pixel ring index of handle 1 to 4, or -1 while the ring is empty.
    int handleRingIndex(int handle) const;
    void moveHandleTo(int handle, const QPointF& pix);
    void drawRadius(QPainter* painter);

    Circle__ m_geoData;
    Circle__ m_pixData;
    QPen m_borderPen;
    QBrush m_fillBrush;
    int m_ringSize;

    friend class ::tst_VectorRectCircle;
};

} // namespace Kestrum
