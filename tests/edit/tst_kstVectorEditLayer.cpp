#include "VectorLine.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace Kestrum;

namespace {

// A line that counts the living instances of its kind.
class CountedLine : public VectorLine
{
public:
    CountedLine(const QVector<QPointF>& points, kstVectorEditLayer* layer) : VectorLine(points, layer) { ++alive; }
    ~CountedLine() override { --alive; }
    static int alive;
};
int CountedLine::alive = 0;

// A layer of `count` short lines scattered around a centre.
template <class Line = VectorLine>
kstVectorLayer* lineLayer(int count, quint32 seed)
{
    QRandomGenerator rng(seed);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < count; ++i) {
        const QPointF start(100 + rng.generateDouble() * 20, 30 + rng.generateDouble() * 10);
        QVector<QPointF> points{start, start + QPointF(0.05, 0.02), start + QPointF(0.1, -0.03)};
        addCollect(layer, {new Line(points, nullptr)});
    }
    return layer;
}

// Largest distance between where each shape's vertices are drawn and where
// the view puts the same geographic points.
double worstPixelError(kstTileMapView& view, kstVectorLayer* layer)
{
    double worst = 0;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        auto* line = static_cast<VectorLine*>(collect->m_shapes.first());
        const QVector<QPointF> geo = line->geoData();
        const QVector<QPointF> pix = line->pixData();
        for (int i = 0; i < geo.size(); ++i) {
            const QPointF drawn = line->mapToScene(pix.at(i));
            const QPointF expected = view.gcpToPix(GCP(geo.at(i)));
            worst = qMax(worst, QLineF(drawn, expected).length());
        }
    }
    return worst;
}

} // namespace

class tst_kstVectorEditLayer : public QObject
{
    Q_OBJECT

private slots:
    void shapesFollowPansZoomsAndConfig();
    void zLevelsStackLayersAndSelection();
    void collectsAndShapesComeAndGo();
    void visibilityAndSelectionStates();
    void shutdownLeavesShapesToTheirLayers();
};

void tst_kstVectorEditLayer::shapesFollowPansZoomsAndConfig()
{
    ShapeTestScene scene(GCP(110, 35), 6);
    kstVectorLayer* layer = lineLayer(50, 7);
    QSignalSpy inserted(&scene.layer(), &kstVectorEditLayer::layerInserted);
    scene.layer().insertLayer(layer, 0);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(scene.layer().layer(0), layer);
    QVERIFY(worstPixelError(scene.view(), layer) < 1e-6);

    // A pan moves the edit layer only; the shapes' pixel data stay as they were.
    auto* first = static_cast<VectorLine*>(layer->m_collects.first()->m_shapes.first());
    const QVector<QPointF> pixBefore = first->pixData();
    const QPointF layerPos = scene.layer().pos();
    scene.view().panBy(QPointF(37, -21));
    QCOMPARE(first->pixData(), pixBefore);
    QCOMPARE(scene.layer().pos(), layerPos + QPointF(37, -21));
    QVERIFY(worstPixelError(scene.view(), layer) < 1e-6);

    // A zoom recomputes the pixel data.
    scene.zoomTo(9);
    QVERIFY(first->pixData() != pixBefore);
    QVERIFY(worstPixelError(scene.view(), layer) < 1e-6);

    ShiftedMercator shifted(5000.0, -3000.0);
    scene.view().setConfig(&shifted, nullptr, nullptr);
    QVERIFY(worstPixelError(scene.view(), layer) < 1e-6);
    scene.view().setConfig(nullptr, nullptr, nullptr);

    // A hidden edit layer leaves its shapes alone until it is shown again.
    scene.layer().hideVectorLayer();
    const QVector<QPointF> hiddenPix = first->pixData();
    scene.zoomTo(11);
    QCOMPARE(first->pixData(), hiddenPix);
    scene.layer().showVectorLayer();
    QVERIFY(worstPixelError(scene.view(), layer) < 1e-6);

    // Removing the layer takes its shapes off the scene and leaves them alive.
    QSignalSpy removed(&scene.layer(), &kstVectorEditLayer::layerRemoved);
    scene.layer().removeLayer(layer);
    QCOMPARE(removed.count(), 1);
    QVERIFY(scene.layer().layers().isEmpty());
    QVERIFY(!first->scene());
    QVERIFY(!first->parentItem());
    QCOMPARE(first->geoData().size(), 3);
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstVectorEditLayer::zLevelsStackLayersAndSelection()
{
    ShapeTestScene scene;
    QList<kstVectorLayer*> layers{lineLayer(2, 1), lineLayer(2, 2), lineLayer(2, 3)};
    for (int i = 0; i < layers.size(); ++i)
        scene.layer().insertLayer(layers.at(i), i);
    scene.layer().setLayerMinZLevel(10);
    scene.layer().resetZLevel();
    for (int i = 0; i < 3; ++i) {
        for (kstVectorCollect* c : qAsConst(layers.at(i)->m_collects)) {
            QCOMPARE(c->m_shapes.first()->zValue(), qreal(12 - i));
            QCOMPARE(c->m_shapes.first()->shapeLayerZLevel(), 12 - i);
        }
    }
    QCOMPARE(scene.layer().zValue(), qreal(14));

    // Drawing modes drop the selection and follow the cursor; editing keeps it.
    kstVectorShape* picked = layers.first()->m_collects.first()->m_shapes.first();
    scene.layer().setLayerAction(kstVectorEditLayer::SelectEdit);
    scene.layer().selectShape(picked);
    QVERIFY(!scene.layer().acceptHoverEvents());
    scene.layer().setLayerAction(kstVectorEditLayer::RectSelect);
    QVERIFY(picked->isShapeSelected() && scene.layer().acceptHoverEvents());
    scene.layer().setLayerAction(kstVectorEditLayer::None);
    QVERIFY(!picked->isShapeSelected());

    QSignalSpy changed(&scene.layer(), &kstVectorEditLayer::actionChanged);
    scene.layer().setLayerAction(kstVectorEditLayer::NewLine);
    scene.layer().setLayerAction(kstVectorEditLayer::NewLine);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.at(0).at(0).toInt(), int(kstVectorEditLayer::None));
    QCOMPARE(changed.at(0).at(1).toInt(), int(kstVectorEditLayer::NewLine));

    scene.layer().layers().clear();
    for (kstVectorLayer* layer : layers)
        kstVectorLayer::destoryLayer(layer);
}

