#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstCodePage.h"
#include "kstExportTestLayers.h"
#include "kstSymbolPictureCache.h"
#include "kstTextCode.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstGdalTestSupport.h"
#include "kstSignalLog.h"
#include "kstWebMercatorProjection.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <gdal_priv.h>
#include <ogr_featurestyle.h>
#include <ogrsf_frmts.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Kestrum;

namespace {

OGRLayer* createLayer(GDALDataset* dataSource, const char* name, const QStringList& fields = {},
                      const char* option = nullptr, int epsg = 4326)
{
    OGRSpatialReference srs = srsOf(qPrintable(QStringLiteral("EPSG:%1").arg(epsg)));
    CPLStringList options;
    if (option)
        options.AddString(option);
    OGRLayer* layer = dataSource->CreateLayer(name, epsg ? &srs : nullptr, wkbUnknown, options.List());
    for (const QString& field : fields) {
        OGRFieldDefn definition(field.toUtf8().constData(), OFTString);
        layer->CreateField(&definition);
    }
    return layer;
}

// A feature from WKT (no geometry when empty); `fill` sets the rest.
void addFeature(OGRLayer* layer, const char* wkt, const std::function<void(OGRFeature&)>& fill = {})
{
    FeaturePtr feature(OGRFeature::CreateFeature(layer->GetLayerDefn()));
    OGRGeometry* geometry = nullptr;
    if (*wkt && OGRGeometryFactory::createFromWkt(wkt, nullptr, &geometry) == OGRERR_NONE)
        feature->SetGeometryDirectly(geometry);
    if (fill)
        fill(*feature);
    QCOMPARE(layer->CreateFeature(feature.get()), OGRERR_NONE);
}

QByteArray encoded(const QString& text, const char* codec)
{
    return QTextCodec::codecForName(codec)->fromUnicode(text);
}

// An importer for a view at level 10 with the host's side of an import:
// layers arrive queued on the GUI thread; every signal is also logged as it
// is sent, with the thread the importer belonged to at that moment.
class Import : public kstVectorFileImport
{
public:
    // Starts an import and waits for its end.
    explicit Import(GDALDataset* dataSource, const QList<int>& indices = {0}) : Import()
    {
        startImport(dataSource, indices);
        ok = wait();
    }
    Import()
    {
        setCurrentMapViewConfig(&m_projection, &m_resolution, 10);
        connect(this, &kstVectorFileImport::layerImport, &sent.host, [this](kstVectorLayer* layer) {
            layers.append(layer);
            onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
        });
        sent.log(&kstVectorFileImport::importStarted, "started");
        sent.log(&kstVectorFileImport::importProgress, "progress");
        sent.log(&kstVectorFileImport::layerImport, "layer");
        sent.log(&kstVectorFileImport::importStoped, "stoped");
        sent.log(&kstVectorFileImport::importFinished, "finished");
    }
    ~Import() override
    {
        stopImport();
        for (kstVectorLayer* layer : qAsConst(layers))
            kstVectorLayer::destoryLayer(layer);
    }

    QStringList names() const { return sent.names(); }
    // Waits for the last signal, then takes the layers queued before it.
    bool wait()
    {
        const auto ended = [this] {
            const QStringList n = names();
            return !n.isEmpty() && (n.last() == QLatin1String("finished") || n.last() == QLatin1String("stoped"));
        };
        if (!isImporting() && !ended())
            return false;
        if (!QTest::qWaitFor(ended, 30000))
            return false;
        QCoreApplication::sendPostedEvents(&sent.host, QEvent::MetaCall);
        return QTest::qWaitFor([this] { return !isImporting(); });
    }

    kstVectorLayer& operator[](int i) const { return *layers.at(i); }
    QList<kstVectorCollect*> collects(int layer = 0) const { return layers.at(layer)->m_collects.values(); }
    template <class Shape>
    Shape* shape(int collect, int i = 0, int layer = 0) const
    {
        return static_cast<Shape*>(collects(layer).at(collect)->m_shapes.at(i));
    }

    kstSignalLog sent{this};
    QList<kstVectorLayer*> layers;
    bool onMainThread = true;
    bool ok = false;
    unsigned long featureDelayUs = 0;

protected:
    QMap<QString, QVariant> getFeatureFields(OGRFeatureDefn* definition, OGRFeature* feature) override
    {
        QThread::usleep(featureDelayUs); // lets a stop request arrive in the middle of a layer
        return kstVectorFileImport::getFeatureFields(definition, feature);
    }

private:
    kstWebMercatorProjection m_projection;
    kstTileResulotion m_resolution;
};

using points = QVector<QPointF>;

} // namespace

class tst_kstVectorFileImport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void shapefileCharacterSets_data();
    void shapefileCharacterSets();
    void codePageSpellings();
    void mapInfoTablesAreGbk();
    void projectedLayerComesBackInDegrees();
    void geometryKinds();
    void attributeValuesKeepTheirTypes();
    void signalOrderThreadsAndStop();
    void badInputNeverCrashes();
    void penAndBrushReaders();
    void styleReferencesAndWalkRules();
    void symbolFilesStayInTheDataFolder();
    void fifoSymbolNeverBlocksTheWorker();
    void symbolPicturesAreSharedAndBounded();
    void extremeStyleLengthsAreClamped();
    void unrepresentableCoordinatesAreRefused();

private:
    // A memory data source in `folder` with one layer of points, one per style.
    GDALDataset* styledPoints(const QString& folder, const QList<QByteArray>& styles,
                              const char* wkt = "POINT(1 1)");
    QTemporaryDir m_dir;
};

void tst_kstVectorFileImport::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // Style tables used by imports are written to the current folder.
    QVERIFY(QDir::setCurrent(m_dir.path()));
    CPLSetErrorHandler(CPLQuietErrorHandler); // GDAL's complaints about the damaged files are expected
    GDALAllRegister();
    QImage flag(12, 8, QImage::Format_ARGB32);
    flag.fill(QColor(200, 30, 30));
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("sym")));
    QVERIFY(flag.save(m_dir.filePath(QStringLiteral("sym/flag.png"))));
}

