#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstMixedLayer.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QProcess>
#include <QtTest>

#include <cstring>

using namespace Kestrum;

namespace {

bool sameBytes(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool sameBytes(const QPointF& a, const QPointF& b)
{
    return sameBytes(a.x(), b.x()) && sameBytes(a.y(), b.y());
}

bool sameBytes(const QRectF& a, const QRectF& b)
{
    return sameBytes(a.topLeft(), b.topLeft()) && sameBytes(a.bottomRight(), b.bottomRight());
}

bool sameBytes(const QVector<QPointF>& a, const QVector<QPointF>& b)
{
    return a.size() == b.size() && std::equal(a.cbegin(), a.cend(), b.cbegin(), [](const QPointF& p, const QPointF& q) {
               return sameBytes(p, q);
           });
}

bool sameBytes(const QPainterPath& a, const QPainterPath& b)
{
    if (a.elementCount() != b.elementCount() || a.fillRule() != b.fillRule())
        return false;
    for (int i = 0; i < a.elementCount(); ++i) {
        const QPainterPath::Element p = a.elementAt(i), q = b.elementAt(i);
        if (p.type != q.type || !sameBytes(QPointF(p), QPointF(q)))
            return false;
    }
    return true;
}

bool sameBytes(const QList<VectorShapeLabel__>& a, const QList<VectorShapeLabel__>& b)
{
    if (a.size() != b.size())
        return false;
    for (int i = 0; i < a.size(); ++i)
        if (a.at(i).text != b.at(i).text || !sameBytes(a.at(i).angle, b.at(i).angle)
            || !sameBytes(a.at(i).rect, b.at(i).rect))
            return false;
    return true;
}

// The pixel data of a shape of any kind, flattened.
QVector<QPointF> pixelsOf(kstVectorShape* shape)
{
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Point:
        return {static_cast<VectorPoint*>(shape)->pixData()};
    case kstVectorShape::Type_Line:
        return static_cast<VectorLine*>(shape)->pixData();
    case kstVectorShape::Type_Polygon: {
        const Polygon__ p = static_cast<VectorPolygon*>(shape)->pixData();
        QVector<QPointF> all = p.outer;
        for (const QPolygonF& ring : p.inner)
            all << QPointF(-1e300, -1e300) << ring;
        return all;
    }
    case kstVectorShape::Type_Rect:
        return static_cast<VectorRect*>(shape)->pixData();
    case kstVectorShape::Type_Circle: {
        const Circle__ c = static_cast<VectorCircle*>(shape)->pixData();
        return QVector<QPointF>(c.ring) << c.center;
    }
    default:
        return {};
    }
}

// Where the first shapes of two layers differ, or an empty text.
QString firstDifference(const kstVectorLayer* expected, const kstVectorLayer* got, int count)
{
    const QList<kstVectorShape*> a = shapesOf(expected), b = shapesOf(got);
    for (int i = 0; i < count; ++i) {
        kstVectorShape *s = a.at(i), *t = b.at(i);
        const char* what = !sameBytes(pixelsOf(s), pixelsOf(t))                 ? "pixels"
                         : !sameBytes(s->brc(), t->brc())                       ? "bounding rectangle"
                         : !sameBytes(s->pos(), t->pos())                       ? "position"
                         : !sameBytes(s->shapePath(), t->shapePath())           ? "shape path"
                         : !sameBytes(s->labels(), t->labels())                 ? "labels"
                         : !sameBytes(s->labelWindow(), t->labelWindow())       ? "label window"
                         : !(s->ltGcp() == t->ltGcp() && s->rbGcp() == t->rbGcp()) ? "extent"
                         : !sameBytes(s->vertexs().value(0).lon(), t->vertexs().value(0).lon()) ? "geometry"
                                                                                  : nullptr;
        if (what)
            return QStringLiteral("shape %1 (kind %2): %3").arg(i).arg(s->shapeType()).arg(QLatin1String(what));
    }
    return QString();
}

} // namespace

