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

struct GeometryDeleter
{
    void operator()(OGRGeometry* g) const { OGRGeometryFactory::destroyGeometry(g); }
};
using GeometryPtr = std::unique_ptr<OGRGeometry, GeometryDeleter>;

// Pixel of a geographic point in the edit layer (from the projection's corner).
QPointF layerPix(ShapeTestScene& scene, const GCP& gcp)
{
    kstProjection* proj = scene.projection();
    return gcp.toPcp(proj).toPix(scene.mpp(), proj->ltGcp().toPcp(proj));
}

// Geographic point of an edit-layer pixel, as the drawing tools convert clicks.
QPointF geoAt(ShapeTestScene& scene, const QPointF& pix)
{
    return kstVectorShape::gcp2pt(scene.layer().layerGcp(pix));
}

// A whole pixel near the view's centre.
QPointF viewOrigin(ShapeTestScene& scene)
{
    const QPointF p = layerPix(scene, scene.view().currentCenterGcp());
    return QPointF(std::floor(p.x()) - 100, std::floor(p.y()) - 100);
}

VectorRect* addRect(ShapeTestScene& scene, const QRectF& r)
{
    const QPolygonF corners(QVector<QPointF>{geoAt(scene, r.topLeft()), geoAt(scene, r.topRight()),
                                             geoAt(scene, r.bottomRight()), geoAt(scene, r.bottomLeft())});
    return scene.add(new VectorRect(corners, &scene.layer()));
}

// A circle as the drawing tool builds it: 120 ring points from angle 0 on.
VectorCircle* addCircle(ShapeTestScene& scene, const QPointF& centre, double radius, int count = 120)
{
    Circle__ circle;
    circle.center = geoAt(scene, centre);
    for (int k = 0; k < count; ++k) {
        const double a = 2.0 * k * 3.141592653589 / count;
        circle.ring << geoAt(scene, centre + QPointF(radius * std::cos(a), radius * std::sin(a)));
    }
    return scene.add(new VectorCircle(circle, &scene.layer()));
}

bool near(const QPointF& a, const QPointF& b, double tolerance = 1e-6)
{
    return std::abs(a.x() - b.x()) <= tolerance && std::abs(a.y() - b.y()) <= tolerance;
}

// A handle pixel: its colour dominates whatever lies below (alpha 204 without focus).
bool looksLike(const QColor& pixel, const QColor& handle)
{
    return pixel.alpha() > 150 && std::abs(pixel.red() - handle.red()) < 60
        && std::abs(pixel.green() - handle.green()) < 60 && std::abs(pixel.blue() - handle.blue()) < 60;
}

OGRSpatialReference wgs84()
{
    OGRSpatialReference srs;
    srs.SetWellKnownGeogCS("WGS84");
    srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return srs;
}

// Checks a one-ring polygon export against the expected exchange-frame points,
// transformed by GDAL itself when a target system is given.
void checkRingExport(OGRGeometry* geometry, QVector<QPointF> expected, OGRSpatialReference* target)
{
    QVERIFY(geometry);
    QCOMPARE(wkbFlatten(geometry->getGeometryType()), wkbPolygon);
    if (target) {
        OGRSpatialReference source = wgs84();
        std::unique_ptr<OGRCoordinateTransformation, void (*)(OGRCoordinateTransformation*)> ct(
            OGRCreateCoordinateTransformation(&source, target), OGRCoordinateTransformation::DestroyCT);
        QVERIFY(ct);
        for (QPointF& p : expected) {
            double x = p.x(), y = p.y();
            QVERIFY(ct->Transform(1, &x, &y));
            p = QPointF(x, y);
        }
    }
    QVERIFY(geometry->getSpatialReference()->IsSame(target ? target : &kstVectorShape::m_wgs84Srs));
    const OGRLinearRing* ring = geometry->toPolygon()->getExteriorRing();
    QCOMPARE(geometry->toPolygon()->getNumInteriorRings(), 0);
    QCOMPARE(ring->getNumPoints(), expected.size() + 1);
    QVERIFY(ring->get_IsClosed());
    const double tolerance = target ? 1e-6 : 1e-12;
    for (int i = 0; i < expected.size(); ++i)
        QVERIFY2(near(QPointF(ring->getX(i), ring->getY(i)), expected.at(i), tolerance), qPrintable(QString::number(i)));
}

