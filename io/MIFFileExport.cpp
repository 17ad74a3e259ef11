#include "MIFFileExport.h"

namespace Kestrum {

MIFFileExport::MIFFileExport(QObject* parent)
    : kstMapInfoFileExport(QStringLiteral("MIF"), parent)
{
}

} // namespace Kestrum
