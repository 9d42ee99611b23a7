// Colour reduction. Pixels go into a histogram of 2^18 bins (6 bits per
// channel) that keeps, per bin, the count and the sums of the exact colours,
// so no precision is lost in the means. Boxes of bins are split greedily
// where the squared error drops most (the box with the largest error first,
// along the axis and at the cut that leave the least), and the box means seed
// a weighted k-means over the bins that converges in a few passes.
#include "qdibcore/Source/PaletteFromDIB.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/QPalette.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {

constexpr int kBits = 6;
constexpr int kSide = 1 << kBits;
constexpr int kBins = kSide * kSide * kSide;
constexpr int kAlphaCutoff = 8;  // coverage below which a pixel takes no share
// Exact-colour table: up to 24576 colours in 65536 slots (linear probing stays short).
constexpr int kExactBits = 18;
constexpr int kExactSlots = 1 << kExactBits;
constexpr int kExactCap = 98304;
constexpr int kDirectEntries = 16384;
constexpr uint32_t kEmptyKey = 0xFFFFFFFFu;

struct SBin {
    uint32_t n, b, g, r;
};

// One histogram entry: mean colour, weight, the weighted sums the box
// moments add up, and the bin coordinates.
struct SEntry {
    float c[3];  // blue, green, red
    float w;
    double wc[3], wq;  // w·c and w·|c|²
    uint8_t q[3];
};

struct SMoments {
    double w = 0, s[3] = {0, 0, 0}, q = 0;
    void Add(const SEntry& e) {
        w += e.w;
        s[0] += e.wc[0];
        s[1] += e.wc[1];
        s[2] += e.wc[2];
        q += e.wq;
    }
    void Add(const SMoments& m) {
        w += m.w;
        for (int k = 0; k < 3; ++k) s[k] += m.s[k];
        q += m.q;
    }
    SMoments Minus(const SMoments& m) const {
        SMoments r;
        r.w = w - m.w;
        for (int k = 0; k < 3; ++k) r.s[k] = s[k] - m.s[k];
        r.q = q - m.q;
        return r;
    }
    // Weighted squared error of the entries about their mean.
    double Sse() const { return w > 0 ? q - (s[0] * s[0] + s[1] * s[1] + s[2] * s[2]) / w : 0; }
};

struct SBox {
    int begin, end;
    SMoments m;
    double sse;
};

// Splits `box` at the cut of the three axes that leaves the least squared
// error: one pass fills the per-slot moments of all axes, prefix sums give
// both halves of every cut. False when the box cannot be split.
bool SplitBox(const std::vector<SEntry>& entries, std::vector<int>& order, const SBox& box, SBox& left,
              SBox& right) {
    // Cuts fall between whole levels of the entries' rounded means.
    static thread_local SMoments slot[3][256];
    int lo[3] = {256, 256, 256}, hi[3] = {-1, -1, -1};
    for (int i = box.begin; i < box.end; ++i) {
        const SEntry& e = entries[size_t(order[size_t(i)])];
        for (int axis = 0; axis < 3; ++axis) {
            slot[axis][e.q[axis]].Add(e);
            lo[axis] = std::min(lo[axis], int(e.q[axis]));
            hi[axis] = std::max(hi[axis], int(e.q[axis]));
        }
    }
    double bestSse = 1e300;
    int bestAxis = -1, bestCut = 0;
    SMoments bestBelow;
    for (int axis = 0; axis < 3; ++axis) {
        SMoments below;
        for (int cut = lo[axis]; cut < hi[axis]; ++cut) {
            if (slot[axis][cut].w == 0) continue;
            below.Add(slot[axis][cut]);
            const double sse = below.Sse() + box.m.Minus(below).Sse();
            if (sse < bestSse) {
                bestSse = sse;
                bestAxis = axis;
                bestCut = cut;
                bestBelow = below;
            }
        }
    }
    for (int axis = 0; axis < 3; ++axis)
        if (hi[axis] >= 0) std::fill(&slot[axis][lo[axis]], &slot[axis][hi[axis]] + 1, SMoments());
    if (bestAxis < 0) return false;
    const auto mid = std::partition(order.begin() + box.begin, order.begin() + box.end,
                                    [&](int i) { return entries[size_t(i)].q[bestAxis] <= bestCut; });
    const int m = int(mid - order.begin());
    const SMoments above = box.m.Minus(bestBelow);
    left = {box.begin, m, bestBelow, bestBelow.Sse()};
    right = {m, box.end, above, above.Sse()};
    return true;
}

inline float Dist2(const float* a, const float* b) {
    const float d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2];
    return d0 * d0 + d1 * d1 + d2 * d2;
}

