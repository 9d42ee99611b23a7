#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "qmm/MemStats.h"
#include "qmm/qmm.h"

namespace {

// Blocks are aligned for wide vector loads whatever their size.
constexpr size_t kAlign = 64;

struct Slot {
    void* data = nullptr;
    size_t size = 0;
    size_t capacity = 0;
    uint32_t generation = 1;
    int32_t locks = 0;
    uint32_t qmmFlags = 0;
    bool used = false;
};

// Handle value: generation in the high 32 bits, slot index + 1 in the low 32, so
// that no valid handle is null and a reused slot never matches an old handle.
class BlockTable {
public:
    std::mutex mutex;

    Slot* Find(QMMHANDLE h) {
        auto v = reinterpret_cast<uintptr_t>(h);
        uint32_t index = static_cast<uint32_t>(v & 0xFFFFFFFFu);
        uint32_t generation = static_cast<uint32_t>(v >> 32);
        if (index == 0 || index > m_slots.size()) return nullptr;
        Slot& s = m_slots[index - 1];
        return s.used && s.generation == generation ? &s : nullptr;
    }

    QMMHANDLE Add(void* data, size_t size, size_t capacity, uint32_t qmmFlags) {
        uint32_t index;
        if (!m_free.empty()) {
            index = m_free.back();
            m_free.pop_back();
        } else {
            m_slots.emplace_back();
            index = static_cast<uint32_t>(m_slots.size() - 1);
        }
        Slot& s = m_slots[index];
        s.data = data;
        s.size = size;
        s.capacity = capacity;
        s.locks = 0;
        s.qmmFlags = qmmFlags;
        s.used = true;
        return Encode(index, s.generation);
    }

    void Remove(Slot* s) {
        s->used = false;
        s->data = nullptr;
        s->size = s->capacity = 0;
        if (++s->generation == 0) s->generation = 1;
        m_free.push_back(static_cast<uint32_t>(s - m_slots.data()));
    }

private:
    static QMMHANDLE Encode(uint32_t index, uint32_t generation) {
        return reinterpret_cast<QMMHANDLE>((static_cast<uintptr_t>(generation) << 32) | (index + 1u));
    }
    std::vector<Slot> m_slots;  // only touched under `mutex`; Slot pointers do not outlive a call
    std::vector<uint32_t> m_free;
};

BlockTable& Table() {
    static BlockTable* table = new BlockTable;  // blocks may be freed from static destructors
    return *table;
}

CQMemStats& Stats() { return CQMemManager::GetMgr().GetStats(); }

size_t RoundCapacity(size_t bytes) { return (bytes + kAlign - 1) & ~(kAlign - 1); }

void* RawAlloc(size_t capacity, bool zero) {
    void* p = std::aligned_alloc(kAlign, capacity);
    if (p && zero) std::memset(p, 0, capacity);
    return p;
}

void Refuse(const char* file, int line) { Stats().LogMemEventEx(keMemRefused, 0, file, line); }

}  // namespace

QMMHANDLE _QMM_GlobalAlloc(uint32_t flags, size_t bytes, uint32_t qmmFlags, const char* file, int line) {
    if (bytes == 0 || bytes > QMM_MAX_BLOCK) {
        Refuse(file, line);
        return QMM_NULL;
    }
    size_t capacity = RoundCapacity(bytes);
    void* data = RawAlloc(capacity, flags & GMEM_ZEROINIT);
    if (!data) {
        Refuse(file, line);
        return QMM_NULL;
    }
    QMMHANDLE h;
    {
        BlockTable& t = Table();
        std::lock_guard lock(t.mutex);
        try {
            h = t.Add(data, bytes, capacity, qmmFlags);
        } catch (const std::bad_alloc&) {
            std::free(data);
            Refuse(file, line);
            return QMM_NULL;
        }
    }
    Stats().AdjustLive(static_cast<int64_t>(bytes), 1);
    Stats().LogMemEventEx(keMemAlloc, bytes, file, line);
    return h;
}

