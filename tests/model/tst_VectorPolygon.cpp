#include "VectorPolygon.h"

#include "kstGdalTestSupport.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QFontMetrics>
#include <QGraphicsScene>
#include <QtTest>

#include <ogr_geometry.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <memory>

using namespace Kestrum;

namespace {

using GeometryPtr = std::unique_ptr<OGRGeometry>;

QPolygonF ring(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

// A square of 4 points around the view centre with a triangular hole of 3.
Polygon__ squareWithHole()
{
    return {ring({{116.38, 39.92}, {116.42, 39.92}, {116.42, 39.88}, {116.38, 39.88}}),
            {ring({{116.39, 39.91}, {116.41, 39.91}, {116.40, 39.89}})}};
}

bool sameForm(const Polygon__& a, const Polygon__& b)
{
    const QVector<QPointF> pa = a.outer + a.inner.value(0), pb = b.outer + b.inner.value(0);
    return pa.size() == pb.size()
        && std::equal(pa.begin(), pa.end(), pb.begin(), [](auto u, auto v) { return near(u, v); });
}

// Handles are drawn over the fill (at alpha 204 while the scene has no focus).
QString handleColour(const QImage& image, const QPointF& at)
{
    const QColor c = image.pixelColor(at.toPoint() + QPoint(2, 2));
    if (c.red() > 150)
        return c.green() > 150 ? QStringLiteral("yellow") : QStringLiteral("red");
    return c.green() > 150 ? QStringLiteral("green") : QStringLiteral("none");
}

} // namespace

class tst_VectorPolygon : public QObject
{
    Q_OBJECT

private slots:
    void numberingAcrossRings()
    {
        ShapeTestScene scene;
        const auto fresh = [&scene] { return scene.add(new VectorPolygon(squareWithHole(), &scene.layer())); };
        VectorPolygon* p = fresh();
        QVERIFY(p->vertexCount() == 7 && p->vertex(5) == GCP(116.41, 39.91) && p->vertex(7) == GCP());
        const QList<GCP> all = p->vertexs();
        QVERIFY(all.size() == 9 && all.at(4) == all.at(0) && all.at(8) == GCP(116.39, 39.91));

        // Insertion index -> position in its ring; the closing edge of each ring comes last.
        const GCP extra(116.395, 39.9);
        for (const auto& [index, position] : QList<QPair<int, int>>{{4, 4}, {5, 1}, {7, 3}, {0, -1}, {8, -1}}) {
            VectorPolygon* q = fresh();
            q->insertVertex(index, extra);
            const Polygon__ geo = q->geoData(), pix = q->pixData();
            QCOMPARE(q->vertexCount(), position < 0 ? 7 : 8);
            if (position >= 0) {
                QCOMPARE(GCP((index <= 4 ? geo.outer : geo.inner.at(0)).at(position)), extra);
                QCOMPARE((index <= 4 ? pix.outer : pix.inner.at(0)).at(position), q->gcp2pix(extra));
            }
        }

        // At every level a click beside an edge inserts the vertex where the user clicked.
        for (int level : {11, 15}) {
            scene.zoomTo(level);
            VectorPolygon* q = fresh();
            const QPolygonF outer = q->pixData().outer, hole = q->pixData().inner.at(0);
            QVERIFY(q->vertexHoverIndex(hole.at(1) + QPointF(3, 3)) == 5
                    && q->vertexHoverIndex(hole.at(1) + QPointF(5, 0)) == -1);
            const QPointF outerClosing = (outer.at(3) + outer.at(0)) / 2;
            QVERIFY(q->vertexInsertIndex(outerClosing + QPointF(1, 0)) == 4
                    && q->vertexInsertIndex(outerClosing + QPointF(3, 0)) == -1);
            QCOMPARE(q->vertexInsertIndex((hole.at(2) + hole.at(0)) / 2), 7);
            const QPointF click = (hole.at(0) + hole.at(1)) / 2 + QPointF(0, 1);
            q->insertVertex(q->vertexInsertIndex(click), q->pix2gcp(click));
            q->resetShape(q->curMpp(), q->curProj());
            QCOMPARE(q->vertexHoverIndex(click), 5);
        }

        // Rings keep 3 points; a ring that would drop below, hole included, asks for removal of all.
        VectorPolygon* q = scene.add(new VectorPolygon(
            {ring({{116.38, 39.92}, {116.40, 39.95}, {116.42, 39.92}, {116.42, 39.88}, {116.38, 39.88}}),
             squareWithHole().inner},
            &scene.layer()));
        const QPointF posBefore = q->pos();
        QVERIFY(q->removeVertex(6) && !q->removeVertex(8) && !q->removeVertex(-1));
        QCOMPARE(q->vertexCount(), 8);
        QCOMPARE(q->removeVertex(1), false); // the apex: the extent shrinks and the item moves down
        QVERIFY(q->ltGcp() == GCP(116.38, 39.92) && q->pos().y() > posBefore.y()
                && q->pixData().outer.at(0) == QPointF(0, 0));
        QVERIFY(!q->removeVertex(0) && q->removeVertex(0));
        QCOMPARE(q->vertexCount(), 6);
    }

