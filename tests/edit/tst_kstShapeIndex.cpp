// The edit layer's shape index answers picking and snapping queries exactly
// as the scene does (same shapes, same order) while shapes are added,
// removed, hidden, selected, moved, dragged and rescaled.
#include "kstMixedLayer.h"
#include "kstSampleLayer.h"
#include "kstShapeIndex.h"
#include "kstShapeTestSupport.h"
#include "kstEditTestFixture.h"

#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QGraphicsScene>
#include <QRandomGenerator>
#include <QtTest>

#include <cmath>
#include <limits>

using namespace Kestrum;

namespace {

QList<kstVectorShape*> shapesOf(const QList<QGraphicsItem*>& items)
{
    QList<kstVectorShape*> shapes;
    for (QGraphicsItem* item : items)
        if (auto* shape = dynamic_cast<kstVectorShape*>(item))
            shapes.append(shape);
    return shapes;
}

QString describe(const QList<kstVectorShape*>& shapes)
{
    QStringList parts;
    for (kstVectorShape* shape : shapes)
        parts << QStringLiteral("%1(z%2)").arg(shape->shapeCollect() ? shape->shapeCollect()->m_text : QString())
                     .arg(shape->zValue());
    return parts.join(QLatin1Char(' '));
}

// Compares one query of the index with the same query of the scene.
class QueryCheck
{
public:
    QueryCheck(kstVectorEditLayer& edit, const char* phase) : m_edit(edit), m_phase(phase) {}

    bool point(const QPointF& p)
    {
        return same(m_edit.shapeIndex()->items(p),
                    m_edit.scene()->items(p, Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform()),
                    QStringLiteral("point (%1, %2)").arg(p.x()).arg(p.y()));
    }
    bool rect(const QRectF& r, Qt::ItemSelectionMode mode)
    {
        return same(m_edit.shapeIndex()->items(r, mode),
                    m_edit.scene()->items(r, mode, Qt::DescendingOrder, QTransform()),
                    QStringLiteral("rect %1,%2 %3x%4 mode %5").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height())
                        .arg(int(mode)));
    }
    bool path(const QPainterPath& p, Qt::ItemSelectionMode mode)
    {
        return same(m_edit.shapeIndex()->items(p, mode),
                    m_edit.scene()->items(p, mode, Qt::DescendingOrder, QTransform()),
                    QStringLiteral("path around %1,%2 mode %3").arg(p.boundingRect().x())
                        .arg(p.boundingRect().y()).arg(int(mode)));
    }
    int nonEmpty() const { return m_nonEmpty; }
    int multiple() const { return m_multiple; }
    QString failure() const { return m_failure; }

private:
    bool same(const QList<kstVectorShape*>& indexed, const QList<QGraphicsItem*>& items, const QString& what)
    {
        const QList<kstVectorShape*> expected = shapesOf(items);
        m_nonEmpty += expected.isEmpty() ? 0 : 1;
        m_multiple += expected.size() > 1 ? 1 : 0;
        if (indexed == expected)
            return true;
        m_failure = QStringLiteral("%1: %2\n index: %3\n scene: %4")
                        .arg(QLatin1String(m_phase), what, describe(indexed), describe(expected));
        return false;
    }

    kstVectorEditLayer& m_edit;
    const char* m_phase;
    QString m_failure;
    int m_nonEmpty = 0;
    int m_multiple = 0;
};

