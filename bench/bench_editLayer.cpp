// Edit layer throughput: recomputing 100 000 shapes of 10 vertices after a
// level change (thread pool against one thread), and placing labels for
// 10 000 candidates (grid index against the pairwise test).
#include "VectorLine.h"
#include "kstLabelGrid.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QThread>

#include <functional>

#include <cstdio>

using namespace Kestrum;

namespace {

constexpr int kShapes = 100000;
constexpr int kVertices = 10;
constexpr int kCandidates = 10000;

kstVectorLayer* makeLayer()
{
    QRandomGenerator rng(1);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < kShapes; ++i) {
        QVector<QPointF> points;
        QPointF p(70 + rng.generateDouble() * 60, 15 + rng.generateDouble() * 40);
        for (int k = 0; k < kVertices; ++k)
            points << (p += QPointF(0.01, rng.generateDouble() * 0.02 - 0.01));
        auto* collect = kstVectorCollect::newCollect();
        collect->m_layer = layer;
        collect->m_fid = quint64(i + 1);
        auto* line = new VectorLine(points, nullptr);
        line->setShapeCollect(collect, 0);
        collect->m_shapes << line;
        layer->m_collects.insert(collect->m_fid, collect);
    }
    return layer;
}

// Exposes the recomputation that a level change runs.
class BenchEditLayer : public kstVectorEditLayer
{
public:
    using kstVectorEditLayer::updateShapes;
};

double secondsFor(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return timer.nsecsElapsed() / 1e9;
}

void benchShapeUpdates()
{
    kstTileMapView view;
    view.resize(1200, 800);
    view.panAndZoom(GCP(100, 35), 5);
    BenchEditLayer edit;
    edit.addToMapView(&view);
    kstVectorLayer* layer = makeLayer();
    edit.insertLayer(layer, 0);

    // The same work both ways: every shape's pixel data at the current level.
    const kstMeterPerPixle__ mpp = view.resolution()->mpp(view.level());
    const double parallel = secondsFor([&] {
        for (int i = 0; i < 4; ++i)
            edit.updateShapes();
    }) / 4;
    const double sequential = secondsFor([&] {
        for (int i = 0; i < 4; ++i)
            for (kstVectorCollect* collect : qAsConst(layer->m_collects))
                collect->m_shapes.first()->updateShape(mpp, view.projection(), true);
    }) / 4;
    std::printf("updateShapes, %d shapes x %d vertices, per level change:\n", kShapes, kVertices);
    std::printf("  one thread   %8.1f ms\n  thread pool  %8.1f ms  (%d threads)\n  speed-up     %8.2fx\n",
                sequential * 1e3, parallel * 1e3, QThread::idealThreadCount(), sequential / parallel);
    edit.clearLayers();
    edit.removeFromMapView();
}

void benchLabelIndex()
{
    QRandomGenerator rng(2);
    QVector<QRectF> candidates;
    for (int i = 0; i < kCandidates; ++i)
        candidates << QRectF(rng.bounded(4000), rng.bounded(3000), 20 + rng.bounded(60), 14);
    int placedGrid = 0, placedPairwise = 0;
    const double grid = secondsFor([&] {
        kstLabelGrid index;
        for (const QRectF& r : qAsConst(candidates))
            if (!index.intersects(r)) {
                index.insert(r);
                ++placedGrid;
            }
    });
    const double pairwise = secondsFor([&] {
        QVector<QRectF> placed;
        for (const QRectF& r : qAsConst(candidates)) {
            bool hit = false;
            for (const QRectF& p : qAsConst(placed))
                if ((hit = p.intersects(r)))
                    break;
            if (!hit)
                placed << r;
        }
        placedPairwise = placed.size();
    });
    std::printf("label placement, %d candidates (%d placed, pairwise %d):\n", kCandidates, placedGrid, placedPairwise);
    std::printf("  pairwise     %8.2f ms\n  grid index   %8.2f ms\n  speed-up     %8.1fx\n", pairwise * 1e3,
                grid * 1e3, pairwise / grid);
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchLabelIndex();
    benchShapeUpdates();
    return 0;
}