void tst_kstVectorFileImport::shapefileCharacterSets_data()
{
    QTest::addColumn<QByteArray>("cpg"); // content of the code-page file, or <none> / <folder>
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<int>("charSet");
    QTest::newRow("936") << QByteArray("936") << QByteArray("GBK") << int(kstTextCode::GBK);
    QTest::newRow("none") << QByteArray("<none>") << QByteArray("GBK") << int(kstTextCode::GBK);
    QTest::newRow("gbk") << QByteArray(" gbk\r\n") << QByteArray("GBK") << int(kstTextCode::GBK);
    QTest::newRow("utf-8") << QByteArray("utf-8") << QByteArray("UTF-8") << int(kstTextCode::UTF_8);
    QTest::newRow("unreadable") << QByteArray("<folder>") << QByteArray("GBK") << int(kstTextCode::GBK);
    QTest::newRow("unknown") << QByteArray("Klingon-9") << QByteArray("GBK") << -1;
}

// The file holds the names as bytes of a code page; the code-page file says which.
void tst_kstVectorFileImport::shapefileCharacterSets()
{
    QFETCH(QByteArray, cpg);
    QFETCH(QByteArray, codec);
    QFETCH(int, charSet);
    const QStringList names = {QStringLiteral("北京市"), QStringLiteral("新疆维吾尔自治区"), QStringLiteral("Macau")};
    const QString folder = m_dir.filePath(QStringLiteral("cs_") + QTest::currentDataTag());
    QVERIFY(QDir().mkpath(folder));
    {
        DatasetPtr dataSource = createVector("ESRI Shapefile", folder + QStringLiteral("/places.shp"));
        OGRLayer* layer = createLayer(dataSource.get(), "places", {"NAME"}, "ENCODING="); // bytes go in as given
        for (const QString& name : names)
            addFeature(layer, "POINT(116 40)", [&](OGRFeature& f) { f.SetField(0, encoded(name, codec).constData()); });
    }
    QFile::remove(folder + QStringLiteral("/places.cpg"));
    QFile file(folder + QStringLiteral("/places.cpg"));
    if (cpg == "<folder>")
        QVERIFY(QDir().mkpath(file.fileName()));
    else if (cpg != "<none>")
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(cpg) == cpg.size());
    file.close();

    for (int i = 0; charSet < 0 && i < names.size(); ++i)
        QTest::ignoreMessage(QtDebugMsg, "encode invalid CharSet");
    const Import imported(openVector(folder + QStringLiteral("/places.shp")).release());
    QVERIFY(imported.ok);
    QCOMPARE(imported[0].m_charSet, charSet);
    QCOMPARE(imported[0].m_labelField, QStringLiteral("NAME"));
    QCOMPARE(imported[0].m_labelMode, 2);
    for (int i = 0; i < names.size(); ++i) {
        // The attribute map keeps the file's bytes whatever GDAL made of them.
        QCOMPARE(imported.collects().at(i)->m_fields.value(QStringLiteral("NAME")).toByteArray(), encoded(names[i], codec));
        QCOMPARE(imported.collects().at(i)->m_text, charSet < 0 ? QString() : names[i]);
    }
}

// Spellings of code pages, as other programs write them into .cpg files.
void tst_kstVectorFileImport::codePageSpellings()
{
    const std::pair<const char*, int> spellings[] = {
        {"windows-1252", kstTextCode::ISO_8859_1}, {"CP1251", kstTextCode::ASCII}, // as the library reads "1251"
        {"iso8859_5", kstTextCode::ISO_8859_5},    {"Latin9", kstTextCode::ISO_8859_15},
        {"big5", kstTextCode::BIG5},               {"\xef\xbb\xbfUTF8", kstTextCode::UTF_8},
        {"ms932", kstTextCode::SHIFT_JIS},         {"28597", kstTextCode::ISO_8859_7},
        {"CP936", kstTextCode::GBK},               {"65001", kstTextCode::UTF_8},
        {"System", -1},                            {"", -1},
    };
    for (const auto& spelling : spellings)
        QCOMPARE(int(kstCodePage::charSet(QString::fromUtf8(spelling.first))), spelling.second);
}

// A table declared Simplified Chinese (GDAL hands its text over as UTF-8)
// and one without a declared charset holding GBK bytes are both GBK; a table
// without a declared charset whose text is UTF-8 (as GDAL itself writes
// them) is read as UTF-8.
void tst_kstVectorFileImport::mapInfoTablesAreGbk()
{
    const QString name = QStringLiteral("澳门特别行政区");
    struct Case { const char* file; const char* options; QByteArray bytes; kstTextCode::CharSet charSet; };
    const QList<Case> cases{{"declared.tab", "ENCODING=CP936", name.toUtf8(), kstTextCode::GBK},
                            {"neutral.tab", nullptr, encoded(name, "GBK"), kstTextCode::GBK},
                            {"neutral_utf8.tab", nullptr, name.toUtf8(), kstTextCode::UTF_8}};
    for (const Case& c : cases) {
        const QString tab = m_dir.filePath(QString::fromLatin1(c.file));
        {
            DatasetPtr dataSource = createVector("MapInfo File", tab);
            OGRLayer* layer = createLayer(dataSource.get(), "t", {"Name"}, c.options);
            addFeature(layer, "POINT(113.5 22.2)", [&](OGRFeature& f) { f.SetField(0, c.bytes.constData()); });
        }
        const Import imported(openVector(tab).release());
        QVERIFY(imported.ok);
        QCOMPARE(imported[0].m_charSet, int(c.charSet));
        QCOMPARE(imported.collects().at(0)->m_text, name);
    }
}

