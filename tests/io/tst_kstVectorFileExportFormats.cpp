// Every format exporter writes the test layers, GDAL reads the file back with
// its own API, and then the library's import reads it back too.

#include "VectorFileExportFactory.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "kstExportTestLayers.h"
#include "kstGdalTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorFileExport.h"
#include "kstVectorLayer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <cpl_conv.h>
#include <gdal_priv.h>
#include <ogr_featurestyle.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <memory>

using namespace Kestrum;
using namespace Kestrum::ExportTestLayers;

namespace {

using Type = VectorFileExportFactory::Export_Type;

// What a format carries, as GDAL reads it back.
struct Format
{
    Type type;
    const char* driver;     // the driver GDAL opens the file with
    const char* path;       // inside the test folder
    QList<Kind> kinds;      // the layers exported
    QStringList fields;     // attribute fields GDAL reads back with their values
    double tolerance;       // degrees
    bool fidKept;
    bool zoneKept;          // whether date-times keep the UTC flag
    kstTextCode::CharSet charset;
};

const QList<Kind> kAllKinds{Points, Lines, Areas, MultiPoints, MultiLines, MultiAreas, Hidden};
const QStringList kAllFields = fieldNames();

// MapInfo tables hold coordinates as 32-bit integers spread over the bounds
// the driver gives geographic tables (-1000 to 1000 degrees on both axes), so
// one unit is 2000 / 2^32 degrees, about 4.7e-7; rounding halves that.
const double kTabPrecision = 2000.0 / 4294967296.0;

const Format kFormats[] = {
    {VectorFileExportFactory::Export_SHP, "ESRI Shapefile", "shp", kAllKinds,
     {"i32", "i64", "real", "name", "day", "stamp"}, 1e-9, false, false, kstTextCode::GBK},
    // libkml keeps no date or time fields and cannot read back lists of
    // numbers it declared as plain numbers.
    {VectorFileExportFactory::Export_KML, "LIBKML", "out.kml", kAllKinds,
     {"i32", "i64", "real", "name", "bigs", "names", "blob"}, 1e-9, false, false, kstTextCode::UTF_8},
    {VectorFileExportFactory::Export_DXF, "DXF", "out.dxf", kAllKinds, {}, 1e-9, false, false, kstTextCode::UTF_8},
    {VectorFileExportFactory::Export_GeoJSON, "GeoJSON", "out.geojson", kAllKinds, kAllFields, 1e-9, true, true,
     kstTextCode::UTF_8},
    // GPX has waypoints, routes and tracks only; extension values are read
    // back as text, the 64-bit one clamped to a 32-bit integer.
    {VectorFileExportFactory::Export_GPX, "GPX", "out.gpx", {Points, Lines, MultiLines},
     {"i32", "real", "name", "day", "clock", "names", "blob"}, 1e-9, false, false, kstTextCode::UTF_8},
    // MapInfo has no 64-bit integers, lists or binary values.
    {VectorFileExportFactory::Export_TAB, "MapInfo File", "tab", kAllKinds,
     {"i32", "real", "name", "day", "clock", "stamp"}, kTabPrecision, false, false, kstTextCode::GBK},
    {VectorFileExportFactory::Export_MIF, "MapInfo File", "mif", kAllKinds,
     {"i32", "real", "name", "day", "clock", "stamp"}, 1e-9, false, false, kstTextCode::GBK},
    {VectorFileExportFactory::Export_SQLite, "SQLite", "out.sqlite", kAllKinds, kAllFields, 1e-9, true, true,
     kstTextCode::UTF_8},
    {VectorFileExportFactory::Export_GeoPackage, "GPKG", "out.gpkg", kAllKinds, kAllFields, 1e-9, true, true,
     kstTextCode::UTF_8},
};

// One feature expected in the file, in the order it was written.
struct Expected
{
    QString layer;
    kstVectorCollect* collect;
    bool label;
    int part; // the shape written as an entity of its own, or -1
};

QString gpxLayer(const kstVectorCollect* collect)
{
    switch (collect->m_geometryType) {
    case wkbPoint: return QStringLiteral("waypoints");
    case wkbLineString: return QStringLiteral("routes");
    default: return QStringLiteral("tracks");
    }
}

QList<Expected> expectedFeatures(const Format& format, const QList<kstVectorLayer*>& layers)
{
    QList<Expected> expected;
    for (kstVectorLayer* layer : layers) {
        for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
            if (!collect->m_shapes.first()->isShapeVisible() && collect->m_geometryType == wkbPoint)
                continue; // the hidden layer
            switch (format.type) {
            case VectorFileExportFactory::Export_GeoJSON:
                expected.append({QStringLiteral("out.geojson"), collect, false, -1});
                break;
            case VectorFileExportFactory::Export_DXF:
                // A point's text is a label entity written before the point.
                // DXF has no multi-part entities: each part is one entity,
                // and multi-points are refused by the driver.
                if (collect->m_geometryType == wkbPoint)
                    expected.append({QStringLiteral("entities"), collect, true, -1});
                if (collect->m_geometryType == wkbMultiPoint)
                    break;
                if (collect->m_shapes.size() == 1)
                    expected.append({QStringLiteral("entities"), collect, false, -1});
                for (int part = 0; collect->m_shapes.size() > 1 && part < collect->m_shapes.size(); ++part)
                    expected.append({QStringLiteral("entities"), collect, false, part});
                break;
            case VectorFileExportFactory::Export_GPX:
                expected.append({gpxLayer(collect), collect, false, -1});
                break;
            case VectorFileExportFactory::Export_TAB:
            case VectorFileExportFactory::Export_MIF:
                // MapInfo tables split multi-points into single points.
                for (int part = 0; collect->m_geometryType == wkbMultiPoint && part < collect->m_shapes.size(); ++part) {
                    if (collect->m_shapes.at(part)->isShapeVisible())
                        expected.append({layer->m_name, collect, false, part});
                }
                if (collect->m_geometryType != wkbMultiPoint)
                    expected.append({layer->m_name, collect, false, -1});
                break;
            default:
                expected.append({layer->m_name, collect, false, -1});
                break;
            }
        }
    }
    return expected;
}

