#include "VectorPoint.h"
#include "kstGdalTestSupport.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorStyle.h"

#include <QDir>
#include <QGraphicsScene>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <ogr_geometry.h>

#include <memory>

using namespace Kestrum;

class tst_VectorPoint : public QObject
{
    Q_OBJECT

private slots:
    void boundsPaintingAndMoves()
    {
        ShapeTestScene scene;
        auto* point = scene.add(new VectorPoint(QPointF(116.41, 39.91), &scene.layer()));
        for (int level : {3, 12, 19}) {
            scene.zoomTo(level);
            scene.attach(point);
            QVERIFY(near(point->scenePos(), scene.view().gcpToPix(GCP(116.41, 39.91))));
            point->moveShapeBy(12.5, -7);
            QVERIFY(near(point->scenePos(), scene.view().gcpToPix(GCP(116.41, 39.91)) + QPointF(12.5, -7)));
            point->moveShapeTo(GCP(116.41, 39.91));
        }
        // The point has vertex 0 only, and removing it removes the point.
        point->moveVertexTo(3, GCP(2, 48));
        QVERIFY(point->removeVertex(0) && point->vertexs() == QList<GCP>{GCP(116.41, 39.91)});

        // A circle of the point size, centred, red; yellow handle when selected.
        point->setPointSize(9);
        QCOMPARE(point->boundingRect(), QRectF(-12.5, -12.5, 25, 25));
        point->setPointSize(20);
        ShapeTestScene::select(point, true);
        QImage image = ShapeTestScene::render(point, QSize(40, 40), QPointF(20, 20));
        QVERIFY(isHandlePixel(image, {16, 16}, point, Qt::yellow) && isHandlePixel(image, {23, 23}, point, Qt::yellow));
        QVERIFY(image.pixelColor(24, 20) == QColor(Qt::red) && image.pixelColor(32, 20).alpha() == 0);

        // The type alone does not rebuild the bounds; a new marker does, anchored on the point.
        point->setPointType(1);
        QCOMPARE(point->brc(), QRectF(-10, -10, 20, 20));
        point->setMarkerIcon(point->markerIcon());
        QCOMPARE(point->brc(), QRectF(-17, -31, 32, 32));
        ShapeTestScene::select(point, false);
        image = ShapeTestScene::render(point, QSize(64, 64), QPointF(32, 40));
        QCOMPARE(image.copy(32 - 17, 40 - 31, 32, 32).convertToFormat(QImage::Format_Alpha8),
                 kstVectorStyle::markerIcon_default.convertToFormat(QImage::Format_Alpha8));
    }

    void exportGeometry()
    {
        ShapeTestScene scene;
        ShiftCorrection shift(0.25, 0.5);
        scene.view().setConfig(nullptr, nullptr, &shift);
        auto* point = scene.add(new VectorPoint(QPointF(116.5, 40.0), &scene.layer()));
        // In the exchange frame; each geometry holds the only reference to its
        // WGS84 copy. Web Mercator agrees with GDAL's own transformation.
        std::unique_ptr<OGRGeometry> wgs84(point->toOGRGeometry());
        QCOMPARE(QString::fromStdString(wgs84->exportToWkt()), QStringLiteral("POINT (116.25 39.5)"));
        QCOMPARE(wgs84->getSpatialReference()->GetReferenceCount(), 1);
        QCOMPARE(point->toOGR().getSpatialReference()->GetReferenceCount(), 1);
        OGRSpatialReference mercator = srsOf("EPSG:3857");
        std::unique_ptr<OGRGeometry> projected(point->toOGRGeometry(&mercator));
        QVERIFY(wgs84->transformTo(&mercator) == OGRERR_NONE && projected->getSpatialReference() == &mercator);
        QVERIFY(near(QPointF(projected->toPoint()->getX(), projected->toPoint()->getY()),
                     QPointF(wgs84->toPoint()->getX(), wgs84->toPoint()->getY())));
    }

