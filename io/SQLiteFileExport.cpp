#include "SQLiteFileExport.h"

namespace Kestrum {

SQLiteFileExport::SQLiteFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("SQLite");
    m_dataSourceCreateOption.insert(QStringLiteral("SPATIALITE"), QStringLiteral("YES"));
    m_layerCreateOption.insert(QStringLiteral("SPATIAL_INDEX"), QStringLiteral("NO"));
    m_pointSymbols = false;
}

} // namespace Kestrum