void tst_kstVectorFileImport::projectedLayerComesBackInDegrees()
{
    const QString source = QStringLiteral(KST_SAMPLE_DATA_DIR "/world-countries.geojson");
    const QString projected = m_dir.filePath(QStringLiteral("world_3857.gpkg"));
    QVector<QPointF> expected; // every ring point but the closing repeat, in file order
    {
        const DatasetPtr in = openVector(source);
        DatasetPtr out = createVector("GPKG", projected);
        OGRLayer* layer = createLayer(out.get(), "world", {}, nullptr, 3857);
        std::unique_ptr<OGRCoordinateTransformation, GdalCloser> ct(
            OGRCreateCoordinateTransformation(in->GetLayer(0)->GetSpatialRef(), layer->GetSpatialRef()));
        QVERIFY(ct);
        while (FeaturePtr feature = FeaturePtr(in->GetLayer(0)->GetNextFeature())) {
            OGRGeometry* geometry = feature->GetGeometryRef();
            expected += ExportTestLayers::vertices(geometry);
            QCOMPARE(geometry->transform(ct.get()), OGRERR_NONE);
            addFeature(layer, "", [geometry](OGRFeature& f) { f.SetGeometry(geometry); });
        }
    }
    auto vertices = [](const Import& imported) {
        QVector<QPointF> all;
        for (const kstVectorCollect* collect : imported.collects())
            all += ExportTestLayers::exportedVertices(collect);
        return all;
    };

    const Import direct(openVector(source).release());
    const Import mercator(openVector(projected).release());
    QVERIFY(direct.ok && mercator.ok);
    QCOMPARE(direct[0].m_charSet, int(kstTextCode::UTF_8));
    QVERIFY(mercator[0].m_srsWkt.contains(QLatin1String("PROJCS[\"WGS 84 / Pseudo-Mercator\",\n")));
    // A layer in WGS84 is taken as it is; a projected one comes back in degrees.
    QCOMPARE(vertices(direct), expected);
    const QVector<QPointF> back = vertices(mercator);
    QCOMPARE(back.size(), expected.size());
    double worst = 0;
    for (int i = 0; i < back.size(); ++i)
        worst = qMax(worst, qMax(qAbs(back[i].x() - expected[i].x()), qAbs(back[i].y() - expected[i].y())));
    QVERIFY2(worst < 1e-7, qPrintable(QString::number(worst)));
}

void tst_kstVectorFileImport::geometryKinds()
{
    const QString path = m_dir.filePath(QStringLiteral("kinds.gpkg"));
    {
        DatasetPtr dataSource = createVector("GPKG", path);
        OGRLayer* layer = createLayer(dataSource.get(), "kinds", {"Name"});
        const char* wkts[] = {
            "MULTIPOLYGON(((0 0,10 0,10 10,0 10,0 0),(2 2,4 2,4 4,2 4,2 2),(6 6,7 7)),((20 0,30 0,30 10,20 0)))",
            "GEOMETRYCOLLECTION(POINT(1 2),LINESTRING(0 0,1 1,2 0),GEOMETRYCOLLECTION(POLYGON((0 0,1 0,1 1,0 0))))",
            "", // no geometry
            "LINESTRING Z (0 0 5,1 1 6)",
            "MULTIPOINT(1 1,2 2,3 3)",
            "MULTILINESTRING((5 5),(0 0,1 1))",
            "POLYGON((0 0,1 0,1 1))",      // closed on reading
            "POLYGON((0 0,1 1,0 0))",      // encloses nothing
            "CIRCULARSTRING(0 0,1 1,2 0)", // curves are not read
        };
        for (const char* wkt : wkts) {
            const QByteArray name = QStringLiteral("要素%1").arg(layer->GetFeatureCount() + 1).toUtf8();
            addFeature(layer, wkt, [&name](OGRFeature& f) { f.SetField(0, name.constData()); });
        }
    }
    const Import imported(openVector(path).release());
    QVERIFY(imported.ok);
    QCOMPARE(imported[0].m_collects.keys(), (QList<quint64>{1, 2, 4, 5, 6, 7}));
    for (const kstVectorCollect* collect : imported.collects()) {
        QCOMPARE(collect->m_layer, &imported[0]);
        QCOMPARE(collect->m_text, QStringLiteral("要素%1").arg(collect->m_fid));
        for (int i = 0; i < collect->m_shapes.size(); ++i)
            QVERIFY(collect->m_shapes[i]->shapeCollect() == collect && collect->m_shapes[i]->shapeCollectIndex() == i);
    }
    // One polygon per member; a hole is kept, a two-point inner ring is not.
    QCOMPARE(imported.collects().at(0)->m_geometryType, int(wkbMultiPolygon));
    QCOMPARE(imported.collects().at(0)->m_shapes.size(), 2);
    const Polygon__ holed = imported.shape<VectorPolygon>(0)->geoData();
    QCOMPARE(QVector<QPointF>(holed.outer), points({{0, 0}, {10, 0}, {10, 10}, {0, 10}}));
    QCOMPARE(holed.inner, QVector<QPolygonF>{QPolygonF(points({{2, 2}, {4, 2}, {4, 4}, {2, 4}}))});
    QCOMPARE(imported.shape<VectorPolygon>(0, 1)->geoData().outer.size(), 3);
    // Collections in member order, nested ones too.
    QCOMPARE(imported.collects().at(1)->m_shapes.size(), 3);
    QCOMPARE(imported.shape<VectorPoint>(1, 0)->geoData(), QPointF(1, 2));
    QCOMPARE(imported.shape<VectorLine>(1, 1)->shapeType(), kstVectorShape::Type_Line);
    QCOMPARE(imported.shape<VectorPolygon>(1, 2)->shapeType(), kstVectorShape::Type_Polygon);
    QCOMPARE(imported.collects().at(2)->m_geometryType, int(wkbLineString25D));
    QCOMPARE(imported.shape<VectorLine>(2)->geoData(), points({{0, 0}, {1, 1}}));
    QCOMPARE(imported.collects().at(3)->m_shapes.size(), 3);
    QCOMPARE(imported.collects().at(4)->m_shapes.size(), 1);
    QCOMPARE(QVector<QPointF>(imported.shape<VectorPolygon>(5)->geoData().outer), points({{0, 0}, {1, 0}, {1, 1}}));
    // The shapes are ready for the view: extent and pixel data are computed.
    QCOMPARE(imported.shape<VectorPolygon>(0)->ltGcp(), GCP(0, 10));
    QVERIFY(imported.shape<VectorPolygon>(0)->shapeBoundingRect().width() > 100);
}

