#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstLayersFile.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Kestrum;

namespace {

int g_liveShapes = 0;
int g_liveCollects = 0;

class CountedLine : public VectorLine
{
public:
    explicit CountedLine(const QVector<QPointF>& points) : VectorLine(points, nullptr) { ++g_liveShapes; }
    ~CountedLine() override { --g_liveShapes; }
};

class CountedCollect : public kstVectorCollect
{
public:
    CountedCollect() { ++g_liveCollects; }
    ~CountedCollect() override { --g_liveCollects; }
};

void addShape(kstVectorLayer* layer, quint64 fid, kstVectorShape* shape, int type)
{
    kstVectorCollect* collect = layer->m_collects.value(fid);
    if (!collect) {
        collect = new kstVectorCollect;
        collect->m_layer = layer;
        collect->m_fid = fid;
        collect->m_geometryType = type;
        layer->m_collects.insert(fid, collect);
    }
    shape->setShapeCollect(collect, collect->m_shapes.size());
    shape->updateExtent();
    collect->m_shapes.append(shape);
}

// A layer that uses every stored field and every shape kind.
kstVectorLayer* fullLayer()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QStringLiteral("省界 Провинции");
    layer->m_srsWkt = QStringLiteral("GEOGCS[\"WGS 84\"]");
    layer->m_fieldNames = {QStringLiteral("名称"), QStringLiteral("pop"), QStringLiteral("when")};
    layer->m_fieldTypes = {4, 12, 11};
    layer->m_pointType = 1;
    layer->m_pointSize = 11;
    layer->m_pointBorderPen = QPen(QColor(1, 2, 3, 4), 2.5, Qt::DashDotLine, Qt::RoundCap, Qt::MiterJoin);
    layer->m_pointFillBrush = QBrush(QColor(9, 8, 7), Qt::CrossPattern);
    layer->m_markerAnchor = QPoint(5, 6);
    QPixmap marker(3, 2);
    marker.fill(Qt::magenta);
    layer->m_markerIcon = marker;
    layer->m_linePen = QPen(Qt::darkGreen, 4);
    layer->m_linePen.setDashPattern({3, 2, 1, 2});
    layer->m_polygonBorderPen = QPen(Qt::darkRed, 1);
    layer->m_polygonFillBrush = QBrush(Qt::cyan);
    layer->m_labelFont = QFont(QStringLiteral("Serif"), 13);
    layer->m_labelTextClr = Qt::yellow;
    layer->m_labelOutlineClr = Qt::darkBlue;
    layer->m_antiAliasing = false;
    layer->m_showLabels = false;
    layer->m_charSet = 18;
    layer->m_labelMode = 2;
    layer->m_labelField = QStringLiteral("名称");

    VectorPoint* point = new VectorPoint(QPointF(116.4, 39.9), nullptr);
    point->setPointType(1);
    point->setPointStyleDirect(12, QPen(Qt::blue, 3), QBrush(Qt::green));
    addShape(layer, 7, point, 1);
    layer->m_collects[7]->m_text = QStringLiteral("北京");
    layer->m_collects[7]->m_fields = {{QStringLiteral("名称"), QStringLiteral("北京市")},
                                      {QStringLiteral("pop"), qlonglong(21893095)},
                                      {QStringLiteral("area"), 16410.54},
                                      {QStringLiteral("when"), QDateTime(QDate(2020, 11, 1), QTime(0, 0), Qt::UTC)},
                                      {QStringLiteral("tags"), QStringList{QStringLiteral("capital"), QStringLiteral("都")}},
                                      {QStringLiteral("ok"), true}};
    VectorLine* line = new VectorLine({QPointF(1, 2), QPointF(3, 4), QPointF(5, 1)}, nullptr);
    line->setShapeVisible(false);
    addShape(layer, 7, line, 1);
    Polygon__ polygon;
    polygon.outer << QPointF(0, 0) << QPointF(10, 0) << QPointF(10, 10) << QPointF(0, 10);
    polygon.inner << (QPolygonF() << QPointF(2, 2) << QPointF(4, 2) << QPointF(3, 4));
    VectorPolygon* area = new VectorPolygon(polygon, nullptr);
    QRadialGradient radial(1, 2, 3);
    radial.setColorAt(0, Qt::red);
    radial.setColorAt(1, Qt::blue);
    area->setStyleDirect(QPen(Qt::black), QBrush(radial));
    addShape(layer, 2, area, 3);
    VectorRect* rect = new VectorRect(QPolygonF() << QPointF(20, 10) << QPointF(22, 10) << QPointF(22, 8)
                                                  << QPointF(20, 8), nullptr);
    rect->setStyleDirect(QPen(Qt::black), QBrush(marker));
    addShape(layer, 3, rect, 3);
    Circle__ circle;
    circle.center = QPointF(30, 30);
    for (int k = 0; k < 8; ++k)
        circle.ring << QPointF(30 + std::cos(k * M_PI / 4), 30 + std::sin(k * M_PI / 4));
    addShape(layer, 4, new VectorCircle(circle, nullptr), 3);
    return layer;
}

