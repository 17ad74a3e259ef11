#pragma once

#include "kstVectorGlobal.h"

#include <QHash>
#include <QList>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QVector>

#include <vector>

class QGraphicsItem;

namespace Kestrum {

class kstVectorShape;

// A spatial index over the shapes that are child items of one item (the edit
// layer), so that picking and snapping look only at the shapes near a
// position instead of at every child, as the scene's own queries do.
//
// Shapes are filed by their rectangles in the owner's item coordinates
// (position plus bounding rectangle) in a hierarchy of grids: the cell side
// doubles from one grid to the next, and each shape goes into the finest grid
// whose cells are at least as large as the shape, so that it lies in at most
// two by two cells. Rectangles too large, too far out or not finite are kept
// in a short list that every query looks at.
//
// The queries answer exactly as the scene's items() with Qt::DescendingOrder
// and the identity transform, restricted to the indexed shapes: the same
// tests on the live items (visibility, bounding rectangle, shape) and the same
// order (higher z first; of equal z the shape that joined the owner later).
// The index only narrows down the candidates, so it must hear of every change
// of a shape's rectangle: markDirty for one shape, invalidate for all; both
// are applied at the next query. GUI thread only, like the items.
class KSTVECTOR_EXPORT kstShapeIndex
{
public:
    explicit kstShapeIndex(const QGraphicsItem* owner, double cellSize = 32.0);

    kstShapeIndex(const kstShapeIndex&) = delete;
    kstShapeIndex& operator=(const kstShapeIndex&) = delete;

    // A shape became a child of the owner. A shape that joins anew (it was
    // not a child before) stacks above its siblings of the same z value.
    void insert(kstVectorShape* shape, bool joinsAnew = true);
    void remove(kstVectorShape* shape);
    bool contains(const kstVectorShape* shape) const { return m_ids.contains(shape); }
    int size() const { return m_ids.size(); }
    // Every indexed shape by its slot, in one array; free slots hold null.
    // Only insert and remove change it, so other threads may read it while
    // the GUI thread leaves the index alone.
    const std::vector<kstVectorShape*>& shapeSlots() const { return m_slots; }

    // The rectangle of the shape may have changed.
    void markDirty(kstVectorShape* shape);
    // Every rectangle may have changed (a new level): the index is rebuilt at
    // the next query.
    void invalidate();

    // Scene queries, topmost first.
    QList<kstVectorShape*> items(const QPointF& scenePoint);
    QList<kstVectorShape*> items(const QRectF& sceneRect, Qt::ItemSelectionMode mode);
    QList<kstVectorShape*> items(const QPainterPath& scenePath, Qt::ItemSelectionMode mode);

private:
    struct Entry
    {
        kstVectorShape* shape = nullptr;
        QRectF rect;         // as filed, in the owner's item coordinates
        quint64 order = 0;   // joining order, for the stacking of equal z values
        quint64 cells[4] = {};
        int places[4] = {};   // positions in those cells
        int cellCount = 0;
        int widePos = -1;    // position in m_wide, or -1
        quint32 stamp = 0;   // last query that met the entry
        bool dirty = false;
    };
    struct CellSlot
    {
        int entry;
        int which; // which of the entry's cells this is
    };
    struct Candidate
    {
        kstVectorShape* shape;
        double z;
        quint64 order;
    };
    void flush();
    void place(int id);
    void unplace(int id);
    void rebuild();
    // The entries whose filed rectangles may touch an owner-item rectangle.
    void gather(const QRectF& itemRect, std::vector<int>& ids);
    void gatherCells(const QRectF& itemRect, std::vector<int>& ids);
    // The shapes among the candidates for a scene area that pass `keep`, topmost first.
    template <class Keep>
    QList<kstVectorShape*> query(const QRectF& sceneArea, Keep keep);
    static QRectF adjustedRect(QRectF rect);
    QRectF filedRect(const kstVectorShape* shape) const;
    int levelOf(const QRectF& rect) const;
    static quint64 cellKey(int level, qint64 ix, qint64 iy);

    const QGraphicsItem* m_owner;
    double m_cellSize;
    std::vector<Entry> m_entries;
    std::vector<kstVectorShape*> m_slots; // the entries' shapes
    std::vector<int> m_free;
    QHash<const kstVectorShape*, int> m_ids;
    QHash<quint64, std::vector<CellSlot>> m_cells;
    std::vector<int> m_wide;
    std::vector<int> m_dirty;
    int m_levelCounts[32] = {};
    quint64 m_nextOrder = 0;
    quint32 m_stamp = 0;
    bool m_stale = false;
};

} // namespace Kestrum