QVector<QPointF> shapeVertices(kstVectorShape* shape)
{
    kstVectorCollect probe;
    probe.m_shapes = {shape};
    return exportedVertices(&probe);
}

// The vertices of one expected feature: a label sits on its point, a part
// written as a feature of its own has that shape's vertices.
QVector<QPointF> expectedVertices(const Expected& e)
{
    if (e.label)
        return {exportedVertices(e.collect).first()};
    if (e.part >= 0)
        return shapeVertices(e.collect->m_shapes.at(e.part));
    return exportedVertices(e.collect);
}

QByteArray utf8Text(const QVariant& value)
{
    return value.toString().toUtf8();
}

// A value as GDAL reads it back from a field, compared by the field's kind.
void compareField(OGRFeature* feature, const QString& name, const QVariant& value, const Format& format)
{
    // GPX keeps fields of its own under their names, others as extensions.
    const QString stored =
        format.type == VectorFileExportFactory::Export_GPX && name != "name" ? "ogr_" + name : name;
    const int index = feature->GetFieldIndex(stored.toUtf8().constData());
    QVERIFY2(index >= 0, qPrintable(name));
    const OGRFieldType type = feature->GetFieldDefnRef(index)->GetType();
    const QByteArray text = feature->GetFieldAsString(index);
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, tz = 0;
    float s = 0;
    const bool hasDate = feature->GetFieldAsDateTime(index, &y, &mo, &d, &h, &mi, &s, &tz);
    if (name == "i32" || name == "i64") {
        QCOMPARE(feature->GetFieldAsInteger64(index), GIntBig(value.toLongLong()));
    } else if (name == "real") {
        QCOMPARE(feature->GetFieldAsDouble(index), value.toDouble());
    } else if (name == "name") {
        QByteArray expected = utf8Text(value);
        // MapInfo tables are read back as stored, in the export character set.
        if (format.type == VectorFileExportFactory::Export_TAB || format.type == VectorFileExportFactory::Export_MIF)
            expected = QTextCodec::codecForName("GBK")->fromUnicode(value.toString());
        QCOMPARE(text, expected);
    } else if (name == "day") {
        if (type == OFTDate || type == OFTDateTime) {
            QVERIFY(hasDate);
            QCOMPARE(QDate(y, mo, d), value.toDate());
        } else {
            QCOMPARE(text, value.toDate().toString("yyyy/MM/dd").toUtf8());
        }
    } else if (name == "clock") {
        if (type == OFTTime) {
            QVERIFY(hasDate);
            QCOMPARE(QTime(h, mi, int(s)), value.toTime());
        } else {
            QCOMPARE(text, value.toTime().toString("HH:mm:ss").toUtf8());
        }
    } else if (name == "stamp") {
        const QDateTime stamp = value.toDateTime();
        QVERIFY(hasDate);
        QCOMPARE(QDate(y, mo, d), stamp.date());
        if (type == OFTDateTime) {
            QCOMPARE(QTime(h, mi, int(s)), stamp.time());
            // UTC is written with the GMT flag; local time without a zone.
            if (format.zoneKept)
                QCOMPARE(tz == 100, stamp.timeSpec() == Qt::UTC);
        }
    } else if (name == "ints" || name == "bigs" || name == "reals" || name == "names") {
        QStringList items;
        for (const QVariant& item : value.toList())
            items << item.toString();
        QCOMPARE(QString::fromUtf8(text), QStringLiteral("(%1:%2)").arg(items.size()).arg(items.join(',')));
    } else if (name == "blob") {
        QCOMPARE(text, value.toByteArray().toHex().toUpper());
    }
}