void tst_kstVectorEditLayer::collectsAndShapesComeAndGo()
{
    ShapeTestScene scene;
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayer* layer = lineLayer(3, 4);
    QSignalSpy layerInserted(&edit, &kstVectorEditLayer::layerInserted);
    edit.insertLayer(layer, 0);
    edit.insertLayer(layer, 0);
    QCOMPARE(layerInserted.count(), 1);
    QCOMPARE(edit.layers().size(), 1);
    QVERIFY(!edit.layer(-1) && !edit.layer(1));
    QCOMPARE(edit.layerIndex(nullptr), -1);

    // A second shape in collect 2, then the collect's shapes leave one by one.
    kstVectorCollect* collect = layer->m_collects.value(2);
    auto* extra = new VectorLine({QPointF(100, 30), QPointF(100.1, 30.1)}, nullptr);
    extra->setShapeCollect(collect, 1);
    QSignalSpy shapeInserted(&edit, &kstVectorEditLayer::shapeInserted);
    edit.insertShape(extra, 1);
    QCOMPARE(shapeInserted.count(), 1);
    QCOMPARE(collect->m_shapes.size(), 2);
    QCOMPARE(extra->parentLayer(), &edit);
    QVERIFY(!extra->pixData().isEmpty());

    kstVectorShape* first = collect->m_shapes.first();
    QSignalSpy shapesRemoved(&edit, &kstVectorEditLayer::shapesRemoved);
    edit.removeShapes({first, extra});
    QCOMPARE(shapesRemoved.count(), 1);
    QVERIFY(!layer->m_collects.contains(2)); // emptied collects leave their layer
    QVERIFY(!first->scene());
    QCOMPARE(extra->shapeCollect(), collect);
    edit.insertShapes({extra, first});
    QCOMPARE(layer->m_collects.value(2), collect);
    QCOMPARE(collect->m_shapes, (QList<kstVectorShape*>{first, extra})); // remembered positions

    // Collects: removal announces before anything is destroyed; fids index the signal.
    QSignalSpy collectRemoved(&edit, &kstVectorEditLayer::collectRemoved);
    QSignalSpy collectInserted(&edit, &kstVectorEditLayer::collectInserted);
    edit.removeCollect(collect);
    QCOMPARE(collectRemoved.count(), 1);
    QCOMPARE(layer->m_collects.keys(), (QList<quint64>{1, 3}));
    edit.insertCollect(collect);
    QCOMPARE(collectInserted.at(0).at(1).toInt(), 1);
    edit.deleteShapes({first, extra}); // the collect ends empty and goes once
    QCOMPARE(layer->m_collects.keys(), (QList<quint64>{1, 3}));

    QSignalSpy layerRemoved(&edit, &kstVectorEditLayer::layerRemoved);
    edit.clearLayers();
    QCOMPARE(layerRemoved.count(), 1);
    QVERIFY(edit.layers().isEmpty());
}

