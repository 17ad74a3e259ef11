// The export pipeline: signals and progress, geometry and attribute rules,
// styles, the format specifics the pipeline leaves to the exporters, stops
// and bad input.

#include "DXFFileExport.h"
#include "GeoPackageFileExport.h"
#include "KMLFileExport.h"
#include "SHPFileExport.h"
#include "TABFileExport.h"
#include "VectorFileExportFactory.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstExportTestLayers.h"
#include "kstGdalTestSupport.h"
#include "kstSampleLayer.h"
#include "kstSignalLog.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <cpl_conv.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <memory>

using namespace Kestrum;
using namespace Kestrum::ExportTestLayers;

namespace {

// Every signal of an exporter as it is sent.
struct Recorder : kstSignalLog
{
    explicit Recorder(kstVectorFileExport* exporter) : kstSignalLog(exporter)
    {
        log(&kstVectorFileExport::exportStarted, "started");
        log(&kstVectorFileExport::exportProgress, "progress");
        log(&kstVectorFileExport::exportStoped, "stoped");
        log(&kstVectorFileExport::exportFinished, "finished");
        log(&kstVectorFileExport::exportFailed, "failed");
    }
    QStringList names() const { return kstSignalLog::names(QStringLiteral("progress")); }
};

// Exporters with their protected steps opened for the tests.
class OpenGeoPackage : public GeoPackageFileExport
{
public:
    using GeoPackageFileExport::isCollectHasStyle;
    // Asks itself to stop once this many features have been built.
    int stopAfter = -1;

protected:
    OGRFeature* getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable* styles) override
    {
        OGRFeature* feature = GeoPackageFileExport::getFeature(collect, definition, styles);
        if (feature && --stopAfter == 0)
            m_stop = true;
        return feature;
    }
};

class UnknownDriverExport : public kstVectorFileExport
{
public:
    UnknownDriverExport() { m_driverName = QStringLiteral("No Such Driver"); }
};

class CapturingTab : public TABFileExport
{
public:
    QStringList styles;

protected:
    void setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* layer,
                          OGRStyleTable* table) override
    {
        TABFileExport::setFeatureStyles(collect, feature, layer, table);
        styles << QString::fromUtf8(feature->GetStyleString() ? feature->GetStyleString() : "");
    }
};

VectorPolygon* square(double x, double y)
{
    Polygon__ data;
    data.outer = QPolygonF({QPointF(x, y), QPointF(x + 1, y), QPointF(x + 1, y + 1), QPointF(x, y + 1)});
    return new VectorPolygon(data, nullptr);
}

void hideAll(kstVectorLayer* layer)
{
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        for (kstVectorShape* shape : qAsConst(collect->m_shapes))
            shape->setShapeVisible(false);
    }
}

int featureCount(GDALDataset* dataSource, const QString& layer)
{
    OGRLayer* ogrLayer = dataSource->GetLayerByName(layer.toUtf8().constData());
    return ogrLayer ? int(ogrLayer->GetFeatureCount()) : -1;
}

} // namespace

class tst_kstVectorFileExport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void progressFiguresAndThreads();
    void geometryRules();
    void textConversionAndMissingValues();
    void factoryAndDefaultOptions();
    void shapefileCodePage();
    void dxfLabelsAndProjection();
    void stylesCanBeLeftOut();
    void tabStylesHaveNoAlphaAndNoPoints();
    void collectStyleAgainstLayerDefault();
    void stopAtManyMoments();
    void badInputEndsCleanly();

private:
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QTemporaryDir m_dir;
};

void tst_kstVectorFileExport::initTestCase()
{
    QVERIFY(m_dir.isValid());
    GDALAllRegister();
    CPLSetErrorHandler(CPLQuietErrorHandler);
    CPLSetConfigOption("DXF_ENCODING", "UTF-8");
}