QString styleNameOf(const kstVectorCollect* collect)
{
    const bool points = collect->m_shapes.first()->shapeType() == kstVectorShape::Type_Point;
    const bool lines = collect->m_shapes.first()->shapeType() == kstVectorShape::Type_Line;
    // Three points of the point layer look alike; every other collect differs.
    const quint64 number = points && collect->m_geometryType == wkbPoint ? (collect->m_fid <= 3 ? 1 : 2) : collect->m_fid;
    return QStringLiteral("%1%2").arg(points ? "Point" : lines ? "Line" : "Area").arg(number);
}

// The colour text of a collect's first pen (the line pen or the border pen)
// as a reader writes it: #rrggbb, with alpha when the pen is translucent.
QString penColorText(const kstVectorCollect* collect, bool alpha)
{
    kstVectorShape* shape = collect->m_shapes.first();
    QColor color;
    if (shape->shapeType() == kstVectorShape::Type_Line)
        color = static_cast<VectorLine*>(shape)->linePen().color();
    else if (shape->shapeType() == kstVectorShape::Type_Polygon)
        color = static_cast<VectorPolygon*>(shape)->borderPen().color();
    else
        return QString();
    QString text = color.name(QColor::HexRgb);
    if (alpha && color.alpha() != 255)
        text += QStringLiteral("%1").arg(color.alpha(), 2, 16, QLatin1Char('0'));
    return text;
}

void compareStyle(GDALDataset* dataSource, OGRLayer* ogrLayer, OGRFeature* feature, const Expected& e,
                  const Format& format)
{
    const QString style = QString::fromUtf8(feature->GetStyleString());
    const auto kind = e.collect->m_shapes.first()->shapeType();
    switch (format.type) {
    case VectorFileExportFactory::Export_KML: {
        // A reference into the layer's style table, whose entry keeps the
        // colour with its alpha.
        QCOMPARE(style, "@" + styleNameOf(e.collect));
        OGRStyleTable* table = ogrLayer->GetStyleTable() ? ogrLayer->GetStyleTable() : dataSource->GetStyleTable();
        QVERIFY(table);
        const QString entry = QString::fromUtf8(table->Find(styleNameOf(e.collect).toUtf8().constData()));
        QVERIFY2(!entry.isEmpty(), qPrintable(styleNameOf(e.collect)));
        if (!penColorText(e.collect, true).isEmpty())
            QVERIFY2(entry.contains(penColorText(e.collect, true), Qt::CaseInsensitive), qPrintable(entry));
        if (kind == kstVectorShape::Type_Point)
            QVERIFY2(entry.contains("out.kml_ext_file/point_symbol_"), qPrintable(entry));
        break;
    }
    case VectorFileExportFactory::Export_TAB:
    case VectorFileExportFactory::Export_MIF:
        // Points get the driver's default symbol; pens keep colour and width.
        if (kind == kstVectorShape::Type_Line || kind == kstVectorShape::Type_Polygon) {
            QVERIFY2(style.contains("c:" + penColorText(e.collect, false) + ","), qPrintable(style));
            const int width = kind == kstVectorShape::Type_Line
                ? static_cast<VectorLine*>(e.collect->m_shapes.first())->linePen().width()
                : static_cast<VectorPolygon*>(e.collect->m_shapes.first())->borderPen().width();
            QVERIFY2(style.contains(QStringLiteral("w:%1px").arg(width)), qPrintable(style));
        }
        break;
    case VectorFileExportFactory::Export_DXF:
        // Colours become the nearest of the DXF palette; labels keep text and size.
        if (e.label)
            QVERIFY2(style.startsWith("LABEL(") && style.contains("t:\"" + e.collect->m_text + "\"")
                         && style.contains("s:1g"),
                     qPrintable(style));
        else if (kind == kstVectorShape::Type_Line)
            QVERIFY2(style.startsWith("PEN("), qPrintable(style));
        else if (kind != kstVectorShape::Type_Point)
            QVERIFY2(style.contains("BRUSH(fc:#"), qPrintable(style));
        break;
    default:
        break;
    }
}

