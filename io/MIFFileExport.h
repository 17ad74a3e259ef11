#pragma once

#include "kstMapInfoFileExport.h"

namespace Kestrum {

// MapInfo MIF.
class KSTVECTOR_EXPORT MIFFileExport : public kstMapInfoFileExport
{
    Q_OBJECT

public:
    explicit MIFFileExport(QObject* parent = nullptr);
};

} // namespace Kestrum