// The message GDAL gives when it cannot reach a system from WGS84.
QString unreachableMessage(OGRSpatialReference* target)
{
    OGRSpatialReference source = wgs84();
    CPLErrorReset();
    OGRCoordinateTransformation* ct = OGRCreateCoordinateTransformation(&source, target);
    OGRCoordinateTransformation::DestroyCT(ct);
    return ct ? QString() : QString::fromUtf8(CPLGetLastErrorMsg());
}

QVector<QPointF> shifted(const QVector<QPointF>& points, const ShiftCorrection& corr)
{
    QVector<QPointF> out;
    for (const QPointF& p : points)
        out << kstVectorShape::gcp2pt(corr.correctOut(kstVectorShape::pt2gcp(p)));
    return out;
}

} // namespace

class tst_VectorRectCircle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    void cleanupTestCase() { CPLPopErrorHandler(); }

    void rectangleHandlesEditOneSide();
    void rectangleMovesMeasuresAndExport();
    void circleHandlesChangeTheRadius();
    void circleRadiusTextMovesAndExport();
    void stylesLabelsIconsAndClones();
};

void tst_VectorRectCircle::rectangleHandlesEditOneSide()
{
    for (int level : {8, 12, 17}) {
        ShapeTestScene scene(GCP(116.4, 39.9), level);
        const QPointF o = viewOrigin(scene);
        VectorRect* rect = addRect(scene, QRectF(o, QSizeF(120, 80)));

        // Corners, then the middles of the top, right, bottom and left edges.
        const QVector<QPointF> expected{{0, 0}, {120, 0}, {120, 80}, {0, 80}, {60, 0}, {120, 40}, {60, 80}, {0, 40}};
        QCOMPARE(rect->pixData().size(), 8);
        for (int i = 0; i < 8; ++i) {
            QVERIFY(near(rect->pixData().at(i), expected.at(i)));
            QCOMPARE(rect->vertexHoverIndex(expected.at(i) + QPointF(3, -3)), i);
        }
        QVERIFY(near(rect->pos(), o));
        QVERIFY(near(rect->boundingRect().topLeft(), QPointF(-8, -8)));
        QVERIFY(near(rect->boundingRect().bottomRight(), QPointF(128, 88)));
        QCOMPARE(rect->vertexHoverIndex(QPointF(60, 40)), -1);
        QVERIFY(rect->shape().contains(QPointF(60, 40)));
        QVERIFY(!rect->shape().contains(QPointF(125, 40)));

        // The right-edge handle moves the right side only (corners land on whole
        // pixels, hence the one-pixel tolerance); corners stay axis-aligned.
        rect->moveVertexBy(5, 30, 17);
        const QRectF r = rect->pixRect().translated(rect->pos());
        const double pixel = 1.001;
        QVERIFY(std::abs(r.left() - o.x()) <= pixel && std::abs(r.top() - o.y()) <= pixel);
        QVERIFY(std::abs(r.right() - (o.x() + 150)) <= pixel && std::abs(r.bottom() - (o.y() + 80)) <= pixel);
        QCOMPARE(rect->vertex(0).lat(), rect->vertex(1).lat());
        QCOMPARE(rect->vertex(1).lon(), rect->vertex(2).lon());
        QCOMPARE(rect->vertex(2).lat(), rect->vertex(3).lat());
        QCOMPARE(rect->vertex(3).lon(), rect->vertex(0).lon());

        // Corner 0 dragged past the right edge: negative width, indices kept.
        rect->moveVertexTo(0, scene.layer().layerGcp(o + QPointF(200, 10)));
        QVERIFY(rect->pixRect().width() < -40);
        QVERIFY(rect->vertex(0).lon() > rect->vertex(1).lon());
        QCOMPARE(rect->ltGcp().lon(), rect->vertex(1).lon());
        QVERIFY(rect->brc().width() > 40 && rect->brc().height() > 60);
        QVERIFY(std::abs(rect->pixData().at(4).x() - rect->pixRect().center().x()) < 1e-6);

        // Indices that name no handle change nothing; vertices never come or go.
        const QPolygonF before = rect->geoData();
        rect->moveVertexTo(8, scene.layer().layerGcp(o));
        rect->moveVertexBy(-1, 5, 5);
        rect->insertVertex(1, scene.layer().layerGcp(o));
        QVERIFY(!rect->removeVertex(0));
        QVERIFY(!rect->removeVertex(7));
        QCOMPARE(rect->geoData(), before);
        QCOMPARE(rect->vertexInsertIndex(rect->pixData().at(5)), -1);
        QCOMPARE(rect->vertexCount(), 4);
        QCOMPARE(rect->vertex(4), GCP());
        QCOMPARE(rect->vertexs().size(), 5);
        QCOMPARE(rect->vertexs().last(), rect->vertex(0));
    }

    // Handle colours as painted: red first corner, green second, yellow others.
    ShapeTestScene scene;
    VectorRect* rect = addRect(scene, QRectF(viewOrigin(scene), QSizeF(120, 80)));
    QCOMPARE(ShapeTestScene::render(rect, QSize(160, 120), QPointF(20, 20)).pixelColor(17, 17).alpha(), 0);
    ShapeTestScene::select(rect, true);
    const QImage image = ShapeTestScene::render(rect, QSize(160, 120), QPointF(20, 20));
    QVERIFY(looksLike(image.pixelColor(17, 17), Qt::red));
    QVERIFY(looksLike(image.pixelColor(143, 17), Qt::green));
    QVERIFY(looksLike(image.pixelColor(143, 103), Qt::yellow));
    QVERIFY(looksLike(image.pixelColor(80, 17), Qt::yellow));
    QVERIFY(looksLike(image.pixelColor(17, 60), Qt::yellow));

    // Zooming in one level doubles the pixel rectangle.
    scene.zoomTo(13);
    scene.attach(rect);
    QVERIFY(near(rect->pixRect().bottomRight(), QPointF(240, 160)));

    // A rectangle without corners paints, hit-tests and exports without harm.
    VectorRect* empty = scene.add(new VectorRect(QPolygonF(), &scene.layer()));
    ShapeTestScene::select(empty, true);
    ShapeTestScene::render(empty, QSize(20, 20), QPointF(10, 10));
    empty->moveVertexBy(0, 3, 3);
    empty->moveShapeTo(GCP(116, 40));
    QCOMPARE(empty->vertexHoverIndex(QPointF()), -1);
    QCOMPARE(empty->area(), 0.0);
    QVERIFY(GeometryPtr(empty->toOGRGeometry())->IsEmpty());
}