QByteArray bytesOf(const QString& file)
{
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeBytes(const QString& file, const QByteArray& bytes)
{
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

void destroyAll(QList<kstVectorLayer*>& layers)
{
    for (kstVectorLayer* layer : layers)
        kstVectorLayer::destoryLayer(layer);
    layers.clear();
}

// Runs `body` in a child process and returns its exit code (-1 when it died).
template <class Body>
int inChild(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

class tst_kstLayersFile : public QObject
{
    Q_OBJECT

private slots:
    void roundTripKeepsWhatTheFileStores();
    void headerAndRecordsHaveTheFixedLayout();
    void refusesForeignFilesAndKeepsTheList();
    void damagedFilesLoadWhatPrecedesTheDamage();
    void failedSavesKeepThePreviousFile();
    void ownershipFollowsTheDisposalFunction();

private:
    QTemporaryDir m_dir;
};

void tst_kstLayersFile::roundTripKeepsWhatTheFileStores()
{
    const QString file = m_dir.filePath(QStringLiteral("round.kst"));
    QList<kstVectorLayer*> saved{fullLayer(), kstVectorLayer::newLayer()};
    QVERIFY(kstVectorLayer::saveLayers(saved, file));

    QList<kstVectorLayer*> loaded{kstVectorLayer::newLayer()};
    kstVectorLayer* previous = loaded.first();
    QVERIFY(kstVectorLayer::loadLayers(loaded, file));
    QCOMPARE(loaded.size(), 2);
    QVERIFY(!loaded.contains(previous)); // emptied, not deleted
    kstVectorLayer::destoryLayer(previous);

    const kstVectorLayer* a = saved.first();
    const kstVectorLayer* b = loaded.first();
    QCOMPARE(b->m_name, a->m_name);
    QCOMPARE(b->m_srsWkt, a->m_srsWkt);
    QCOMPARE(b->m_fieldNames, a->m_fieldNames);
    QCOMPARE(b->m_fieldTypes, a->m_fieldTypes);
    QCOMPARE(b->m_pointType, 1);
    QCOMPARE(b->m_pointSize, 11);
    QCOMPARE(b->m_pointBorderPen, a->m_pointBorderPen);
    QCOMPARE(b->m_pointFillBrush, a->m_pointFillBrush);
    QCOMPARE(b->m_markerAnchor, QPoint(5, 6));
    QCOMPARE(b->m_markerIcon.toImage().convertToFormat(QImage::Format_ARGB32),
             a->m_markerIcon.toImage().convertToFormat(QImage::Format_ARGB32));
    QCOMPARE(b->m_linePen, a->m_linePen);
    QCOMPARE(b->m_polygonBorderPen, a->m_polygonBorderPen);
    QCOMPARE(b->m_polygonFillBrush, kstVectorLayer().m_polygonFillBrush); // not stored
    QCOMPARE(b->m_labelFont.family(), QStringLiteral("Serif"));
    QCOMPARE(b->m_labelTextClr, QColor(Qt::yellow));
    QCOMPARE(b->m_labelOutlineClr, QColor(Qt::darkBlue));
    QVERIFY(!b->m_antiAliasing && !b->m_showLabels);
    QCOMPARE(b->m_charSet, 18);
    QCOMPARE(b->m_labelMode, 2);
    QCOMPARE(b->m_labelField, a->m_labelField);

    QCOMPARE(b->m_collects.keys(), a->m_collects.keys());
    const kstVectorCollect* c = b->m_collects.value(7);
    QCOMPARE(c->m_layer, b);
    QCOMPARE(c->m_text, QStringLiteral("北京"));
    QCOMPARE(c->m_geometryType, 1);
    QCOMPARE(c->m_fields, a->m_collects.value(7)->m_fields);
    QCOMPARE(c->m_shapes.size(), 2);
    auto* point = dynamic_cast<VectorPoint*>(c->m_shapes.at(0));
    auto* line = dynamic_cast<VectorLine*>(c->m_shapes.at(1));
    QVERIFY(point && line);
    QCOMPARE(point->geoData(), QPointF(116.4, 39.9));
    QCOMPARE(point->pointSize(), 12);
    QCOMPARE(point->pointBorderPen(), QPen(Qt::blue, 3));
    QCOMPARE(point->shapeCollect(), c);
    QCOMPARE(line->shapeCollectIndex(), 1);
    QVERIFY(!line->isShapeVisible() && !line->isVisible());
    QCOMPARE(line->rbGcp(), GCP(5, 1)); // the extent follows the read geometry
    auto* area = static_cast<VectorPolygon*>(b->m_collects.value(2)->m_shapes.first());
    QCOMPARE(area->geoData().inner.size(), 1);
    QCOMPARE(area->fillBrush(), static_cast<VectorPolygon*>(a->m_collects.value(2)->m_shapes.first())->fillBrush());
    auto* rect = static_cast<VectorRect*>(b->m_collects.value(3)->m_shapes.first());
    QCOMPARE(rect->geoData().size(), 4);
    QCOMPARE(rect->fillBrush().style(), Qt::TexturePattern);
    QCOMPARE(rect->fillBrush().texture().size(), QSize(3, 2));
    QCOMPARE(static_cast<VectorCircle*>(b->m_collects.value(4)->m_shapes.first())->geoData(),
             static_cast<VectorCircle*>(a->m_collects.value(4)->m_shapes.first())->geoData());

    GCP lt, rb;
    QVERIFY(kstVectorLayer::getLayersExtent(file, lt, rb));
    QCOMPARE(lt, GCP(0, 39.9));
    QCOMPARE(rb, GCP(116.4, 0));
    destroyAll(saved);
    destroyAll(loaded);
}

void tst_kstLayersFile::headerAndRecordsHaveTheFixedLayout()
{
    const QString file = m_dir.filePath(QStringLiteral("layout.kst"));
    QVERIFY(kstVectorLayer::saveLayers({}, file));
    QCOMPARE(bytesOf(file).toHex(), QByteArray("209eda1409c13301" "00000000" "00000000"
                                               "4066800000000000" "c056800000000000"    // (180, -90)
                                               "c066800000000000" "4056800000000000")); // (-180, 90)

    // One record of each kind, pinned against values streamed one by one.
    auto expect = [](auto write) {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_5_15);
        write(out);
        return bytes;
    };
    auto record = [&](const auto& shape) { return expect([&](QDataStream& out) { out << shape; }); };
    VectorLine line({QPointF(1, 2), QPointF(3, 4)}, nullptr);
    QCOMPARE(record(line), expect([&](QDataStream& out) {
                 out << quint32(2) << 1.0 << 2.0 << 3.0 << 4.0 << line.linePen() << true;
             }));
    VectorPoint point(QPointF(5, 6), nullptr);
    QCOMPARE(record(point), expect([&](QDataStream& out) {
                 out << 5.0 << 6.0 << qint32(0) << qint32(8) << point.pointBorderPen() << point.pointFillBrush()
                     << qint32(17) << qint32(31) << point.markerIcon() << true;
             }));
    VectorRect rect(QPolygonF() << QPointF(0, 1) << QPointF(1, 1) << QPointF(1, 0) << QPointF(0, 0), nullptr);
    QCOMPARE(record(rect), expect([&](QDataStream& out) {
                 out << rect.geoData() << rect.borderPen() << rect.fillBrush() << true;
             }));
    kstVectorCollect collect;
    collect.m_fid = 42;
    QCOMPARE(record(collect), expect([](QDataStream& out) {
                 out << qint64(42) << QString() << qint32(0) << QMap<QString, QVariant>() << qint32(0);
             }));
}

void tst_kstLayersFile::refusesForeignFilesAndKeepsTheList()
{
    const QString file = m_dir.filePath(QStringLiteral("foreign.kst"));
    writeBytes(file, QByteArray("GIF89a, not a layers file"));
    QList<kstVectorLayer*> layers{kstVectorLayer::newLayer()};
    QTest::ignoreMessage(QtDebugMsg, "layers buf file error : magicNum verification failed!");
    QVERIFY(!kstVectorLayer::loadLayers(layers, file));
    QCOMPARE(layers.size(), 1);
    GCP lt, rb;
    QTest::ignoreMessage(QtDebugMsg, "layers buf file error : magicNum verification failed!");
    QVERIFY(!kstVectorLayer::getLayersExtent(file, lt, rb));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^open layers buf file error:.+")));
    QVERIFY(!kstVectorLayer::loadLayers(layers, m_dir.filePath(QStringLiteral("missing.kst"))));
    QCOMPARE(layers.size(), 1);
    destroyAll(layers);

    // The extent comes from the header alone: what follows it may be anything.
    QVERIFY(kstVectorLayer::saveLayers({}, file));
    writeBytes(file, bytesOf(file) + QByteArray(64, '\xff'));
    QVERIFY(kstVectorLayer::getLayersExtent(file, lt, rb));
    QCOMPARE(lt, GCP(180, -90));
}

void tst_kstLayersFile::damagedFilesLoadWhatPrecedesTheDamage()
{
    const QString file = m_dir.filePath(QStringLiteral("damaged.kst"));
    QList<kstVectorLayer*> source{fullLayer()};
    QVERIFY(kstVectorLayer::saveLayers(source, file));
    destroyAll(source);
    const QByteArray good = bytesOf(file);

    // Any allocation beyond a generous margin over what the process uses now
    // would fail and abort the test.
    rlimit saved{};
    getrlimit(RLIMIT_AS, &saved);
    long pages = 0;
    QFile statm(QStringLiteral("/proc/self/statm"));
    QVERIFY(statm.open(QIODevice::ReadOnly));
    pages = statm.readAll().split(' ').first().toLong();
    rlimit bounded = saved;
    bounded.rlim_cur = rlim_t(pages) * sysconf(_SC_PAGESIZE) + (rlim_t(512) << 20);
    QVERIFY(setrlimit(RLIMIT_AS, &bounded) == 0);

    const QString variant = m_dir.filePath(QStringLiteral("variant.kst"));
    auto load = [&](const QByteArray& bytes) {
        writeBytes(variant, bytes);
        QList<kstVectorLayer*> layers;
        const bool ok = kstVectorLayer::loadLayers(layers, variant);
        destroyAll(layers);
        return ok;
    };
    QTest::ignoreMessage(QtDebugMsg, "layers buf file error : magicNum verification failed!");
    int accepted = 0;
    for (int size = 8; size < good.size(); ++size)
        accepted += load(good.left(size));
    QCOMPARE(accepted, good.size() - 8); // every truncation after the magic loads
    for (int i = 8; i < good.size(); ++i) {
        QByteArray flipped = good;
        flipped[i] = char(flipped[i] ^ 0xA5);
        load(flipped);
        flipped[i] = char(0xFF);
        load(flipped);
    }
    QVERIFY(!load(good.left(7)));
    setrlimit(RLIMIT_AS, &saved);

    // A truncated file still gives back the layers before the damage.
    writeBytes(variant, good.left(good.size() - 20));
    QList<kstVectorLayer*> layers;
    QVERIFY(kstVectorLayer::loadLayers(layers, variant));
    QCOMPARE(layers.size(), 1);
    QCOMPARE(layers.first()->m_name, QStringLiteral("省界 Провинции"));
    QVERIFY(layers.first()->m_collects.contains(2));
    destroyAll(layers);
}

void tst_kstLayersFile::failedSavesKeepThePreviousFile()
{
    const QString file = m_dir.filePath(QStringLiteral("keep.kst"));
    QList<kstVectorLayer*> layers{fullLayer()};
    QVERIFY(kstVectorLayer::saveLayers(layers, file));
    const QByteArray before = bytesOf(file);

    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^open layers buf file error:.+")));
    QVERIFY(!kstVectorLayer::saveLayers(layers, m_dir.filePath(QStringLiteral("no/such/folder/x.kst"))));

    // A disk that fills half-way: the child may write only a few hundred bytes.
    kstVectorLayer* big = fullLayer();
    for (quint64 fid = 100; fid < 400; ++fid)
        addShape(big, fid, new VectorLine({QPointF(fid, 1), QPointF(fid, 2), QPointF(fid, 3)}, nullptr), 2);
    const int code = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{512, 512};
        setrlimit(RLIMIT_FSIZE, &limit);
        return kstVectorLayer::saveLayers({big}, file) ? 1 : 0;
    });
    QCOMPARE(code, 0);
    QCOMPARE(bytesOf(file), before);
    kstVectorLayer::destoryLayer(big);
    destroyAll(layers);
}