// Random queries of every kind over the shapes' scene area and on their
// corners and centres, where ties and edges are.
void checkQueries(kstVectorEditLayer& edit, const QList<kstVectorShape*>& shapes, quint32 seed, const char* phase)
{
    QRandomGenerator rng(seed);
    QRectF area;
    for (kstVectorShape* shape : shapes)
        area |= shape->sceneBoundingRect();
    QVERIFY(area.isValid());
    auto somewhere = [&] {
        return QPointF(area.left() + rng.generateDouble() * area.width(),
                       area.top() + rng.generateDouble() * area.height());
    };
    auto someShape = [&] { return shapes.at(rng.bounded(shapes.size())); };
    QueryCheck check(edit, phase);
    for (int i = 0; i < 150; ++i) {
        const QRectF b = someShape()->sceneBoundingRect();
        QVERIFY2(check.point(somewhere()), qPrintable(check.failure()));
        QVERIFY2(check.point(b.center()), qPrintable(check.failure()));
        QVERIFY2(check.point(i % 2 ? b.topLeft() : b.bottomRight() - QPointF(1, 1)), qPrintable(check.failure()));
    }
    for (int i = 0; i < 60; ++i) {
        const QRectF r(somewhere(), QSizeF(1 + rng.bounded(200), 1 + rng.bounded(200)));
        const QRectF exact = someShape()->sceneBoundingRect();
        for (Qt::ItemSelectionMode mode : {Qt::IntersectsItemShape, Qt::ContainsItemShape}) {
            QVERIFY2(check.rect(r, mode), qPrintable(check.failure()));
            QVERIFY2(check.rect(exact, mode), qPrintable(check.failure()));
            QPainterPath rectPath;
            rectPath.addRect(r);
            QVERIFY2(check.path(rectPath, mode), qPrintable(check.failure()));
        }
    }
    for (int i = 0; i < 30; ++i) {
        const QPointF c = somewhere();
        QPolygonF polygon;
        const int corners = 3 + rng.bounded(4);
        for (int k = 0; k < corners; ++k)
            polygon << c + QPointF(rng.bounded(300) - 150, rng.bounded(300) - 150);
        polygon << polygon.first();
        QPainterPath path;
        path.addPolygon(polygon);
        QVERIFY2(check.path(path, Qt::IntersectsItemShape), qPrintable(check.failure()));
        QVERIFY2(check.path(path, Qt::ContainsItemShape), qPrintable(check.failure()));
    }
    // A flat rectangle and a point far off.
    QVERIFY2(check.rect(QRectF(area.center(), QSizeF(0, 50)), Qt::IntersectsItemShape), qPrintable(check.failure()));
    QVERIFY2(check.point(QPointF(-1e7, 3e8)), qPrintable(check.failure()));
    // The checks must have met crowded places, not only empty ones.
    QVERIFY2(check.multiple() > 50, qPrintable(QStringLiteral("%1: only %2 queries found several shapes")
                                                   .arg(QLatin1String(phase)).arg(check.multiple())));
}

// Stops the test at the first disagreement.
#define CHECK_QUERIES(...)                   \
    do {                                     \
        checkQueries(__VA_ARGS__);           \
        if (QTest::currentTestFailed())      \
            return;                          \
    } while (false)

// A layer of copies of some shapes: the same rectangles, other stacking.
kstVectorLayer* copiesOf(const QList<kstVectorShape*>& shapes, int every)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < shapes.size(); i += every)
        addCollect(layer, {shapes.at(i)->clone()})->m_text = QStringLiteral("C%1").arg(i);
    return layer;
}

} // namespace

class tst_kstShapeIndex : public QObject
{
    Q_OBJECT

private slots:
    void answersAsTheSceneThroughEdits();
    void followsDragsAndPicksWhatItShows();
    void oddRectanglesStayBounded();
};