void tst_kstVectorFileExport::progressFiguresAndThreads()
{
    // Two visible layers in a list of four.
    QList<kstVectorLayer*> layers{makePointLayer("A", 1), makePointLayer("H1", 1), makePointLayer("B", 1),
                                  makePointLayer("H2", 1)};
    hideAll(layers[1]);
    hideAll(layers[3]);
    {
        GeoPackageFileExport exporter;
        Recorder recorder(&exporter);
        QCOMPARE(runExport(&exporter, path("four.gpkg"), layers), QStringList({"started", "finished"}));
        QCOMPARE(recorder.names(), QStringList({"started", "finished"}));
        QVector<QPair<int, QString>> progress;
        for (const auto& s : recorder.all()) {
            if (s.name == "progress")
                progress.append({s.progress, s.detail});
        }
        const QVector<QPair<int, QString>> expected{
            {0, "开始导出矢量图层：A"},
            {24, "导出矢量图层 \"A\" 要素：1"},
            {24, "图层\"A\"正在写入导出矢量文件，请稍候..."},
            {24, "开始导出矢量图层：B"},
            {49, "导出矢量图层 \"B\" 要素：1"},
            {49, "图层\"B\"正在写入导出矢量文件，请稍候..."},
            {98, "正在写入导出矢量文件，请稍候..."},
            {100, "矢量文件导出完成！"},
        };
        QCOMPARE(progress, expected);
        // Everything up to 98 comes from the worker; the object is back on the
        // main thread before its last two signals.
        const auto all = recorder.all();
        for (int i = 0; i < all.size(); ++i)
            QCOMPARE(all.at(i).onMain(), i >= all.size() - 2);
        QVERIFY(QTest::qWaitFor([&] { return !exporter.isExportting(); }));
        const DatasetPtr file = openVector(path("four.gpkg"));
        QCOMPARE(file->GetLayerCount(), 2);
    }
    destroy(layers);

    // Ten collects, five of them visible, as the second of two layers.
    layers = {makePointLayer("first", 1), makePointLayer("second", 10)};
    for (quint64 fid : {2, 4, 6, 8, 10})
        layers[1]->m_collects.value(fid)->m_shapes.first()->setShapeVisible(false);
    GeoPackageFileExport exporter;
    Recorder recorder(&exporter);
    QCOMPARE(runExport(&exporter, path("ten.gpkg"), layers), QStringList({"started", "finished"}));
    QCOMPARE(recorder.progress("导出矢量图层 \"second\""), QList<int>({53, 58, 63, 68, 73}));
    QCOMPARE(featureCount(openVector(path("ten.gpkg")).get(), "second"), 5);
    destroy(layers);
}

void tst_kstVectorFileExport::geometryRules()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = "rules";
    // A single polygon holding three shapes keeps the first one only.
    addCollect(layer, {square(0, 0), square(2, 0), square(4, 0)}, wkbPolygon);
    // Multi-points leave hidden members out; multi-polygons keep them.
    QList<kstVectorShape*> points{new VectorPoint(QPointF(1, 1), nullptr), new VectorPoint(QPointF(2, 2), nullptr),
                                  new VectorPoint(QPointF(3, 3), nullptr)};
    points[1]->setShapeVisible(false);
    addCollect(layer, points, wkbMultiPoint);
    QList<kstVectorShape*> areas{square(10, 10), square(12, 10)};
    areas[0]->setShapeVisible(false);
    addCollect(layer, areas, wkbMultiPolygon);
    // No usable geometry: a line in a multi-polygon, a collect without shapes.
    addCollect(layer, {new VectorLine({QPointF(0, 0), QPointF(1, 1)}, nullptr)}, wkbMultiPolygon);
    addCollect(layer, {}, wkbPolygon);
    // Every visible point of this multi-point is missing: the collect is
    // visible (partly) but gives nothing.
    QList<kstVectorShape*> ghost{new VectorPoint(QPointF(5, 5), nullptr), new VectorPoint(QPointF(6, 6), nullptr)};
    ghost[0]->setShapeVisible(false);
    delete ghost.takeLast();
    ghost.append(square(20, 20)); // visible, but not a point
    addCollect(layer, ghost, wkbMultiPoint);
    layer->m_collects.value(6)->m_shapes.last()->setShapeCollect(layer->m_collects.value(6), 1);

    QList<kstVectorLayer*> layers{layer};
    GeoPackageFileExport exporter;
    QTest::ignoreMessage(QtWarningMsg, "lost geomerty data.geomerty count is 3.and just save one geomerty!!!");
    QCOMPARE(runExport(&exporter, path("rules.gpkg"), layers), QStringList({"started", "finished"}));

    const DatasetPtr file = openVector(path("rules.gpkg"));
    OGRLayer* ogrLayer = file->GetLayerByName("rules");
    QVERIFY(ogrLayer);
    QCOMPARE(ogrLayer->GetFeatureCount(), GIntBig(3));
    const FeaturePtr first(ogrLayer->GetFeature(1));
    QString why;
    QVERIFY2(sameVertices(exportedVertices(layer->m_collects.value(1)).mid(0, 4),
                          vertices(first->GetGeometryRef()), 1e-12, &why), qPrintable(why));
    const FeaturePtr multiPoint(ogrLayer->GetFeature(2));
    QCOMPARE(QString::fromStdString(multiPoint->GetGeometryRef()->exportToWkt()), QString("MULTIPOINT (1 1,3 3)"));
    const FeaturePtr multiArea(ogrLayer->GetFeature(3));
    QCOMPARE(multiArea->GetGeometryRef()->toMultiPolygon()->getNumGeometries(), 2);
    // Rings end where they start.
    QVERIFY(multiArea->GetGeometryRef()->toMultiPolygon()->getGeometryRef(0)->getExteriorRing()->get_IsClosed());
    for (GIntBig fid : {4, 5, 6})
        QVERIFY(!FeaturePtr(ogrLayer->GetFeature(fid)));
    destroy(layers);
}

