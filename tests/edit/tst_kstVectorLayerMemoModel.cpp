// Random edits recorded the way the application and the edit layer record
// them, on a real edit layer on a real view: undoing everything must give
// back the layers file of the start byte for byte, and redoing everything the
// file of the end.

#include "VectorPolygon.h"
#include "kstMixedLayer.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QRandomGenerator>
#include <algorithm>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

using namespace Kestrum;

namespace {

using Data = QMap<QString, QVariant>;

constexpr QPointF kHome(116.4, 39.9);

class Model
{
public:
    Model(ShapeTestScene& scene, quint32 seed) : m_scene(scene), m_edit(scene.layer()), m_rng(seed)
    {
        m_memo = m_edit.memoer();
        for (int i = 0; i < 3; ++i) {
            kstVectorLayer* layer = newLayer();
            for (int c = 0; c < 12; ++c)
                addFeature(layer, 1 + (c % 4 == 0));
            m_edit.insertLayer(layer, i);
        }
        for (int i = 0; i < 2; ++i) {
            kstVectorLayer* layer = newLayer();
            for (int c = 0; c < 6; ++c)
                addFeature(layer, 1);
        }
        m_edit.resetZLevel();
    }

    ~Model()
    {
        m_memo->clearDo();
        QSet<kstVectorCollect*> liveCollects;
        QSet<kstVectorShape*> liveShapes;
        for (kstVectorLayer* layer : qAsConst(m_layers)) {
            for (kstVectorCollect* collect : qAsConst(layer->m_collects))
                liveCollects.insert(collect);
            for (kstVectorShape* shape : shapesOf(layer))
                liveShapes.insert(shape);
        }
        const QList<kstVectorLayer*> outside = outsideLayers();
        m_edit.clearLayers();
        for (kstVectorLayer* layer : outside)
            kstVectorLayer::destoryLayer(layer);
        // What only the history referred to.
        for (kstVectorShape* shape : qAsConst(m_shapes))
            if (!liveShapes.contains(shape))
                delete shape;
        for (kstVectorCollect* collect : qAsConst(m_collects))
            if (!liveCollects.contains(collect))
                kstVectorCollect::deleteCollect(collect);
    }

