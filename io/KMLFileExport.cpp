#include "KMLFileExport.h"

namespace Kestrum {

KMLFileExport::KMLFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("LIBKML");
}

} // namespace Kestrum
