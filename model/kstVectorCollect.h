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

// A feature: one fid, one geometry type, attribute values, a label text and
// the shapes that make up its geometry. The collect does not own its shapes
// by itself: only destroyCollect deletes them.
class KSTVECTOR_EXPORT kstVectorCollect
{
public:
    static constexpr quint64 kNoFid = 0xFFFFFFFFFFFFFFFFull;

    kstVectorCollect() = default;
    kstVectorCollect(const kstVectorCollect&) = default;
    kstVectorCollect& operator=(const kstVectorCollect&) = default;
    virtual ~kstVectorCollect();

    static kstVectorCollect* newCollect();
    // Deletes the collect alone; its shapes stay alive.
    static void deleteCollect(kstVectorCollect* collect);
    // Deletes the collect and its shapes.
    static void destroyCollect(kstVectorCollect* collect);

    // Deep copies with clones of the collect's own shapes, or of the given ones.
    kstVectorCollect* clone();
    kstVectorCollect* clone(const QList<kstVectorShape*>& shapes);

    void getCollectExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const;
    static void getCollectsExtent(const QList<kstVectorCollect*>& collects,
                                  kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb);

    kstVectorLayer* m_layer = nullptr;
    quint64 m_fid = kNoFid;
    QString m_text;
    int m_geometryType = 0; // wkbUnknown
    QMap<QString, QVariant> m_fields;
    QList<kstVectorShape*> m_shapes;
};

} // namespace Kestrum
