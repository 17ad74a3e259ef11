#include "VectorLine.h"
#include "kstGdalTestSupport.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QFontMetrics>
#include <QGraphicsScene>
#include <QtTest>

#include <cpl_error.h>
#include <ogr_geometry.h>

#include <memory>

using namespace Kestrum;

namespace {

// A line whose vertices lie on the given viewport pixels at the view's current level.
VectorLine* lineOnPixels(ShapeTestScene& scene, const QVector<QPointF>& pixs)
{
    QVector<QPointF> geo;
    for (const QPointF& pix : pixs)
        geo.append(scene.view().pixToGcp(pix).toPointF());
    return scene.add(new VectorLine(geo, &scene.layer()));
}

} // namespace

class tst_VectorLine : public QObject
{
    Q_OBJECT

private slots:
    void pixelsHitsAndHandles()
    {
        ShapeTestScene scene;
        // Vertices 3 and 4 share one whole pixel.
        const QVector<QPointF> pixs{{100, 300}, {300, 100}, {500, 300}, {700, 300}, {700.3, 299.8}};
        for (int level : {6, 17}) {
            scene.zoomTo(level);
            VectorLine* line = lineOnPixels(scene, pixs);
            QVERIFY(near(line->scenePos(), QPointF(100, 100)) && near(line->brc().bottomRight(), QPointF(600.3, 200)));
            // A 16 px hit band, a 4 px insertion band; vertex 4 adds no join of its own.
            QVERIFY(line->shape().contains(QPointF(500, 207)) && !line->shape().contains(QPointF(500, 209)));
            QVERIFY(!line->shape().contains(QPointF(601.5, 204.5)) && line->shape().contains(QPointF(598.5, 195.5)));
            QVERIFY(line->vertexInsertIndex(QPointF(500, 201)) == 3 && line->vertexInsertIndex(QPointF(500, 203)) == -1);
            QCOMPARE(line->vertexHoverIndex(QPointF(600.3, 199.8)), 3);
        }

        // Handles: the first red, the second green, the others yellow.
        VectorLine* line = lineOnPixels(scene, {{10, 40}, {60, 10}, {110, 40}, {160, 40}});
        const QPoint at(20, 20); // image pixel of the line's item origin
        ShapeTestScene::select(line, true);
        const QImage image = ShapeTestScene::render(line, QSize(200, 80), at);
        for (const QPoint& corner : {QPoint(-4, -4), QPoint(3, 3)}) {
            QVERIFY(isHandlePixel(image, at + QPoint(0, 30) + corner, line, Qt::red));
            QVERIFY(isHandlePixel(image, at + QPoint(50, 0) + corner, line, Qt::green));
            QVERIFY(isHandlePixel(image, at + QPoint(150, 30) + corner, line, Qt::yellow));
        }
    }

    void editing()
    {
        ShapeTestScene scene;
        for (int level : {8, 15}) {
            scene.zoomTo(level);
            VectorLine* line = lineOnPixels(scene, {{200, 200}, {300, 250}, {400, 200}});
            line->insertVertex(9, GCP(1, 1));
            line->moveVertexTo(3, GCP(1, 1));
            QVERIFY(!line->removeVertex(3) && line->vertexCount() == 3 && line->vertex(3) == GCP());

            // Insertion into the edge under the cursor, as the edit layer does it.
            ShapeTestScene::select(line, true);
            QCOMPARE(line->vertexInsertIndex(QPointF(150, 25)), 2);
            line->insertVertex(2, scene.view().pixToGcp(QPointF(350, 225)));
            line->resetShape(scene.mpp(), scene.projection());
            QVERIFY(near(line->pixData().at(2), QPointF(150, 25)));
            // Vertex moves keep exact pixel distances, inside the extent or widening it.
            line->moveVertexBy(2, 10, -5);
            QVERIFY(near(line->pixData().at(2), QPointF(160, 20)));
            line->moveVertexBy(1, 0, 10);
            QVERIFY(near(line->brc().bottomRight(), QPointF(200, 60)));
            line->moveVertexTo(0, scene.view().pixToGcp(QPointF(250, 150)));
            QVERIFY(near(line->scenePos(), QPointF(250, 150)) && near(line->pixData().at(3), QPointF(150, 50)));

            // Whole-line moves keep the pixel form.
            const QVector<QPointF> form = line->pixData();
            const QPointF pos = line->scenePos();
            line->moveShapeBy(33.5, -12);
            QVERIFY(near(line->scenePos(), pos + QPointF(33.5, -12)));
            line->moveShapeTo(scene.view().pixToGcp(QPointF(50, 60)));
            QVERIFY(near(line->scenePos(), QPointF(50, 60)));
            for (int i = 0; i < form.size(); ++i)
                QVERIFY(near(line->pixData().at(i), form.at(i)));

            // Down to two vertices; then the caller removes the whole line.
            QVERIFY(!line->removeVertex(3) && !line->removeVertex(0) && line->removeVertex(0));
            QCOMPARE(line->vertexCount(), 2);
        }
    }

