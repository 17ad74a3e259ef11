#include "kstPipelinedMap.h"

#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace Kestrum {

namespace {

// Indices per block: large enough that claiming and signalling a block costs
// nothing next to its work, small enough that the pool starts at once and the
// calling thread rarely waits for the block it needs next.
constexpr int kBlockSize = 256;

// The state the calling thread and the pool threads share. Blocks are claimed
// in order through one counter; each block announces its end through its own
// flag. The release and acquire operations on these are what orders the
// computed data before their storing (the pool's own locks are not visible
// to a race detector when Qt is not built for it).
//
// It lives on the heap, its fixed part and its changing part on cache lines
// of their own: on the calling thread's stack it would share a line with
// that thread's busiest variables, and every computing thread would reread
// the line after each index it computes.
constexpr size_t kCacheLine = 64;

class alignas(kCacheLine) Blocks
{
public:
    Blocks(int count, const kstPipelinedMap::Step& compute)
        : m_count(count)
        , m_blocks((count + kBlockSize - 1) / kBlockSize)
        , m_done(new std::atomic<bool>[size_t(m_blocks)])
        , m_compute(compute)
    {
        for (int b = 0; b < m_blocks; ++b)
            m_done[b].store(false, std::memory_order_relaxed);
        m_next.store(0, std::memory_order_release);
    }

    int blocks() const { return m_blocks; }
    int begin(int block) const { return block * kBlockSize; }
    int end(int block) const { return std::min(m_count, (block + 1) * kBlockSize); }

    // Claims the next block not yet claimed and computes it; false when all are claimed.
    bool computeNext()
    {
        const int block = m_next.fetch_add(1, std::memory_order_acq_rel);
        if (block >= m_blocks)
            return false;
        const kstPipelinedMap::Step& compute = m_compute;
        for (int i = begin(block), last = end(block); i < last; ++i)
            compute(i);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done[block].store(true, std::memory_order_release);
        }
        m_changed.notify_all();
        return true;
    }

    bool isDone(int block) const { return m_done[block].load(std::memory_order_acquire); }

    void waitFor(int block)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return isDone(block); });
    }

    // A pool thread's whole share: blocks until none is left.
    void work()
    {
        while (computeNext()) {
        }
        // Notified under the lock: once the calling thread sees no worker
        // left it destroys this object, which the notification still uses.
        std::lock_guard<std::mutex> lock(m_mutex);
        --m_workers;
        m_changed.notify_all();
    }

    void workerStarts()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_workers;
    }

    void workerNotStarted()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        --m_workers;
    }

    // The pool threads still hold this object until they leave `work`.
    void waitForWorkers()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [&] { return m_workers == 0; });
    }

private:
    const int m_count;
    const int m_blocks;
    std::unique_ptr<std::atomic<bool>[]> m_done;
    const kstPipelinedMap::Step& m_compute;
    alignas(kCacheLine) std::atomic<int> m_next{0};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_workers = 0;
};

} // namespace

void kstPipelinedMap::run(int count, const Step& compute, const Step& store)
{
    if (count <= 0)
        return;
    const auto shared = std::make_unique<Blocks>(count, compute);
    Blocks& blocks = *shared;
    // The calling thread is one of the computing threads; only idle pool
    // threads join it, so that nothing waits for a thread the pool cannot give.
    QThreadPool* pool = QThreadPool::globalInstance();
    const int helpers = std::min(pool->maxThreadCount() - 1, blocks.blocks() - 1);
    for (int i = 0; i < helpers; ++i) {
        blocks.workerStarts();
        if (!pool->tryStart([&blocks] { blocks.work(); })) {
            blocks.workerNotStarted();
            break;
        }
    }
    for (int b = 0; b < blocks.blocks(); ++b) {
        while (!blocks.isDone(b)) {
            if (!blocks.computeNext())
                blocks.waitFor(b);
        }
        for (int i = blocks.begin(b), last = blocks.end(b); i < last; ++i)
            store(i);
    }
    blocks.waitForWorkers();
}

} // namespace Kestrum
