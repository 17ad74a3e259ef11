#pragma once

#include "kstVectorGlobal.h"

#include <QDataStream>

namespace Kestrum {

class kstVectorCollect;
class kstVectorLayer;
class VectorCircle;
class VectorLine;
class VectorPoint;
class VectorPolygon;
class VectorRect;

// Records of the layers file. The file starts with the magic number, the
// layer and collect counts and the extent, followed by one layer record per
// layer; streams are big-endian at QDataStream::Qt_5_15. Readers check every
// count and every variable-length Qt value against the bytes that remain
// before they allocate, and stop at the first damaged record.
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const kstVectorLayer& layer);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, kstVectorLayer& layer);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const kstVectorCollect& collect);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, kstVectorCollect& collect);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const VectorPoint& point);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, VectorPoint& point);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const VectorLine& line);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, VectorLine& line);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const VectorPolygon& polygon);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, VectorPolygon& polygon);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const VectorRect& rect);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, VectorRect& rect);
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const VectorCircle& circle);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, VectorCircle& circle);

} // namespace Kestrum
