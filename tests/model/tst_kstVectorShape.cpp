#include "kstShapeTestSupport.h"

#include <QGraphicsSceneHoverEvent>
#include <QPainter>
#include <QtTest>

using namespace Kestrum;

namespace {

// A shape that records which steps of the update pipeline ran.
class ProbeShape : public kstVectorShape
{
public:
    explicit ProbeShape(kstVectorEditLayer* layer) : kstVectorShape(layer) { m_brc = QRectF(0, 0, 10, 10); }

    QStringList steps;
    bool extentChanges = true;
    int vertexUnderCursor = -1;

    void correctInShape(kstCorrection*) override {}
    void correctOutShape(kstCorrection*) override {}
    bool updateExtent() override { steps << QStringLiteral("extent"); return extentChanges; }
    void updateBoundingRect(const kstMeterPerPixle__&, kstProjection*) override { steps << QStringLiteral("brc"); }
    void updatePixsData(const kstMeterPerPixle__&, kstProjection*) override { steps << QStringLiteral("pix"); }
    void updatePosition(const kstMeterPerPixle__& mpp, kstProjection* proj) override
    {
        steps << QStringLiteral("pos");
        kstVectorShape::updatePosition(mpp, proj);
    }
    void updateLabels() override { steps << QStringLiteral("labels"); }
    void updateShapePath() override
    {
        steps << QStringLiteral("path");
        m_shapePath = QPainterPath();
        m_shapePath.addRect(m_brc);
    }
    void updateAddVertexPath() override
    {
        steps << QStringLiteral("band");
        m_addVertexPath = QPainterPath();
        m_addVertexPath.addRect(QRectF(0, 0, 10, 2));
    }
    void drawShape(QPainter* painter) override { painter->fillRect(m_brc, Qt::blue); }
    void drawShapeVertex(QPainter* painter) override { drawVertexHandle(painter, QPointF(5, 5), m_vertexClr2); }
    void moveShapeTo(const GCP&) override {}
    void moveShapeBy(double, double) override {}
    void moveVertexTo(int, const GCP&) override {}
    void moveVertexBy(int, double, double) override {}
    void insertVertex(int, const GCP&) override {}
    bool removeVertex(int) override { return false; }
    int vertexHoverIndex(const QPointF&) override { return vertexUnderCursor; }
    int vertexInsertIndex(const QPointF&) override { return -1; }
    GCP vertex(int) override { return GCP(); }
    QList<GCP> vertexs() override { return {}; }
    int vertexCount() const override { return 0; }
    double area() override { return 0; }
    double perimeter() override { return 0; }
    OGRGeometry* toOGRGeometry(OGRSpatialReference*) override { return nullptr; }
    OGRGeometry* toOGRGeometry() override { return nullptr; }
    QString styleString(const QString&, Color_Mode mode) override
    {
        return penStyleString(QPen(QColor(10, 200, 255, 0), 2.4, Qt::CustomDashLine), mode) + QLatin1Char(';')
             + brushStyleString(QBrush(Qt::red, Qt::Dense4Pattern), mode);
    }
    QImage icon() override { return iconCanvas(); }
    void fit(const FourParamter__&) override {}
    kstVectorShape* clone() override { return nullptr; }

    QPainterPath band() const { return m_addVertexPath; }
    using kstVectorShape::drawOutlineText;
    using kstVectorShape::vertexRect;
    void hover(QEvent::Type type, const QPointF& pos)
    {
        QGraphicsSceneHoverEvent event(type);
        event.setPos(pos);
        if (type == QEvent::GraphicsSceneHoverEnter)
            hoverEnterEvent(&event);
        else if (type == QEvent::GraphicsSceneHoverMove)
            hoverMoveEvent(&event);
        else
            hoverLeaveEvent(&event);
    }
};

} // namespace

class tst_kstVectorShape : public QObject
{
    Q_OBJECT

private slots:
    void pipelineRunsItsStepsInOrder();
    void geometryHelpersAndPainting();
    void hoverTellsTheEditLayerWhatADragWouldDo();
    void conversionsFollowTheView();
};

