#pragma once

#include "kstVectorLayer.h"

#include <QList>
#include <QPointF>
#include <QVector>

class OGRGeometry;

namespace Kestrum {

class kstVectorFileExport;

// Layers that hold every shape kind, multi-part collects with hidden members,
// every attribute type and non-default styles; the tests export them and read
// the files back.
namespace ExportTestLayers {

enum Kind { Points, Lines, Areas, MultiPoints, MultiLines, MultiAreas, Hidden };

// One layer of a kind, fids from 1; every collect carries the same fields.
kstVectorLayer* makeLayer(Kind kind);
// A layer of `count` points, all visible, with a few fields.
kstVectorLayer* makePointLayer(const QString& name, int count);
void destroy(QList<kstVectorLayer*>& layers);

// The field names and OGR types every collect carries.
QStringList fieldNames();
QList<int> fieldTypes();

// The exported vertices of a collect (visible members of multi-points only),
// rings without their closing repeat, in the collect's shape order.
QVector<QPointF> exportedVertices(const kstVectorCollect* collect);
// The vertices of a read-back geometry, rings without their closing repeat.
QVector<QPointF> vertices(const OGRGeometry* geometry);
// Whether both lists hold the same points within tolerance, in any order
// (drivers may turn rings round and start them elsewhere).
bool sameVertices(const QVector<QPointF>& expected, const QVector<QPointF>& actual, double tolerance,
                  QString* why = nullptr);

// Runs an export to its end on the caller's event loop; returns the names of
// the final signals in order ("started", "stoped", "finished", "failed:...").
QStringList runExport(kstVectorFileExport* exporter, const QString& path, const QList<kstVectorLayer*>& layers);

// Reads every layer of a GIS file with the library's importer; the caller
// owns the layers.
QList<kstVectorLayer*> importFile(const QString& path);

} // namespace ExportTestLayers

} // namespace Kestrum
