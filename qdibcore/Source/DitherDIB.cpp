#include "qdibcore/Source/DitherDIB.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/locatecolorinpal.h"
#include "qdibcore/Source/palettefunctions.h"
#include "diagnostics/Profile.h"

namespace {

// Diffusion kernels: shares to (dx, dy) over a divisor, dx mirrored on
// right-to-left rows.
struct STap {
    int dx, dy, w;
};
struct SKernel {
    int divisor;
    int taps;
    STap tap[12];
};
constexpr SKernel kKernels[] = {
    {1, 0, {}},
    {16, 4, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}},
    {32, 7, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}},
    {42, 12, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2},
              {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4}, {1, 2, 2}, {2, 2, 1}}},
    {32, 10, {{1, 0, 5}, {2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5}, {1, 1, 4}, {2, 1, 2},
              {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}},
};
constexpr int kPad = 2;  // error rows carry two cells either side, so taps need no edge tests

// Nearest entry through the lookup cache.
struct SPaletteMapper {
    const RGBQUAD* palette;
    int count;
    tagColorLookupCache* cache;
    int Map(int r, int g, int b) const noexcept {
        return LocateNearestColor(uint32_t(r), uint32_t(g), uint32_t(b), reinterpret_cast<const uint8_t*>(palette),
                                  count, 4, cache);
    }
    const RGBQUAD& Entry(int i) const noexcept { return palette[i]; }
};

// The 6-level cube of Quick8: the index is computed, not searched.
struct SQuick8Mapper {
    const RGBQUAD* palette;
    int Map(int r, int g, int b) const noexcept {
        return (r * 5 + 127) / 255 + 6 * ((g * 5 + 127) / 255) + 36 * ((b * 5 + 127) / 255);
    }
    const RGBQUAD& Entry(int i) const noexcept { return palette[i]; }
};

// Mean distance from an entry to its nearest other colour of the palette:
// the size of the steps a dither mixes between.
double PaletteSpacing(const RGBQUAD* palette, int count) {
    double total = 0;
    int n = 0;
    for (int i = 0; i < count; ++i) {
        int best = INT32_MAX;
        for (int j = 0; j < count; ++j) {
            const int dr = palette[i].rgbRed - palette[j].rgbRed, dg = palette[i].rgbGreen - palette[j].rgbGreen,
                      db = palette[i].rgbBlue - palette[j].rgbBlue;
            const int d = dr * dr + dg * dg + db * db;
            if (d > 0) best = std::min(best, d);
        }
        if (best != INT32_MAX) {
            total += std::sqrt(double(best));
            ++n;
        }
    }
    return n ? total / n : 0;
}

// Share of the error passed on, of 256. A sparse palette (two colours, a
// fixed cube) needs all of it to render tones at all and to keep the mean of
// an area. A dense adaptive palette needs little: its nearest colour is
// already close, and full diffusion only adds noise, so between steps of 64
// and 16 levels the share falls from all to half.
int DiffusionStrength(const RGBQUAD* palette, int count) {
    const double spacing = PaletteSpacing(palette, count);
    return std::clamp(int(128 + (spacing - 16) * 128 / 48), 128, 256);
}

CErrorAutoThrow PrepareDestination(const CRowIterator& src, CRowIterator& dst, const RGBQUAD* palette, int count,
                                   bool alpha) {
    const EQPixelFormat want = alpha ? keFormatIndex8A : keFormatIndex8;
    if (!dst.IsAttached()) return dst.Create(src.GetWidth(), src.GetHeight(), want, nullptr, palette, count);
    const EQPixelFormat f = dst.GetPixelFormat();
    if ((f != keFormatIndex8 && f != keFormatIndex8A) || dst.GetWidth() != src.GetWidth() ||
        dst.GetHeight() != src.GetHeight())
        return QERR(keQuorErrFormatNotSupported);
    return dst.SetPalette(palette, count);
}

// Source rows presented as BGRA when the source has alpha, BGR otherwise.
CErrorAutoThrow PrepareSource(const CRowIterator& src, CRowIterator& view, bool& alpha) {
    const CQPixelFormat pf(src.GetPixelFormat());
    alpha = pf.IsAlphaChannelPresent();
    QGDI_TRY(view.Attach(src));
    const EQPixelFormat want = alpha ? keFormatBGRA : keFormatBGR;
    if (pf.Get() != want) QGDI_TRY(view.SetPixelFormat(want, keImageModifyReadOnly));
    return CErrorAutoThrow();
}

