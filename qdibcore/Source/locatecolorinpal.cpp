#include "qdibcore/Source/locatecolorinpal.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {

constexpr int kSlots = 4096;
constexpr int kBuckets = 64;
constexpr int kMaxCached = 256;  // entries a bucket list can hold
constexpr uint32_t kNoKey = 0xFFFFFFFFu;  // never r << 16 | g << 8 | b of 8-bit channels

// Slot hashes: slot = H_r[red] ^ H_g[green] ^ H_b[blue]. Pure functions of the
// index, so they are built at compile time and shared without a lock.
template <uint32_t M>
constexpr std::array<uint16_t, 256> MakeHash() {
    std::array<uint16_t, 256> t{};
    for (uint32_t i = 0; i < 256; ++i) t[i] = static_cast<uint16_t>((M * i) % kSlots);
    return t;
}
constexpr auto kHashR = MakeHash<61>();
constexpr auto kHashG = MakeHash<25>();
constexpr auto kHashB = MakeHash<42>();

inline uint32_t Distance(uint32_t r, uint32_t g, uint32_t b, const uint8_t* e) noexcept {
    const uint32_t dr = r - e[2], dg = g - e[1], db = b - e[0];  // wraps; the squares are exact mod 2^32
    return dr * dr + dg * dg + db * db;
}

}  // namespace

struct tagColorLookupCache {
    uint32_t keys[kSlots];
    uint16_t index[kSlots];
    // Per bucket: candidates sorted by the lower bound of their distance to
    // any colour of the bucket, and the bounds themselves.
    uint16_t candidates[kBuckets][kMaxCached];
    uint32_t bounds[kBuckets][kMaxCached];
    // The candidates' colours in list order, so a search reads them in runs.
    uint8_t red[kBuckets][kMaxCached], green[kBuckets][kMaxCached], blue[kBuckets][kMaxCached];
    uint16_t candidateCount[kBuckets];
    bool dirty[kBuckets];
    // The palette the cache answers for, and a copy of its colours to notice
    // entries changed in place.
    const uint8_t* palette;
    int count;
    int stride;
    uint8_t copy[kMaxCached][3];
    bool revalidate;
    int locks;

    void Bind(const uint8_t* p, int n, int s) noexcept {
        palette = p;
        count = n;
        stride = s;
        revalidate = false;
        std::fill(std::begin(keys), std::end(keys), kNoKey);
        std::fill(std::begin(dirty), std::end(dirty), true);
        const int kept = std::min(n, kMaxCached);
        for (int i = 0; i < kept; ++i) std::memcpy(copy[i], p + ptrdiff_t(i) * s, 3);
    }

    bool SameColours(const uint8_t* p) const noexcept {
        const int kept = std::min(count, kMaxCached);
        for (int i = 0; i < kept; ++i)
            if (std::memcmp(copy[i], p + ptrdiff_t(i) * stride, 3) != 0) return false;
        return true;
    }

    // Keeps every entry whose lower bound does not exceed the smallest upper
    // bound: any other entry is farther from every colour of the bucket than
    // that entry, so it can never be nearest.
    void Rebuild(int bucket) noexcept {
        const int lo[3] = {(bucket & 3) << 6, ((bucket >> 2) & 3) << 6, (bucket >> 4) << 6};  // blue, green, red
        uint64_t keysLB[kMaxCached];
        uint32_t minUpper = UINT32_MAX;
        for (int i = 0; i < count; ++i) {
            const uint8_t* e = palette + ptrdiff_t(i) * stride;
            uint32_t lower = 0, up = 0;
            for (int c = 0; c < 3; ++c) {
                const int v = e[c], l = lo[c], h = lo[c] + 63;
                const int dl = v < l ? l - v : v > h ? v - h : 0;
                const int du = std::max(v - l, h - v);
                lower += uint32_t(dl * dl);
                up += uint32_t(du * du);
            }
            keysLB[i] = (uint64_t{lower} << 16) | uint64_t(i);
            minUpper = std::min(minUpper, up);
        }
        int n = 0;
        for (int i = 0; i < count; ++i)
            if ((keysLB[i] >> 16) <= minUpper) keysLB[n++] = keysLB[i];
        std::sort(keysLB, keysLB + n);
        for (int k = 0; k < n; ++k) {
            const int i = static_cast<int>(keysLB[k] & 0xFFFF);
            const uint8_t* e = palette + ptrdiff_t(i) * stride;
            candidates[bucket][k] = static_cast<uint16_t>(i);
            bounds[bucket][k] = static_cast<uint32_t>(keysLB[k] >> 16);
            blue[bucket][k] = e[0];
            green[bucket][k] = e[1];
            red[bucket][k] = e[2];
        }
        candidateCount[bucket] = static_cast<uint16_t>(n);
        dirty[bucket] = false;
    }
};

tagColorLookupCache* CreateColorLookupCache(int) {
    auto* cache = new (std::nothrow) tagColorLookupCache;
    if (!cache) return nullptr;
    cache->palette = nullptr;
    cache->count = -1;
    cache->stride = 0;
    cache->locks = 0;
    cache->revalidate = false;
    std::fill(std::begin(cache->keys), std::end(cache->keys), kNoKey);
    std::fill(std::begin(cache->dirty), std::end(cache->dirty), true);
    std::fill(std::begin(cache->candidateCount), std::end(cache->candidateCount), uint16_t{0});
    return cache;
}

void FreeColorLookupCache(tagColorLookupCache* cache) noexcept { delete cache; }

void LockColorLookupCache(tagColorLookupCache* cache) noexcept {
    if (!cache) return;
    // The palette may have been edited since the last use: compare its
    // colours on the next search, which holds a pointer known to be live.
    if (cache->locks++ == 0) cache->revalidate = true;
}

