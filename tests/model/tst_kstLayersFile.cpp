#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstLayersFile.h"
#include "kstSampleLayer.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorStyle.h"

#include <QBitArray>
#include <QBitmap>
#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QColorSpace>
#include <QCursor>
#include <QDateTime>
#include <QEasingCurve>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeySequence>
#include <QMatrix4x4>
#include <QPalette>
#include <QQuaternion>
#include <QRegion>
#include <QSizePolicy>
#include <QTemporaryDir>
#include <QTextFormat>
#include <QTimeZone>
#include <QUuid>
#include <QVector2D>
#include <QVector3D>
#include <QVector4D>
#include <QtTest>

#include <csignal>
#include <cstring>
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

// While alive, any allocation beyond a generous margin over what the process
// uses now fails (and so aborts the test).
class AddressSpaceLimit
{
public:
    AddressSpaceLimit()
    {
        getrlimit(RLIMIT_AS, &m_saved);
        QFile statm(QStringLiteral("/proc/self/statm"));
        const long pages = statm.open(QIODevice::ReadOnly) ? statm.readAll().split(' ').first().toLong() : 0;
        rlimit bounded = m_saved;
        bounded.rlim_cur = rlim_t(pages) * sysconf(_SC_PAGESIZE) + (rlim_t(512) << 20);
        m_active = pages > 0 && setrlimit(RLIMIT_AS, &bounded) == 0;
    }
    ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &m_saved); }
    bool isActive() const { return m_active; }

private:
    rlimit m_saved{};
    bool m_active = false;
};

QList<kstVectorLayer*> loadBytes(const QString& file, const QByteArray& bytes, bool* ok = nullptr)
{
    writeBytes(file, bytes);
    QList<kstVectorLayer*> layers;
    const bool loaded = kstVectorLayer::loadLayers(layers, file);
    if (ok)
        *ok = loaded;
    return layers;
}

QImage argb(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32);
}

// Equality of attribute values, by what they show for pictures, cursors and
// icons, whose own comparison looks at cache keys.
bool sameValue(const QVariant& a, const QVariant& b)
{
    if (a.userType() != b.userType())
        return false;
    switch (a.userType()) {
    case QMetaType::QPixmap: return argb(a.value<QPixmap>().toImage()) == argb(b.value<QPixmap>().toImage());
    case QMetaType::QBitmap: return argb(a.value<QBitmap>().toImage()) == argb(b.value<QBitmap>().toImage());
    case QMetaType::QImage: return argb(a.value<QImage>()) == argb(b.value<QImage>());
    case QMetaType::QIcon:
        return argb(a.value<QIcon>().pixmap(QSize(4, 4)).toImage()) == argb(b.value<QIcon>().pixmap(QSize(4, 4)).toImage());
    case QMetaType::QCursor:
        return a.value<QCursor>().shape() == b.value<QCursor>().shape()
            && argb(a.value<QCursor>().pixmap().toImage()) == argb(b.value<QCursor>().pixmap().toImage());
    default:
        break;
    }
    if (a.userType() == QMetaType::QBrush && a.value<QBrush>().style() == Qt::TexturePattern) {
        const QBrush x = a.value<QBrush>();
        const QBrush y = b.value<QBrush>();
        return y.style() == Qt::TexturePattern && x.color() == y.color() && x.transform() == y.transform()
            && argb(x.textureImage()) == argb(y.textureImage());
    }
    // Qt compares text formats by the order their properties were set in.
    if (a.userType() == QMetaType::QTextFormat)
        return a.value<QTextFormat>().properties() == b.value<QTextFormat>().properties();
    if (a.userType() == qMetaTypeId<GCP>())
        return a.value<GCP>() == b.value<GCP>();
    return a == b;
}