// Values of the field types whose conversion can go wrong.
void tst_kstVectorFileImport::attributeValuesKeepTheirTypes()
{
    DatasetPtr dataSource = createVector("Memory", m_dir.filePath(QStringLiteral("fields")));
    OGRLayer* layer = createLayer(dataSource.get(), "fields");
    const std::pair<const char*, OGRFieldType> fields[] = {{"s", OFTString},       {"b", OFTBinary},
                                                           {"utc", OFTDateTime},   {"local", OFTDateTime},
                                                           {"il", OFTIntegerList}, {"sl", OFTStringList}};
    for (const auto& field : fields) {
        OGRFieldDefn definition(field.first, field.second);
        layer->CreateField(&definition);
    }
    addFeature(layer, "POINT(116.4 39.9)", [](OGRFeature& f) {
        f.SetField("s", "\xb1\xb1\xbe\xa9");
        f.SetField(1, 3, "\x00\x01\xff");
        f.SetField("utc", 2024, 3, 1, 8, 0, 5.0f, 100);
        f.SetField("local", 2024, 3, 1, 8, 0, 5.0f, 1);
        const int ints[] = {1, -2};
        f.SetField(4, 2, ints);
        const char* strings[] = {"a", "\xc4\xe3", nullptr};
        f.SetField(5, strings);
    });
    const Import imported(dataSource.release());
    QVERIFY(imported.ok);
    const QMap<QString, QVariant> values = imported.collects().at(0)->m_fields;
    const QMap<QString, QVariant> expected = {
        {"s", QByteArray("\xb1\xb1\xbe\xa9")},
        {"b", QByteArray("\x00\x01\xff", 3)},
        {"utc", QDateTime(QDate(2024, 3, 1), QTime(8, 0, 5), Qt::UTC)},
        {"local", QDateTime(QDate(2024, 3, 1), QTime(8, 0, 5), Qt::LocalTime)},
        {"il", QVariantList{1, -2}},
        {"sl", QVariantList{QByteArray("a"), QByteArray("\xc4\xe3")}},
    };
    QCOMPARE(values, expected);
    // Equal instants compare equal; the time zone flag must still be kept.
    QCOMPARE(values.value(QStringLiteral("utc")).toDateTime().timeSpec(), Qt::UTC);
    QCOMPARE(values.value(QStringLiteral("local")).toDateTime().timeSpec(), Qt::LocalTime);
}

void tst_kstVectorFileImport::signalOrderThreadsAndStop()
{
    DatasetPtr dataSource = createVector("Memory", m_dir.filePath(QStringLiteral("two")));
    for (const char* layerName : {"a", "b"}) {
        OGRLayer* layer = createLayer(dataSource.get(), layerName);
        for (int i = 0; i < 4; ++i)
            addFeature(layer, "POINT(1 2)");
    }
    Import run;
    QThread* const mainThread = qApp->thread();
    QVERIFY(run.thread() != mainThread);
    run.startImport(dataSource.release(), {0, 1});
    QVERIFY(run.wait());
    const QStringList layer = {"progress", "progress", "progress", "progress", "progress", "layer"};
    const QStringList order = QStringList{"started"} + layer + layer + QStringList{"progress", "progress", "finished"};
    QCOMPARE(run.names(), order);
    const QList<kstSignalLog::Entry> log = run.sent.all();
    QCOMPARE(run.sent.progress(), (QList<int>{0, 12, 24, 36, 49, 49, 61, 73, 85, 98, 98, 100}));
    QCOMPARE(log[1].detail, QStringLiteral("开始加载图层：a"));
    QVERIFY(log[2].detail.startsWith(QStringLiteral("加载矢量图层 \"a\" 要素：")));
    QCOMPARE(log[13].detail, QStringLiteral("正在关闭矢量文件..."));
    QCOMPARE(log[14].detail, QStringLiteral("矢量文件加载完成！"));
    // On the worker until the data source is closed, back on the main thread for the last signals.
    QVERIFY(log[0].thread != mainThread && log[13].thread == log[0].thread);
    QVERIFY(log[14].thread == mainThread && log[15].thread == mainThread);
    QCOMPARE(run.layers.size(), 2);
    QVERIFY(run.onMainThread);
    QCOMPARE(run.layers[1]->m_name, QStringLiteral("b"));

    // The same importer takes another data source afterwards; a stop in the
    // middle of its large layer hands over what was read of that layer.
    DatasetPtr large = createVector("Memory", m_dir.filePath(QStringLiteral("large")));
    OGRLayer* big = createLayer(large.get(), "big");
    for (int i = 0; i < 3000; ++i)
        addFeature(big, "POINT(10 20)");
    addFeature(createLayer(large.get(), "next"), "POINT(0 0)");
    run.sent.clear();
    run.featureDelayUs = 200;
    run.startImport(large.release(), {0, 1});
    QVERIFY(QTest::qWaitFor([&run] { return run.sent.all().size() > 10; }, 10000));
    run.stopImport();
    // stopImport has waited for the worker: its last signal is out.
    QVERIFY(!run.isImporting());
    QCOMPARE(run.names().mid(run.names().size() - 2), (QStringList{"layer", "stoped"}));
    QCOMPARE(run.sent.all().last().thread, mainThread);
    QVERIFY(run.wait());
    QCOMPARE(run.layers.size(), 3);
    const int read = run.layers[2]->m_collects.size();
    QVERIFY2(read > 0 && read < 3000, qPrintable(QString::number(read)));
}

