#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstEditTestFixture.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorStyle.h"

#include <QPainter>
#include <QtTest>

#include <ogr_core.h>

using namespace Kestrum;

namespace {

constexpr double kGeoTolerance = 1e-9;

bool sameGcp(const QPointF& geo, const GCP& expected)
{
    return std::abs(geo.x() - expected.lon()) < kGeoTolerance && std::abs(geo.y() - expected.lat()) < kGeoTolerance;
}

QString describe(const QPointF& geo, const GCP& expected)
{
    return QStringLiteral("got (%1, %2), expected (%3, %4)")
        .arg(geo.x(), 0, 'f', 12).arg(geo.y(), 0, 'f', 12)
        .arg(expected.lon(), 0, 'f', 12).arg(expected.lat(), 0, 'f', 12);
}

#define VERIFY_GCP(geo, expected) QVERIFY2(sameGcp(geo, expected), qPrintable(describe(geo, expected)))
// The first stored points against the geographic points of viewport pixels.
#define VERIFY_GCPS(geo, pixels)                        \
    for (int i_ = 0; i_ < (pixels).size(); ++i_)        \
    VERIFY_GCP((geo).at(i_), f.expectedGcp((pixels).at(i_)))

// The colour of the image around a point that differs most from a background.
bool hasColorNear(const QImage& image, const QPoint& at, int radius, const std::function<bool(QColor)>& wanted)
{
    for (int y = at.y() - radius; y <= at.y() + radius; ++y)
        for (int x = at.x() - radius; x <= at.x() + radius; ++x)
            if (image.rect().contains(x, y) && wanted(image.pixelColor(x, y)))
                return true;
    return false;
}

// Saves a picture for looking at when KST_TEST_SCREENSHOTS names a folder.
void keepScreenshot(const QImage& image, const QString& name)
{
    const QString dir = qEnvironmentVariable("KST_TEST_SCREENSHOTS");
    if (!dir.isEmpty())
        image.save(dir + QLatin1Char('/') + name);
}

} // namespace

class tst_kstVectorEditDrawing : public QObject
{
    Q_OBJECT

private slots:
    void linesAndPolygonsFollowTheirStates();
    void pointsRectanglesAndCircles();
    void drawingNearTheEdgeOfTheWorld();
    void rubberBandAndRadiusArePainted();
    void drawnPointsFollowZoom();
    void fitModeEventsReachTheFitLines();
};

