#include "kstDemoExportDialog.h"

#include "VectorFileExportFactory.h"
#include "kstTextCode.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorFileExport.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstWebMercatorProjection.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QProgressDialog>
#include <QPushButton>

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <memory>

using namespace Kestrum;

namespace {

using Factory = VectorFileExportFactory;

// The suffix a format's file takes; formats written as folders have none.
QString suffixOf(int type)
{
    static const char* const suffixes[] = {"", ".kml", ".dxf", ".geojson", ".gpx", "", "", ".sqlite", ".gpkg"};
    return type >= 0 && type < 9 ? QString::fromLatin1(suffixes[type]) : QString();
}

// Collects a format keeps of the visible ones: DXF adds a label entity for
// every labelled point; GPX and MapInfo write what their geometry types allow.
int visibleCollects(const QList<kstVectorLayer*>& layers)
{
    int count = 0;
    for (kstVectorLayer* layer : layers) {
        if (kstVectorEditLayer::layerVisibleState(layer) == Qt::Unchecked)
            continue;
        for (kstVectorCollect* collect : qAsConst(layer->m_collects))
            count += kstVectorEditLayer::collectVisibleState(collect) != Qt::Unchecked;
    }
    return count;
}

// Reads the file back with the library's importer; the collects it holds.
int readBack(const QString& target)
{
    GDALDataset* source = GDALDataset::FromHandle(
        GDALOpenEx(target.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    if (!source)
        return -1;
    QList<int> indices;
    for (int i = 0; i < source->GetLayerCount(); ++i) {
        // GPX lists the vertices of routes and tracks once more as points.
        if (!QByteArray(source->GetLayer(i)->GetName()).endsWith("_points"))
            indices << i;
    }
    kstWebMercatorProjection projection;
    kstTileResulotion resolution;
    kstVectorFileImport importer;
    importer.setCurrentMapViewConfig(&projection, &resolution, 12);
    QEventLoop loop;
    int collects = 0;
    QObject::connect(&importer, &kstVectorFileImport::layerImport, &loop, [&collects](kstVectorLayer* layer) {
        collects += layer->m_collects.size();
        kstVectorLayer::destoryLayer(layer);
    });
    QObject::connect(&importer, &kstVectorFileImport::importFinished, &loop, &QEventLoop::quit);
    QObject::connect(&importer, &kstVectorFileImport::importStoped, &loop, &QEventLoop::quit);
    importer.startImport(source, indices);
    loop.exec();
    return collects;
}

} // namespace

kstDemoExportDialog::kstDemoExportDialog(const QList<kstVectorLayer*>& layers, QWidget* parent)
    : QDialog(parent)
    , m_format(new QComboBox(this))
    , m_charset(new QComboBox(this))
    , m_target(new QLineEdit(this))
{
    setWindowTitle(tr("Export"));
    for (int type = Factory::Export_SHP; type <= Factory::Export_GeoPackage; ++type)
        m_format->addItem(Factory::formatString(Factory::Export_Type(type)), type);
    for (kstTextCode::CharSet cs : kstTextCode::availableCharsets())
        m_charset->addItem(kstTextCode::charsetString(cs), int(cs));
    m_charset->setCurrentIndex(m_charset->findData(int(kstTextCode::UTF_8)));
    const QString name = layers.isEmpty() ? QStringLiteral("export") : layers.first()->m_name;
    m_target->setText(QDir::home().filePath(name));
    // The suffix follows the format.
    connect(m_format, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] {
        QFileInfo info(m_target->text());
        m_target->setText(info.dir().filePath(info.completeBaseName() + suffixOf(formatType())));
    });

    auto* browseButton = new QPushButton(tr("Browse..."), this);
    connect(browseButton, &QPushButton::clicked, this, &kstDemoExportDialog::browse);
    auto* targetRow = new QHBoxLayout;
    targetRow->addWidget(m_target);
    targetRow->addWidget(browseButton);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout(this);
    form->addRow(tr("Format:"), m_format);
    form->addRow(tr("Character set:"), m_charset);
    form->addRow(tr("Save to:"), targetRow);
    form->addRow(buttons);
}

int kstDemoExportDialog::formatType() const
{
    return m_format->currentData().toInt();
}

int kstDemoExportDialog::charset() const
{
    return m_charset->currentData().toInt();
}

QString kstDemoExportDialog::target() const
{
    return m_target->text();
}

void kstDemoExportDialog::browse()
{
    const QString suffix = suffixOf(formatType());
    const QString file = suffix.isEmpty()
        ? QFileDialog::getExistingDirectory(this, tr("Export to folder"), QFileInfo(target()).path())
        : QFileDialog::getSaveFileName(this, tr("Export to"), target(),
                                       m_format->currentText() + QStringLiteral(" (*%1)").arg(suffix));
    if (!file.isEmpty())
        m_target->setText(file);
}

bool kstDemoExportDialog::exportLayers(const QList<kstVectorLayer*>& layers, int formatType, int charset,
                                       const QString& target, QWidget* parent, QString* message)
{
    GDALAllRegister();
    const std::unique_ptr<kstVectorFileExport> exporter(Factory::create(Factory::Export_Type(formatType)));
    if (!exporter) {
        *message = tr("Unknown format.");
        return false;
    }
    OGRSpatialReference wgs84;
    wgs84.SetWellKnownGeogCS("WGS84");
    wgs84.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    exporter->setExportSpatialRef(&wgs84);
    exporter->setExportCharset(kstTextCode::CharSet(charset));

    QProgressDialog progress(tr("Exporting..."), tr("Cancel"), 0, 100, parent);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(0);
    QEventLoop loop;
    QString end;
    QObject::connect(exporter.get(), &kstVectorFileExport::exportProgress, &progress,
                     [&progress](int value, const QString& detail) {
                         progress.setLabelText(detail);
                         progress.setValue(qMin(value, 99)); // 100 would close the dialog before the end
                     });
    QObject::connect(exporter.get(), &kstVectorFileExport::exportFinished, &loop, [&] {
        end = QStringLiteral("finished");
        loop.quit();
    });
    QObject::connect(exporter.get(), &kstVectorFileExport::exportStoped, &loop, [&] {
        end = QStringLiteral("stopped");
        loop.quit();
    });
    QObject::connect(exporter.get(), &kstVectorFileExport::exportFailed, &loop, [&](const QString& detail) {
        end = QStringLiteral("failed");
        *message = detail;
        loop.quit();
    });
    // Cancel blocks until the worker has seen the request; its last signal follows.
    QObject::connect(&progress, &QProgressDialog::canceled, exporter.get(), [&exporter] { exporter->stopExport(); });
    exporter->startExport(target, layers);
    loop.exec();
    progress.reset();

    if (end == QLatin1String("failed"))
        return false;
    if (end == QLatin1String("stopped")) {
        *message = tr("Export stopped; %1 holds what was written so far.").arg(target);
        return false;
    }
    const int back = readBack(target);
    const int sent = visibleCollects(layers);
    *message = tr("%1 features exported to %2; the import reads %3 back.").arg(sent).arg(target).arg(back);
    return back >= 0;
}
