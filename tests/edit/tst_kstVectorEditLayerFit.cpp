#include "VectorLine.h"
#include "VectorPolygon.h"
#include "kstFourParamter.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QGraphicsSceneContextMenuEvent>
#include <QGraphicsSceneHoverEvent>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QtTest>

#include <cmath>

using namespace Kestrum;

namespace {

// The edit layer with its Fit-mode handlers reachable, fed with scene events
// at exact item positions.
class FitLayer : public kstVectorEditLayer
{
public:
    void click(const QPointF& pos)
    {
        QGraphicsSceneMouseEvent event(QEvent::GraphicsSceneMouseRelease);
        event.setPos(pos);
        event.setButton(Qt::LeftButton);
        on_Fit_LeftClicked(&event);
    }
    void hover(const QPointF& pos)
    {
        QGraphicsSceneHoverEvent event(QEvent::GraphicsSceneHoverMove);
        event.setPos(pos);
        on_Fit_HoverMove(&event);
    }
    void rightClick(const QPointF& pos)
    {
        QGraphicsSceneContextMenuEvent event(QEvent::GraphicsSceneContextMenu);
        event.setPos(pos);
        on_Fit_RightClicked(&event);
    }
    void drawLine(const QPointF& from, const QPointF& to)
    {
        click(from);
        hover((from + to) / 2);
        click(to);
    }
    // Item pixel of a plane point at the current level.
    QPointF pix(const PCP& pcp) const
    {
        kstProjection* proj = mapView()->projection();
        return pcp.toPix(mapView()->resolution()->mpp(mapView()->level()), proj->ltGcp().toPcp(proj));
    }
};

// A shown view in Fit mode at Beijing.
class FitScene : public ShapeTestScene
{
public:
    explicit FitScene(int level = 12) : ShapeTestScene(GCP(116.4, 39.9), level, new FitLayer)
    {
        layer().setLayerAction(kstVectorEditLayer::Fit);
    }
    FitLayer* fitLayer() const { return static_cast<FitLayer*>(&layer()); }
    PCP pcp(double lon, double lat) const { return GCP(lon, lat).toPcp(projection()); }
};

// The overlay painted by the edit layer around an item position, in a
// transparent image whose centre is that position.
QImage overlayAround(kstVectorEditLayer* layer, const QPointF& center, int size = 120)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.translate(QPointF(size / 2, size / 2) - center);
    QStyleOptionGraphicsItem option;
    layer->paint(&painter, &option, nullptr);
    return image;
}

int paintedPixels(const QImage& image, const QRect& area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            count += qAlpha(image.pixel(x, y)) > 0;
    return count;
}

QList<QPointF> plain(const QList<PCP>& points)
{
    QList<QPointF> result;
    for (const PCP& p : points)
        result << p.toPointF();
    return result;
}

} // namespace

class tst_kstVectorEditLayerFit : public QObject
{
    Q_OBJECT

private slots:
    void drawingAndEditingFitLines();
    void fitLinesStayOnTheMap();
    void knownSimilarityIsRecoveredAndApplied();
    void arrowsAreDrawnInFitModeOnly();
};