void tst_kstVectorFileImport::badInputNeverCrashes()
{
    // A shapefile cut short: what can be read is read.
    const QString shp = m_dir.filePath(QStringLiteral("cut.shp"));
    {
        DatasetPtr dataSource = createVector("ESRI Shapefile", shp);
        OGRLayer* layer = createLayer(dataSource.get(), "cut");
        for (int i = 0; i < 50; ++i)
            addFeature(layer, QStringLiteral("POLYGON((%1 0,%1 1,%2 1,%1 0))").arg(i).arg(i + 0.5).toLatin1().constData());
    }
    QFile cut(shp);
    QVERIFY(cut.resize(cut.size() * 6 / 10));
    {
        const Import imported(openVector(shp).release());
        QVERIFY(imported.ok);
        QVERIFY(imported[0].m_collects.size() >= 20 && imported[0].m_collects.size() < 50);
    }

    // A GeoJSON file GDAL cannot open leaves nothing to start.
    const QString broken = m_dir.filePath(QStringLiteral("broken.geojson"));
    QFile brokenFile(broken);
    QVERIFY(brokenFile.open(QIODevice::WriteOnly) && brokenFile.write("{\"type\": \"FeatureCollection\", \"feat") > 0);
    brokenFile.close();
    QTest::ignoreMessage(QtDebugMsg, "kstVectorFileImport::startImport:data source is null!");
    {
        const Import imported(openVector(broken).release());
        QVERIFY(!imported.ok);
        QVERIFY(imported.sent.all().isEmpty());
    }

    // An empty layer is still a layer with its fields; an index without a layer gives none.
    const QString empty = m_dir.filePath(QStringLiteral("empty.shp"));
    createLayer(createVector("ESRI Shapefile", empty).get(), "empty", {"name"});
    QTest::ignoreMessage(QtDebugMsg, "kstVectorFileImport::doImport:no layer at index 3!");
    {
        const Import imported(openVector(empty).release(), {0, 3});
        QVERIFY(imported.ok);
        QCOMPARE(imported.names().last(), QStringLiteral("finished"));
        QCOMPARE(imported.layers.size(), 1);
        QCOMPARE(imported[0].m_collects.size(), 0);
        QCOMPARE(imported[0].m_fieldNames, QList<QString>{QStringLiteral("name")});
    }

    // A reference system that cannot be brought to WGS84: its geometries are left out.
    DatasetPtr local = createVector("Memory", m_dir.filePath(QStringLiteral("local")));
    OGRSpatialReference plant;
    QCOMPARE(plant.importFromWkt("LOCAL_CS[\"plant grid\",UNIT[\"metre\",1]]"), OGRERR_NONE);
    OGRLayer* layer = local->CreateLayer("local", &plant, wkbPoint, nullptr);
    addFeature(layer, "POINT(10 20)");
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^OGRCreateCoordinateTransformation failed:"));
    const Import imported(local.release());
    QVERIFY(imported.ok);
    QCOMPARE(imported[0].m_collects.size(), 0);
}

void tst_kstVectorFileImport::penAndBrushReaders()
{
    auto tool = [](const QString& style) {
        OGRStyleMgr manager;
        manager.InitStyleString(style.toUtf8().constData());
        return std::unique_ptr<OGRStyleTool>(manager.GetPart(0));
    };
    auto pen = [&tool](const QString& style) {
        return kstVectorFileImport::stylePenFromOGR(static_cast<OGRStylePen*>(tool(style).get()));
    };
    auto brush = [&tool](const QString& style) {
        return kstVectorFileImport::styleBrushFromOGR(static_cast<OGRStyleBrush*>(tool(style).get()));
    };
    QCOMPARE(pen(QStringLiteral("PEN(p:\"4px 2px\",id:\"ogr-pen-5\")")).style(), Qt::DotLine);
    QCOMPARE(pen(QStringLiteral("PEN(id:\"ogr-pen-10\")")).style(), Qt::NoPen);
    QCOMPARE(brush(QStringLiteral("BRUSH(id:\"ogr-brush-2\")")), QBrush(Qt::black, Qt::HorPattern));
    QCOMPARE(brush(QStringLiteral("BRUSH(fc:#ff0000,id:\"mapinfo-brush-1,ogr-brush-1\")")).style(), Qt::NoBrush);

    // What the shapes write comes back as far as the id tables agree.
    VectorLine line(points({{0, 0}, {1, 1}}), nullptr);
    line.setLinePen(QPen(QColor(10, 200, 255, 128), 3, Qt::DashDotLine, Qt::RoundCap, Qt::MiterJoin));
    QCOMPARE(pen(line.styleString(QString(), kstVectorShape::Color_RGBA)),
             QPen(QBrush(QColor(10, 200, 255, 128)), 3, Qt::DashDotLine, Qt::SquareCap, Qt::BevelJoin));
    QCOMPARE(pen(line.styleString(QString(), kstVectorShape::Color_RGB)).color(), QColor(10, 200, 255));
    VectorPolygon polygon(Polygon__{QPolygonF(points({{0, 0}, {1, 0}, {1, 1}})), {}}, nullptr);
    polygon.setFillBrush(QBrush(QColor(255, 0, 0, 128), Qt::Dense4Pattern));
    QCOMPARE(brush(polygon.styleString(QString(), kstVectorShape::Color_RGBA)), QBrush(QColor(255, 0, 0, 128)));
}

