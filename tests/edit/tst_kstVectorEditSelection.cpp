#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstEditTestFixture.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QtTest>

using namespace Kestrum;

namespace {

// The geographic points of viewport pixels, and a polygon with its vertices there.
QPolygonF geoAt(EditFixture& f, const QList<QPoint>& pixels)
{
    QPolygonF geo;
    for (const QPoint& p : pixels)
        geo.append(f.expectedGcp(p).toPointF());
    return geo;
}

VectorPolygon* polygonAt(EditFixture& f, const QList<QPoint>& pixels)
{
    return new VectorPolygon(Polygon__{geoAt(f, pixels), {}}, nullptr);
}

VectorPolygon* squareAt(EditFixture& f, const QPoint& topLeft, int side)
{
    return polygonAt(f, {topLeft, topLeft + QPoint(side, 0), topLeft + QPoint(side, side), topLeft + QPoint(0, side)});
}

// Where a shape's pixel vertex is drawn, in viewport pixels.
QPointF drawnAt(kstVectorShape* shape, const QPointF& pix)
{
    return shape->mapToScene(pix);
}

double geoDistance(const QPointF& a, const QPointF& b)
{
    return QLineF(a, b).length();
}

} // namespace

class tst_kstVectorEditSelection : public QObject
{
    Q_OBJECT

private slots:
    void clickPicksPointLineThenSmallestArea();
    void shapesAndVerticesAreDragged();
    void editsAreRecordedAndUndone();
    void dragsStayInsideTheWorld();
    void rectangleDirectionAndPolygonSelect();
    void snappingToVertices();
    void draggedShapeSnapsOntoItsNeighbour();
};

void tst_kstVectorEditSelection::clickPicksPointLineThenSmallestArea()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    kstVectorShape* big = f.add(squareAt(f, QPoint(100, 100), 400));
    kstVectorShape* small = f.add(squareAt(f, QPoint(240, 240), 80));
    kstVectorShape* point = f.add(new VectorPoint(f.expectedGcp(QPoint(300, 300)).toPointF(), nullptr));
    kstVectorShape* line = f.add(new VectorLine({f.expectedGcp(QPoint(120, 420)).toPointF(),
                                                 f.expectedGcp(QPoint(480, 420)).toPointF()}, nullptr));
    // A rectangle in the big square's feature.
    const QList<QPoint> corners{QPoint(600, 100), QPoint(700, 100), QPoint(700, 200), QPoint(600, 200)};
    kstVectorShape* partner = f.add(new VectorRect(geoAt(f, corners), nullptr), big->shapeCollect());
    QList<kstVectorShape*> changed;
    connect(&layer, &kstVectorEditLayer::shapeChanged, this, [&](kstVectorShape* s) { changed.append(s); });
    layer.setLayerAction(kstVectorEditLayer::SelectEdit);

    f.click(QPoint(300, 300)); // point over two polygons
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{point});
    f.click(QPoint(300, 420)); // line over the big polygon
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{line});
    f.click(QPoint(260, 260)); // both polygons: the smaller
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{small});
    QCOMPARE(small->zValue(), double(layer.layers().size() + layer.layerMinZLevel()));
    f.click(QPoint(150, 150), Qt::ControlModifier);
    QCOMPARE(layer.selectedShapes(), (QList<kstVectorShape*>{small, big}));
    QCOMPARE(changed, (QList<kstVectorShape*>{point, line, small, big}));

    // Empty map: Ctrl keeps the selection, anything else clears it.
    f.click(QPoint(750, 550), Qt::ControlModifier);
    QCOMPARE(layer.selectedShapes().size(), 2);
    f.click(QPoint(750, 550), Qt::ControlModifier | Qt::ShiftModifier);
    QVERIFY(layer.selectedShapes().isEmpty());
    QCOMPARE(small->zValue(), double(small->shapeLayerZLevel()));

    // Shift selects the whole feature; Shift with Ctrl is a plain click.
    f.click(QPoint(650, 150), Qt::ShiftModifier);
    QCOMPARE(layer.selectedShapes(), (QList<kstVectorShape*>{big, partner}));
    f.click(QPoint(650, 150), Qt::ShiftModifier | Qt::ControlModifier);
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{partner});

    // Of two equal areas the one lower in the stack is taken.
    kstVectorLayer* lower = f.addLayer();
    kstVectorShape* top = f.add(squareAt(f, QPoint(600, 300), 60));
    kstVectorCollect* lowerCollect = kstVectorCollect::newCollect();
    lowerCollect->m_layer = lower;
    lowerCollect->m_fid = 1;
    kstVectorShape* bottom = f.add(squareAt(f, QPoint(600, 300), 60), lowerCollect);
    layer.resetZLevel();
    QVERIFY(top->zValue() > bottom->zValue());
    f.click(QPoint(630, 330));
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{bottom});
}