void tst_kstVectorFileExport::textConversionAndMissingValues()
{
    // A layer whose text is stored as GBK bytes, exported as UTF-8; one
    // collect has no value for two of the fields; times alone keep no date.
    kstVectorLayer* layer = makePointLayer("gbk", 2);
    layer->m_charSet = kstTextCode::GBK;
    layer->m_fieldNames << "clock" << "names" << "wide";
    layer->m_fieldTypes << OFTTime << OFTStringList << OFTWideString;
    QTextCodec* gbk = QTextCodec::codecForName("GBK");
    kstVectorCollect* one = layer->m_collects.value(1);
    one->m_fields["name"] = gbk->fromUnicode(QStringLiteral("长城"));
    one->m_fields["clock"] = QTime(7, 8, 9);
    one->m_fields["names"] = QVariantList{gbk->fromUnicode(QStringLiteral("甲")), gbk->fromUnicode(QStringLiteral("乙"))};
    one->m_fields["wide"] = QStringLiteral("ignored");
    kstVectorCollect* two = layer->m_collects.value(2);
    two->m_fields.remove("name");
    two->m_fields.remove("i32");

    QList<kstVectorLayer*> layers{layer};
    GeoPackageFileExport exporter;
    QCOMPARE(exporter.exportCharset(), kstTextCode::UTF_8);
    QCOMPARE(runExport(&exporter, path("text.gpkg"), layers), QStringList({"started", "finished"}));
    const DatasetPtr file = openVector(path("text.gpkg"));
    OGRLayer* ogrLayer = file->GetLayerByName("gbk");
    const FeaturePtr first(ogrLayer->GetFeature(1));
    QCOMPARE(QString::fromUtf8(first->GetFieldAsString("name")), QStringLiteral("长城"));
    QCOMPARE(QString::fromUtf8(first->GetFieldAsString("names")), QStringLiteral("(2:甲,乙)"));
    QCOMPARE(QString::fromUtf8(first->GetFieldAsString("clock")), QStringLiteral("07:08:09"));
    QVERIFY(!first->IsFieldSetAndNotNull(first->GetFieldIndex("wide")) || first->GetFieldIndex("wide") < 0
            || QByteArray(first->GetFieldAsString("wide")).isEmpty());
    const FeaturePtr second(ogrLayer->GetFeature(2));
    QVERIFY(!second->IsFieldSetAndNotNull(second->GetFieldIndex("name")));
    QVERIFY(!second->IsFieldSetAndNotNull(second->GetFieldIndex("i32")));
    destroy(layers);
}