// Style-table names, attribute references and the order in which the tools
// of a style reach each kind of shape.
void tst_kstVectorFileImport::styleReferencesAndWalkRules()
{
    DatasetPtr dataSource = createVector("Memory", m_dir.filePath(QStringLiteral("styled")));
    OGRStyleTable sourceTable;
    sourceTable.AddStyle("Line1", "PEN(c:#0000ff)");
    sourceTable.AddStyle("Line2", "PEN(c:#00ff00,w:4px)");
    dataSource->SetStyleTable(&sourceTable);
    OGRLayer* lines = createLayer(dataSource.get(), "lines", {"STYLE"});
    OGRStyleTable layerTable;
    layerTable.AddStyle("Line1", "PEN(c:#ff0000,w:2px)");
    lines->SetStyleTable(&layerTable);
    for (const char* style : {"@Line1", "@Line2", "@Missing", "{STYLE}", "PEN(c:#ff0000);PEN(c:#0000ff)"}) {
        addFeature(lines, "LINESTRING(0 0,1 1)", [style](OGRFeature& f) {
            f.SetStyleString(style);
            f.SetField(0, "PEN(c:#ff0000,w:3px)");
        });
    }
    addFeature(createLayer(dataSource.get(), "polygons"), "POLYGON((0 0,1 0,1 1,0 0))", [](OGRFeature& f) {
        f.SetStyleString("BRUSH(fc:#ff0000);PEN(c:#000000,w:2px);BRUSH(fc:#00ff00,id:\"ogr-brush-4\")");
    });
    OGRLayer* pointLayer = createLayer(dataSource.get(), "points");
    for (const char* style : {"BRUSH(fc:#ff0000);PEN(c:#00ff00,w:7px);SYMBOL(id:\"sym/flag.png\")",
                              "SYMBOL(id:\"sym/missing.png\");PEN(c:#00ff00,w:7px)",
                              "SYMBOL(id:\"sym/flag.png\",dx:5px,dy:3px)", "SYMBOL(id:\"sym/flag.png\")"})
        addFeature(pointLayer, "POINT(1 1)", [style](OGRFeature& f) { f.SetStyleString(style); });

    // The data source's table is written to the current folder when it is used.
    QFile::remove(QStringLiteral("style_table.txt"));
    const Import imported(dataSource.release(), {0, 1, 2});
    QVERIFY(imported.ok);
    QFile saved(QStringLiteral("style_table.txt"));
    QVERIFY(saved.open(QIODevice::ReadOnly) && saved.readAll().contains("PEN(c:#00ff00,w:4px)"));

    const QPen plainLine = VectorLine(points({{0, 0}, {1, 1}}), nullptr).linePen();
    QCOMPARE(imported.shape<VectorLine>(0)->linePen(), QPen(Qt::red, 2)); // the layer's table first
    QCOMPARE(imported.shape<VectorLine>(1)->linePen(), QPen(Qt::green, 4));
    QCOMPARE(imported.shape<VectorLine>(2)->linePen(), plainLine);
    QCOMPARE(imported.shape<VectorLine>(3)->linePen(), QPen(Qt::red, 3));
    QCOMPARE(imported.shape<VectorLine>(4)->linePen().color(), QColor(Qt::blue));
    const VectorPolygon* polygon = imported.shape<VectorPolygon>(0, 0, 1);
    QCOMPARE(polygon->fillBrush(), QBrush(Qt::green, Qt::FDiagPattern));
    QCOMPARE(polygon->borderPen(), QPen(Qt::black, 2));

    // A point takes the first symbol or pen and nothing after it.
    const VectorPoint plain(QPointF(0, 0), nullptr);
    const VectorPoint* figure = imported.shape<VectorPoint>(0, 0, 2);
    QCOMPARE(figure->pointType(), 0);
    QCOMPARE(figure->pointBorderPen(), QPen(Qt::green, 1));
    QCOMPARE(figure->pointFillBrush(), QBrush(Qt::green));
    QCOMPARE(figure->pointSize(), 7);
    const VectorPoint* missing = imported.shape<VectorPoint>(1, 0, 2);
    QVERIFY(missing->pointSize() == plain.pointSize() && missing->pointBorderPen() == plain.pointBorderPen());
    QCOMPARE(imported.shape<VectorPoint>(2, 0, 2)->pointType(), 1);
    QCOMPARE(imported.shape<VectorPoint>(2, 0, 2)->markerIcon().size(), QSize(12, 8));
    QCOMPARE(imported.shape<VectorPoint>(2, 0, 2)->markerAnchor(), QPoint(5, 3));
    QCOMPARE(imported.shape<VectorPoint>(3, 0, 2)->markerAnchor(), QPoint(6, 4));
}

GDALDataset* tst_kstVectorFileImport::styledPoints(const QString& folder, const QList<QByteArray>& styles,
                                                   const char* wkt)
{
    DatasetPtr dataSource = createVector("Memory", folder + QStringLiteral("/points"));
    OGRLayer* layer = createLayer(dataSource.get(), "points", {}, nullptr, 0);
    for (const QByteArray& style : styles)
        addFeature(layer, wkt, [&style](OGRFeature& f) { f.SetStyleString(style.constData()); });
    return dataSource.release();
}

// Symbol ids are paths relative to the data source's folder: files outside
// it (by "..", by a link), folders, devices and oversized files are refused
// with one debug line per import and leave the default look; missing files
// and files that are no picture leave it silently.
void tst_kstVectorFileImport::symbolFilesStayInTheDataFolder()
{
    const QString folder = m_dir.filePath(QStringLiteral("symbols/data"));
    QVERIFY(QDir().mkpath(folder + QStringLiteral("/sub")));
    QImage picture(6, 4, QImage::Format_ARGB32);
    picture.fill(Qt::red);
    QVERIFY(picture.save(m_dir.filePath(QStringLiteral("symbols/outside.png"))));
    QVERIFY(picture.save(folder + QStringLiteral("/sub/inside.png")));
    QVERIFY(QFile::link(m_dir.filePath(QStringLiteral("symbols/outside.png")), folder + QStringLiteral("/link.png")));
    QVERIFY(QFile::link(QStringLiteral("sub/inside.png"), folder + QStringLiteral("/good_link.png")));
    QFile big(folder + QStringLiteral("/big.png"));
    QVERIFY(big.open(QIODevice::WriteOnly) && big.resize(kstSymbolPictureCache::kMaxFileBytes + 1));
    big.close();
    QFile text(folder + QStringLiteral("/text.png"));
    QVERIFY(text.open(QIODevice::WriteOnly) && text.write("no picture") > 0);
    text.close();

    QVERIFY(QFile::link(QStringLiteral("/dev/zero"), folder + QStringLiteral("/zero")));
    const QList<QByteArray> refused = {"../outside.png", "link.png", "sub", "big.png", "zero"};
    // Ids are relative even with a leading slash: "/etc/hostname" is no file of the folder.
    const QList<QByteArray> silent = {"missing.png", "text.png", "/etc/hostname"};
    QList<QByteArray> styles;
    for (const QByteArray& id : refused + silent + QList<QByteArray>{"sub/../sub/inside.png", "good_link.png"})
        styles << "SYMBOL(id:\"" + id + "\")" << "SYMBOL(id:\"" + id + "\")"; // each twice: one line per import
    const char* why[] = {"symbol file outside the data folder", "symbol file outside the data folder",
                         "symbol is not a regular file", "symbol file too large"};
    for (int i = 0; i < 4; ++i)
        QTest::ignoreMessage(QtDebugMsg, qPrintable(QStringLiteral("kstSymbolPictureCache::picture:%1:%2")
                                                        .arg(QLatin1String(why[i]), QString::fromUtf8(refused[i]))));
    // Outside the folder once the link is resolved, though under it by name.
    QTest::ignoreMessage(QtDebugMsg, "kstSymbolPictureCache::picture:symbol file outside the data folder:zero");

    const Import imported(styledPoints(folder, styles));
    QVERIFY(imported.ok);
    const VectorPoint plain(QPointF(0, 0), nullptr);
    const int plainCount = (refused.size() + silent.size()) * 2;
    QCOMPARE(imported.collects().size(), plainCount + 4);
    for (int i = 0; i < plainCount; ++i) {
        const VectorPoint* point = imported.shape<VectorPoint>(i);
        QCOMPARE(point->pointType(), plain.pointType());
        QCOMPARE(point->markerImage(), plain.markerImage());
    }
    for (int i = plainCount; i < plainCount + 4; ++i) {
        QCOMPARE(imported.shape<VectorPoint>(i)->pointType(), 1);
        QCOMPARE(imported.shape<VectorPoint>(i)->markerImage().size(), QSize(6, 4));
    }
}