void tst_kstVectorEditSelection::shapesAndVerticesAreDragged()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    auto* square = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(200, 200), 100)));
    layer.setLayerAction(kstVectorEditLayer::SelectEdit);
    f.click(QPoint(250, 250));
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{square});

    // Over the body of a selected shape a drag moves it and the map stays.
    f.hover(QPoint(250, 250));
    QCOMPARE(square->action(), kstVectorShape::Action_MoveShape);
    QCOMPARE(layer.currentInteractiveShape(), square);
    QVERIFY(!f.view().dragEnable());
    const PCP viewBefore = f.view().currentLeftTopPcp();
    // The first move of a drag only begins it; the later ones move.
    f.press(QPoint(250, 250));
    f.dragTo(QPoint(255, 252));
    f.dragTo(QPoint(275, 262));
    f.dragTo(QPoint(285, 267));
    f.release(QPoint(285, 267));
    QCOMPARE(f.view().currentLeftTopPcp(), viewBefore);
    const QPointF moved(30, 15);
    QVERIFY(geoDistance(square->geoData().outer.at(0), f.expectedGcp(QPointF(200, 200) + moved).toPointF()) < 1e-7);
    QVERIFY(geoDistance(square->geoData().outer.at(2), f.expectedGcp(QPointF(300, 300) + moved).toPointF()) < 1e-7);
    QVERIFY(QLineF(drawnAt(square, square->pixData().outer.at(0)), QPointF(230, 215)).length() < 1e-6);

    // A vertex handle: the drag puts the vertex under the pointer.
    f.hover(QPoint(230, 215));
    QCOMPARE(square->action(), kstVectorShape::Action_MoveVertex);
    QCOMPARE(square->currentVertexHoverIndex(), 0);
    f.drag(QPoint(230, 215), QPoint(190, 170));
    QVERIFY(geoDistance(square->geoData().outer.at(0), f.expectedGcp(QPoint(190, 170)).toPointF()) < 1e-9);
    QVERIFY(geoDistance(square->geoData().outer.at(1), f.expectedGcp(QPointF(300, 200) + moved).toPointF()) < 1e-7);

    // A click on an edge inserts a vertex there (whole pixels).
    const int before = square->vertexCount();
    const QPoint edge(330, 265); // middle of the right edge
    f.hover(edge);
    QCOMPARE(square->action(), kstVectorShape::Action_InsertVertex);
    f.click(edge);
    QCOMPARE(square->vertexCount(), before + 1);
    QCOMPARE(square->geoData().outer.size(), 5 + (square->geoData().outer.isClosed() ? 1 : 0));
    QVERIFY(geoDistance(square->geoData().outer.at(2), f.expectedGcp(edge).toPointF()) < 0.0005);

    // A double click on the body configures the collect.
    QList<kstVectorCollect*> configured;
    connect(&layer, &kstVectorEditLayer::collectConfig, this, [&](kstVectorCollect* c) { configured.append(c); });
    f.hover(QPoint(260, 240));
    f.doubleClick(QPoint(260, 240));
    QCOMPARE(configured, QList<kstVectorCollect*>{square->shapeCollect()});
}