void tst_kstVectorFileExport::factoryAndDefaultOptions()
{
    using F = VectorFileExportFactory;
    QVERIFY(!F::create(F::Export_Type(9)));
    QVERIFY(!F::create(F::Export_Type(-1)));
    QVERIFY(F::formatString(F::Export_Type(9)).isEmpty());
    using Options = QMap<QString, QString>;
    struct Row
    {
        const char* className;
        const char* name;
        Options dataSource;
        Options layer;
    };
    const Row rows[] = {
        {"Kestrum::SHPFileExport", "Shapefile", {}, {{"SPATIAL_INDEX", "YES"}}},
        {"Kestrum::KMLFileExport", "KML", {}, {}},
        {"Kestrum::DXFFileExport", "AutoCAD DXF", {}, {}},
        {"Kestrum::GeoJSONFileExport", "GeoJSON", {}, {}},
        {"Kestrum::GPXFileExport", "GPX", {{"GPX_USE_EXTENSIONS", "YES"}}, {}},
        {"Kestrum::TABFileExport", "Mapinfo TAB", {{"FORMAT", "TAB"}, {"SPATIAL_INDEX_MODE", "OPTIMIZED"}}, {}},
        {"Kestrum::MIFFileExport", "Mapinfo MIF", {{"FORMAT", "MIF"}, {"SPATIAL_INDEX_MODE", "OPTIMIZED"}}, {}},
        {"Kestrum::SQLiteFileExport", "SQLite/Spatialite", {{"SPATIALITE", "YES"}}, {{"SPATIAL_INDEX", "NO"}}},
        {"Kestrum::GeoPackageFileExport", "GeoPackage", {}, {}},
    };
    for (int type = 0; type < 9; ++type) {
        const std::unique_ptr<kstVectorFileExport> exporter(F::create(F::Export_Type(type)));
        QVERIFY(exporter && !exporter->parent());
        QCOMPARE(exporter->metaObject()->className(), rows[type].className);
        QCOMPARE(F::formatString(F::Export_Type(type)), QString::fromUtf8(rows[type].name));
        QCOMPARE(exporter->dataSouceCreateOption(), rows[type].dataSource);
        QCOMPARE(exporter->layerCreateOption(), rows[type].layer);
    }
}

void tst_kstVectorFileExport::shapefileCodePage()
{
    // One .cpg per layer holding exactly the code page, read back by GDAL.
    QList<kstVectorLayer*> layers{makeLayer(Points), makeLayer(Lines)};
    SHPFileExport exporter;
    exporter.setExportCharset(kstTextCode::GBK);
    QVERIFY(QDir(m_dir.path()).mkdir("gbk"));
    QCOMPARE(runExport(&exporter, path("gbk"), layers), QStringList({"started", "finished"}));
    for (kstVectorLayer* layer : qAsConst(layers)) {
        QFile cpg(path("gbk/" + layer->m_name + ".cpg"));
        QVERIFY(cpg.open(QIODevice::ReadOnly));
        QCOMPARE(cpg.readAll(), QByteArray("936"));
        // The text in the table is GBK, not UTF-8 recoded by the driver.
        QFile dbf(path("gbk/" + layer->m_name + ".dbf"));
        QVERIFY(dbf.open(QIODevice::ReadOnly));
        QVERIFY(dbf.readAll().contains(QTextCodec::codecForName("GBK")->fromUnicode(QStringLiteral("北京测试1"))));
    }
    const DatasetPtr file = openVector(path("gbk/线.shp"));
    const FeaturePtr feature(file->GetLayer(0)->GetNextFeature());
    QCOMPARE(QString::fromUtf8(feature->GetFieldAsString("name")), QStringLiteral("北京测试1"));
    // The driver's own recoding is switched off without the host seeing it.
    QCOMPARE(exporter.layerCreateOption(), (QMap<QString, QString>{{"SPATIAL_INDEX", "YES"}}));

    // A path naming one .shp file: the driver leaves a code-page file of its
    // own beside it, which is given the code page too.
    QList<kstVectorLayer*> one{makePointLayer("single", 3)};
    SHPFileExport single;
    single.setExportCharset(kstTextCode::GBK);
    QCOMPARE(runExport(&single, path("single.shp"), one), QStringList({"started", "finished"}));
    const DatasetPtr singleFile = openVector(path("single.shp"));
    QCOMPARE(featureCount(singleFile.get(), "single"), 3);
    QFile singleCpg(path("single.cpg"));
    QVERIFY(singleCpg.open(QIODevice::ReadOnly));
    QCOMPARE(singleCpg.readAll(), QByteArray("936"));
    destroy(one);
    destroy(layers);
}