// A symbol naming a FIFO would block a plain open() until a writer comes;
// the import goes on past it, and stopImport returns. Should the worker hang, a
// watchdog writes to the FIFO to free it, so the test fails instead of hanging.
void tst_kstVectorFileImport::fifoSymbolNeverBlocksTheWorker()
{
    const QString folder = m_dir.filePath(QStringLiteral("fifo"));
    QVERIFY(QDir().mkpath(folder));
    const QByteArray fifo = QFile::encodeName(folder + QStringLiteral("/pipe.png"));
    QCOMPARE(::mkfifo(fifo.constData(), 0600), 0);

    std::atomic<bool> done{false};
    std::atomic<bool> freed{false};
    std::thread watchdog([&] {
        for (int i = 0; i < 200 && !done; ++i)
            QThread::msleep(50);
        while (!done) {
            const int fd = ::open(fifo.constData(), O_WRONLY | O_NONBLOCK);
            if (fd >= 0) {
                freed = true;
                ::close(fd);
            }
            QThread::msleep(50);
        }
    });

    QTest::ignoreMessage(QtDebugMsg, "kstSymbolPictureCache::picture:symbol is not a regular file:pipe.png");
    Import stopped;
    stopped.featureDelayUs = 100;
    stopped.startImport(styledPoints(folder, QVector<QByteArray>(2000, "SYMBOL(id:\"pipe.png\")").toList()), {0});
    QVERIFY(QTest::qWaitFor([&stopped] { return stopped.sent.all().size() > 20; }, 10000));
    stopped.stopImport();
    done = true;
    watchdog.join();
    QVERIFY(!freed);
    QVERIFY(!stopped.isImporting());
    QCOMPARE(stopped.names().last(), QStringLiteral("stoped"));
    QVERIFY(stopped.wait()); // takes the partly read layer
}

// Each symbol file is decoded once per import, and all points using it (also
// through another spelling of its path) share that one image. Pictures larger
// than 512 pixels are scaled down, and their anchors with them.
void tst_kstVectorFileImport::symbolPicturesAreSharedAndBounded()
{
    QImage banner(1536, 600, QImage::Format_RGB32);
    banner.fill(Qt::blue);
    QVERIFY(banner.save(m_dir.filePath(QStringLiteral("sym/banner.png"))));
    QVERIFY(banner.save(m_dir.filePath(QStringLiteral("sym/banner.bmp"))));

    QString multipoint = QStringLiteral("MULTIPOINT(");
    for (int i = 0; i < 50; ++i)
        multipoint += QStringLiteral("%1(%2 %2)").arg(i ? "," : "").arg(i * 0.1);
    multipoint += QLatin1Char(')');
    DatasetPtr dataSource(styledPoints(m_dir.path(),
                                       {"SYMBOL(id:\"sym/flag.png\")", "SYMBOL(id:\"./sym/flag.png\",dx:2px,dy:1px)"},
                                       multipoint.toLatin1().constData()));
    OGRLayer* layer = dataSource->GetLayer(0);
    for (const char* style : {"SYMBOL(id:\"sym/banner.png\",dx:1536px,dy:300px)", "SYMBOL(id:\"sym/banner.bmp\")"})
        addFeature(layer, "POINT(1 1)", [style](OGRFeature& f) { f.SetStyleString(style); });

    const Import imported(dataSource.release());
    QVERIFY(imported.ok);
    const qint64 key = imported.shape<VectorPoint>(0)->markerImage().cacheKey();
    for (int collect = 0; collect < 2; ++collect) {
        QCOMPARE(imported.collects().at(collect)->m_shapes.size(), 50);
        for (int i = 0; i < 50; ++i)
            QCOMPARE(imported.shape<VectorPoint>(collect, i)->markerImage().cacheKey(), key);
    }
    QCOMPARE(imported.shape<VectorPoint>(0)->markerImage().pixelColor(3, 3), QColor(200, 30, 30));
    QCOMPARE(imported.shape<VectorPoint>(1, 49)->markerAnchor(), QPoint(2, 1));
    const VectorPoint* scaled = imported.shape<VectorPoint>(2);
    QCOMPARE(scaled->markerImage().size(), QSize(512, 200));
    QCOMPARE(scaled->markerAnchor(), QPoint(512, 100));
    QCOMPARE(scaled->brc(), QRectF(-512, -100, 512, 200));
    QCOMPARE(imported.shape<VectorPoint>(3)->markerImage().size(), QSize(512, 200)); // decoded whole, then scaled
    QCOMPARE(imported.shape<VectorPoint>(3)->markerAnchor(), QPoint(256, 100));
}

