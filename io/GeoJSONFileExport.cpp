#include "GeoJSONFileExport.h"

#include "kstVectorLayer.h"

#include <QFileInfo>

#include <gdal_priv.h>

namespace Kestrum {

GeoJSONFileExport::GeoJSONFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("GeoJSON");
    m_pointSymbols = false;
}

OGRLayer* GeoJSONFileExport::getLayer(kstVectorLayer* layer)
{
    OGRLayer* ogrLayer = nullptr;
    if (m_dataSource->GetLayerCount() == 0) {
        const QString name = QFileInfo(QString::fromUtf8(m_dataSource->GetDescription())).fileName();
        ogrLayer = m_dataSource->CreateLayer(name.toUtf8().constData(), m_spatialRef, layer->getType(), nullptr);
        if (!ogrLayer) {
            debugGdalError("ogrDataDest CreateLayer Failed:");
            return nullptr;
        }
    } else {
        ogrLayer = m_dataSource->GetLayer(0);
    }
    createLayerFields(ogrLayer, layer);
    return ogrLayer;
}

} // namespace Kestrum
