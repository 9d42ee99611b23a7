#pragma once
// Exemplar-based filling of one region: a pyramid of the image, a fill order
// driven by confidence and isophotes at the coarsest level, then at every
// level, coarse to fine, rounds of PatchMatch (propagation and random search
// for each patch that touches the hole) and reconstruction by weighted voting.
//
// Determinism: every random draw comes from a generator seeded by (seed,
// level, round, pass, tile), and a tile reads the matches of neighbouring tiles
// from a snapshot taken before the pass, so the result is the same for any
// number of threads. Passes alternate their scan direction, so information
// crosses a tile per pass in each direction, as jump flooding does.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include "inpainting/InpaintImage.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qerror/qerror.h"

namespace qgdi::inpaint {

// Per-pixel state of a region to fill (the low two bits), plus a flag.
enum : uint8_t {
    kStateKnown = 0,     // keeps its value and may serve as source
    kStateHole = 1,      // to be filled
    kStateExcluded = 2,  // neither filled nor used (another region's hole)
    kStateKindMask = 3,
    kStateNoSource = 4,  // known, but no patch containing it may serve as source
};

struct SFillSettings {
    int nPatch = 9;       // odd side of a patch
    uint64_t nSeed = 0;   // same seed, same fill
    int nThreads = 0;     // 0: every processor
};

// Fraction of the work done, 0..1; returns true to cancel.
using FillProgressFn = std::function<bool(double)>;

// splitmix64: cheap, and good enough for choosing candidates.
class CFillRandom {
public:
    explicit CFillRandom(uint64_t seed) noexcept : m_state(seed) {}
    uint64_t Next() noexcept {
        uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [lo, hi], by a multiply rather than a division.
    int Range(int lo, int hi) noexcept {
        const uint64_t span = static_cast<uint64_t>(static_cast<int64_t>(hi) - lo + 1);
        return lo + static_cast<int>(((Next() >> 32) * span) >> 32);
    }
    static uint64_t Mix(uint64_t a, uint64_t b) noexcept { return CFillRandom(a ^ (b * 0xD1B54A32D192ED03ull)).Next(); }

private:
    uint64_t m_state;
};

struct SMatch {
    int32_t x = -1, y = -1;  // centre of the source patch
};

namespace detail {

// Sum of squared differences of n elements. 8-bit squares fit 32 bits for any
// row a patch can have; 16-bit ones are summed in 64 bits.
inline int64_t RowSsd(const uint8_t* __restrict__ a, const uint8_t* __restrict__ b, int n) noexcept {
    int32_t sum = 0;
    for (int i = 0; i < n; ++i) {
        const int32_t d = int32_t(a[i]) - int32_t(b[i]);
        sum += d * d;
    }
    return sum;
}
inline int64_t RowSsd(const uint16_t* __restrict__ a, const uint16_t* __restrict__ b, int n) noexcept {
    uint64_t sum = 0;
    for (int i = 0; i < n; ++i) {
        const int32_t d = int32_t(a[i]) - int32_t(b[i]);
        sum += static_cast<uint32_t>(d * static_cast<int64_t>(d));
    }
    return static_cast<int64_t>(sum);
}

// Marks in `out` (same size) every pixel within Chebyshev distance r of a
// pixel where pred(in) holds: running counts down the columns, then prefix
// sums along each row; O(1) per pixel and O(width) memory.
template <class Pred>
void DilateWhere(TImageView<const uint8_t, 1> in, TImageView<uint8_t, 1> out, int r, Pred pred) {
    const int w = in.Width(), h = in.Height();
    std::vector<int32_t> column(static_cast<size_t>(w), 0), prefix(static_cast<size_t>(w) + 1, 0);
    const auto add = [&](int y, int32_t sign) {
        const uint8_t* row = in.Row(y);
        for (int x = 0; x < w; ++x) column[x] += pred(row[x]) ? sign : 0;
    };
    for (int y = 0; y < std::min(r, h); ++y) add(y, 1);
    for (int y = 0; y < h; ++y) {
        if (y + r < h) add(y + r, 1);
        if (y - r - 1 >= 0) add(y - r - 1, -1);
        for (int x = 0; x < w; ++x) prefix[x + 1] = prefix[x] + (column[x] > 0);
        uint8_t* o = out.Row(y);
        for (int x = 0; x < w; ++x) o[x] = prefix[std::min(w, x + r + 1)] - prefix[std::max(0, x - r)] > 0;
    }
}

}  // namespace detail

template <class T, int C>
class TPatchFill {
public:
    // `image` is filled in place where `state` says hole; both have one size.
    TPatchFill(TImageView<T, C> image, TImageView<const uint8_t, 1> state, const SFillSettings& settings)
        : m_settings(settings) {
        m_levels.resize(1);
        m_levels[0].img = image;
        m_levels[0].state = state;
    }

    // 0, 100 when cancelled (the image may then be partly filled), 101 when no
    // patch of the image can serve as source, 102 when memory is short.
    CErrorAutoThrow Run(const FillProgressFn& progress) {
        try {
            return RunLevels(progress);
        } catch (const std::bad_alloc&) {
            return QERR(keQuorErrOutOfMemory);
        }
    }