// Weighted Lloyd iterations. Each entry starts from its previous centre a.
// When it lies within half the distance from a to a's nearest other centre,
// no centre can be nearer; otherwise only centres c with |a c| < |x a| + best
// can win (triangle inequality), tried in order of |a c| from a short sorted
// list of a's neighbours, and among all centres when that list runs out.
void RefineKMeans(const std::vector<SEntry>& entries, std::vector<int>& assign, std::vector<float>& centres, int k,
                  int passes) {
    constexpr int kNear = 24;
    const int m = std::min(kNear, k);
    std::vector<float> cc(size_t(k) * size_t(k));
    std::vector<int> near(static_cast<size_t>(k * m)), all(static_cast<size_t>(k));
    std::vector<float> half(static_cast<size_t>(k));
    std::vector<double> sums(size_t(k) * 4);
    for (int pass = 0; pass < passes; ++pass) {
        // Squared centre distances: the tests below compare squares, so the
        // table needs no roots.
        for (int a = 0; a < k; ++a)
            for (int b = a; b < k; ++b)
                cc[size_t(a * k + b)] = cc[size_t(b * k + a)] = Dist2(&centres[size_t(3 * a)], &centres[size_t(3 * b)]);
        for (int a = 0; a < k; ++a) {
            const float* row = &cc[size_t(a * k)];
            std::iota(all.begin(), all.end(), 0);
            const auto closer = [&](int x, int y) { return row[x] < row[y] || (row[x] == row[y] && x < y); };
            std::nth_element(all.begin(), all.begin() + (m - 1), all.end(), closer);
            std::sort(all.begin(), all.begin() + m, closer);
            std::copy(all.begin(), all.begin() + m, near.begin() + ptrdiff_t(a) * m);
            half[size_t(a)] = k > 1 ? 0.25f * row[all[1] == a ? all[0] : all[1]] : 1e30f;
        }
        std::fill(sums.begin(), sums.end(), 0.0);
        size_t moved = 0;
        for (size_t i = 0; i < entries.size(); ++i) {
            const SEntry& e = entries[i];
            const int a = assign[i];
            const float da2 = Dist2(e.c, &centres[size_t(3 * a)]);
            int bi = a;
            // Squared forms of |x a| <= |a a'| / 2 and of |a c| >= |x a| + best.
            if (da2 > half[size_t(a)]) {
                const float da = std::sqrt(da2);
                float best2 = da2, best = da, reach = 4 * da2;
                const int* nb = &near[size_t(a) * size_t(m)];
                const float* row = &cc[size_t(a * k)];
                bool settled = false;
                for (int j = 0; j < m; ++j) {
                    const int c = nb[j];
                    if (row[c] >= reach) {
                        settled = true;
                        break;
                    }
                    if (c == a) continue;
                    const float d2 = Dist2(e.c, &centres[size_t(3 * c)]);
                    if (d2 < best2) {
                        best2 = d2;
                        best = std::sqrt(d2);
                        reach = (da + best) * (da + best);
                        bi = c;
                    }
                }
                if (!settled)
                    for (int c = 0; c < k; ++c) {
                        if (row[c] >= reach) continue;
                        const float d2 = Dist2(e.c, &centres[size_t(3 * c)]);
                        if (d2 < best2) {
                            best2 = d2;
                            best = std::sqrt(d2);
                            reach = (da + best) * (da + best);
                            bi = c;
                        }
                    }
            }
            if (bi != a) ++moved;
            assign[i] = bi;
            double* s = &sums[size_t(4 * bi)];
            s[0] += double(e.w) * e.c[0];
            s[1] += double(e.w) * e.c[1];
            s[2] += double(e.w) * e.c[2];
            s[3] += e.w;
        }
        for (int c = 0; c < k; ++c) {
            const double* s = &sums[size_t(4 * c)];
            if (s[3] > 0)
                for (int ch = 0; ch < 3; ++ch) centres[size_t(3 * c + ch)] = float(s[ch] / s[3]);
        }
        if (pass > 0 && moved * 200 < entries.size()) break;
    }
}

// Presents the image as BGR or BGRA rows (native ones are read as they are).
CErrorAutoThrow PrepareView(const CRowIterator& image, CRowIterator& view, int& bytesPerPixel, bool& alpha) {
    const CQPixelFormat pf(image.GetPixelFormat());
    alpha = pf.IsAlphaChannelPresent();
    QGDI_TRY(view.Attach(image));
    const EQPixelFormat want = alpha ? keFormatBGRA : keFormatBGR;
    bytesPerPixel = alpha ? 4 : 3;
    if (pf.Get() != want) QGDI_TRY(view.SetPixelFormat(want, keImageModifyReadOnly));
    return CErrorAutoThrow();
}

}  // namespace

