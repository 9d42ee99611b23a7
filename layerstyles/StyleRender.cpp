#include "layerstyles/StyleRender.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "QuorRender/RowOpApply.h"
#include "QuorRender/RowOpCopy.h"
#include "deformation/WarpImage.h"
#include "diagnostics/Profile.h"
#include "layerstyles/StylePlane.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"

using qgdi::styles::SPlane;

namespace {

constexpr double kPi = 3.14159265358979;
constexpr double kMaxSize = 250, kMaxDistance = 30000, kMaxDepth = 10, kMaxSoften = 16;
constexpr int kRowGrain = 16;

double Clamp(double v, double lo, double hi) noexcept { return std::isfinite(v) ? std::clamp(v, lo, hi) : lo; }

RECT Grow(const RECT& r, int m) noexcept { return RECT{r.left - m, r.top - m, r.right + m, r.bottom + m}; }
RECT Move(const RECT& r, int dx, int dy) noexcept { return RECT{r.left + dx, r.top + dy, r.right + dx, r.bottom + dy}; }
bool Empty(const RECT& r) noexcept { return r.right <= r.left || r.bottom <= r.top; }
RECT Union(const RECT& a, const RECT& b) noexcept {
    if (Empty(a)) return b;
    if (Empty(b)) return a;
    return RECT{std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}
RECT Intersect(const RECT& a, const RECT& b) noexcept {
    RECT r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
    return Empty(r) ? RECT{0, 0, 0, 0} : r;
}

// Where a shadow falls for light from `angle` degrees.
void Offset(double angle, double distance, int& dx, int& dy) noexcept {
    const double a = Clamp(angle, -3600, 3600) * kPi / 180, d = Clamp(distance, 0, kMaxDistance);
    dx = static_cast<int>(std::lrint(-std::cos(a) * d));
    dy = static_cast<int>(std::lrint(std::sin(a) * d));
}

// A soft effect of `size` with `spread`: the hard dilation and the blur left.
struct SSoft {
    double radius = 0, sigma = 0;
    int reach = 0;
};
SSoft Soft(double size, double spread) {
    size = Clamp(size, 0, kMaxSize);
    spread = Clamp(spread, 0, 1);
    SSoft s;
    s.radius = size * spread;
    s.sigma = size * (1 - spread) / 2;
    s.reach = static_cast<int>(std::ceil(s.radius)) + qgdi::styles::BlurReach(s.sigma) + 1;
    return s;
}

int StrokeReach(const SStyleStroke& s) {
    if (!s.bEnabled) return 0;
    const double size = Clamp(s.fSize, 0, kMaxSize);
    if (s.ePosition == keStrokeInside || size <= 0) return 0;
    return static_cast<int>(std::ceil(s.ePosition == keStrokeCentre ? size / 2 : size)) + 1;
}

// How far outward the bevel's slope reaches, and how far its height map reads.
int BevelReach(const SStyleBevel& b) {
    const double size = Clamp(b.fSize, 0, kMaxSize);
    int r = b.eTechnique == keBevelSmooth ? qgdi::styles::BlurReach(size / 2)
                                          : static_cast<int>(std::ceil(size)) + qgdi::styles::BlurReach(size / 8);
    return r + qgdi::styles::BlurReach(Clamp(b.fSoften, 0, kMaxSoften)) + 2;
}

inline float Hash(int x, int y) noexcept {
    uint32_t h = static_cast<uint32_t>(x) * 73856093u ^ static_cast<uint32_t>(y) * 19349663u;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return static_cast<float>(h & 0xFFFF) * (1.0f / 65535.0f);
}

inline uint32_t Bgra(uint32_t rgb, uint32_t alpha = 255) noexcept { return (rgb & 0xFFFFFFu) | alpha << 24; }

// Position 0..1 along a gradient laid over the layer's rectangle.
struct SGradientGeometry {
    double cx, cy, ux, uy, half;
    EStyleGradientType type;
    bool reverse;
    SGradientGeometry(const SStyleGradient& g, const RECT& layer) {
        const double a = Clamp(g.fAngle, -3600, 3600) * kPi / 180;
        ux = std::cos(a);
        uy = -std::sin(a);
        cx = (layer.left + layer.right) / 2.0 + Clamp(g.fOffsetX, -kMaxDistance, kMaxDistance);
        cy = (layer.top + layer.bottom) / 2.0 + Clamp(g.fOffsetY, -kMaxDistance, kMaxDistance);
        const double w = layer.right - layer.left, h = layer.bottom - layer.top;
        half = std::max(0.5, (std::fabs(w * ux) + std::fabs(h * uy)) / 2 * Clamp(g.fScale, 0.1, 1.5));
        type = g.eType;
        reverse = g.bReverse;
    }
    float At(double x, double y) const noexcept {
        const double px = x - cx, py = y - cy;
        const double along = px * ux + py * uy, across = -px * uy + py * ux;
        double t;
        switch (type) {
        case keStyleGradientRadial: t = std::hypot(px, py) / half; break;
        case keStyleGradientAngle: t = std::fmod(std::atan2(across, along) / (2 * kPi) + 1, 1.0); break;
        case keStyleGradientReflected: t = std::fabs(along) / half; break;
        case keStyleGradientDiamond: t = (std::fabs(along) + std::fabs(across)) / half; break;
        default: t = 0.5 + along / (2 * half); break;
        }
        t = std::clamp(t, 0.0, 1.0);
        return static_cast<float>(reverse ? 1 - t : t);
    }
};

// A pattern tile as straight BGRA, read at destination positions.
struct SPatternTile {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;
    double scale = 1;
    int ox = 0, oy = 0;
    bool Load(const SStylePattern& p, POINT at) {
        if (!p.pImage || !p.pImage->IsAttached() || p.pImage->GetWidth() < 1 || p.pImage->GetHeight() < 1) return false;
        CRowIterator bgra;
        if (bgra.CreateFromCopy(*p.pImage, nullptr, keFormatBGRA).IsError()) return false;
        width = bgra.GetWidth();
        height = bgra.GetHeight();
        try {
            pixels.resize(static_cast<size_t>(width) * height);
        } catch (const std::bad_alloc&) {
            return false;
        }
        for (int y = 0; y < height; ++y)
            if (bgra.GetAndCopyRow(&pixels[static_cast<size_t>(y) * width], y, 0, width, size_t(width) * 4).IsError())
                return false;
        scale = Clamp(p.fScale, 0.01, 10);
        ox = p.nOffsetX + (p.bLinkWithLayer ? at.x : 0);
        oy = p.nOffsetY + (p.bLinkWithLayer ? at.y : 0);
        return true;
    }
    uint32_t At(int x, int y) const noexcept {
        const auto wrap = [](double v, int n) {
            const int64_t i = static_cast<int64_t>(std::floor(v)) % n;
            return static_cast<int>(i < 0 ? i + n : i);
        };
        return pixels[static_cast<size_t>(wrap((y - oy) / scale, height)) * width + wrap((x - ox) / scale, width)];
    }
};

// A contour (after the range stretch) and noise, applied to a row of a ramp.
struct SShaper {
    float table[256];
    float stretch = 1, noise = 0;
    SShaper(const SStyleContour& contour, double noiseAmount, double range) {
        QGDI_StyleContourTable(contour, table);
        stretch = static_cast<float>(1 / (2 * Clamp(range, 0.01, 1)));
        noise = static_cast<float>(Clamp(noiseAmount, 0, 1));
    }
    // The range 0.5 leaves the ramp as it is; noise takes a random share away.
    void Apply(float* v, int n, int x0, int y) const noexcept {
        for (int x = 0; x < n; ++x) {
            const float t = std::clamp(1.0f - (1.0f - v[x]) * stretch, 0.0f, 1.0f);
            const float c = table[static_cast<int>(t * 255.0f + 0.5f)];
            v[x] = t > 0 ? c : 0.0f;
        }
        if (noise > 0)
            for (int x = 0; x < n; ++x) v[x] *= 1.0f - noise * Hash(x0 + x, y);
    }
};

class CStyleJob {
public:
    CStyleJob(const SLayerStyles& s, const RECT& region, const RECT& work, const RECT& layerRect)
        : m_s(s), m_region(region), m_work(work), m_layer(layerRect) {}

    CErrorAutoThrow Run(const CRowIterator& layer, CRowIterator& destination, CStatusControl* status);

private:
    // One effect onto the group: cover(y, mask) gives a region row's
    // coverage (0..1), colour(y, row) its straight BGRA source.
    template <class Cover, class Colour>
    bool Composite(EQBlendMoxMode mode, double opacity, Cover&& cover, Colour&& colour);
    // Several effects onto the group in one sweep: cover(y, masks) fills one
    // mask per step, colour(step, y, row) that step's source.
    struct SBlendStep {
        EQBlendMoxMode mode;
        double opacity;
    };
    template <size_t N, class Cover, class Colour>
    bool CompositeN(const SBlendStep (&steps)[N], Cover&& cover, Colour&& colour);
    // Coverage read from a plane over the work rectangle, shaped, clipped
    // by the layer's alpha (or its inverse).
    enum EClip { keClipNone, keClipInside, keClipOutside };
    auto PlaneCover(const SPlane& plane, const SShaper* shaper, EClip clip) const;
    template <class Cover>
    bool Fill(EQBlendMoxMode mode, double opacity, Cover&& cover, EStyleFillType fill, uint32_t rgb,
              const SStyleGradient& gradient, const SStylePattern& pattern);

    bool Alpha(SPlane& plane, int dx, int dy, bool invert) const;
    const SPlane* Distance(bool inside);
    bool Dilate(SPlane& plane, double radius);
    bool Glow(const SStyleGlow& e, bool inner);
    void StrokeRow(int wy, int x0, int n, float* out) const;

    bool Shadow(const SStyleShadow& e, bool inner);
    bool Content();
    bool Satin();
    bool Overlays();
    bool Bevel(const SPlane* strokeCoverage);
    bool Stroke(SPlane* keep);

    const SLayerStyles& m_s;
    RECT m_region, m_work, m_layer;
    int m_nLayerW = 0, m_nLayerH = 0;
    qgdi::warp::SPaddedImage m_pixels;  // the layer, straight BGRA
    std::vector<float> m_aLayerAlpha;
    SPlane m_alpha;                             // the layer's alpha over the work rectangle
    std::optional<SPlane> m_inside, m_outside;  // edge distances, made on first use
    // The group: the destination's own rows when they are BGRA and the layer
    // is opaque, otherwise a copy of the region.
    CRowIterator* m_pDirect = nullptr;
    std::vector<uint32_t> m_aGroup;
};

bool CStyleJob::Alpha(SPlane& plane, int dx, int dy, bool invert) const {
    if (!plane.Allocate(m_work, false)) return false;
    const float outside = invert ? 1.0f : 0.0f;
    qgdi::parallel::For(0, plane.height, [&](int y) {
        float* o = plane.Row(y);
        const int ly = m_work.top + y - dy - m_layer.top;
        if (ly < 0 || ly >= m_nLayerH) {
            std::fill(o, o + plane.width, outside);
            return;
        }
        const float* a = &m_aLayerAlpha[static_cast<size_t>(ly) * m_nLayerW];
        const int lx0 = m_work.left - dx - m_layer.left;
        const int from = std::clamp(-lx0, 0, plane.width), to = std::clamp(m_nLayerW - lx0, from, plane.width);
        std::fill(o, o + from, outside);
        std::fill(o + to, o + plane.width, outside);
        if (invert)
            for (int x = from; x < to; ++x) o[x] = 1.0f - a[lx0 + x];
        else
            std::copy(a + lx0 + from, a + lx0 + to, o + from);
    }, kRowGrain);
    return true;
}

const SPlane* CStyleJob::Distance(bool inside) {
    std::optional<SPlane>& d = inside ? m_inside : m_outside;
    if (!d) {
        d.emplace();
        if (!qgdi::styles::EdgeDistance(m_alpha, inside, *d)) {
            d.reset();
            return nullptr;
        }
    }
    return &*d;
}

bool CStyleJob::Dilate(SPlane& plane, double radius) {
    if (!(radius > 0)) return true;
    SPlane d;
    if (!qgdi::styles::EdgeDistance(plane, false, d)) return false;
    const float r = static_cast<float>(radius) + 0.5f;
    for (size_t k = 0; k < plane.values.size(); ++k)
        plane.values[k] = std::max(plane.values[k], std::clamp(r - d.values[k], 0.0f, 1.0f));
    return true;
}

template <size_t N, class Cover, class Colour>
bool CStyleJob::CompositeN(const SBlendStep (&steps)[N], Cover&& cover, Colour&& colour) {
    const int w = m_region.right - m_region.left, h = m_region.bottom - m_region.top;
    CRowOpDefRowBlendMox defs[N];
    CRowOp ops[N];
    CRowOpData bind;
    bind.eDstFormat = keFormatBGRA;
    bind.eSrcFormat = keFormatBGRA;
    bind.nCount = w;
    bool anyStep = false;
    for (size_t k = 0; k < N; ++k) {
        const uint32_t op = static_cast<uint32_t>(std::lrint(Clamp(steps[k].opacity, 0, 1) * 255));
        defs[k] = CRowOpDefRowBlendMox(steps[k].mode, op);
        if (op) ops[k].Attach(&defs[k], bind);
        anyStep |= op != 0;
    }
    if (!anyStep) return true;
    std::atomic<bool> failed{false};
    try {
        struct SRows {
            std::vector<float> mask;
            std::vector<uint8_t> bytes;
            std::vector<uint32_t> src;
        };
        qgdi::styles::ForRows<SRows>(h, kRowGrain, [&](int y, SRows& t) {
            t.mask.resize(static_cast<size_t>(w) * N);
            t.bytes.resize(static_cast<size_t>(w) * N);
            t.src.resize(static_cast<size_t>(w));
            float* masks[N];
            for (size_t k = 0; k < N; ++k) masks[k] = t.mask.data() + k * static_cast<size_t>(w);
            cover(y, masks);
            uint8_t* row = nullptr;
            for (size_t k = 0; k < N; ++k) {
                if (!ops[k].IsAttached()) continue;
                const float* mask = masks[k];
                uint8_t* bytes = t.bytes.data() + k * static_cast<size_t>(w);
                bool any = false;
                for (int x = 0; x < w; ++x) {
                    const uint8_t b = static_cast<uint8_t>(std::clamp(mask[x], 0.0f, 1.0f) * 255.0f + 0.5f);
                    bytes[x] = b;
                    any |= b != 0;
                }
                if (!any) continue;
                colour(k, y, t.src.data());
                if (!row) {
                    row = m_pDirect ? m_pDirect->GetRow(m_region.top + y, m_region.left, w)
                                    : reinterpret_cast<uint8_t*>(&m_aGroup[static_cast<size_t>(y) * w]);
                    if (!row) {
                        failed.store(true, std::memory_order_relaxed);
                        return;
                    }
                }
                // Only the runs the effect covers go through the kernel: most
                // effects touch a band along the edge and leave the rest alone.
                constexpr int kGap = 32;
                int x = 0;
                while (x < w) {
                    while (x < w && !bytes[x]) ++x;
                    if (x == w) break;
                    int end = x + 1, zeros = 0;
                    for (; end < w && zeros < kGap; ++end) zeros = bytes[end] ? 0 : zeros + 1;
                    end -= zeros;
                    CRowOpData data = bind;
                    data.nCount = end - x;
                    data.pDst = row + static_cast<size_t>(x) * 4;
                    data.pSrc = reinterpret_cast<const uint8_t*>(t.src.data() + x);
                    data.pMask = bytes + x;
                    data.x = m_region.left + x;
                    data.y = m_region.top + y;
                    ops[k](data);
                    x = end;
                }
            }
            if (row && m_pDirect) m_pDirect->ReleaseRow(m_region.top + y).Ignore();
        });
    } catch (const std::bad_alloc&) {
        return false;
    }
    return !failed.load();
}

template <class Cover, class Colour>
bool CStyleJob::Composite(EQBlendMoxMode mode, double opacity, Cover&& cover, Colour&& colour) {
    const SBlendStep step[1] = {{mode, opacity}};
    return CompositeN(step, [&](int y, float* const* m) { cover(y, m[0]); },
                      [&](size_t, int y, uint32_t* s) { colour(y, s); });
}

auto CStyleJob::PlaneCover(const SPlane& plane, const SShaper* shaper, EClip clip) const {
    return [this, &plane, shaper, clip](int y, float* m) {
        const int w = m_region.right - m_region.left;
        const int wy = y + m_region.top - plane.rect.top, ox = m_region.left - plane.rect.left;
        std::copy(plane.Row(wy) + ox, plane.Row(wy) + ox + w, m);
        if (shaper) shaper->Apply(m, w, m_region.left, m_region.top + y);
        if (clip == keClipNone) return;
        const float* a = m_alpha.Row(y + m_region.top - m_alpha.rect.top) + (m_region.left - m_alpha.rect.left);
        if (clip == keClipInside)
            for (int x = 0; x < w; ++x) m[x] *= a[x];
        else
            for (int x = 0; x < w; ++x) m[x] *= 1.0f - a[x];
    };
}

bool CStyleJob::Shadow(const SStyleShadow& e, bool inner) {
    int dx, dy;
    Offset(e.bUseGlobalLight ? m_s.light.fAngle : e.fAngle, e.fDistance, dx, dy);
    const SSoft soft = Soft(e.fSize, e.fSpread);
    SPlane p;
    if (!Alpha(p, dx, dy, inner) || !Dilate(p, soft.radius) || !qgdi::styles::Blur(p, soft.sigma)) return false;
    const SShaper shaper(e.contour, e.fNoise, 0.5);
    const int w = m_region.right - m_region.left;
    const EClip clip = inner ? keClipInside : e.bLayerKnocksOut ? keClipOutside : keClipNone;
    return Composite(e.eMode, e.fOpacity, PlaneCover(p, &shaper, clip),
                     [&](int, uint32_t* s) { std::fill(s, s + w, Bgra(e.nColour)); });
}

// Glow strength: a soft dilated blur, or a precise ramp of the edge distance.
bool CStyleJob::Glow(const SStyleGlow& e, bool inner) {
    const double size = Clamp(e.fSize, 0, kMaxSize);
    SPlane p;
    if (e.eTechnique == keGlowPrecise) {
        const SPlane* d = Distance(inner);
        if (!d || !p.Allocate(m_work, false)) return false;
        const float r = static_cast<float>(size * Clamp(e.fSpread, 0, 1)), span = static_cast<float>(std::max(size - r, 1e-3));
        for (size_t k = 0; k < p.values.size(); ++k)
            p.values[k] = std::clamp(1.0f - std::max(0.0f, d->values[k] - r) / span, 0.0f, 1.0f);
    } else {
        const SSoft soft = Soft(size, e.fSpread);
        if (!Alpha(p, 0, 0, inner) || !Dilate(p, soft.radius) || !qgdi::styles::Blur(p, soft.sigma)) return false;
    }
    if (inner && e.eSource == keGlowCentre)
        for (float& v : p.values) v = 1.0f - v;
    const SShaper shaper(e.contour, e.fNoise, e.fRange);
    const auto cover = PlaneCover(p, &shaper, inner ? keClipInside : keClipNone);
    if (!e.bUseGradient) {
        const int w = m_region.right - m_region.left;
        return Composite(e.eMode, e.fOpacity, cover, [&](int, uint32_t* s) { std::fill(s, s + w, Bgra(e.nColour)); });
    }
    // The glow's strength picks the gradient's colour, shifted at random by the jitter.
    uint32_t table[256];
    QGDI_StyleGradientTable(e.gradient, table);
    const float jitter = static_cast<float>(Clamp(e.fJitter, 0, 1));
    const int w = m_region.right - m_region.left;
    return Composite(e.eMode, e.fOpacity, cover, [&](int y, uint32_t* s) {
        std::vector<float> strength(static_cast<size_t>(w));
        cover(y, strength.data());
        for (int x = 0; x < w; ++x) {
            float t = strength[x] + jitter * (Hash(m_region.left + x + 7919, m_region.top + y) - 0.5f);
            t = std::clamp(e.gradient.bReverse ? 1.0f - t : t, 0.0f, 1.0f);
            s[x] = table[static_cast<int>(t * 255.0f + 0.5f)];
        }
    });
}

bool CStyleJob::Content() {
    const int w = m_region.right - m_region.left;
    return Composite(
        m_s.eLayerMode, m_s.fFillOpacity,
        [&](int y, float* m) {
            const int ly = m_region.top + y - m_layer.top;
            std::fill(m, m + w, ly >= 0 && ly < m_nLayerH ? 1.0f : 0.0f);
        },
        [&](int y, uint32_t* s) {
            const int ly = m_region.top + y - m_layer.top;
            for (int x = 0; x < w; ++x) {
                const int lx = m_region.left + x - m_layer.left;
                s[x] = lx >= 0 && lx < m_nLayerW ? m_pixels.Row(ly)[lx] : 0u;
            }
        });
}

bool CStyleJob::Satin() {
    const SStyleSatin& e = m_s.satin;
    int dx, dy;
    Offset(e.fAngle, e.fDistance / 2, dx, dy);
    const double sigma = Clamp(e.fSize, 0, kMaxSize) / 2;
    SPlane a, b;
    if (!Alpha(a, dx, dy, false) || !Alpha(b, -dx, -dy, false) || !qgdi::styles::Blur(a, sigma) ||
        !qgdi::styles::Blur(b, sigma))
        return false;
    float table[256];
    QGDI_StyleContourTable(e.contour, table);
    for (size_t k = 0; k < a.values.size(); ++k) {
        const float v = table[static_cast<int>(std::clamp(std::fabs(a.values[k] - b.values[k]), 0.0f, 1.0f) * 255.0f + 0.5f)];
        a.values[k] = e.bInvert ? 1.0f - v : v;
    }
    const int w = m_region.right - m_region.left;
    return Composite(e.eMode, e.fOpacity, PlaneCover(a, nullptr, keClipInside),
                     [&](int, uint32_t* s) { std::fill(s, s + w, Bgra(e.nColour)); });
}

template <class Cover>
bool CStyleJob::Fill(EQBlendMoxMode mode, double opacity, Cover&& cover, EStyleFillType fill, uint32_t rgb,
                     const SStyleGradient& gradient, const SStylePattern& pattern) {
    const int w = m_region.right - m_region.left;
    if (fill == keStyleFillPattern) {
        SPatternTile tile;
        if (!tile.Load(pattern, POINT{m_layer.left, m_layer.top})) return true;  // no pattern: nothing to draw
        return Composite(mode, opacity, cover, [&](int y, uint32_t* s) {
            for (int x = 0; x < w; ++x) s[x] = tile.At(m_region.left + x, m_region.top + y);
        });
    }
    if (fill == keStyleFillGradient) {
        uint32_t table[256];
        QGDI_StyleGradientTable(gradient, table);
        const SGradientGeometry g(gradient, m_layer);
        return Composite(mode, opacity, cover, [&](int y, uint32_t* s) {
            for (int x = 0; x < w; ++x) s[x] = table[static_cast<int>(g.At(m_region.left + x, m_region.top + y) * 255.0f + 0.5f)];
        });
    }
    return Composite(mode, opacity, cover, [&](int, uint32_t* s) { std::fill(s, s + w, Bgra(rgb)); });
}

// Pattern, gradient, then colour on top: each covers the layer's shape.
bool CStyleJob::Overlays() {
    const auto shape = PlaneCover(m_alpha, nullptr, keClipNone);
    if (m_s.patternOverlay.bEnabled &&
        !Fill(m_s.patternOverlay.eMode, m_s.patternOverlay.fOpacity, shape, keStyleFillPattern, 0, {},
              m_s.patternOverlay.pattern))
        return false;
    if (m_s.gradientOverlay.bEnabled &&
        !Fill(m_s.gradientOverlay.eMode, m_s.gradientOverlay.fOpacity, shape, keStyleFillGradient, 0,
              m_s.gradientOverlay.gradient, {}))
        return false;
    const SStyleColourOverlay& c = m_s.colourOverlay;
    return !c.bEnabled || Fill(c.eMode, c.fOpacity, shape, keStyleFillColour, c.nColour, {}, {});
}

// Coverage of a stroke on the chosen side of the edge, for work row wy.
void CStyleJob::StrokeRow(int wy, int x0, int n, float* out) const {
    const SStyleStroke& e = m_s.stroke;
    const double size = Clamp(e.fSize, 0, kMaxSize);
    const float width = static_cast<float>(e.ePosition == keStrokeCentre ? size / 2 : size) + 0.5f;
    const float* a = m_alpha.Row(wy) + x0;
    const float* dOut = e.ePosition != keStrokeInside ? m_outside->Row(wy) + x0 : nullptr;
    const float* dIn = e.ePosition != keStrokeOutside ? m_inside->Row(wy) + x0 : nullptr;
    for (int x = 0; x < n; ++x) out[x] = 0.0f;
    if (!(size > 0)) return;
    if (dOut)
        for (int x = 0; x < n; ++x) out[x] += std::clamp(width - dOut[x], 0.0f, 1.0f) * (1.0f - a[x]);
    if (dIn)
        for (int x = 0; x < n; ++x) out[x] += std::clamp(width - dIn[x], 0.0f, 1.0f) * a[x];
}

// The stroke drawn; with `keep`, its coverage over the work rectangle kept for a stroke emboss.
bool CStyleJob::Stroke(SPlane* keep) {
    const SStyleStroke& e = m_s.stroke;
    if ((e.ePosition != keStrokeInside && !Distance(false)) || (e.ePosition != keStrokeOutside && !Distance(true)))
        return false;
    if (keep) {
        if (!keep->Allocate(m_work, false)) return false;
        qgdi::parallel::For(0, keep->height, [&](int y) { StrokeRow(y, 0, keep->width, keep->Row(y)); }, kRowGrain);
    }
    const int w = m_region.right - m_region.left;
    const auto cover = [&](int y, float* m) {
        StrokeRow(y + m_region.top - m_work.top, m_region.left - m_work.left, w, m);
    };
    return Fill(e.eMode, e.fOpacity, cover, e.eFill, e.nColour, e.gradient, e.pattern);
}

bool CStyleJob::Bevel(const SPlane* strokeCoverage) {
    const SStyleBevel& e = m_s.bevel;
    const double size = std::max(Clamp(e.fSize, 0, kMaxSize), 0.5);
    const EStyleBevelStyle style = e.eStyle;
    const SPlane& shape = style == keBevelStrokeEmboss ? *strokeCoverage : m_alpha;
    SPlane h;
    if (e.eTechnique == keBevelSmooth || style == keBevelStrokeEmboss) {
        h = shape;
        if (!qgdi::styles::Blur(h, size / 2)) return false;
        for (float& v : h.values) {
            switch (style) {
            case keBevelInner: v = std::clamp(2 * v - 1, 0.0f, 1.0f); break;
            case keBevelOuter: v = std::clamp(2 * v, 0.0f, 1.0f); break;
            case keBevelPillow: v = std::fabs(2 * v - 1); break;
            default: break;
            }
        }
    } else {
        // Chisels: straight slopes from the exact distance to the edge.
        const SPlane* dIn = Distance(true);
        const SPlane* dOut = Distance(false);
        if (!dIn || !dOut || !h.Allocate(m_work, false)) return false;
        const float s = static_cast<float>(size);
        for (size_t k = 0; k < h.values.size(); ++k) {
            const float sd = dIn->values[k] - dOut->values[k];
            switch (style) {
            case keBevelInner: h.values[k] = std::clamp(sd / s, 0.0f, 1.0f); break;
            case keBevelOuter: h.values[k] = std::clamp(1 + sd / s, 0.0f, 1.0f); break;
            case keBevelPillow: h.values[k] = std::clamp(2 * std::fabs(sd) / s, 0.0f, 1.0f); break;
            default: h.values[k] = std::clamp(0.5f + sd / s, 0.0f, 1.0f); break;
            }
        }
        if (e.eTechnique == keBevelChiselSoft && !qgdi::styles::Blur(h, std::max(0.5, size / 8))) return false;
    }
    if (e.contour.aPoints.size() >= 2 || e.contour.ePreset != keContourLinear || e.contour.bAntiAliased) {
        float profile[256];
        QGDI_StyleContourTable(e.contour, profile);
        for (float& v : h.values) v = profile[static_cast<int>(std::clamp(v, 0.0f, 1.0f) * 255.0f + 0.5f)];
    }
    if (!qgdi::styles::Blur(h, Clamp(e.fSoften, 0, kMaxSoften))) return false;

    float gloss[256];
    QGDI_StyleContourTable(e.gloss, gloss);
    const double angle = Clamp(e.bUseGlobalLight ? m_s.light.fAngle : e.fAngle, -3600, 3600) * kPi / 180;
    const double altitude = Clamp(e.bUseGlobalLight ? m_s.light.fAltitude : e.fAltitude, 0, 90) * kPi / 180;
    const float lx = static_cast<float>(std::cos(altitude) * std::cos(angle)),
                ly = static_cast<float>(-std::cos(altitude) * std::sin(angle)), lz = static_cast<float>(std::sin(altitude));
    const float scale = static_cast<float>(size * Clamp(e.fDepth, 0.01, kMaxDepth) * (e.bDown ? -1 : 1) / 2);
    const bool plainGloss = e.gloss.aPoints.size() < 2 && e.gloss.ePreset == keContourLinear && !e.gloss.bAntiAliased;
    const float g0 = plainGloss ? lz : gloss[static_cast<int>(lz * 255.0f + 0.5f)];
    const int w = m_region.right - m_region.left, ox = m_region.left - m_work.left;
    // The shading of a region row, lit (highlight) or turned away (shadow),
    // where the style draws: inside, outside or on both sides of the edge.
    // Where the style draws: inside, outside or on both sides of the edge.
    const float whereBase = style == keBevelOuter || style == keBevelEmboss || style == keBevelPillow ? 1.0f : 0.0f;
    const float whereShape = style == keBevelOuter ? -1.0f : style == keBevelInner || style == keBevelStrokeEmboss ? 1.0f : 0.0f;
    const float hiScale = 1.0f / std::max(1.0f - g0, 1e-3f), loScale = 1.0f / std::max(g0, 1e-3f);
    // The shading of a region row: lit (highlight) and turned away (shadow).
    const auto shade = [&, ox, w](int y, float* const* m) {
        const int wy = y + m_region.top - m_work.top;
        const float *up = h.Row(wy - 1) + ox, *mid = h.Row(wy) + ox, *down = h.Row(wy + 1) + ox;
        const float* region = shape.Row(wy) + ox;
        float* __restrict__ lit = m[0];
        float* __restrict__ dark = m[1];
        for (int x = 0; x < w; ++x) {
            const float nx = -(mid[x + 1] - mid[x - 1]) * scale, ny = -(down[x] - up[x]) * scale;
            lit[x] = std::clamp((nx * lx + ny * ly + lz) / std::sqrt(nx * nx + ny * ny + 1.0f), 0.0f, 1.0f);
        }
        if (!plainGloss)
            for (int x = 0; x < w; ++x) lit[x] = gloss[static_cast<int>(lit[x] * 255.0f + 0.5f)];
        for (int x = 0; x < w; ++x) {
            const float where = whereBase + whereShape * region[x], g = lit[x];
            lit[x] = std::clamp((g - g0) * hiScale, 0.0f, 1.0f) * where;
            dark[x] = std::clamp((g0 - g) * loScale, 0.0f, 1.0f) * where;
        }
    };
    const SBlendStep steps[2] = {{e.eHighlightMode, e.fHighlightOpacity}, {e.eShadowMode, e.fShadowOpacity}};
    const uint32_t colours[2] = {Bgra(e.nHighlightColour), Bgra(e.nShadowColour)};
    return CompositeN(steps, shade, [&](size_t k, int, uint32_t* s) { std::fill(s, s + w, colours[k]); });
}

CErrorAutoThrow CStyleJob::Run(const CRowIterator& layer, CRowIterator& destination, CStatusControl* status) {
    m_nLayerW = layer.GetWidth();
    m_nLayerH = layer.GetHeight();
    const int rw = m_region.right - m_region.left, rh = m_region.bottom - m_region.top;
    const double opacity = Clamp(m_s.fOpacity, 0, 1);
    const bool direct = opacity >= 1 && destination.GetPixelFormat() == keFormatBGRA;
    QGDI_TRY(qgdi::warp::LoadPixels(layer, m_pixels, 0, keFormatBGRA));
    try {
        m_aLayerAlpha.resize(m_pixels.pixels.size());
        if (!direct) m_aGroup.resize(static_cast<size_t>(rw) * rh);
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    for (size_t i = 0; i < m_aLayerAlpha.size(); ++i)
        m_aLayerAlpha[i] = static_cast<float>(m_pixels.pixels[i] >> 24) * (1.0f / 255.0f);
    if (direct) {
        m_pDirect = &destination;
    } else {
        CRowIterator below;
        QGDI_TRY(below.CreateFromCopy(destination, &m_region, keFormatBGRA));
        for (int y = 0; y < rh; ++y)
            QGDI_TRY(below.GetAndCopyRow(&m_aGroup[static_cast<size_t>(y) * rw], y, 0, rw, size_t(rw) * 4));
    }
    std::vector<uint32_t> backdrop;
    if (opacity < 1) backdrop = m_aGroup;
    if (!Alpha(m_alpha, 0, 0, false)) return QERR(keQuorErrOutOfMemory);

    CStatusControl nested(status);
    nested.SetProgressRange(12);
    int step = 0;
    bool ok = true, cancelled = false;
    const auto run = [&](bool enabled, auto&& effect) {
        if (!ok) return;
        if (enabled) ok = effect();
        if (ok && nested.SetProgress(static_cast<uint64_t>(++step))) ok = !(cancelled = true);
    };
    const bool strokeEmboss = m_s.bevel.bEnabled && m_s.bevel.eStyle == keBevelStrokeEmboss && m_s.stroke.bEnabled;
    SPlane strokeCoverage;
    run(m_s.dropShadow.bEnabled, [&] { QGDI_PROFILE_SCOPE("style drop shadow"); return Shadow(m_s.dropShadow, false); });
    run(m_s.outerGlow.bEnabled, [&] { QGDI_PROFILE_SCOPE("style outer glow"); return Glow(m_s.outerGlow, false); });
    run(true, [&] { return Content(); });
    run(m_s.innerShadow.bEnabled, [&] { QGDI_PROFILE_SCOPE("style inner shadow"); return Shadow(m_s.innerShadow, true); });
    run(m_s.innerGlow.bEnabled, [&] { QGDI_PROFILE_SCOPE("style inner glow"); return Glow(m_s.innerGlow, true); });
    run(m_s.satin.bEnabled, [&] { QGDI_PROFILE_SCOPE("style satin"); return Satin(); });
    run(true, [&] { QGDI_PROFILE_SCOPE("style overlays"); return Overlays(); });
    run(m_s.bevel.bEnabled && m_s.bevel.eStyle != keBevelStrokeEmboss, [&] {
        QGDI_PROFILE_SCOPE("style bevel");
        return Bevel(nullptr);
    });
    run(m_s.stroke.bEnabled, [&] {
        QGDI_PROFILE_SCOPE("style stroke");
        return Stroke(strokeEmboss ? &strokeCoverage : nullptr);
    });
    run(strokeEmboss, [&] {
        QGDI_PROFILE_SCOPE("style bevel");
        return Bevel(&strokeCoverage);
    });
    if (!ok) return QERR(cancelled ? keQuorErrCancelled : keQuorErrOutOfMemory);
    if (direct) return CErrorAutoThrow();

    // The group at the layer's opacity: a mix of what it holds and what lay below.
    if (opacity < 1) {
        const uint32_t k = static_cast<uint32_t>(std::lrint(opacity * 256));
        for (size_t i = 0; i < m_aGroup.size(); ++i) {
            const uint32_t a = backdrop[i], b = m_aGroup[i];
            const uint32_t rb = (((a & 0x00FF00FFu) * (256 - k) + (b & 0x00FF00FFu) * k + 0x00800080u) >> 8) & 0x00FF00FFu;
            const uint32_t ag = ((((a >> 8) & 0x00FF00FFu) * (256 - k) + ((b >> 8) & 0x00FF00FFu) * k + 0x00800080u) >> 8) & 0x00FF00FFu;
            m_aGroup[i] = rb | ag << 8;
        }
    }
    CRowIterator result;
    QGDI_TRY(result.Create(rw, rh, keFormatBGRA));
    for (int y = 0; y < rh; ++y) {
        uint8_t* row = nullptr;
        QGDI_TRY(result.GetRow(row, y));
        std::memcpy(row, &m_aGroup[static_cast<size_t>(y) * rw], size_t(rw) * 4);
        QGDI_TRY(result.ReleaseRow(y));
    }
    return PixelIterator_ApplyRowOpChecked(CRowOpDefConvert(), destination, result, &m_region, nullptr);
}

}  // namespace

RECT CLayerStyleRenderer::CalculateRectangle(const RECT& layer) const {
    if (Empty(layer)) return RECT{0, 0, 0, 0};
    const SLayerStyles& s = m_styles;
    RECT r = layer;
    if (s.dropShadow.bEnabled) {
        int dx, dy;
        Offset(s.dropShadow.bUseGlobalLight ? s.light.fAngle : s.dropShadow.fAngle, s.dropShadow.fDistance, dx, dy);
        r = Union(r, Grow(Move(layer, dx, dy), Soft(s.dropShadow.fSize, s.dropShadow.fSpread).reach));
    }
    if (s.outerGlow.bEnabled) {
        const int reach = s.outerGlow.eTechnique == keGlowPrecise
                              ? static_cast<int>(std::ceil(Clamp(s.outerGlow.fSize, 0, kMaxSize))) + 1
                              : Soft(s.outerGlow.fSize, s.outerGlow.fSpread).reach;
        r = Union(r, Grow(layer, reach));
    }
    const int stroke = StrokeReach(s.stroke);
    r = Union(r, Grow(layer, stroke));
    if (s.bevel.bEnabled && s.bevel.eStyle != keBevelInner)
        r = Union(r, Grow(layer, BevelReach(s.bevel) + (s.bevel.eStyle == keBevelStrokeEmboss ? stroke : 0)));
    return r;
}

CErrorAutoThrow CLayerStyleRenderer::Render(const CRowIterator& layer, POINT at, CRowIterator& destination,
                                            CStatusControl* status) const {
    QGDI_PROFILE_SCOPE("layer styles");
    if (!layer.IsAttached() || !destination.IsAttached()) return QERR(keQuorErrIteratorState);
    const CQPixelFormat lf(layer.GetPixelFormat()), df(destination.GetPixelFormat());
    if (lf.GetBitsPerChannel() == 0 || df.IsIndexedColor()) return QERR(keQuorErrFormatNotSupported);
    const RECT layerRect{at.x, at.y, at.x + layer.GetWidth(), at.y + layer.GetHeight()};
    const RECT region = Intersect(CalculateRectangle(layerRect), RECT{0, 0, destination.GetWidth(), destination.GetHeight()});
    if (Empty(region)) return CErrorAutoThrow();
    // Every plane reaches beyond the region by what its widest effect reads.
    const SLayerStyles& s = m_styles;
    int margin = 2 + StrokeReach(s.stroke) + (s.bevel.bEnabled ? BevelReach(s.bevel) : 0);
    for (const SStyleShadow* e : {&s.dropShadow, &s.innerShadow})
        if (e->bEnabled) margin = std::max(margin, Soft(e->fSize, e->fSpread).reach + 2);
    for (const SStyleGlow* e : {&s.outerGlow, &s.innerGlow})
        if (e->bEnabled) margin = std::max(margin, std::max(Soft(e->fSize, e->fSpread).reach, static_cast<int>(Clamp(e->fSize, 0, kMaxSize)) + 1) + 2);
    if (s.satin.bEnabled) margin = std::max(margin, qgdi::styles::BlurReach(Clamp(s.satin.fSize, 0, kMaxSize) / 2) + 2);
    CStyleJob job(s, region, Grow(region, margin), layerRect);
    return job.Run(layer, destination, status);
}

RECT QGDI_CalculateStyleRectangle(const SLayerStyles& styles, const RECT& layer) {
    return CLayerStyleRenderer(styles).CalculateRectangle(layer);
}

CErrorAutoThrow QGDI_RenderLayerStyles(const SLayerStyles& styles, const CRowIterator& layer, POINT at,
                                       CRowIterator& destination, CStatusControl* status) {
    return CLayerStyleRenderer(styles).Render(layer, at, destination, status);
}
