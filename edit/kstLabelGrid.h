#pragma once

#include <QHash>
#include <QRectF>
#include <QVector>

namespace Kestrum {

// A uniform grid over placed label rectangles, so that testing a new label
// against all placed ones looks only at its neighbours. It answers exactly as
// the pairwise test with QRectF::intersects does: two rectangles that overlap
// share a point, and that point lies in a cell both are filed under.
// Rectangles are filed under an owner and leave together with it.
class kstLabelGrid
{
public:
    explicit kstLabelGrid(double cellSize = 64.0) : m_cellSize(cellSize) {}

    void clear();
    void insert(const QRectF& rect, const void* owner = nullptr);
    // Takes every rectangle of the owner out of the grid.
    void remove(const void* owner);
    bool intersects(const QRectF& rect) const;
    int size() const { return m_rects.size() - m_free.size(); }

private:
    // Rectangles spanning more cells than this are kept aside and tested
    // against every query, which keeps the grid small for odd sizes.
    static constexpr qint64 kMaxCellsPerRect = 256;

    struct Entry
    {
        QRectF rect;
        bool alive;
    };

    bool cellRange(const QRectF& rect, int& x0, int& y0, int& x1, int& y1) const;
    static quint64 key(int x, int y) { return quint64(quint32(x)) << 32 | quint32(y); }
    void unfile(int index);

    double m_cellSize;
    QVector<Entry> m_rects;
    QVector<int> m_free; // slots of removed rectangles, reused by insert
    QVector<int> m_oversized;
    QHash<quint64, QVector<int>> m_cells;
    QHash<const void*, QVector<int>> m_owned;
};

} // namespace Kestrum