    QByteArray layersFile()
    {
        const QString path = m_dir.filePath(QStringLiteral("model.layers"));
        if (!kstVectorLayer::saveLayers(m_edit.layers(), path))
            return QByteArray();
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

    // One recorded edit, with now and then a pan or a zoom before it.
    void step()
    {
        if (m_rng.bounded(8) == 0)
            moveView();
        switch (m_rng.bounded(20)) {
        case 0: insertLayer(); break;
        case 1: removeLayer(); break;
        case 2: case 3: insertShapes(); break;
        case 4: case 5: removeShapes(); break;
        case 6: case 7: case 8: case 9: moveShapes(); break;
        case 10: case 11: case 12: insertVertex(); break;
        case 13: case 14: case 15: removeVertex(); break;
        default: moveVertex(); break;
        }
    }

    // Goes back a few steps and forth again, possibly not all the way.
    void wander()
    {
        const int back = 1 + m_rng.bounded(6);
        for (int i = 0; i < back; ++i) {
            if (m_rng.bounded(3) == 0)
                moveView();
            m_memo->undo();
        }
        const int forth = m_rng.bounded(4) == 0 ? m_rng.bounded(back) : back;
        for (int i = 0; i < forth; ++i)
            m_memo->redo();
    }

    kstVectorLayerMemo* memo() const { return m_memo; }

private:
    double uniform(double from, double to) { return from + (to - from) * m_rng.generateDouble(); }
    QPointF near(const QPointF& p, double spread) { return p + QPointF(uniform(-spread, spread), uniform(-spread, spread)); }

    kstVectorLayer* newLayer()
    {
        kstVectorLayer* layer = kstVectorLayer::newLayer();
        layer->m_name = QStringLiteral("layer %1").arg(m_layers.size());
        m_layers << layer;
        return layer;
    }

    // A shape of any kind near the start view; polygons have up to two holes.
    kstVectorShape* newShape()
    {
        const QPointF at = near(kHome, 0.15);
        m_shapes << randomShape(m_rng.bounded(5), m_rng, at, 0.01 + uniform(0, 0.03), 2);
        return m_shapes.last();
    }

    void addFeature(kstVectorLayer* layer, int shapes)
    {
        QList<kstVectorShape*> parts;
        for (int i = 0; i < shapes; ++i)
            parts << newShape();
        kstVectorCollect* collect = addCollect(layer, parts);
        collect->m_text = QStringLiteral("feature %1").arg(collect->m_fid);
        m_collects << collect;
    }

    // A shown shape of one of the types, of any type when none is given.
    kstVectorShape* anyShape(std::initializer_list<kstVectorShape::Shape_Type> types = {})
    {
        QList<kstVectorShape*> shown, candidates;
        for (kstVectorLayer* layer : m_edit.layers())
            shown += shapesOf(layer);
        for (kstVectorShape* shape : qAsConst(shown))
            if (types.size() == 0 || std::find(types.begin(), types.end(), shape->shapeType()) != types.end())
                candidates << shape;
        return candidates.isEmpty() ? nullptr : candidates.at(m_rng.bounded(candidates.size()));
    }

    // One to `most` distinct shown shapes (none when nothing is shown).
    QList<kstVectorShape*> someShapes(int most)
    {
        QList<kstVectorShape*> shapes;
        for (int i = 0, n = 1 + m_rng.bounded(most); i < n; ++i) {
            kstVectorShape* shape = anyShape();
            if (shape && !shapes.contains(shape))
                shapes << shape;
        }
        return shapes;
    }

    void moveView()
    {
        if (m_rng.bounded(2) == 0)
            m_scene.view().panAndZoom(GCP(near(kHome, 0.1)), 9 + m_rng.bounded(6));
        else
            m_scene.view().panBy(QPointF(uniform(-200, 200), uniform(-200, 200)));
    }

    QList<kstVectorLayer*> outsideLayers() const
    {
        QList<kstVectorLayer*> outside;
        for (kstVectorLayer* layer : m_layers)
            if (!m_edit.layers().contains(layer))
                outside << layer;
        return outside;
    }

    void insertLayer()
    {
        const QList<kstVectorLayer*> outside = outsideLayers();
        if (outside.isEmpty())
            return;
        kstVectorLayer* layer = outside.at(m_rng.bounded(outside.size()));
        const int index = m_rng.bounded(m_edit.layers().size() + 1);
        m_edit.insertLayer(layer, index);
        m_edit.resetZLevel();
        m_memo->memo(LayerMemo::LayerInsert, {{"layer", LayerMemo::layerValue(layer)}, {"layerIndex", index}});
    }

    void removeLayer()
    {
        if (m_edit.layers().size() < 2)
            return;
        const int index = m_rng.bounded(m_edit.layers().size());
        kstVectorLayer* layer = m_edit.layer(index);
        m_memo->memo(LayerMemo::LayerRemove, m_edit.selectedShapes(),
                     {{"layer", LayerMemo::layerValue(layer)}, {"layerIndex", index}});
        m_edit.removeLayer(layer);
    }

    void insertShapes()
    {
        if (m_edit.layers().isEmpty())
            return;
        kstVectorLayer* layer = m_edit.layer(m_rng.bounded(m_edit.layers().size()));
        if (m_rng.bounded(2) == 0 || layer->m_collects.isEmpty()) {
            // A feature drawn anew, given its layer and fid by the application.
            kstVectorCollect* collect = kstVectorCollect::newCollect();
            m_collects << collect;
            kstVectorShape* shape = newShape();
            shape->setShapeCollect(collect, 0);
            collect->m_shapes << shape;
            collect->m_layer = layer;
            collect->m_fid = layer->genFid();
            m_edit.insertCollect(collect);
            m_memo->memo(LayerMemo::ShapesInsert, collect->m_shapes, Data());
        } else {
            // One more part of an existing feature.
            kstVectorCollect* collect = layer->m_collects.values().at(m_rng.bounded(layer->m_collects.size()));
            kstVectorShape* shape = newShape();
            const int index = m_rng.bounded(collect->m_shapes.size() + 1);
            shape->setShapeCollect(collect, index);
            m_edit.insertShape(shape, index);
            m_memo->memo(LayerMemo::ShapesInsert, shape, Data());
        }
    }

    void removeShapes()
    {
        kstVectorShape* one = anyShape();
        if (one && one->shapeCollect()->m_shapes.size() > 1 && m_rng.bounded(2) == 0) {
            // Several parts of one feature, in no particular order.
            QList<kstVectorShape*> parts = one->shapeCollect()->m_shapes;
            std::shuffle(parts.begin(), parts.end(), m_rng);
            parts = parts.mid(0, 1 + m_rng.bounded(parts.size()));
            m_memo->memo(LayerMemo::ShapesRemove, parts, Data());
            m_edit.removeShapes(parts);
            return;
        }
        const QList<kstVectorShape*> shapes = someShapes(3);
        if (shapes.isEmpty())
            return;
        m_memo->memo(LayerMemo::ShapesRemove, shapes, Data());
        m_edit.removeShapes(shapes);
    }

    void moveShapes()
    {
        const QList<kstVectorShape*> shapes = someShapes(4);
        if (shapes.isEmpty())
            return;
        QList<GCP> lts;
        for (kstVectorShape* shape : shapes)
            lts << shape->ltGcp();
        m_memo->memo(LayerMemo::ShapesMove, shapes, {{"shapesLtGcps", QVariant::fromValue(lts)}});
        const QPointF by(uniform(-0.02, 0.02), uniform(-0.02, 0.02));
        for (kstVectorShape* shape : shapes)
            shape->moveShapeTo(GCP(shape->ltGcp().toPointF() + by));
    }

    // A point outside the shape's extent now and then, so that the extent changes.
    GCP pointFor(kstVectorShape* shape)
    {
        const QPointF lt = shape->ltGcp().toPointF(), rb = shape->rbGcp().toPointF();
        switch (m_rng.bounded(6)) {
        case 0: return GCP(lt + QPointF(-uniform(0.001, 0.01), uniform(0.001, 0.01)));
        case 1: return GCP(rb + QPointF(uniform(0.001, 0.01), -uniform(0.001, 0.01)));
        default: break;
        }
        return GCP(uniform(lt.x(), rb.x()), uniform(rb.y(), lt.y()));
    }

    void insertVertex()
    {
        kstVectorShape* shape = anyShape({kstVectorShape::Type_Line, kstVectorShape::Type_Polygon});
        if (!shape)
            return;
        // Insertion numbering: a line inserts before 0 .. count, a polygon's
        // rings take 1 .. their point count each.
        const bool line = shape->shapeType() == kstVectorShape::Type_Line;
        const int index = line ? m_rng.bounded(shape->vertexCount() + 1) : 1 + m_rng.bounded(shape->vertexCount());
        const GCP gcp = pointFor(shape);
        m_memo->memo(LayerMemo::VertexInsert, shape, {{"vertexIndex", index}, {"vertexGcp", QVariant::fromValue(gcp)}});
        shape->insertVertex(index, gcp);
        shape->resetShape(shape->curMpp(), shape->curProj());
    }

    int ringStart(kstVectorShape* shape)
    {
        const Polygon__ polygon = static_cast<VectorPolygon*>(shape)->geoData();
        QList<int> starts{0};
        int first = polygon.outer.size();
        for (const QPolygonF& ring : polygon.inner) {
            starts << first << first - 1; // a hole's first point, the previous ring's last
            first += ring.size();
        }
        return starts.at(m_rng.bounded(starts.size()));
    }

    // As the edit layer removes the vertex under the pointer.
    void removeVertex()
    {
        kstVectorShape* shape = anyShape({kstVectorShape::Type_Line, kstVectorShape::Type_Polygon});
        if (!shape)
            return;
        const bool polygon = shape->shapeType() == kstVectorShape::Type_Polygon;
        const int index = polygon && m_rng.bounded(2) ? ringStart(shape) : m_rng.bounded(shape->vertexCount());
        const Data data = kstVectorLayerMemo::vertexRemoveData(shape, index);
        if (!shape->removeVertex(index)) {
            m_memo->memo(LayerMemo::VertexRemove, shape, data);
            return;
        }
        m_memo->memo(LayerMemo::ShapesRemove, shape, Data());
        m_edit.removeShape(shape);
    }

    void moveVertex()
    {
        kstVectorShape* shape = anyShape();
        if (!shape)
            return;
        int index = m_rng.bounded(shape->vertexCount());
        if (shape->shapeType() == kstVectorShape::Type_Rect)
            index = m_rng.bounded(8); // handles: corners, then edge middles
        if (shape->shapeType() == kstVectorShape::Type_Circle)
            index = 1 + m_rng.bounded(4); // radius handles
        m_memo->memo(LayerMemo::VertexMove, shape,
                     {{"vertexIndex", index}, {"vertexGcp", QVariant::fromValue(shape->vertex(index))}});
        shape->moveVertexTo(index, pointFor(shape));
    }

    ShapeTestScene& m_scene;
    kstVectorEditLayer& m_edit;
    kstVectorLayerMemo* m_memo = nullptr;
    QRandomGenerator m_rng;
    QTemporaryDir m_dir;
    QList<kstVectorLayer*> m_layers;
    QList<kstVectorCollect*> m_collects;
    QList<kstVectorShape*> m_shapes;
};

} // namespace

class tst_kstVectorLayerMemoModel : public QObject
{
    Q_OBJECT

private slots:
    void undoAllAndRedoAllAreExact();
};

void tst_kstVectorLayerMemoModel::undoAllAndRedoAllAreExact()
{
    const int steps = qEnvironmentVariableIntValue("KST_MEMO_MODEL_STEPS") > 0
                          ? qEnvironmentVariableIntValue("KST_MEMO_MODEL_STEPS")
                          : 10000;
    ShapeTestScene scene(GCP(kHome), 12);
    const quint32 seed = qEnvironmentVariableIsSet("KST_MEMO_MODEL_SEED")
                             ? quint32(qEnvironmentVariableIntValue("KST_MEMO_MODEL_SEED"))
                             : 20261123u;
    Model model(scene, seed);
    const QByteArray start = model.layersFile();
    QVERIFY(!start.isEmpty());

    QRandomGenerator pace(7);
    for (int i = 0; i < steps; ++i) {
        model.step();
        if (pace.bounded(40) == 0)
            model.wander();
        if (i % 500 == 0)
            QCoreApplication::processEvents();
    }
    while (model.memo()->redoUsability())
        model.memo()->redo();
    const QByteArray end = model.layersFile();
    const int records = model.memo()->undoList().size();
    qInfo("%d steps left %d records", steps, records);
    QVERIFY(records > steps / 2);

    while (model.memo()->undoUsability())
        model.memo()->undo();
    QVERIFY(model.layersFile() == start);
    QCOMPARE(model.memo()->redoList().size(), records);

    while (model.memo()->redoUsability())
        model.memo()->redo();
    QVERIFY(model.layersFile() == end);
}

QTEST_MAIN(tst_kstVectorLayerMemoModel)
#include "tst_kstVectorLayerMemoModel.moc"