void tst_kstVectorEditSelection::editsAreRecordedAndUndone()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    kstVectorLayerMemo* memo = layer.memoer();
    memo->setRecoverMapWhenDo(false);
    auto* square = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(200, 200), 100)));
    auto* small = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(400, 200), 40)));
    layer.setLayerAction(kstVectorEditLayer::SelectEdit);
    f.click(QPoint(250, 250));
    f.click(QPoint(420, 220), Qt::ControlModifier);
    const Polygon__ squareBefore = square->geoData();
    const Polygon__ smallBefore = small->geoData();
    const GCP lt0 = square->ltGcp();
    const GCP lt1 = small->ltGcp();

    // A drag of the selection: one record with the positions before it.
    f.hover(QPoint(250, 250));
    f.drag(QPoint(250, 250), QPoint(290, 290));
    QCOMPARE(memo->undoList().size(), 1);
    LayerMemo rec = memo->undoList().last();
    QCOMPARE(rec.m_action, LayerMemo::ShapesMove);
    QCOMPARE(rec.m_shapes, (QList<kstVectorShape*>{square, small}));
    QCOMPARE(rec.m_data.value(QStringLiteral("shapesLtGcps")).value<QList<GCP>>(), (QList<GCP>{lt0, lt1}));
    const Polygon__ squareMoved = square->geoData();
    QVERIFY(squareMoved != squareBefore);
    memo->undo();
    QCOMPARE(square->geoData(), squareBefore);
    QCOMPARE(small->geoData(), smallBefore);
    memo->redo();
    QVERIFY(geoDistance(square->geoData().outer.at(0), squareMoved.outer.at(0)) < 1e-9);

    // A vertex drag: the vertex and its index before the move.
    const QPoint corner = drawnAt(square, square->pixData().outer.at(1)).toPoint();
    f.hover(corner);
    QCOMPARE(square->action(), kstVectorShape::Action_MoveVertex);
    const QPointF vertexBefore = square->geoData().outer.at(1);
    f.drag(corner, corner + QPoint(20, -20));
    rec = memo->undoList().last();
    QCOMPARE(rec.m_action, LayerMemo::VertexMove);
    QCOMPARE(rec.m_shapes, QList<kstVectorShape*>{square});
    QCOMPARE(rec.m_data.value(QStringLiteral("vertexIndex")).toInt(), 1);
    QCOMPARE(rec.m_data.value(QStringLiteral("vertexGcp")).value<GCP>().toPointF(), vertexBefore);
    memo->undo();
    QVERIFY(geoDistance(square->geoData().outer.at(1), vertexBefore) < 1e-9);

    // A vertex inserted by a click.
    const QPointF a = drawnAt(square, square->pixData().outer.at(2));
    const QPointF b = drawnAt(square, square->pixData().outer.at(3));
    const QPoint middle = ((a + b) / 2).toPoint() - QPoint(0, 1); // just inside the edge
    f.hover(middle);
    QCOMPARE(square->action(), kstVectorShape::Action_InsertVertex);
    const int count = square->vertexCount();
    f.click(middle);
    QCOMPARE(square->vertexCount(), count + 1);
    rec = memo->undoList().last();
    QCOMPARE(rec.m_action, LayerMemo::VertexInsert);
    const int inserted = rec.m_data.value(QStringLiteral("vertexIndex")).toInt();
    QCOMPARE(square->vertex(inserted), rec.m_data.value(QStringLiteral("vertexGcp")).value<GCP>());
    memo->undo();
    QCOMPARE(square->vertexCount(), count);

    // The vertex under the pointer is removed, and undo puts it back.
    f.hover(corner);
    const int index = square->currentVertexHoverIndex();
    QCOMPARE(index, 1);
    const Polygon__ beforeRemoval = square->geoData();
    layer.removeShapeVertex(square);
    QCOMPARE(square->vertexCount(), count - 1);
    rec = memo->undoList().last();
    QCOMPARE(rec.m_action, LayerMemo::VertexRemove);
    QCOMPARE(rec.m_data.value(QStringLiteral("vertexIndex")).toInt(), 1);
    QCOMPARE(rec.m_data.value(QStringLiteral("vertexGcp")).value<GCP>().toPointF(), beforeRemoval.outer.at(1));
    memo->undo();
    QCOMPARE(square->geoData(), beforeRemoval);

    // A triangle cannot lose a vertex: the whole shape goes, undo brings it back.
    auto* triangle = static_cast<VectorPolygon*>(
        f.add(polygonAt(f, {QPoint(500, 400), QPoint(600, 400), QPoint(550, 480)})));
    kstVectorCollect* collect = triangle->shapeCollect();
    layer.clearSelected();
    f.click(QPoint(550, 430));
    f.hover(QPoint(600, 400));
    QCOMPARE(triangle->action(), kstVectorShape::Action_MoveVertex);
    QList<kstVectorShape*> removed;
    connect(&layer, &kstVectorEditLayer::shapeRemoved, this, [&](kstVectorShape* s) { removed.append(s); });
    const int records = memo->undoList().size();
    layer.removeShapeVertex(triangle);
    QCOMPARE(memo->undoList().size(), records + 1);
    QCOMPARE(memo->undoList().last().m_action, LayerMemo::ShapesRemove);
    QCOMPARE(memo->undoList().last().m_shapes, QList<kstVectorShape*>{triangle});
    QCOMPARE(removed.size(), 1);
    QVERIFY(!triangle->scene());
    QVERIFY(!f.data()->m_collects.contains(collect->m_fid));
    QCOMPARE(triangle->vertexCount(), 3);
    memo->undo();
    QVERIFY(triangle->scene());
    QCOMPARE(f.data()->m_collects.value(collect->m_fid), collect);
    QCOMPARE(collect->m_shapes, QList<kstVectorShape*>{triangle});

    // The pointer left the handle: nothing removed, nothing recorded.
    layer.clearSelected();
    f.hover(QPoint(750, 50));
    const int total = memo->undoList().size();
    layer.removeShapeVertex(triangle);
    QCOMPARE(memo->undoList().size(), total);
}

