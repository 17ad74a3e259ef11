#pragma once

#include "kstCorrection.h"
#include "kstTileMapView.h"
#include "kstVectorEditLayer.h"
#include "kstVectorShape.h"
#include "kstWebMercatorProjection.h"

#include <QImage>

namespace Kestrum {

// A shown map view with an edit layer on it: shapes added here get the view's
// projection, resolution, correction and level, as in the application.
class ShapeTestScene
{
public:
    // The scene owns `layer` when one is given (a subclass the test needs).
    explicit ShapeTestScene(const GCP& center = GCP(116.4, 39.9), int level = 12, kstVectorEditLayer* layer = nullptr);
    ~ShapeTestScene();

    kstTileMapView& view() const { return *m_view; }
    kstVectorEditLayer& layer() const { return *m_layer; }
    kstMeterPerPixle__ mpp() const;
    kstProjection* projection() const;

    // Gives the shape to the edit layer and brings its pixel data up to date.
    template <class Shape>
    Shape* add(Shape* shape)
    {
        attach(shape);
        return shape;
    }
    void attach(kstVectorShape* shape);
    // Zooms the view about its centre; the edit layer follows.
    void zoomTo(int level);
    // Paints the shape (and its handles when selected) into a transparent
    // image; the item origin lands on `origin` in the image.
    static QImage render(kstVectorShape* shape, const QSize& size, const QPointF& origin);
    // Selects or deselects a shape the way the edit layer does.
    static void select(kstVectorShape* shape, bool selected);

private:
    kstTileMapView* m_view;
    kstVectorEditLayer* m_layer;
};

// A correction that moves points by a constant offset, so that tests can see
// where it is applied.
class ShiftCorrection : public kstCorrection
{
public:
    ShiftCorrection(double dLon, double dLat) : m_dLon(dLon), m_dLat(dLat) {}
    GCP correctIn(const GCP& gcp) const override { return GCP(gcp.lon() + m_dLon, gcp.lat() + m_dLat); }
    GCP correctOut(const GCP& gcp) const override { return GCP(gcp.lon() - m_dLon, gcp.lat() - m_dLat); }

private:
    double m_dLon;
    double m_dLat;
};

// Web Mercator moved by a constant offset in metres: a projection that differs
// from the view's own, to switch to.
class ShiftedMercator : public kstWebMercatorProjection
{
public:
    ShiftedMercator(double dx, double dy) : m_dx(dx), m_dy(dy) {}
    PCP forward(const GCP& gcp) const override
    {
        const PCP p = kstWebMercatorProjection::forward(gcp);
        return PCP(p.x() + m_dx, p.y() + m_dy);
    }
    GCP inverse(const PCP& pcp) const override
    {
        return kstWebMercatorProjection::inverse(PCP(pcp.x() - m_dx, pcp.y() - m_dy));
    }

private:
    double m_dx;
    double m_dy;
};

// Whether two points agree within a tolerance on both axes.
bool near(const QPointF& a, const QPointF& b, double tolerance = 1e-6);
// Whether an image pixel shows a vertex handle of the colour, as painted over
// the shape (translucent while the scene has no focus).
bool isHandlePixel(const QImage& image, const QPoint& pixel, const kstVectorShape* shape, const QColor& color);

class kstVectorLayer;
// Every shape of a layer, collect by collect.
QList<kstVectorShape*> shapesOf(const kstVectorLayer* layer);

} // namespace Kestrum