    int PatchUsed() const noexcept { return 2 * m_r + 1; }
    int LevelsUsed() const noexcept { return static_cast<int>(m_levels.size()); }

private:
    struct Level {
        TImage<T, C> ownImg;
        TImage<uint8_t, 1> ownState;
        TImageView<T, C> img;
        TImageView<const uint8_t, 1> state;
        TImage<uint8_t, 1> valid;   // 1 where a patch centred here may serve as source
        int64_t validCount = 0;
        int hx0 = 0, hy0 = 0, hx1 = 0, hy1 = 0;  // bounding box of the hole, exclusive ends
        int tx0 = 0, ty0 = 0, tx1 = 0, ty1 = 0;  // that box grown by the patch radius
        // Over the target box: whether the patch centred there overlaps the
        // hole, its match, the match's distance and the vote weight.
        std::vector<uint8_t> target;
        std::vector<SMatch> nnf;
        std::vector<int64_t> dist;
        std::vector<float> weight;

        int W() const noexcept { return img.Width(); }
        int H() const noexcept { return img.Height(); }
        int TW() const noexcept { return tx1 - tx0; }
        size_t TIndex(int x, int y) const noexcept { return static_cast<size_t>(y - ty0) * TW() + (x - tx0); }
        bool IsHole(int x, int y) const noexcept { return (state.Row(y)[x] & kStateKindMask) == kStateHole; }
        bool IsValid(int x, int y) const noexcept { return valid.Row(y)[x] != 0; }
    };

    static constexpr int kTile = 48;
    static constexpr int64_t kFar = std::numeric_limits<int64_t>::max() / 4;

    // ---- Setup --------------------------------------------------------------

    // The valid-source map and the hole's boxes of a level; false when it has no hole.
    bool PrepareLevel(Level& L) {
        const int w = L.W(), h = L.H(), r = m_r;
        L.hx0 = w, L.hy0 = h, L.hx1 = 0, L.hy1 = 0;
        for (int y = 0; y < h; ++y) {
            const uint8_t* s = L.state.Row(y);
            for (int x = 0; x < w; ++x)
                if ((s[x] & kStateKindMask) == kStateHole) {
                    L.hx0 = std::min(L.hx0, x), L.hx1 = std::max(L.hx1, x + 1);
                    L.hy0 = std::min(L.hy0, y), L.hy1 = std::max(L.hy1, y + 1);
                }
        }
        if (L.hx1 <= L.hx0) return false;
        L.tx0 = std::max(0, L.hx0 - r), L.ty0 = std::max(0, L.hy0 - r);
        L.tx1 = std::min(w, L.hx1 + r), L.ty1 = std::min(h, L.hy1 + r);
        if (!L.valid.Create(w, h)) throw std::bad_alloc();
        detail::DilateWhere(L.state, L.valid.View(), r, [](uint8_t s) { return s != kStateKnown; });
        L.validCount = 0;
        for (int y = 0; y < h; ++y) {
            uint8_t* v = L.valid.Row(y);
            const bool rowIn = y >= r && y < h - r;
            for (int x = 0; x < w; ++x) {
                v[x] = static_cast<uint8_t>(!v[x] & rowIn & (x >= r) & (x < w - r));
                L.validCount += v[x];
            }
        }
        return true;
    }

    // Largest Chebyshev distance from a hole pixel to the nearest non-hole pixel.
    static int HoleThickness(const Level& L) {
        const int w = L.hx1 - L.hx0 + 2, h = L.hy1 - L.hy0 + 2;
        std::vector<int32_t> d(static_cast<size_t>(w) * h, 0);
        auto at = [&](int x, int y) -> int32_t& { return d[static_cast<size_t>(y + 1) * w + (x + 1)]; };
        const int big = 1 << 28;
        for (int y = L.hy0; y < L.hy1; ++y)
            for (int x = L.hx0; x < L.hx1; ++x) at(x - L.hx0, y - L.hy0) = L.IsHole(x, y) ? big : 0;
        // The border ring of d stays 0: outside the box is never hole.
        for (int y = 1; y < h - 1; ++y)
            for (int x = 1; x < w - 1; ++x) {
                int32_t& v = d[static_cast<size_t>(y) * w + x];
                if (!v) continue;
                v = std::min({v, d[(y - 1) * w + x - 1] + 1, d[(y - 1) * w + x] + 1, d[(y - 1) * w + x + 1] + 1,
                              d[y * w + x - 1] + 1});
            }
        int best = 0;
        for (int y = h - 2; y >= 1; --y)
            for (int x = w - 2; x >= 1; --x) {
                int32_t& v = d[static_cast<size_t>(y) * w + x];
                if (!v) continue;
                v = std::min({v, d[(y + 1) * w + x - 1] + 1, d[(y + 1) * w + x] + 1, d[(y + 1) * w + x + 1] + 1,
                              d[y * w + x + 1] + 1});
                best = std::max(best, v);
            }
        return best;
    }

