#include "TABFileExport.h"

namespace Kestrum {

TABFileExport::TABFileExport(QObject* parent)
    : kstMapInfoFileExport(QStringLiteral("TAB"), parent)
{
}

} // namespace Kestrum
