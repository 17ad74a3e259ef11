#include "kstVectorLayerMemo.h"

#include "kstShapeGeometry.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"
#include "VectorPolygon.h"

#include <QSet>

#include <algorithm>

namespace Kestrum {

namespace {

const QString kLayer = QStringLiteral("layer");
const QString kLayerIndex = QStringLiteral("layerIndex");
const QString kShapesLtGcps = QStringLiteral("shapesLtGcps");
const QString kVertexIndex = QStringLiteral("vertexIndex");
const QString kVertexGcp = QStringLiteral("vertexGcp");
const QString kVertexRing = QStringLiteral("vertexRing");
// Kept by the recorder itself so that replays are exact.
const QString kShapesIndexes = QStringLiteral("shapesIndexes");
const QString kShapesGeometry = QStringLiteral("shapesGeometry");

// A replayed shape move lands within this many degrees of where the shape
// was; closer than that it is given its former coordinates exactly.
constexpr double kMoveTolerance = 1e-9;

bool handlesAreNotVertices(const kstVectorShape* shape)
{
    // Rectangles and circles number their handles apart from their vertices,
    // so a vertex move of theirs is put back from its geometry.
    return shape && (shape->shapeType() == kstVectorShape::Type_Rect || shape->shapeType() == kstVectorShape::Type_Circle);
}

// A rectangle's handle edit leaves its pixels as dragged while its corners
// snap to whole pixels; a move rebuilds the corners from the pixels.
void layOutRect(kstVectorShape* shape)
{
    if (shape && shape->shapeType() == kstVectorShape::Type_Rect)
        shape->updateShape(shape->curMpp(), shape->curProj(), false);
}

QList<int> ringSizes(kstVectorShape* shape)
{
    const Polygon__ polygon = static_cast<VectorPolygon*>(shape)->geoData();
    QList<int> sizes{polygon.outer.size()};
    for (const QPolygonF& ring : polygon.inner)
        sizes.append(ring.size());
    return sizes;
}

// The ring that holds vertex `index` of a polygon, or -1.
int ringOfVertex(kstVectorShape* shape, int index)
{
    const QList<int> sizes = ringSizes(shape);
    for (int ring = 0, first = 0; ring < sizes.size(); first += sizes.at(ring), ++ring) {
        if (index >= first && index < first + sizes.at(ring))
            return ring;
    }
    return -1;
}

// Whether a removed polygon vertex was the first point of its ring. Its
// vertex index then means something else to the insertion numbering: index 0
// maps to no ring, a hole's first point to the end of the ring before it.
bool isRingStart(kstVectorShape* shape, int index, const QMap<QString, QVariant>& data)
{
    if (shape->shapeType() != kstVectorShape::Type_Polygon)
        return false;
    const QList<int> sizes = ringSizes(shape);
    const int ring = data.contains(kVertexRing) ? data.value(kVertexRing).toInt() : (index == 0 ? 0 : -1);
    if (ring < 0 || ring >= sizes.size())
        return false;
    int first = 0;
    for (int r = 0; r < ring; ++r)
        first += sizes.at(r);
    return index == first;
}

// Puts a vertex back as the first point of the ring whose first point is now
// vertex `first`: inserted after that point, then the two swap places.
void insertAtRingStart(kstVectorShape* shape, int first, const GCP& gcp)
{
    const GCP former = shape->vertex(first);
    shape->insertVertex(first + 1, gcp);
    shape->moveVertexTo(first, gcp);
    shape->moveVertexTo(first + 1, former);
}

QVariantList collectPositions(const QList<kstVectorShape*>& shapes)
{
    QVariantList positions;
    positions.reserve(shapes.size());
    for (kstVectorShape* shape : shapes) {
        const kstVectorCollect* collect = shape ? shape->shapeCollect() : nullptr;
        positions.append(collect ? collect->m_shapes.indexOf(shape) : -1);
    }
    return positions;
}

QList<kstVectorShape*> withoutNull(const QList<kstVectorShape*>& shapes)
{
    if (!shapes.contains(nullptr))
        return shapes;
    QList<kstVectorShape*> valid = shapes;
    valid.removeAll(nullptr);
    return valid;
}

bool isIn(kstVectorShape* shape)
{
    return shape->shapeCollect() && shape->shapeCollect()->m_shapes.contains(shape);
}

// Gives the shapes remembered indices under which inserting them in list
// order puts each at the position it had before they were all removed.
void prepareInsertion(const QList<kstVectorShape*>& shapes, const QVariantList& positions)
{
    if (positions.size() != shapes.size())
        return;
    for (int i = 0; i < shapes.size(); ++i) {
        kstVectorShape* shape = shapes.at(i);
        const int position = positions.at(i).toInt();
        if (!shape || position < 0 || !shape->shapeCollect() || isIn(shape))
            continue;
        int index = position;
        for (int j = i + 1; j < shapes.size(); ++j) {
            kstVectorShape* later = shapes.at(j);
            if (later && later->shapeCollect() == shape->shapeCollect() && positions.at(j).toInt() >= 0
                && positions.at(j).toInt() < position && !isIn(later))
                --index;
        }
        shape->setShapeCollect(shape->shapeCollect(), index);
    }
}

} // namespace

kstVectorLayerMemo::kstVectorLayerMemo(QObject* parent)
    : QObject(parent)
    , m_editLayer(qobject_cast<kstVectorEditLayer*>(parent))
{
}

kstVectorLayerMemo::~kstVectorLayerMemo() = default;

// --- Recording -----------------------------------------------------------

void kstVectorLayerMemo::memo(LayerMemo::Action action, kstVectorShape* shape, const QMap<QString, QVariant>& data)
{
    memo(action, QList<kstVectorShape*>{shape}, data);
}

void kstVectorLayerMemo::memo(LayerMemo::Action action, const QMap<QString, QVariant>& data)
{
    memo(action, QList<kstVectorShape*>{}, data);
}

void kstVectorLayerMemo::memo(LayerMemo::Action action, const QList<kstVectorShape*>& shapes,
                              const QMap<QString, QVariant>& data)
{
    if (!m_enable)
        return;
    m_redoList.clear();
    emit redoUsabilityChanged(false);
    LayerMemo rec = makeRecord(action, shapes, data);
    rec.m_data = exactData(rec);
    m_undoList.append(rec);
    emit undoUsabilityChanged(true);
}

LayerMemo kstVectorLayerMemo::makeRecord(LayerMemo::Action action, const QList<kstVectorShape*>& shapes,
                                         const QMap<QString, QVariant>& data) const
{
    const kstTileMapView* view = m_editLayer ? m_editLayer->mapView() : nullptr;
    if (!view)
        return LayerMemo(action, shapes, data, m_editLayer ? m_editLayer->currentLevel() : 0, GCP());
    return LayerMemo(action, shapes, data, view->level(), view->currentCenterGcp());
}

// What a new record needs besides its own data for an exact replay: the
// positions of shapes about to be removed, the exact geometry of shapes about
// to be moved, and the ring of a polygon vertex about to be removed.
QMap<QString, QVariant> kstVectorLayerMemo::exactData(const LayerMemo& rec) const
{
    QMap<QString, QVariant> data = rec.m_data;
    kstVectorShape* first = rec.m_shapes.value(0);
    switch (rec.m_action) {
    case LayerMemo::ShapesRemove:
        data.insert(kShapesIndexes, collectPositions(rec.m_shapes));
        break;
    case LayerMemo::ShapesMove:
        // Moves keep the pixel form: it must be the one of the geometry
        // (after a rectangle's handle edit it can be a fraction off).
        for (kstVectorShape* shape : rec.m_shapes)
            layOutRect(shape);
        data.insert(kShapesGeometry, QVariant::fromValue(kstShapeGeometry::capture(rec.m_shapes)));
        break;
    case LayerMemo::VertexMove:
        if (handlesAreNotVertices(first))
            data.insert(kShapesGeometry, QVariant::fromValue(kstShapeGeometry::capture({first})));
        break;
    case LayerMemo::VertexRemove: {
        if (!first || first->shapeType() != kstVectorShape::Type_Polygon || data.contains(kVertexRing))
            break;
        // Still there: recorded before the removal, so its ring is known.
        const int index = data.value(kVertexIndex).toInt();
        if (first->vertex(index) == data.value(kVertexGcp).value<GCP>() && ringOfVertex(first, index) >= 0)
            data.insert(kVertexRing, ringOfVertex(first, index));
        break;
    }
    default:
        break;
    }
    return data;
}

QMap<QString, QVariant> kstVectorLayerMemo::vertexRemoveData(kstVectorShape* shape, int index)
{
    QMap<QString, QVariant> data;
    data.insert(kVertexIndex, index);
    data.insert(kVertexGcp, QVariant::fromValue(shape ? shape->vertex(index) : GCP()));
    if (shape && shape->shapeType() == kstVectorShape::Type_Polygon && ringOfVertex(shape, index) >= 0)
        data.insert(kVertexRing, ringOfVertex(shape, index));
    return data;
}

// --- Undo and redo -------------------------------------------------------

struct kstVectorLayerMemo::Handlers
{
    Handler undo;
    Handler redo;
};

void kstVectorLayerMemo::undo()
{
    replay(m_undoList, m_redoList, true);
}

void kstVectorLayerMemo::redo()
{
    replay(m_redoList, m_undoList, false);
}

void kstVectorLayerMemo::replay(QList<LayerMemo>& from, QList<LayerMemo>& to, bool undoing)
{
    static const Handlers handlers[] = {
        {&kstVectorLayerMemo::layerOut, &kstVectorLayerMemo::layerIn},      // LayerInsert
        {&kstVectorLayerMemo::layerIn, &kstVectorLayerMemo::layerOut},      // LayerRemove
        {&kstVectorLayerMemo::shapesOut, &kstVectorLayerMemo::shapesIn},    // ShapesInsert
        {&kstVectorLayerMemo::shapesIn, &kstVectorLayerMemo::shapesOut},    // ShapesRemove
        {&kstVectorLayerMemo::moveShapes, &kstVectorLayerMemo::moveShapes}, // ShapesMove
        {&kstVectorLayerMemo::vertexOut, &kstVectorLayerMemo::vertexIn},    // VertexInsert
        {&kstVectorLayerMemo::vertexIn, &kstVectorLayerMemo::vertexOut},    // VertexRemove
        {&kstVectorLayerMemo::moveVertex, &kstVectorLayerMemo::moveVertex}, // VertexMove
    };
    if (!m_enable || from.isEmpty())
        return;
    const LayerMemo rec = from.last();
    const int action = rec.m_action;
    if (action >= 0 && action < int(sizeof(handlers) / sizeof(handlers[0]))) {
        const Handler handler = undoing ? handlers[action].undo : handlers[action].redo;
        to.append((this->*handler)(rec));
    }
    // A slot connected to the edit layer's signals may have changed the stack.
    if (!from.isEmpty() && from.last() == rec)
        from.removeLast();
    emit undoUsabilityChanged(!m_undoList.isEmpty());
    emit redoUsabilityChanged(!m_redoList.isEmpty());
}

LayerMemo kstVectorLayerMemo::startReplay(const LayerMemo& rec, const QMap<QString, QVariant>& data)
{
    const LayerMemo reverse = makeRecord(rec.m_action, rec.m_shapes, data);
    kstTileMapView* view = m_editLayer ? m_editLayer->mapView() : nullptr;
    if (m_recoverMapWhenDo && view)
        view->panAndZoom(rec.m_center, rec.m_level);
    return reverse;
}

void kstVectorLayerMemo::selectAgain(const LayerMemo& rec)
{
    // Selecting the selection again would end where it is (flags, z values
    // and order), at the cost of every shape's handle band twice.
    if (!m_editLayer || (!rec.m_shapes.isEmpty() && m_editLayer->selectedShapes() == rec.m_shapes))
        return;
    m_editLayer->clearSelected();
    m_editLayer->setShapesSelecte(rec.m_shapes, true);
}

void kstVectorLayerMemo::selectAndLabel(const LayerMemo& rec)
{
    selectAgain(rec);
    if (m_editLayer)
        m_editLayer->updateLabels();
}

LayerMemo kstVectorLayerMemo::layerIn(const LayerMemo& rec)
{
    const LayerMemo reverse = startReplay(rec, rec.m_data);
    if (!m_editLayer)
        return reverse;
    m_editLayer->insertLayer(LayerMemo::layerOf(rec.m_data.value(kLayer)), rec.m_data.value(kLayerIndex).toInt());
    m_editLayer->updateLabels();
    m_editLayer->resetZLevel();
    selectAgain(rec);
    return reverse;
}

LayerMemo kstVectorLayerMemo::layerOut(const LayerMemo& rec)
{
    const LayerMemo reverse = startReplay(rec, rec.m_data);
    if (!m_editLayer)
        return reverse;
    m_editLayer->removeLayer(LayerMemo::layerOf(rec.m_data.value(kLayer)));
    m_editLayer->updateLabels();
    return reverse;
}

LayerMemo kstVectorLayerMemo::shapesIn(const LayerMemo& rec)
{
    const LayerMemo reverse = startReplay(rec, rec.m_data);
    if (!m_editLayer)
        return reverse;
    prepareInsertion(rec.m_shapes, rec.m_data.value(kShapesIndexes).toList());
    m_editLayer->insertShapes(withoutNull(rec.m_shapes));
    // The remembered index follows the position the shape now has.
    for (kstVectorShape* shape : rec.m_shapes) {
        if (shape && isIn(shape))
            shape->setShapeCollect(shape->shapeCollect(), shape->shapeCollect()->m_shapes.indexOf(shape));
    }
    m_editLayer->updateLabels();
    selectAgain(rec);
    return reverse;
}

LayerMemo kstVectorLayerMemo::shapesOut(const LayerMemo& rec)
{
    QMap<QString, QVariant> data = rec.m_data;
    data.insert(kShapesIndexes, collectPositions(rec.m_shapes));
    const LayerMemo reverse = startReplay(rec, data);
    if (!m_editLayer)
        return reverse;
    m_editLayer->removeShapes(withoutNull(rec.m_shapes));
    m_editLayer->updateLabels();
    return reverse;
}

LayerMemo kstVectorLayerMemo::moveShapes(const LayerMemo& rec)
{
    QList<GCP> now;
    now.reserve(rec.m_shapes.size());
    for (kstVectorShape* shape : rec.m_shapes)
        now.append(shape ? shape->ltGcp() : GCP());
    QMap<QString, QVariant> data;
    data.insert(kShapesLtGcps, QVariant::fromValue(now));
    data.insert(kShapesGeometry, QVariant::fromValue(kstShapeGeometry::capture(rec.m_shapes)));
    const LayerMemo reverse = startReplay(rec, data);

    const QList<GCP> targets = rec.m_data.value(kShapesLtGcps).value<QList<GCP>>();
    const kstShapeGeometry exact = rec.m_data.value(kShapesGeometry).value<kstShapeGeometry>();
    for (int i = 0; i < targets.size() && i < rec.m_shapes.size(); ++i) {
        kstVectorShape* shape = rec.m_shapes.at(i);
        if (!shape)
            continue;
        // The pixel form of the geometry, as when the move was recorded.
        layOutRect(shape);
        shape->moveShapeTo(targets.at(i));
        exact.restore(i, shape, kMoveTolerance);
    }
    selectAndLabel(rec);
    return reverse;
}

LayerMemo kstVectorLayerMemo::moveVertex(const LayerMemo& rec)
{
    kstVectorShape* shape = rec.m_shapes.value(0);
    const int index = rec.m_data.value(kVertexIndex).toInt();
    QMap<QString, QVariant> data;
    data.insert(kVertexIndex, index);
    data.insert(kVertexGcp, QVariant::fromValue(shape ? shape->vertex(index) : GCP()));
    if (handlesAreNotVertices(shape))
        data.insert(kShapesGeometry, QVariant::fromValue(kstShapeGeometry::capture({shape})));
    const LayerMemo reverse = startReplay(rec, data);
    if (!shape)
        return reverse;
    shape->moveVertexTo(index, rec.m_data.value(kVertexGcp).value<GCP>());
    if (handlesAreNotVertices(shape))
        rec.m_data.value(kShapesGeometry).value<kstShapeGeometry>().restore(0, shape, -1.0);
    selectAndLabel(rec);
    return reverse;
}

LayerMemo kstVectorLayerMemo::vertexIn(const LayerMemo& rec)
{
    const LayerMemo reverse = startReplay(rec, rec.m_data);
    kstVectorShape* shape = rec.m_shapes.value(0);
    if (!shape)
        return reverse;
    const int index = rec.m_data.value(kVertexIndex).toInt();
    const GCP gcp = rec.m_data.value(kVertexGcp).value<GCP>();
    if (rec.m_action == LayerMemo::VertexRemove && isRingStart(shape, index, rec.m_data))
        insertAtRingStart(shape, index, gcp);
    else
        shape->insertVertex(index, gcp);
    // Insertion leaves the extent alone; later moves rely on it.
    shape->resetShape(shape->curMpp(), shape->curProj());
    selectAndLabel(rec);
    return reverse;
}

LayerMemo kstVectorLayerMemo::vertexOut(const LayerMemo& rec)
{
    const LayerMemo reverse = startReplay(rec, rec.m_data);
    kstVectorShape* shape = rec.m_shapes.value(0);
    if (!shape)
        return reverse;
    shape->removeVertex(rec.m_data.value(kVertexIndex).toInt());
    shape->resetShape(shape->curMpp(), shape->curProj());
    selectAndLabel(rec);
    return reverse;
}

// --- Clearing and purging ------------------------------------------------

void kstVectorLayerMemo::clearUndo()
{
    m_undoList.clear();
    emit undoUsabilityChanged(false);
}

void kstVectorLayerMemo::clearRedo()
{
    m_redoList.clear();
    emit redoUsabilityChanged(false);
}

void kstVectorLayerMemo::clearDo()
{
    clearUndo();
    clearRedo();
}

// Keeps the records that do not match, in their order. The list is rebuilt
// only from the first match on.
template <class Matches>
void kstVectorLayerMemo::purge(QList<LayerMemo>& list, Matches matches)
{
    int first = 0;
    while (first < list.size() && !matches(list.at(first)))
        ++first;
    if (first == list.size())
        return;
    QList<LayerMemo> kept = list.mid(0, first);
    kept.reserve(list.size());
    for (int i = first + 1; i < list.size(); ++i) {
        if (!matches(list.at(i)))
            kept.append(list.at(i));
    }
    list.swap(kept);
}

void kstVectorLayerMemo::undoPurged()
{
    if (m_undoList.isEmpty())
        emit undoUsabilityChanged(false);
}

void kstVectorLayerMemo::redoPurged()
{
    if (m_redoList.isEmpty())
        emit redoUsabilityChanged(false);
}

namespace {

// Whether a record's shapes include one that passes a test. Records made
// from one selection share their shape list, so the answer for the last list
// seen is kept.
template <class Test>
class ShapeRecordMatch
{
public:
    explicit ShapeRecordMatch(Test test) : m_test(test) {}