void tst_kstVectorEditLayerFit::drawingAndEditingFitLines()
{
    FitScene scene;
    FitLayer* layer = scene.fitLayer();
    QSignalSpy changed(layer, &kstVectorEditLayer::fitValuesChanged);
    const QPointF a(1000, 2000), b(1100, 2050), c(900, 1900);

    // First click starts a line that follows the pointer and shows as
    // selected; the second finishes it.
    layer->click(a);
    QCOMPARE(layer->fitLines(), QList<QLineF>{QLineF(a, a)});
    QCOMPARE(changed.count(), 0);
    layer->hover(b);
    QCOMPARE(layer->fitLines().last(), QLineF(a, b));
    QCOMPARE(layer->selectedFitLine(), 0);
    QTest::ignoreMessage(QtDebugMsg, "kstVectorEditLayer::deleteFitLine:can not delete fit line when line creating!");
    QVERIFY(!layer->clearFit());
    QTest::ignoreMessage(QtDebugMsg, "kstVectorEditLayer::deleteFitLine:can not delete fit line when line creating!");
    QVERIFY(!layer->deleteFitLine(0));
    QCOMPARE(layer->fitLines().size(), 1);
    layer->click(c);
    QCOMPARE(layer->fitLines(), QList<QLineF>{QLineF(a, c)});
    QCOMPARE(changed.count(), 1);

    // A right click drops only the line being drawn; the highlight stays.
    layer->click(b);
    layer->hover(c);
    QCOMPARE(layer->selectedFitLine(), 1);
    layer->rightClick(c);
    QCOMPARE(layer->fitLines().size(), 1);
    QCOMPARE(layer->selectedFitLine(), 1);
    layer->rightClick(c); // not drawing: nothing
    QCOMPARE(layer->fitLines().size(), 1);
    QCOMPARE(changed.count(), 1);

    layer->drawLine(b, a);
    layer->drawLine(c, c); // length 0
    QCOMPARE(layer->fitLines().size(), 3);
    QCOMPARE(changed.count(), 3);

    // Out-of-range indices are refused with their message.
    for (int bad : {-1, 3}) {
        QTest::ignoreMessage(QtDebugMsg, "kstVectorEditLayer::setFiltLine:index out of range!");
        QVERIFY(!layer->deleteFitLine(bad));
        QTest::ignoreMessage(QtDebugMsg, "kstVectorEditLayer::setFiltLine:index out of range!");
        layer->setFitLineSelected(bad);
        QTest::ignoreMessage(QtDebugMsg, "kstVectorEditLayer::setFiltLine:index out of range!");
        layer->setFiltLine(bad, PCP(), PCP());
    }
    QCOMPARE(changed.count(), 3);

    // The plane ends come out in order and are appended to what the lists hold.
    QList<PCP> src{PCP(1, 2)}, dst{PCP(3, 4)};
    layer->getFitValues(src, dst);
    QCOMPARE(src.size(), 4);
    QCOMPARE(dst.size(), 4);
    QCOMPARE(src.first(), PCP(1, 2));

    // After reversing, the former targets are the sources.
    layer->reverseFitLine();
    QCOMPARE(changed.count(), 4);
    QList<PCP> rsrc, rdst;
    layer->getFitValues(rsrc, rdst);
    QCOMPARE(rsrc, dst.mid(1));
    QCOMPARE(rdst, src.mid(1));

    // Deleting shifts no highlight but the deleted one's.
    layer->setFitLineSelected(2);
    QVERIFY(layer->deleteFitLine(0));
    QCOMPARE(layer->selectedFitLine(), 2);
    QVERIFY(layer->deleteFitLine(1));
    QCOMPARE(layer->selectedFitLine(), 2);
    layer->setFitLineSelected(0);
    QVERIFY(layer->deleteFitLine(0));
    QCOMPARE(layer->selectedFitLine(), -1);

    // Lines survive a change of mode, and clicks outside the Fit mode add none.
    layer->drawLine(a, b);
    layer->setLayerAction(kstVectorEditLayer::SelectEdit);
    layer->click(c);
    QCOMPARE(layer->fitLines().size(), 1);
    layer->setLayerAction(kstVectorEditLayer::Fit);
    QVERIFY(layer->clearFit());
    QVERIFY(layer->fitLines().isEmpty());
    QCOMPARE(layer->selectedFitLine(), -1);
    QCOMPARE(changed.count(), 9);
}

void tst_kstVectorEditLayerFit::fitLinesStayOnTheMap()
{
    FitScene scene(10);
    FitLayer* layer = scene.fitLayer();
    layer->drawLine(layer->pix(scene.pcp(116.3, 39.95)), layer->pix(scene.pcp(116.5, 39.85)));
    layer->drawLine(layer->pix(scene.pcp(116.45, 39.8)), layer->pix(scene.pcp(116.35, 39.99)));
    layer->drawLine(QPointF(0, 0), QPointF(0, 0));
    layer->setFiltLine(2, scene.pcp(116.2, 39.7), scene.pcp(116.25, 39.75));
    QList<PCP> src0, dst0;
    layer->getFitValues(src0, dst0);
    QVERIFY(std::abs(src0.at(2).x() - scene.pcp(116.2, 39.7).x()) < 1e-6);

    // Pans move the item only; zooms rescale the lines' pixels.
    scene.view().panBy(QPointF(123, -45));
    scene.view().zoomIn(QPointF(200, 300));
    scene.view().zoomIn(QPointF(600, 100));
    scene.view().panAndZoom(GCP(116.0, 40.2), 5);
    scene.view().zoomOut(QPointF(10, 10));
    scene.view().panAndZoom(GCP(116.4, 39.9), 17);
    QList<PCP> src, dst;
    layer->getFitValues(src, dst);
    QCOMPARE(src.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QVERIFY2(std::hypot(src.at(i).x() - src0.at(i).x(), src.at(i).y() - src0.at(i).y()) < 1e-6,
                 qPrintable(QString::number(i)));
        QVERIFY(std::hypot(dst.at(i).x() - dst0.at(i).x(), dst.at(i).y() - dst0.at(i).y()) < 1e-6);
    }
}

