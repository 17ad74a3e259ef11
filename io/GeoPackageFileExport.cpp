#include "GeoPackageFileExport.h"

namespace Kestrum {

GeoPackageFileExport::GeoPackageFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("GPKG");
    m_pointSymbols = false;
}

} // namespace Kestrum
