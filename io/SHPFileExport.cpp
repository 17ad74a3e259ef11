#include "SHPFileExport.h"

#include "kstVectorLayer.h"

#include <QFile>
#include <QFileInfo>

#include <gdal_priv.h>

namespace Kestrum {

SHPFileExport::SHPFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("ESRI Shapefile");
    m_layerCreateOption.insert(QStringLiteral("SPATIAL_INDEX"), QStringLiteral("YES"));
    // The driver would recode text it takes for UTF-8 into its own code page
    // and replace the code-page file; the text arrives in the export
    // character set already, and the code-page file is written afterwards.
    m_driverLayerOption.insert(QStringLiteral("ENCODING"), QString());
    m_pointSymbols = false;
}

OGRLayer* SHPFileExport::getLayer(kstVectorLayer* layer)
{
    OGRLayer* ogrLayer = kstVectorFileExport::getLayer(layer);
    const QByteArray codePage = kstTextCode::shpCPGString(m_charset).toUtf8();
    // Beside the layer's shapefile when the export path is a folder.
    const QString source = QString::fromUtf8(m_dataSource->GetDescription());
    QFile cpg(QStringLiteral("%1/%2.cpg").arg(source, layer->m_name));
    if (cpg.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        cpg.write(codePage);
        return ogrLayer;
    }
    // A path naming one .shp file: the driver has left an empty code-page
    // file beside it, which would make readers guess the text's code page.
    QFile driverCpg(QStringLiteral("%1/%2.cpg").arg(QFileInfo(source).path(), layer->m_name));
    if (ogrLayer && driverCpg.exists() && driverCpg.open(QIODevice::WriteOnly | QIODevice::Truncate))
        driverCpg.write(codePage);
    return ogrLayer;
}

} // namespace Kestrum
