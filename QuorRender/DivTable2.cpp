#include "QuorRender/DivTable2.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <new>
#include <vector>

#include "geometry/Random.h"

namespace {

using Div255Table = uint8_t[256][256];
struct AlphaRatioTable {
    uint32_t v[256][256];
};
struct DissolveTable {
    uint8_t v[kDissolveSize][kDissolveSize];
};

// One shared table: the pointer readers see, and whether the library owns it.
struct STable {
    std::atomic<const void*> data{nullptr};
    bool owned = false;
};

STable g_tables[4];
std::mutex g_lock;  // start-up, shut-down and cache registration
std::vector<QRowOpCacheFreeFn>& Caches() {
    static std::vector<QRowOpCacheFreeFn> caches;
    return caches;
}

const void* BuildMask64K() {
    auto* t = new (std::nothrow) uint8_t[kMask64KSize];
    if (!t) return nullptr;
    // (p + 128) / 255, p = x * y of two bytes
    for (int p = 0; p < kMask64KSize; ++p) t[p] = static_cast<uint8_t>((p + 128) / 255);
    return t;
}

const void* BuildAlphaRatio() {
    auto* t = new (std::nothrow) AlphaRatioTable;
    if (!t) return nullptr;
    // a / b in 16.16, rounded: (a * 65536 + b / 2) / b; a / 0 has no value and reads as 0
    for (uint32_t a = 0; a < 256; ++a) {
        t->v[a][0] = 0;
        for (uint32_t b = 1; b < 256; ++b) t->v[a][b] = (a * 65536 + b / 2) / b;
    }
    return t;
}

const void* BuildSqrt256() {
    auto* t = new (std::nothrow) uint8_t[256];
    if (!t) return nullptr;
    // truncate(sqrt(i / 255) * 255)
    for (int i = 0; i < 256; ++i) t[i] = static_cast<uint8_t>(std::sqrt(i / 255.0) * 255.0);
    return t;
}

const void* BuildDissolve() {
    auto* t = new (std::nothrow) DissolveTable;
    if (!t) return nullptr;
    // The C runtime's rand() seeded with 1, taken mod 254, row by row, so that
    // dissolve patterns match from run to run and machine to machine.
    CRandom rng;
    rng.Seed(1);
    for (auto& row : t->v)
        for (auto& v : row) v = static_cast<uint8_t>(rng.Get() % 254);
    return t;
}

using BuildFn = const void* (*)();
constexpr BuildFn kBuilders[4] = {BuildMask64K, BuildAlphaRatio, BuildSqrt256, BuildDissolve};

void FreeTable(int id, const void* p) {
    switch (id) {
    case keInstanceDataMask64K:
    case keInstanceDataSqrt256: delete[] static_cast<const uint8_t*>(p); break;
    case keInstanceDataAlphaRatio: delete static_cast<const AlphaRatioTable*>(p); break;
    case keInstanceDataDissolve: delete static_cast<const DissolveTable*>(p); break;
    default: break;
    }
}

bool StartupLocked(QInstanceDataProviderFn provider) {
    bool all = true;
    for (int id = 0; id < 4; ++id) {
        STable& t = g_tables[id];
        const void* given = provider ? provider(static_cast<EInstanceDataID>(id)) : nullptr;
        const void* current = t.data.load(std::memory_order_acquire);
        if (given && given != current) {
            t.data.store(given, std::memory_order_release);
            if (t.owned) FreeTable(id, current);
            t.owned = false;
        } else if (!current) {
            const void* built = kBuilders[id]();
            t.data.store(built, std::memory_order_release);
            t.owned = built != nullptr;
        }
        all = all && t.data.load(std::memory_order_relaxed);
    }
    return all;
}

// Tables are normally there from start-up; a kernel used before it still finds them.
const void* Table(EInstanceDataID id) {
    const void* p = g_tables[id].data.load(std::memory_order_acquire);
    if (p) return p;
    std::lock_guard<std::mutex> lock(g_lock);
    StartupLocked(nullptr);
    return g_tables[id].data.load(std::memory_order_acquire);
}

}  // namespace

bool QGDI_RowOpsStartup(QInstanceDataProviderFn provider) {
    GetDiv255thsTable();
    std::lock_guard<std::mutex> lock(g_lock);
    return StartupLocked(provider);
}

void QGDI_RowOpsShutdown() {
    std::lock_guard<std::mutex> lock(g_lock);
    for (int id = 0; id < 4; ++id) {
        STable& t = g_tables[id];
        const void* p = t.data.exchange(nullptr, std::memory_order_acq_rel);
        if (t.owned) FreeTable(id, p);
        t.owned = false;
    }
    for (QRowOpCacheFreeFn fn : Caches()) fn();
    Caches().clear();
}

void QGDI_RegisterRowOpCache(QRowOpCacheFreeFn freeFn) {
    if (!freeFn) return;
    std::lock_guard<std::mutex> lock(g_lock);
    if (std::find(Caches().begin(), Caches().end(), freeFn) == Caches().end()) Caches().push_back(freeFn);
}

const uint8_t (*GetDiv255thsTable())[256] {
    static const Div255Table& table = *[] {
        static Div255Table t;
        // a = 0: 0; 1..254: min(255, 255 b / a); 255: b
        for (int a = 0; a < 256; ++a)
            for (int b = 0; b < 256; ++b)
                t[a][b] = a == 0     ? 0
                          : a == 255 ? static_cast<uint8_t>(b)
                                     : static_cast<uint8_t>(std::min(255, 255 * b / a));
        return &t;
    }();
    return table;
}

const uint32_t (*GetAlphaRatioTable())[256] {
    const auto* t = static_cast<const AlphaRatioTable*>(Table(keInstanceDataAlphaRatio));
    return t ? t->v : nullptr;
}

const uint8_t (*GetDissolveTable())[kDissolveSize] {
    const auto* t = static_cast<const DissolveTable*>(Table(keInstanceDataDissolve));
    return t ? t->v : nullptr;
}

const uint8_t* GetMask64KLUT() { return static_cast<const uint8_t*>(Table(keInstanceDataMask64K)); }

const uint8_t* GetSqrt256Table() { return static_cast<const uint8_t*>(Table(keInstanceDataSqrt256)); }
