#pragma once

#include "kstVectorGlobal.h"

#include <QRectF>
#include <QString>

namespace Kestrum {

// One label of a shape: its text, its rotation about the rectangle's centre
// (radians, 0 for horizontal text) and its rectangle, in the shape's item
// pixels as a candidate and in the edit layer's coordinates once placed.
struct KSTVECTOR_EXPORT VectorShapeLabel__
{
    QString text;
    double angle = 0.0;
    QRectF rect;

    bool isValid() const { return !text.isEmpty(); }
};

} // namespace Kestrum
