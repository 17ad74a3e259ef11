#pragma once

#include "kstVectorLayer.h"

#include <QPointF>
#include <QRandomGenerator>

namespace Kestrum {

class kstVectorShape;

// A shape of one of the five kinds (point, line, polygon with up to
// `maxHoles` holes, rectangle, circle) at `at`, about `size` degrees large.
kstVectorShape* randomShape(int kind, QRandomGenerator& rng, const QPointF& at, double size, int maxHoles = 1);

// A layer of `count` labelled shapes of all five kinds, scattered around
// (110, 35); the same seed gives the same shapes in the same order, so a
// larger layer starts with the shapes of a smaller one.
kstVectorLayer* mixedLayer(int count, quint32 seed);

} // namespace Kestrum