// Thousands of shapes of all kinds with equal z values and exact copies;
// after each kind of change the index and the scene agree on every query.
void tst_kstShapeIndex::answersAsTheSceneThroughEdits()
{
    ShapeTestScene scene(GCP(110, 35), 8);
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayer* mixed = mixedLayer(3000, 11);
    const QList<kstVectorShape*> mixedShapes = shapesOf(mixed);
    kstVectorLayer* copies = copiesOf(mixedShapes, 9);
    edit.insertLayer(mixed, 0);
    edit.insertLayer(copies, 1);
    edit.resetZLevel();
    QList<kstVectorShape*> all = mixedShapes + shapesOf(copies);
    QCOMPARE(edit.shapeIndex()->size(), all.size());
    CHECK_QUERIES(edit, all, 1, "inserted");

    // Hidden shapes drop out; selected shapes move up in z.
    QRandomGenerator rng(5);
    for (int i = 0; i < 300; ++i)
        edit.setShapeVisible(all.at(rng.bounded(all.size())), false);
    for (int i = 0; i < 300; ++i)
        edit.selectShape(all.at(rng.bounded(all.size())));
    CHECK_QUERIES(edit, all, 2, "hidden and selected");

    // Geometry edits through the shapes' own operations.
    for (int i = 0; i < 200; ++i) {
        kstVectorShape* shape = mixedShapes.at(rng.bounded(mixedShapes.size()));
        const GCP lt = shape->ltGcp();
        shape->moveShapeTo(GCP(lt.lon() + rng.generateDouble() - 0.5, lt.lat() + rng.generateDouble() - 0.5));
    }
    for (int i = 0; i < 100; ++i) {
        kstVectorShape* shape = mixedShapes.at(rng.bounded(mixedShapes.size()));
        const GCP v = shape->vertex(0);
        shape->moveVertexTo(0, GCP(v.lon() + 0.2, v.lat() - 0.1));
    }
    CHECK_QUERIES(edit, all, 3, "moved");

    // Removed shapes leave; shapes put back stack above the others of their z.
    QList<kstVectorShape*> removed;
    for (int i = 0; i < 400; i += 2)
        removed << mixedShapes.at(i);
    edit.removeShapes(removed);
    for (int i = 1; i < 100; i += 2)
        edit.removeShape(mixedShapes.at(i));
    QList<kstVectorShape*> shown = all;
    for (int i = 1; i < 100; i += 2)
        shown.removeOne(mixedShapes.at(i));
    for (kstVectorShape* shape : qAsConst(removed))
        shown.removeOne(shape);
    QCOMPARE(edit.shapeIndex()->size(), shown.size());
    CHECK_QUERIES(edit, shown, 4, "removed");
    edit.insertShapes(removed.mid(0, 100));
    auto* extra = new VectorPoint(QPointF(110, 35), nullptr);
    kstVectorCollect* extraCollect = kstVectorCollect::newCollect();
    extraCollect->m_layer = mixed;
    extraCollect->m_fid = 100000;
    extra->setShapeCollect(extraCollect, 0);
    extraCollect->m_shapes << extra;
    edit.insertCollect(extraCollect);
    shown += removed.mid(0, 100);
    shown << extra;
    CHECK_QUERIES(edit, shown, 5, "put back");

    // A new level changes every rectangle (more than a thousand shapes: the
    // pool computes them); a pan moves the edit layer only.
    scene.zoomTo(9);
    CHECK_QUERIES(edit, shown, 6, "zoomed in");
    scene.view().panAndZoom(GCP(110.5, 35.5), 9);
    CHECK_QUERIES(edit, shown, 7, "panned");
    edit.clearSelected();
    edit.resetZLevel();
    scene.zoomTo(8);
    CHECK_QUERIES(edit, shown, 8, "zoomed out, selection cleared");

    // A hidden edit layer hides every shape.
    edit.hideVectorLayer();
    QueryCheck hidden(edit, "layer hidden");
    QVERIFY(hidden.point(shown.first()->sceneBoundingRect().center()));
    QVERIFY(hidden.rect(shown.first()->sceneBoundingRect(), Qt::IntersectsItemShape));
    QCOMPARE(hidden.nonEmpty(), 0);
    edit.showVectorLayer();
    CHECK_QUERIES(edit, shown, 9, "shown again");

    edit.removeLayer(mixed);
    edit.removeLayer(copies);
    QCOMPARE(edit.shapeIndex()->size(), 0);
    kstVectorLayer::destoryLayer(mixed);
    kstVectorLayer::destoryLayer(copies);
    // Shapes removed for good are in no collect any more: each goes with its own.
    QList<kstVectorShape*> gone = removed.mid(100);
    for (int i = 1; i < 100; i += 2)
        gone << mixedShapes.at(i);
    for (kstVectorShape* shape : qAsConst(gone)) {
        kstVectorCollect* collect = shape->shapeCollect();
        delete shape;
        kstVectorCollect::deleteCollect(collect);
    }
}

