#pragma once

#include "kstResulotion.h"

namespace Kestrum {

// The usual pyramid of 256-pixel Web Mercator tiles, levels 0 to 22.
class KSTCORE_EXPORT kstTileResulotion : public kstResulotion
{
public:
    static constexpr int kTileSize = 256;
    static constexpr int kMinLevel = 0;
    static constexpr int kMaxLevel = 22;

    kstMeterPerPixle__ mpp(int level) const override;
    int minLevel() const override { return kMinLevel; }
    int maxLevel() const override { return kMaxLevel; }
};

} // namespace Kestrum
