#pragma once
// Parallel loops over oneTBB for the library's multi-threaded work.
//
// The Debian oneTBB runtime is not built for ThreadSanitizer, so the
// happens-before edges its scheduler creates (a task published before a worker
// runs it, every task finished before parallel_for returns) are invisible to
// TSan, which then reports the caller's own reads and writes as races. Under
// TSan the loops below state those edges themselves through the sanitizer's
// acquire/release annotations; in every other build they compile to nothing.
#include <algorithm>
#include <new>
#include <utility>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#if defined(__SANITIZE_THREAD__)
#define QGDI_TSAN_ANNOTATE 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QGDI_TSAN_ANNOTATE 1
#endif
#endif

#ifdef QGDI_TSAN_ANNOTATE
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#endif

namespace qgdi::parallel {

namespace detail {
#ifdef QGDI_TSAN_ANNOTATE
inline void Release(void* token) { __tsan_release(token); }
inline void Acquire(void* token) { __tsan_acquire(token); }
#else
inline void Release(void*) {}
inline void Acquire(void*) {}
#endif
}  // namespace detail

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
    int token = 0;
    const auto run = [&](const tbb::blocked_range<int>& r) {
        detail::Acquire(&token);
        for (int i = r.begin(); i != r.end(); ++i) body(i);
        detail::Release(&token);
    };
    try {
        detail::Release(&token);
        if (threads == processors) {
            tbb::parallel_for(tbb::blocked_range<int>(begin, end, grain), run);
        } else {
            tbb::task_arena arena(threads);
            arena.execute([&] { tbb::parallel_for(tbb::blocked_range<int>(begin, end, grain), run); });
        }
        detail::Acquire(&token);
    } catch (const std::bad_alloc&) {
        detail::Acquire(&token);
        return false;
    }
    return true;
}

}  // namespace qgdi::parallel