void tst_kstVectorFileExport::dxfLabelsAndProjection()
{
    // The label's size follows the ground size, and the reference system lands beside the drawing.
    QList<kstVectorLayer*> layers{makePointLayer("labels", 1)};
    layers[0]->m_collects.first()->m_text = QStringLiteral("天安门");
    OGRSpatialReference wgs84 = srsOf("EPSG:4326");
    DXFFileExport exporter;
    exporter.setExportGroundSize(QSizeF(2000, 500));
    exporter.setExportSpatialRef(&wgs84);
    QCOMPARE(runExport(&exporter, path("ground.dxf"), layers), QStringList({"started", "finished"}));
    const DatasetPtr dxf = openVector(path("ground.dxf"));
    QCOMPARE(dxf->GetLayer(0)->GetFeatureCount(), GIntBig(2));
    const FeaturePtr label(dxf->GetLayer(0)->GetNextFeature());
    QVERIFY2(QString::fromUtf8(label->GetStyleString()).contains("s:2g"), label->GetStyleString());
    QFile prj(path("ground.prj"));
    QVERIFY(prj.open(QIODevice::ReadOnly) && srsOf(prj.readAll().constData()).IsSame(&wgs84));
    destroy(layers);
}

// Symbol pictures and the style table are checked with every format's round
// trip; without styles the features carry none.
void tst_kstVectorFileExport::stylesCanBeLeftOut()
{
    QList<kstVectorLayer*> layers{makeLayer(Points)};
    KMLFileExport plain;
    plain.setExportKeepStyle(false);
    QCOMPARE(runExport(&plain, path("plain.kml"), layers), QStringList({"started", "finished"}));
    const DatasetPtr plainFile = openVector(path("plain.kml"));
    for (auto& feature : *plainFile->GetLayer(0))
        QVERIFY(!feature->GetStyleString());
    destroy(layers);
}

void tst_kstVectorFileExport::tabStylesHaveNoAlphaAndNoPoints()
{
    QList<kstVectorLayer*> layers{makeLayer(Points), makeLayer(Lines), makeLayer(Areas)};
    CapturingTab exporter;
    QCOMPARE(runExport(&exporter, path("styles"), layers), QStringList({"started", "finished"}));
    QCOMPARE(exporter.styles.size(), 4 + 2 + 3);
    for (int i = 0; i < 4; ++i)
        QVERIFY(exporter.styles.at(i).isEmpty());
    // The driver is told the MapInfo pattern beside each OGR id.
    QCOMPARE(exporter.styles.at(4), QStringLiteral("PEN(c:#008000,w:3px,id:\"mapinfo-pen-5,ogr-pen-2\",cap:p,j:b)"));
    QCOMPARE(exporter.styles.at(6), QStringLiteral("Brush(fc:#ffff00,id:\"mapinfo-brush-2,ogr-brush-0\");"
                                                   "PEN(c:#000000,w:2px,id:\"mapinfo-pen-2,ogr-pen-0\",cap:p,j:b)"));
    const QRegularExpression colour("#[0-9a-f]+");
    for (int i = 4; i < exporter.styles.size(); ++i) {
        auto it = colour.globalMatch(exporter.styles.at(i));
        while (it.hasNext())
            QCOMPARE(it.next().capturedLength(), 7);
    }
    destroy(layers);
}

