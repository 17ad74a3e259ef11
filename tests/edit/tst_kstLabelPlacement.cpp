#include "VectorLine.h"
#include "VectorPoint.h"
#include "kstLabelGrid.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QtTest>

#include <cmath>

using namespace Kestrum;

namespace {

// Makes a collect with one shape and a label text in a layer.
template <class Shape>
Shape* labelled(kstVectorLayer* layer, Shape* shape, const QString& text)
{
    addCollect(layer, {shape})->m_text = text;
    return shape;
}

// Reaches the edit layer's own collision test of placed labels.
struct CollisionTest : kstVectorEditLayer
{
    static bool hit(const kstVectorEditLayer& layer, const QRectF& rect)
    {
        return (layer.*(&CollisionTest::isIntersectsWithCurrentLabels))(rect);
    }
};

// The collision test against every placed label, one by one.
bool pairwiseHit(const kstVectorEditLayer& layer, const QRectF& rect)
{
    for (const QList<VectorShapeLabel__*>& labels : layer.shapeLabels())
        for (const VectorShapeLabel__* label : labels)
            if (label->rect.adjusted(-3, -3, 3, 3).intersects(rect.adjusted(-3, -3, 3, 3)))
                return true;
    return false;
}

// Compares the edit layer's collision test with the pairwise one at random
// places of the view; returns the number of disagreements.
int disagreements(kstVectorEditLayer& layer, QRandomGenerator& rng)
{
    const QPointF origin = -layer.pos();
    int wrong = 0;
    for (int i = 0; i < 3000; ++i) {
        const QRectF r(origin + QPointF(rng.bounded(800), rng.bounded(600)), QSizeF(4 + rng.bounded(60), 4 + rng.bounded(20)));
        wrong += CollisionTest::hit(layer, r) != pairwiseHit(layer, r);
    }
    return wrong;
}

QList<VectorShapeLabel__> placedFor(kstVectorEditLayer& layer, kstVectorShape* shape)
{
    QList<VectorShapeLabel__> labels;
    for (const VectorShapeLabel__* label : layer.shapeLabels().value(shape))
        labels << *label;
    return labels;
}

} // namespace

class tst_kstLabelPlacement : public QObject
{
    Q_OBJECT

private slots:
    void gridAnswersAsThePairwiseTest();
    void pointsTakeTheFirstFreePosition();
    void linesGetRotatedLabelsOnLongSegments();
    void placedLabelsNeverOverlap();
    void longLinesOfferBoundedAnchors();
};

void tst_kstLabelPlacement::gridAnswersAsThePairwiseTest()
{
    // Thousands of random candidates of label-like sizes, some touching, some
    // far apart, some huge: the grid must accept and reject exactly as the
    // plain pairwise test does.
    QRandomGenerator rng(2024);
    kstLabelGrid grid(48);
    QVector<QRectF> placed;
    QVector<int> owners; // the owner of each placed rectangle
    int accepted = 0;
    for (int i = 0; i < 6000; ++i) {
        // Now and then an owner's rectangles leave; the grid must forget them at once.
        if (i % 50 == 49) {
            const int owner = rng.bounded(40);
            grid.remove(reinterpret_cast<const void*>(quintptr(owner + 1)));
            for (int k = placed.size() - 1; k >= 0; --k)
                if (owners.at(k) == owner) {
                    placed.removeAt(k);
                    owners.removeAt(k);
                }
            QCOMPARE(grid.size(), placed.size());
        }
        const double w = i % 500 == 0 ? 5000 : 5 + rng.bounded(120);
        const double h = 4 + rng.bounded(30);
        QRectF r(rng.bounded(3000) - 1500, rng.bounded(2000) - 1000, w, h);
        if (i % 7 == 0 && !placed.isEmpty()) // exactly adjacent to a placed one
            r.moveTopLeft(placed.at(rng.bounded(placed.size())).topRight());
        bool pairwise = false;
        for (const QRectF& p : qAsConst(placed))
            pairwise = pairwise || p.intersects(r);
        QCOMPARE(grid.intersects(r), pairwise);
        if (!pairwise) {
            const int owner = rng.bounded(40);
            grid.insert(r, reinterpret_cast<const void*>(quintptr(owner + 1)));
            placed << r;
            owners << owner;
            ++accepted;
        }
    }
    QVERIFY(accepted > 300);
}