void tst_kstVectorEditDrawing::linesAndPolygonsFollowTheirStates()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    layer.setLayerAction(kstVectorEditLayer::NewLine);
    QCOMPARE(layer.newingState(), 1);

    // Hovering before the first point changes nothing; a press and release
    // at different places is no click.
    f.hover(QPoint(100, 100));
    f.press(QPoint(100, 100));
    f.release(QPoint(110, 100));
    QVERIFY(layer.newingState() == 1 && layer.newingPoints().isEmpty());

    const QPoint p0(200, 200), p1(300, 220), p2(320, 330);
    f.clickEach({p0});
    QCOMPARE(layer.newingState(), 2);
    // The release hovers too: the rubber band starts under the pointer.
    QCOMPARE(layer.newingPoints(), (QList<QPointF>{f.itemPos(p0), f.itemPos(p0)}));
    f.hover(p1);
    QCOMPARE(layer.newingPoints(), (QList<QPointF>{f.itemPos(p0), f.itemPos(p1)}));
    f.click(p1); // the rubber band is fixed and a new one starts
    QCOMPARE(layer.newingPoints().size(), 3);
    f.hover(QPoint(500, 500));
    f.rightClick(QPoint(500, 500)); // takes back the last placed vertex
    QCOMPARE(layer.newingPoints(), (QList<QPointF>{f.itemPos(p0), f.itemPos(QPoint(500, 500))}));
    QCOMPARE(layer.newingState(), 2);
    f.clickEach({p1});
    f.hover(p2);
    f.doubleClick(p2);
    QCOMPARE(f.created().size(), 1);
    // The release that ends the double click makes the mode ready again.
    QVERIFY(layer.newingState() == 1 && layer.newingPoints().isEmpty());

    kstVectorCollect* collect = f.created().at(0);
    QVERIFY(collect->m_geometryType == wkbLineString && collect->m_layer == f.data() && collect->m_shapes.size() == 1);
    auto* line = dynamic_cast<VectorLine*>(collect->m_shapes.first());
    QVERIFY(line && line->shapeCollect() == collect);
    QCOMPARE(line->geoData().size(), 3);
    VERIFY_GCPS(line->geoData(), (QList<QPoint>{p0, p1, p2}));
    // Inserted into the view: drawn where it was clicked.
    QVERIFY(QLineF(line->mapToScene(line->pixData().at(1)), f.view().mapToScene(p1)).length() < 1e-6);

    // A double click with one placed vertex creates nothing; drawing goes on.
    f.clickEach({p0});
    f.doubleClick(p0);
    QCOMPARE(f.created().size(), 1);
    QCOMPARE(layer.newingState(), 2);
    QCOMPARE(layer.newingPoints().size(), 4); // four clicks on one place
    for (int i = 0; i < 3; ++i)
        f.rightClick(p0);
    QVERIFY(layer.newingState() == 1 && layer.newingPoints().isEmpty());

    // A polygon needs three vertices; the state after the double click itself
    // is finished, and the first click after it only resets.
    layer.setLayerAction(kstVectorEditLayer::NewPolygon);
    const QPoint q0(400, 100), q1(500, 100), q2(450, 200);
    f.clickEach({q0, q1, q2});
    QTest::mouseDClick(f.view().viewport(), Qt::LeftButton, Qt::NoModifier, q2);
    QCOMPARE(f.created().size(), 2);
    QCOMPARE(layer.newingState(), 3);
    f.release(q2);
    QCOMPARE(layer.newingState(), 1);
    auto* polygon = dynamic_cast<VectorPolygon*>(f.created().at(1)->m_shapes.first());
    QVERIFY(polygon && f.created().at(1)->m_geometryType == wkbPolygon);
    const Polygon__ ring = polygon->geoData();
    QVERIFY(ring.inner.isEmpty() && ring.outer.size() >= 3);
    VERIFY_GCPS(ring.outer, (QList<QPoint>{q0, q1, q2}));

    // Two placed vertices are too few for a polygon.
    f.clickEach({q0, q1});
    f.doubleClick(q1);
    QCOMPARE(f.created().size(), 2);
    QCOMPARE(layer.newingState(), 2);
}

