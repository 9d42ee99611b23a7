#include "drawing/Refed.h"

VQGDIRefed::~VQGDIRefed() = default;

long VQGDIRefed::Unreference() noexcept {
    // Release so that this thread's writes happen before the deleting thread's
    // destructor; acquire on the last drop to see every other thread's writes.
    const long left = m_refs.fetch_sub(1, std::memory_order_release) - 1;
    if (left == 0) {
        std::atomic_thread_fence(std::memory_order_acquire);
        delete this;
    }
    return left;
}