    void symbolFiles()
    {
        QTemporaryDir dir;
        const QString source = dir.filePath(QStringLiteral("roads.kml"));
        const QDir folder(dir.filePath(QStringLiteral("roads.kml_ext_file")));
        const QRegularExpression circleSymbol(QString(
            R"re(^SYMBOL\(id:"roads\.kml_ext_file/(point_symbol_\{[0-9a-f-]{36}\}\.png)",s:1,dx:4px,dy:4px\)$)re"));
        VectorPoint first(QPointF(1, 1), nullptr), twin(QPointF(2, 2), nullptr), blue(QPointF(3, 3), nullptr);
        blue.setPointFillBrush(QBrush(Qt::blue));
        QVERIFY(first.symbolPixmap().size() == QSize(9, 9) && first.symbolAnchor() == QPoint(4, 4));
        // The picture is written next to the exported file and named in the style.
        const QString firstStyle = first.styleString(source, kstVectorShape::Color_RGBA);
        const QRegularExpressionMatch match = circleSymbol.match(firstStyle);
        QVERIFY2(match.hasMatch(), qPrintable(firstStyle));
        QCOMPARE(QImage(folder.filePath(match.captured(1))).convertToFormat(QImage::Format_ARGB32),
                 first.symbolPixmap().toImage().convertToFormat(QImage::Format_ARGB32));
        QCOMPARE(twin.styleString(source, kstVectorShape::Color_RGB), firstStyle);
        const QString blueStyle = blue.styleString(source, kstVectorShape::Color_RGBA);
        QVERIFY(circleSymbol.match(blueStyle).hasMatch() && blueStyle != firstStyle);
        // A later export to the same place reuses the pictures already there.
        VectorPoint blueAgain(QPointF(4, 4), nullptr);
        blueAgain.setPointFillBrush(QBrush(Qt::blue));
        QCOMPARE(blueAgain.styleString(source, kstVectorShape::Color_RGBA), blueStyle);
        QCOMPARE(folder.entryList(QDir::Files).size(), 2);
        blue.setPointType(1);
        QVERIFY(blue.styleString(source, kstVectorShape::Color_RGBA).endsWith(",s:1,dx:17px,dy:31px)"));
        QCOMPARE(folder.entryList(QDir::Files).size(), 3);

        QTest::ignoreMessage(QtDebugMsg, "QDir::mkdir failed!");
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QString(
            R"re(^sybPixmapPath save failed: /nonexistent-kst/out\.kml_ext_file/point_symbol_\{.*\}\.png$)re")));
        QVERIFY(first.styleString(QStringLiteral("/nonexistent-kst/out.kml"), kstVectorShape::Color_RGBA)
                    .startsWith(QStringLiteral("SYMBOL(id:\"out.kml_ext_file/point_symbol_")));
    }

    void iconLabelsAndClone()
    {
        // The icon shows the point at its size, but no larger than the icon.
        VectorPoint loose(QPointF(116.4, 39.9), nullptr);
        loose.setPointSize(9);
        QVERIFY(loose.icon().pixelColor(14, 14) == QColor(Qt::red) && loose.icon().pixelColor(20, 14).alpha() == 0);
        loose.setPointSize(40);
        QVERIFY(loose.icon().pixelColor(2, 14) == QColor(Qt::red) && loose.icon().pixelColor(1, 1).alpha() == 0);

        kstVectorLayer layer;
        kstVectorCollect collect;
        collect.m_layer = &layer;
        collect.m_text = QStringLiteral("Tiananmen");
        ShapeTestScene scene;
        auto* point = scene.add(new VectorPoint(QPointF(116.4, 39.9), &scene.layer()));
        point->setShapeCollect(&collect, 0);
        scene.attach(point);
        // Below, right, left and above the point, on whole pixels. (Placement
        // over the view, which uses the first and the last, and the layer
        // switch are checked with the edit layer.)
        const QRectF b = point->brc();
        const QList<VectorShapeLabel__> labels = point->labels();
        QCOMPARE(labels.size(), 4);
        for (const VectorShapeLabel__& label : labels)
            QVERIFY(label.text == collect.m_text && label.rect.topLeft() == QPointF(label.rect.topLeft().toPoint()));
        QVERIFY(labels[1].rect.left() == b.right() + 1 && qAbs(labels[1].rect.center().y()) <= 1);
        QVERIFY(qAbs(labels[2].rect.right() - b.left() + 1) <= 1 && labels[2].rect.top() == labels[1].rect.top());
        QVERIFY(qAbs(labels[3].rect.bottom() - b.top() + 1) <= 1 && labels[3].rect.left() == labels[0].rect.left());

        // A clone keeps a custom marker with its anchor, but no layer or selection.
        QPixmap flag(10, 12);
        flag.fill(Qt::blue);
        point->setPointType(1);
        point->setMarkerAnchor(QPoint(5, 6));
        point->setMarkerIcon(flag);
        ShapeTestScene::select(point, true);
        std::unique_ptr<kstVectorShape> copy(point->clone());
        auto* twin = static_cast<VectorPoint*>(copy.get());
        QVERIFY(!twin->parentLayer() && !twin->isShapeSelected() && twin->brc() == QRectF(-5, -6, 10, 12));
        QCOMPARE(twin->symbolPixmap().toImage(), flag.toImage());
    }
};

QTEST_MAIN(tst_VectorPoint)
#include "tst_VectorPoint.moc"
