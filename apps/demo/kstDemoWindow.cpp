#include "kstDemoWindow.h"

#include "kstDemoExportDialog.h"
#include "kstDemoEditToolBar.h"
#include "kstDemoEditor.h"
#include "kstDemoFitPanel.h"
#include "kstDemoLayerList.h"
#include "kstDemoUndoActions.h"
#include "kstDemoSampleLayer.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>

#include <gdal_priv.h>
#include <QDockWidget>
#include <QFileDialog>
#include <QMessageBox>
#include <QLabel>
#include <QMenuBar>
#include <QMouseEvent>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>

using namespace Kestrum;

namespace {

const GCP kHomeCenter(110.0, 33.0);
constexpr int kHomeLevel = 5;

QString formatDegrees(double value, QChar positive, QChar negative)
{
    return QStringLiteral("%1° %2").arg(qAbs(value), 0, 'f', 6).arg(value < 0 ? negative : positive);
}

} // namespace

kstDemoWindow::kstDemoWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_view(new kstTileMapView(this))
{
    setWindowTitle(QStringLiteral("kstVector demo"));
    setCentralWidget(m_view);
    m_view->viewport()->installEventFilter(this);

    m_lonLabel = new QLabel(this);
    m_latLabel = new QLabel(this);
    m_levelLabel = new QLabel(this);
    for (QLabel* label : {m_lonLabel, m_latLabel, m_levelLabel}) {
        label->setMinimumWidth(150);
        statusBar()->addPermanentWidget(label);
    }
    createActions();

    connect(m_view, &kstTileMapView::viewChanged, this, [this](const PCP&, int level) { showLevel(level); });
    m_view->panAndZoom(kHomeCenter, kHomeLevel);

    m_editLayer = new kstVectorEditLayer;
    m_editLayer->addToMapView(m_view);
    m_layerList = new kstDemoLayerList(m_editLayer, this);
    auto* dock = new QDockWidget(tr("Layers"), this);
    dock->setObjectName(QStringLiteral("layersDock"));
    dock->setWidget(m_layerList);
    addDockWidget(Qt::LeftDockWidgetArea, dock);
    createEditTools();
    showLayers({kstDemoSampleLayer::create()});
    showLevel(m_view->level());
    showCursor(QPointF(m_view->viewSize().width() / 2.0, m_view->viewSize().height() / 2.0));
}

kstDemoWindow::~kstDemoWindow()
{
    if (m_importer) {
        m_importer->stopImport();
        delete m_importer;
    }
    // The shapes kept removed for undo go with the undo records; then the
    // edit layer leaves the view, lets go of the layers and goes, all before
    // the view deletes its scene; then the layers are disposed of.
    m_editor->disposeRemoved();
    m_editLayer->removeFromMapView();
    for (kstVectorLayer* layer : qAsConst(m_layers))
        m_editLayer->removeLayer(layer);
    delete m_editLayer;
    for (kstVectorLayer* layer : qAsConst(m_layers))
        kstVectorLayer::destoryLayer(layer);
}

void kstDemoWindow::showLayers(const QList<kstVectorLayer*>& layers)
{
    m_editor->disposeRemoved();
    for (kstVectorLayer* layer : qAsConst(m_layers))
        m_editLayer->deleteLayer(layer);
    m_layers = layers;
    for (int i = 0; i < m_layers.size(); ++i)
        m_editLayer->insertLayer(m_layers.at(i), i);
    m_editLayer->resetZLevel();
    m_editLayer->updateLabels();
    m_layerList->setLayers(m_layers);
}

kstVectorLayer* kstDemoWindow::currentLayer()
{
    if (kstVectorLayer* layer = m_layerList->currentLayer())
        return layer;
    if (m_layers.isEmpty()) {
        kstVectorLayer* layer = kstVectorLayer::newLayer();
        layer->m_name = tr("Drawing");
        m_layers.append(layer);
        m_editLayer->insertLayer(layer, 0);
        m_editLayer->resetZLevel();
        m_layerList->setLayers(m_layers);
    }
    return m_layers.first();
}

bool kstDemoWindow::openLayers(const QString& file)
{
    QList<kstVectorLayer*> layers;
    if (!kstVectorLayer::loadLayers(layers, file)) {
        statusBar()->showMessage(tr("Cannot open %1").arg(file));
        return false;
    }
    showLayers(layers);
    zoomToLayers();
    statusBar()->showMessage(tr("Opened %1").arg(file));
    return true;
}