template <class Mapper>
CErrorAutoThrow Diffuse(CStatusControl* status, const CRowIterator& src, CRowIterator& dst, const Mapper& mapper,
                        int count, const SKernel& kernel) {
    const int strength = DiffusionStrength(mapper.palette, count);
    if (!src.IsAttached()) return QERR(keQuorErrIteratorState);
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator view;
        bool alpha = false;
        QGDI_TRY(PrepareSource(src, view, alpha));
        QGDI_TRY(PrepareDestination(src, dst, mapper.palette, count, alpha));
        const bool dstAlpha = dst.GetPixelFormat() == keFormatIndex8A;
        const int w = src.GetWidth(), h = src.GetHeight(), bpp = alpha ? 4 : 3;
        const int span = w + 2 * kPad;
        // Three rows of accumulated error numerators (over the kernel's divisor), per channel.
        std::vector<int32_t> err(size_t(3) * size_t(span) * 3, 0);
        int32_t* rows[3] = {err.data(), err.data() + 3 * span, err.data() + 6 * span};
        if (status) status->SetProgressRange(uint64_t(h));
        const int half = kernel.divisor / 2;
        uint32_t lastColour = UINT32_MAX;
        int lastIndex = 0;
        for (int y = 0; y < h; ++y) {
            const uint8_t* in = nullptr;
            uint8_t* out = nullptr;
            QGDI_TRY(view.GetRow(in, y));
            if (CErrorAutoThrow r = dst.GetRow(out, y); r.IsError()) {
                view.ReleaseRow(y).Ignore();
                return r;
            }
            const bool reverse = (y & 1) != 0;
            const int dir = reverse ? -1 : 1;
            for (int i = 0; i < w; ++i) {
                const int x = reverse ? w - 1 - i : i;
                const uint8_t* p = in + x * bpp;
                int32_t* e = rows[0] + 3 * (x + kPad);
                // Neighbours often share a colour: the last source colour's entry is kept.
                const uint32_t colour = uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
                if (colour != lastColour) {
                    lastColour = colour;
                    lastIndex = mapper.Map(p[2], p[1], p[0]);
                }
                int idx = lastIndex;
                const RGBQUAD& exact = mapper.Entry(idx);
                if (kernel.taps && (exact.rgbRed != p[2] || exact.rgbGreen != p[1] || exact.rgbBlue != p[0])) {
                    // Rounded quotient of the numerator, toward the nearer level either side of 0.
                    const auto level = [&](int v, int32_t acc) {
                        const int q = acc >= 0 ? (acc + half) / kernel.divisor : -((-acc + half) / kernel.divisor);
                        return std::clamp(v + q, 0, 255);
                    };
                    const int r = level(p[2], e[2]), g = level(p[1], e[1]), b = level(p[0], e[0]);
                    idx = mapper.Map(r, g, b);
                    const RGBQUAD& c = mapper.Entry(idx);
                    const int er = (r - c.rgbRed) * strength / 256, eg = (g - c.rgbGreen) * strength / 256,
                              eb = (b - c.rgbBlue) * strength / 256;
                    for (int t = 0; t < kernel.taps; ++t) {
                        const STap& tap = kernel.tap[t];
                        int32_t* d = rows[tap.dy] + 3 * (x + dir * tap.dx + kPad);
                        d[0] += eb * tap.w;
                        d[1] += eg * tap.w;
                        d[2] += er * tap.w;
                    }
                }
                e[0] = e[1] = e[2] = 0;
                if (dstAlpha) {
                    out[2 * x] = uint8_t(idx);
                    out[2 * x + 1] = alpha ? p[3] : 255;
                } else {
                    out[x] = uint8_t(idx);
                }
            }
            view.ReleaseRow(y).Ignore();
            QGDI_TRY(dst.ReleaseRow(y));
            // Shares that fell beside the image go to the nearest edge cell of
            // a row still to come, so the edges do not lose error and a flat
            // area keeps its mean colour.
            const auto fold = [&](int32_t* from, int32_t* to) {
                for (int c = 0; c < 3; ++c) {
                    int32_t left = 0, right = 0;
                    for (int k = 0; k < kPad; ++k) {
                        left += std::exchange(from[3 * k + c], 0);
                        right += std::exchange(from[3 * (kPad + w + k) + c], 0);
                    }
                    to[3 * kPad + c] += left;
                    to[3 * (kPad + w - 1) + c] += right;
                }
            };
            fold(rows[0], rows[1]);
            fold(rows[1], rows[1]);
            fold(rows[2], rows[2]);
            std::rotate(rows, rows + 1, rows + 3);
            std::fill(rows[2], rows[2] + 3 * span, 0);
            if (status && status->SetProgress(uint64_t(y + 1))) return QERR(keQuorErrCancelled);
        }
        return CErrorAutoThrow();
    });
}

