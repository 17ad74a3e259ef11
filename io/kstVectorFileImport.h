#pragma once

#include "kstVectorGlobal.h"

#include "kstGeometryRecords.h"
#include "kstSymbolPictureCache.h"
#include "kstTextCode.h"

#include <QBrush>
#include <QByteArray>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPen>
#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QThread>
#include <QVariant>
#include <QVector>

#include <ogr_spatialref.h>

#include <atomic>
#include <memory>

class GDALDataset;
class OGRFeature;
class OGRFeatureDefn;
class OGRGeometry;
class OGRLayer;
class OGRLineString;
class OGRLinearRing;
class OGRPoint;
class OGRPolygon;
class OGRSimpleCurve;
class OGRStyleBrush;
class OGRStylePen;
class OGRStyleTable;

namespace Kestrum {

class kstProjection;
class kstResulotion;
class kstVectorLayer;
class kstVectorShape;
class VectorLine;
class VectorPoint;
class VectorPolygon;

// Reads chosen layers of an opened GDAL vector data source into complete
// kstVectorLayer objects (collects and shapes in WGS84 degrees) on a worker
// thread of its own, and hands each finished layer over by layerImport.
//
// The object lives in its worker thread from construction on (so it takes no
// parent: an object with a parent cannot change thread). startImport starts
// the thread, whose started() runs doImport without an event loop; progress
// and status leave as signals, queued to receivers on the GUI thread. Before
// its last signal the object moves back to the application's main thread.
// The data source handed to startImport belongs to the importer, which closes
// it at the end of the import; each layer handed over by layerImport belongs
// to the receiver. importFailed is declared for hosts that report failures
// through the same object; the importer itself never emits it.
//
// Hostile data gets a bounded outcome: parts with coordinates the map
// projection cannot represent are left out with a debug line; pen widths and
// point sizes from styles are clamped to [0, 512] pixels and symbol anchors to
// [-512, 512]; symbol pictures are read through kstSymbolPictureCache (inside
// the data source's folder only, bounded in size, decoded once per import).
// Nothing on the worker makes a QPixmap: point markers are QImages.
class KSTVECTOR_EXPORT kstVectorFileImport : public QObject
{
    Q_OBJECT

public:
    explicit kstVectorFileImport(QObject* parent = nullptr);
    ~kstVectorFileImport() override;

    // The map view's projection, resolution and level, used to give new shapes
    // their pixel data. Set before startImport, never while an import runs.
    void setCurrentMapViewConfig(kstProjection* projection, kstResulotion* resolution, int level);
    kstProjection* currentMapViewProjection() const { return m_projection; }
    kstResulotion* currentMapViewResulotion() const { return m_resolution; }
    int currentMapViewLevel() const { return m_level; }

    // Takes the data source (opened with GDALOpenEx(..., GDAL_OF_VECTOR, ...))
    // and starts reading the layers at the given indices. A call while an
    // import runs starts nothing (the data source passed is closed).
    void startImport(GDALDataset* dataSource, const QList<int>& layerIndices);
    // Asks the worker to stop and blocks until it has returned.
    void stopImport();
    bool isImporting() const;

    // OGR pen and brush tools as Qt pens and brushes.
    static QPen stylePenFromOGR(OGRStylePen* pen);
    static QBrush styleBrushFromOGR(OGRStyleBrush* brush);

signals:
    void importStarted();
    void importStoped();
    void importFinished();
    void importFailed(const QString& detail);
    void importProgress(int progress, const QString& detail);
    void layerImport(Kestrum::kstVectorLayer* layer);

protected:
    virtual kstVectorLayer* layerFromOGR(OGRLayer* ogrLayer, int index, int count);
    virtual QList<kstVectorShape*> shapesFromOGR(OGRGeometry* geometry, const char* style);
    virtual QMap<QString, QVariant> getFeatureFields(OGRFeatureDefn* definition, OGRFeature* feature);

protected slots:
    virtual void doImport();

protected:
    // Character set of a layer's attribute text: from the shapefile's code-page
    // file, GBK for MapInfo, UTF-8 for the other drivers.
    kstTextCode::CharSet layerChartSet(OGRLayer* ogrLayer);

