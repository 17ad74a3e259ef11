#include "kstShapeIndex.h"

#include "kstVectorShape.h"

#include <QGraphicsScene>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace Kestrum {

namespace {

// Grids 0 .. kLevels - 1; cell indices stay within ±kCellLimit on every grid.
constexpr int kLevels = 31;
constexpr qint64 kCellLimit = qint64(1) << 28;
// Candidates are gathered with this margin, in pixels, so that rounding in
// the item's scene position cannot drop one the scene would report.
constexpr double kGatherMargin = 1.0;
// An item this transparent is not reported by the scene.
constexpr double kOpacityNull = 0.001;

bool touches(const QRectF& a, const QRectF& b)
{
    return a.left() <= b.right() && b.left() <= a.right() && a.top() <= b.bottom() && b.top() <= a.bottom();
}

bool isFinite(const QRectF& r)
{
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width()) && std::isfinite(r.height());
}

// The item's bounding rectangle in scene coordinates, computed as the scene
// computes it, and the item's scene transform.
struct SceneBounds
{
    QRectF rect;
    QTransform transform;
    bool translateOnly;

    QPointF toItem(const QPointF& p) const
    {
        return translateOnly ? QPointF(p.x() - transform.dx(), p.y() - transform.dy()) : transform.inverted().map(p);
    }
    QPainterPath toItem(const QPainterPath& path) const
    {
        return translateOnly ? path.translated(-transform.dx(), -transform.dy()) : transform.inverted().map(path);
    }
};

bool isShapeMode(Qt::ItemSelectionMode mode)
{
    return mode == Qt::IntersectsItemShape || mode == Qt::ContainsItemShape;
}

bool isContainsMode(Qt::ItemSelectionMode mode)
{
    return mode == Qt::ContainsItemShape || mode == Qt::ContainsItemBoundingRect;
}

} // namespace

kstShapeIndex::kstShapeIndex(const QGraphicsItem* owner, double cellSize)
    : m_owner(owner)
    , m_cellSize(cellSize > 0 && std::isfinite(cellSize) ? cellSize : 32.0)
{
}

// --- Membership and changes ----------------------------------------------

void kstShapeIndex::insert(kstVectorShape* shape, bool joinsAnew)
{
    if (!shape)
        return;
    auto it = m_ids.constFind(shape);
    int id;
    if (it != m_ids.constEnd()) {
        id = it.value();
        if (!joinsAnew)
            return markDirty(shape);
    } else {
        if (!m_free.empty()) {
            id = m_free.back();
            m_free.pop_back();
        } else {
            id = int(m_entries.size());
            m_entries.emplace_back();
            m_slots.push_back(nullptr);
        }
        m_entries[id] = Entry();
        m_entries[id].shape = shape;
        m_slots[size_t(id)] = shape;
        m_ids.insert(shape, id);
    }
    m_entries[id].order = ++m_nextOrder;
    markDirty(shape);
}

void kstShapeIndex::remove(kstVectorShape* shape)
{
    const auto it = m_ids.constFind(shape);
    if (it == m_ids.constEnd())
        return;
    const int id = it.value();
    m_ids.erase(it);
    unplace(id);
    // A dirty list that still names the entry skips it: it has no shape.
    m_entries[id] = Entry();
    m_slots[size_t(id)] = nullptr;
    m_free.push_back(id);
}

void kstShapeIndex::markDirty(kstVectorShape* shape)
{
    if (m_stale)
        return;
    const auto it = m_ids.constFind(shape);
    if (it == m_ids.constEnd())
        return;
    Entry& entry = m_entries[it.value()];
    if (entry.dirty)
        return;
    entry.dirty = true;
    m_dirty.push_back(it.value());
    // Refiling most shapes one by one costs more than filing all anew.
    if (int(m_dirty.size()) > m_ids.size() / 2 + 64)
        invalidate();
}

void kstShapeIndex::invalidate()
{
    m_stale = true;
    for (int id : m_dirty)
        m_entries[id].dirty = false;
    m_dirty.clear();
}

void kstShapeIndex::flush()
{
    if (m_stale) {
        rebuild();
        return;
    }
    for (int id : m_dirty) {
        Entry& entry = m_entries[id];
        if (!entry.shape || !entry.dirty)
            continue;
        entry.dirty = false;
        unplace(id);
        place(id);
    }
    m_dirty.clear();
}

void kstShapeIndex::rebuild()
{
    m_cells.clear();
    m_wide.clear();
    std::fill(std::begin(m_levelCounts), std::end(m_levelCounts), 0);
    for (Entry& entry : m_entries) {
        entry.cellCount = 0;
        entry.widePos = -1;
        entry.dirty = false;
    }
    for (int id = 0; id < int(m_entries.size()); ++id)
        if (m_entries[id].shape)
            place(id);
    m_stale = false;
}

