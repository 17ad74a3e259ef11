#pragma once

#include "kstMapInfoFileExport.h"

namespace Kestrum {

// MapInfo TAB.
class KSTVECTOR_EXPORT TABFileExport : public kstMapInfoFileExport
{
    Q_OBJECT

public:
    explicit TABFileExport(QObject* parent = nullptr);
};

} // namespace Kestrum