// One value of every type a QVariant can stream, nested containers included.
QVariantMap streamableValues()
{
    QPixmap picture(3, 2);
    picture.fill(QColor(10, 20, 30, 200));
    QBitmap mask(8, 8);
    mask.clear();
    QLinearGradient gradient(0, 0, 1, 1);
    gradient.setColorAt(0.25, Qt::red);
    QEasingCurve elastic(QEasingCurve::OutElastic);
    elastic.setAmplitude(2.0);
    QEasingCurve bezier(QEasingCurve::BezierSpline);
    bezier.addCubicBezierSegment(QPointF(0.1, 0.2), QPointF(0.3, 0.4), QPointF(1, 1));
    QTextCharFormat format;
    format.setFontWeight(75);
    format.setForeground(Qt::blue);
    format.setProperty(QTextFormat::UserProperty, QVariantList{1, QStringLiteral("two")});
    const QVariant inner(5);
    const QDate date(2024, 2, 29);
    const QTime time(13, 14, 15, 16);

    QVariantMap m{
        {"bool", true}, {"int", -7}, {"uint", 7u}, {"longlong", -(qlonglong(1) << 40)}, {"ulonglong", ~qulonglong(0)},
        {"double", 2.5}, {"float", QVariant::fromValue(1.5f)}, {"short", QVariant::fromValue<short>(-3)},
        {"ushort", QVariant::fromValue<ushort>(3)}, {"char", QVariant::fromValue<char>('c')},
        {"schar", QVariant::fromValue<signed char>(-5)}, {"uchar", QVariant::fromValue<uchar>(250)},
        {"long", QVariant::fromValue<long>(-9)}, {"ulong", QVariant::fromValue<ulong>(9)}, {"qchar", QChar(0x4e2d)},
        {"string", QStringLiteral("中文 text")}, {"emptyString", QString(QLatin1String(""))}, {"nullString", QString()},
        {"stringList", QStringList{QStringLiteral("a"), QString()}}, {"bytes", QByteArray("\0\1\2", 3)},
        {"byteList", QVariant::fromValue(QByteArrayList{"x", "yz"})}, {"bits", QBitArray(13, true)}, {"date", date},
        {"time", time}, {"dateTimeUtc", QDateTime(date, time, Qt::UTC)},
        {"dateTimeLocal", QDateTime(date, time, Qt::LocalTime)},
        {"dateTimeOffset", QDateTime(date, time, Qt::OffsetFromUTC, 3600)},
        {"dateTimeFixedZone", QDateTime(date, time, QTimeZone(7200))},
        {"url", QUrl(QStringLiteral("https://example.org/a b?x=1"))},
        {"uuid", QUuid(QStringLiteral("{67C8770B-44F1-410A-AB9A-F9B5446F13EE}"))},
        {"locale", QLocale(QLocale::Chinese, QLocale::China)}, {"rect", QRect(1, 2, 3, 4)},
        {"rectF", QRectF(1.5, 2, 3, 4)}, {"size", QSize(5, 6)}, {"sizeF", QSizeF(5.5, 6)},
        {"line", QLine(1, 2, 3, 4)}, {"lineF", QLineF(1, 2.5, 3, 4)}, {"point", QPoint(7, 8)},
        {"pointF", QPointF(116.4, 39.9)},
        {"regExp", QRegExp(QStringLiteral("a*b"), Qt::CaseInsensitive, QRegExp::Wildcard)},
        {"regularExpression", QRegularExpression(QStringLiteral("^\\d+$"), QRegularExpression::CaseInsensitiveOption)},
        {"easing", QEasingCurve(QEasingCurve::InOutQuad)}, {"easingElastic", elastic}, {"easingBezier", bezier},
        {"jsonValue", QJsonValue(QJsonObject{{QStringLiteral("k"), 1}})},
        {"jsonObject", QJsonObject{{QStringLiteral("k"), QJsonArray{1, true}}}},
        {"jsonArray", QJsonArray{QStringLiteral("v"), 2.5}}, {"jsonDocument", QJsonDocument(QJsonArray{1})},
        {"cborValue", QVariant::fromValue(QCborValue(QCborMap{{1, QStringLiteral("x")}}))},
        {"cborArray", QVariant::fromValue(QCborArray{1, QByteArray("b"), QCborValue(QCborSimpleType(40))})},
        {"cborMap", QVariant::fromValue(QCborMap{{QStringLiteral("m"), 2.5}})},
        {"cborSimple", QVariant::fromValue(QCborSimpleType(40))}, {"nullptr", QVariant::fromValue(nullptr)},
        {"invalid", QVariant()}, {"nullInt", QVariant(QVariant::Int)},
        {"variantOfVariant", QVariant(QMetaType::QVariant, &inner)},
        {"list", QVariantList{1, QVariantMap{{QStringLiteral("deep"), QVariantList{QPointF(1, 2), elastic}}}}},
        {"hash", QVariantHash{{QStringLiteral("h"), QColor(Qt::red)}}},
        {"gcp", QVariant::fromValue(GCP(116.4, 39.9))}, {"color", QColor(1, 2, 3, 4)},
        {"font", QFont(QStringLiteral("Serif"), 11)}, {"pen", QPen(Qt::red, 2, Qt::DashLine)},
        {"brush", QBrush(gradient)}, {"textureBrush", QBrush(picture)}, {"pixmap", picture},
        {"image", picture.toImage()}, {"bitmap", mask}, {"icon", QIcon(picture)},
        {"cursor", QCursor(Qt::CrossCursor)}, {"pixmapCursor", QCursor(picture, 1, 1)},
        {"bitmapCursor", QCursor(mask, mask, 2, 2)},
        {"polygon", QPolygon(QVector<QPoint>{QPoint(1, 2), QPoint(3, 4)})},
        {"polygonF", QPolygonF(QVector<QPointF>{QPointF(1, 2), QPointF(3, 4.5)})},
        {"region", QRegion(0, 0, 10, 10) + QRegion(20, 0, 5, 5)},
        {"keySequence", QKeySequence(QStringLiteral("Ctrl+A, B"))},
        {"textLength", QTextLength(QTextLength::PercentageLength, 50)},
        {"textFormat", QVariant::fromValue(QTextFormat(format))}, {"transform", QTransform(1, 2, 3, 4, 5, 6)},
        {"matrix4x4", QMatrix4x4(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)},
        {"vector2D", QVector2D(1, 2)}, {"vector3D", QVector3D(1, 2, 3)}, {"vector4D", QVector4D(1, 2, 3, 4)},
        {"quaternion", QQuaternion(1, 2, 3, 4)}, {"colorSpace", QColorSpace(QColorSpace::SRgb)},
        {"palette", QPalette(Qt::darkCyan)}, {"sizePolicy", QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed)}};
    if (QTimeZone::isTimeZoneIdAvailable("Asia/Shanghai"))
        m[QStringLiteral("dateTimeZone")] = QDateTime(date, time, QTimeZone("Asia/Shanghai"));
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    m[QStringLiteral("matrix")] = QVariant::fromValue(QMatrix(1, 2, 3, 4, 5, 6));
    QT_WARNING_POP
    return m;
}