    void hitPaintHandlesBandAndMoves()
    {
        ShapeTestScene scene;
        for (int level : {11, 14}) {
            scene.zoomTo(level);
            VectorPolygon* p = scene.add(new VectorPolygon(squareWithHole(), &scene.layer()));
            const QPolygonF outer = p->pixData().outer, hole = p->pixData().inner.at(0);
            QVERIFY(near(p->brc().bottomRight(), scene.view().gcpToPix(p->rbGcp()) - scene.view().gcpToPix(p->ltGcp())));
            QVERIFY(near(p->scenePos() + hole.at(2), scene.view().gcpToPix(GCP(116.40, 39.89))));

            // Inside the hole the polygon is neither hit nor painted.
            const QPointF inHole = (hole.at(0) + hole.at(1) + hole.at(2)) / 3, inBody = outer.at(0) + QPointF(5, 5);
            QVERIFY(!scene.layer().scene()->items(p->mapToScene(inHole)).contains(p));
            QVERIFY(scene.layer().scene()->items(p->mapToScene(inBody)).contains(p));
            const QPointF origin(20, 20);
            const QImage plain = ShapeTestScene::render(p, p->brc().size().toSize() + QSize(40, 40), origin);
            QVERIFY(plain.pixelColor((origin + inHole).toPoint()).alpha() == 0);
            QCOMPARE(plain.pixelColor((origin + inBody).toPoint()), QColor(0, 0, 255, 68));
            QCOMPARE(handleColour(plain, origin + outer.at(0)), QStringLiteral("none"));

            // Each ring shows its first handle red, its second green, the rest yellow.
            ShapeTestScene::select(p, true);
            const QImage selected = ShapeTestScene::render(p, plain.size(), origin);
            QStringList seen;
            for (const QPointF& point : outer + hole)
                seen << handleColour(selected, origin + point);
            QCOMPARE(seen.join(' '), QStringLiteral("red green yellow yellow red green yellow"));

            // The band covers the closing edges of both rings, not the body.
            const QPainterPath band = p->m_addVertexPath;
            QVERIFY(band.contains((outer.at(3) + outer.at(0)) / 2) && !band.contains(inBody + QPointF(0, 20)));
            QVERIFY(band.contains((hole.at(2) + hole.at(0)) / 2 + QPointF(1, 0)));
            ShapeTestScene::select(p, false);
            QVERIFY(p->m_addVertexPath.isEmpty());

            // Moves keep the pixel form.
            const Polygon__ form = p->pixData();
            const QPointF pos = p->scenePos();
            p->moveShapeBy(25.5, -13.25);
            QVERIFY(sameForm(p->pixData(), form) && near(p->scenePos(), pos + QPointF(25.5, -13.25)));
            const GCP target(116.1, 40.2);
            p->moveShapeTo(target);
            QVERIFY(sameForm(p->pixData(), form) && near(p->ltGcp().toPointF(), target.toPointF(), 1e-9));

            // A dragged hole vertex follows the cursor on screen and in the pixel
            // data; the rest stays, and so it does for indices naming no vertex.
            const QPointF dragged = p->scenePos() + p->pixData().inner.at(0).at(1) + QPointF(6, 4);
            p->moveVertexBy(5, 6, 4);
            p->moveVertexBy(7, 6, 4);
            p->moveVertexTo(-1, target);
            QVERIFY(near(scene.view().gcpToPix(p->vertex(5)), dragged));
            QVERIFY(near(p->scenePos() + p->pixData().inner.at(0).at(1), dragged));
            QVERIFY(sameForm({p->pixData().outer, form.inner}, form));
            const GCP far(p->rbGcp().lon() + 0.05, p->rbGcp().lat() - 0.01); // widens the extent
            p->moveVertexTo(2, far);
            QCOMPARE(p->rbGcp(), far);
        }

        // Fitting shifts every ring, holes included, in plane coordinates.
        VectorPolygon* fitted = scene.add(new VectorPolygon(squareWithHole(), &scene.layer()));
        fitted->fit(FourParamter__(1000, -500));
        const QPointF shift =
            fitted->vertex(6).toPcp(fitted->curProj()).toPointF() - GCP(116.40, 39.89).toPcp(fitted->curProj()).toPointF();
        QVERIFY(near(shift, QPointF(1000, -500)) && fitted->ltGcp() == fitted->vertex(0));

        // Points sharing a whole pixel collapse; the result is closed.
        QCOMPARE(VectorPolygon(Polygon__(), nullptr).simplifyPolygon(ring({{0, 0}, {0.3, 0.2}, {5, 0}, {5.4, 0.1}, {5, 5}})),
                 ring({{0, 0}, {5, 0}, {5, 5}, {0, 0}}));
    }