void tst_kstVectorEditSelection::dragsStayInsideTheWorld()
{
    // At level 1 the top of the world is inside the view.
    EditFixture f(GCP(0, 0), 1);
    kstVectorEditLayer& layer = f.layer();
    const int top = int(std::ceil(f.pixOf(GCP(0, 85.05112877980659)).y()));
    auto* square = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(380, top + 20), 40)));
    auto* other = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(380, top + 100), 40)));
    layer.setLayerAction(kstVectorEditLayer::SelectEdit);
    f.click(QPoint(400, top + 40));
    f.click(QPoint(400, top + 120), Qt::ControlModifier);
    QCOMPARE(layer.selectedShapes().size(), 2);
    f.hover(QPoint(400, top + 120));
    const Polygon__ before = square->geoData();
    // Upwards by 30 pixels would push the upper square off the world: no step moves.
    f.press(QPoint(400, top + 120));
    f.dragTo(QPoint(400, top + 119));
    f.dragTo(QPoint(400, top + 89));
    f.release(QPoint(400, top + 89));
    QVERIFY(geoDistance(square->geoData().outer.at(0), before.outer.at(0)) < 1e-9);
    QVERIFY(geoDistance(square->geoData().outer.at(2), before.outer.at(2)) < 1e-9);
    // Sideways is fine for both.
    f.hover(QPoint(400, top + 120));
    f.drag(QPoint(400, top + 120), QPoint(430, top + 120), 3);
    QVERIFY(square->geoData().outer.at(0).x() > before.outer.at(0).x());
    QVERIFY(other->geoData().outer.at(0).x() > before.outer.at(0).x());

    // A vertex dragged off the world stays where it was.
    layer.clearSelected();
    f.click(QPoint(410, top + 40));
    const QPointF corner = drawnAt(square, square->pixData().outer.at(0));
    f.hover(corner.toPoint());
    QCOMPARE(square->action(), kstVectorShape::Action_MoveVertex);
    const QPointF vertexBefore = square->geoData().outer.at(0);
    f.drag(corner.toPoint(), corner.toPoint() - QPoint(0, 60));
    QCOMPARE(square->geoData().outer.at(0), vertexBefore);
}