void UnlockColorLookupCache(tagColorLookupCache* cache) noexcept {
    if (cache && cache->locks > 0) --cache->locks;
}

uint16_t LocateNearestColorExclude(uint32_t red, uint32_t green, uint32_t blue, const uint8_t* palette, int count,
                                   int stride, int exclude) noexcept {
    if (!palette || count < 1) return 0;
    red = std::min(red, 255u);
    green = std::min(green, 255u);
    blue = std::min(blue, 255u);
    uint32_t best = UINT32_MAX;
    int found = exclude == 0 && count > 1 ? 1 : 0;
    for (int i = 0; i < count; ++i) {
        if (i == exclude) continue;
        const uint32_t d = Distance(red, green, blue, palette + ptrdiff_t(i) * stride);
        if (d < best) {
            best = d;
            found = i;
            if (d == 0) break;
        }
    }
    return static_cast<uint16_t>(found);
}

uint16_t LocateNearestColor(uint32_t red, uint32_t green, uint32_t blue, const uint8_t* palette, int count, int stride,
                            tagColorLookupCache* cache) noexcept {
    red = std::min(red, 255u);
    green = std::min(green, 255u);
    blue = std::min(blue, 255u);
    if (!cache || count > kMaxCached) {
        if (!palette || count < 1) return 0;
        uint32_t best = UINT32_MAX;
        int found = 0;
        for (int i = 0; i < count; ++i) {
            const uint32_t d = Distance(red, green, blue, palette + ptrdiff_t(i) * stride);
            if (d < best) {
                best = d;
                found = i;
                if (d == 0) break;
            }
        }
        return static_cast<uint16_t>(found);
    }
    if (palette != cache->palette || count != cache->count || stride != cache->stride ||
        (cache->revalidate && !cache->SameColours(palette)))
        cache->Bind(palette, count, stride);
    cache->revalidate = false;

    const uint32_t key = red << 16 | green << 8 | blue;
    const uint32_t slot = kHashR[red] ^ kHashG[green] ^ kHashB[blue];
    if (cache->keys[slot] == key) return cache->index[slot];

    uint16_t found = 0;
    if (palette && count >= 1) {
        const int bucket = int((red >> 6) << 4 | (green >> 6) << 2 | (blue >> 6));
        if (cache->dirty[bucket]) cache->Rebuild(bucket);
        // The walk in order of the bound, in runs of 16 candidates: a run
        // starts only while its first bound does not exceed the best distance,
        // and within a run the minimum of (distance << 8 | index) is taken
        // without branches. Candidates of a run beyond the stopping point are
        // at least as far as their bound, so they cannot change the answer:
        // the least distance, and of equal ones the lowest index.
        const uint16_t* cand = cache->candidates[bucket];
        const uint32_t* bound = cache->bounds[bucket];
        const uint8_t* cr = cache->red[bucket];
        const uint8_t* cg = cache->green[bucket];
        const uint8_t* cb = cache->blue[bucket];
        const int n = cache->candidateCount[bucket];
        const int r = int(red), g = int(green), b = int(blue);
        uint32_t bestKey = UINT32_MAX;
        for (int k = 0; k < n && bound[k] <= (bestKey >> 8); k += 16) {
            const int end = std::min(n, k + 16);
            uint32_t runMin = UINT32_MAX;
            for (int j = k; j < end; ++j) {
                const int dr = r - cr[j], dg = g - cg[j], db = b - cb[j];
                runMin = std::min(runMin, uint32_t(dr * dr + dg * dg + db * db) << 8 | uint32_t(cand[j]));
            }
            bestKey = std::min(bestKey, runMin);
        }
        found = static_cast<uint16_t>(bestKey & 0xFF);
    }
    cache->keys[slot] = key;
    cache->index[slot] = found;
    return found;
}

int LocateColorInPal(const CRowIterator& image, const uint8_t* red, const uint8_t* green, const uint8_t* blue) noexcept {
    const RGBQUAD* pal = image.GetPalette();
    const int count = image.GetPaletteCount();
    if (!red || !green || !blue || !pal) return -1;
    for (int i = 0; i < count; ++i)
        if (pal[i].rgbRed == *red && pal[i].rgbGreen == *green && pal[i].rgbBlue == *blue) return i;
    return -1;
}

bool LocateColorPairInPal(const CRowIterator& image, const RGBQUAD& first, const RGBQUAD& second, int& firstIndex,
                          int& secondIndex) noexcept {
    const RGBQUAD* pal = image.GetPalette();
    const int count = image.GetPaletteCount();
    firstIndex = secondIndex = -1;
    if (!pal || count < 1) return false;
    const auto* bytes = reinterpret_cast<const uint8_t*>(pal);
    int a = LocateColorInPal(image, &first.rgbRed, &first.rgbGreen, &first.rgbBlue);
    int b = LocateColorInPal(image, &second.rgbRed, &second.rgbGreen, &second.rgbBlue);
    const bool exact = a >= 0 && b >= 0;
    if (a < 0) a = LocateNearestColor(first.rgbRed, first.rgbGreen, first.rgbBlue, bytes, count, 4, nullptr);
    if (b < 0) b = LocateNearestColor(second.rgbRed, second.rgbGreen, second.rgbBlue, bytes, count, 4, nullptr);
    const bool sameColour =
        first.rgbRed == second.rgbRed && first.rgbGreen == second.rgbGreen && first.rgbBlue == second.rgbBlue;
    if (a == b && !sameColour && count > 1)
        b = LocateNearestColorExclude(second.rgbRed, second.rgbGreen, second.rgbBlue, bytes, count, 4, a);
    firstIndex = a;
    secondIndex = b;
    return exact && (a != b || sameColour);
}