void tst_VectorRectCircle::rectangleMovesMeasuresAndExport()
{
    ShiftCorrection corr(0.01, -0.02);
    ShapeTestScene scene(GCP(116.4, 39.9), 12);
    const QPointF o = viewOrigin(scene);
    VectorRect* rect = addRect(scene, QRectF(o, QSizeF(120, 80)));

    // Moves keep the pixel form.
    rect->moveShapeBy(15.5, -7.25);
    QVERIFY(near(rect->pos(), o + QPointF(15.5, -7.25)));
    QVERIFY(near(rect->pixRect().bottomRight(), QPointF(120, 80)));
    const GCP target = scene.layer().layerGcp(o + QPointF(-40, 30));
    rect->moveShapeTo(target);
    QVERIFY(std::abs(rect->ltGcp().lon() - target.lon()) < 1e-9 && std::abs(rect->ltGcp().lat() - target.lat()) < 1e-9);
    QVERIFY(near(rect->pixRect().bottomRight(), QPointF(120, 80)));
    const QPolygonF placed = rect->geoData();
    rect->moveShapeTo(rect->ltGcp());
    QCOMPARE(rect->geoData(), placed);

    // Measured as the closed corner polygon on the ellipsoid.
    const kstDistanceArea da;
    QCOMPARE(rect->area(), da.area(placed));
    QCOMPARE(rect->perimeter(), da.perimeter(placed));
    const double ground = scene.mpp().x * std::cos(39.9 * M_PI / 180.0);
    QVERIFY(std::abs(rect->perimeter() / (400 * ground) - 1) < 0.01);
    QVERIFY(std::abs(rect->area() / (9600 * ground * ground) - 1) < 0.01);

    // Fitting works in plane metres.
    rect->fit(FourParamter__(1000, -500));
    for (int i = 0; i < 4; ++i) {
        const QPointF moved = rect->vertex(i).toPcp(scene.projection()).toPointF();
        QVERIFY(near(moved - GCP(placed.at(i)).toPcp(scene.projection()).toPointF(), QPointF(1000, -500)));
    }

    // Export: closed ring of corrected corners, in WGS84 or transformed by GDAL.
    scene.view().setConfig(nullptr, nullptr, &corr);
    const QVector<QPointF> exchange = shifted(rect->geoData(), corr);
    checkRingExport(GeometryPtr(rect->toOGRGeometry()).get(), exchange, nullptr);
    OGRSpatialReference same = wgs84();
    checkRingExport(GeometryPtr(rect->toOGRGeometry(&same)).get(), exchange, nullptr);
    OGRSpatialReference mercator;
    mercator.importFromEPSG(3857);
    mercator.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    checkRingExport(GeometryPtr(rect->toOGRGeometry(&mercator)).get(), exchange, &mercator);
    OGRPolygon byValue = rect->toOGR();
    checkRingExport(&byValue, exchange, nullptr);

    OGRSpatialReference local;
    local.importFromWkt("LOCAL_CS[\"site grid\",LOCAL_DATUM[\"site\",0],UNIT[\"metre\",1],AXIS[\"X\",EAST],AXIS[\"Y\",NORTH]]");
    local.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const QString message = unreachableMessage(&local);
    QVERIFY(!message.isEmpty());
    QTest::ignoreMessage(QtDebugMsg, qPrintable(message));
    QVERIFY(!GeometryPtr(rect->toOGRGeometry(&local)));

    // Corrections in and out are inverse.
    const QPolygonF stored = rect->geoData();
    rect->correctInShape(&corr);
    QVERIFY(near(rect->geoData().at(2), stored.at(2) + QPointF(0.01, -0.02), 1e-12));
    rect->correctOutShape(&corr);
    for (int i = 0; i < 4; ++i)
        QVERIFY(near(rect->geoData().at(i), stored.at(i), 1e-12));
}