void tst_kstVectorEditDrawing::pointsRectanglesAndCircles()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();

    // A point: drawing clears the selection, and the state stays ready.
    auto* other = static_cast<VectorPoint*>(f.add(new VectorPoint(QPointF(116.41, 39.91), nullptr)));
    layer.selectShape(other);
    layer.setLayerAction(kstVectorEditLayer::NewPoint);
    QVERIFY(layer.selectedShapes().isEmpty());
    layer.selectShape(other);
    f.click(QPoint(123, 456));
    QCOMPARE(f.created().size(), 1);
    QVERIFY(layer.selectedShapes().isEmpty());
    auto* point = dynamic_cast<VectorPoint*>(f.created().at(0)->m_shapes.first());
    QVERIFY(point && f.created().at(0)->m_geometryType == wkbPoint);
    for (const QPointF& at : {point->geoData(), point->ltGcp().toPointF(), point->rbGcp().toPointF()})
        VERIFY_GCP(at, f.expectedGcp(QPoint(123, 456)));

    // A rectangle: a second click before the pointer moved builds nothing.
    layer.setLayerAction(kstVectorEditLayer::NewRect);
    const QPoint a(300, 300), b(200, 380);
    // Corners in the order anchor, (pointer x, anchor y), pointer, (anchor x, pointer y).
    const QList<QPoint> corners{a, QPoint(b.x(), a.y()), b, QPoint(a.x(), b.y())};
    f.clickEach({a});
    f.click(a);
    QCOMPARE(f.created().size(), 1);
    QCOMPARE(layer.newingState(), 2);
    f.hover(b);
    QCOMPARE(layer.newingPoints(), (QList<QPointF>{f.itemPos(a), f.itemPos(corners[1]), f.itemPos(b), f.itemPos(corners[3])}));
    f.rightClick(b);
    QVERIFY(layer.newingState() == 1 && layer.newingPoints().isEmpty());
    f.clickEach({a, b});
    QCOMPARE(f.created().size(), 2);
    QCOMPARE(layer.newingState(), 1);
    auto* rect = dynamic_cast<VectorRect*>(f.created().at(1)->m_shapes.first());
    QVERIFY(rect && f.created().at(1)->m_geometryType == wkbPolygon);
    VERIFY_GCPS(rect->geoData(), corners);

    // A circle of 120 ring points every 3 degrees from the positive x axis.
    layer.setLayerAction(kstVectorEditLayer::NewCircle);
    const QPoint c(400, 300);
    f.clickEach({c});
    f.click(c); // only the centre: ignored
    QCOMPARE(f.created().size(), 2);
    f.hover(QPoint(460, 300));
    const QPointF ci = f.itemPos(c);
    QCOMPARE(layer.newingPoints(), (QList<QPointF>{ci, ci + QPointF(60, 0), ci + QPointF(0, 60), ci - QPointF(60, 0),
                                                   ci - QPointF(0, 60)}));
    f.click(QPoint(460, 300));
    QCOMPARE(f.created().size(), 3);
    QCOMPARE(layer.newingState(), 1);
    auto* circle = dynamic_cast<VectorCircle*>(f.created().at(2)->m_shapes.first());
    QVERIFY(circle && circle->geoData().ring.size() == 120);
    const Circle__ geo = circle->geoData();
    VERIFY_GCP(geo.center, f.expectedGcp(c));
    VERIFY_GCP(geo.ring.at(0), f.expectedGcp(QPointF(c) + QPointF(60, 0)));
    VERIFY_GCP(geo.ring.at(30), f.expectedGcp(QPointF(c) + QPointF(0, 60)));
    const double a45 = 45 * 3.141592653589 / 180.0;
    VERIFY_GCP(geo.ring.at(15), f.expectedGcp(QPointF(c) + QPointF(60 * std::cos(a45), 60 * std::sin(a45))));

    // Without a receiver the collect is not handed out (and not leaked).
    QObject::disconnect(&layer, &kstVectorEditLayer::collectCreate, nullptr, nullptr);
    layer.setLayerAction(kstVectorEditLayer::NewPoint);
    f.click(QPoint(50, 50));
    QCOMPARE(f.data()->m_collects.size(), 4);
}

void tst_kstVectorEditDrawing::drawingNearTheEdgeOfTheWorld()
{
    // At level 1 the world is 512 pixels high: the view shows space above it.
    EditFixture f(GCP(0, 0), 1);
    kstVectorEditLayer& layer = f.layer();
    const double top = f.pixOf(GCP(0, 85.05112877980659)).y();
    QVERIFY(top > 20);

    layer.setLayerAction(kstVectorEditLayer::NewPoint);
    f.click(QPoint(400, int(top) - 10));
    QCOMPARE(f.created().size(), 0);
    f.click(QPoint(400, int(top) + 10));
    QCOMPARE(f.created().size(), 1);

    // A circle that would leave the extent keeps its last radius.
    layer.setLayerAction(kstVectorEditLayer::NewCircle);
    const QPoint c(400, int(top) + 40);
    f.clickEach({c});
    f.hover(c + QPoint(30, 0));
    const QList<QPointF> inside = layer.newingPoints();
    QCOMPARE(inside.size(), 5);
    f.hover(c + QPoint(60, 0));
    QCOMPARE(layer.newingPoints(), inside);
    f.click(c + QPoint(60, 0));
    auto* circle = dynamic_cast<VectorCircle*>(f.created().last()->m_shapes.first());
    QVERIFY(circle);
    VERIFY_GCP(circle->geoData().ring.at(0), f.expectedGcp(QPointF(c) + QPointF(30, 0)));
}