bool kstDemoWindow::saveLayers(const QString& file)
{
    const bool saved = kstVectorLayer::saveLayers(m_layers, file);
    statusBar()->showMessage(saved ? tr("Saved %1").arg(file) : tr("Cannot save %1").arg(file));
    return saved;
}

bool kstDemoWindow::importFile(const QString& file)
{
    if (m_importer && m_importer->isImporting())
        return false;
    GDALAllRegister();
    GDALDataset* source = static_cast<GDALDataset*>(
        GDALOpenEx(QFile::encodeName(file).constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    if (!source) {
        statusBar()->showMessage(tr("Cannot import %1").arg(file));
        return false;
    }
    QList<int> indices;
    for (int i = 0; i < source->GetLayerCount(); ++i)
        indices << i;
    if (!m_importer) {
        m_importer = new kstVectorFileImport;
        connect(m_importer, &kstVectorFileImport::layerImport, this, &kstDemoWindow::showImportedLayer);
        connect(m_importer, &kstVectorFileImport::importProgress, this,
                [this](int progress, const QString& detail) {
                    statusBar()->showMessage(QStringLiteral("%1 %2%").arg(detail).arg(progress));
                });
        connect(m_importer, &kstVectorFileImport::importFinished, this, [this] {
            zoomToLayers();
            statusBar()->showMessage(tr("Imported"), 3000);
            emit imported();
        });
        connect(m_importer, &kstVectorFileImport::importStoped, this, &kstDemoWindow::imported);
    }
    m_importer->setCurrentMapViewConfig(m_view->projection(), m_view->resolution(), m_view->level());
    m_importer->startImport(source, indices);
    return true;
}

void kstDemoWindow::showImportedLayer(kstVectorLayer* layer)
{
    // Features without a label field are labelled by their name attribute.
    for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
        if (collect->m_text.isEmpty())
            collect->m_text = collect->m_fields.value(QStringLiteral("name")).toString();
    }
    kstVectorEditLayer::upateLayerShapeLabels(layer);
    m_layers.append(layer);
    m_editLayer->importLayer(layer, m_layers.size() - 1);
    m_editLayer->resetZLevel();
    m_editLayer->updateLabels();
    m_layerList->setLayers(m_layers);
}

void kstDemoWindow::zoomToLayers()
{
    GCP lt, rb;
    kstVectorLayer::getLayersExtent(m_layers, lt, rb);
    if (lt.lon() > rb.lon())
        return;
    // The deepest level at which the whole extent fits into the view.
    const GCP center((lt.lon() + rb.lon()) / 2, (lt.lat() + rb.lat()) / 2);
    const QSize size = m_view->viewSize();
    int level = m_view->resolution()->maxLevel();
    for (; level > m_view->resolution()->minLevel(); --level) {
        const QPointF span = rb.toPcp(m_view->projection()).toPix(m_view->resolution()->mpp(level),
                                                                 lt.toPcp(m_view->projection()));
        if (span.x() <= size.width() && span.y() <= size.height())
            break;
    }
    m_view->panAndZoom(center, level);
}

void kstDemoWindow::createFileMenu()
{
    QMenu* fileMenu = menuBar()->addMenu(tr("&File"));
    const QString filter = tr("Layers files (*.kst);;All files (*)");
    fileMenu->addAction(tr("&Open Layers..."), this, [this, filter] {
        const QString file = QFileDialog::getOpenFileName(this, tr("Open Layers"), QString(), filter);
        if (!file.isEmpty() && !openLayers(file))
            QMessageBox::warning(this, tr("Open Layers"), tr("%1 is not a readable layers file.").arg(file));
    }, QKeySequence::Open);
    fileMenu->addAction(tr("&Import GIS File..."), this, [this] {
        const QString file = QFileDialog::getOpenFileName(
            this, tr("Import"), QString(),
            tr("GIS files (*.shp *.tab *.mif *.dxf *.kml *.gpx *.geojson *.json *.sqlite *.gpkg);;All files (*)"));
        if (!file.isEmpty() && !importFile(file))
            QMessageBox::warning(this, tr("Import"), tr("Cannot import %1.").arg(file));
    });
    fileMenu->addAction(tr("&Export..."), this, [this] { exportLayers(); });
    fileMenu->addAction(tr("&Save Layers As..."), this, [this, filter] {
        const QString file = QFileDialog::getSaveFileName(this, tr("Save Layers"), QString(), filter);
        if (!file.isEmpty() && !saveLayers(file))
            QMessageBox::warning(this, tr("Save Layers"), tr("Cannot save %1.").arg(file));
    }, QKeySequence::Save);
    fileMenu->addSeparator();
    fileMenu->addAction(tr("&Quit"), this, &QWidget::close, QKeySequence::Quit);
}

void kstDemoWindow::exportLayers()
{
    kstDemoExportDialog dialog(m_layers, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    QString message;
    const bool done =
        kstDemoExportDialog::exportLayers(m_layers, dialog.formatType(), dialog.charset(), dialog.target(), this, &message);
    if (done)
        statusBar()->showMessage(message);
    else
        QMessageBox::warning(this, tr("Export"), message);
}

void kstDemoWindow::createActions()
{
    createFileMenu();
    QMenu* viewMenu = menuBar()->addMenu(tr("&View"));
    QToolBar* toolBar = addToolBar(tr("Map"));
    toolBar->setObjectName(QStringLiteral("mapToolBar"));

    QAction* zoomIn = new QAction(tr("Zoom &In"), this);
    zoomIn->setShortcut(QKeySequence::ZoomIn);
    connect(zoomIn, &QAction::triggered, m_view, qOverload<>(&kstTileMapView::zoomIn));
    QAction* zoomOut = new QAction(tr("Zoom &Out"), this);
    zoomOut->setShortcut(QKeySequence::ZoomOut);
    connect(zoomOut, &QAction::triggered, m_view, qOverload<>(&kstTileMapView::zoomOut));
    QAction* home = new QAction(tr("&Home"), this);
    home->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_0));
    connect(home, &QAction::triggered, this, [this] { m_view->panAndZoom(kHomeCenter, kHomeLevel); });

    for (QAction* action : {zoomIn, zoomOut, home}) {
        viewMenu->addAction(action);
        toolBar->addAction(action);
    }
}

