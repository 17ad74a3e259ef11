#pragma once

#include "kstVectorGlobal.h"

#include "kstGeographicalCoordinatesPoint.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Kestrum {

class kstVectorLayer;
class kstVectorShape;

// One undoable change, as the undo recorder keeps it: what changed, the shapes
// concerned (not owned), the data the replay reads, and where the map view
// was (level and centre) when the record was made.
//
// Data keys by action:
//   LayerInsert, LayerRemove   "layer" (the layer's address, see layerValue),
//                              "layerIndex" (int, where the layer goes back)
//   ShapesMove                 "shapesLtGcps" (QList<GCP>: for each shape the
//                              ltGcp() to move it to when the record is applied)
//   VertexInsert, VertexRemove "vertexIndex" (int), "vertexGcp" (GCP)
//   VertexMove                 "vertexIndex" (int), "vertexGcp" (GCP, where
//                              the vertex goes when the record is applied)
// The recorder adds keys of its own so that replays are exact (positions of
// shapes in their collects, exact geometry before moves, the ring of a removed
// polygon vertex); a recording side may give "vertexRing" (int, 0 for the
// outer ring) with a polygon vertex removal itself.
class KSTVECTOR_EXPORT LayerMemo
{
public:
    // An int: records with other values can exist, and are dropped on replay.
    enum Action : int {
        LayerInsert = 0,
        LayerRemove = 1,
        ShapesInsert = 2,
        ShapesRemove = 3,
        ShapesMove = 4,
        VertexInsert = 5,
        VertexRemove = 6,
        VertexMove = 7
    };

    LayerMemo() = default;
    LayerMemo(Action action, const QList<kstVectorShape*>& shapes, const QMap<QString, QVariant>& data,
              int level, const kstGeographicalCoordinatesPoint& center)
        : m_action(action), m_shapes(shapes), m_data(data), m_level(level), m_center(center)
    {
    }

    bool operator==(const LayerMemo& o) const
    {
        return m_action == o.m_action && m_shapes == o.m_shapes && m_data == o.m_data && m_level == o.m_level
            && m_center == o.m_center;
    }
    bool operator!=(const LayerMemo& o) const { return !(*this == o); }

    // The "layer" value: the full address, so that 64-bit builds compare
    // whole pointers. Values written as 32-bit integers are read too.
    static QVariant layerValue(kstVectorLayer* layer)
    {
        return QVariant::fromValue<qulonglong>(reinterpret_cast<quintptr>(layer));
    }
    static kstVectorLayer* layerOf(const QVariant& value)
    {
        return reinterpret_cast<kstVectorLayer*>(static_cast<quintptr>(value.toULongLong()));
    }

    Action m_action = LayerInsert;
    QList<kstVectorShape*> m_shapes;
    QMap<QString, QVariant> m_data;
    int m_level = 0;
    kstGeographicalCoordinatesPoint m_center;
};

} // namespace Kestrum