    void measuresAndExport()
    {
        ShapeTestScene scene;
        ShiftCorrection shift(0.25, 0.5);
        scene.view().setConfig(nullptr, nullptr, &shift);
        const QVector<QPointF> geo{{116.5, 40.25}, {117, 40.75}, {117.5, 40.25}};
        auto* line = scene.add(new VectorLine(geo, &scene.layer()));
        // A path: no closing edge.
        const kstDistanceArea& da = kstVectorShape::m_da;
        QCOMPARE(line->perimeter(), da.distance(geo[0], geo[1]) + da.distance(geo[1], geo[2]));

        // Exported in the exchange frame; each geometry holds the only
        // reference to its WGS84 copy. Web Mercator agrees with GDAL's own
        // transformation of that export.
        std::unique_ptr<OGRGeometry> wgs84(line->toOGRGeometry());
        QCOMPARE(QString::fromStdString(wgs84->exportToWkt()),
                 QStringLiteral("LINESTRING (116.25 39.75,116.75 40.25,117.25 39.75)"));
        QCOMPARE(wgs84->getSpatialReference()->GetReferenceCount(), 1);
        OGRSpatialReference mercator = srsOf("EPSG:3857");
        std::unique_ptr<OGRGeometry> projected(line->toOGRGeometry(&mercator));
        QVERIFY(wgs84->transformTo(&mercator) == OGRERR_NONE && projected->getSpatialReference() == &mercator);
        const OGRLineString *string = projected->toLineString(), *expected = wgs84->toLineString();
        QCOMPARE(string->getNumPoints(), 3);
        for (int i = 0; i < 3; ++i)
            QVERIFY(near(QPointF(string->getX(i), string->getY(i)), QPointF(expected->getX(i), expected->getY(i))));

        // A system GDAL cannot reach gives nothing but GDAL's message.
        OGRSpatialReference local =
            srsOf("LOCAL_CS[\"site\",LOCAL_DATUM[\"d\",0],UNIT[\"metre\",1],AXIS[\"X\",EAST],AXIS[\"Y\",NORTH]]");
        CPLPushErrorHandler(CPLQuietErrorHandler);
        QVERIFY(!OGRCreateCoordinateTransformation(&kstVectorShape::m_wgs84Srs, &local));
        QTest::ignoreMessage(QtDebugMsg, CPLGetLastErrorMsg());
        QVERIFY(!line->toOGRGeometry(&local));
        CPLPopErrorHandler();

        // An empty line stays harmless all the way through.
        auto* empty = scene.add(new VectorLine({}, &scene.layer()));
        ShapeTestScene::select(empty, true);
        ShapeTestScene::render(empty, QSize(10, 10), QPointF());
        std::unique_ptr<OGRGeometry> nothing(empty->toOGRGeometry(&mercator));
        QVERIFY(nothing && nothing->IsEmpty() && empty->perimeter() == 0.0 && !empty->removeVertex(0));
    }

    void labelsStyleIconClone()
    {
        kstVectorLayer layer;
        kstVectorCollect collect;
        collect.m_layer = &layer;
        collect.m_text = QStringLiteral("Road");
        const QSize text = QFontMetrics(layer.m_labelFont).boundingRect(collect.m_text).size();
        ShapeTestScene scene(GCP(116.4, 39.9), 16);
        auto labelsOf = [&](const QVector<QPointF>& pixs) {
            VectorLine* line = lineOnPixels(scene, pixs);
            line->setShapeCollect(&collect, 0);
            scene.attach(line);
            return line->labels();
        };
        // Only segments half as long again as the text get a label (one two
        // pixels short of that gets none), of the text's size, in the middle.
        // Angles of slanted and vertical segments are checked with the edit
        // layer's label placement.
        QList<VectorShapeLabel__> labels = labelsOf({{100, 100}, {400, 100}, {400, 98 + text.width() * 1.5}});
        QVERIFY(labels.size() == 1 && labels[0].rect.size() == QSizeF(text)
                && near(labels[0].rect.center(), QPointF(150, 0)));
        // Long segments carry a label on every piece of at most 1024 px, as far
        // as a label could be seen: the view and one view size around it.
        labels = labelsOf({{0, 0}, {3000, 0}});
        QCOMPARE(labels.size(), 2);
        for (int i = 0; i < 2; ++i)
            QVERIFY(near(labels[i].rect.center(), QPointF(375 + 750 * i, 0)));
        QCOMPARE(labelsOf({{0, 0}, {1024, 0}}).size(), 1);

        VectorLine* line = lineOnPixels(scene, {{0, 0}, {100, 0}});
        const QPen dashed(QColor(255, 0, 0, 128), 3, Qt::DashLine);
        line->setLinePen(dashed);
        QCOMPARE(line->styleString(QString(), kstVectorShape::Color_RGB),
                 QStringLiteral("PEN(c:#ff0000,w:3px,id:\"ogr-pen-2\",cap:p,j:b)"));
        const QImage icon = line->icon();
        QVERIFY(icon.pixelColor(6, 16).red() > 200 && icon.pixelColor(6, 16).green() == 0
                && icon.pixelColor(27, 0).alpha() == 0);

        // A clone has the same geometry and pen, no layer and no selection.
        ShapeTestScene::select(line, true);
        std::unique_ptr<kstVectorShape> copy(line->clone());
        auto* twin = static_cast<VectorLine*>(copy.get());
        QVERIFY(!twin->parentLayer() && !twin->isShapeSelected() && twin->linePen() == dashed
                && twin->geoData() == line->geoData());
    }
};

QTEST_MAIN(tst_VectorLine)
#include "tst_VectorLine.moc"