    bool operator()(const QList<kstVectorShape*>& shapes)
    {
        if (shapes.isEmpty())
            return false;
        const void* identity = &shapes.at(0);
        if (identity == m_lastList)
            return m_lastResult;
        m_lastList = identity;
        m_lastResult = std::any_of(shapes.cbegin(), shapes.cend(), m_test);
        return m_lastResult;
    }

private:
    Test m_test;
    const void* m_lastList = nullptr;
    bool m_lastResult = false;
};

template <class Test>
ShapeRecordMatch<Test> shapeRecordMatch(Test test)
{
    return ShapeRecordMatch<Test>(test);
}

bool isLayerRecord(const LayerMemo& rec)
{
    return rec.m_action == LayerMemo::LayerInsert || rec.m_action == LayerMemo::LayerRemove;
}

} // namespace

void kstVectorLayerMemo::removeUndo(kstVectorShape* shape)
{
    purge(m_undoList, [shape](const LayerMemo& rec) { return rec.m_shapes.contains(shape); });
    undoPurged();
}

void kstVectorLayerMemo::removeUndo(const QList<kstVectorShape*>& shapes)
{
    const QSet<kstVectorShape*> set(shapes.cbegin(), shapes.cend());
    auto match = shapeRecordMatch([&set](kstVectorShape* s) { return set.contains(s); });
    purge(m_undoList, [&match](const LayerMemo& rec) { return match(rec.m_shapes); });
    undoPurged();
}

void kstVectorLayerMemo::removeUndo(kstVectorLayer* layer)
{
    auto match = shapeRecordMatch([layer](kstVectorShape* s) {
        return s && s->shapeCollect() && s->shapeCollect()->m_layer == layer;
    });
    purge(m_undoList, [&match, layer](const LayerMemo& rec) {
        return isLayerRecord(rec) ? LayerMemo::layerOf(rec.m_data.value(kLayer)) == layer : match(rec.m_shapes);
    });
    undoPurged();
}

void kstVectorLayerMemo::removeRedo(kstVectorShape* shape)
{
    purge(m_redoList, [shape](const LayerMemo& rec) { return rec.m_shapes.contains(shape); });
    redoPurged();
}

void kstVectorLayerMemo::removeRedo(const QList<kstVectorShape*>& shapes)
{
    const QSet<kstVectorShape*> set(shapes.cbegin(), shapes.cend());
    auto match = shapeRecordMatch([&set](kstVectorShape* s) { return set.contains(s); });
    purge(m_redoList, [&match](const LayerMemo& rec) { return match(rec.m_shapes); });
    redoPurged();
}

void kstVectorLayerMemo::removeRedo(kstVectorLayer* layer)
{
    auto match = shapeRecordMatch([layer](kstVectorShape* s) {
        return s && s->shapeCollect() && s->shapeCollect()->m_layer == layer;
    });
    purge(m_redoList, [&match, layer](const LayerMemo& rec) {
        return isLayerRecord(rec) ? LayerMemo::layerOf(rec.m_data.value(kLayer)) == layer : match(rec.m_shapes);
    });
    redoPurged();
}

void kstVectorLayerMemo::removeDo(kstVectorShape* shape)
{
    removeUndo(shape);
    removeRedo(shape);
}

void kstVectorLayerMemo::removeDo(const QList<kstVectorShape*>& shapes)
{
    removeUndo(shapes);
    removeRedo(shapes);
}

void kstVectorLayerMemo::removeDo(kstVectorLayer* layer)
{
    removeUndo(layer);
    removeRedo(layer);
}

void kstVectorLayerMemo::removeDo(kstVectorCollect* collect)
{
    auto test = [collect](kstVectorShape* s) { return s && s->shapeCollect() == collect; };
    auto undoMatch = shapeRecordMatch(test);
    purge(m_undoList, [&undoMatch](const LayerMemo& rec) { return undoMatch(rec.m_shapes); });
    undoPurged();
    auto redoMatch = shapeRecordMatch(test);
    purge(m_redoList, [&redoMatch](const LayerMemo& rec) { return redoMatch(rec.m_shapes); });
    redoPurged();
}

} // namespace Kestrum
