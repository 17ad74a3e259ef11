#pragma once

#include <QList>
#include <QMetaType>
#include <QPointF>
#include <QVector>

namespace Kestrum {

class kstVectorShape;

// The exact geographic points of several shapes, taken at one moment, so that
// a replayed move can land on the very bits the shapes had: moving through
// plane coordinates and back is close, but not exact. Internal to the undo
// recorder.
class kstShapeGeometry
{
public:
    static kstShapeGeometry capture(const QList<kstVectorShape*>& shapes);

    int size() const { return m_offsets.size() - 1; }
    bool isEmpty() const { return size() <= 0; }

    // Gives shape `index` its captured points again (points are not kept:
    // their moves are exact). With a tolerance (in
    // degrees) only when its current points lie that close to them, so that a
    // change made outside the undo history is never reverted; with a negative
    // tolerance whenever the point count still matches. True when restored.
    bool restore(int index, kstVectorShape* shape, double tolerance) const;

    bool operator==(const kstShapeGeometry& o) const { return m_points == o.m_points && m_offsets == o.m_offsets; }

    // All geographic points of a shape in a fixed order (a circle's centre first).
    static QVector<QPointF> pointsOf(kstVectorShape* shape);

private:
    static bool setPointsOf(kstVectorShape* shape, const QVector<QPointF>& points);

    QVector<QPointF> m_points;
    QVector<int> m_offsets{0};
};

} // namespace Kestrum

Q_DECLARE_METATYPE(Kestrum::kstShapeGeometry)