// A dragged selection is found where it was dropped (the drag moves items
// only), and a click picks through the index as it did through the scene.
void tst_kstShapeIndex::followsDragsAndPicksWhatItShows()
{
    EditFixture f(GCP(116.4, 39.9), 14);
    SnapEditLayer& edit = f.layer();
    // Squares about the view centre, of half-sides 0.01 and 0.002 degrees.
    const auto square = [&f](double r) {
        const QPolygonF ring({QPointF(116.4 - r, 39.9 + r), QPointF(116.4 + r, 39.9 + r), QPointF(116.4 + r, 39.9 - r),
                              QPointF(116.4 - r, 39.9 - r)});
        return static_cast<VectorPolygon*>(f.add(new VectorPolygon(Polygon__{ring, {}}, nullptr)));
    };
    VectorPolygon* big = square(0.01);
    VectorPolygon* small = square(0.002);
    edit.resetZLevel();
    const QPoint centre = f.pixOf(GCP(116.4, 39.9)).toPoint();
    edit.setLayerAction(kstVectorEditLayer::SelectEdit);
    f.click(centre);
    QCOMPARE(edit.selectedShapes(), QList<kstVectorShape*>{small}); // the smaller area wins

    // Drag the small square 120 pixels to the right, off the big one: while
    // the button is down only the items moved, yet picking and snapping see
    // the square where it is now.
    f.hover(centre);
    f.press(centre);
    for (int i = 1; i <= 6; ++i)
        f.dragTo(centre + QPoint(20 * i, 0));
    const QPointF dropped = f.view().mapToScene(centre + QPoint(120, 0));
    auto checkWhereItIs = [&] {
        QCOMPARE(edit.currentHoverShape(dropped), static_cast<kstVectorShape*>(small));
        QCOMPARE(edit.currentHoverShape(f.view().mapToScene(centre)), static_cast<kstVectorShape*>(big));
        const QRectF around(dropped - QPointF(30, 30), QSizeF(60, 60));
        QCOMPARE(edit.shapeIndex()->items(around, Qt::IntersectsItemShape),
                 shapesOf(edit.scene()->items(around, Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform())));
        edit.setVertexAdsorbEnable(true);
        const QPointF corner = small->pos() + small->shapeBoundingRect().topLeft();
        const QPointF snapped = edit.vertexAdsorb(corner + QPointF(3, 2), nullptr);
        edit.setVertexAdsorbEnable(false);
        QVERIFY2(QLineF(snapped, corner).length() < 1.0,
                 qPrintable(QStringLiteral("%1,%2 vs %3,%4").arg(snapped.x()).arg(snapped.y()).arg(corner.x())
                                .arg(corner.y())));
    };
    checkWhereItIs();
    if (QTest::currentTestFailed())
        return;
    f.release(centre + QPoint(120, 0));
    checkWhereItIs();
}

// Shapes far out, huge or placed at non-finite positions, and queries of
// any size, give the scene's answers without a grid that grows with them.
void tst_kstShapeIndex::oddRectanglesStayBounded()
{
    ShapeTestScene scene(GCP(110, 35), 8);
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayer* mixed = mixedLayer(500, 3);
    edit.insertLayer(mixed, 0);
    edit.resetZLevel();
    QList<kstVectorShape*> shapes = shapesOf(mixed);
    // The whole world as one polygon: larger than a view at any level.
    auto* world = new VectorPolygon(Polygon__{QPolygonF({QPointF(-179, 80), QPointF(179, 80), QPointF(179, -80),
                                                         QPointF(-179, -80)}), {}},
                                    nullptr);
    scene.attach(world);
    // Items placed by hand far out and at no place at all; the index learns
    // of positions set behind the shapes' back only when told.
    const double inf = std::numeric_limits<double>::infinity();
    const QPointF places[] = {QPointF(3e12, -3e12), QPointF(1e300, 5), QPointF(qQNaN(), 10), QPointF(inf, -inf)};
    for (int i = 0; i < 4; ++i) {
        shapes.at(i)->setPos(places[i]);
        edit.shapeIndex()->markDirty(shapes.at(i));
    }
    shapes << world;
    QueryCheck check(edit, "odd");
    const QPointF inside = shapes.at(10)->sceneBoundingRect().center();
    for (const QPointF& p : {inside, QPointF(3e12, -3e12), QPointF(qQNaN(), 0), QPointF(-1e308, 1e308)})
        QVERIFY2(check.point(p), qPrintable(check.failure()));
    for (Qt::ItemSelectionMode mode : {Qt::IntersectsItemShape, Qt::ContainsItemShape}) {
        QVERIFY2(check.rect(QRectF(-1e15, -1e15, 2e15, 2e15), mode), qPrintable(check.failure()));
        QVERIFY2(check.rect(QRectF(inside, QSizeF(1e9, 1e9)), mode), qPrintable(check.failure()));
        QVERIFY2(check.rect(QRectF(inside - QPointF(40, 40), QSizeF(80, 80)), mode), qPrintable(check.failure()));
    }
    QVERIFY(check.nonEmpty() >= 4);
    // A new level files them all anew; the world polygon is still found everywhere.
    scene.zoomTo(10);
    world->updateShape(scene.mpp(), scene.projection(), true);
    QVERIFY2(check.point(QPointF(5, 5)), qPrintable(check.failure()));
    QVERIFY(edit.shapeIndex()->items(QPointF(5, 5)).contains(world));
    edit.removeLayer(mixed);
    kstVectorLayer::destoryLayer(mixed);
}

QTEST_MAIN(tst_kstShapeIndex)
#include "tst_kstShapeIndex.moc"
