#pragma once

#include "kstShapeTestSupport.h"
#include "kstTileMapView.h"
#include "kstVectorEditLayer.h"

#include <QList>
#include <QPoint>
#include <QPointF>

namespace Kestrum {
class kstVectorCollect;
class kstVectorLayer;
class kstVectorShape;
}

// An edit layer that lets tests call its snapping directly.
class SnapEditLayer : public Kestrum::kstVectorEditLayer
{
public:
    using Kestrum::kstVectorEditLayer::shapeAdsorb;
    using Kestrum::kstVectorEditLayer::vertexAdsorb;
};

// A shown map view with an edit layer and one data layer, driven with real
// mouse events on the view's viewport. New collects are put into the data
// layer with a fresh fid, as an application does.
class EditFixture
{
public:
    EditFixture(const Kestrum::GCP& center, int level);
    ~EditFixture();

    Kestrum::kstTileMapView& view() const { return m_scene.view(); }
    SnapEditLayer& layer() { return *m_layer; }
    Kestrum::kstVectorLayer* data() const { return m_data; }
    const QList<Kestrum::kstVectorCollect*>& created() const { return m_created; }

    // A shape of the data layer in a collect of its own (or of `collect`).
    Kestrum::kstVectorShape* add(Kestrum::kstVectorShape* shape, Kestrum::kstVectorCollect* collect = nullptr);
    // Adds a second data layer under the first.
    Kestrum::kstVectorLayer* addLayer();

    // Mouse input on the viewport at viewport pixels.
    void click(const QPoint& p, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // Moves the pointer to each point in turn and clicks there, as a hand does.
    void clickEach(const QList<QPoint>& points);
    void press(const QPoint& p);
    void release(const QPoint& p);
    void hover(const QPoint& p);
    void dragTo(const QPoint& p);
    // Press, several moves and release, as a hand drags.
    void drag(const QPoint& from, const QPoint& to, int steps = 4);
    // A double click as the system delivers it: click, double click, release.
    void doubleClick(const QPoint& p);
    void rightClick(const QPoint& p);

    // Edit-layer item position of a viewport pixel.
    QPointF itemPos(const QPoint& p) const;
    // Viewport pixel of a geographic point, and the reverse through an
    // independent spherical Web Mercator inverse.
    QPointF pixOf(const Kestrum::GCP& gcp) const;
    Kestrum::GCP expectedGcp(const QPointF& viewportPix) const;

private:
    SnapEditLayer* m_layer;
    Kestrum::ShapeTestScene m_scene;
    Kestrum::kstVectorLayer* m_data;
    QList<Kestrum::kstVectorLayer*> m_extraLayers;
    QList<Kestrum::kstVectorCollect*> m_created;
};
