#pragma once

#include "kstGeographicalCoordinatesPoint.h"

#include <algorithm>

namespace Kestrum {

// The geographic extent arithmetic shared by shapes, collects and layers:
// lt is the north-west corner, rb the south-east one; an empty extent is the
// inverted box (180, -90) to (-180, 90), which widens nothing.
namespace kstExtentBox {

inline void reset(GCP& lt, GCP& rb)
{
    lt = GCP(180.0, -90.0);
    rb = GCP(-180.0, 90.0);
}

inline void widen(GCP& lt, GCP& rb, const GCP& lt2, const GCP& rb2)
{
    lt = GCP(std::min(lt.lon(), lt2.lon()), std::max(lt.lat(), lt2.lat()));
    rb = GCP(std::max(rb.lon(), rb2.lon()), std::min(rb.lat(), rb2.lat()));
}

// Extent of a range of elements that each report theirs through `extentOf(element, lt, rb)`.
template <class Range, class ExtentOf>
void of(const Range& elements, GCP& lt, GCP& rb, ExtentOf extentOf)
{
    reset(lt, rb);
    for (const auto& element : elements) {
        GCP lt2, rb2;
        extentOf(element, lt2, rb2);
        widen(lt, rb, lt2, rb2);
    }
}

} // namespace kstExtentBox
} // namespace Kestrum