    // Coordinates of one geometry in WGS84 degrees (x = longitude); false when
    // the geometry has too few points or cannot be brought to WGS84.
    bool shapeDataFromOGR(OGRPoint* point, QPointF& data);
    bool shapeDataFromOGR(OGRLineString* line, QVector<QPointF>& data);
    bool shapeDataFromOGR(OGRLinearRing* ring, QPolygonF& data);
    bool shapeDataFromOGR(OGRPolygon* polygon, Polygon__& data);

    // A feature style with style-table ("@name") and attribute ("{field}")
    // references resolved.
    QString pureStyleString(const QString& style);
    void setShapeStyleFromOGR(VectorPoint* point, const char* style);
    void setShapeStyleFromOGR(VectorLine* line, const char* style);
    void setShapeStyleFromOGR(VectorPolygon* polygon, const char* style);

    struct PenIdStyle
    {
        const char* id;
        Qt::PenStyle style;
    };
    struct BrushIdStyle
    {
        const char* id;
        Qt::BrushStyle style;
    };
    // OGR pen and brush ids, searched as substrings in this order; the first
    // found decides. An id matching none gives a solid line or fill.
    static const PenIdStyle penIdTable_[8];
    static const BrushIdStyle brushIdTable_[7];
    static Qt::PenStyle penStyleFromId(const char* id);
    static Qt::BrushStyle brushStyleFromId(const char* id);

    struct DataSourceCloser
    {
        void operator()(GDALDataset* dataSource) const;
    };
    struct SrsReleaser
    {
        void operator()(OGRSpatialReference* srs) const;
    };
    struct TransformDeleter
    {
        void operator()(OGRCoordinateTransformation* ct) const;
    };

    kstProjection* m_projection = nullptr;
    kstResulotion* m_resolution = nullptr;
    int m_level = 0;
    kstMeterPerPixle__ m_meterPerPixel;
    QThread m_thread;
    std::unique_ptr<GDALDataset, DataSourceCloser> m_dataSource;
    // The current layer's reference system (a copy in x = east order), null
    // when the layer has none.
    std::unique_ptr<OGRSpatialReference, SrsReleaser> m_sourceSrs;
    OGRSpatialReference m_wgs84Srs;
    QList<int> m_layerIndices;
    OGRStyleTable* m_dataSourceStyleTable = nullptr;
    OGRStyleTable* m_layerStyleTable = nullptr;
    QMap<QString, QVariant> m_featureFields;
    QString m_sourceDir;
    std::atomic<bool> m_stop{false};
    double m_progressMax = 98.0;

private:
    // Everything a layer's features share while it is read.
    void beginLayer(OGRLayer* ogrLayer, kstTextCode::CharSet charSet);
    void endLayer();
    // Brings n points of the current layer to WGS84 in place; false when no
    // transformation to WGS84 can be made or when a point is one the map
    // projection cannot represent.
    bool toWgs84(int n, double* xs, double* ys);
    // The first n points of a line or ring, in WGS84.
    bool curveToWgs84(const OGRSimpleCurve& curve, int n, QVector<QPointF>& data);
    bool representable(int n, const double* xs, const double* ys) const;
    // The projection shapes are prepared for: the view's, or Web Mercator.
    kstProjection* shapeProjection() const;
    // A text attribute as the bytes of the source file: GDAL hands some
    // drivers' text over recoded to UTF-8, and that recoding is undone here.
    QByteArray sourceText(const char* text) const;
    // Ends the worker's run: the thread is told to quit and the object goes
    // back to the application's main thread.
    void leaveWorker();

    std::unique_ptr<OGRCoordinateTransformation, TransformDeleter> m_toWgs84;
    bool m_toWgs84Failed = false;
    QString m_toWgs84Error;
    bool m_styleTableSaved = false;
    kstSymbolPictureCache m_symbols;
    // Largest plane coordinate (either axis) a shape may have: three times
    // the projection's valid area, so that pixel coordinates stay well within
    // integers at the finest zoom level.
    double m_planeLimit = 0;
    // iconv name of the encoding GDAL recoded the current layer's text from
    // (empty: the text arrives as stored).
    QByteArray m_sourceEncoding;
};

} // namespace Kestrum