    void BuildCoarser() {
        Level& fine = m_levels.back();
        Level coarse;
        const int w = (fine.W() + 1) / 2, h = (fine.H() + 1) / 2;
        if (!coarse.ownImg.Create(w, h) || !coarse.ownState.Create(w, h)) throw std::bad_alloc();
        Downsample2<T, C>(fine.img, coarse.ownImg.View());
        for (int y = 0; y < h; ++y) {
            const uint8_t* a = fine.state.Row(std::min(2 * y, fine.H() - 1));
            const uint8_t* b = fine.state.Row(std::min(2 * y + 1, fine.H() - 1));
            uint8_t* o = coarse.ownState.Row(y);
            for (int x = 0; x < w; ++x) {
                const int x0 = std::min(2 * x, fine.W() - 1), x1 = std::min(2 * x + 1, fine.W() - 1);
                const uint8_t s[4] = {a[x0], a[x1], b[x0], b[x1]};
                uint8_t kind = kStateKnown, flags = 0;
                for (uint8_t v : s) {
                    if ((v & kStateKindMask) == kStateHole) kind = kStateHole;
                    else if ((v & kStateKindMask) == kStateExcluded && kind != kStateHole) kind = kStateExcluded;
                    flags |= v & kStateNoSource;
                }
                o[x] = kind | flags;
            }
        }
        coarse.img = coarse.ownImg.View();
        coarse.state = coarse.ownState.View();
        m_levels.push_back(std::move(coarse));
    }

    // ---- Matching -----------------------------------------------------------

    // SSD between the patch at target (tx, ty), cut to the image, and the one at
    // source (sx, sy), which lies inside; stops early once above `bound`.
    int64_t Distance(const Level& L, int tx, int ty, int sx, int sy, int64_t bound) const noexcept {
        const int r = m_r;
        const int x0 = std::max(-r, -tx), x1 = std::min(r, L.W() - 1 - tx);
        const int y0 = std::max(-r, -ty), y1 = std::min(r, L.H() - 1 - ty);
        const int n = (x1 - x0 + 1) * C;
        int64_t acc = 0;
        for (int dy = y0; dy <= y1; ++dy) {
            acc += detail::RowSsd(L.img.At(tx + x0, ty + dy), L.img.At(sx + x0, sy + dy), n);
            if (acc > bound) return acc;
        }
        return acc;
    }

    // A uniformly drawn source centre (rejection first, then an exact pick).
    SMatch RandomValid(const Level& L, CFillRandom& rng) const noexcept {
        for (int i = 0; i < 32; ++i) {
            const int x = rng.Range(0, L.W() - 1), y = rng.Range(0, L.H() - 1);
            if (L.IsValid(x, y)) return {x, y};
        }
        int64_t k = static_cast<int64_t>((rng.Next() >> 11) % static_cast<uint64_t>(L.validCount));
        for (int y = 0; y < L.H(); ++y) {
            const uint8_t* v = L.valid.Row(y);
            for (int x = 0; x < L.W(); ++x)
                if (v[x] && k-- == 0) return {x, y};
        }
        return {m_r, m_r};
    }

    template <class Body>
    void ForRows(int y0, int y1, Body&& body) const {
        if (!parallel::For(y0, y1, body, 4, m_settings.nThreads)) throw std::bad_alloc();
    }

    void ComputeDistances(Level& L) const {
        ForRows(L.ty0, L.ty1, [&](int y) {
            for (int x = L.tx0; x < L.tx1; ++x) {
                const size_t i = L.TIndex(x, y);
                if (L.target[i]) L.dist[i] = Distance(L, x, y, L.nnf[i].x, L.nnf[i].y, kFar);
            }
        });
    }

    // One pass of propagation and random search over every tile.
    void PatchMatchPass(Level& L, int level, int round, int pass) {
        const std::vector<SMatch> snapshot = L.nnf;
        const int tilesX = (L.TW() + kTile - 1) / kTile, tilesY = (L.ty1 - L.ty0 + kTile - 1) / kTile;
        const int radius0 = std::max(L.W(), L.H());
        const bool forward = (pass & 1) == 0;
        const int dir = forward ? 1 : -1;
        const auto tile = [&](int t) {
            const int ox = L.tx0 + (t % tilesX) * kTile, oy = L.ty0 + (t / tilesX) * kTile;
            const int ex = std::min(ox + kTile, L.tx1), ey = std::min(oy + kTile, L.ty1);
            CFillRandom rng(CFillRandom::Mix(CFillRandom::Mix(m_settings.nSeed, static_cast<uint64_t>(level) << 48 |
                                                                                    static_cast<uint64_t>(round) << 32 |
                                                                                    static_cast<uint64_t>(pass) << 24),
                                             static_cast<uint64_t>(t)));
            const auto from = [&](int x, int y) -> SMatch {
                const size_t j = L.TIndex(x, y);
                return x >= ox && x < ex && y >= oy && y < ey ? L.nnf[j] : snapshot[j];
            };
            for (int yy = 0; yy < ey - oy; ++yy) {
                const int y = forward ? oy + yy : ey - 1 - yy;
                for (int xx = 0; xx < ex - ox; ++xx) {
                    const int x = forward ? ox + xx : ex - 1 - xx;
                    const size_t i = L.TIndex(x, y);
                    if (!L.target[i]) continue;
                    SMatch best = L.nnf[i];
                    int64_t bestD = L.dist[i];
                    const auto tryMatch = [&](int sx, int sy) {
                        if (sx < 0 || sy < 0 || sx >= L.W() || sy >= L.H() || !L.IsValid(sx, sy)) return;
                        if (sx == best.x && sy == best.y) return;
                        const int64_t d = Distance(L, x, y, sx, sy, bestD);
                        if (d < bestD) bestD = d, best = {sx, sy};
                    };
                    // Neighbours scanned before this pixel: their match shifted by one.
                    const int nx = x - dir, ny = y - dir;
                    if (nx >= L.tx0 && nx < L.tx1 && L.target[L.TIndex(nx, y)]) {
                        const SMatch m = from(nx, y);
                        tryMatch(m.x + dir, m.y);
                    }
                    if (ny >= L.ty0 && ny < L.ty1 && L.target[L.TIndex(x, ny)]) {
                        const SMatch m = from(x, ny);
                        tryMatch(m.x, m.y + dir);
                    }
                    for (int radius = radius0; radius >= 1; radius /= 2)
                        tryMatch(best.x + rng.Range(-radius, radius), best.y + rng.Range(-radius, radius));
                    L.nnf[i] = best;
                    L.dist[i] = bestD;
                }
            }
        };
        if (!parallel::For(0, tilesX * tilesY, tile, 1, m_settings.nThreads)) throw std::bad_alloc();
    }