CErrorAutoThrow MakePalFromDIB(const CRowIterator& image, RGBQUAD* palette, int maxColors, int& count,
                               CStatusControl* status) {
    count = 0;
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!palette || maxColors < 1 || maxColors > 256) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator view;
        int bpp = 3;
        bool alpha = false;
        QGDI_TRY(PrepareView(image, view, bpp, alpha));
        const int w = view.GetWidth(), h = view.GetHeight();
        // Bin sums are 32-bit: at most 2^24 pixels are counted, a subset of rows beyond that.
        const int rowStep = int((int64_t(w) * h + (int64_t(1) << 24) - 1) >> 24) + 0;
        const int step = std::max(1, rowStep);
        if (status) status->SetProgressRange(uint64_t(h) + 1);

        // Exact colours first, in a small hash table; an image of more
        // distinct colours than it holds moves to the binned histogram.
        std::vector<uint32_t> keys(kExactSlots, kEmptyKey), counts(kExactSlots, 0);
        int distinct = 0;
        bool exactMode = true;
        std::vector<SBin> bins;
        const auto addBinned = [&](uint32_t c, uint32_t n) {
            const uint32_t r = c >> 16, g = (c >> 8) & 255, b = c & 255;
            SBin& bin = bins[(r >> 2) << 12 | (g >> 2) << 6 | (b >> 2)];
            bin.n += n;
            bin.b += b * n;
            bin.g += g * n;
            bin.r += r * n;
        };
        const auto toBins = [&] {
            exactMode = false;
            bins.assign(kBins, SBin{0, 0, 0, 0});
            for (int i = 0; i < kExactSlots; ++i)
                if (keys[size_t(i)] != kEmptyKey) addBinned(keys[size_t(i)], counts[size_t(i)]);
            keys = {};
            counts = {};
        };
        for (int y = 0; y < h; y += step) {
            const uint8_t* row = nullptr;
            QGDI_TRY(view.GetRow(row, y));
            int x = 0;
            for (; exactMode && x < w; ++x) {
                const uint8_t* p = row + x * bpp;
                if (alpha && p[3] < kAlphaCutoff) continue;
                const uint32_t c = uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
                uint32_t slot = (c * 2654435761u) >> (32 - kExactBits);
                while (keys[slot] != c && keys[slot] != kEmptyKey) slot = (slot + 1) & (kExactSlots - 1);
                if (keys[slot] == kEmptyKey) {
                    if (distinct == kExactCap) {
                        toBins();
                        break;  // this pixel is counted again below, binned
                    }
                    keys[slot] = c;
                    ++distinct;
                }
                ++counts[slot];
            }
            for (; x < w; ++x) {
                const uint8_t* p = row + x * bpp;
                if (alpha && p[3] < kAlphaCutoff) continue;
                SBin& bin = bins[uint32_t(p[2] >> 2) << 12 | uint32_t(p[1] >> 2) << 6 | uint32_t(p[0] >> 2)];
                ++bin.n;
                bin.b += p[0];
                bin.g += p[1];
                bin.r += p[2];
            }
            view.ReleaseRow(y).Ignore();
            if (status && status->SetProgress(uint64_t(y))) return QERR(keQuorErrCancelled);
        }
        if (exactMode && distinct <= maxColors) {
            std::vector<uint32_t> colours;
            for (uint32_t k : keys)
                if (k != kEmptyKey) colours.push_back(k);
            std::sort(colours.begin(), colours.end());
            for (uint32_t c : colours) palette[count++] = RGBQUAD{BYTE(c), BYTE(c >> 8), BYTE(c >> 16), 0};
            if (count == 0) palette[count++] = RGBQUAD{0, 0, 0, 0};
            return CErrorAutoThrow();
        }

        // Up to kDirectEntries exact colours are split and refined as they
        // are. Beyond that the boxes and the first passes work on the 2^18
        // bins, and the last passes refine over the exact colours again.
        std::vector<SEntry> entries, fine;
        std::vector<int32_t> binEntry;
        const auto makeEntry = [](double n, double b, double g, double r) {
            SEntry e;
            const double c[3] = {b / n, g / n, r / n};
            e.w = float(n);
            e.wq = 0;
            for (int k = 0; k < 3; ++k) {
                e.c[k] = float(c[k]);
                e.wc[k] = n * c[k];
                e.wq += n * c[k] * c[k];
                e.q[k] = uint8_t(std::min(255, int(c[k] + 0.5)));
            }
            return e;
        };
        const bool direct = exactMode && distinct <= kDirectEntries;
        if (exactMode) {
            std::vector<SEntry>& target = direct ? entries : fine;
            target.reserve(size_t(distinct));
            for (int i = 0; i < kExactSlots; ++i) {
                const uint32_t c = keys[size_t(i)];
                if (c == kEmptyKey) continue;
                const double n = counts[size_t(i)];
                target.push_back(makeEntry(n, n * (c & 255), n * ((c >> 8) & 255), n * (c >> 16)));
            }
            if (!direct) toBins();
        }
        if (!direct) {
            binEntry.assign(kBins, -1);
            for (int i = 0; i < kBins; ++i) {
                const SBin& b = bins[size_t(i)];
                if (!b.n) continue;
                binEntry[size_t(i)] = int32_t(entries.size());
                entries.push_back(makeEntry(b.n, b.b, b.g, b.r));
            }
        }
        bins = {};
        if (entries.empty()) {
            palette[count++] = RGBQUAD{0, 0, 0, 0};
            return CErrorAutoThrow();
        }

        std::vector<int> order(entries.size());
        std::iota(order.begin(), order.end(), 0);
        SMoments all;
        for (const SEntry& e : entries) all.Add(e);
        std::vector<SBox> boxes{{0, int(entries.size()), all, all.Sse()}};
        while (int(boxes.size()) < maxColors) {
            size_t worst = 0;
            for (size_t i = 1; i < boxes.size(); ++i)
                if (boxes[i].sse > boxes[worst].sse) worst = i;
            if (boxes[worst].sse <= 0) break;
            SBox left, right;
            if (!SplitBox(entries, order, boxes[worst], left, right)) {
                boxes[worst].sse = 0;
                continue;
            }
            boxes[worst] = left;
            boxes.push_back(right);
        }

        const int k = int(boxes.size());
        std::vector<float> centres(size_t(3 * k));
        std::vector<int> assign(entries.size());
        for (int c = 0; c < k; ++c) {
            const SMoments& m = boxes[size_t(c)].m;
            for (int i = boxes[size_t(c)].begin; i < boxes[size_t(c)].end; ++i) assign[size_t(order[size_t(i)])] = c;
            for (int ch = 0; ch < 3; ++ch) centres[size_t(3 * c + ch)] = float(m.s[ch] / m.w);
        }
        RefineKMeans(entries, assign, centres, k, fine.empty() ? 8 : 6);
        if (!fine.empty()) {
            // Each exact colour starts from the centre of its bin.
            std::vector<int> fineAssign(fine.size());
            for (size_t i = 0; i < fine.size(); ++i) {
                const int r = int(fine[i].c[2] + 0.5f), g = int(fine[i].c[1] + 0.5f), b = int(fine[i].c[0] + 0.5f);
                fineAssign[i] = assign[size_t(binEntry[size_t((r >> 2) << 12 | (g >> 2) << 6 | (b >> 2))])];
            }
            RefineKMeans(fine, fineAssign, centres, k, 3);
        }

        for (int c = 0; c < k; ++c) {
            const auto level = [&](int ch) { return BYTE(std::clamp(int(std::lround(centres[size_t(3 * c + ch)])), 0, 255)); };
            palette[count++] = RGBQUAD{level(0), level(1), level(2), 0};
        }
        if (status && status->SetProgress(uint64_t(h) + 1)) return QERR(keQuorErrCancelled);
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow MakeCPalFromDIB(const CRowIterator& image, CQPalette& palette, int maxColors, CStatusControl* status) {
    RGBQUAD entries[256];
    int count = 0;
    QGDI_TRY(MakePalFromDIB(image, entries, maxColors, count, status));
    return palette.SetEntries(entries, count);
}

CErrorAutoThrow MakeLPPalFromDIB(const CRowIterator& image, QMMHANDLE& logPalette, int maxColors,
                                 CStatusControl* status) {
    logPalette = QMM_NULL;
    RGBQUAD entries[256];
    int count = 0;
    QGDI_TRY(MakePalFromDIB(image, entries, maxColors, count, status));
    QMMHANDLE h = QMM_GlobalAlloc(GHND, size_t(4 + 4 * count));
    if (!h) return QERR(keQuorErrOutOfMemory);
    auto* p = static_cast<uint8_t*>(QMM_GlobalLock(h));
    if (!p) {
        QMM_GlobalFree(h);
        return QERR(keQuorErrOutOfMemory);
    }
    const uint16_t version = 0x0300, n = uint16_t(count);
    std::memcpy(p, &version, 2);
    std::memcpy(p + 2, &n, 2);
    for (int i = 0; i < count; ++i) {
        PALETTEENTRY e{entries[i].rgbRed, entries[i].rgbGreen, entries[i].rgbBlue, 0};
        std::memcpy(p + 4 + 4 * i, &e, 4);
    }
    QMM_GlobalUnlock(h);
    logPalette = h;
    return CErrorAutoThrow();
}
