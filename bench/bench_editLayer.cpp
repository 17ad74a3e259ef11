// Edit layer throughput: level changes with 100 000 shapes of 10 vertices
// (the edit layer on one and on two threads against the shape-by-shape
// pipeline), and placing labels for 10 000 candidates (grid index against the
// pairwise test).
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
#include <QThreadPool>

#include <algorithm>
#include <functional>

#include <cstdio>
#include <sys/resource.h>

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

// Drives level changes as the view reports them, and the shape-by-shape
// pipeline the level change replaces.
class BenchEditLayer : public kstVectorEditLayer
{
public:
    void changeLevel(int level) { mapViewChanged(currentLtPcp(), level); }
};

double secondsFor(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return timer.nsecsElapsed() / 1e9;
}

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
}

// Alternates the level between 5 and 6, `rounds` times; returns seconds per
// level change and the number of busy cores (CPU time over wall time).
double levelChanges(BenchEditLayer& edit, int rounds, double& cores)
{
    const double cpu = cpuSeconds();
    const double wall = secondsFor([&] {
        for (int i = 0; i < rounds; ++i)
            edit.changeLevel(i % 2 ? 5 : 6);
    });
    cores = (cpuSeconds() - cpu) / wall;
    return wall / rounds;
}

// The GUI thread waits while the global pool works with at most this many threads.
void usePoolThreads(int threads)
{
    QThreadPool::globalInstance()->setMaxThreadCount(threads);
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
    const double vertices = double(kShapes) * kVertices;

    // Baseline: the shape-by-shape pipeline on the GUI thread, as used below
    // 1000 shapes, at alternating levels.
    kstResulotion* resolution = view.resolution();
    const double pipeline = secondsFor([&] {
        for (int i = 0; i < 2; ++i)
            for (kstVectorCollect* collect : qAsConst(layer->m_collects))
                collect->m_shapes.first()->updateShape(resolution->mpp(i % 2 ? 5 : 6), view.projection(), true);
    }) / 2;
    edit.changeLevel(6);

    double oneCores = 0, twoCores = 0, poolCores = 0;
    levelChanges(edit, 2, oneCores); // warms up the pool and the plane coordinates
    usePoolThreads(1);
    const double one = levelChanges(edit, 6, oneCores);
    usePoolThreads(2);
    const double two = levelChanges(edit, 6, twoCores);
    usePoolThreads(QThread::idealThreadCount());
    const double pool = levelChanges(edit, 6, poolCores);

    std::printf("level change, %d shapes x %d vertices:\n", kShapes, kVertices);
    std::printf("  shape pipeline, GUI thread   %8.1f ms  %6.1f ns/vertex  (baseline)\n", pipeline * 1e3,
                pipeline / vertices * 1e9);
    std::printf("  edit layer, one thread       %8.1f ms  %6.1f ns/vertex  %5.2fx baseline  (%.2f cores busy)\n",
                one * 1e3, one / vertices * 1e9, pipeline / one, oneCores);
    std::printf("  edit layer, two threads      %8.1f ms  %6.1f ns/vertex  %5.2fx one thread  (%.2f cores busy)\n",
                two * 1e3, two / vertices * 1e9, one / two, twoCores);
    std::printf("  edit layer, whole pool (%d)   %8.1f ms  %6.1f ns/vertex  %5.2fx one thread\n",
                QThread::idealThreadCount(), pool * 1e3, pool / vertices * 1e9, one / pool);
    edit.removeFromMapView();
    edit.removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
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