    // ---- Voting -------------------------------------------------------------

    // Weights fall off with the patch distance on the scale of a typical match
    // of this round, so that poor matches barely count.
    void ComputeWeights(Level& L, double quantile) const {
        std::vector<float> norm;
        norm.reserve(L.dist.size());
        const float perPixel = 1.0f / static_cast<float>((2 * m_r + 1) * (2 * m_r + 1) * C);
        for (size_t i = 0; i < L.dist.size(); ++i)
            if (L.target[i]) norm.push_back(static_cast<float>(L.dist[i]) * perPixel);
        if (norm.empty()) return;
        const size_t k = std::min(norm.size() - 1, static_cast<size_t>(quantile * static_cast<double>(norm.size())));
        std::nth_element(norm.begin(), norm.begin() + static_cast<ptrdiff_t>(k), norm.end());
        const float sigma2 = std::max(norm[k], 1e-3f);
        const float scale = -0.5f / sigma2;
        for (size_t i = 0; i < L.dist.size(); ++i)
            L.weight[i] = L.target[i] ? std::max(std::exp(static_cast<float>(L.dist[i]) * perPixel * scale), 1e-6f) : 0.0f;
    }

    // Each hole pixel becomes the weighted mean of what every patch over it
    // proposes. Sources never overlap the hole, so writing in place is safe.
    void Vote(Level& L) const {
        const int r = m_r;
        constexpr float kMax = static_cast<float>(std::numeric_limits<T>::max());
        ForRows(L.hy0, L.hy1, [&](int y) {
            for (int x = L.hx0; x < L.hx1; ++x) {
                if (!L.IsHole(x, y)) continue;
                float acc[C] = {};
                float total = 0;
                const int py0 = std::max(y - r, 0), py1 = std::min(y + r, L.H() - 1);
                const int px0 = std::max(x - r, 0), px1 = std::min(x + r, L.W() - 1);
                for (int py = py0; py <= py1; ++py) {
                    const size_t base = L.TIndex(px0, py);
                    for (int px = px0; px <= px1; ++px) {
                        const size_t i = base + static_cast<size_t>(px - px0);
                        const float wgt = L.weight[i];
                        const SMatch m = L.nnf[i];
                        const T* s = L.img.At(m.x + (x - px), m.y + (y - py));
                        for (int c = 0; c < C; ++c) acc[c] += wgt * static_cast<float>(s[c]);
                        total += wgt;
                    }
                }
                if (!(total > 0)) continue;
                T* out = L.img.At(x, y);
                const float inv = 1.0f / total;
                for (int c = 0; c < C; ++c) out[c] = static_cast<T>(std::clamp(acc[c] * inv + 0.5f, 0.0f, kMax));
            }
        });
    }

