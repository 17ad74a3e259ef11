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
// layer; the file is big-endian at QDataStream::Qt_5_15, and the readers
// take the byte order and floating-point precision of the stream they are
// given (Qt values in the Qt 5.15 formats).
//
// Readers never trust a count or a size: every Qt value is measured against
// the bytes that hold it before Qt decodes it, so damaged or hostile data
// cannot make them allocate beyond the data, recurse without end or name
// files to be read. A damaged record sets the stream's status; loadLayers
// keeps every layer and collect before it, and leaves out the damaged
// collect and what follows. Attribute values may be of any type QVariant
// streams (the core library's geographic point included); easing curves come
// back with this process's function for their type (custom curves as the
// default curve), and icons only when made of pictures.
//
// From a QBuffer the records are read in place; from other devices through
// windows a few times the record's size, so reading stays linear.
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