void compareFeature(GDALDataset* dataSource, OGRLayer* ogrLayer, OGRFeature* feature, const Expected& e,
                    const Format& format)
{
    QString why;
    QVERIFY2(sameVertices(expectedVertices(e), vertices(feature->GetGeometryRef()), format.tolerance, &why),
             qPrintable(why + " in " + QString::fromUtf8(feature->GetGeometryRef()->exportToWkt().c_str())));
    if (format.fidKept)
        QCOMPARE(feature->GetFID(), GIntBig(e.collect->m_fid));
    if (format.type == VectorFileExportFactory::Export_DXF) {
        QCOMPARE(QString::fromUtf8(feature->GetFieldAsString("Layer")),
                 e.label ? QStringLiteral("Label") : e.collect->m_layer->m_name);
        if (e.label)
            QCOMPARE(QString::fromUtf8(feature->GetFieldAsString("Text")), e.collect->m_text);
    }
    for (const QString& name : format.fields) {
        compareField(feature, name, e.collect->m_fields.value(name), format);
        if (QTest::currentTestFailed()) {
            qWarning() << "field" << name << "of fid" << e.collect->m_fid;
            return;
        }
    }
    compareStyle(dataSource, ogrLayer, feature, e, format);
}

} // namespace

class tst_kstVectorFileExportFormats : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void roundTrip_data();
    void roundTrip();

private:
    QTemporaryDir m_dir;
    OGRSpatialReference m_wgs84 = srsOf("EPSG:4326");
};

void tst_kstVectorFileExportFormats::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QDir::setCurrent(m_dir.path()));
    GDALAllRegister();
    // Fields that a format cannot hold are reported by the driver; expected here.
    CPLSetErrorHandler(CPLQuietErrorHandler);
    // The DXF driver writes layer names as they come (UTF-8) under its
    // default code page; readers are told so.
    CPLSetConfigOption("DXF_ENCODING", "UTF-8");
}

void tst_kstVectorFileExportFormats::roundTrip_data()
{
    QTest::addColumn<int>("format");
    for (int i = 0; i < 9; ++i)
        QTest::newRow(qPrintable(VectorFileExportFactory::formatString(kFormats[i].type))) << i;
}