void tst_VectorRectCircle::circleHandlesChangeTheRadius()
{
    for (int level : {10, 14, 18}) {
        ShapeTestScene scene(GCP(116.4, 39.9), level);
        const QPointF c = viewOrigin(scene) + QPointF(100, 100);
        VectorCircle* circle = addCircle(scene, c, 60);
        const Circle__ pix = circle->pixData();
        QCOMPARE(pix.ring.size(), 120);
        QVERIFY(near(pix.center + circle->pos(), c));

        // Handles on ring points 0, 30, 60, 90: right, below, left, above.
        const int ringIndex[] = {0, 30, 60, 90};
        for (int h = 1; h <= 4; ++h)
            QCOMPARE(circle->vertexHoverIndex(pix.ring.at(ringIndex[h - 1]) + QPointF(2, -3)), h);
        QVERIFY(near(pix.ring.at(30), pix.center + QPointF(0, 60), 1e-5));
        QCOMPARE(circle->vertexHoverIndex(pix.ring.at(15)), -1);
        QCOMPARE(circle->vertexHoverIndex(pix.center), -1);
        QVERIFY(circle->shape().contains(pix.center));
        QVERIFY(!circle->shape().contains(pix.center + QPointF(44, 44)));

        // Dragging handle 2 sets the radius to its distance below the centre.
        const GCP centreBefore = GCP(circle->geoData().center);
        circle->moveVertexTo(2, scene.layer().layerGcp(c + QPointF(0, 50)));
        QCOMPARE(circle->geoData().ring.size(), 120);
        for (const QPointF& p : circle->pixData().ring)
            QVERIFY(std::abs(QLineF(circle->pixData().center, p).length() - 50) < 1.5);
        QCOMPARE(GCP(circle->geoData().center), centreBefore);

        circle->moveVertexBy(4, 0, -20);
        for (const QPointF& p : circle->pixData().ring)
            QVERIFY(std::abs(QLineF(circle->pixData().center, p).length() - 70) < 3);

        // Across the centre the ring mirrors: ring point 0 now lies left of it.
        circle->moveVertexTo(3, scene.layer().layerGcp(c + QPointF(40, 0)));
        const Circle__ mirrored = circle->pixData();
        QVERIFY(near(mirrored.ring.at(0), mirrored.center + QPointF(-40, 0), 1.5));

        // Anything but the four handles leaves the circle alone.
        const Circle__ geo = circle->geoData();
        circle->moveVertexTo(0, scene.layer().layerGcp(c));
        circle->moveVertexTo(5, scene.layer().layerGcp(c));
        circle->moveVertexBy(-1, 10, 10);
        circle->moveVertexBy(120, 10, 10);
        circle->insertVertex(3, scene.layer().layerGcp(c));
        QVERIFY(!circle->removeVertex(3));
        QCOMPARE(circle->geoData(), geo);
        QCOMPARE(circle->vertexInsertIndex(mirrored.ring.at(10)), -1);
        QCOMPARE(circle->vertexCount(), 120);
        QCOMPARE(circle->vertex(119), GCP(geo.ring.at(119)));
        QCOMPARE(circle->vertex(120), GCP());
        QCOMPARE(circle->vertexs().size(), 121);
        QCOMPARE(circle->vertexs().last(), circle->vertex(0));
    }

    // Painted handle colours: 1 red (right), 2 green (below), 3 and 4 yellow.
    ShapeTestScene scene;
    VectorCircle* circle = addCircle(scene, viewOrigin(scene) + QPointF(100, 100), 60);
    ShapeTestScene::select(circle, true);
    const QPointF offset = QPointF(80, 80) - circle->pixData().center;
    const QImage image = ShapeTestScene::render(circle, QSize(160, 160), offset);
    QVERIFY(looksLike(image.pixelColor(143, 80), Qt::red));
    QVERIFY(looksLike(image.pixelColor(80, 143), Qt::green));
    QVERIFY(looksLike(image.pixelColor(17, 80), Qt::yellow));
    QVERIFY(looksLike(image.pixelColor(80, 17), Qt::yellow));

    // A circle loaded empty and filled later takes the size of its new ring.
    VectorCircle* loaded = scene.add(new VectorCircle(Circle__(), &scene.layer()));
    ShapeTestScene::render(loaded, QSize(20, 20), QPointF(10, 10));
    loaded->moveVertexBy(1, 5, 5);
    QCOMPARE(loaded->vertexCount(), 0);
    loaded->setGeoData(circle->geoData());
    scene.attach(loaded);
    QCOMPARE(loaded->vertexCount(), 120);
    QCOMPARE(loaded->vertexHoverIndex(loaded->pixData().ring.at(60)), 3);
}