void tst_kstVectorShape::pipelineRunsItsStepsInOrder()
{
    ShapeTestScene scene;
    ProbeShape* shape = new ProbeShape(&scene.layer());
    const auto steps = [](const char* list) { return QString::fromLatin1(list).split(QLatin1Char(' ')); };

    // The hit-test path is rebuilt once, when it is first asked for.
    shape->initShape(scene.mpp(), scene.projection());
    QCOMPARE(shape->steps, steps("extent brc pix labels"));
    shape->shape();
    shape->shapePath();
    QCOMPARE(shape->steps, steps("extent brc pix labels path"));

    shape->steps.clear();
    shape->updateShape(scene.mpp(), scene.projection(), false);
    QCOMPARE(shape->steps, steps("brc pix pos labels"));
    ShapeTestScene::render(shape, QSize(30, 30), QPointF(10, 10));
    QCOMPARE(shape->steps, steps("brc pix pos labels path"));

    // The band is built once on selection, and again in every update while selected.
    shape->steps.clear();
    shape->setShapeSelected(true);
    shape->setShapeSelected(true);
    QCOMPARE(shape->steps, steps("band"));
    shape->steps.clear();
    shape->updateShape(scene.mpp(), scene.projection(), true);
    QCOMPARE(shape->steps, steps("extent brc pix pos band labels"));

    // An unchanged extent leaves pixels and position alone but rebuilds the rest.
    shape->steps.clear();
    shape->extentChanges = false;
    shape->resetShape(scene.mpp(), scene.projection());
    QCOMPARE(shape->steps, steps("extent band labels"));
    shape->setShapeSelected(false);
    QVERIFY(shape->band().isEmpty());
}

void tst_kstVectorShape::geometryHelpersAndPainting()
{
    ShapeTestScene scene;
    ProbeShape* shape = new ProbeShape(&scene.layer());
    QCOMPARE(shape->boundingRect(), QRectF(-8, -8, 26, 26));
    QCOMPARE(ProbeShape::vertexRect(QPointF(100, 50)), QRectF(96, 46, 8, 8));
    QCOMPARE(shape->flags(), QGraphicsItem::ItemStacksBehindParent);
    QVERIFY(shape->acceptHoverEvents());

    // An inactive painter draws nothing at all.
    QPainter inactive;
    shape->paint(&inactive, nullptr, nullptr);

    // Handles only when selected, in the handle colour (alpha 204 without focus).
    QImage plain = ShapeTestScene::render(shape, QSize(30, 30), QPointF(10, 10));
    QCOMPARE(plain.pixelColor(15, 15), QColor(Qt::blue));
    shape->setShapeSelected(true);
    QImage selected = ShapeTestScene::render(shape, QSize(30, 30), QPointF(10, 10));
    const QColor handle = selected.pixelColor(15, 15);
    QCOMPARE(handle.alpha(), 255); // yellow at alpha 204 over opaque blue
    QVERIFY(handle.red() > 150 && handle.green() > 150 && handle.blue() < 100);

    // Outlined text: nothing (and no pen change) for an empty text.
    QImage image(60, 30, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::green, 3));
    ProbeShape::drawOutlineText(&painter, QString(), QRectF(5, 5, 40, 20), Qt::black, Qt::white);
    QCOMPARE(painter.pen(), QPen(Qt::green, 3));
    QCOMPARE(image, [] { QImage i(60, 30, QImage::Format_ARGB32_Premultiplied); i.fill(Qt::transparent); return i; }());
    ProbeShape::drawOutlineText(&painter, QStringLiteral("Ab"), QRectF(5, 5, 40, 20), Qt::black, Qt::white);
    painter.end();
    bool sawBlack = false, sawWhite = false;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 60; ++x) {
            const QColor c = image.pixelColor(x, y);
            sawBlack |= c.alpha() == 255 && c.value() < 30;
            sawWhite |= c.alpha() == 255 && c.value() > 225 && c.saturation() < 30;
        }
    QVERIFY(sawBlack && sawWhite);

    // Style strings: colour notations and the id tables.
    QCOMPARE(shape->styleString(QString(), kstVectorShape::Color_RGBA),
             QStringLiteral("PEN(c:#0ac8ff00,w:2px,id:\"ogr-pen-0\",cap:p,j:b);Brush(fc:#ff0000ff,id:\"ogr-brush-0\")"));
    QCOMPARE(shape->styleString(QString(), kstVectorShape::Color_ARGB).left(15), QStringLiteral("PEN(c:#000ac8ff"));
    QCOMPARE(shape->styleString(QString(), kstVectorShape::Color_RGB).left(13), QStringLiteral("PEN(c:#0ac8ff"));
    const QImage icon = shape->icon();
    QCOMPARE(icon.size(), QSize(28, 28));
    QCOMPARE(icon.format(), QImage::Format_RGBA8888_Premultiplied);
    QCOMPARE(icon.pixelColor(3, 3).alpha(), 0);
}

