#include "kstLabelGrid.h"

#include <cmath>
#include <limits>

namespace Kestrum {

void kstLabelGrid::clear()
{
    m_rects.clear();
    m_free.clear();
    m_oversized.clear();
    m_cells.clear();
    m_owned.clear();
}

bool kstLabelGrid::cellRange(const QRectF& rect, int& x0, int& y0, int& x1, int& y1) const
{
    const QRectF r = rect.normalized();
    const double limit = std::numeric_limits<int>::max() / 2;
    const double fx0 = std::floor(r.left() / m_cellSize), fx1 = std::floor(r.right() / m_cellSize);
    const double fy0 = std::floor(r.top() / m_cellSize), fy1 = std::floor(r.bottom() / m_cellSize);
    if (!(std::abs(fx0) < limit && std::abs(fx1) < limit && std::abs(fy0) < limit && std::abs(fy1) < limit))
        return false;
    x0 = int(fx0);
    x1 = int(fx1);
    y0 = int(fy0);
    y1 = int(fy1);
    return (qint64(x1) - x0 + 1) * (qint64(y1) - y0 + 1) <= kMaxCellsPerRect;
}

void kstLabelGrid::insert(const QRectF& rect, const void* owner)
{
    int index;
    if (m_free.isEmpty()) {
        index = m_rects.size();
        m_rects.append({rect, true});
    } else {
        index = m_free.takeLast();
        m_rects[index] = {rect, true};
    }
    m_owned[owner].append(index);
    int x0, y0, x1, y1;
    if (!cellRange(rect, x0, y0, x1, y1)) {
        m_oversized.append(index);
        return;
    }
    for (int x = x0; x <= x1; ++x)
        for (int y = y0; y <= y1; ++y)
            m_cells[key(x, y)].append(index);
}

void kstLabelGrid::unfile(int index)
{
    int x0, y0, x1, y1;
    if (!cellRange(m_rects.at(index).rect, x0, y0, x1, y1)) {
        m_oversized.removeOne(index);
        return;
    }
    for (int x = x0; x <= x1; ++x) {
        for (int y = y0; y <= y1; ++y) {
            const auto cell = m_cells.find(key(x, y));
            if (cell == m_cells.end())
                continue;
            cell->removeOne(index);
            if (cell->isEmpty())
                m_cells.erase(cell);
        }
    }
}

void kstLabelGrid::remove(const void* owner)
{
    const QVector<int> indexes = m_owned.take(owner);
    for (int index : indexes) {
        unfile(index);
        m_rects[index].alive = false;
        m_free.append(index);
    }
}

bool kstLabelGrid::intersects(const QRectF& rect) const
{
    for (int index : m_oversized)
        if (m_rects.at(index).rect.intersects(rect))
            return true;
    int x0, y0, x1, y1;
    if (!cellRange(rect, x0, y0, x1, y1)) {
        // An oversized query is answered pairwise.
        for (const Entry& placed : m_rects)
            if (placed.alive && placed.rect.intersects(rect))
                return true;
        return false;
    }
    for (int x = x0; x <= x1; ++x) {
        for (int y = y0; y <= y1; ++y) {
            const auto cell = m_cells.constFind(key(x, y));
            if (cell == m_cells.constEnd())
                continue;
            for (int index : *cell)
                if (m_rects.at(index).rect.intersects(rect))
                    return true;
        }
    }
    return false;
}

} // namespace Kestrum