void tst_kstVectorFileExport::collectStyleAgainstLayerDefault()
{
    OpenGeoPackage exporter;
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    auto* line = new VectorLine({QPointF(0, 0), QPointF(1, 1)}, nullptr);
    line->setLinePen(layer->m_linePen);
    kstVectorCollect* lineCollect = addCollect(layer, {line}, wkbLineString);
    QVERIFY(!exporter.isCollectHasStyle(lineCollect));
    line->setLinePen(QPen(Qt::red, 7));
    QVERIFY(exporter.isCollectHasStyle(lineCollect));

    VectorPolygon* area = square(0, 0);
    area->setBorderPen(layer->m_polygonBorderPen);
    area->setFillBrush(layer->m_polygonFillBrush);
    kstVectorCollect* areaCollect = addCollect(layer, {area}, wkbPolygon);
    QVERIFY(!exporter.isCollectHasStyle(areaCollect));
    area->setFillBrush(QBrush(Qt::green, Qt::CrossPattern));
    QVERIFY(exporter.isCollectHasStyle(areaCollect));

    auto* point = new VectorPoint(QPointF(0, 0), nullptr);
    point->setPointType(1);
    point->setMarkerAnchor(layer->m_markerAnchor);
    QImage picture(6, 6, QImage::Format_ARGB32);
    picture.fill(Qt::blue);
    layer->m_markerIcon = picture;
    point->setMarkerIcon(QPixmap::fromImage(picture.copy())); // another pixmap, same picture
    kstVectorCollect* pointCollect = addCollect(layer, {point}, wkbPoint);
    QVERIFY(!exporter.isCollectHasStyle(pointCollect));
    picture.setPixelColor(2, 2, Qt::red);
    point->setMarkerIcon(QPixmap::fromImage(picture));
    QVERIFY(exporter.isCollectHasStyle(pointCollect));
    // A figure point compares size, pen and brush.
    point->setPointType(0);
    point->setPointSize(layer->m_pointSize);
    point->setPointBorderPen(layer->m_pointBorderPen);
    point->setPointFillBrush(layer->m_pointFillBrush);
    QVERIFY(!exporter.isCollectHasStyle(pointCollect));
    point->setPointSize(layer->m_pointSize + 3);
    QVERIFY(exporter.isCollectHasStyle(pointCollect));
    QVERIFY(!exporter.isCollectHasStyle(nullptr));
    kstVectorLayer::destoryLayer(layer);
}

void tst_kstVectorFileExport::stopAtManyMoments()
{
    QList<kstVectorLayer*> layers{makePointLayer("big", 2000), makePointLayer("after", 10)};
    // A stop seen after the k-th feature: the layer holds k features, the
    // next layer is never created, and the file is closed and readable.
    for (int k : {1, 2, 3, 7, 50, 333, 1999, 2000}) {
        const QString file = path(QStringLiteral("stop%1.gpkg").arg(k));
        OpenGeoPackage exporter;
        exporter.stopAfter = k;
        Recorder recorder(&exporter);
        runExport(&exporter, file, layers);
        QCOMPARE(recorder.names(), QStringList({"started", "stoped"}));
        QVERIFY(recorder.all().last().onMain());
        QVERIFY(QTest::qWaitFor([&] { return !exporter.isExportting(); }));
        const DatasetPtr back = openVector(file);
        QVERIFY(back);
        QCOMPARE(featureCount(back.get(), "big"), k);
        QCOMPARE(featureCount(back.get(), "after"), -1);
    }
    // stopExport from the host's thread at different moments of the course:
    // it returns once the worker has, and exactly one final signal follows.
    for (int after : {0, 1, 5, 40, 300, 1500, 100000}) {
        const QString file = path(QStringLiteral("host%1.gpkg").arg(after));
        GeoPackageFileExport exporter;
        Recorder recorder(&exporter);
        int seen = 0;
        QObject::connect(&exporter, &kstVectorFileExport::exportProgress, &recorder.host, [&] {
            if (seen++ == after)
                exporter.stopExport();
        });
        const QStringList ends = runExport(&exporter, file, layers);
        QVERIFY(QTest::qWaitFor([&] { return !exporter.isExportting(); }));
        QCOMPARE(ends.size(), 2);
        QCOMPARE(ends.first(), QStringLiteral("started"));
        QVERIFY2(ends.last() == "stoped" || ends.last() == "finished", qPrintable(ends.join(',')));
        QVERIFY(!recorder.names().contains("failed"));
        const DatasetPtr back = openVector(file);
        QVERIFY(back);
        const int written = featureCount(back.get(), "big");
        QVERIFY(written >= 1 && written <= 2000);
        if (ends.last() == "finished")
            QCOMPARE(featureCount(back.get(), "after"), 10);
        // Stopping an exporter that has ended does nothing.
        exporter.stopExport();
    }
    // An exporter destroyed while it runs stops first.
    {
        GeoPackageFileExport exporter;
        exporter.startExport(path("destroyed.gpkg"), layers);
        QVERIFY(exporter.isExportting() || QFile::exists(path("destroyed.gpkg")));
    }
    QVERIFY(openVector(path("destroyed.gpkg")));
    destroy(layers);
}

