#include "LayerMemo.h"
#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QtTest>

using namespace Kestrum;

namespace {

using Data = QMap<QString, QVariant>;

// Records the two usability signals of a recorder in the order they come.
class UsabilityLog
{
public:
    explicit UsabilityLog(kstVectorLayerMemo* memo)
    {
        QObject::connect(memo, &kstVectorLayerMemo::undoUsabilityChanged,
                         [this](bool on) { m_log << QStringLiteral("undo:%1").arg(on); });
        QObject::connect(memo, &kstVectorLayerMemo::redoUsabilityChanged,
                         [this](bool on) { m_log << QStringLiteral("redo:%1").arg(on); });
    }
    QStringList take() { return std::exchange(m_log, QStringList()); }

private:
    QStringList m_log;
};

VectorLine* line(const QPointF& start, int points = 3)
{
    QVector<QPointF> geo;
    for (int i = 0; i < points; ++i)
        geo << start + QPointF(0.01 * i, 0.004 * (i % 2));
    return new VectorLine(geo, nullptr);
}

VectorPolygon* squareWithHole(const QPointF& c)
{
    Polygon__ geo;
    geo.outer << c + QPointF(-0.1, 0.1) << c + QPointF(0.1, 0.1) << c + QPointF(0.1, -0.1) << c + QPointF(-0.1, -0.1);
    geo.inner << QPolygonF({c + QPointF(-0.02, 0.02), c + QPointF(0.02, 0.02), c + QPointF(0.02, -0.02),
                            c + QPointF(-0.02, -0.02)});
    return new VectorPolygon(geo, nullptr);
}

// A layer of three collects: two lines and a polygon with a hole.
kstVectorLayer* sampleLayer(const QPointF& at)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    addCollect(layer, {line(at)});
    addCollect(layer, {line(at + QPointF(0.05, 0.05), 4)});
    addCollect(layer, {squareWithHole(at + QPointF(-0.2, 0))});
    return layer;
}

Data layerData(kstVectorLayer* layer, int index)
{
    return {{QStringLiteral("layer"), LayerMemo::layerValue(layer)}, {QStringLiteral("layerIndex"), index}};
}

Data vertexData(int index, const GCP& gcp)
{
    return {{QStringLiteral("vertexIndex"), index}, {QStringLiteral("vertexGcp"), QVariant::fromValue(gcp)}};
}

Data ltGcpsData(const QList<kstVectorShape*>& shapes)
{
    QList<GCP> lts;
    for (kstVectorShape* shape : shapes)
        lts << shape->ltGcp();
    return {{QStringLiteral("shapesLtGcps"), QVariant::fromValue(lts)}};
}

QVector<QPointF> allRingPoints(VectorPolygon* polygon)
{
    QVector<QPointF> points = polygon->geoData().outer;
    for (const QPolygonF& ring : polygon->geoData().inner)
        points += ring;
    return points;
}

} // namespace

class tst_kstVectorLayerMemo : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<kstVectorLayer*>("Kestrum::kstVectorLayer*"); }
    void signalsFollowTheStacks();
    void recordsRememberTheViewAndPanBack();
    void layerAndShapeRecordsReplay();
    void recordsTheModelCannotMake();
    void purgingDropsWholeRecordsInOrder();
    void deletionsThroughTheEditLayerPurge();
};

