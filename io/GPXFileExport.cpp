#include "GPXFileExport.h"

namespace Kestrum {

GPXFileExport::GPXFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("GPX");
    m_dataSourceCreateOption.insert(QStringLiteral("GPX_USE_EXTENSIONS"), QStringLiteral("YES"));
    m_pointSymbols = false;
}

} // namespace Kestrum
