#include "SHPFileExport.h"

#include "kstVectorLayer.h"

#include <QFile>

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
    // Beside the layer's shapefile when the export path is a folder; a path
    // naming one .shp file gives a path that cannot be opened, and no file.
    QFile cpg(QStringLiteral("%1/%2.cpg").arg(QString::fromUtf8(m_dataSource->GetDescription()), layer->m_name));
    if (cpg.open(QIODevice::WriteOnly | QIODevice::Truncate))
        cpg.write(kstTextCode::shpCPGString(m_charset).toUtf8());
    return ogrLayer;
}

} // namespace Kestrum