// --- Filing ----------------------------------------------------------------

QRectF kstShapeIndex::adjustedRect(QRectF rect)
{
    // The scene widens flat rectangles the same way before testing them.
    if (!rect.width())
        rect.adjust(-0.00001, 0, 0.00001, 0);
    if (!rect.height())
        rect.adjust(0, -0.00001, 0, 0.00001);
    return rect;
}

QRectF kstShapeIndex::filedRect(const kstVectorShape* shape) const
{
    return shape->mapRectToParent(adjustedRect(shape->boundingRect())).normalized();
}

int kstShapeIndex::levelOf(const QRectF& rect) const
{
    const double limit = double(kCellLimit) * m_cellSize;
    if (!isFinite(rect) || rect.left() <= -limit || rect.right() >= limit || rect.top() <= -limit
        || rect.bottom() >= limit)
        return -1;
    const double extent = std::max(rect.width(), rect.height());
    double side = m_cellSize;
    for (int level = 0; level < kLevels; ++level, side *= 2)
        if (extent <= side)
            return level;
    return -1;
}

quint64 kstShapeIndex::cellKey(int level, qint64 ix, qint64 iy)
{
    return (quint64(level) << 58) | (quint64(ix + kCellLimit) << 29) | quint64(iy + kCellLimit);
}

void kstShapeIndex::place(int id)
{
    Entry& entry = m_entries[id];
    entry.rect = filedRect(entry.shape);
    const int level = levelOf(entry.rect);
    if (level < 0) {
        entry.widePos = int(m_wide.size());
        m_wide.push_back(id);
        return;
    }
    // No larger than a cell, the rectangle lies in at most two by two cells.
    const double side = std::ldexp(m_cellSize, level);
    const qint64 ix0 = qint64(std::floor(entry.rect.left() / side));
    const qint64 ix1 = qint64(std::floor(entry.rect.right() / side));
    const qint64 iy0 = qint64(std::floor(entry.rect.top() / side));
    const qint64 iy1 = qint64(std::floor(entry.rect.bottom() / side));
    for (qint64 ix = ix0; ix <= ix1; ++ix) {
        for (qint64 iy = iy0; iy <= iy1 && entry.cellCount < 4; ++iy) {
            const quint64 key = cellKey(level, ix, iy);
            std::vector<CellSlot>& cell = m_cells[key];
            entry.cells[entry.cellCount] = key;
            entry.places[entry.cellCount] = int(cell.size());
            cell.push_back({id, entry.cellCount});
            ++entry.cellCount;
        }
    }
    ++m_levelCounts[level];
}

void kstShapeIndex::unplace(int id)
{
    Entry& entry = m_entries[id];
    if (entry.widePos >= 0) {
        const int last = m_wide.back();
        m_wide[entry.widePos] = last;
        m_entries[last].widePos = entry.widePos;
        m_wide.pop_back();
        entry.widePos = -1;
        return;
    }
    if (entry.cellCount == 0)
        return;
    --m_levelCounts[entry.cells[0] >> 58];
    for (int i = 0; i < entry.cellCount; ++i) {
        auto it = m_cells.find(entry.cells[i]);
        std::vector<CellSlot>& cell = it.value();
        const CellSlot moved = cell.back();
        cell[entry.places[i]] = moved;
        m_entries[moved.entry].places[moved.which] = entry.places[i];
        cell.pop_back();
        if (cell.empty())
            m_cells.erase(it);
    }
    entry.cellCount = 0;
}

// --- Queries -----------------------------------------------------------------

void kstShapeIndex::gather(const QRectF& itemRect, std::vector<int>& ids)
{
    if (++m_stamp == 0) {
        for (Entry& entry : m_entries)
            entry.stamp = 0;
        m_stamp = 1;
    }
    for (int id : m_wide) {
        m_entries[id].stamp = m_stamp;
        ids.push_back(id);
    }
    // Walking the cells of a large area costs more than looking at every shape.
    double cellsInArea = isFinite(itemRect) ? 0 : HUGE_VAL;
    for (int level = 0; level < kLevels && std::isfinite(cellsInArea); ++level) {
        if (m_levelCounts[level] == 0)
            continue;
        const double side = std::ldexp(m_cellSize, level);
        cellsInArea += (std::floor(itemRect.right() / side) - std::floor(itemRect.left() / side) + 1)
                       * (std::floor(itemRect.bottom() / side) - std::floor(itemRect.top() / side) + 1);
    }
    if (cellsInArea <= double(m_cells.size())) {
        gatherCells(itemRect, ids);
        return;
    }
    for (int id = 0; id < int(m_entries.size()); ++id) {
        Entry& entry = m_entries[id];
        if (entry.shape && entry.widePos < 0 && touches(entry.rect, itemRect))
            ids.push_back(id);
    }
}