class tst_kstParallelUpdate : public QObject
{
    Q_OBJECT

private slots:
    void hostEventLoopSurvivesParallelUpdates();
    void parallelUpdatesEqualSequentialOnes();
};

void tst_kstParallelUpdate::hostEventLoopSurvivesParallelUpdates()
{
    // Run as its own process: a crash there must not take the test with it.
    QProcess host;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    host.setProcessEnvironment(environment);
    host.start(QStringLiteral(KST_PARALLEL_UPDATE_HOST), QStringList());
    QVERIFY2(host.waitForStarted(), qPrintable(host.errorString()));
    QVERIFY(host.waitForFinished(300000));
    const QString output = QString::fromLocal8Bit(host.readAllStandardError() + host.readAllStandardOutput());
    QVERIFY2(host.exitStatus() == QProcess::NormalExit && host.exitCode() == 0, qPrintable(output.right(4000)));
    QVERIFY2(!output.contains(QStringLiteral("another thread")), qPrintable(output.left(4000)));
}

void tst_kstParallelUpdate::parallelUpdatesEqualSequentialOnes()
{
    // 999 shapes are updated on the GUI thread, 1000 and 1600 on the pool;
    // the first 999 are the same shapes in all three and must end byte-equal
    // through zooms, pans, selections, configuration and correction changes.
    const QList<int> sizes{999, 1000, 1600};
    QList<ShapeTestScene*> scenes;
    QList<kstVectorLayer*> layers;
    for (int size : sizes) {
        scenes << new ShapeTestScene(GCP(110, 35), 7);
        layers << mixedLayer(size, 29);
        scenes.last()->layer().insertLayer(layers.last(), 0);
    }
    const auto compareAll = [&](const char* step) {
        for (int i = 1; i < scenes.size(); ++i) {
            const QString difference = firstDifference(layers.first(), layers.at(i), sizes.first());
            QVERIFY2(difference.isEmpty(), qPrintable(QStringLiteral("%1 shapes, after %2: %3")
                                                          .arg(sizes.at(i)).arg(QLatin1String(step), difference)));
        }
    };
    compareAll("insertion");

    ShiftCorrection shift(0.002, -0.001);
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < scenes.size(); ++i) {
            ShapeTestScene* scene = scenes.at(i);
            const QList<kstVectorShape*> shapes = shapesOf(layers.at(i));
            scene->layer().selectShape(shapes.at(round * 37 + 1));
            scene->layer().selectShape(shapes.at(round * 37 + 2));
            scene->zoomTo(round % 2 ? 11 - round : 5 + round);
            scene->view().panBy(QPointF(90 * round, -40));
            if (round == 3) {
                scene->view().setConfig(nullptr, nullptr, &shift);
                scene->layer().correctInShapes();
                scene->layer().showVectorLayer();
            }
            if (round == 5) {
                scene->layer().correctOutShapes();
                scene->view().setConfig(nullptr, nullptr, nullptr);
            }
            QCoreApplication::processEvents();
        }
        compareAll(round == 3 ? "a correction" : "a zoom");
    }
    // Pixel data follow the view as the pool left them.
    for (int i = 0; i < scenes.size(); ++i) {
        auto* line = static_cast<VectorLine*>(shapesOf(layers.at(i)).at(1));
        const QPointF drawn = line->mapToScene(line->pixData().first());
        QVERIFY(QLineF(drawn, scenes.at(i)->view().gcpToPix(GCP(line->geoData().first()))).length() < 1e-6);
    }
    for (int i = 0; i < scenes.size(); ++i) {
        scenes.at(i)->layer().removeLayer(layers.at(i));
        kstVectorLayer::destoryLayer(layers.at(i));
        delete scenes.at(i);
    }
}

QTEST_MAIN(tst_kstParallelUpdate)
#include "tst_kstParallelUpdate.moc"