void tst_VectorRectCircle::circleRadiusTextMovesAndExport()
{
    QCOMPARE(VectorCircle::radiusText(1000.0), QStringLiteral("1000.00m"));
    QCOMPARE(VectorCircle::radiusText(1500.0), QStringLiteral("1.500km"));
    QCOMPARE(VectorCircle::radiusText(12.345), QStringLiteral("12.35m"));

    ShiftCorrection corr(-0.005, 0.003);
    kstVectorLayer layer;
    layer.m_labelTextClr = Qt::red;
    layer.m_labelOutlineClr = Qt::white;
    layer.m_showLabels = false; // the radius is written all the same
    kstVectorCollect collect;
    collect.m_layer = &layer;
    ShapeTestScene scene(GCP(116.4, 39.9), 12);
    const QPointF c = viewOrigin(scene) + QPointF(100, 100);

    // A large circle: radius line in the border colour and red text on it.
    VectorCircle* circle = addCircle(scene, c, 120);
    circle->setShapeCollect(&collect, 0);
    circle->setBorderPen(QPen(QColor(0, 128, 0), 1));
    // The centre on a pixel centre, so that the one-pixel line fills one row.
    const QPointF offset = QPointF(140.5, 140.5) - circle->pixData().center;
    const QImage image = ShapeTestScene::render(circle, QSize(280, 280), offset);
    QVERIFY(looksLike(image.pixelColor(140 + 117, 140), QColor(0, 128, 0)));
    int red = 0;
    for (int x = 150; x < 250; ++x)
        for (int y = 125; y < 155; ++y)
            red += looksLike(image.pixelColor(x, y), Qt::red);
    QVERIFY(red > 10);

    // A circle narrower than three times its text shows neither line nor text.
    VectorCircle* small = addCircle(scene, c, 8);
    small->setShapeCollect(&collect, 0);
    const QImage smallImage = ShapeTestScene::render(small, QSize(40, 40), QPointF(20.5, 20.5) - small->pixData().center);
    for (int x = 14; x < 26; ++x)
        QVERIFY(smallImage.pixelColor(x, 20).alpha() < 150);

    // Measured as the ring polygon.
    const kstDistanceArea da;
    const double r = da.distance(circle->geoData().center, circle->geoData().ring.first());
    QCOMPARE(circle->area(), da.area(circle->geoData().ring));
    QCOMPARE(circle->perimeter(), da.perimeter(circle->geoData().ring));
    QVERIFY(std::abs(circle->area() / (M_PI * r * r) - 1) < 0.01);
    QVERIFY(std::abs(circle->perimeter() / (2 * M_PI * r) - 1) < 0.01);

    // Moves carry the centre along and keep the pixel form.
    const Circle__ before = circle->pixData();
    circle->moveShapeBy(-12.5, 33);
    QVERIFY(near(circle->pixData().center + circle->pos(), c + QPointF(-12.5, 33)));
    QVERIFY(near(circle->pixData().ring.at(45) - circle->pixData().center, before.ring.at(45) - before.center));
    const GCP target = scene.layer().layerGcp(c);
    circle->moveShapeTo(target);
    QVERIFY(std::abs(circle->ltGcp().lon() - target.lon()) < 1e-9);
    QVERIFY(near(circle->pixData().center, before.center));
    const Circle__ placed = circle->geoData();
    circle->fit(FourParamter__(-250, 750));
    const QPointF shift = GCP(circle->geoData().center).toPcp(scene.projection()).toPointF()
                        - GCP(placed.center).toPcp(scene.projection()).toPointF();
    QVERIFY(near(shift, QPointF(-250, 750)));

    // Export: the ring only, corrected, closed; transformed by GDAL on request.
    scene.view().setConfig(nullptr, nullptr, &corr);
    const QVector<QPointF> exchange = shifted(circle->geoData().ring, corr);
    checkRingExport(GeometryPtr(circle->toOGRGeometry()).get(), exchange, nullptr);
    OGRSpatialReference mercator;
    mercator.importFromEPSG(3857);
    mercator.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    checkRingExport(GeometryPtr(circle->toOGRGeometry(&mercator)).get(), exchange, &mercator);
    OGRSpatialReference local;
    local.importFromWkt("LOCAL_CS[\"site grid\",LOCAL_DATUM[\"site\",0],UNIT[\"metre\",1],AXIS[\"X\",EAST],AXIS[\"Y\",NORTH]]");
    QTest::ignoreMessage(QtDebugMsg, qPrintable(unreachableMessage(&local)));
    QVERIFY(!GeometryPtr(circle->toOGRGeometry(&local)));

    const Circle__ stored = circle->geoData();
    circle->correctInShape(&corr);
    QVERIFY(near(circle->geoData().center, stored.center + QPointF(-0.005, 0.003), 1e-12));
    QVERIFY(near(circle->geoData().ring.at(7), stored.ring.at(7) + QPointF(-0.005, 0.003), 1e-12));
    circle->correctOutShape(&corr);
    QVERIFY(near(circle->geoData().center, stored.center, 1e-12));
}