void kstShapeIndex::gatherCells(const QRectF& itemRect, std::vector<int>& ids)
{
    auto cellIndex = [](double v, double side) {
        return qBound(-kCellLimit, qint64(std::floor(v / side)), kCellLimit - 1);
    };
    for (int level = 0; level < kLevels; ++level) {
        if (m_levelCounts[level] == 0)
            continue;
        const double side = std::ldexp(m_cellSize, level);
        const qint64 ix0 = cellIndex(itemRect.left(), side);
        const qint64 ix1 = cellIndex(itemRect.right(), side);
        const qint64 iy0 = cellIndex(itemRect.top(), side);
        const qint64 iy1 = cellIndex(itemRect.bottom(), side);
        for (qint64 ix = ix0; ix <= ix1; ++ix) {
            for (qint64 iy = iy0; iy <= iy1; ++iy) {
                const auto it = m_cells.constFind(cellKey(level, ix, iy));
                if (it == m_cells.constEnd())
                    continue;
                for (const CellSlot& slot : it.value()) {
                    Entry& entry = m_entries[slot.entry];
                    if (entry.stamp == m_stamp || !touches(entry.rect, itemRect))
                        continue;
                    entry.stamp = m_stamp;
                    ids.push_back(slot.entry);
                }
            }
        }
    }
}

template <class Keep>
QList<kstVectorShape*> kstShapeIndex::query(const QRectF& sceneArea, Keep keep)
{
    QList<kstVectorShape*> result;
    const QGraphicsScene* scene = m_owner->scene();
    if (!scene || m_ids.isEmpty())
        return result;
    flush();
    const QRectF itemArea = m_owner->sceneTransform().inverted().mapRect(sceneArea).adjusted(
        -kGatherMargin, -kGatherMargin, kGatherMargin, kGatherMargin);
    std::vector<int> ids;
    gather(itemArea, ids);
    std::vector<Candidate> kept;
    for (int id : ids) {
        kstVectorShape* shape = m_entries[id].shape;
        // What the scene skips: hidden, fully transparent, elsewhere.
        if (!shape->isVisible() || shape->parentItem() != m_owner || shape->scene() != scene
            || shape->effectiveOpacity() < kOpacityNull)
            continue;
        SceneBounds bounds;
        bounds.transform = shape->sceneTransform();
        bounds.translateOnly = bounds.transform.type() <= QTransform::TxTranslate;
        const QRectF br = adjustedRect(shape->boundingRect());
        bounds.rect = bounds.translateOnly ? br.translated(bounds.transform.dx(), bounds.transform.dy())
                                           : bounds.transform.mapRect(br);
        if (keep(shape, bounds))
            kept.push_back({shape, shape->zValue(), m_entries[id].order});
    }
    // Topmost first: higher z, then the later sibling.
    std::sort(kept.begin(), kept.end(), [](const Candidate& a, const Candidate& b) {
        return a.z != b.z ? a.z > b.z : a.order > b.order;
    });
    result.reserve(int(kept.size()));
    for (const Candidate& c : kept)
        result.append(c.shape);
    return result;
}

QList<kstVectorShape*> kstShapeIndex::items(const QPointF& scenePoint)
{
    const QRectF pixel(scenePoint, QSizeF(1, 1));
    return query(pixel, [&](kstVectorShape* shape, const SceneBounds& bounds) {
        return bounds.rect.intersects(pixel) && shape->contains(bounds.toItem(scenePoint));
    });
}

QList<kstVectorShape*> kstShapeIndex::items(const QRectF& sceneRect, Qt::ItemSelectionMode mode)
{
    // The shape test sees the area as a path moved into the item, as the
    // scene does: the path's test of containment is sensitive to the last
    // bit of its corners.
    QPainterPath path;
    path.addRect(sceneRect);
    return query(adjustedRect(sceneRect), [&](kstVectorShape* shape, const SceneBounds& bounds) {
        const bool near = isContainsMode(mode) ? sceneRect.contains(bounds.rect) : sceneRect.intersects(bounds.rect);
        return near && (!isShapeMode(mode) || shape->collidesWithPath(bounds.toItem(path), mode));
    });
}

QList<kstVectorShape*> kstShapeIndex::items(const QPainterPath& scenePath, Qt::ItemSelectionMode mode)
{
    return query(scenePath.controlPointRect(), [&](kstVectorShape* shape, const SceneBounds& bounds) {
        const bool near = isContainsMode(mode) ? scenePath.contains(bounds.rect) : scenePath.intersects(bounds.rect);
        return near && (!isShapeMode(mode) || shape->collidesWithPath(bounds.toItem(scenePath), mode));
    });
}

} // namespace Kestrum
