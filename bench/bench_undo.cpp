// Undo recorder: a stack of 100 000 records of moves of 100 shapes each, the
// memory one record takes, the time of one undo and one redo of such a move
// against moving the shapes directly (what the drag itself does), and purging
// one layer from the whole stack against copying the stack.
#include "VectorLine.h"
#include "kstBenchSupport.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QApplication>
#include <QFile>

#include <cstdio>

using namespace Kestrum;

namespace {

constexpr int kRecords = 100000;
constexpr int kShapes = 100;
constexpr int kVertices = 4;
constexpr int kTimedSteps = 200;

kstVectorLayer* makeLayer(const QPointF& at)
{
    return Bench::walkingLines(3, kShapes, kVertices, at, QSizeF(0.2, 0.2), 0.002);
}

QList<kstVectorShape*> shapesOf(kstVectorLayer* layer)
{
    QList<kstVectorShape*> shapes;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        shapes += collect->m_shapes;
    return shapes;
}

QMap<QString, QVariant> ltGcps(const QList<kstVectorShape*>& shapes)
{
    QList<GCP> lts;
    for (kstVectorShape* shape : shapes)
        lts << shape->ltGcp();
    return {{QStringLiteral("shapesLtGcps"), QVariant::fromValue(lts)}};
}

// A drag's end: every shape is written to its new place.
void moveAll(const QList<kstVectorShape*>& shapes, double by)
{
    for (kstVectorShape* shape : shapes)
        shape->moveShapeTo(GCP(shape->ltGcp().lon() + by, shape->ltGcp().lat() - by));
}

double residentMB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toDouble() * 4096.0 / 1e6 : 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    kstTileMapView view;
    view.resize(1024, 768);
    view.show();
    view.panAndZoom(GCP(116.5, 40.0), 12);
    auto* editLayer = new kstVectorEditLayer;
    editLayer->addToMapView(&view);
    kstVectorLayer* moved = makeLayer(QPointF(116.4, 39.9));
    kstVectorLayer* other = makeLayer(QPointF(116.6, 40.1));
    editLayer->insertLayer(moved, 0);
    editLayer->insertLayer(other, 1);
    kstVectorLayerMemo* memo = editLayer->memoer();
    const QList<kstVectorShape*> shapes = shapesOf(moved);

    // Baseline: one direct move of the 100 shapes.
    double direct = 0;
    for (int i = 0; i < kTimedSteps; ++i)
        direct += Bench::msFor([&] { moveAll(shapes, i % 2 ? 0.001 : -0.001); });
    direct /= kTimedSteps;

    // The stack: records as a drag makes them, the last ones with real moves.
    const double before = residentMB();
    const double building = Bench::msFor([&] {
        for (int i = 0; i < kRecords - kTimedSteps; ++i)
            memo->memo(LayerMemo::ShapesMove, shapes, ltGcps(shapes));
    });
    for (int i = 0; i < kTimedSteps; ++i) {
        memo->memo(LayerMemo::ShapesMove, shapes, ltGcps(shapes));
        moveAll(shapes, 0.0005);
    }
    const double perRecordKB = (residentMB() - before) * 1000.0 / kRecords;

    double undo = 0, redo = 0;
    for (int i = 0; i < kTimedSteps; ++i)
        undo += Bench::msFor([&] { memo->undo(); });
    for (int i = 0; i < kTimedSteps; ++i)
        redo += Bench::msFor([&] { memo->redo(); });
    undo /= kTimedSteps;
    redo /= kTimedSteps;

    std::printf("%d records of moves of %d lines (%d vertices): %.2f KB per record, %.1f us per memo\n", kRecords,
                kShapes, kVertices, perRecordKB, building * 1000.0 / (kRecords - kTimedSteps));
    std::printf("direct move of %d shapes:  %8.3f ms (baseline)\n", kShapes, direct);
    std::printf("undo of that move:         %8.3f ms  %.2fx baseline, %.2f of a 16 ms frame\n", undo, undo / direct,
                undo / 16.0);
    std::printf("redo of that move:         %8.3f ms  %.2fx baseline, %.2f of a 16 ms frame\n", redo, redo / direct,
                redo / 16.0);

    // Purging: a layer without records (the whole stack is walked), then the
    // moved layer (every record goes), against copying the stack.
    const QList<LayerMemo> stack = memo->undoList();
    const double copy = Bench::msFor([&] {
        QList<LayerMemo> copied;
        copied.reserve(stack.size());
        for (const LayerMemo& rec : stack)
            copied.append(rec);
    });
    const double purgeNone = Bench::msFor([&] { memo->removeDo(other); });
    const int left = memo->undoList().size();
    const double purgeAll = Bench::msFor([&] { memo->removeDo(moved); });
    std::printf("copy of %d records:    %8.3f ms (baseline)\n", int(stack.size()), copy);
    std::printf("purge, nothing matches:    %8.3f ms  %.2fx baseline, %.2f of the 50 ms goal (%d kept)\n", purgeNone,
                purgeNone / copy, purgeNone / 50.0, left);
    std::printf("purge, every record goes:  %8.3f ms  %.2fx baseline, %.2f of the 50 ms goal (%d kept)\n", purgeAll,
                purgeAll / copy, purgeAll / 50.0, int(memo->undoList().size()));

    // Records made from separate shape lists: nothing is shared between them.
    for (int i = 0; i < kRecords; ++i) {
        QList<kstVectorShape*> own;
        own.reserve(shapes.size());
        for (kstVectorShape* shape : shapes)
            own.append(shape);
        memo->memo(LayerMemo::ShapesMove, own, ltGcps(shapes));
    }
    const double purgeUnshared = Bench::msFor([&] { memo->removeDo(other); });
    std::printf("purge, unshared lists:     %8.3f ms  %.2f of the 50 ms goal\n", purgeUnshared, purgeUnshared / 50.0);

    memo->clearDo();
    editLayer->clearLayers();
    editLayer->removeFromMapView();
    delete editLayer;
    return 0;
}