void tst_kstVectorEditSelection::rectangleDirectionAndPolygonSelect()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    kstVectorShape* partly = f.add(squareAt(f, QPoint(100, 100), 100));
    kstVectorShape* inside = f.add(squareAt(f, QPoint(300, 300), 50));
    kstVectorShape* outside = f.add(squareAt(f, QPoint(600, 450), 50));
    QList<int> actions;
    connect(&layer, &kstVectorEditLayer::actionChanged, this, [&](int, int now) { actions.append(now); });

    layer.setLayerAction(kstVectorEditLayer::RectSelect);
    QCOMPARE(layer.boxSelectState(), 1);
    f.clickEach({QPoint(150, 150)});
    QCOMPARE(layer.boxSelectState(), 2);
    f.hover(QPoint(450, 450));
    QCOMPARE(layer.boxPoints(), (QList<QPointF>{f.itemPos(QPoint(150, 150)), f.itemPos(QPoint(450, 450))}));
    f.rightClick(QPoint(450, 450));
    QCOMPARE(layer.boxSelectState(), 1);
    QVERIFY(layer.boxPoints().isEmpty());
    // Towards the lower right: everything touched.
    f.clickEach({QPoint(150, 150), QPoint(450, 450)});
    QCOMPARE(layer.selectedShapes().size(), 2);
    QVERIFY(layer.selectedShapes().contains(partly) && layer.selectedShapes().contains(inside));
    QCOMPARE(layer.layerAction(), kstVectorEditLayer::SelectEdit);
    QCOMPARE(layer.boxSelectState(), 0);
    QCOMPARE(actions, (QList<int>{kstVectorEditLayer::RectSelect, kstVectorEditLayer::SelectEdit}));

    // Any other direction: only what lies wholly inside; the old selection goes.
    for (const QPoint& start : {QPoint(450, 450), QPoint(450, 150), QPoint(150, 450)}) {
        const QPoint end = QPoint(600, 600) - start;
        layer.setLayerAction(kstVectorEditLayer::RectSelect);
        f.clickEach({start, end});
        QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{inside});
    }

    // A selection polygon: click, click, double click; the next click ends the mode.
    layer.setLayerAction(kstVectorEditLayer::PolygonSelect);
    const QList<QPoint> corners{QPoint(550, 400), QPoint(700, 420), QPoint(640, 560)};
    f.clickEach(corners);
    QTest::mouseDClick(f.view().viewport(), Qt::LeftButton, Qt::NoModifier, corners[2]);
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{outside});
    QCOMPARE(layer.boxSelectState(), 3);
    QCOMPARE(layer.layerAction(), kstVectorEditLayer::PolygonSelect);
    f.release(corners[2]);
    QCOMPARE(layer.layerAction(), kstVectorEditLayer::SelectEdit);
    QCOMPARE(layer.selectedShapes(), QList<kstVectorShape*>{outside});
}