    void measuresAndExport()
    {
        ShiftCorrection shift(0.5, -0.25); // outlives the view that uses it
        ShapeTestScene scene;
        // A hole reaching out of the outer ring still subtracts its whole area.
        Polygon__ geo = squareWithHole();
        geo.inner.append(ring({{116.41, 39.89}, {116.45, 39.89}, {116.45, 39.87}}));
        VectorPolygon* p = scene.add(new VectorPolygon(geo, &scene.layer()));
        const kstDistanceArea da;
        QCOMPARE(p->area(), da.area(geo.outer) - da.area(geo.inner.at(0)) - da.area(geo.inner.at(1)));

        GeometryPtr wgs(p->toOGRGeometry());
        QCOMPARE(QString::fromStdString(wgs->exportToWkt()),
                 QStringLiteral("POLYGON ((116.38 39.92,116.42 39.92,116.42 39.88,116.38 39.88,116.38 39.92),"
                                "(116.39 39.91,116.41 39.91,116.4 39.89,116.39 39.91),"
                                "(116.41 39.89,116.45 39.89,116.45 39.87,116.41 39.89))"));
        QVERIFY(wgs->getSpatialReference() && wgs->getSpatialReference()->IsSame(&kstVectorShape::m_wgs84Srs));

        // With a correction, exported points are in the exchange frame, in WGS84
        // as asked for too; in Web Mercator they agree with GDAL's own
        // transformation of the WGS84 export, ring by ring.
        scene.view().setConfig(nullptr, nullptr, &shift);
        OGRSpatialReference mercator = srsOf("EPSG:3857"), wgs84 = srsOf("WGS84");
        GeometryPtr shifted(p->toOGRGeometry(&wgs84)), projected(p->toOGRGeometry(&mercator)), reference(p->toOGRGeometry());
        const OGRLinearRing* outer = shifted->toPolygon()->getExteriorRing();
        QVERIFY(near(QPointF(outer->getX(4), outer->getY(4)), QPointF(115.88, 40.17), 1e-12)
                && shifted->Equals(reference.get()));
        QVERIFY(projected->getSpatialReference() && projected->getSpatialReference()->IsSame(&mercator));
        QVERIFY(reference->transformTo(&mercator) == OGRERR_NONE);
        const OGRLinearRing* hole = projected->toPolygon()->getInteriorRing(0);
        const OGRLinearRing* expected = reference->toPolygon()->getInteriorRing(0);
        QCOMPARE(hole->getNumPoints(), 4);
        for (int i = 0; i < 4; ++i)
            QVERIFY(near(QPointF(hole->getX(i), hole->getY(i)), QPointF(expected->getX(i), expected->getY(i))));

        // An unreachable system gives empty rings and GDAL's message, once per ring.
        OGRSpatialReference local;
        local.importFromWkt("LOCAL_CS[\"site grid\",UNIT[\"metre\",1]]");
        const QRegularExpression gdalMessage(QStringLiteral("^Cannot find coordinate operations from `EPSG:4326' to "));
        for (int i = 0; i < 3; ++i)
            QTest::ignoreMessage(QtDebugMsg, gdalMessage);
        GeometryPtr unreachable(p->toOGRGeometry(&local));
        QVERIFY(unreachable && unreachable->IsEmpty());
        QVERIFY(unreachable->getSpatialReference() && unreachable->getSpatialReference()->IsSame(&local));

        p->setStyleDirect(QPen(Qt::black, 2), QBrush(QColor(255, 0, 0, 128)));
        QCOMPARE(p->styleString(QString(), kstVectorShape::Color_RGBA),
                 QStringLiteral("Brush(fc:#ff000080,id:\"ogr-brush-0\");PEN(c:#000000ff,w:2px,id:\"ogr-pen-0\",cap:p,j:b)"));
        const QImage icon = p->icon();
        QVERIFY(icon.size() == QSize(28, 28) && icon.pixelColor(1, 1).alpha() == 0
                && icon.pixelColor(14, 16) == QColor(255, 0, 0, 128));
    }