void kstDemoWindow::createEditTools()
{
    m_undoActions = new kstDemoUndoActions(m_editLayer, this);
    // The modes (fit lines among them), snapping, undo, redo and delete.
    m_editor = new kstDemoEditor(m_editLayer, [this] { return currentLayer(); }, this);
    kstDemoEditToolBar* toolBar = m_editor->toolBar();
    addToolBarBreak();
    addToolBar(toolBar);
    toolBar->insertActions(toolBar->deleteAction(), {m_undoActions->undoAction(), m_undoActions->redoAction()});
    QMenu* editMenu = menuBar()->addMenu(tr("&Edit"));
    for (QAction* action : {m_undoActions->undoAction(), m_undoActions->redoAction(), toolBar->deleteAction()})
        editMenu->addAction(action);
    statusBar()->addPermanentWidget(m_editor->measureLabel());
    connect(m_editor, &kstDemoEditor::featuresChanged, this, [this] { m_layerList->setLayers(m_layers); });
    m_fitPanel = new kstDemoFitPanel(m_editLayer, this);
    auto* dock = new QDockWidget(tr("Fit"), this);
    dock->setObjectName(QStringLiteral("fitDock"));
    dock->setWidget(m_fitPanel);
    addDockWidget(Qt::RightDockWidgetArea, dock);
}

bool kstDemoWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_view->viewport() && event->type() == QEvent::MouseMove)
        showCursor(static_cast<QMouseEvent*>(event)->localPos());
    // Drags and clicks may have changed the selected shape's measure.
    if (watched == m_view->viewport() && event->type() == QEvent::MouseButtonRelease)
        QTimer::singleShot(0, m_editor, &kstDemoEditor::showMeasure);
    return QMainWindow::eventFilter(watched, event);
}

void kstDemoWindow::showCursor(const QPointF& pix)
{
    const GCP gcp = m_view->pixToGcp(pix);
    m_lonLabel->setText(tr("Lon %1").arg(formatDegrees(gcp.lon(), QLatin1Char('E'), QLatin1Char('W'))));
    m_latLabel->setText(tr("Lat %1").arg(formatDegrees(gcp.lat(), QLatin1Char('N'), QLatin1Char('S'))));
}

void kstDemoWindow::showLevel(int level)
{
    m_levelLabel->setText(tr("Level %1").arg(level));
}