void tst_kstVectorLayerMemo::signalsFollowTheStacks()
{
    ShapeTestScene scene;
    kstVectorLayerMemo* memo = scene.layer().memoer();
    QCOMPARE(memo->parent(), &scene.layer());
    UsabilityLog log(memo);
    QSignalSpy relayedUndo(&scene.layer(), &kstVectorEditLayer::undoUsabilityChanged);
    QSignalSpy relayedRedo(&scene.layer(), &kstVectorEditLayer::redoUsabilityChanged);

    // Empty stacks: undo and redo do nothing and say nothing.
    memo->undo();
    memo->redo();
    QVERIFY(log.take().isEmpty());

    kstVectorLayer* layer = kstVectorLayer::newLayer();
    memo->memo(LayerMemo::LayerInsert, layerData(layer, 0));
    QCOMPARE(log.take(), QStringList({"redo:0", "undo:1"}));
    QCOMPARE(relayedUndo.count(), 1);
    QCOMPARE(relayedRedo.count(), 1);

    memo->undo();
    QCOMPARE(log.take(), QStringList({"undo:0", "redo:1"}));
    QCOMPARE(memo->redoList().size(), 1);

    // A new record invalidates the redo history.
    memo->memo(LayerMemo::LayerInsert, layerData(layer, 0));
    QCOMPARE(log.take(), QStringList({"redo:0", "undo:1"}));
    QVERIFY(memo->redoList().isEmpty());

    // Disabled: no recording, no replay, no signal; clearing still works.
    memo->setEnable(false);
    memo->memo(LayerMemo::ShapesInsert, Data());
    memo->undo();
    QVERIFY(log.take().isEmpty());
    QCOMPARE(memo->undoList().size(), 1);
    memo->setEnable(true);

    // A record of an unknown action is dropped without touching anything.
    memo->memo(LayerMemo::Action(42), Data());
    log.take();
    memo->undo();
    QCOMPARE(log.take(), QStringList({"undo:1", "redo:0"}));
    QCOMPARE(memo->undoList().size(), 1);

    // Clearing says so even when there was nothing to clear.
    memo->clearRedo();
    QCOMPARE(log.take(), QStringList({"redo:0"}));
    memo->clearDo();
    QCOMPARE(log.take(), QStringList({"undo:0", "redo:0"}));

    // The three overloads fill the shape list differently.
    kstVectorShape* shape = line(QPointF(116.4, 39.9));
    memo->memo(LayerMemo::ShapesInsert, shape, Data());
    memo->memo(LayerMemo::ShapesInsert, {shape, shape}, Data());
    memo->memo(LayerMemo::LayerRemove, Data());
    QCOMPARE(memo->undoList().at(0).m_shapes, QList<kstVectorShape*>{shape});
    QCOMPARE(memo->undoList().at(1).m_shapes.size(), 2);
    QVERIFY(memo->undoList().at(2).m_shapes.isEmpty());
    memo->clearDo();
    delete shape;
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstVectorLayerMemo::recordsRememberTheViewAndPanBack()
{
    ShapeTestScene scene(GCP(116.4, 39.9), 12);
    kstVectorLayerMemo* memo = scene.layer().memoer();
    kstVectorLayer* layer = sampleLayer(QPointF(116.4, 39.9));
    scene.layer().insertLayer(layer, 0);
    const GCP recordedCenter = scene.view().currentCenterGcp();
    memo->memo(LayerMemo::LayerInsert, layerData(layer, 0));
    QCOMPARE(memo->undoList().last().m_level, 12);
    QCOMPARE(memo->undoList().last().m_center, recordedCenter);

    // Undo pans back to where the record was made; the reverse record keeps
    // where the view was when undo was invoked.
    scene.view().panAndZoom(GCP(100, 30), 8);
    const GCP awayCenter = scene.view().currentCenterGcp();
    memo->undo();
    QCOMPARE(scene.view().level(), 12);
    QVERIFY(qAbs(scene.view().currentCenterGcp().lon() - recordedCenter.lon()) < 1e-6);
    QCOMPARE(memo->redoList().last().m_level, 8);
    QCOMPARE(memo->redoList().last().m_center, awayCenter);

    // Switched off, the view stays, and the reverse record still remembers it.
    memo->setRecoverMapWhenDo(false);
    scene.view().panAndZoom(GCP(90, 20), 7);
    const GCP stayCenter = scene.view().currentCenterGcp();
    memo->redo();
    QCOMPARE(scene.view().level(), 7);
    QCOMPARE(scene.view().currentCenterGcp(), stayCenter);
    QCOMPARE(memo->undoList().last().m_level, 7);
    QCOMPARE(memo->undoList().last().m_center, stayCenter);
    QCOMPARE(scene.layer().layers(), QList<kstVectorLayer*>{layer});

    memo->clearDo();
    scene.layer().deleteLayer(layer);
}

void tst_kstVectorLayerMemo::layerAndShapeRecordsReplay()
{
    ShapeTestScene scene;
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayerMemo* memo = edit.memoer();
    kstVectorLayer* top = sampleLayer(QPointF(116.4, 39.9));
    kstVectorLayer* bottom = sampleLayer(QPointF(116.3, 39.8));
    edit.insertLayer(top, 0);
    edit.insertLayer(bottom, 1);
    edit.resetZLevel();

    // A removed layer comes back at its index with the recorded shapes selected.
    const QList<kstVectorShape*> topShapes = shapesOf(top);
    memo->memo(LayerMemo::LayerRemove, topShapes.mid(0, 2), layerData(top, 0));
    edit.removeLayer(top);
    QSignalSpy inserted(&edit, &kstVectorEditLayer::layerInserted);
    memo->undo();
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(edit.layers(), (QList<kstVectorLayer*>{top, bottom}));
    QCOMPARE(edit.selectedShapes(), topShapes.mid(0, 2));
    QCOMPARE(topShapes.first()->zValue(), qreal(edit.layerMinZLevel() + 2)); // selected level
    QCOMPARE(topShapes.last()->shapeLayerZLevel(), edit.layerMinZLevel() + 1);
    memo->redo();
    QCOMPARE(edit.layers(), QList<kstVectorLayer*>{bottom});
    QVERIFY(!topShapes.first()->scene());
    memo->undo();

    // Shapes inserted with a remembered index that is wrong on purpose,
    // removed one record at a time, come back in their own places; the last
    // one undone is selected.
    kstVectorCollect* collect = top->m_collects.first();
    for (int i = 0; i < 3; ++i) {
        VectorLine* extra = line(QPointF(116.45 + 0.01 * i, 39.95));
        extra->setShapeCollect(collect, 0);
        edit.insertShape(extra, collect->m_shapes.size());
    }
    const QList<kstVectorShape*> order = collect->m_shapes; // four lines
    for (int i : {1, 3, 2}) {
        memo->memo(LayerMemo::ShapesRemove, order.at(i), Data());
        edit.removeShape(order.at(i));
    }
    QCOMPARE(collect->m_shapes, QList<kstVectorShape*>{order.at(0)});
    memo->undo();
    memo->undo();
    memo->undo();
    QCOMPARE(collect->m_shapes, order);
    QCOMPARE(edit.selectedShapes(), QList<kstVectorShape*>{order.at(1)});

    // An insertion recorded by the host, redone, is selected.
    VectorLine* added = line(QPointF(116.5, 39.9));
    added->setShapeCollect(collect, 1);
    edit.insertShapes({added});
    memo->memo(LayerMemo::ShapesInsert, added, Data());
    memo->undo();
    QVERIFY(!collect->m_shapes.contains(added));
    memo->redo();
    QCOMPARE(collect->m_shapes.at(1), added);
    QCOMPARE(edit.selectedShapes(), QList<kstVectorShape*>{added});

    memo->clearDo();
    edit.clearLayers();
}

// What the random model never records: vertex removals recorded without
// their ring (before and after the removal, as older callers do), records
// that name nothing valid, and changes made outside the history.
void tst_kstVectorLayerMemo::recordsTheModelCannotMake()
{
    ShapeTestScene scene(GCP(116.4, 39.9), 11);
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayerMemo* memo = edit.memoer();
    kstVectorLayer* layer = sampleLayer(QPointF(116.4, 39.9));
    edit.insertLayer(layer, 0);
    auto* lineShape = static_cast<VectorLine*>(shapesOf(layer).at(0));
    auto* polygon = static_cast<VectorPolygon*>(shapesOf(layer).at(2));

    // The first vertex of the outer ring and of the hole, and the last of the
    // outer ring: undo puts each back where it was.
    const QVector<QPointF> polygonBefore = allRingPoints(polygon);
    for (int index : {0, 4, 3}) {
        const GCP gone = polygon->vertex(index);
        const bool recordFirst = index != 3; // the edit layer records after removing
        if (recordFirst)
            memo->memo(LayerMemo::VertexRemove, polygon, vertexData(index, gone));
        QVERIFY(!polygon->removeVertex(index));
        if (!recordFirst)
            memo->memo(LayerMemo::VertexRemove, polygon, vertexData(index, gone));
        const QVector<QPointF> removed = allRingPoints(polygon);
        memo->undo();
        QCOMPARE(allRingPoints(polygon), polygonBefore);
        memo->redo();
        QCOMPARE(allRingPoints(polygon), removed);
        memo->undo();
    }

    // Records that name nothing valid change nothing.
    const QVector<QPointF> lineNow = lineShape->geoData();
    memo->memo(LayerMemo::VertexInsert, lineShape, vertexData(99, GCP(116, 39)));
    memo->memo(LayerMemo::VertexMove, lineShape, vertexData(-3, GCP(116, 39)));
    memo->memo(LayerMemo::ShapesRemove, {nullptr}, Data());
    memo->memo(LayerMemo::ShapesMove, QList<kstVectorShape*>{nullptr}, ltGcpsData({lineShape}));
    for (int i = 0; i < 4; ++i)
        memo->undo();
    for (int i = 0; i < 4; ++i)
        memo->redo();
    QCOMPARE(lineShape->geoData(), lineNow);

    // A fit made outside the history is kept: undoing a move moves the fitted
    // shape back as a whole, it does not restore its former form.
    memo->memo(LayerMemo::ShapesMove, {lineShape}, ltGcpsData({lineShape}));
    lineShape->moveShapeTo(GCP(116.3, 39.8));
    FourParamter__ turn;
    turn.rotation = 0.01;
    lineShape->fit(turn);
    const QVector<QPointF> fitted = lineShape->geoData();
    memo->undo();
    QVERIFY(lineShape->geoData() != lineNow && lineShape->geoData() != fitted);
    QCOMPARE(lineShape->geoData().size(), lineNow.size());

    memo->clearDo();
    edit.deleteLayer(layer);
}

void tst_kstVectorLayerMemo::purgingDropsWholeRecordsInOrder()
{
    ShapeTestScene scene;
    kstVectorLayerMemo* memo = scene.layer().memoer();
    kstVectorLayer* a = sampleLayer(QPointF(116.4, 39.9));
    kstVectorLayer* b = sampleLayer(QPointF(116.2, 39.7));
    const QList<kstVectorShape*> as = shapesOf(a);
    const QList<kstVectorShape*> bs = shapesOf(b);
    kstVectorShape* loose = line(QPointF(116, 39)); // in no collect

    memo->memo(LayerMemo::LayerInsert, layerData(a, 0));           // 0 a
    memo->memo(LayerMemo::ShapesInsert, bs.at(0), Data());         // 1 b
    memo->memo(LayerMemo::ShapesMove, {bs.at(1), as.at(2)}, Data()); // 2 a and b
    memo->memo(LayerMemo::LayerRemove, layerData(b, 1));           // 3 b
    memo->memo(LayerMemo::ShapesRemove, loose, Data());            // 4 none
    memo->memo(LayerMemo::VertexMove, as.at(0), Data());           // 5 a
    memo->undo();
    memo->undo(); // redo stack: 5, 4
    QList<LayerMemo> undos = memo->undoList();
    const QList<LayerMemo> redos = memo->redoList();

    UsabilityLog log(memo);
    memo->removeDo(a);
    QCOMPARE(memo->undoList(), (QList<LayerMemo>{undos.at(1), undos.at(3)}));
    QCOMPARE(memo->redoList(), QList<LayerMemo>{redos.at(1)}); // the loose shape's record
    QVERIFY(log.take().isEmpty()); // neither stack became empty

    memo->removeUndo(QList<kstVectorShape*>{loose, bs.at(0)});
    QCOMPARE(memo->undoList(), QList<LayerMemo>{undos.at(3)});
    memo->removeRedo(loose);
    QCOMPARE(log.take(), QStringList({"redo:0"}));
    memo->removeUndo(b);
    QCOMPARE(log.take(), QStringList({"undo:0"}));
    // An empty stack says so again on every purge.
    memo->removeRedo(b);
    QCOMPARE(log.take(), QStringList({"redo:0"}));

    delete loose;
    kstVectorLayer::destoryLayer(a);
    kstVectorLayer::destoryLayer(b);
}

void tst_kstVectorLayerMemo::deletionsThroughTheEditLayerPurge()
{
    ShapeTestScene scene;
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayerMemo* memo = edit.memoer();
    kstVectorLayer* kept = sampleLayer(QPointF(116.4, 39.9));
    kstVectorLayer* doomed = sampleLayer(QPointF(116.2, 39.7));
    edit.insertLayer(kept, 0);
    edit.insertLayer(doomed, 1);
    const QList<kstVectorShape*> keptShapes = shapesOf(kept);
    const QList<kstVectorShape*> doomedShapes = shapesOf(doomed);

    // Records of every kind on both layers, some already undone.
    memo->memo(LayerMemo::ShapesMove, {keptShapes.at(0), doomedShapes.at(0)}, ltGcpsData({keptShapes.at(0), doomedShapes.at(0)}));
    keptShapes.at(0)->moveShapeTo(GCP(116.3, 39.95));
    doomedShapes.at(0)->moveShapeTo(GCP(116.1, 39.75));
    memo->memo(LayerMemo::ShapesRemove, doomedShapes.at(1), Data());
    edit.removeShape(doomedShapes.at(1)); // detached: only its record refers to it
    memo->memo(LayerMemo::VertexMove, keptShapes.at(1), vertexData(0, keptShapes.at(1)->vertex(0)));
    keptShapes.at(1)->moveVertexTo(0, GCP(116.41, 39.91));
    memo->memo(LayerMemo::VertexMove, doomedShapes.at(2), vertexData(1, doomedShapes.at(2)->vertex(1)));
    doomedShapes.at(2)->moveVertexTo(1, GCP(116.11, 39.71));
    kstVectorCollect* lone = kept->m_collects.first();
    memo->memo(LayerMemo::ShapesRemove, lone->m_shapes, Data());
    edit.removeShapes(lone->m_shapes);
    memo->undo();

    // A shape of the kept layer goes with its collect; a detached sibling of
    // a collect that ends empty goes with the collect.
    kstVectorCollect* second = keptShapes.at(1)->shapeCollect();
    VectorLine* sibling = line(QPointF(116.45, 39.85));
    sibling->setShapeCollect(second, 1);
    edit.insertShape(sibling, 1);
    memo->memo(LayerMemo::ShapesRemove, sibling, Data());
    edit.removeShape(sibling);
    const quint64 secondFid = second->m_fid;
    edit.deleteShape(keptShapes.at(1));
    QVERIFY(!kept->m_collects.contains(secondFid)); // second was deleted, sibling is orphaned
    delete sibling;

    kstVectorCollect* detachedCollect = doomedShapes.at(1)->shapeCollect();
    edit.deleteLayer(doomed);
    // The detached shape and its emptied collect are no longer the layer's.
    delete doomedShapes.at(1);
    kstVectorCollect::deleteCollect(detachedCollect);
    for (const LayerMemo& rec : memo->undoList() + memo->redoList()) {
        for (kstVectorShape* shape : rec.m_shapes)
            QVERIFY(keptShapes.contains(shape) && shape != keptShapes.at(1));
    }

    // Whatever is left replays without touching freed memory.
    while (!memo->undoList().isEmpty())
        memo->undo();
    while (!memo->redoList().isEmpty())
        memo->redo();
    while (!memo->undoList().isEmpty())
        memo->undo();
    QCOMPARE(edit.layers(), QList<kstVectorLayer*>{kept});
    memo->clearDo();
    edit.clearLayers();
    QVERIFY(edit.layers().isEmpty());
}

QTEST_MAIN(tst_kstVectorLayerMemo)
#include "tst_kstVectorLayerMemo.moc"
