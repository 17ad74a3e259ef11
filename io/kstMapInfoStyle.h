#pragma once

#include "kstVectorGlobal.h"

class OGRFeature;
class QString;

namespace Kestrum {

// GDAL's MapInfo driver turns the OGR pen and brush ids of a style string
// into MapInfo patterns of the same number, which makes a solid fill hollow,
// a dash solid and swaps the diagonal hatches. Ids naming the MapInfo
// pattern as well ("mapinfo-brush-2,ogr-brush-0") are taken as they are, and
// read back as the OGR id written.
class kstMapInfoStyle
{
public:
    kstMapInfoStyle() = delete;

    // The style with every known OGR pen and brush id preceded by its
    // MapInfo pattern; everything else unchanged.
    static QString withMapInfoIds(const QString& style);
    // The same for the style string of a feature.
    static void addMapInfoIds(OGRFeature* feature);
};

} // namespace Kestrum
