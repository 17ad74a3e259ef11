#include "kstGdalTestSupport.h"
#include "kstShapeTestSupport.h"

#include "VectorCircle.h"
#include "VectorRect.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QtTest>

#include <cpl_error.h>
#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <cmath>
#include <memory>

using namespace Kestrum;

namespace {

using GeometryPtr = std::unique_ptr<OGRGeometry>;

// Shapes are drawn on view pixels from here on, as the drawing tools convert clicks.
const QPointF kOrigin(300, 200);

QPointF geoAt(ShapeTestScene& scene, const QPointF& pix)
{
    return kstVectorShape::gcp2pt(scene.view().pixToGcp(pix));
}

VectorRect* addRect(ShapeTestScene& scene, const QRectF& r)
{
    const QPolygonF corners(QVector<QPointF>{geoAt(scene, r.topLeft()), geoAt(scene, r.topRight()),
                                             geoAt(scene, r.bottomRight()), geoAt(scene, r.bottomLeft())});
    return scene.add(new VectorRect(corners, &scene.layer()));
}

// A circle as the drawing tool builds it: 120 ring points from angle 0 on.
VectorCircle* addCircle(ShapeTestScene& scene, const QPointF& centre, double radius)
{
    Circle__ circle;
    circle.center = geoAt(scene, centre);
    for (int k = 0; k < 120; ++k) {
        const double a = 2.0 * k * 3.141592653589 / 120;
        circle.ring << geoAt(scene, centre + QPointF(radius * std::cos(a), radius * std::sin(a)));
    }
    return scene.add(new VectorCircle(circle, &scene.layer()));
}

// A handle pixel: its colour dominates whatever lies below (alpha 204 without focus).
bool looksLike(const QColor& pixel, const QColor& handle)
{
    return pixel.alpha() > 150 && std::abs(pixel.red() - handle.red()) < 60
        && std::abs(pixel.green() - handle.green()) < 60 && std::abs(pixel.blue() - handle.blue()) < 60;
}

// Checks a shape's one-ring polygon export: the expected exchange-frame
// points, closed, in WGS84 whether asked for or not; in Web Mercator they are
// GDAL's own transformation of that export.
void checkRingExport(kstVectorShape* shape, const QVector<QPointF>& exchange)
{
    OGRSpatialReference same = srsOf("WGS84"), mercator = srsOf("EPSG:3857");
    GeometryPtr wgs(shape->toOGRGeometry()), asked(shape->toOGRGeometry(&same)), projected(shape->toOGRGeometry(&mercator));
    QVERIFY(wgs && asked && projected && wgs->Equals(asked.get()) && wkbFlatten(wgs->getGeometryType()) == wkbPolygon);
    QVERIFY(wgs->getSpatialReference()->IsSame(&kstVectorShape::m_wgs84Srs)
            && projected->getSpatialReference()->IsSame(&mercator));
    const OGRLinearRing* ring = wgs->toPolygon()->getExteriorRing();
    QVERIFY(wgs->toPolygon()->getNumInteriorRings() == 0 && ring->get_IsClosed());
    QCOMPARE(ring->getNumPoints(), exchange.size() + 1);
    for (int i = 0; i < exchange.size(); ++i)
        QVERIFY(near(QPointF(ring->getX(i), ring->getY(i)), exchange.at(i), 1e-12));
    QVERIFY(wgs->transformTo(&mercator) == OGRERR_NONE);
    const OGRLinearRing *expected = wgs->toPolygon()->getExteriorRing(), *got = projected->toPolygon()->getExteriorRing();
    QCOMPARE(got->getNumPoints(), expected->getNumPoints());
    for (int i = 0; i < got->getNumPoints(); ++i)
        QVERIFY(near(QPointF(got->getX(i), got->getY(i)), QPointF(expected->getX(i), expected->getY(i))));
}

// GDAL messages raised while an object lives, collected instead of printed.
class CplMessages
{
public:
    CplMessages() { CPLPushErrorHandlerEx(collect, &m_messages); }
    ~CplMessages() { CPLPopErrorHandler(); }
    const QStringList& messages() const { return m_messages; }

private:
    static void CPL_STDCALL collect(CPLErr, CPLErrorNum, const char* message)
    {
        static_cast<QStringList*>(CPLGetErrorHandlerUserData())->append(QString::fromUtf8(message));
    }
    QStringList m_messages;
};

} // namespace