// Bayer matrix of side 2^n: rank bits interleave x ^ y and y, most significant first.
template <int N>
constexpr std::array<uint16_t, (1 << N) * (1 << N)> MakeBayer() {
    std::array<uint16_t, (1 << N) * (1 << N)> m{};
    for (int y = 0; y < (1 << N); ++y)
        for (int x = 0; x < (1 << N); ++x) {
            const int a = x ^ y;
            int v = 0;
            for (int bit = 0; bit < N; ++bit) {
                v |= ((a >> bit) & 1) << (2 * N - 1 - 2 * bit);
                v |= ((y >> bit) & 1) << (2 * N - 2 - 2 * bit);
            }
            m[size_t(y * (1 << N) + x)] = uint16_t(v);
        }
    return m;
}
constexpr auto kBayer2 = MakeBayer<1>();
constexpr auto kBayer4 = MakeBayer<2>();
constexpr auto kBayer8 = MakeBayer<3>();

// Void and cluster on a 32 x 32 torus with a Gaussian energy (sigma 1.5):
// ranks are given by repeatedly removing the tightest cluster and filling
// the largest void, so every threshold level is an even, blue-noise pattern.
std::array<uint16_t, 1024> MakeBlueNoise() {
    constexpr int S = 32, N = S * S;
    std::array<float, N> kernel{};
    for (int dy = 0; dy < S; ++dy)
        for (int dx = 0; dx < S; ++dx) {
            const int ex = std::min(dx, S - dx), ey = std::min(dy, S - dy);
            kernel[size_t(dy * S + dx)] = std::exp(-float(ex * ex + ey * ey) / (2 * 1.5f * 1.5f));
        }
    std::array<uint8_t, N> on{};
    std::array<float, N> energy{};
    const auto toggle = [&](int i, bool set) {
        on[size_t(i)] = set;
        const int x0 = i % S, y0 = i / S;
        const float sign = set ? 1.0f : -1.0f;
        for (int y = 0; y < S; ++y)
            for (int x = 0; x < S; ++x)
                energy[size_t(y * S + x)] += sign * kernel[size_t(((y - y0 + S) % S) * S + (x - x0 + S) % S)];
    };
    const auto extreme = [&](bool wantOn, bool largest) {
        int best = -1;
        for (int i = 0; i < N; ++i) {
            if (bool(on[size_t(i)]) != wantOn) continue;
            if (best < 0 || (largest ? energy[size_t(i)] > energy[size_t(best)] : energy[size_t(i)] < energy[size_t(best)]))
                best = i;
        }
        return best;
    };
    // Initial pattern: a fixed scatter of 10 % of the cells, then relaxed.
    uint32_t seed = 12345;
    int ones = 0;
    while (ones < N / 10) {
        seed = seed * 1664525u + 1013904223u;
        const int i = int(seed >> 22);
        if (!on[size_t(i)]) {
            toggle(i, true);
            ++ones;
        }
    }
    for (int guard = 0; guard < 4 * N; ++guard) {
        const int cluster = extreme(true, true);
        toggle(cluster, false);
        const int voidCell = extreme(false, false);
        toggle(voidCell, true);
        if (voidCell == cluster) break;
    }
    std::array<uint16_t, N> rank{};
    const auto start = on;
    const auto startEnergy = energy;
    for (int r = ones - 1; r >= 0; --r) {
        const int cluster = extreme(true, true);
        toggle(cluster, false);
        rank[size_t(cluster)] = uint16_t(r);
    }
    on = start;
    energy = startEnergy;
    for (int r = ones; r < N; ++r) {
        const int voidCell = extreme(false, false);
        toggle(voidCell, true);
        rank[size_t(voidCell)] = uint16_t(r);
    }
    return rank;
}

}  // namespace

