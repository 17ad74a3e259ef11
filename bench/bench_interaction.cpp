// Mouse interaction with many shapes loaded: one hover move while drawing a
// line with snapping on, one click selection, and one drag step of 1 000
// selected shapes. Each is timed with 100 000 small polygons loaded and, as
// the baseline of the same run, with 1 000; the goal is one frame at 60 Hz.
// The first row is the scene's own cost of one item query at a point: the
// shapes are children of the edit layer, and the scene visits every child of
// an item on each query (and re-sorts them after a z change, which every
// selection makes), so each event pays a few of these whatever the handlers do.
// The next row is that share of a click: a click selection changes z values,
// and the scene's next lookup (of the item under the following press or
// hover) first re-sorts the children. The edit layer's own handlers ask its
// shape index instead; the row after shows one such query.
#include "VectorPolygon.h"
#include "kstBenchSupport.h"
#include "kstShapeIndex.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QtTest>

#include <cstdio>
#include <functional>

using namespace Kestrum;

namespace {

constexpr int kMany = 100000;
constexpr int kFew = 1000;
constexpr int kDragged = 1000;
constexpr int kRepeats = 200;
constexpr double kFrameMs = 1000.0 / 60.0;
const GCP kCenter(116.4, 39.9);
constexpr int kLevel = 12;

// Small squares of five vertices scattered over about three views around the centre.
kstVectorLayer* makeLayer(int count)
{
    QRandomGenerator rng(7);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < count; ++i) {
        const QPointF p(kCenter.lon() + (rng.generateDouble() - 0.5) * 0.8,
                        kCenter.lat() + (rng.generateDouble() - 0.5) * 0.6);
        const double s = 0.001 + rng.generateDouble() * 0.002;
        Polygon__ geo;
        geo.outer << p << p + QPointF(s, 0) << p + QPointF(s, -s) << p + QPointF(0, -s) << p;
        Bench::addShapeCollect(layer, quint64(i + 1), new VectorPolygon(geo, nullptr));
    }
    return layer;
}

void send(QWidget* viewport, QEvent::Type type, const QPoint& p, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, p, viewport->mapToGlobal(p), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(viewport, &event);
}

// Milliseconds per call of `step`, over `repeats` calls with index 0.. .
double msPerStep(int repeats, const std::function<void(int)>& step)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < repeats; ++i)
        step(i);
    return timer.nsecsElapsed() / 1e6 / repeats;
}

struct Figures
{
    double query = 0;
    double qtClick = 0;
    double indexQuery = 0;
    double hover = 0;
    double hoverPainted = 0;
    double click = 0;
    double drag = 0;
};

QPoint spot(int i)
{
    return QPoint(100 + (i * 37) % 1000, 100 + (i * 53) % 600);
}