    // Shifts the fill by a smooth field so that it meets the pixels around
    // the hole: at each known pixel next to the hole, the difference between
    // its value and what the matched patches predict for it; between them, a
    // membrane interpolated by push-pull over a pyramid. Removes the seams of
    // slowly varying shading that no source patch has exactly.
    void AdaptToBoundary(Level& L) const {
        const int r = m_r, bw = L.TW(), bh = L.ty1 - L.ty0;
        struct SCell {
            float v[C];
            float w;
        };
        std::vector<std::vector<SCell>> pyramid(1, std::vector<SCell>(static_cast<size_t>(bw) * bh, SCell{}));
        std::vector<std::pair<int, int>> sizes{{bw, bh}};
        for (int y = L.ty0; y < L.ty1; ++y)
            for (int x = L.tx0; x < L.tx1; ++x) {
                if ((L.state.Row(y)[x] & kStateKindMask) != kStateKnown) continue;
                bool edge = false;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) edge |= L.img.Contains(x + dx, y + dy) && L.IsHole(x + dx, y + dy);
                if (!edge) continue;
                float acc[C] = {}, total = 0;
                for (int py = std::max(y - r, 0); py <= std::min(y + r, L.H() - 1); ++py)
                    for (int px = std::max(x - r, 0); px <= std::min(x + r, L.W() - 1); ++px) {
                        if (px < L.tx0 || py < L.ty0 || px >= L.tx1 || py >= L.ty1) continue;
                        const size_t i = L.TIndex(px, py);
                        if (!L.target[i]) continue;
                        const T* s = L.img.At(L.nnf[i].x + (x - px), L.nnf[i].y + (y - py));
                        for (int c = 0; c < C; ++c) acc[c] += L.weight[i] * static_cast<float>(s[c]);
                        total += L.weight[i];
                    }
                if (!(total > 0)) continue;
                SCell& cell = pyramid[0][L.TIndex(x, y)];
                for (int c = 0; c < C; ++c) cell.v[c] = static_cast<float>(L.img.At(x, y)[c]) - acc[c] / total;
                cell.w = 1;
            }
        // Push: weighted means of 2x2 blocks, down to one cell.
        while (sizes.back().first > 1 || sizes.back().second > 1) {
            const auto [fw, fh] = sizes.back();
            const int cw = (fw + 1) / 2, ch = (fh + 1) / 2;
            std::vector<SCell> coarse(static_cast<size_t>(cw) * ch, SCell{});
            const std::vector<SCell>& fine = pyramid.back();
            for (int y = 0; y < fh; ++y)
                for (int x = 0; x < fw; ++x) {
                    const SCell& f = fine[static_cast<size_t>(y) * fw + x];
                    SCell& o = coarse[static_cast<size_t>(y / 2) * cw + x / 2];
                    for (int c = 0; c < C; ++c) o.v[c] += f.v[c] * f.w;
                    o.w += f.w;
                }
            for (SCell& o : coarse)
                if (o.w > 0)
                    for (int c = 0; c < C; ++c) o.v[c] /= o.w;
            for (SCell& o : coarse) o.w = std::min(o.w, 1.0f);
            pyramid.push_back(std::move(coarse));
            sizes.emplace_back(cw, ch);
        }
        // Pull: cells without data take the coarser level, interpolated bilinearly.
        for (size_t k = pyramid.size() - 1; k-- > 0;) {
            const auto [fw, fh] = sizes[k];
            const auto [cw, ch] = sizes[k + 1];
            const std::vector<SCell>& coarse = pyramid[k + 1];
            for (int y = 0; y < fh; ++y)
                for (int x = 0; x < fw; ++x) {
                    SCell& f = pyramid[k][static_cast<size_t>(y) * fw + x];
                    if (f.w >= 1) continue;
                    const float gx = std::clamp((x - 0.5f) * 0.5f, 0.0f, float(cw - 1));
                    const float gy = std::clamp((y - 0.5f) * 0.5f, 0.0f, float(ch - 1));
                    const int x0 = static_cast<int>(gx), y0 = static_cast<int>(gy);
                    const int x1 = std::min(x0 + 1, cw - 1), y1 = std::min(y0 + 1, ch - 1);
                    const float ax = gx - float(x0), ay = gy - float(y0);
                    const SCell& a = coarse[static_cast<size_t>(y0) * cw + x0];
                    const SCell& b = coarse[static_cast<size_t>(y0) * cw + x1];
                    const SCell& c0 = coarse[static_cast<size_t>(y1) * cw + x0];
                    const SCell& d = coarse[static_cast<size_t>(y1) * cw + x1];
                    for (int c = 0; c < C; ++c) {
                        const float up = (a.v[c] * (1 - ax) + b.v[c] * ax) * (1 - ay) + (c0.v[c] * (1 - ax) + d.v[c] * ax) * ay;
                        f.v[c] = f.v[c] * f.w + up * (1 - f.w);
                    }
                    f.w = 1;
                }
        }
        constexpr float kMax = static_cast<float>(std::numeric_limits<T>::max());
        for (int y = L.hy0; y < L.hy1; ++y)
            for (int x = L.hx0; x < L.hx1; ++x) {
                if (!L.IsHole(x, y)) continue;
                const SCell& f = pyramid[0][L.TIndex(x, y)];
                T* o = L.img.At(x, y);
                for (int c = 0; c < C; ++c)
                    o[c] = static_cast<T>(std::clamp(static_cast<float>(o[c]) + f.v[c] + 0.5f, 0.0f, kMax));
            }
    }

    // ---- Initialisation -----------------------------------------------------

    void AllocateField(Level& L) {
        const size_t n = static_cast<size_t>(L.TW()) * (L.ty1 - L.ty0);
        L.target.assign(n, 0);
        L.nnf.assign(n, SMatch{});
        L.dist.assign(n, kFar);
        L.weight.assign(n, 0.0f);
        // A patch overlaps the hole when its centre is within r of a hole pixel.
        TImage<uint8_t, 1> near;
        const auto box = L.state.Sub(L.tx0, L.ty0, L.TW(), L.ty1 - L.ty0);
        if (!near.Create(box.Width(), box.Height())) throw std::bad_alloc();
        detail::DilateWhere(box, near.View(), m_r, [](uint8_t s) { return (s & kStateKindMask) == kStateHole; });
        for (int y = 0; y < box.Height(); ++y)
            std::copy_n(near.Row(y), box.Width(), L.target.data() + static_cast<size_t>(y) * box.Width());
    }

