// Edit layer throughput: level changes with 100 000 shapes of 10 vertices
// (the edit layer on one and on two threads against the shape-by-shape
// pipeline), and placing labels for 10 000 candidates (grid index against the
// pairwise test).
#include "VectorLine.h"
#include "kstBenchSupport.h"
#include "kstLabelGrid.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QApplication>
#include <QRandomGenerator>
#include <QThread>
#include <QThreadPool>

#include <algorithm>

#include <cstdio>
#include <ctime>

using namespace Kestrum;

namespace {

constexpr int kShapes = 100000;
constexpr int kVertices = 10;
constexpr int kCandidates = 10000;
// What a level change should cost: per vertex on one thread, and the speed-up of two threads.
constexpr double kOneThreadGoalNs = 150.0;
constexpr double kTwoThreadGoal = 1.7;

kstVectorLayer* makeLayer()
{
    return Bench::walkingLines(1, kShapes, kVertices, QPointF(70, 15), QSizeF(60, 40), 0.01);
}

// Drives level changes as the view reports them, and the shape-by-shape
// pipeline the level change replaces.
class BenchEditLayer : public kstVectorEditLayer
{
public:
    void changeLevel(int level) { mapViewChanged(currentLtPcp(), level); }
};

double cpuSeconds(clockid_t clock)
{
    timespec t{};
    clock_gettime(clock, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}

// Seconds per level change, measured over level changes alternating
// between 5 and 6: wall time, CPU time of the whole process and of the GUI
// thread (which stores the frames and computes whatever the pool has not).
struct LevelChangeTimes
{
    double wall = 0;
    double cpu = 0;
    double gui = 0;
};

// With `eventLoop`, the event loop runs between level changes (untimed), as
// in the application: the scene then indexes the moved items, and the next
// level change takes them out of its index again.
LevelChangeTimes levelChanges(BenchEditLayer& edit, int rounds, bool eventLoop = false)
{
    LevelChangeTimes times;
    for (int i = 0; i < rounds; ++i) {
        if (eventLoop)
            QCoreApplication::processEvents();
        const double cpu = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
        const double gui = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
        times.wall += Bench::secondsFor([&] { edit.changeLevel(i % 2 ? 5 : 6); }) / rounds;
        times.cpu += (cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) / rounds;
        times.gui += (cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - gui) / rounds;
    }
    return times;
}

// The GUI thread waits while the global pool works with at most this many threads.
void usePoolThreads(int threads)
{
    QThreadPool::globalInstance()->setMaxThreadCount(threads);
}

// One and two threads in turn, in groups ordered one, two, two, one, ... so
// that a machine whose speed drifts during the run slows both alike. After
// each switch two untimed level changes let the shapes' memory settle where
// the new number of threads keeps it, as in a host that does not switch.
void oneAndTwoThreads(BenchEditLayer& edit, int groups, LevelChangeTimes& one, LevelChangeTimes& two)
{
    constexpr int kTimed = 4;
    const auto add = [groups](LevelChangeTimes& sum, const LevelChangeTimes& group) {
        sum.wall += group.wall / groups;
        sum.cpu += group.cpu / groups;
        sum.gui += group.gui / groups;
    };
    for (int i = 0; i < 2 * groups; ++i) {
        const bool useTwo = (i % 4 == 1) || (i % 4 == 2);
        usePoolThreads(useTwo ? 2 : 1);
        levelChanges(edit, 2);
        add(useTwo ? two : one, levelChanges(edit, kTimed));
    }
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
    QCoreApplication::processEvents();
    const double vertices = double(kShapes) * kVertices;
    const auto ns = [vertices](double seconds) { return seconds / vertices * 1e9; };

    // Baseline: the shape-by-shape pipeline on the GUI thread, as used below
    // 1000 shapes, at alternating levels.
    kstResulotion* resolution = view.resolution();
    const double cpu = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    const double pipelineWall = Bench::secondsFor([&] {
        for (int i = 0; i < 2; ++i)
            for (kstVectorCollect* collect : qAsConst(layer->m_collects))
                collect->m_shapes.first()->updateShape(resolution->mpp(i % 2 ? 5 : 6), view.projection(), true);
    }) / 2;
    const double pipelineCpu = (cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) / 2;
    edit.changeLevel(6);

    levelChanges(edit, 2); // warms up the pool, the frames and the plane coordinates
    LevelChangeTimes one, two;
    oneAndTwoThreads(edit, 4, one, two);
    usePoolThreads(QThread::idealThreadCount());

    std::printf("level change, %d shapes x %d vertices (ns per vertex; CPU time, then wall time):\n", kShapes,
                kVertices);
    std::printf("  shape pipeline, GUI thread  cpu %6.1f  wall %6.1f  (baseline)\n", ns(pipelineCpu),
                ns(pipelineWall));
    std::printf("  edit layer, one thread      cpu %6.1f  wall %6.1f  %5.2fx baseline; GUI thread %4.1f%% of it\n",
                ns(one.cpu), ns(one.wall), pipelineCpu / one.cpu, 100.0 * one.gui / one.cpu);
    std::printf("  edit layer, two threads     cpu %6.1f  wall %6.1f  GUI thread %4.1f%% of it\n", ns(two.cpu),
                ns(two.wall), 100.0 * two.gui / two.cpu);
    std::printf("  two threads against one: %.2fx (wall time; goal at least %.1fx)\n", one.wall / two.wall,
                kTwoThreadGoal);
    std::printf("  one thread: %s the goal of at most %.0f ns per vertex\n",
                ns(one.wall) <= kOneThreadGoalNs ? "meets" : "misses", kOneThreadGoalNs);
    const LevelChangeTimes indexed = levelChanges(edit, 4, true);
    std::printf("  with the event loop between level changes, whole pool: cpu %6.1f  wall %6.1f  GUI thread %4.1f%%\n",
                ns(indexed.cpu), ns(indexed.wall), 100.0 * indexed.gui / indexed.cpu);
    QCoreApplication::processEvents();
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
    const double grid = Bench::secondsFor([&] {
        kstLabelGrid index;
        for (const QRectF& r : qAsConst(candidates))
            if (!index.intersects(r)) {
                index.insert(r);
                ++placedGrid;
            }
    });
    const double pairwise = Bench::secondsFor([&] {
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
    Bench::offscreenByDefault();
    QApplication app(argc, argv);
    benchLabelIndex();
    benchShapeUpdates();
    return 0;
}
