#pragma once

#include "kstVectorShape.h"

#include <QBrush>
#include <QImage>
#include <QPen>
#include <QPixmap>
#include <QPoint>
#include <QPointF>

#include <ogr_geometry.h>

namespace Kestrum {

// A single geographic point, painted as a filled circle of a pixel size
// (point type 0) or as a marker picture whose anchor pixel sits on the point
// (any other type). The item sits on the point itself, so its pixel point is
// always the item origin.
//
// The marker picture is kept as a QImage, so points can be built and styled
// on worker threads (importers); markerIcon() makes a pixmap of it and is for
// the GUI thread only.
class KSTVECTOR_EXPORT VectorPoint : public kstVectorShape
{
public:
    // Largest point size in pixels; larger sizes are taken as this one.
    static constexpr int kMaxPointSize = 512;

    VectorPoint(const QPointF& geo, kstVectorEditLayer* layer);

    int pointType() const { return m_pointType; }
    // Stores the type only; the next update or setMarkerIcon rebuilds the bounds.
    void setPointType(int type);
    int pointSize() const { return m_pointSize; }
    void setPointSize(int size);
    QPen pointBorderPen() const { return m_pointBorderPen; }
    void setPointBorderPen(const QPen& pen);
    QBrush pointFillBrush() const { return m_pointFillBrush; }
    void setPointFillBrush(const QBrush& brush);
    QPixmap markerIcon() const { return QPixmap::fromImage(m_markerIcon); }
    void setMarkerIcon(const QPixmap& icon);
    // The marker picture itself; safe off the GUI thread. The picture is
    // shared, not copied, by points given the same image.
    QImage markerImage() const { return m_markerIcon; }
    void setMarkerImage(const QImage& image);
    QPoint markerAnchor() const { return m_markerAnchor; }
    void setMarkerAnchor(const QPoint& anchor) { m_markerAnchor = anchor; }
    // Bulk setters for loaders: no comparison, nothing recomputed.
    void setPointStyleDirect(int size, const QPen& pen, const QBrush& brush);
    void setMarkerStyleDirect(int, const QPixmap& icon, const QPoint& anchor);

    // The picture and anchor pixel the point is exported with as a symbol.
    QPixmap symbolPixmap() const;
    QPoint symbolAnchor() const;

    QPointF geoData() const { return m_geoData; }
    QPointF pixData() const { return m_pixData; }
    // Stores the point only; the caller runs the update pipeline.
    void setGeoData(const QPointF& geo) { m_geoData = geo; }

    // The point in the exchange frame, in WGS84.
    OGRPoint toOGR();

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

private:
    QPointF m_geoData;
    QPointF m_pixData;
    int m_pointType = 0;
    int m_pointSize;
    QPen m_pointBorderPen;
    QBrush m_pointFillBrush;
    QImage m_markerIcon;
    QPoint m_markerAnchor;
};

} // namespace Kestrum