// Lengths in style strings become integers within [0, 512] pixels and anchors
// within [-512, 512], whatever the text says (1e20, inf, nan, other units);
// repeated parameters neither leak nor confuse.
void tst_kstVectorFileImport::extremeStyleLengthsAreClamped()
{
    DatasetPtr dataSource(styledPoints(m_dir.path(), {"PEN(c:#ff0000,w:1e20px)", "PEN(c:#ff0000,w:infpx)",
                                                "PEN(c:#ff0000,w:20000px)", "PEN(c:#ff0000,w:nanpx)",
                                                "PEN(c:#ff0000,w:-1e20px)", "PEN(c:#ff0000,w:1e300g)",
                                                "SYMBOL(id:\"sym/flag.png\",dx:1e20px,dy:-infpx)"}));
    OGRLayer* lines = createLayer(dataSource.get(), "lines", {}, nullptr, 0);
    for (const char* style : {"PEN(c:#ff0000,w:1e20px)", "PEN(w:infpx)", "PEN(w:7.9999999px)", "PEN(w:-1e20px)",
                              // A parameter given twice counts once, with its last value.
                              "PEN(c:#ff0000,cap:r,w:2px,C:#0000ff,cap:b,id:\"ogr-pen-1\",w:5px,id:\"ogr-pen-2\")"})
        addFeature(lines, "LINESTRING(0 0,1 1)", [style](OGRFeature& f) { f.SetStyleString(style); });

    const Import imported(dataSource.release(), {0, 1});
    QVERIFY(imported.ok);
    const int sizes[] = {512, 512, 512, 0, 0, 512};
    for (int i = 0; i < 6; ++i)
        QCOMPARE(imported.shape<VectorPoint>(i)->pointSize(), sizes[i]);
    // The symbol picture on export stays as small as the size allows.
    QVERIFY(imported.shape<VectorPoint>(2)->symbolPixmap().width() <= 513);
    QCOMPARE(imported.shape<VectorPoint>(6)->markerAnchor(), QPoint(512, -512));
    const int widths[] = {512, 512, 8, QPen().width()};
    for (int i = 0; i < 4; ++i)
        QCOMPARE(imported.shape<VectorLine>(i, 0, 1)->linePen().width(), widths[i]);
    const QPen twice = imported.shape<VectorLine>(4, 0, 1)->linePen();
    QCOMPARE(twice.color(), QColor(Qt::blue));
    QCOMPARE(twice.width(), 5);
    QCOMPARE(twice.style(), Qt::DashLine);
    QCOMPARE(twice.capStyle(), Qt::FlatCap);

    // Point sizes set directly are bounded too.
    VectorPoint point(QPointF(0, 0), nullptr);
    point.setPointSize(20000);
    QCOMPARE(point.pointSize(), VectorPoint::kMaxPointSize);
    point.setPointStyleDirect(-3, QPen(), QBrush());
    QCOMPARE(point.pointSize(), 0);
}

// A part whose coordinates the map projection cannot represent (not numbers,
// beyond the globe, at a pole where Web Mercator has no plane point) is left
// out with a debug line; the other parts of the geometry still give shapes.
void tst_kstVectorFileImport::unrepresentableCoordinatesAreRefused()
{
    DatasetPtr dataSource = createVector("Memory", m_dir.filePath(QStringLiteral("far")));
    OGRLayer* layer = createLayer(dataSource.get(), "far");
    const char* wkts[] = {
        "POINT(1e300 10)",
        "LINESTRING(0 0,181 0)",
        "POLYGON((0 0,10 0,10 95,0 0))",
        "POINT(0 -90)",
        "POINT(0 89.999)",
        "MULTIPOINT(1 1,1e300 1,2 2)",
        "POLYGON((0 0,10 0,10 10,0 0),(1 1,2 1,2 1e300,1 1))", // the hole is dropped
        "POINT(-180 -89.9)", // far south, still on the map's plane
    };
    for (const char* wkt : wkts)
        addFeature(layer, wkt);
    OGRLineString notANumber;
    notANumber.addPoint(0.0, 0.0);
    notANumber.addPoint(1.0, std::nan(""));
    addFeature(layer, "", [&notANumber](OGRFeature& f) { f.SetGeometry(&notANumber); });
    for (int i = 0; i < 8; ++i)
        QTest::ignoreMessage(QtDebugMsg, "kstVectorFileImport::shapeDataFromOGR:coordinates the map projection cannot represent!");

    const Import imported(dataSource.release());
    QVERIFY(imported.ok);
    QCOMPARE(imported.collects().size(), 3);
    QCOMPARE(imported.collects().at(0)->m_shapes.size(), 2);
    QCOMPARE(imported.shape<VectorPoint>(0, 1)->geoData(), QPointF(2, 2));
    const Polygon__ polygon = imported.shape<VectorPolygon>(1)->geoData();
    QVERIFY(polygon.outer.size() == 3 && polygon.inner.isEmpty());
    QCOMPARE(imported.shape<VectorPoint>(2)->geoData(), QPointF(-180, -89.9));

    // Projected coordinates beyond any map are refused before GDAL sees them
    // (its Web Mercator transformation takes seconds for 1e16 and longer for
    // more); those that fail to transform are refused after it.
    DatasetPtr projected = createVector("Memory", m_dir.filePath(QStringLiteral("far3857")));
    OGRLayer* mercator = createLayer(projected.get(), "far", {}, nullptr, 3857);
    addFeature(mercator, "LINESTRING(0 0,1e30 1e30)");
    addFeature(mercator, "LINESTRING(0 0,1e17 0)");
    addFeature(mercator, "POINT(0 1e10)"); // the pole
    addFeature(createLayer(projected.get(), "utm", {}, nullptr, 32650), "POINT(1e9 0)");
    for (int i = 0; i < 4; ++i)
        QTest::ignoreMessage(QtDebugMsg, "kstVectorFileImport::shapeDataFromOGR:coordinates the map projection cannot represent!");
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression("^Transform failed:"));
    const Import failed(projected.release(), {0, 1});
    QVERIFY(failed.ok);
    QCOMPARE(failed.collects(0).size() + failed.collects(1).size(), 0);
}

QTEST_MAIN(tst_kstVectorFileImport)
#include "tst_kstVectorFileImport.moc"