    // Matches of a finer level from the coarser one: the coarse source scaled
    // up with the pixel's position inside its 2x2 block.
    void UpsampleField(Level& fine, const Level& coarse, int level) const {
        ForRows(fine.ty0, fine.ty1, [&](int y) {
            CFillRandom rng(CFillRandom::Mix(m_settings.nSeed ^ 0x5EED, static_cast<uint64_t>(level) << 32 | uint32_t(y)));
            for (int x = fine.tx0; x < fine.tx1; ++x) {
                const size_t i = fine.TIndex(x, y);
                if (!fine.target[i]) continue;
                const int cx = std::clamp(x / 2, coarse.tx0, coarse.tx1 - 1);
                const int cy = std::clamp(y / 2, coarse.ty0, coarse.ty1 - 1);
                const SMatch m = coarse.nnf[coarse.TIndex(cx, cy)];
                SMatch s{2 * m.x + (x - 2 * cx), 2 * m.y + (y - 2 * cy)};
                if (m.x < 0 || s.x < 0 || s.y < 0 || s.x >= fine.W() || s.y >= fine.H() || !fine.IsValid(s.x, s.y))
                    s = RandomValid(fine, rng);
                fine.nnf[i] = s;
            }
        });
        // Hole pixels start from the coarse solution.
        for (int y = fine.hy0; y < fine.hy1; ++y)
            for (int x = fine.hx0; x < fine.hx1; ++x)
                if (fine.IsHole(x, y)) std::copy_n(coarse.img.At(x / 2, y / 2), C, fine.img.At(x, y));
    }

