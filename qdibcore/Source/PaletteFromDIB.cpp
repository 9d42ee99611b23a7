// Colour reduction. The histogram holds the exact colours (up to 98304 of
// them, which covers most photographs) or, beyond that, 2^18 bins of 6 bits
// per channel that keep the count and the sums of the colours they take, so
// no precision is lost in the means. Boxes of entries are split greedily
// where the squared error drops most (the box with the largest error first,
// along the axis and at the cut that leave the least), and the box means seed
// a weighted k-means over the entries.
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
#include "diagnostics/Profile.h"

namespace {

constexpr int kBits = 6;
constexpr int kSide = 1 << kBits;
constexpr int kBins = kSide * kSide * kSide;
constexpr int kAlphaCutoff = 8;  // coverage below which a pixel takes no share
// Images of up to this many distinct colours are reduced over their exact colours.
constexpr int kExactCap = 98304;
constexpr int kPasses = 16;         // k-means passes at most (most images stop earlier)
constexpr double kSplitPower = 0.8;

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

// Weighted Lloyd iterations with Hamerly's bounds. Every entry keeps an
// upper bound u on its distance to its centre a and a lower bound l on its
// distance to any other centre; moving centres loosen both by how far they
// moved. An entry needs no search while u <= max(l, s(a)), s(a) being half the
// distance from a to its nearest other centre: in later passes most entries
// cost a few additions. A search walks a's neighbours nearest first and stops
// once |a c| >= |x a| + best (triangle inequality). Centre sums are moved
// with the entries that change centre, so a pass costs what moves, not all.
void RefineKMeans(const std::vector<SEntry>& entries, std::vector<int>& assign, std::vector<float>& centres, int k,
                  int passes) {
    constexpr int kRun = 16;  // neighbours compared at once
    const int m = std::min(64, k);
    const size_t n = entries.size();
    std::vector<float> cc(static_cast<size_t>(k * k));  // squared centre distances
    std::vector<int> near(static_cast<size_t>(k * m)), all(static_cast<size_t>(k));
    // Coordinates of each centre's neighbours in list order, channel by channel.
    std::vector<float> nbc(static_cast<size_t>(k * m) * 3);
    std::vector<float> half(static_cast<size_t>(k)), moved(static_cast<size_t>(k));
    std::vector<float> upper(n), lower(n);
    std::vector<uint8_t> listed(static_cast<size_t>(k * k), 0);  // listed[a·k + c]: c is in a's list
    std::vector<double> sums(static_cast<size_t>(k) * 4, 0.0);
    // The entries as 16-byte points: the passes stream through them, and the
    // whole set of a photograph then stays in the second-level cache.
    struct SPoint {
        float c[3];
        float w;
    };
    std::vector<SPoint> points(n);
    for (size_t i = 0; i < n; ++i)
        points[i] = SPoint{{entries[i].c[0], entries[i].c[1], entries[i].c[2]}, entries[i].w};
    const auto addTo = [&](int c, const SPoint& e, double sign) {
        double* s = &sums[size_t(4 * c)];
        const double w = sign * double(e.w);
        s[0] += w * e.c[0];
        s[1] += w * e.c[1];
        s[2] += w * e.c[2];
        s[3] += w;
    };
    for (size_t i = 0; i < n; ++i) addTo(assign[i], points[i], 1.0);

    for (int pass = 0; pass < passes; ++pass) {
        for (int a = 0; a < k; ++a)
            for (int b = a; b < k; ++b)
                cc[size_t(a * k + b)] = cc[size_t(b * k + a)] = Dist2(&centres[size_t(3 * a)], &centres[size_t(3 * b)]);
        for (int a = 0; a < k; ++a) {
            const float* row = &cc[size_t(a * k)];
            std::iota(all.begin(), all.end(), 0);
            const auto closer = [&](int x, int y) { return row[x] < row[y] || (row[x] == row[y] && x < y); };
            std::nth_element(all.begin(), all.begin() + (m - 1), all.end(), closer);
            std::sort(all.begin(), all.begin() + m, closer);
            int* nb = &near[size_t(a) * size_t(m)];
            std::copy(all.begin(), all.begin() + m, nb);
            uint8_t* mark = &listed[size_t(a * k)];
            std::fill(mark, mark + k, 0);
            for (int j = 0; j < m; ++j) mark[nb[j]] = 1;
            float* coords = &nbc[size_t(a) * size_t(m) * 3];
            for (int j = 0; j < m; ++j)
                for (int ch = 0; ch < 3; ++ch) coords[ch * m + j] = centres[size_t(3 * nb[j] + ch)];
            half[size_t(a)] = k > 1 ? 0.5f * std::sqrt(row[nb[0] == a ? nb[1] : nb[0]]) : 1e30f;
        }
        size_t changed = 0;
        for (size_t i = 0; i < n; ++i) {
            const SPoint& e = points[i];
            const int a = assign[i];
            const float da2 = Dist2(e.c, &centres[size_t(3 * a)]);
            const float da = std::sqrt(da2);
            if (pass > 0) {
                const float z = std::max(lower[i], half[size_t(a)]);
                if (da <= z) {
                    upper[i] = da;
                    continue;
                }
            }
            float best2 = da2, second2 = 1e30f, bound = 1e30f;
            int bi = a;
            const float* row = &cc[size_t(a * k)];
            const int* nb = &near[size_t(a) * size_t(m)];
            const float* coords = &nbc[size_t(a) * size_t(m) * 3];
            bool settled = false;
            for (int j0 = 0; j0 < m; j0 += kRun) {
                const float best = std::sqrt(best2);
                if (row[nb[j0]] >= (da + best) * (da + best)) {
                    // Every centre from here on is at least |a c| - |x a| away.
                    bound = std::sqrt(row[nb[j0]]) - da;
                    settled = true;
                    break;
                }
                const int end = std::min(m, j0 + kRun);
                float d2[kRun];
                for (int j = j0; j < end; ++j) {
                    const float d0 = e.c[0] - coords[j], d1 = e.c[1] - coords[m + j], dd = e.c[2] - coords[2 * m + j];
                    d2[j - j0] = d0 * d0 + d1 * d1 + dd * dd;
                }
                for (int j = j0; j < end; ++j) {
                    const int c = nb[j];
                    if (c == a) continue;
                    const float d = d2[j - j0];
                    if (d < best2) {
                        second2 = best2;
                        best2 = d;
                        bi = c;
                    } else if (d < second2) {
                        second2 = d;
                    }
                }
            }
            if (!settled) {
                // The list ran out: the others, pruned by the same bound.
                const float best = std::sqrt(best2);
                const float reach = (da + best) * (da + best);
                for (int c = 0; c < k; ++c) {
                    if (row[c] >= reach) {
                        bound = std::min(bound, std::sqrt(row[c]) - da);
                        continue;
                    }
                    if (listed[size_t(a * k + c)]) continue;
                    const float d = Dist2(e.c, &centres[size_t(3 * c)]);
                    if (d < best2) {
                        second2 = best2;
                        best2 = d;
                        bi = c;
                    } else if (d < second2) {
                        second2 = d;
                    }
                }
            }
            upper[i] = std::sqrt(best2);
            lower[i] = std::min(std::sqrt(second2), bound);
            if (bi != a) {
                ++changed;
                addTo(a, e, -1.0);
                addTo(bi, e, 1.0);
                assign[i] = bi;
            }
        }
        float maxMove = 0, secondMove = 0;
        int maxCentre = -1;
        for (int c = 0; c < k; ++c) {
            const double* s = &sums[size_t(4 * c)];
            float d = 0;
            if (s[3] > 1e-9) {
                float next[3];
                for (int ch = 0; ch < 3; ++ch) next[ch] = float(s[ch] / s[3]);
                d = std::sqrt(Dist2(next, &centres[size_t(3 * c)]));
                std::copy(next, next + 3, &centres[size_t(3 * c)]);
            }
            moved[size_t(c)] = d;
            if (d > maxMove) {
                secondMove = maxMove;
                maxMove = d;
                maxCentre = c;
            } else if (d > secondMove) {
                secondMove = d;
            }
        }
        for (size_t i = 0; i < n; ++i) lower[i] -= assign[i] == maxCentre ? secondMove : maxMove;
        if (pass > 0 && changed * 1000 < n) break;
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
    QGDI_PROFILE_SCOPE("palette from image");
    count = 0;
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!palette || maxColors < 1 || maxColors > 256) return QERR(keQuorErrFailed);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator view;
        int bpp = 3;
        bool alpha = false;
        QGDI_TRY(PrepareView(image, view, bpp, alpha));
        const int w = view.GetWidth(), h = view.GetHeight();
        // At most 2^22 pixels are gathered (a subset of rows beyond that):
        // the list and its sort buffer stay within 32 MB, and the 32-bit bin
        // sums cannot overflow.
        const int step = std::max(1, int((int64_t(w) * h + (int64_t(1) << 22) - 1) >> 22));
        if (status) status->SetProgressRange(uint64_t(h) + 1);

        // The colours are gathered and sorted (two 12-bit radix passes), so
        // that counting them is a sequential run over the sorted list rather
        // than a probe of a large table per pixel.
        std::vector<uint32_t> colours, scratch;
        colours.reserve(size_t(w) * size_t((h + step - 1) / step));
        for (int y = 0; y < h; y += step) {
            const uint8_t* row = nullptr;
            QGDI_TRY(view.GetRow(row, y));
            if (alpha) {
                for (int x = 0; x < w; ++x) {
                    const uint8_t* p = row + 4 * x;
                    if (p[3] >= kAlphaCutoff) colours.push_back(uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]);
                }
            } else {
                for (int x = 0; x < w; ++x) {
                    const uint8_t* p = row + 3 * x;
                    colours.push_back(uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]);
                }
            }
            view.ReleaseRow(y).Ignore();
            if (status && status->SetProgress(uint64_t(y))) return QERR(keQuorErrCancelled);
        }
        scratch.resize(colours.size());
        for (int shift = 0; shift < 24; shift += 12) {
            std::vector<uint32_t> offset(4097, 0);
            for (uint32_t c : colours) ++offset[((c >> shift) & 4095) + 1];
            for (int i = 0; i < 4096; ++i) offset[size_t(i + 1)] += offset[size_t(i)];
            for (uint32_t c : colours) scratch[offset[(c >> shift) & 4095]++] = c;
            colours.swap(scratch);
        }
        scratch = {};
        // Distinct colours with their counts, in place.
        std::vector<uint32_t> counts;
        size_t distinct = 0;
        for (size_t i = 0; i < colours.size();) {
            size_t j = i + 1;
            while (j < colours.size() && colours[j] == colours[i]) ++j;
            colours[distinct++] = colours[i];
            counts.push_back(uint32_t(j - i));
            i = j;
        }
        colours.resize(distinct);
        if (int64_t(distinct) <= maxColors && step == 1) {
            for (uint32_t c : colours) palette[count++] = RGBQUAD{BYTE(c), BYTE(c >> 8), BYTE(c >> 16), 0};
            if (count == 0) palette[count++] = RGBQUAD{0, 0, 0, 0};
            return CErrorAutoThrow();
        }
        const bool exactMode = distinct <= size_t(kExactCap);
        std::vector<SBin> bins;
        if (!exactMode) {
            bins.assign(kBins, SBin{0, 0, 0, 0});
            for (size_t i = 0; i < distinct; ++i) {
                const uint32_t c = colours[i], n = counts[i];
                const uint32_t r = c >> 16, g = (c >> 8) & 255, b = c & 255;
                SBin& bin = bins[(r >> 2) << 12 | (g >> 2) << 6 | (b >> 2)];
                bin.n += n;
                bin.b += b * n;
                bin.g += g * n;
                bin.r += r * n;
            }
        }

        // The entries: the exact colours when they fit the table, else the bins.
        std::vector<SEntry> entries;
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
        if (exactMode) {
            entries.reserve(distinct);
            for (size_t i = 0; i < distinct; ++i) {
                const uint32_t c = colours[i];
                const double n = counts[i];
                entries.push_back(makeEntry(n, n * (c & 255), n * ((c >> 8) & 255), n * (c >> 16)));
            }
        } else {
            for (int i = 0; i < kBins; ++i) {
                const SBin& b = bins[size_t(i)];
                if (b.n) entries.push_back(makeEntry(b.n, b.b, b.g, b.r));
            }
        }
        bins = {};
        if (entries.empty()) {
            palette[count++] = RGBQUAD{0, 0, 0, 0};
            return CErrorAutoThrow();
        }

        std::vector<int> order(entries.size());
        std::iota(order.begin(), order.end(), 0);
        // Boxes are cut in a space where dark tones are spread (levels to the
        // power 0.8): the eye, and Lab, tell dark colours apart better than
        // their RGB distance says, so they get more of the entries. Centres
        // stay RGB means of their boxes, and k-means refines in RGB, which
        // is the distance the mapping uses.
        float spread[257];
        for (int i = 0; i <= 256; ++i) spread[i] = float(255.0 * std::pow(std::min(i, 255) / 255.0, kSplitPower));
        std::vector<SEntry> splitEntries(entries);
        for (SEntry& e : splitEntries) {
            e.wq = 0;
            for (int k = 0; k < 3; ++k) {
                const int i = std::min(254, int(e.c[k]));
                const float f = e.c[k] - float(i);
                e.c[k] = spread[i] + f * (spread[i + 1] - spread[i]);
                e.wc[k] = double(e.w) * e.c[k];
                e.wq += double(e.w) * e.c[k] * e.c[k];
            }
        }
        SMoments all;
        for (const SEntry& e : splitEntries) all.Add(e);
        std::vector<SBox> boxes{{0, int(entries.size()), all, all.Sse()}};
        while (int(boxes.size()) < maxColors) {
            size_t worst = 0;
            for (size_t i = 1; i < boxes.size(); ++i)
                if (boxes[i].sse > boxes[worst].sse) worst = i;
            if (boxes[worst].sse <= 0) break;
            SBox left, right;
            if (!SplitBox(splitEntries, order, boxes[worst], left, right)) {
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
            SMoments m;
            for (int i = boxes[size_t(c)].begin; i < boxes[size_t(c)].end; ++i) {
                assign[size_t(order[size_t(i)])] = c;
                m.Add(entries[size_t(order[size_t(i)])]);
            }
            for (int ch = 0; ch < 3; ++ch) centres[size_t(3 * c + ch)] = float(m.s[ch] / m.w);
        }
        RefineKMeans(entries, assign, centres, k, kPasses);

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