void tst_kstVectorEditDrawing::rubberBandAndRadiusArePainted()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    layer.setLayerAction(kstVectorEditLayer::NewPolygon);
    const QPoint q0(100, 100), q1(300, 120), q2(250, 300);
    f.clickEach({q0, q1});
    f.hover(q2);
    QImage image = f.view().viewport()->grab().toImage();
    keepScreenshot(image, QStringLiteral("drawing_polygon.png"));
    const QColor border = kstVectorStyle::polygonBorderPen_New.color();
    auto isBorder = [&](QColor c) {
        return std::abs(c.red() - border.red()) < 40 && std::abs(c.green() - border.green()) < 40 &&
               std::abs(c.blue() - border.blue()) < 40;
    };
    // The rubber band from the last vertex to the pointer, and the closing edge.
    QVERIFY(hasColorNear(image, (q1 + q2) / 2, 2, isBorder));
    QVERIFY(hasColorNear(image, (q2 + q0) / 2, 2, isBorder));
    // Handles: the first vertex red, the second green.
    auto isRed = [](QColor c) { return c.red() > 200 && c.green() < 60 && c.blue() < 60; };
    auto isGreen = [](QColor c) { return c.green() > 200 && c.red() < 60 && c.blue() < 60; };
    QVERIFY(hasColorNear(image, q0, 1, isRed));
    QVERIFY(hasColorNear(image, q1, 1, isGreen));
    // A point far from the polygon is untouched background.
    QVERIFY(!hasColorNear(image, QPoint(600, 500), 3, isBorder));

    layer.setLayerAction(kstVectorEditLayer::NewCircle);
    QVERIFY(layer.newingPoints().isEmpty());
    const QPoint c(400, 300);
    f.clickEach({c});
    f.hover(c + QPoint(200, 0));
    image = f.view().viewport()->grab().toImage();
    keepScreenshot(image, QStringLiteral("drawing_circle.png"));
    // The radius is a green line with its length written in the middle.
    auto isPureGreen = [](QColor c) { return c.green() - qMax(c.red(), c.blue()) > 60; };
    QVERIFY(hasColorNear(image, c + QPoint(10, 0), 1, isPureGreen));
    QVERIFY(hasColorNear(image, c + QPoint(190, 0), 1, isPureGreen));
    auto isText = [](QColor c) { return std::abs(c.red() - 68) < 30 && std::abs(c.green() - 68) < 30 && c.blue() < 100; };
    QVERIFY(hasColorNear(image, c + QPoint(100, 0), 6, isText));

    // A short radius leaves out line and text.
    f.rightClick(c);
    f.clickEach({c});
    f.hover(c + QPoint(8, 0));
    image = f.view().viewport()->grab().toImage();
    QVERIFY(!hasColorNear(image, c + QPoint(4, 0), 0, isText));
}

void tst_kstVectorEditDrawing::drawnPointsFollowZoom()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    layer.setLayerAction(kstVectorEditLayer::NewLine);
    const QPoint p0(300, 250), p1(420, 330);
    f.clickEach({p0});
    f.hover(p1);
    const GCP g0 = f.expectedGcp(p0);
    const GCP g1 = f.expectedGcp(p1);
    f.view().panAndZoom(f.view().currentCenterGcp(), 13);
    const QList<QPointF> points = layer.newingPoints();
    QCOMPARE(points.size(), 2);
    // The stored points still mean the same places on the map (scene units are viewport pixels).
    for (int i = 0; i < 2; ++i)
        QVERIFY(QLineF(layer.mapToScene(points.at(i)), f.pixOf(i == 0 ? g0 : g1)).length() < 1e-6);
}

void tst_kstVectorEditDrawing::fitModeEventsReachTheFitLines()
{
    EditFixture f(GCP(116.4, 39.9), 12);
    kstVectorEditLayer& layer = f.layer();
    int changes = 0;
    connect(&layer, &kstVectorEditLayer::fitValuesChanged, this, [&] { ++changes; });
    layer.setLayerAction(kstVectorEditLayer::Fit);
    f.clickEach({QPoint(100, 100), QPoint(180, 140)});
    QCOMPARE(layer.fitLines(), QList<QLineF>{QLineF(f.itemPos(QPoint(100, 100)), f.itemPos(QPoint(180, 140)))});
    QCOMPARE(changes, 1);
    // A right click drops a line being drawn; drawing modes' lists stay empty.
    f.clickEach({QPoint(300, 300)});
    f.hover(QPoint(320, 330));
    QCOMPARE(layer.fitLines().size(), 2);
    f.rightClick(QPoint(320, 330));
    QCOMPARE(layer.fitLines().size(), 1);
    QVERIFY(layer.newingPoints().isEmpty());
}

QTEST_MAIN(tst_kstVectorEditDrawing)
#include "tst_kstVectorEditDrawing.moc"