void tst_kstLayersFile::ownershipFollowsTheDisposalFunction()
{
    auto makeLayer = [] {
        kstVectorLayer* layer = kstVectorLayer::newLayer();
        for (quint64 fid = 1; fid <= 3; ++fid) {
            auto* collect = new CountedCollect;
            collect->m_layer = layer;
            collect->m_fid = fid;
            collect->m_shapes << new CountedLine({QPointF(0, 0), QPointF(1, 1)});
            layer->m_collects.insert(fid, collect);
        }
        return layer;
    };
    kstVectorLayer* layer = makeLayer();
    QCOMPARE(g_liveShapes, 3);
    const QList<kstVectorCollect*> collects = layer->m_collects.values();
    kstVectorLayer::deleteLayer(layer);
    QCOMPARE(g_liveCollects, 3);
    QCOMPARE(g_liveShapes, 3);
    for (kstVectorCollect* collect : collects)
        kstVectorCollect::destroyCollect(collect);
    QCOMPARE(g_liveCollects, 0);
    QCOMPARE(g_liveShapes, 0);

    layer = makeLayer();
    kstVectorLayer* copy = layer->clone(); // independent contents
    QCOMPARE(copy->m_collects.first()->m_layer, copy);
    QCOMPARE(copy->m_collects.first()->m_shapes.first()->shapeCollect(), copy->m_collects.first());
    kstVectorLayer::destoryLayer(layer);
    QCOMPARE(g_liveCollects, 0);
    QCOMPARE(g_liveShapes, 0);
    QCOMPARE(copy->m_collects.size(), 3);
    kstVectorLayer::destoryLayer(copy);
    kstVectorLayer::destoryLayer(nullptr);
}

QTEST_MAIN(tst_kstLayersFile)
#include "tst_kstLayersFile.moc"