void tst_kstVectorEditLayerFit::knownSimilarityIsRecoveredAndApplied()
{
    FitScene scene(9);
    FitLayer* layer = scene.fitLayer();
    FourParamter__ truth(120.0, -45.0);
    truth.scale = 1.0002;
    truth.rotation = 0.3 * M_PI / 180.0;
    const kstFourParamter model(truth);

    // Features of a layer digitised off a shifted image, and fit lines from
    // five of their vertices to where the transformation puts them.
    const QVector<QPointF> corners{{116.2, 40.0}, {116.6, 40.0}, {116.6, 39.7}, {116.2, 39.7}};
    const QVector<QPointF> road{{116.3, 39.75}, {116.45, 39.9}, {116.55, 39.95}};
    kstVectorLayer* digitised = kstVectorLayer::newLayer();
    addCollect(digitised, {new VectorPolygon(Polygon__{QPolygonF(corners), {}}, nullptr)});
    addCollect(digitised, {new VectorLine(road, nullptr)});
    layer->insertLayer(digitised, 0);
    QList<PCP> controls;
    for (const QPointF& p : corners.mid(0, 3) + road.mid(0, 2))
        controls << scene.pcp(p.x(), p.y());
    for (const PCP& from : controls)
        layer->drawLine(layer->pix(from), layer->pix(PCP(model.transform(from.toPointF()))));

    QList<PCP> src, dst;
    layer->getFitValues(src, dst);
    kstFourParamter fit;
    fit.backCalc(plain(src), plain(dst));
    const FourParamter__ p = fit.fourParamter();
    for (const auto& [got, want] : {std::make_pair(p.scale, truth.scale), std::make_pair(p.rotation, truth.rotation),
                                    std::make_pair(p.dx, truth.dx), std::make_pair(p.dy, truth.dy)})
        QVERIFY(std::abs(got / want - 1.0) < 1e-6);

    // Applying it puts every vertex where the transformation sends it.
    layer->fitLayers(p, {digitised});
    auto* polygon = static_cast<VectorPolygon*>(digitised->m_collects.first()->m_shapes.first());
    auto* line = static_cast<VectorLine*>(digitised->m_collects.last()->m_shapes.first());
    const QVector<QPointF> moved = QVector<QPointF>(polygon->geoData().outer) + line->geoData();
    const QVector<QPointF> original = corners + road;
    double worst = 0;
    for (int i = 0; i < moved.size(); ++i) {
        const PCP expected(model.transform(scene.pcp(original[i].x(), original[i].y()).toPointF()));
        const PCP got = GCP(moved[i]).toPcp(scene.projection());
        worst = qMax(worst, std::hypot(got.x() - expected.x(), got.y() - expected.y()));
    }
    QVERIFY2(worst < 1e-3, qPrintable(QString::number(worst)));
    // The shapes follow their new geometry.
    QCOMPARE(line->ltGcp().lon(), std::min({line->geoData()[0].x(), line->geoData()[1].x(), line->geoData()[2].x()}));

    layer->deleteLayer(digitised);
}

void tst_kstVectorEditLayerFit::arrowsAreDrawnInFitModeOnly()
{
    FitScene scene;
    FitLayer* layer = scene.fitLayer();
    const QPointF at(5000.5, 3000.5);
    layer->drawLine(at, at);
    layer->drawLine(at + QPointF(0, 40), at + QPointF(30, 40));

    // A line of length 0 is a point with its arrow head along +x: the wings
    // reach back to the left of it.
    QImage image = overlayAround(layer, at);
    QVERIFY(paintedPixels(image, QRect(50, 55, 8, 10)) > 0);
    QCOMPARE(paintedPixels(image, QRect(64, 55, 8, 10)), 0);
    // The other line runs to the right, its head at its end.
    QVERIFY(paintedPixels(image, QRect(60, 98, 32, 5)) > 0);

    layer->setLayerAction(kstVectorEditLayer::SelectEdit);
    image = overlayAround(layer, at);
    QCOMPARE(paintedPixels(image, image.rect()), 0);
}

QTEST_MAIN(tst_kstVectorEditLayerFit)
#include "tst_kstVectorEditLayerFit.moc"