    void labelsCloneAndBadInput()
    {
        ShapeTestScene scene;
        kstVectorLayer layer;
        kstVectorCollect collect;
        collect.m_layer = &layer;
        collect.m_text = QStringLiteral("Lake");
        VectorPolygon* p = new VectorPolygon(squareWithHole(), &scene.layer());
        p->setShapeCollect(&collect, 0);
        scene.add(p);
        // One label of the text's size on the mean of the outer points (holes do not count).
        const QPolygonF outer = p->pixData().outer;
        const QPointF centre = (outer.at(0) + outer.at(1) + outer.at(2) + outer.at(3)) / 4;
        QVERIFY(p->labels().size() == 1 && near(p->labels().at(0).rect.center(), centre, 1e-9));
        QCOMPARE(p->labels().at(0).rect.size(), QSizeF(QFontMetrics(layer.m_labelFont).boundingRect(collect.m_text).size()));
        p->setShapeCollect(nullptr, -1);

        // A clone is unselected and layer-less, with the same look.
        p->setBorderPen(QPen(Qt::darkGreen, 3));
        ShapeTestScene::select(p, true);
        std::unique_ptr<VectorPolygon> copy(static_cast<VectorPolygon*>(p->clone()));
        QVERIFY(copy->shapeType() == kstVectorShape::Type_Polygon && copy->geoData() == p->geoData());
        QVERIFY(copy->borderPen() == QPen(Qt::darkGreen, 3) && !copy->isShapeSelected() && !copy->parentLayer());

        // Empty geometry and empty holes never crash.
        VectorPolygon* empty = scene.add(new VectorPolygon({QPolygonF(), {QPolygonF()}}, &scene.layer()));
        ShapeTestScene::select(empty, true);
        ShapeTestScene::render(empty, QSize(10, 10), QPointF());
        empty->insertVertex(1, GCP(1, 1));
        empty->moveShapeTo(GCP(116, 40));
        QVERIFY(empty->vertexs().isEmpty() && empty->vertexCount() == 0 && !empty->removeVertex(0)
                && empty->vertex(0) == GCP());
        QVERIFY(empty->vertexHoverIndex(QPointF()) == -1 && empty->vertexInsertIndex(QPointF()) == -1);
        QVERIFY(empty->area() == 0.0 && GeometryPtr(empty->toOGRGeometry())->IsEmpty());
    }
};

QTEST_MAIN(tst_VectorPolygon)
#include "tst_VectorPolygon.moc"