void tst_kstLabelPlacement::pointsTakeTheFirstFreePosition()
{
    ShapeTestScene scene(GCP(116.4, 39.9), 12);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    VectorPoint* a = labelled(layer, new VectorPoint(QPointF(116.40, 39.90), nullptr), QStringLiteral("Alpha"));
    scene.layer().insertLayer(layer, 0);
    scene.layer().updateLabels();

    // Alone, the label goes below the point, centred, one pixel below its circle.
    QList<VectorShapeLabel__> labels = placedFor(scene.layer(), a);
    QCOMPARE(labels.size(), 1);
    const QRectF below = labels.first().rect;
    const QRectF dot = a->brc().translated(a->pos());
    QVERIFY(qAbs(below.top() - (int(dot.bottom()) + 1)) <= 1);
    QVERIFY(qAbs(below.center().x() - dot.center().x()) <= 1);

    // A second point on the same spot, stacked below the first: below is
    // taken by the first point's label, and right and left come within the
    // spacing of that label, so the label goes above.
    VectorPoint* b = labelled(layer, new VectorPoint(QPointF(116.40, 39.90), nullptr), QStringLiteral("Beta"));
    scene.attach(b);
    b->setZValue(-1);
    scene.layer().updateLabels();
    QCOMPARE(placedFor(scene.layer(), a).first().rect, below);
    labels = placedFor(scene.layer(), b);
    QCOMPARE(labels.size(), 1);
    QCOMPARE(labels.first().rect, b->labels().at(3).rect.translated(b->pos()));
    QVERIFY(labels.first().rect.bottom() < dot.top());

    // An empty text or a layer that hides its labels gives nothing.
    a->shapeCollect()->m_text.clear();
    kstVectorEditLayer::setLayerShowLabes(layer, false);
    QVERIFY(!kstVectorEditLayer::isLayerShowLabes(layer));
    kstVectorEditLayer::upateLayerShapeLabels(layer);
    scene.layer().updateLabels();
    QVERIFY(scene.layer().shapeLabels().isEmpty());

    scene.layer().removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstLabelPlacement::linesGetRotatedLabelsOnLongSegments()
{
    ShapeTestScene scene(GCP(116.4, 39.9), 10);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    const QPointF start(116.35, 39.95);
    // A segment of about 300 pixels going right and down, and a vertical one going down.
    const double mpp = scene.mpp().x;
    const double degPerPix = mpp / 111319.49;
    VectorLine* slanted = labelled(layer, new VectorLine({start, start + QPointF(300 * degPerPix, -120 * degPerPix)},
                                                         nullptr), QStringLiteral("Road"));
    VectorLine* vertical = labelled(layer, new VectorLine({start + QPointF(-0.1, 0), start + QPointF(-0.1, -0.3)},
                                                          nullptr), QStringLiteral("River"));
    VectorLine* tiny = labelled(layer, new VectorLine({start + QPointF(0.05, 0.05), start + QPointF(0.0502, 0.05)},
                                                      nullptr), QStringLiteral("A much longer name"));
    scene.layer().insertLayer(layer, 0);
    scene.layer().updateLabels();

    const QList<VectorShapeLabel__> road = placedFor(scene.layer(), slanted);
    QCOMPARE(road.size(), 1);
    const QVector<QPointF> pix = slanted->pixData();
    const QPointF mid = (pix.first() + pix.last()) / 2 + slanted->pos();
    QVERIFY(QLineF(road.first().rect.center(), mid).length() < 1.0);
    const QPointF d = pix.last() - pix.first();
    QVERIFY(qAbs(road.first().angle - std::atan(d.y() / d.x())) < 1e-12);

    const QList<VectorShapeLabel__> river = placedFor(scene.layer(), vertical);
    QVERIFY(!river.isEmpty());
    QCOMPARE(river.first().angle, -1.5707963267945); // drawn downwards
    QVERIFY(placedFor(scene.layer(), tiny).isEmpty()); // shorter than 1.5 × its text

    // The rotated label is painted along the segment: text pixels lie near
    // the segment's middle and not far off it.
    QImage image(scene.view().viewport()->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.translate(scene.layer().pos());
    scene.layer().paint(&painter, nullptr, nullptr);
    painter.end();
    const QPointF centre = road.first().rect.center() + scene.layer().pos();
    int near = 0;
    for (int y = -20; y <= 20; ++y)
        for (int x = -40; x <= 40; ++x)
            near += qAlpha(image.pixel(int(centre.x()) + x, int(centre.y()) + y)) > 0;
    QVERIFY(near > 30);

    scene.layer().removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstLabelPlacement::placedLabelsNeverOverlap()
{
    // A crowd of labelled points: every placed pair keeps the 6-pixel spacing,
    // and labels 5 pixels apart would have collided while 7 would not.
    ShapeTestScene scene(GCP(116.4, 39.9), 9);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    QRandomGenerator rng(5);
    for (int i = 0; i < 400; ++i)
        labelled(layer, new VectorPoint(QPointF(116.0 + rng.generateDouble() * 0.8, 39.6 + rng.generateDouble() * 0.6),
                                        nullptr), QStringLiteral("P%1").arg(i));
    scene.layer().insertLayer(layer, 0);
    scene.layer().updateLabels();
    QList<QRectF> rects;
    for (const QList<VectorShapeLabel__*>& labels : scene.layer().shapeLabels())
        for (const VectorShapeLabel__* label : labels)
            rects << label->rect;
    QVERIFY(rects.size() > 50);
    for (int i = 0; i < rects.size(); ++i)
        for (int j = i + 1; j < rects.size(); ++j)
            QVERIFY(!rects.at(i).adjusted(-3, -3, 3, 3).intersects(rects.at(j).adjusted(-3, -3, 3, 3)));

    kstLabelGrid grid;
    grid.insert(QRectF(0, 0, 20, 10).adjusted(-3, -3, 3, 3));
    QVERIFY(grid.intersects(QRectF(25, 0, 20, 10).adjusted(-3, -3, 3, 3)));
    QVERIFY(!grid.intersects(QRectF(27, 0, 20, 10).adjusted(-3, -3, 3, 3)));

    // Labels of shapes, collects and layers that leave stop blocking others
    // at once, not only at the next placement.
    QCOMPARE(disagreements(scene.layer(), rng), 0);
    const QList<kstVectorShape*> labelledShapes = scene.layer().shapeLabels().keys();
    QList<kstVectorShape*> removed;
    for (int i = 0; i < labelledShapes.size(); i += 3)
        removed << labelledShapes.at(i);
    for (kstVectorShape* shape : qAsConst(removed))
        scene.layer().removeShape(shape);
    QCOMPARE(disagreements(scene.layer(), rng), 0);
    kstVectorCollect* collect = labelledShapes.at(1)->shapeCollect();
    scene.layer().removeCollect(collect);
    QCOMPARE(disagreements(scene.layer(), rng), 0);
    scene.layer().updateLabels();
    QCOMPARE(disagreements(scene.layer(), rng), 0);
    scene.layer().insertCollect(collect);
    scene.layer().insertShapes(removed);
    scene.layer().updateLabels();
    QCOMPARE(disagreements(scene.layer(), rng), 0);

    // Hiding the edit layer drops its labels.
    scene.layer().hideVectorLayer();
    QVERIFY(scene.layer().shapeLabels().isEmpty());
    scene.layer().removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstLabelPlacement::longLinesOfferBoundedAnchors()
{
    // Segments of billions of pixels, and points so far out that halving a
    // segment no longer moves its midpoint: anchors come only near the view,
    // never more than the fixed number per line, and at once.
    struct Case
    {
        QVector<QPointF> points;
        int level;
        bool nearView; // pixels of the view are still apart at the line's distance
    };
    const QList<Case> cases{{{{0, 0}, {1e8, 0}}, 10, true},
                            {{{-179, 0.001}, {179, 0.001}}, 22, true},
                            {{{1e300, 0}, {std::nextafter(1e300, 2e300), 0}}, 22, false},
                            {{{-1e300, 10}, {1e300, -10}}, 22, false},
                            {{{1e306, 0}, {-1e306, 0}, {0, 0}, {0.5, 0}}, 3, false}};
    for (const Case& c : cases) {
        ShapeTestScene scene(GCP(0, 0), c.level);
        kstVectorLayer* layer = kstVectorLayer::newLayer();
        VectorLine* line = labelled(layer, new VectorLine(c.points, nullptr), QStringLiteral("Long"));
        scene.layer().insertLayer(layer, 0);
        QVERIFY(line->labels().size() <= VectorLine::kMaxLabelAnchors);
        const QRectF window = line->labelWindow().translated(-line->pos());
        for (const VectorShapeLabel__& label : line->labels())
            QVERIFY(!c.nearView || window.adjusted(-100, -100, 100, 100).contains(label.rect.center()));
        scene.layer().updateLabels();
        scene.layer().removeLayer(layer);
        kstVectorLayer::destoryLayer(layer);
    }

    // Along a segment across the world at level 22 the view has labels, and
    // after a pan of many views it has labels again, of the new view.
    ShapeTestScene scene(GCP(10, 0.0005), 22);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    VectorLine* line = labelled(layer, new VectorLine({{-179, 0.0005}, {179, 0.0005}}, nullptr), QStringLiteral("Equator"));
    scene.layer().insertLayer(layer, 0);
    scene.layer().updateLabels();
    QVERIFY(!placedFor(scene.layer(), line).isEmpty());
    QVERIFY(line->labels().size() < 20);
    scene.view().panBy(QPointF(-20000, 0));
    QVERIFY(!placedFor(scene.layer(), line).isEmpty());
    const QRectF visible(-scene.layer().pos(), QSizeF(scene.view().viewSize()));
    for (const VectorShapeLabel__& label : placedFor(scene.layer(), line))
        QVERIFY(visible.intersects(label.rect));
    scene.layer().removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);

    // A line on no view has no window: its anchors are bounded all the same.
    kstVectorLayer* loose = kstVectorLayer::newLayer();
    VectorLine* far = labelled(loose, new VectorLine({{-179, 1}, {179, 1}}, nullptr), QStringLiteral("Far"));
    far->initShape(kstTileResulotion().mpp(20), far->curProj());
    QCOMPARE(far->labels().size(), VectorLine::kMaxLabelAnchors);
    kstVectorLayer::destoryLayer(loose);
}

QTEST_MAIN(tst_kstLabelPlacement)
#include "tst_kstLabelPlacement.moc"