Figures measure(int shapes)
{
    kstTileMapView view;
    view.resize(1200, 800);
    view.show();
    if (!QTest::qWaitForWindowExposed(&view))
        std::printf("  (the view was not exposed)\n");
    view.panAndZoom(kCenter, kLevel);
    kstVectorEditLayer edit;
    edit.addToMapView(&view);
    kstVectorLayer* layer = makeLayer(shapes);
    edit.insertLayer(layer, 0);
    edit.resetZLevel();
    QApplication::processEvents();
    QWidget* viewport = view.viewport();
    Figures figures;

    // What the scene itself spends on one item query at a point: it walks
    // every child of the edit layer, so every hover and click pays this a few times.
    figures.query = msPerStep(kRepeats, [&](int i) {
        view.scene()->items(QPointF(spot(i)), Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform());
    });

    // Qt's part of a click: a z change (as a selection makes), then the
    // scene's lookup of the item under the pointer.
    kstVectorShape* raised = layer->m_collects.first()->m_shapes.first();
    const qreal z = raised->zValue();
    figures.qtClick = msPerStep(kRepeats / 4, [&](int i) {
        raised->setZValue(i % 2 ? z : z + 1);
        const QPointF at(spot(i));
        view.scene()->items(at, Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform());
    });
    raised->setZValue(z);
    // The same point query through the edit layer's shape index.
    figures.indexQuery = msPerStep(kRepeats * 10, [&](int i) {
        edit.shapeIndex()->items(QPointF(spot(i)));
    });

    // Hover while drawing a line: the rubber band snaps.
    edit.setVertexAdsorbEnable(true);
    edit.setLayerAction(kstVectorEditLayer::NewLine);
    send(viewport, QEvent::MouseButtonPress, QPoint(600, 400), Qt::LeftButton, Qt::LeftButton);
    send(viewport, QEvent::MouseButtonRelease, QPoint(600, 400), Qt::LeftButton, Qt::NoButton);
    figures.hover = msPerStep(kRepeats, [&](int i) {
        send(viewport, QEvent::MouseMove, spot(i), Qt::NoButton, Qt::NoButton);
    });
    figures.hoverPainted = msPerStep(kRepeats / 10, [&](int i) {
        send(viewport, QEvent::MouseMove, spot(i), Qt::NoButton, Qt::NoButton);
        viewport->repaint();
    });

    // Click selection.
    edit.setLayerAction(kstVectorEditLayer::None);
    edit.setLayerAction(kstVectorEditLayer::SelectEdit);
    figures.click = msPerStep(kRepeats, [&](int i) {
        send(viewport, QEvent::MouseButtonPress, spot(i), Qt::LeftButton, Qt::LeftButton);
        send(viewport, QEvent::MouseButtonRelease, spot(i), Qt::LeftButton, Qt::NoButton);
    });

    // A drag of the selection, grabbed on one of its shapes.
    edit.clearSelected();
    QList<kstVectorShape*> dragged;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        dragged << collect->m_shapes.first();
        if (dragged.size() == kDragged)
            break;
    }
    edit.setShapesSelecte(dragged, true);
    kstVectorShape* handle = dragged.first();
    const QPoint grab = view.mapFromScene(handle->mapToScene(handle->shapeBoundingRect().center()));
    send(viewport, QEvent::MouseMove, grab + QPoint(1, 0), Qt::NoButton, Qt::NoButton);
    send(viewport, QEvent::MouseMove, grab, Qt::NoButton, Qt::NoButton);
    if (edit.currentInteractiveShape() != handle)
        std::printf("  (drag: the pointer is not over the grabbed shape)\n");
    send(viewport, QEvent::MouseButtonPress, grab, Qt::LeftButton, Qt::LeftButton);
    send(viewport, QEvent::MouseMove, grab + QPoint(1, 0), Qt::NoButton, Qt::LeftButton);
    figures.drag = msPerStep(kRepeats, [&](int i) {
        // Back and forth, so that the shapes stay in the view.
        const int x = i % 20 < 10 ? i % 10 : 10 - i % 10;
        send(viewport, QEvent::MouseMove, grab + QPoint(2 + x, 0), Qt::NoButton, Qt::LeftButton);
    });
    send(viewport, QEvent::MouseButtonRelease, grab + QPoint(2, 0), Qt::LeftButton, Qt::NoButton);

    edit.removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
    edit.removeFromMapView();
    return figures;
}

void report(const char* what, double few, double many)
{
    std::printf("%-44s %9.3f ms %9.3f ms %7.1fx   %s\n", what, few, many, many / few,
                many < kFrameMs ? "under one frame" : "OVER one frame");
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const Figures few = measure(kFew);
    const Figures many = measure(kMany);
    std::printf("interaction, view 1200x800 at level %d; goal %.1f ms per step (60 Hz)\n", kLevel, kFrameMs);
    std::printf("%-44s %12s %12s %8s\n", "", "1 000 shapes", "100 000 shapes", "ratio");
    report("one scene item query at a point (baseline)", few.query, many.query);
    report("Qt's share of a click: lookup after z change", few.qtClick, many.qtClick);
    report("one shape index query at a point", few.indexQuery, many.indexQuery);
    report("hover move, drawing a line, snapping on", few.hover, many.hover);
    report("  the same with the view repainted", few.hoverPainted, many.hoverPainted);
    report("click selection", few.click, many.click);
    report("drag step of 1 000 selected shapes, snapping", few.drag, many.drag);
    return 0;
}
