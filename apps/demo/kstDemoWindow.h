#pragma once

#include <QMainWindow>

class QLabel;
class kstDemoEditor;
class kstDemoFitPanel;
class kstDemoLayerList;
class kstDemoUndoActions;

namespace Kestrum {
class kstPlaneCoordinatesPoint;
class kstVectorFileImport;
class kstTileMapView;
class kstVectorEditLayer;
class kstVectorLayer;
}

// The demo editor's main window: the map view, zoom actions and a status
// bar with the cursor's longitude and latitude and the current level.
class kstDemoWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit kstDemoWindow(QWidget* parent = nullptr);
    ~kstDemoWindow() override;

    Kestrum::kstTileMapView* mapView() const { return m_view; }
    QList<Kestrum::kstVectorLayer*> layers() const { return m_layers; }
    Kestrum::kstVectorEditLayer* editLayer() const { return m_editLayer; }
    kstDemoEditor* editor() const { return m_editor; }
    // The layer new features go into: the one current in the layer list, else
    // the top one; a new layer when there is none.
    Kestrum::kstVectorLayer* currentLayer();
    kstDemoFitPanel* fitPanel() const { return m_fitPanel; }
    kstDemoUndoActions* undoActions() const { return m_undoActions; }

    // Replaces the shown layers by those of a layers file and shows their extent.
    bool openLayers(const QString& file);
    bool saveLayers(const QString& file);
    // Imports every layer of a GIS file on the importer's worker thread;
    // imported emits when the last layer is shown.
    bool importFile(const QString& file);
    // File > Export...: asks for format, character set and target, then
    // exports the layers and reads the result back.
    void exportLayers();

signals:
    void imported();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void createActions();
    void createFileMenu();
    void createEditTools();
    void showLayers(const QList<Kestrum::kstVectorLayer*>& layers);
    void zoomToLayers();
    void showImportedLayer(Kestrum::kstVectorLayer* layer);
    void showCursor(const QPointF& pix);
    void showLevel(int level);

    Kestrum::kstTileMapView* m_view = nullptr;
    Kestrum::kstVectorEditLayer* m_editLayer = nullptr;
    kstDemoLayerList* m_layerList = nullptr;
    kstDemoEditor* m_editor = nullptr;
    kstDemoUndoActions* m_undoActions = nullptr;
    kstDemoFitPanel* m_fitPanel = nullptr;
    Kestrum::kstVectorFileImport* m_importer = nullptr;
    QList<Kestrum::kstVectorLayer*> m_layers; // owned by the window
    QLabel* m_lonLabel = nullptr;
    QLabel* m_latLabel = nullptr;
    QLabel* m_levelLabel = nullptr;
};