void tst_VectorRectCircle::stylesLabelsIconsAndClones()
{
    kstVectorLayer layer;
    kstVectorCollect collect;
    collect.m_layer = &layer;
    collect.m_text = QStringLiteral("Site A");
    ShapeTestScene scene;
    const QPointF o = viewOrigin(scene);
    VectorRect* rect = addRect(scene, QRectF(o, QSizeF(120, 80)));
    VectorCircle* circle = addCircle(scene, o + QPointF(300, 100), 60);

    rect->setBorderPen(QPen(Qt::black, 2));
    rect->setFillBrush(QColor(255, 0, 0, 128));
    QCOMPARE(rect->styleString(QString(), kstVectorShape::Color_RGBA),
             QStringLiteral("Brush(fc:#ff000080,id:\"ogr-brush-0\");PEN(c:#000000ff,w:2px,id:\"ogr-pen-0\",cap:p,j:b)"));
    circle->setStyleDirect(QPen(QBrush(Qt::black), 2, Qt::DashDotLine), QBrush(Qt::red, Qt::Dense4Pattern));
    QCOMPARE(circle->styleString(QString(), kstVectorShape::Color_RGB),
             QStringLiteral("Brush(fc:#ff0000,id:\"ogr-brush-0\");PEN(c:#000000,w:2px,id:\"ogr-pen-6\",cap:p,j:b)"));

    // One label candidate each, centred on the rectangle and on the circle's centre.
    for (kstVectorShape* shape : {static_cast<kstVectorShape*>(rect), static_cast<kstVectorShape*>(circle)}) {
        shape->setShapeCollect(&collect, 0);
        scene.attach(shape);
    }
    QCOMPARE(rect->labels().size(), 1);
    QVERIFY(near(rect->labels().first().rect.center(), QPointF(60, 40)));
    QCOMPARE(rect->labels().first().text, QStringLiteral("Site A"));
    QCOMPARE(circle->labels().size(), 1);
    QVERIFY(near(circle->labels().first().rect.center(), circle->pixData().center));
    QCOMPARE(circle->labels().first().angle, 0.0);
    layer.m_showLabels = false;
    scene.attach(circle);
    QVERIFY(circle->labels().isEmpty());

    // Icons: a filled square inset by a tenth, a circle of radius 0.4 of the size.
    const QImage rectIcon = VectorRect(QPolygonF(), nullptr).icon();
    const QImage circleIcon = VectorCircle(Circle__(), nullptr).icon();
    QCOMPARE(rectIcon.size(), QSize(28, 28));
    QCOMPARE(rectIcon.pixelColor(1, 1).alpha(), 0);
    QCOMPARE(rectIcon.pixelColor(5, 5).alpha(), 68);
    QCOMPARE(circleIcon.pixelColor(14, 14).alpha(), 68);
    QCOMPARE(circleIcon.pixelColor(5, 5).alpha(), 0);

    // Clones carry geometry and style but no layer, collect or selection.
    ShapeTestScene::select(circle, true);
    std::unique_ptr<kstVectorShape> rectCopy(rect->clone());
    std::unique_ptr<kstVectorShape> circleCopy(circle->clone());
    auto* rc = dynamic_cast<VectorRect*>(rectCopy.get());
    auto* cc = dynamic_cast<VectorCircle*>(circleCopy.get());
    QVERIFY(rc && cc);
    QCOMPARE(rc->geoData(), rect->geoData());
    QCOMPARE(rc->borderPen(), rect->borderPen());
    QCOMPARE(rc->fillBrush(), rect->fillBrush());
    QCOMPARE(cc->geoData(), circle->geoData());
    QCOMPARE(cc->fillBrush(), circle->fillBrush());
    QCOMPARE(cc->vertexCount(), 120);
    QVERIFY(!cc->parentLayer() && !cc->shapeCollect() && !cc->isShapeSelected() && !cc->parentItem());
    const Circle__ copied = cc->geoData();
    circle->moveShapeBy(10, 10);
    rect->moveVertexBy(2, 10, 10);
    QCOMPARE(cc->geoData(), copied);
    QVERIFY(rc->geoData() != rect->geoData());
}

QTEST_MAIN(tst_VectorRectCircle)
#include "tst_VectorRectCircle.moc"