    // Fills the coarsest hole patch by patch, most confident and most
    // structured front pixel first (confidence times the isophote's strength
    // across the front), each from the best source patch over its known part.
    // Returns false when cancelled.
    bool PriorityFill(Level& L, const FillProgressFn& progress, double progressBase, double progressShare) {
        const int r = m_r, bw = L.TW(), bh = L.ty1 - L.ty0;
        const size_t n = static_cast<size_t>(bw) * bh;
        std::vector<uint8_t> filled(n);   // 1 known or filled, 0 to fill, 2 excluded
        std::vector<float> conf(n), prio(n, -1.0f);
        std::vector<SMatch> srcOf(n);
        int64_t remaining = 0;
        for (int y = L.ty0; y < L.ty1; ++y)
            for (int x = L.tx0; x < L.tx1; ++x) {
                const size_t i = L.TIndex(x, y);
                const int kind = L.state.Row(y)[x] & kStateKindMask;
                filled[i] = kind == kStateKnown ? 1 : kind == kStateHole ? 0 : 2;
                conf[i] = kind == kStateKnown ? 1.0f : 0.0f;
                remaining += kind == kStateHole;
            }
        const int64_t total = std::max<int64_t>(remaining, 1);
        const int luma = C >= 3 ? 3 : 1;
        const float isoScale = 1.0f / (static_cast<float>(std::numeric_limits<T>::max()) * static_cast<float>(luma));
        const auto lum = [&](int x, int y) {
            const T* p = L.img.At(x, y);
            float s = 0;
            for (int c = 0; c < luma; ++c) s += static_cast<float>(p[c]);
            return s;
        };
        const auto isFilled = [&](int x, int y) {
            return x < L.tx0 || y < L.ty0 || x >= L.tx1 || y >= L.ty1 || filled[L.TIndex(x, y)] == 1;
        };
        const auto priority = [&](int x, int y) -> float {
            // Only hole pixels with a filled 4-neighbour are on the front.
            const bool front = (x > 0 && isFilled(x - 1, y)) || (x + 1 < L.W() && isFilled(x + 1, y)) ||
                               (y > 0 && isFilled(x, y - 1)) || (y + 1 < L.H() && isFilled(x, y + 1));
            if (!front) return -1.0f;
            float c = 0, nx = 0, ny = 0, gBest = -1, gx = 0, gy = 0;
            for (int dy = -r; dy <= r; ++dy)
                for (int dx = -r; dx <= r; ++dx) {
                    const int qx = x + dx, qy = y + dy;
                    if (!L.img.Contains(qx, qy)) continue;
                    const size_t q = L.TIndex(qx, qy);
                    c += conf[q];
                    if (filled[q] != 1) continue;
                    // The front's normal points from filled into unfilled.
                    if (dx >= -1 && dx <= 1 && dy >= -1 && dy <= 1) nx -= float(dx), ny -= float(dy);
                    if (qx < 1 || qy < 1 || qx + 1 >= L.W() || qy + 1 >= L.H()) continue;
                    if (!isFilled(qx - 1, qy) || !isFilled(qx + 1, qy) || !isFilled(qx, qy - 1) ||
                        !isFilled(qx, qy + 1))
                        continue;
                    const float ux = 0.5f * (lum(qx + 1, qy) - lum(qx - 1, qy));
                    const float uy = 0.5f * (lum(qx, qy + 1) - lum(qx, qy - 1));
                    if (ux * ux + uy * uy > gBest) gBest = ux * ux + uy * uy, gx = ux, gy = uy;
                }
            const float nn = std::sqrt(nx * nx + ny * ny);
            // The isophote is the gradient turned a quarter: (-gy, gx).
            const float data = nn > 0 && gBest > 0 ? std::fabs(-gy * nx + gx * ny) / nn * isoScale : 0.0f;
            return c / float((2 * r + 1) * (2 * r + 1)) * (data + 0.02f);
        };
        for (int y = L.hy0; y < L.hy1; ++y)
            for (int x = L.hx0; x < L.hx1; ++x)
                if (filled[L.TIndex(x, y)] == 0) prio[L.TIndex(x, y)] = priority(x, y);

        // Candidates: a grid over the sources, fine enough for about 1500 of
        // them, then every position around the best one.
        const int stride = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(L.validCount) / 1500.0)));
        CFillRandom rng(CFillRandom::Mix(m_settings.nSeed, 0xC0A25E));
        // The pixels still to fill, in scan order, so that a thin hole with a
        // large box (a long diagonal scratch) costs its own size per step.
        std::vector<std::pair<int, int>> pending;
        for (int y = L.hy0; y < L.hy1; ++y)
            for (int x = L.hx0; x < L.hx1; ++x)
                if (filled[L.TIndex(x, y)] == 0) pending.emplace_back(x, y);
        for (int64_t step = 0; remaining > 0; ++step) {
            int px = -1, py = -1;
            float bestP = -2.0f;
            size_t kept = 0;
            for (const auto& [x, y] : pending) {
                const size_t i = L.TIndex(x, y);
                if (filled[i] != 0) continue;
                pending[kept++] = {x, y};
                if (prio[i] > bestP) bestP = prio[i], px = x, py = y;
            }
            pending.resize(kept);
            const int x0 = std::max(-r, -px), x1 = std::min(r, L.W() - 1 - px);
            const int y0 = std::max(-r, -py), y1 = std::min(r, L.H() - 1 - py);
            const auto masked = [&](int sx, int sy, int64_t bound) {
                int64_t acc = 0;
                for (int dy = y0; dy <= y1; ++dy) {
                    const T* a = L.img.At(px + x0, py + dy);
                    const T* b = L.img.At(sx + x0, sy + dy);
                    const uint8_t* f = filled.data() + L.TIndex(px + x0, py + dy);
                    for (int dx = 0; dx <= x1 - x0; ++dx) {
                        if (f[dx] != 1) continue;
                        for (int c = 0; c < C; ++c) {
                            const int64_t d = int64_t(a[dx * C + c]) - int64_t(b[dx * C + c]);
                            acc += d * d;
                        }
                    }
                    if (acc > bound) break;
                }
                return acc;
            };
            SMatch best;
            int64_t bestD = kFar, bestNear = kFar;
            // Equal distances are common where the known part is flat; the
            // nearer source then wins, so that what the unknown part receives
            // comes from the same surroundings.
            const auto tryMatch = [&](int sx, int sy) {
                if (sx < 0 || sy < 0 || sx >= L.W() || sy >= L.H() || !L.IsValid(sx, sy)) return;
                const int64_t d = masked(sx, sy, bestD);
                if (d > bestD) return;
                const int64_t near = int64_t(sx - px) * (sx - px) + int64_t(sy - py) * (sy - py);
                if (d < bestD || near < bestNear) bestD = d, bestNear = near, best = {sx, sy};
            };
            // Coherence: continue the sources of pixels filled before.
            for (int dy = y0; dy <= y1; ++dy)
                for (int dx = x0; dx <= x1; ++dx) {
                    const SMatch m = srcOf[L.TIndex(px + dx, py + dy)];
                    if (m.x >= 0) tryMatch(m.x - dx, m.y - dy);
                }
            const int ox = rng.Range(0, stride - 1), oy = rng.Range(0, stride - 1);
            for (int sy = r + oy; sy < L.H() - r; sy += stride)
                for (int sx = r + ox; sx < L.W() - r; sx += stride) tryMatch(sx, sy);
            if (stride > 1 && best.x >= 0) {
                const SMatch centre = best;
                for (int sy = centre.y - stride; sy <= centre.y + stride; ++sy)
                    for (int sx = centre.x - stride; sx <= centre.x + stride; ++sx) tryMatch(sx, sy);
            }
            if (best.x < 0) best = RandomValid(L, rng);
            float c = 0;
            for (int dy = y0; dy <= y1; ++dy)
                for (int dx = x0; dx <= x1; ++dx) c += conf[L.TIndex(px + dx, py + dy)];
            c /= float((2 * r + 1) * (2 * r + 1));
            for (int dy = y0; dy <= y1; ++dy)
                for (int dx = x0; dx <= x1; ++dx) {
                    const size_t q = L.TIndex(px + dx, py + dy);
                    if (filled[q] != 0) continue;
                    std::copy_n(L.img.At(best.x + dx, best.y + dy), C, L.img.At(px + dx, py + dy));
                    filled[q] = 1;
                    conf[q] = c;
                    srcOf[q] = {best.x + dx, best.y + dy};
                    --remaining;
                }
            // Only pixels whose patch reaches the one just filled change priority.
            const int ux0 = std::max(L.hx0, px - 2 * r - 1), ux1 = std::min(L.hx1 - 1, px + 2 * r + 1);
            const int uy0 = std::max(L.hy0, py - 2 * r - 1), uy1 = std::min(L.hy1 - 1, py + 2 * r + 1);
            for (int y = uy0; y <= uy1; ++y)
                for (int x = ux0; x <= ux1; ++x)
                    if (filled[L.TIndex(x, y)] == 0) prio[L.TIndex(x, y)] = priority(x, y);
            if ((step & 31) == 31 &&
                progress(progressBase + progressShare * double(total - remaining) / double(total)))
                return false;
        }
        // Each target starts from where its own pixel came from when it was filled.
        CFillRandom init(CFillRandom::Mix(m_settings.nSeed, 0x1417));
        for (int y = L.ty0; y < L.ty1; ++y)
            for (int x = L.tx0; x < L.tx1; ++x) {
                const size_t i = L.TIndex(x, y);
                if (!L.target[i]) continue;
                const SMatch m = srcOf[i];
                L.nnf[i] = m.x >= 0 && L.IsValid(m.x, m.y) ? m : RandomValid(L, init);
            }
        return true;
    }

    // ---- Driver -------------------------------------------------------------

    CErrorAutoThrow RunLevels(const FillProgressFn& progress) {
        m_levels.reserve(12);
        Level& base = m_levels[0];
        // A patch larger than the image, or one that leaves no source, shrinks.
        int patch = std::max(1, std::min({m_settings.nPatch, base.W(), base.H()}));
        if (patch % 2 == 0) --patch;
        for (;; patch -= 2) {
            m_r = patch / 2;
            if (!PrepareLevel(base)) return {};  // nothing to fill
            if (base.validCount > 0) break;
            if (patch <= 1) return QERR(keQuorErrFailed);
        }
        // Coarse levels until the hole is about a patch thick, while the image
        // keeps room for sources.
        const int thickness = HoleThickness(base);
        for (int k = 1; k < 12; ++k) {
            const Level& last = m_levels.back();
            if ((thickness >> (k - 1)) <= 4 * std::max(2, m_r) || std::min(last.W(), last.H()) / 2 < 4 * patch) break;
            BuildCoarser();
            if (!PrepareLevel(m_levels.back()) || m_levels.back().validCount == 0) {
                m_levels.pop_back();
                break;
            }
        }
        const int levels = static_cast<int>(m_levels.size());
        // Work per level: targets x rounds x passes, for the progress share.
        std::vector<double> work(static_cast<size_t>(levels));
        double all = 0;
        for (int k = 0; k < levels; ++k) {
            const Level& L = m_levels[static_cast<size_t>(k)];
            work[static_cast<size_t>(k)] =
                double(L.TW()) * (L.ty1 - L.ty0) * Rounds(k, levels) * (Passes(k, levels) + 1) + 1.0;
            all += work[static_cast<size_t>(k)];
        }
        double done = 0;
        for (int k = levels - 1; k >= 0; --k) {
            Level& L = m_levels[static_cast<size_t>(k)];
            AllocateField(L);
            const double share = work[static_cast<size_t>(k)] / all;
            if (k == levels - 1) {
                if (!PriorityFill(L, progress, done / all, share * 0.3)) return QERR(keQuorErrCancelled);
            } else {
                UpsampleField(L, m_levels[static_cast<size_t>(k) + 1], k);
                m_levels[static_cast<size_t>(k) + 1] = Level();  // the coarser level is no longer needed
                // Rebuild the hole from this level's own pixels through the
                // scaled-up matches: the coarse image scaled up has lost the
                // fine texture, and patches matched against a blurred hole
                // would keep it blurred.
                for (size_t i = 0; i < L.weight.size(); ++i) L.weight[i] = L.target[i] ? 1.0f : 0.0f;
                Vote(L);
            }
            const int rounds = Rounds(k, levels), passes = Passes(k, levels);
            for (int round = 0; round < rounds; ++round) {
                ComputeDistances(L);
                for (int pass = 0; pass < passes; ++pass) PatchMatchPass(L, k, round, pass);
                ComputeWeights(L, 0.75);
                Vote(L);
                if (progress((done + work[static_cast<size_t>(k)] * (round + 1) / rounds) / all))
                    return QERR(keQuorErrCancelled);
            }
            done += work[static_cast<size_t>(k)];
        }
        AdaptToBoundary(m_levels[0]);
        return {};
    }

    // Coarse levels are cheap and set the structure: more rounds there.
    static int Rounds(int k, int levels) { return k == levels - 1 ? 6 : k == 0 ? 2 : 4; }
    static int Passes(int k, int levels) { return k == levels - 1 ? 4 : k == 0 ? 2 : 3; }

    SFillSettings m_settings;
    std::vector<Level> m_levels;
    int m_r = 0;
};

}  // namespace qgdi::inpaint