// A layer of `count` line collects with fids 1 to count.
kstVectorLayer* lineLayer(const QString& name, int count)
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = name;
    for (int fid = 1; fid <= count; ++fid) {
        addShape(layer, quint64(fid), new VectorLine({QPointF(fid, 1), QPointF(fid, 2)}, nullptr), 2);
        layer->m_collects[quint64(fid)]->m_fields = {{QStringLiteral("name"), QStringLiteral("line %1").arg(fid)},
                                                     {QStringLiteral("n"), fid}};
    }
    return layer;
}

// What `write` puts on a stream of the layers file's version.
template <class Write>
QByteArray expect(Write write)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_5_15);
    write(out);
    return bytes;
}

template <class Value>
QByteArray recordBytes(const Value& value)
{
    return expect([&value](QDataStream& out) { out << value; });
}

// A device that is not a buffer, unbuffered, counting what it hands out.
class CountingDevice : public QIODevice
{
public:
    explicit CountingDevice(const QByteArray& data) : m_data(data) {}
    qint64 delivered() const { return m_delivered; }
    qint64 size() const override { return m_data.size(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const qint64 n = std::min(maxSize, m_data.size() - pos());
        std::memcpy(data, m_data.constData() + pos(), size_t(n));
        m_delivered += n;
        return n;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_data;
    qint64 m_delivered = 0;
};

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
    void everyStreamableAttributeValueRoundTrips();
    void cutFilesKeepTheCollectsBeforeTheCut();
    void hostileAttributeValuesStopTheLoadCleanly();
    void recordsReadFromOtherDevicesCostWhatTheyHold();
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

    // Every stored value came back where it belongs: saved again, the file is the same to the byte.
    const QString again = m_dir.filePath(QStringLiteral("round-again.kst"));
    QVERIFY(kstVectorLayer::saveLayers(loaded, again));
    QCOMPARE(bytesOf(again), bytesOf(file));
    // What the file does not store: defaults, links, extents and item state.
    const kstVectorLayer* b = loaded.first();
    QCOMPARE(b->m_polygonFillBrush, kstVectorLayer().m_polygonFillBrush);
    // The default marker is shared, not decoded anew.
    QCOMPARE(loaded.at(1)->m_markerIcon.cacheKey(), kstVectorStyle::markerIcon_default.cacheKey());
    const kstVectorCollect* c = b->m_collects.value(7);
    QCOMPARE(c->m_layer, b);
    auto* line = dynamic_cast<VectorLine*>(c->m_shapes.at(1));
    QVERIFY(line && c->m_shapes.at(0)->shapeCollect() == c && line->shapeCollectIndex() == 1);
    QVERIFY(!line->isVisible());
    QCOMPARE(line->rbGcp(), GCP(5, 1));
    QCOMPARE(static_cast<VectorRect*>(b->m_collects.value(3)->m_shapes.first())->fillBrush().texture().size(), QSize(3, 2));

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
    VectorLine line({QPointF(1, 2), QPointF(3, 4)}, nullptr);
    QCOMPARE(recordBytes(line), expect([&](QDataStream& out) {
                 out << quint32(2) << 1.0 << 2.0 << 3.0 << 4.0 << line.linePen() << true;
             }));
    VectorPoint point(QPointF(5, 6), nullptr);
    QCOMPARE(recordBytes(point), expect([&](QDataStream& out) {
                 out << 5.0 << 6.0 << qint32(0) << qint32(8) << point.pointBorderPen() << point.pointFillBrush()
                     << qint32(17) << qint32(31) << point.markerIcon() << true;
             }));
    VectorRect rect(QPolygonF() << QPointF(0, 1) << QPointF(1, 1) << QPointF(1, 0) << QPointF(0, 0), nullptr);
    QCOMPARE(recordBytes(rect), expect([&](QDataStream& out) {
                 out << rect.geoData() << rect.borderPen() << rect.fillBrush() << true;
             }));
    kstVectorCollect collect;
    collect.m_fid = 42;
    QCOMPARE(recordBytes(collect), expect([](QDataStream& out) {
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

    AddressSpaceLimit limit;
    QVERIFY(limit.isActive());

    const QString variant = m_dir.filePath(QStringLiteral("variant.kst"));
    auto load = [&](const QByteArray& bytes) {
        bool ok = false;
        QList<kstVectorLayer*> layers = loadBytes(variant, bytes, &ok);
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

void tst_kstLayersFile::everyStreamableAttributeValueRoundTrips()
{
    const QString file = m_dir.filePath(QStringLiteral("values.kst"));
    const QVariantMap values = streamableValues();
    kstVectorLayer* first = lineLayer(QStringLiteral("first"), 2);
    first->m_collects[1]->m_fields = values;
    // The second layer holds a record larger than the reader's chunk of the file.
    kstVectorLayer* second = lineLayer(QStringLiteral("second"), 1);
    QVector<QPointF> longLine;
    for (int i = 0; i < 50000; ++i)
        longLine << QPointF(i * 1e-4, std::sin(i * 1e-3));
    addShape(second, 2, new VectorLine(longLine, nullptr), 2);
    QList<kstVectorLayer*> saved{first, second};
    QVERIFY(kstVectorLayer::saveLayers(saved, file));

    QList<kstVectorLayer*> loaded;
    QVERIFY(kstVectorLayer::loadLayers(loaded, file));
    // Nothing after the values is lost.
    QCOMPARE(loaded.size(), 2);
    QCOMPARE(loaded.at(0)->m_collects.keys(), QList<quint64>({1, 2}));
    QCOMPARE(loaded.at(0)->m_collects.value(2)->m_fields, saved.at(0)->m_collects.value(2)->m_fields);
    QCOMPARE(loaded.at(1)->m_name, QStringLiteral("second"));
    QCOMPARE(static_cast<VectorLine*>(loaded.at(1)->m_collects.value(2)->m_shapes.first())->geoData(), longLine);
    const QVariantMap got = loaded.at(0)->m_collects.value(1)->m_fields;
    QCOMPARE(got.keys(), values.keys());
    for (auto it = values.begin(); it != values.end(); ++it)
        QVERIFY2(sameValue(it.value(), got.value(it.key())), qPrintable(it.key()));
    // Curves work after loading, their functions taken from this process.
    QCOMPARE(got.value(QStringLiteral("easingElastic")).value<QEasingCurve>().valueForProgress(0.3),
             values.value(QStringLiteral("easingElastic")).value<QEasingCurve>().valueForProgress(0.3));

    // Saved again, the file is the same to the byte.
    const QString again = m_dir.filePath(QStringLiteral("values-again.kst"));
    QVERIFY(kstVectorLayer::saveLayers(loaded, again));
    QCOMPARE(bytesOf(again), bytesOf(file));
    destroyAll(saved);
    destroyAll(loaded);
}

void tst_kstLayersFile::cutFilesKeepTheCollectsBeforeTheCut()
{
    constexpr int kCollects = 200;
    const QString file = m_dir.filePath(QStringLiteral("cut.kst"));
    QList<kstVectorLayer*> saved{lineLayer(QStringLiteral("many"), kCollects), lineLayer(QStringLiteral("next"), 3)};
    QVERIFY(kstVectorLayer::saveLayers(saved, file));
    const QByteArray good = bytesOf(file);

    // Where each collect record of the first layer ends in the file.
    QVector<int> ends;
    int at = good.indexOf(recordBytes(*saved.first()->m_collects.first()));
    QVERIFY(at > 0);
    ends << at;
    for (const kstVectorCollect* collect : saved.first()->m_collects) {
        const QByteArray record = recordBytes(*collect);
        QCOMPARE(good.mid(at, record.size()), record);
        at += record.size();
        ends << at;
    }

    const QString variant = m_dir.filePath(QStringLiteral("cut-variant.kst"));
    for (int k = 0; k <= kCollects; ++k) {
        for (int extra : {0, 1, 17}) {
            if (k < kCollects && ends.at(k) + extra >= ends.at(k + 1))
                continue;
            bool ok = false;
            QList<kstVectorLayer*> layers = loadBytes(variant, good.left(ends.at(k) + extra), &ok);
            QVERIFY(ok);
            QCOMPARE(layers.size(), 1);
            QCOMPARE(layers.first()->m_collects.size(), k);
            if (k > 0) {
                QCOMPARE(layers.first()->m_collects.lastKey(), quint64(k));
                QCOMPARE(layers.first()->m_collects.last()->m_shapes.size(), 1);
            }
            destroyAll(layers);
        }
    }
    // Cut inside the second layer's collects: that layer keeps what it has.
    QList<kstVectorLayer*> layers = loadBytes(variant, good.left(good.size() - 5));
    QCOMPARE(layers.size(), 2);
    QCOMPARE(layers.at(0)->m_collects.size(), kCollects);
    QCOMPARE(layers.at(1)->m_collects.keys(), QList<quint64>({1, 2}));
    destroyAll(layers);
    destroyAll(saved);
}

namespace {

// Stream bytes of one attribute value, given by its type id and payload.
QByteArray variantBytes(quint32 type, const QByteArray& payload)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << type << qint8(0);
    out.writeRawData(payload.constData(), payload.size());
    return bytes;
}

QByteArray be32(quint32 v) { return recordBytes(v); }
QByteArray utf16(const char* text) { return recordBytes(QString::fromLatin1(text)); }

} // namespace

void tst_kstLayersFile::hostileAttributeValuesStopTheLoadCleanly()
{
    // Collect 2 holds a value whose bytes are replaced below; collects 1 and 3
    // are plain.
    const QString file = m_dir.filePath(QStringLiteral("hostile.kst"));
    const QByteArray marker("MARKER-MARKER-MARKER");
    kstVectorLayer* layer = lineLayer(QStringLiteral("hostile"), 3);
    layer->m_collects[2]->m_fields = {{QStringLiteral("x"), marker}};
    QVERIFY(kstVectorLayer::saveLayers({layer}, file));
    kstVectorLayer::destoryLayer(layer);
    const QByteArray good = bytesOf(file);
    const QByteArray markerValue = variantBytes(QMetaType::QByteArray, be32(quint32(marker.size())) + marker);
    const int at = good.indexOf(markerValue);
    QVERIFY(at > 0);
    auto withValue = [&](const QByteArray& value) {
        return good.left(at) + value + good.mid(at + markerValue.size());
    };

    QByteArray deepVariant;
    for (int i = 0; i < 100000; ++i)
        deepVariant += variantBytes(QMetaType::QVariant, QByteArray());
    QByteArray deepCbor(100000, char(0x81)); // arrays of one element, nested
    const QByteArray png("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\xc3\x50\0\0\xc3\x50\x08\x06\0\0\0\0\0\0\0", 33);
    const QList<QPair<const char*, QByteArray>> hostile{
        {"bit array longer than the file", variantBytes(QMetaType::QBitArray, be32(0xFFFFFFF0u) + "ab")},
        {"list of 2^31 values", variantBytes(QMetaType::QVariantList, be32(0x7FFFFFFFu))},
        {"string list of 2^28 strings", variantBytes(QMetaType::QStringList, be32(0x10000000u))},
        {"polygon of 2^28 points", variantBytes(QMetaType::QPolygonF, be32(0x0FFFFFFFu))},
        {"region of a million rectangles",
         variantBytes(QMetaType::QRegion, be32(8 + 16 * 1000000) + be32(10) + be32(1000000))},
        {"CBOR array of 2^64 items", variantBytes(QMetaType::QCborValue, be32(9) + "\x9b\xff\xff\xff\xff\xff\xff\xff\xff")},
        {"CBOR nested 100000 deep", variantBytes(QMetaType::QCborValue, be32(deepCbor.size()) + deepCbor)},
        {"variant nested 100000 deep", variantBytes(QMetaType::QVariant, deepVariant)},
        {"picture claiming 50000 x 50000 pixels", variantBytes(QMetaType::QImage, be32(1) + png)},
        {"icon loaded from a file",
         variantBytes(QMetaType::QIcon, utf16("QPixmapIconEngine") + be32(1) + be32(0) + utf16("/etc/passwd")
                                            + QByteArray(16, '\0'))},
        {"icon of a theme", variantBytes(QMetaType::QIcon, utf16("QIconLoaderEngine") + utf16("../../x"))},
        {"string of odd length", variantBytes(QMetaType::QString, be32(3) + "abc")},
        {"unknown type", variantBytes(999, QByteArray(64, '\0'))},
        {"pointer type", variantBytes(QMetaType::VoidStar, QByteArray(8, '\0'))},
        {"unknown user type", variantBytes(1024, be32(5) + QByteArray("Evil\0", 5) + QByteArray(64, '\0'))},
    };
    const QString variant = m_dir.filePath(QStringLiteral("hostile-variant.kst"));
    {
        AddressSpaceLimit limit;
        QVERIFY(limit.isActive());
        for (const auto& value : hostile) {
            QList<kstVectorLayer*> layers = loadBytes(variant, withValue(value.second));
            QVERIFY2(layers.size() == 1, value.first);
            QVERIFY2(layers.first()->m_collects.keys() == QList<quint64>{1}, value.first);
            destroyAll(layers);
        }
    }

    // An easing curve carries the address of a function; what is loaded uses
    // this process's own function for its type, or none.
    for (const auto& [type, half] : {std::make_pair(QEasingCurve::InQuad, 0.25), std::make_pair(QEasingCurve::Custom, 0.5)}) {
        const QByteArray curveBytes = be32(type).right(1) + QByteArray("\xde\xad\xbe\xef\xde\xad\xbe\xef") + '\0';
        QList<kstVectorLayer*> layers = loadBytes(variant, withValue(variantBytes(QMetaType::QEasingCurve, curveBytes)));
        QCOMPARE(layers.first()->m_collects.size(), 3);
        const QEasingCurve curve = layers.first()->m_collects.value(2)->m_fields.value(QStringLiteral("x")).value<QEasingCurve>();
        QCOMPARE(curve, type == QEasingCurve::Custom ? QEasingCurve() : QEasingCurve(type));
        QCOMPARE(curve.valueForProgress(0.5), half);
        destroyAll(layers);
    }
}

void tst_kstLayersFile::recordsReadFromOtherDevicesCostWhatTheyHold()
{
    constexpr int kCollects = 2000;
    kstVectorLayer* layer = lineLayer(QStringLiteral("stream"), kCollects);
    QByteArray bytes;
    int half = 0;
    for (const kstVectorCollect* collect : layer->m_collects) {
        bytes += recordBytes(*collect);
        if (collect->m_fid == kCollects / 2)
            half = bytes.size();
    }

    CountingDevice device(bytes);
    QVERIFY(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QDataStream in(&device);
    in.setVersion(QDataStream::Qt_5_15);
    for (const kstVectorCollect* expected : layer->m_collects) {
        kstVectorCollect collect;
        in >> collect;
        QCOMPARE(in.status(), QDataStream::Ok);
        QCOMPARE(collect.m_fid, expected->m_fid);
        QCOMPARE(collect.m_fields, expected->m_fields);
        QCOMPARE(collect.m_shapes.size(), 1);
        qDeleteAll(collect.m_shapes);
    }
    QVERIFY(device.atEnd());
    // Each record is looked at through windows a few times its own size, never
    // through a copy of everything that follows it.
    QVERIFY2(device.delivered() < 4 * bytes.size(), qPrintable(QString::number(device.delivered())));

    // A damaged record ends reading there, with the records before it intact.
    QByteArray damaged = bytes.left(half + 10);
    CountingDevice shortDevice(damaged);
    QVERIFY(shortDevice.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QDataStream shortIn(&shortDevice);
    int read = 0;
    for (;;) {
        kstVectorCollect collect;
        shortIn >> collect;
        qDeleteAll(collect.m_shapes);
        if (shortIn.status() != QDataStream::Ok)
            break;
        ++read;
    }
    QCOMPARE(read, kCollects / 2);
    QCOMPARE(shortIn.status(), QDataStream::ReadPastEnd);
    kstVectorLayer::destoryLayer(layer);
}

QTEST_MAIN(tst_kstLayersFile)
#include "tst_kstLayersFile.moc"