QMMHANDLE _QMM_GlobalRealloc(QMMHANDLE h, size_t bytes, uint32_t flags, uint32_t, const char* file, int line) {
    if (bytes == 0 || bytes > QMM_MAX_BLOCK) {
        Refuse(file, line);
        return QMM_NULL;
    }
    BlockTable& t = Table();
    std::lock_guard lock(t.mutex);
    Slot* s = t.Find(h);
    if (!s) {
        Refuse(file, line);
        return QMM_NULL;
    }
    size_t old = s->size;
    if (bytes <= s->capacity) {
        if (bytes > old && (flags & GMEM_ZEROINIT)) std::memset(static_cast<char*>(s->data) + old, 0, bytes - old);
    } else {
        // A locked block has handed out its address: it cannot move.
        if (s->locks > 0) {
            Refuse(file, line);
            return QMM_NULL;
        }
        size_t capacity = RoundCapacity(bytes);
        void* data = RawAlloc(capacity, false);
        if (!data) {
            Refuse(file, line);
            return QMM_NULL;
        }
        std::memcpy(data, s->data, old);
        if (flags & GMEM_ZEROINIT) std::memset(static_cast<char*>(data) + old, 0, capacity - old);
        std::free(s->data);
        s->data = data;
        s->capacity = capacity;
    }
    s->size = bytes;
    Stats().AdjustLive(static_cast<int64_t>(bytes) - static_cast<int64_t>(old), 0);
    Stats().LogMemEventEx(keMemRealloc, bytes, file, line);
    return h;
}

QMMHANDLE _QMM_GlobalFree(QMMHANDLE h, const char* file, int line) {
    if (h == QMM_NULL) return QMM_NULL;
    void* data;
    size_t size;
    {
        BlockTable& t = Table();
        std::lock_guard lock(t.mutex);
        Slot* s = t.Find(h);
        if (!s || s->locks > 0) {
            Refuse(file, line);
            return h;
        }
        data = s->data;
        size = s->size;
        t.Remove(s);
    }
    std::free(data);
    Stats().AdjustLive(-static_cast<int64_t>(size), -1);
    Stats().LogMemEventEx(keMemFree, size, file, line);
    return QMM_NULL;
}

size_t _QMM_GlobalSize(QMMHANDLE h, const char* file, int line) {
    BlockTable& t = Table();
    std::lock_guard lock(t.mutex);
    Slot* s = t.Find(h);
    if (!s) {
        Refuse(file, line);
        return 0;
    }
    return s->size;
}

void* _QMM_GlobalLock(QMMHANDLE h, uint32_t, uint32_t, const char* file, int line) {
    void* data;
    {
        BlockTable& t = Table();
        std::lock_guard lock(t.mutex);
        Slot* s = t.Find(h);
        if (!s) {
            Refuse(file, line);
            return nullptr;
        }
        ++s->locks;
        data = s->data;
    }
    Stats().LogMemEventEx(keMemLock, 0, file, line);
    return data;
}

bool _QMM_GlobalUnlock(QMMHANDLE h, uint32_t, uint32_t, const char* file, int line) {
    bool still;
    {
        BlockTable& t = Table();
        std::lock_guard lock(t.mutex);
        Slot* s = t.Find(h);
        if (!s || s->locks == 0) {
            Refuse(file, line);
            return false;
        }
        still = --s->locks > 0;
    }
    Stats().LogMemEventEx(keMemUnlock, 0, file, line);
    return still;
}

int _QMM_GlobalLockCount(QMMHANDLE h) noexcept {
    BlockTable& t = Table();
    std::lock_guard lock(t.mutex);
    Slot* s = t.Find(h);
    return s ? s->locks : -1;
}

bool _QMM_IsValidHandle(QMMHANDLE h) noexcept {
    BlockTable& t = Table();
    std::lock_guard lock(t.mutex);
    return t.Find(h) != nullptr;
}
