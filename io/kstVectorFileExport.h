#pragma once

#include "kstVectorGlobal.h"

#include "kstTextCode.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSizeF>
#include <QString>
#include <QThread>

#include <atomic>

class GDALDataset;
class OGRFeature;
class OGRFeatureDefn;
class OGRGeometry;
class OGRLayer;
class OGRSpatialReference;
class OGRStyleTable;

namespace Kestrum {

class kstVectorCollect;
class kstVectorLayer;
class kstVectorShape;

// Writes a list of layers into one GIS vector data source through GDAL on a
// worker thread of its own. The format exporters derive from it and name
// their driver, creation options and the steps they do differently.
//
// The object lives in its worker thread from construction on (so it takes no
// parent: an object with a parent cannot change thread). startExport starts
// the thread, whose started() runs doExport without an event loop; progress
// and status leave as signals, queued to receivers on the GUI thread. Before
// its last signal the object moves back to the application's main thread.
// The layers are read, never changed, while the export runs: the host leaves
// them alone until exportFinished, exportStoped or exportFailed arrives.
class KSTVECTOR_EXPORT kstVectorFileExport : public QObject
{
    Q_OBJECT

public:
    explicit kstVectorFileExport(QObject* parent = nullptr);
    ~kstVectorFileExport() override;

    // Starts writing the visible layers of the list to path. A call while an
    // export runs starts nothing.
    void startExport(const QString& path, const QList<kstVectorLayer*>& layers);
    // Asks the worker to stop and blocks until it has returned. A stopped
    // export closes its data source: the file holds what was written.
    void stopExport();
    bool isExportting() const;

    void setExportCharset(kstTextCode::CharSet charset) { m_charset = charset; }
    kstTextCode::CharSet exportCharset() const { return m_charset; }
    // Reference system of the written layers and geometries (not owned);
    // null writes WGS84 degrees without a declared reference system.
    void setExportSpatialRef(OGRSpatialReference* srs) { m_spatialRef = srs; }
    OGRSpatialReference* exportSpatialRef() const { return m_spatialRef; }
    void setExportGroundSize(const QSizeF& size) { m_groundSize = size; }
    QSizeF exportGroundSize() const { return m_groundSize; }
    void setExportKeepStyle(bool keep) { m_keepStyle = keep; }
    bool exportKeepStyle() const { return m_keepStyle; }
    void setDataSouceCreateOption(const QMap<QString, QString>& options) { m_dataSourceCreateOption = options; }
    QMap<QString, QString> dataSouceCreateOption() const { return m_dataSourceCreateOption; }
    void setLayerCreateOption(const QMap<QString, QString>& options) { m_layerCreateOption = options; }
    QMap<QString, QString> layerCreateOption() const { return m_layerCreateOption; }

signals:
    void exportStarted();
    void exportStoped();
    void exportFinished();
    void exportFailed(const QString& detail);
    void exportProgress(int progress, const QString& detail);

protected:
    virtual bool createDataSource();
    virtual OGRLayer* layerToOGR(kstVectorLayer* layer, int index, int count);
    virtual OGRLayer* getLayer(kstVectorLayer* layer);
    virtual OGRFeature* getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable* styleTable);
    virtual OGRGeometry* shapesToOGR(const QList<kstVectorShape*>& shapes);
    virtual void setFeatureFields(kstVectorCollect* collect, OGRFeature* feature);
    virtual void setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* ogrLayer,
                                  OGRStyleTable* styleTable);
    virtual void genProjectionFile();

protected slots:
    virtual void doExport();

protected:
    // Whether the collect's first shape looks different from its layer's
    // default style.
    bool isCollectHasStyle(kstVectorCollect* collect);

    // --- Shared pieces of the exporters --------------------------------
    // A GDAL option list of a map, keys in order; the caller destroys it.
    static char** optionList(const QMap<QString, QString>& options);
    // The message text of the last GDAL error.
    static QString lastGdalError();
    // Writes "text" followed by GDAL's last error message as a debug line.
    static void debugGdalError(const char* text);
    // Creates the fields of a layer's schema in an OGR layer.
    static void createLayerFields(OGRLayer* ogrLayer, kstVectorLayer* layer);
    // A new feature of the definition holding the collect's geometry, with
    // the collect's fid when withFid is set; null (and the reason logged)
    // when it cannot be made.
    OGRFeature* newFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, bool withFid);
    // Text bytes of a layer's character set in the export character set.
    QByteArray exportText(const kstVectorLayer* layer, const QByteArray& text) const;
    // The style string of a shape; points take the string made for them
    // before the export started.
    QString shapeStyleString(kstVectorShape* shape, int mode);
    // Gives the feature the style string of the collect's first shape
    // directly (no style table) unless that shape is a point; false for a
    // point or a collect without shapes.
    bool setDirectStyle(kstVectorCollect* collect, OGRFeature* feature, int mode);

    QThread m_thread;
    QString m_exportPath;
    QString m_driverName;
    GDALDataset* m_dataSource = nullptr;
    QList<kstVectorLayer*> m_layers;
    OGRSpatialReference* m_spatialRef = nullptr;
    kstTextCode::CharSet m_charset = kstTextCode::UTF_8;
    QSizeF m_groundSize;
    bool m_keepStyle = true;
    QMap<QString, QString> m_dataSourceCreateOption;
    QMap<QString, QString> m_layerCreateOption;
    int m_pointStyleCount = 0;
    int m_lineStyleCount = 0;
    int m_areaStyleCount = 0;
    std::atomic<bool> m_stop{false};
    double m_progressMax = 98.0;

    // Options a format always needs on its layers, whatever the host sets;
    // the getters do not show them.
    QMap<QString, QString> m_driverLayerOption;
    // Whether setFeatureStyles writes point symbols. Symbol pictures are
    // painted, so they are made on the caller's thread in startExport, never
    // on the worker.
    bool m_pointSymbols = true;
    QHash<const kstVectorShape*, QString> m_pointStyles;

private:
    // Ends the worker's run: the data source is closed, the thread told to
    // quit and the object goes back to the application's main thread.
    void leaveWorker();
    void closeDataSource();
    // Flushes the data source; false (and the export ended with
    // exportFailed) when the file could not be written.
    bool flushed();
    // Ends the export with exportFailed when the last GDAL error says that
    // the file cannot be written.
    bool writeFailed();
    void preparePointStyles();
};

} // namespace Kestrum