void tst_kstVectorEditSelection::snappingToVertices()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    SnapEditLayer& layer = f.layer();
    auto* square = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(200, 200), 100)));
    auto* near = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(306, 306), 50)));
    const QPointF v = square->pixData().outer.at(2) + square->pos(); // (300, 300) in item pixels
    const QPointF w = near->pixData().outer.at(0) + near->pos();     // (306, 306)

    QVERIFY(!layer.vertexAdsorbEnable());
    QCOMPARE(layer.vertexAdsorb(v + QPointF(1, 1), nullptr), v + QPointF(1, 1));
    layer.setVertexAdsorbEnable(true);
    QCOMPARE(layer.vertexAdsorbTolerance(), 8);
    // The tolerance is a square, edges included.
    QCOMPARE(layer.vertexAdsorb(v - QPointF(8, 0), nullptr), v);
    QCOMPARE(layer.vertexAdsorb(v - QPointF(8.5, 0), nullptr), v - QPointF(8.5, 0));
    QCOMPARE(layer.vertexAdsorb(v - QPointF(7, 7), nullptr), v);
    QCOMPARE(layer.vertexAdsorb(v - QPointF(0, 9), nullptr), v - QPointF(0, 9));
    // The nearer of two vertices; the excluded shape offers none.
    QCOMPARE(layer.vertexAdsorb(v + QPointF(2, 2), nullptr), v);
    QCOMPARE(layer.vertexAdsorb(v + QPointF(4, 4), nullptr), w);
    QCOMPARE(layer.vertexAdsorb(v + QPointF(2, 2), square), w);
    QCOMPARE(layer.vertexAdsorb(v - QPointF(3, 3), square), v - QPointF(3, 3));

    // The rubber band of a line being drawn snaps to vertices under the pointer.
    layer.setLayerAction(kstVectorEditLayer::NewLine);
    const QPoint start(500, 100);
    f.clickEach({start});
    f.hover((v + layer.pos()).toPoint() + QPoint(3, -5));
    QCOMPARE(layer.newingPoints().last(), v);

    // Two candidates at the same distance: the later one, here the rubber
    // band itself, holds.
    layer.setLayerAction(kstVectorEditLayer::None);
    layer.setLayerAction(kstVectorEditLayer::NewLine);
    layer.setVertexAdsorbEnable(false);
    f.clickEach({start});
    f.hover(start + QPoint(8, 0));
    const QPointF a = layer.newingPoints().at(0);
    const QPointF b = layer.newingPoints().at(1);
    QCOMPARE(b - a, QPointF(8, 0));
    layer.setVertexAdsorbEnable(true);
    f.hover(start + QPoint(4, 0));
    QCOMPARE(layer.newingPoints().last(), b);
    f.hover(start + QPoint(3, 0));
    QCOMPARE(layer.newingPoints().last(), a);
    // Off again: every position passes unchanged.
    layer.setVertexAdsorbEnable(false);
    f.hover(start + QPoint(3, 0));
    QCOMPARE(layer.newingPoints().last(), f.itemPos(start + QPoint(3, 0)));
}

void tst_kstVectorEditSelection::draggedShapeSnapsOntoItsNeighbour()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    SnapEditLayer& layer = f.layer();
    auto* dragged = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(200, 200), 60)));
    auto* target = static_cast<VectorPolygon*>(f.add(squareAt(f, QPoint(330, 205), 70)));
    layer.setVertexAdsorbEnable(true);
    layer.setLayerAction(kstVectorEditLayer::SelectEdit);
    f.click(QPoint(230, 230));
    f.hover(QPoint(230, 230));
    // Vertex 1 at (260, 200) travels by (67, 3) to within 3 pixels of (330, 205).
    f.press(QPoint(230, 230));
    f.dragTo(QPoint(240, 230));
    f.dragTo(QPoint(270, 231));
    f.dragTo(QPoint(300, 232));
    f.dragTo(QPoint(307, 233));
    const QPointF snapped = drawnAt(dragged, dragged->pixData().outer.at(1));
    const QPointF goal = drawnAt(target, target->pixData().outer.at(0));
    QVERIFY2(QLineF(snapped, goal).length() < 1e-6, qPrintable(QStringLiteral("%1,%2").arg(snapped.x()).arg(snapped.y())));
    f.release(QPoint(307, 233));
    QVERIFY(geoDistance(dragged->geoData().outer.at(1), target->geoData().outer.at(0)) < 1e-7);
    // The other vertices kept their shape.
    QVERIFY(geoDistance(dragged->geoData().outer.at(0), f.expectedGcp(QPoint(270, 205)).toPointF()) < 1e-7);
}

QTEST_MAIN(tst_kstVectorEditSelection)
#include "tst_kstVectorEditSelection.moc"
