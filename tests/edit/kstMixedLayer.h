#pragma once

#include "kstVectorLayer.h"

#include <QtGlobal>

namespace Kestrum {

// A layer of `count` labelled shapes of all five kinds, scattered around
// (110, 35); the same seed gives the same shapes in the same order, so a
// larger layer starts with the shapes of a smaller one.
kstVectorLayer* mixedLayer(int count, quint32 seed);

} // namespace Kestrum