void tst_kstVectorEditLayer::visibilityAndSelectionStates()
{
    ShapeTestScene scene;
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayer* layer = lineLayer(3, 9);
    edit.insertLayer(layer, 0);
    edit.resetZLevel();
    kstVectorCollect* collect = layer->m_collects.first();
    kstVectorShape* shape = collect->m_shapes.first();

    kstVectorCollect empty;
    QCOMPARE(kstVectorEditLayer::collectVisibleState(&empty), Qt::Checked);
    QCOMPARE(kstVectorEditLayer::layerVisibleState(layer), Qt::Checked);
    edit.selectShape(shape);
    edit.setShapeVisible(shape, false);
    QVERIFY(!shape->isVisible() && !shape->isShapeSelected()); // hiding unselects
    QCOMPARE(kstVectorEditLayer::collectVisibleState(collect), Qt::Unchecked);
    QCOMPARE(kstVectorEditLayer::layerVisibleState(layer), Qt::PartiallyChecked);
    edit.setLayerVisible(layer, true);
    QCOMPARE(kstVectorEditLayer::layerVisibleState(layer), Qt::Checked);

    // Selected shapes rise above all layers and return to their layer's level.
    edit.setLayerSelecte(layer, true);
    QVERIFY(kstVectorEditLayer::isLayerSelected(layer));
    QCOMPARE(shape->zValue(), qreal(1));
    QCOMPARE(edit.selectedShapes().size(), 3);
    edit.unselectShape(shape);
    QVERIFY(!kstVectorEditLayer::isCollectSelected(collect));
    edit.clearSelected();
    QVERIFY(edit.selectedShapes().isEmpty());
    QCOMPARE(layer->m_collects.last()->m_shapes.first()->zValue(), qreal(0));

    // Layer style and display flags reach every shape.
    layer->m_linePen = QPen(Qt::magenta, 3);
    kstVectorEditLayer::updateLayerStyle(layer);
    QCOMPARE(static_cast<VectorLine*>(shape)->linePen(), QPen(Qt::magenta, 3));
    kstVectorEditLayer::setLayerAntiAliasing(layer, false);
    QVERIFY(!shape->antiAliasiing() && !kstVectorEditLayer::isLayerAntiAliasinged(layer));

    edit.layers().clear();
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstVectorEditLayer::shutdownLeavesShapesToTheirLayers()
{
    // The host's order: the edit layer leaves the view, its layers leave it,
    // it is destroyed, and the host destroys the layers.
    {
        ShapeTestScene scene(GCP(110, 35), 7);
        auto* edit = new kstVectorEditLayer;
        edit->addToMapView(&scene.view());
        QList<kstVectorLayer*> layers{lineLayer<CountedLine>(40, 1), lineLayer<CountedLine>(30, 2)};
        for (kstVectorLayer* layer : layers)
            edit->insertLayer(layer, 0);
        kstVectorShape* sample = layers.first()->m_collects.first()->m_shapes.first();
        edit->selectShape(sample);
        QCOMPARE(CountedLine::alive, 70);
        edit->removeFromMapView();
        for (kstVectorLayer* layer : layers)
            edit->removeLayer(layer);
        QVERIFY(!sample->parentItem() && !sample->parentLayer() && edit->childItems().isEmpty());
        delete edit;
        QCOMPARE(CountedLine::alive, 70);
        for (kstVectorLayer* layer : layers)
            kstVectorLayer::destoryLayer(layer);
        QCOMPARE(CountedLine::alive, 0);
    }
    // An edit layer destroyed while it still shows layers, on a view or not,
    // deletes none of their shapes; collects and shapes removed alone leave too.
    for (bool onView : {true, false}) {
        ShapeTestScene scene(GCP(110, 35), 7);
        auto* edit = new kstVectorEditLayer;
        edit->addToMapView(&scene.view());
        kstVectorLayer* layer = lineLayer<CountedLine>(25, 3);
        kstVectorLayer* other = lineLayer<CountedLine>(5, 4);
        edit->insertLayer(layer, 0);
        edit->insertLayer(other, 1);
        kstVectorCollect* collect = layer->m_collects.first();
        kstVectorShape* shape = layer->m_collects.last()->m_shapes.first();
        kstVectorCollect* emptied = shape->shapeCollect();
        if (!onView)
            edit->removeFromMapView();
        edit->removeCollect(collect);
        edit->removeShape(shape);
        QVERIFY(!collect->m_shapes.first()->parentItem() && !shape->parentItem());
        edit->removeLayer(other);
        delete edit;
        QCOMPARE(CountedLine::alive, 30);
        kstVectorLayer::destoryLayer(layer);
        kstVectorLayer::destoryLayer(other);
        kstVectorCollect::destroyCollect(collect);
        delete shape;
        kstVectorCollect::deleteCollect(emptied);
        QCOMPARE(CountedLine::alive, 0);
    }
}

QTEST_MAIN(tst_kstVectorEditLayer)
#include "tst_kstVectorEditLayer.moc"
