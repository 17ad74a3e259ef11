#pragma once

#include <functional>

namespace Kestrum {

// Runs `compute(i)` for every index from 0 to count - 1 on the global thread
// pool and on the calling thread, and `store(i)` on the calling thread only,
// in index order, as soon as the block holding i is computed. The calling
// thread stores finished blocks while the pool computes later ones, and
// computes blocks itself whenever the next one to store is not ready, so a
// busy pool slows the map down but never stalls it.
//
// `compute` must touch nothing that `store` of another index changes: in the
// edit layer it computes a shape's pure frame, and `store` hands the frame
// to the item and the scene, which only the GUI thread may touch.
class kstPipelinedMap
{
public:
    using Step = std::function<void(int)>;

    static void run(int count, const Step& compute, const Step& store);
};

} // namespace Kestrum