void tst_kstVectorFileExportFormats::roundTrip()
{
    QFETCH(int, format);
    const Format& f = kFormats[format];
    QList<kstVectorLayer*> layers;
    for (Kind kind : f.kinds)
        layers.append(makeLayer(kind));
    const std::unique_ptr<kstVectorFileExport> exporter(VectorFileExportFactory::create(f.type));
    exporter->setExportSpatialRef(&m_wgs84);
    exporter->setExportCharset(f.charset);
    const QString path = m_dir.filePath(QString::fromLatin1(f.path));
    QCOMPARE(runExport(exporter.get(), path, layers), QStringList({"started", "finished"}));

    // GDAL's own reading.
    const DatasetPtr dataSource = openVector(path);
    QVERIFY(dataSource);
    QCOMPARE(QString::fromLatin1(dataSource->GetDriverName()), QString::fromLatin1(f.driver));
    const QList<Expected> expected = expectedFeatures(f, layers);
    QMap<QString, int> next; // features read so far per OGR layer
    for (const Expected& e : expected) {
        OGRLayer* ogrLayer = dataSource->GetLayerByName(e.layer.toUtf8().constData());
        QVERIFY2(ogrLayer, qPrintable(e.layer));
        if (next[e.layer] == 0)
            ogrLayer->ResetReading();
        ++next[e.layer];
        const FeaturePtr feature(ogrLayer->GetNextFeature());
        QVERIFY2(feature, qPrintable(QStringLiteral("%1 feature %2").arg(e.layer).arg(next[e.layer])));
        compareFeature(dataSource.get(), ogrLayer, feature.get(), e, f);
        if (QTest::currentTestFailed())
            return;
    }
    int features = 0;
    for (int i = 0; i < dataSource->GetLayerCount(); ++i) {
        OGRLayer* ogrLayer = dataSource->GetLayer(i);
        const QString name = QString::fromUtf8(ogrLayer->GetName());
        // GPX also lists the vertices of routes and tracks as points.
        if (name.endsWith("_points"))
            continue;
        QCOMPARE(int(ogrLayer->GetFeatureCount()), next.value(name));
        features += next.value(name);
    }
    QCOMPARE(features, expected.size());

    // The library's own import gives back the same collects, shapes and text.
    QList<kstVectorLayer*> imported = importFile(path);
    QList<kstVectorCollect*> collects;
    for (const Expected& e : expected) {
        if (!collects.isEmpty() && e.layer == expected.at(collects.size() - 1).layer)
            continue;
        const auto layer = std::find_if(imported.cbegin(), imported.cend(),
                                        [&e](const kstVectorLayer* l) { return l->m_name == e.layer; });
        QVERIFY2(layer != imported.cend(), qPrintable(e.layer));
        collects += (*layer)->m_collects.values();
    }
    QCOMPARE(collects.size(), expected.size());
    if (f.type != VectorFileExportFactory::Export_DXF) {
        // Same order as written, layer by layer.
        for (int i = 0; i < expected.size(); ++i) {
            QVector<QPointF> back;
            for (kstVectorShape* shape : collects.at(i)->m_shapes)
                back += shapeVertices(shape);
            QString why;
            QVERIFY2(sameVertices(expectedVertices(expected.at(i)), back, f.tolerance, &why), qPrintable(why));
            if (f.fields.contains("name")) {
                const kstVectorLayer* layer = collects.at(i)->m_layer;
                // libkml reads the name field as the placemark's "Name".
                const QString key = f.type == VectorFileExportFactory::Export_KML ? "Name" : "name";
                QString text;
                kstTextCode::encode(kstTextCode::CharSet(layer->m_charSet),
                                    collects.at(i)->m_fields.value(key).toByteArray(), text);
                QCOMPARE(text, expected.at(i).collect->m_fields.value("name").toString());
            }
        }
    }
    if (f.type == VectorFileExportFactory::Export_KML || f.type == VectorFileExportFactory::Export_TAB
        || f.type == VectorFileExportFactory::Export_MIF) {
        // The first line comes back with its pen: colour (with alpha where
        // the format keeps it) and width.
        const int firstLine = int(std::find_if(expected.begin(), expected.end(), [](const Expected& e) {
                                      return e.collect->m_geometryType == wkbLineString;
                                  }) - expected.begin());
        const QPen pen = static_cast<VectorLine*>(collects.at(firstLine)->m_shapes.first())->linePen();
        QColor color(0, 128, 0, f.type == VectorFileExportFactory::Export_KML ? 200 : 255);
        QCOMPARE(pen.color(), color);
        QCOMPARE(pen.width(), 3);
        const QPen dotted = static_cast<VectorLine*>(collects.at(firstLine + 1)->m_shapes.first())->linePen();
        QCOMPARE(dotted.color().rgb(), QColor(10, 20, 250).rgb());
        const int firstArea = int(std::find_if(expected.begin(), expected.end(), [](const Expected& e) {
                                      return e.collect->m_geometryType == wkbPolygon;
                                  }) - expected.begin());
        const auto* area = static_cast<VectorPolygon*>(collects.at(firstArea)->m_shapes.first());
        const auto* rect = static_cast<VectorPolygon*>(collects.at(firstArea + 1)->m_shapes.first());
        if (f.type == VectorFileExportFactory::Export_KML) {
            QCOMPARE(static_cast<VectorPoint*>(collects.first()->m_shapes.first())->pointType(), 1);
            QCOMPARE(area->fillBrush().color(), QColor(255, 255, 0, 128));
        } else {
            // MapInfo keeps the pen and brush patterns, without alpha.
            QCOMPARE(pen.style(), Qt::DashLine);
            QCOMPARE(dotted.style(), Qt::DotLine);
            QCOMPARE(area->fillBrush(), QBrush(QColor(255, 255, 0)));
            QCOMPARE(rect->fillBrush().style(), Qt::CrossPattern);
            QCOMPARE(rect->fillBrush().color(), QColor(0, 0, 255));
            QCOMPARE(rect->borderPen().width(), 4);
            const auto* circle = static_cast<VectorPolygon*>(collects.at(firstArea + 2)->m_shapes.first());
            QCOMPARE(circle->fillBrush().style(), Qt::FDiagPattern);
            QCOMPARE(circle->borderPen().style(), Qt::DashLine);
        }
    }
    destroy(imported);
    destroy(layers);
}

QTEST_MAIN(tst_kstVectorFileExportFormats)
#include "tst_kstVectorFileExportFormats.moc"
