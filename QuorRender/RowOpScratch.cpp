#include "QuorRender/internal/RowOpScratch.h"

#include <algorithm>
#include <atomic>
#include <new>

namespace qgdi::rowop {

namespace {

constexpr size_t kAlign = 64;
constexpr std::align_val_t kAlignment{kAlign};

constexpr size_t RoundUp(size_t n, size_t to) noexcept { return (n + to - 1) / to * to; }

uint8_t* Allocate(size_t bytes) noexcept {
    return static_cast<uint8_t*>(::operator new(bytes, kAlignment, std::nothrow));
}
void Free(void* p) noexcept { ::operator delete(p, kAlignment); }

std::atomic<int> g_failures{0};

// True when an injected failure claims this take.
bool InjectedFailure() noexcept {
    int n = g_failures.load(std::memory_order_relaxed);
    while (n > 0 && !g_failures.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
    }
    return n > 0;
}

}  // namespace

struct SScratchArena {
    uint8_t* base = nullptr;
    size_t capacity = 0;
    size_t top = 0;   // bytes held by open frames
    size_t want = 0;  // the largest top a frame has asked for
    ~SScratchArena() { Free(base); }
};

// A block taken outside the arena; the memory handed out follows this header.
struct SScratchOverflow {
    SScratchOverflow* next;
};
static_assert(sizeof(SScratchOverflow) <= kAlign);

namespace {
thread_local SScratchArena t_arena;
}

CScratchFrame::CScratchFrame() noexcept : m_pArena(&t_arena), m_nMark(t_arena.top) {}

CScratchFrame::~CScratchFrame() {
    m_pArena->top = m_nMark;
    while (m_pOverflow) {
        SScratchOverflow* next = m_pOverflow->next;
        Free(m_pOverflow);
        m_pOverflow = next;
    }
}

uint8_t* CScratchFrame::Take(size_t bytes) noexcept {
    if (InjectedFailure()) return nullptr;
    SScratchArena& a = *m_pArena;
    const size_t need = RoundUp(std::max<size_t>(bytes, 1), kAlign);
    a.want = std::max(a.want, a.top + need);
    // An empty arena grows to everything the nested frames asked for last time.
    if (need > a.capacity - a.top || (a.top == 0 && a.want > a.capacity)) {
        if (a.top != 0) {
            // Outer frames point into the arena, so it cannot move now.
            auto* block = static_cast<SScratchOverflow*>(static_cast<void*>(Allocate(kAlign + need)));
            if (!block) return nullptr;
            block->next = m_pOverflow;
            m_pOverflow = block;
            return reinterpret_cast<uint8_t*>(block) + kAlign;
        }
        // Whole pages, so that rows a little wider than the last do not regrow it.
        const size_t capacity = RoundUp(a.want, 4096);
        uint8_t* base = Allocate(capacity);
        if (!base) return nullptr;
        Free(a.base);
        a.base = base;
        a.capacity = capacity;
    }
    uint8_t* p = a.base + a.top;
    a.top += need;
    return p;
}

void SetScratchFailures(int count) noexcept { g_failures.store(std::max(count, 0), std::memory_order_relaxed); }

size_t ScratchCapacity() noexcept { return t_arena.capacity; }

void ReleaseScratch() noexcept {
    SScratchArena& a = t_arena;
    if (a.top != 0) return;
    Free(a.base);
    a.base = nullptr;
    a.capacity = a.want = 0;
}

}  // namespace qgdi::rowop
