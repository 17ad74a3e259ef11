#pragma once

#include "kstMapGlobal.h"

#include "kstCorrection.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstPlaneCoordinatesPoint.h"
#include "kstProjection.h"
#include "kstResulotion.h"

#include <QGraphicsView>

#include <memory>

namespace Kestrum {

// The host's map view. Scene coordinates are viewport pixels: the scene
// rectangle follows the viewport and nothing scrolls. The view keeps the
// plane point of its top-left pixel and the zoom level; panning moves that
// point, zooming changes the level about a fixed pixel.
//
// The view starts with a Web Mercator projection, the 256-pixel tile
// resolution and the identity correction, which it owns. Objects handed to
// setConfig stay the caller's and must outlive their use by the view.
class KSTMAP_EXPORT kstTileMapView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit kstTileMapView(QWidget* parent = nullptr);
    ~kstTileMapView() override;

    kstProjection* projection() const { return m_projection; }
    kstResulotion* resolution() const { return m_resolution; }
    kstCorrection* correction() const { return m_correction; }
    int level() const { return m_level; }
    QSize viewSize() const;
    kstPlaneCoordinatesPoint currentLeftTopPcp() const { return m_ltPcp; }
    kstGeographicalCoordinatesPoint currentCenterGcp() const;
    kstMeterPerPixle__ currentMpp() const;

    // Geographic point under a viewport pixel, and the pixel of a geographic point.
    kstGeographicalCoordinatesPoint pixToGcp(const QPointF& pix) const;
    QPointF gcpToPix(const kstGeographicalCoordinatesPoint& gcp) const;

    void setConfig(kstProjection* projection, kstResulotion* resolution, kstCorrection* correction);

    bool dragEnable() const { return m_dragEnable; }
    void setDragEnable(bool enable);

public slots:
    // Centres the view on a geographic point at a level (clamped to the resolution's range).
    void panAndZoom(const Kestrum::kstGeographicalCoordinatesPoint& center, int level);
    // Zoom by one level keeping the plane point under the given viewport pixel in place.
    void zoomIn(const QPointF& pix);
    void zoomOut(const QPointF& pix);
    void zoomIn();
    void zoomOut();
    // Moves the map content by a pixel distance (content follows the cursor).
    void panBy(const QPointF& delta);

signals:
    void viewChanged(const Kestrum::kstPlaneCoordinatesPoint& ltPcp, int level);
    void sizeChanged(const QSize& size);
    void needRefresh(bool full);
    void configNeedChange(Kestrum::kstProjection* projection, Kestrum::kstResulotion* resolution,
                          Kestrum::kstCorrection* correction);
    void configChanged(Kestrum::kstProjection* projection, Kestrum::kstResulotion* resolution,
                       Kestrum::kstCorrection* correction);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;

private:
    void zoomAbout(const QPointF& pix, int level);
    void setView(const kstPlaneCoordinatesPoint& ltPcp, int level);
    kstPlaneCoordinatesPoint centerPcp(const QSizeF& size) const;
    // Top-left plane point of a view of the given size centred on a plane point.
    kstPlaneCoordinatesPoint ltPcpAround(const kstPlaneCoordinatesPoint& center, const QSizeF& size, int level) const;
    void drawGraticule(QPainter* painter, const QRectF& rect) const;

    std::unique_ptr<kstProjection> m_ownProjection;
    std::unique_ptr<kstResulotion> m_ownResolution;
    std::unique_ptr<kstCorrection> m_ownCorrection;
    kstProjection* m_projection = nullptr;
    kstResulotion* m_resolution = nullptr;
    kstCorrection* m_correction = nullptr;
    int m_level = 2;
    QSize m_viewSize; // the viewport size the view state was last computed for
    kstPlaneCoordinatesPoint m_ltPcp;
    bool m_dragEnable = true;
    bool m_dragging = false;
    QPointF m_lastDragPos;
};

} // namespace Kestrum
