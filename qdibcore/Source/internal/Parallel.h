#pragma once
// Parallel loops over oneTBB for the library's multi-threaded work.
//
// The Debian oneTBB runtime is not built for ThreadSanitizer: the
// happens-before edges its scheduler creates (a task published before a worker
// runs it, every task finished before parallel_for returns) are invisible to
// TSan, which then reports the task objects of TBB's own inline templates, and
// the caller's reads and writes, as races. Under TSan the same loop therefore
// runs on the OpenMP runtime, which the sanitizer build takes from LLVM with
// its TSan annotations, so that what the bodies themselves share is still
// checked. Every other build uses oneTBB.
#include <algorithm>
#include <new>
#include <utility>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#if defined(__SANITIZE_THREAD__)
#define QGDI_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QGDI_UNDER_TSAN 1
#endif
#endif

namespace qgdi::parallel {

// The processors the scheduler would use.
inline int MaxThreads() { return tbb::this_task_arena::max_concurrency(); }

// Calls body(i) for every i in [begin, end), in chunks of at least `grain`,
// on at most `threads` threads (0: all). Runs inline when one thread or one
// chunk is all there is. Returns false only when the scheduler could not
// allocate; body's own exceptions propagate.
template <class Body>
bool For(int begin, int end, Body&& body, int grain = 1, int threads = 0) {
    if (end <= begin) return true;
    const int processors = MaxThreads();
    threads = threads > 0 ? std::min(threads, processors) : processors;
    grain = std::max(1, grain);
    if (threads == 1 || end - begin <= grain) {
        for (int i = begin; i < end; ++i) body(i);
        return true;
    }
#ifdef QGDI_UNDER_TSAN
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int i = begin; i < end; ++i) body(i);
    static_cast<void>(grain);
#else
    const auto run = [&](const tbb::blocked_range<int>& r) {
        for (int i = r.begin(); i != r.end(); ++i) body(i);
    };
    try {
        if (threads == processors) {
            tbb::parallel_for(tbb::blocked_range<int>(begin, end, grain), run);
        } else {
            tbb::task_arena arena(threads);
            arena.execute([&] { tbb::parallel_for(tbb::blocked_range<int>(begin, end, grain), run); });
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
#endif
    return true;
}

}  // namespace qgdi::parallel