void tst_kstVectorFileExport::badInputEndsCleanly()
{
    QList<kstVectorLayer*> layers{makeLayer(Points)};
    // Folders that do not exist and paths nobody may write end with the
    // failure signal alone, carrying GDAL's message.
    const QString missing = path("no/such/folder/");
    const char* const names[] = {"out", "out.kml", "out.dxf", "out.geojson", "out.gpx",
                                 "out.tab", "out.mif", "out.sqlite", "out.gpkg"};
    for (int type = 0; type < 9; ++type) {
        const std::unique_ptr<kstVectorFileExport> exporter(
            VectorFileExportFactory::create(VectorFileExportFactory::Export_Type(type)));
        const QString name = QString::fromLatin1(names[type]);
        // Under /proc nobody may create files, whatever the user.
        for (const QString& target : {missing + name, "/proc/kst_export_test/" + name, "/proc/" + name}) {
            Recorder recorder(exporter.get());
            const QStringList ends = runExport(exporter.get(), target, layers);
            QVERIFY2(ends.last().startsWith("failed:创建导出矢量数据文件失败：\n"), qPrintable(target + ends.join(',')));
            QVERIFY2(ends.last().size() > QString("failed:创建导出矢量数据文件失败：\n").size(), qPrintable(target));
            // Drivers that write the file when it is closed fail at the end.
            QCOMPARE(recorder.names().last(), QStringLiteral("failed"));
            QVERIFY(!recorder.names().contains("finished"));
            QVERIFY(recorder.all().last().onMain());
            QVERIFY(QTest::qWaitFor([&] { return !exporter->isExportting(); }));
        }
    }
    QVERIFY(!QDir(path("no")).exists());
    {
        UnknownDriverExport exporter;
        const QStringList ends = runExport(&exporter, path("unknown.out"), layers);
        QCOMPARE(ends.size(), 1);
        QVERIFY2(ends.first().contains("No Such Driver"), qPrintable(ends.first()));
    }

    // A layer without fields, an empty layer, a field of no known type and an
    // empty list are exported.
    kstVectorLayer* bare = makePointLayer("bare", 3);
    bare->m_fieldNames.clear();
    bare->m_fieldTypes.clear();
    kstVectorLayer* empty = makePointLayer("empty", 0);
    kstVectorLayer* broken = makePointLayer("broken", 2);
    broken->m_fieldTypes[1] = 4711; // a type code no driver knows
    QList<kstVectorLayer*> odd{bare, empty, broken};
    GeoPackageFileExport exporter;
    QCOMPARE(runExport(&exporter, path("odd.gpkg"), odd), QStringList({"started", "finished"}));
    const DatasetPtr file = openVector(path("odd.gpkg"));
    QCOMPARE(featureCount(file.get(), "bare"), 3);
    QCOMPARE(featureCount(file.get(), "empty"), 0);
    QCOMPARE(featureCount(file.get(), "broken"), 2);
    QCOMPARE(file->GetLayerByName("broken")->GetLayerDefn()->GetFieldCount(), 1);
    GeoPackageFileExport none;
    Recorder recorder(&none);
    QCOMPARE(runExport(&none, path("none.gpkg"), {}), QStringList({"started", "finished"}));
    QCOMPARE(recorder.progress(), QList<int>({98, 100}));
    destroy(odd);
    destroy(layers);
}

QTEST_MAIN(tst_kstVectorFileExport)
#include "tst_kstVectorFileExport.moc"