class tst_VectorRectCircle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    void cleanupTestCase() { CPLPopErrorHandler(); }

    // A host that refuses unclosed rings still gets whole polygons, and no
    // export complains about an open ring.
    void strictRingsExportClosedPolygons()
    {
        ShapeTestScene scene(GCP(116.4, 39.9), 12);
        const QList<kstVectorShape*> shapes{addRect(scene, QRectF(kOrigin, QSizeF(120, 80))),
                                            addCircle(scene, kOrigin + QPointF(50, 50), 40)};
        OGRSpatialReference mercator = srsOf("EPSG:3857");
        CPLSetConfigOption("OGR_GEOMETRY_ACCEPT_UNCLOSED_RING", "NO");
        CplMessages gdal;
        for (kstVectorShape* shape : shapes) {
            const GeometryPtr exports[] = {GeometryPtr(shape->toOGRGeometry()), GeometryPtr(shape->toOGRGeometry(&mercator))};
            for (const GeometryPtr& geometry : exports) {
                QVERIFY(geometry && !geometry->IsEmpty());
                const OGRLinearRing* ring = geometry->toPolygon()->getExteriorRing();
                QVERIFY(ring && ring->get_IsClosed());
                QCOMPARE(ring->getNumPoints(), shape->vertexCount() + 1);
            }
        }
        CPLSetConfigOption("OGR_GEOMETRY_ACCEPT_UNCLOSED_RING", nullptr);
        QVERIFY2(gdal.messages().isEmpty(), qPrintable(gdal.messages().join(QLatin1Char('\n'))));
    }

    void rectangle()
    {
        for (int level : {8, 17}) {
            ShapeTestScene scene(GCP(116.4, 39.9), level);
            VectorRect* rect = addRect(scene, QRectF(kOrigin, QSizeF(120, 80)));

            // Corners, then the middles of the top, right, bottom and left edges.
            const QVector<QPointF> expected{{0, 0}, {120, 0}, {120, 80}, {0, 80}, {60, 0}, {120, 40}, {60, 80}, {0, 40}};
            QCOMPARE(rect->pixData().size(), 8);
            for (int i = 0; i < 8; ++i) {
                QVERIFY(near(rect->pixData().at(i), expected.at(i)));
                QCOMPARE(rect->vertexHoverIndex(expected.at(i) + QPointF(3, -3)), i);
            }
            QVERIFY(near(rect->scenePos(), kOrigin) && rect->vertexHoverIndex(QPointF(60, 40)) == -1);
            QVERIFY(rect->shape().contains(QPointF(60, 40)) && !rect->shape().contains(QPointF(125, 40)));

            // The right-edge handle moves the right side only (corners land on whole
            // pixels, hence the one-pixel tolerance); corners stay axis-aligned.
            rect->moveVertexBy(5, 30, 17);
            const QRectF r = rect->pixRect().translated(rect->scenePos() - kOrigin);
            QVERIFY(near(r.topLeft(), QPointF(0, 0), 1.001) && near(r.bottomRight(), QPointF(150, 80), 1.001));
            QVERIFY(rect->vertex(0).lat() == rect->vertex(1).lat() && rect->vertex(1).lon() == rect->vertex(2).lon());
            QVERIFY(rect->vertex(2).lat() == rect->vertex(3).lat() && rect->vertex(3).lon() == rect->vertex(0).lon());

            // Corner 0 dragged past the right edge: negative width, indices kept.
            rect->moveVertexTo(0, scene.view().pixToGcp(kOrigin + QPointF(200, 10)));
            QVERIFY(rect->pixRect().width() < -40 && rect->vertex(0).lon() > rect->vertex(1).lon());
            QCOMPARE(rect->ltGcp().lon(), rect->vertex(1).lon());
            QVERIFY(std::abs(rect->pixData().at(4).x() - rect->pixRect().center().x()) < 1e-6);

            // Indices that name no handle change nothing (not even a snap to whole
            // pixels); vertices never come or go, and the list closes the ring.
            const QPolygonF before = rect->geoData();
            rect->moveVertexTo(8, scene.view().pixToGcp(kOrigin));
            rect->moveVertexBy(-1, 5, 5);
            rect->insertVertex(1, scene.view().pixToGcp(kOrigin));
            QVERIFY(!rect->removeVertex(0) && !rect->removeVertex(7));
            QCOMPARE(rect->geoData(), before);
            QVERIFY(rect->vertexInsertIndex(rect->pixData().at(5)) == -1 && rect->vertexCount() == 4);
            QVERIFY(rect->vertex(4) == GCP() && rect->vertexs().size() == 5 && rect->vertexs().last() == rect->vertex(0));
        }

        // Handle colours as painted: none unselected; red first corner, green second, yellow others.
        ShiftCorrection corr(0.01, -0.02); // outlives the view that uses it
        ShapeTestScene scene;
        VectorRect* rect = addRect(scene, QRectF(kOrigin, QSizeF(120, 80)));
        QCOMPARE(ShapeTestScene::render(rect, QSize(160, 120), QPointF(20, 20)).pixelColor(17, 17).alpha(), 0);
        ShapeTestScene::select(rect, true);
        const QImage image = ShapeTestScene::render(rect, QSize(160, 120), QPointF(20, 20));
        QVERIFY(looksLike(image.pixelColor(17, 17), Qt::red) && looksLike(image.pixelColor(143, 17), Qt::green));
        for (const QPoint& yellow : {QPoint(143, 103), QPoint(80, 17), QPoint(17, 60)})
            QVERIFY(looksLike(image.pixelColor(yellow), Qt::yellow));

        // A rectangle without corners paints, edits, hit-tests and exports without harm.
        VectorRect* empty = scene.add(new VectorRect(QPolygonF(), &scene.layer()));
        ShapeTestScene::select(empty, true);
        ShapeTestScene::render(empty, QSize(20, 20), QPointF(10, 10));
        empty->moveVertexBy(0, 3, 3);
        empty->moveShapeTo(GCP(116, 40));
        QVERIFY(empty->vertexHoverIndex(QPointF()) == -1 && empty->area() == 0.0
                && GeometryPtr(empty->toOGRGeometry())->IsEmpty());

        // Moves keep the pixel form; a move onto its own corner changes nothing.
        rect->moveShapeBy(15.5, -7.25);
        QVERIFY(near(rect->scenePos(), kOrigin + QPointF(15.5, -7.25))
                && near(rect->pixRect().bottomRight(), QPointF(120, 80)));
        rect->moveShapeTo(scene.view().pixToGcp(kOrigin + QPointF(-40, 30)));
        QVERIFY(near(rect->scenePos(), kOrigin + QPointF(-40, 30)) && near(rect->pixRect().bottomRight(), QPointF(120, 80)));
        const QPolygonF placed = rect->geoData();
        rect->moveShapeTo(rect->ltGcp());
        QCOMPARE(rect->geoData(), placed);

        // Measured on the ellipsoid as the closed corner ring: 120 x 80 pixels of ground.
        const double ground = scene.mpp().x * std::cos(39.9 * M_PI / 180.0);
        QVERIFY(std::abs(rect->perimeter() / (400 * ground) - 1) < 0.01
                && std::abs(rect->area() / (9600 * ground * ground) - 1) < 0.01);

        // Export: closed ring of corrected corners; a system GDAL cannot reach
        // gives nothing but GDAL's message.
        scene.view().setConfig(nullptr, nullptr, &corr);
        checkRingExport(rect, rect->geoData().translated(-0.01, 0.02));
        OGRSpatialReference wgs84 = srsOf("WGS84"), local = srsOf("LOCAL_CS[\"site grid\",LOCAL_DATUM[\"site\",0],"
                                                               "UNIT[\"metre\",1],AXIS[\"X\",EAST],AXIS[\"Y\",NORTH]]");
        QVERIFY(!OGRCreateCoordinateTransformation(&wgs84, &local));
        QTest::ignoreMessage(QtDebugMsg, CPLGetLastErrorMsg());
        QVERIFY(!GeometryPtr(rect->toOGRGeometry(&local)));

        // Corrections in and out are inverse.
        const QPolygonF stored = rect->geoData();
        rect->correctInShape(&corr);
        QVERIFY(near(rect->geoData().at(2), stored.at(2) + QPointF(0.01, -0.02), 1e-12));
        rect->correctOutShape(&corr);
        QVERIFY(near(rect->geoData().at(0), stored.at(0), 1e-12));
    }

    void circle()
    {
        for (int level : {10, 18}) {
            ShapeTestScene scene(GCP(116.4, 39.9), level);
            const QPointF c = kOrigin + QPointF(100, 100);
            VectorCircle* circle = addCircle(scene, c, 60);
            const Circle__ pix = circle->pixData();
            QVERIFY(pix.ring.size() == 120 && near(pix.center + circle->scenePos(), c));

            // Handles on ring points 0, 30, 60, 90: right, below, left, above.
            for (int h = 1; h <= 4; ++h)
                QCOMPARE(circle->vertexHoverIndex(pix.ring.at(30 * (h - 1)) + QPointF(2, -3)), h);
            QVERIFY(circle->vertexHoverIndex(pix.ring.at(15)) == -1 && circle->vertexHoverIndex(pix.center) == -1);
            QVERIFY(circle->shape().contains(pix.center) && !circle->shape().contains(pix.center + QPointF(44, 44)));

            // Dragging handle 2 sets the radius to its distance below the centre,
            // which stays; handle 4 moved up by 20 pixels widens it by as much.
            const GCP centreBefore = GCP(circle->geoData().center);
            circle->moveVertexTo(2, scene.view().pixToGcp(c + QPointF(0, 50)));
            QVERIFY(circle->geoData().ring.size() == 120 && GCP(circle->geoData().center) == centreBefore);
            for (const QPointF& p : circle->pixData().ring)
                QVERIFY(std::abs(QLineF(circle->pixData().center, p).length() - 50) < 1.5);
            circle->moveVertexBy(4, 0, -20);
            for (const QPointF& p : circle->pixData().ring)
                QVERIFY(std::abs(QLineF(circle->pixData().center, p).length() - 70) < 3);

            // Across the centre the ring mirrors: ring point 0 now lies left of it.
            circle->moveVertexTo(3, scene.view().pixToGcp(c + QPointF(40, 0)));
            const Circle__ mirrored = circle->pixData();
            QVERIFY(near(mirrored.ring.at(0), mirrored.center + QPointF(-40, 0), 1.5));

            // Anything but the four handles leaves the circle alone; its vertices
            // are the ring's, and the list closes it.
            const Circle__ geo = circle->geoData();
            for (int index : {0, 5})
                circle->moveVertexTo(index, scene.view().pixToGcp(c));
            for (int index : {-1, 120})
                circle->moveVertexBy(index, 10, 10);
            circle->insertVertex(3, scene.view().pixToGcp(c));
            QVERIFY(!circle->removeVertex(3));
            QCOMPARE(circle->geoData(), geo);
            QVERIFY(circle->vertexInsertIndex(mirrored.ring.at(10)) == -1 && circle->vertexCount() == 120);
            QVERIFY(circle->vertex(119) == GCP(geo.ring.at(119)) && circle->vertex(120) == GCP());
            QVERIFY(circle->vertexs().size() == 121 && circle->vertexs().last() == circle->vertex(0));
        }

        // Painted handle colours: 1 red (right), 2 green (below), 3 and 4 yellow.
        ShiftCorrection corr(-0.005, 0.003); // outlives the view that uses it
        ShapeTestScene scene;
        const QPointF c = kOrigin + QPointF(100, 100);
        VectorCircle* circle = addCircle(scene, c, 60);
        ShapeTestScene::select(circle, true);
        const QImage image = ShapeTestScene::render(circle, QSize(160, 160), QPointF(80, 80) - circle->pixData().center);
        QVERIFY(looksLike(image.pixelColor(143, 80), Qt::red) && looksLike(image.pixelColor(80, 143), Qt::green));
        QVERIFY(looksLike(image.pixelColor(17, 80), Qt::yellow) && looksLike(image.pixelColor(80, 17), Qt::yellow));

        // A circle loaded empty and filled later takes the size of its new ring.
        VectorCircle* loaded = scene.add(new VectorCircle(Circle__(), &scene.layer()));
        ShapeTestScene::render(loaded, QSize(20, 20), QPointF(10, 10));
        loaded->moveVertexBy(1, 5, 5);
        QCOMPARE(loaded->vertexCount(), 0);
        loaded->setGeoData(circle->geoData());
        scene.attach(loaded);
        QVERIFY(loaded->vertexCount() == 120 && loaded->vertexHoverIndex(loaded->pixData().ring.at(60)) == 3);

        QCOMPARE(VectorCircle::radiusText(1000.0), QStringLiteral("1000.00m"));
        QCOMPARE(VectorCircle::radiusText(1500.0), QStringLiteral("1.500km"));

        kstVectorLayer layer;
        layer.m_labelTextClr = Qt::red;
        layer.m_labelOutlineClr = Qt::white;
        layer.m_showLabels = false; // the radius is written all the same
        kstVectorCollect collect;
        collect.m_layer = &layer;

        // A large circle: radius line in the border colour and red text on it. The
        // centre lies on a pixel centre, so that the one-pixel line fills one row.
        circle = addCircle(scene, c, 120);
        circle->setShapeCollect(&collect, 0);
        circle->setBorderPen(QPen(QColor(0, 128, 0), 1));
        const QImage large =
            ShapeTestScene::render(circle, QSize(280, 280), QPointF(140.5, 140.5) - circle->pixData().center);
        QVERIFY(looksLike(large.pixelColor(140 + 117, 140), QColor(0, 128, 0)));
        int red = 0;
        for (int x = 150; x < 250; ++x)
            for (int y = 125; y < 155; ++y)
                red += looksLike(large.pixelColor(x, y), Qt::red);
        QVERIFY(red > 10);

        // A circle narrower than three times its text shows neither line nor text.
        VectorCircle* small = addCircle(scene, c, 8);
        small->setShapeCollect(&collect, 0);
        const QImage smallImage =
            ShapeTestScene::render(small, QSize(40, 40), QPointF(20.5, 20.5) - small->pixData().center);
        for (int x = 14; x < 26; ++x)
            QVERIFY(smallImage.pixelColor(x, 20).alpha() < 150);

        // Measured as the ring polygon on the ellipsoid.
        const double r = kstVectorShape::m_da.distance(circle->geoData().center, circle->geoData().ring.first());
        QVERIFY(std::abs(circle->area() / (M_PI * r * r) - 1) < 0.01);
        QVERIFY(std::abs(circle->perimeter() / (2 * M_PI * r) - 1) < 0.01);

        // Moves and fits carry the centre along and keep the pixel form.
        const Circle__ before = circle->pixData();
        circle->moveShapeBy(-12.5, 33);
        QVERIFY(near(circle->pixData().center + circle->scenePos(), c + QPointF(-12.5, 33)));
        QVERIFY(near(circle->pixData().ring.at(45) - circle->pixData().center, before.ring.at(45) - before.center));
        const GCP target = scene.view().pixToGcp(c);
        circle->moveShapeTo(target);
        QVERIFY(std::abs(circle->ltGcp().lon() - target.lon()) < 1e-9 && near(circle->pixData().center, before.center));
        const Circle__ placed = circle->geoData();
        circle->fit(FourParamter__(-250, 750));
        const QPointF shift = GCP(circle->geoData().center).toPcp(scene.projection()).toPointF()
                            - GCP(placed.center).toPcp(scene.projection()).toPointF();
        QVERIFY(near(shift, QPointF(-250, 750)));

        // Export: the ring only (no centre), corrected, closed.
        scene.view().setConfig(nullptr, nullptr, &corr);
        checkRingExport(circle, circle->geoData().ring.translated(0.005, -0.003));

        // Corrections move the centre with the ring.
        const Circle__ stored = circle->geoData();
        circle->correctInShape(&corr);
        QVERIFY(near(circle->geoData().center, stored.center + QPointF(-0.005, 0.003), 1e-12));
        QVERIFY(near(circle->geoData().ring.at(7), stored.ring.at(7) + QPointF(-0.005, 0.003), 1e-12));
        circle->correctOutShape(&corr);
        QVERIFY(near(circle->geoData().center, stored.center, 1e-12));
    }

    void stylesLabelsIconsAndClones()
    {
        kstVectorLayer layer;
        kstVectorCollect collect;
        collect.m_layer = &layer;
        collect.m_text = QStringLiteral("Site A");
        ShapeTestScene scene;
        VectorRect* rect = addRect(scene, QRectF(kOrigin, QSizeF(120, 80)));
        VectorCircle* circle = addCircle(scene, kOrigin + QPointF(300, 100), 60);

        rect->setBorderPen(QPen(Qt::black, 2));
        rect->setFillBrush(QColor(255, 0, 0, 128));
        circle->setStyleDirect(QPen(QBrush(Qt::black), 2, Qt::DashDotLine), QBrush(Qt::red, Qt::Dense4Pattern));
        QCOMPARE(circle->styleString(QString(), kstVectorShape::Color_RGB),
                 QStringLiteral("Brush(fc:#ff0000,id:\"ogr-brush-0\");PEN(c:#000000,w:2px,id:\"ogr-pen-6\",cap:p,j:b)"));

        // One label candidate each, centred on the rectangle and on the circle's
        // centre; none once the layer hides its labels.
        for (kstVectorShape* shape : {static_cast<kstVectorShape*>(rect), static_cast<kstVectorShape*>(circle)}) {
            shape->setShapeCollect(&collect, 0);
            scene.attach(shape);
        }
        QVERIFY(rect->labels().size() == 1 && rect->labels().first().text == collect.m_text);
        QVERIFY(near(rect->labels().first().rect.center(), QPointF(60, 40)));
        QVERIFY(circle->labels().size() == 1 && circle->labels().first().angle == 0.0);
        QVERIFY(near(circle->labels().first().rect.center(), circle->pixData().center));
        layer.m_showLabels = false;
        scene.attach(circle);
        QVERIFY(circle->labels().isEmpty());

        // Icons: a filled square inset by a tenth, a circle of radius 0.4 of the size.
        const QImage rectIcon = VectorRect(QPolygonF(), nullptr).icon();
        const QImage circleIcon = VectorCircle(Circle__(), nullptr).icon();
        QVERIFY(rectIcon.size() == QSize(28, 28) && rectIcon.pixelColor(1, 1).alpha() == 0);
        QVERIFY(rectIcon.pixelColor(5, 5).alpha() == 68 && circleIcon.pixelColor(14, 14).alpha() == 68);
        QCOMPARE(circleIcon.pixelColor(5, 5).alpha(), 0);

        // Clones carry geometry and style but no layer, collect or selection.
        ShapeTestScene::select(circle, true);
        std::unique_ptr<kstVectorShape> rectCopy(rect->clone()), circleCopy(circle->clone());
        auto* rc = dynamic_cast<VectorRect*>(rectCopy.get());
        auto* cc = dynamic_cast<VectorCircle*>(circleCopy.get());
        QVERIFY(rc && cc && rc->geoData() == rect->geoData() && cc->geoData() == circle->geoData());
        QVERIFY(rc->borderPen() == rect->borderPen() && rc->fillBrush() == rect->fillBrush());
        QVERIFY(cc->fillBrush() == circle->fillBrush() && cc->vertexCount() == 120);
        QVERIFY(!cc->parentLayer() && !cc->shapeCollect() && !cc->isShapeSelected() && !cc->parentItem());
    }
};

QTEST_MAIN(tst_VectorRectCircle)
#include "tst_VectorRectCircle.moc"