void tst_kstVectorShape::hoverTellsTheEditLayerWhatADragWouldDo()
{
    ShapeTestScene scene;
    ProbeShape* shape = new ProbeShape(&scene.layer());
    scene.layer().setLayerAction(kstVectorEditLayer::SelectEdit);

    // Not selected: nothing changes, but leaving gives dragging back to the map.
    shape->hover(QEvent::GraphicsSceneHoverEnter, QPointF(5, 5));
    QCOMPARE(shape->action(), kstVectorShape::Action_None);
    QVERIFY(scene.view().dragEnable());
    scene.view().setDragEnable(false);
    shape->hover(QEvent::GraphicsSceneHoverLeave, QPointF(5, 5));
    QVERIFY(scene.view().dragEnable());

    shape->setShapeSelected(true);
    shape->hover(QEvent::GraphicsSceneHoverEnter, QPointF(5, 5));
    QCOMPARE(shape->action(), kstVectorShape::Action_MoveShape);
    QCOMPARE(scene.layer().cursor().shape(), Qt::SizeAllCursor);
    QVERIFY(!scene.view().dragEnable());

    shape->hover(QEvent::GraphicsSceneHoverMove, QPointF(5, 1)); // inside the band
    QCOMPARE(shape->action(), kstVectorShape::Action_InsertVertex);
    QCOMPARE(scene.layer().cursor().shape(), Qt::CrossCursor);
    shape->vertexUnderCursor = 2;
    shape->hover(QEvent::GraphicsSceneHoverMove, QPointF(5, 1));
    QCOMPARE(shape->action(), kstVectorShape::Action_MoveVertex);
    QCOMPARE(shape->currentVertexHoverIndex(), 2);
    QCOMPARE(scene.layer().cursor().shape(), Qt::BitmapCursor);
    shape->vertexUnderCursor = -1;
    shape->hover(QEvent::GraphicsSceneHoverMove, QPointF(5, 8));
    QCOMPARE(shape->action(), kstVectorShape::Action_MoveShape);

    shape->hover(QEvent::GraphicsSceneHoverLeave, QPointF(50, 50));
    QCOMPARE(shape->action(), kstVectorShape::Action_None);
    QCOMPARE(scene.layer().cursor().shape(), Qt::ArrowCursor);
    QVERIFY(scene.view().dragEnable());
}

void tst_kstVectorShape::conversionsFollowTheView()
{
    ShapeTestScene scene(GCP(116.4, 39.9), 10);
    ProbeShape* shape = new ProbeShape(&scene.layer());
    shape->setShapeExtent(GCP(116.3, 40.0), GCP(116.5, 39.8));
    QCOMPARE(shape->gcp2pix(shape->ltGcp()), QPointF(0, 0));
    QCOMPARE(shape->curProj(), scene.view().projection());

    // Pixel offsets are truncated toward zero before they are converted.
    QCOMPARE(shape->pix2gcp(QPointF(10.9, -3.7)), shape->pix2gcp(QPointF(10, -3)));
    const QPointF back = shape->gcp2pix(shape->pix2gcp(QPointF(10, -3)));
    QVERIFY(qAbs(back.x() - 10) < 1e-6 && qAbs(back.y() + 3) < 1e-6);
    QCOMPARE(kstVectorShape::validGcp(GCP(0, 89), scene.projection()), scene.projection()->ltGcp());
    QCOMPARE(kstVectorShape::validGcp(GCP(1, 2), scene.projection()), GCP(1, 2));

    // The item sits at the pixel of its extent's top-left corner, relative to
    // the projection's corner; with the edit layer's position that is a view pixel.
    shape->updatePosition(scene.mpp(), scene.projection());
    const QPointF viewPix = scene.view().gcpToPix(shape->ltGcp());
    const QPointF scenePos = shape->scenePos();
    QVERIFY(qAbs(scenePos.x() - viewPix.x()) < 1e-6 && qAbs(scenePos.y() - viewPix.y()) < 1e-6);

    // A shape on no view still converts (default projection, level 0).
    ProbeShape loose(nullptr);
    QCOMPARE(loose.curMpp().x, scene.view().resolution()->mpp(0).x);
    QCOMPARE(loose.curCorr()->correctOut(GCP(1, 2)), GCP(1, 2));
}

QTEST_MAIN(tst_kstVectorShape)
#include "tst_kstVectorShape.moc"