const uint16_t* OrderedDitherMatrix(EOrderedMatrix matrix, int& side) noexcept {
    switch (matrix) {
    case keOrderedBayer2:
        side = 2;
        return kBayer2.data();
    case keOrderedBayer4:
        side = 4;
        return kBayer4.data();
    case keOrderedBlueNoise: {
        static const std::array<uint16_t, 1024> noise = MakeBlueNoise();
        side = 32;
        return noise.data();
    }
    default:
        side = 8;
        return kBayer8.data();
    }
}

CErrorAutoThrow DitherDIB(CStatusControl* status, const CRowIterator& src, CRowIterator& dst, const RGBQUAD* palette,
                          int count, EDitherKernel kernel) {
    QGDI_PROFILE_SCOPE("dither");
    if (!palette || count < 1 || count > 256 || kernel < keDitherNone || kernel > keDitherSierra)
        return QERR(keQuorErrFailed);
    tagColorLookupCache* cache = CreateColorLookupCache(count);
    if (!cache) return QERR(keQuorErrOutOfMemory);
    LockColorLookupCache(cache);
    CErrorAutoThrow r = Diffuse(status, src, dst, SPaletteMapper{palette, count, cache}, count, kKernels[kernel]);
    UnlockColorLookupCache(cache);
    FreeColorLookupCache(cache);
    return r;
}

CErrorAutoThrow DitherDIBQuick8(CStatusControl* status, const CRowIterator& src, CRowIterator& dst) {
    return Diffuse(status, src, dst, SQuick8Mapper{QPalette_PaletteGetQuick8()}, 256,
                   kKernels[keDitherFloydSteinberg]);
}

CErrorAutoThrow Odither(CStatusControl* status, const CRowIterator& src, CRowIterator& dst, const RGBQUAD* palette,
                        int count, EOrderedMatrix matrix) {
    if (!palette || count < 1 || count > 256) return QERR(keQuorErrFailed);
    if (!src.IsAttached()) return QERR(keQuorErrIteratorState);
    int side = 8;
    const uint16_t* ranks = OrderedDitherMatrix(matrix, side);
    // The offset spans the typical step between neighbouring colours: enough
    // to mix them, no more.
    const double spacing = PaletteSpacing(palette, count);
    const int cells = side * side;
    std::vector<int> offset(static_cast<size_t>(cells), 0);
    for (int i = 0; i < cells; ++i) offset[size_t(i)] = int(std::lround(((ranks[i] + 0.5) / cells - 0.5) * spacing));

    tagColorLookupCache* cache = CreateColorLookupCache(count);
    if (!cache) return QERR(keQuorErrOutOfMemory);
    LockColorLookupCache(cache);
    CErrorAutoThrow result = qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        CRowIterator view;
        bool alpha = false;
        QGDI_TRY(PrepareSource(src, view, alpha));
        QGDI_TRY(PrepareDestination(src, dst, palette, count, alpha));
        const bool dstAlpha = dst.GetPixelFormat() == keFormatIndex8A;
        const int w = src.GetWidth(), h = src.GetHeight(), bpp = alpha ? 4 : 3;
        const auto* bytes = reinterpret_cast<const uint8_t*>(palette);
        if (status) status->SetProgressRange(uint64_t(h));
        for (int y = 0; y < h; ++y) {
            const uint8_t* in = nullptr;
            uint8_t* out = nullptr;
            QGDI_TRY(view.GetRow(in, y));
            if (CErrorAutoThrow r = dst.GetRow(out, y); r.IsError()) {
                view.ReleaseRow(y).Ignore();
                return r;
            }
            const int* rowOffset = &offset[size_t((y % side) * side)];
            for (int x = 0; x < w; ++x) {
                const uint8_t* p = in + x * bpp;
                const int o = rowOffset[x % side];
                const int idx = LocateNearestColor(uint32_t(std::clamp(p[2] + o, 0, 255)),
                                                   uint32_t(std::clamp(p[1] + o, 0, 255)),
                                                   uint32_t(std::clamp(p[0] + o, 0, 255)), bytes, count, 4, cache);
                if (dstAlpha) {
                    out[2 * x] = uint8_t(idx);
                    out[2 * x + 1] = alpha ? p[3] : 255;
                } else {
                    out[x] = uint8_t(idx);
                }
            }
            view.ReleaseRow(y).Ignore();
            QGDI_TRY(dst.ReleaseRow(y));
            if (status && status->SetProgress(uint64_t(y + 1))) return QERR(keQuorErrCancelled);
        }
        return CErrorAutoThrow();
    });
    UnlockColorLookupCache(cache);
    FreeColorLookupCache(cache);
    return result;
}
