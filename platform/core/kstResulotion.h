#pragma once

#include "kstCoreGlobal.h"
#include "kstGeometryRecords.h"

namespace Kestrum {

// Ground resolution per zoom level.
class KSTCORE_EXPORT kstResulotion
{
public:
    virtual ~kstResulotion();

    virtual kstMeterPerPixle__ mpp(int level) const = 0;

    // The range of levels the resolution is defined for.
    virtual int minLevel() const = 0;
    virtual int maxLevel() const = 0;
};

} // namespace Kestrum
