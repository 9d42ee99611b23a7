#include "layerstyles/StylePlane.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <new>

#include "QuorRender/SeqOpBlur.h"
#include "qdibcore/Source/internal/Parallel.h"

namespace qgdi::styles {

namespace {

constexpr int kBandColumns = 256;
constexpr int kRowGrain = 16;
constexpr float kFar = 1e6f;

// One pass over n samples; `in` has `pad` zeros (or what lies beyond) on each
// side, at least the pass's reach.
void Pass(const SBlurPass& p, const float* __restrict__ in, float* __restrict__ out, int n) noexcept {
    if (p.IsBox()) {
        const int r = p.nRadius;
        float s = 0;
        for (int k = -r; k <= r; ++k) s += in[k];
        const float inner = p.fInner, ring = p.fRing;
        for (int i = 0; i < n; ++i) {
            out[i] = inner * s + ring * (in[i - r - 1] + in[i + r + 1]);
            s += in[i + r + 1] - in[i - r];
        }
        return;
    }
    const int half = static_cast<int>(p.aWeights.size() / 2);
    float w[64];
    const int taps = std::min<int>(static_cast<int>(p.aWeights.size()), 64);
    for (int k = 0; k < taps; ++k) w[k] = static_cast<float>(p.aWeights[static_cast<size_t>(k)]) / (1 << SBlurPass::kiWeightBits);
    for (int i = 0; i < n; ++i) out[i] = 0;
    for (int k = 0; k < taps; ++k) {
        const float* src = in + k - half;
        const float wk = w[k];
        for (int i = 0; i < n; ++i) out[i] += wk * src[i];
    }
}

// The same pass down a band of `cols` columns stored row by row, `pad` zero
// rows above and below.
void PassDown(const SBlurPass& p, const float* __restrict__ in, float* __restrict__ out, ptrdiff_t outStride, int rows,
              int cols, float* __restrict__ sum) noexcept {
    const auto at = [&](int y) { return in + static_cast<ptrdiff_t>(y) * cols; };
    if (p.IsBox()) {
        const int r = p.nRadius;
        std::fill(sum, sum + cols, 0.0f);
        for (int k = -r; k <= r; ++k) {
            const float* s = at(k);
            for (int x = 0; x < cols; ++x) sum[x] += s[x];
        }
        const float inner = p.fInner, ring = p.fRing;
        for (int y = 0; y < rows; ++y) {
            const float *before = at(y - r - 1), *after = at(y + r + 1), *leaving = at(y - r);
            float* o = out + y * outStride;
            for (int x = 0; x < cols; ++x) {
                o[x] = inner * sum[x] + ring * (before[x] + after[x]);
                sum[x] += after[x] - leaving[x];
            }
        }
        return;
    }
    const int half = static_cast<int>(p.aWeights.size() / 2);
    for (int y = 0; y < rows; ++y) {
        float* o = out + y * outStride;
        std::fill(o, o + cols, 0.0f);
        for (size_t k = 0; k < p.aWeights.size(); ++k) {
            const float wk = static_cast<float>(p.aWeights[k]) / (1 << SBlurPass::kiWeightBits);
            const float* s = at(y + static_cast<int>(k) - half);
            for (int x = 0; x < cols; ++x) o[x] += wk * s[x];
        }
    }
}

// Lower envelope of parabolas: squared distance along a row from the
// squared column distances f (Felzenszwalb and Huttenlocher).
void Envelope(const float* f, float* d, int* nearest, int n, int* v, double* z) noexcept {
    int k = 0;
    v[0] = 0;
    z[0] = -1e30;
    z[1] = 1e30;
    for (int q = 1; q < n; ++q) {
        const double fq = f[q] + double(q) * q;
        double s;
        for (;;) {
            const int p = v[k];
            s = (fq - (f[p] + double(p) * p)) / (2.0 * (q - p));
            if (s > z[k] || k == 0) break;
            --k;
        }
        if (s <= z[k]) {  // k == 0 and the new parabola wins everywhere
            v[0] = q;
            z[1] = 1e30;
            continue;
        }
        ++k;
        v[k] = q;
        z[k] = s;
        z[k + 1] = 1e30;
    }
    k = 0;
    for (int q = 0; q < n; ++q) {
        while (z[k + 1] < q) ++k;
        const double dq = q - v[k];
        d[q] = static_cast<float>(dq * dq + f[v[k]]);
        nearest[q] = v[k];
    }
}

}  // namespace

namespace {

constexpr size_t kPoolBuffers = 8;

struct SPool {
    std::mutex mutex;
    std::vector<std::vector<float>> buffers;
};

SPool& Pool() {
    static SPool* pool = new SPool;  // planes may die after static destruction
    return *pool;
}

// The smallest pooled buffer that holds n values, or a new one.
std::vector<float> Take(size_t n) {
    SPool& p = Pool();
    {
        std::lock_guard lock(p.mutex);
        size_t best = p.buffers.size();
        for (size_t k = 0; k < p.buffers.size(); ++k)
            if (p.buffers[k].capacity() >= n && (best == p.buffers.size() || p.buffers[k].capacity() < p.buffers[best].capacity()))
                best = k;
        if (best < p.buffers.size()) {
            std::vector<float> v = std::move(p.buffers[best]);
            p.buffers.erase(p.buffers.begin() + static_cast<ptrdiff_t>(best));
            v.resize(n);
            return v;
        }
    }
    return std::vector<float>(n);
}

void Give(std::vector<float>&& v) noexcept {
    if (v.capacity() == 0) return;
    SPool& p = Pool();
    try {
        v.resize(v.capacity());  // whole, so that taking it again never fills
        std::lock_guard lock(p.mutex);
        if (p.buffers.size() >= kPoolBuffers) {
            auto smallest = std::min_element(p.buffers.begin(), p.buffers.end(), [](const auto& a, const auto& b) {
                return a.capacity() < b.capacity();
            });
            if (smallest->capacity() >= v.capacity()) return;
            p.buffers.erase(smallest);
        }
        p.buffers.push_back(std::move(v));
    } catch (...) {
    }
}

}  // namespace

SPlane::SPlane(const SPlane& other) { *this = other; }

SPlane& SPlane::operator=(const SPlane& other) {
    if (this == &other) return *this;
    if (!Allocate(other.rect, false)) throw std::bad_alloc();
    std::copy(other.values.begin(), other.values.end(), values.begin());
    return *this;
}

SPlane::~SPlane() { Give(std::move(values)); }

bool SPlane::Allocate(const RECT& r, bool zero) {
    const int64_t w = int64_t(r.right) - r.left, h = int64_t(r.bottom) - r.top;
    if (w < 1 || h < 1 || w * h > (int64_t{1} << 31)) return false;
    try {
        if (values.capacity() < static_cast<size_t>(w * h)) {
            Give(std::move(values));
            values = Take(static_cast<size_t>(w * h));
        } else {
            values.resize(static_cast<size_t>(w * h));
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (zero) std::fill(values.begin(), values.end(), 0.0f);
    rect = r;
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
}

int BlurReach(double sigma) {
    std::vector<SBlurPass> passes;
    if (!(sigma > 0) || !qgdi::filter::PlanGaussian(sigma, passes)) return 0;
    return qgdi::filter::TotalReach(passes);
}

bool Blur(SPlane& plane, double sigma) {
    std::vector<SBlurPass> passes;
    if (!(sigma > 0)) return true;
    if (!qgdi::filter::PlanGaussian(sigma, passes)) return false;
    int pad = 1;
    for (const SBlurPass& p : passes) pad = std::max(pad, static_cast<int>(p.Reach()));
    const int w = plane.width, h = plane.height;
    bool ok = true;
    try {
        struct SRows {
            std::vector<float> a, b;
        };
        // Each pass reads from a padded copy; the last one writes the plane.
        ForRows<SRows>(h, kRowGrain, [&](int y, SRows& t) {
            std::vector<float>& a = t.a;
            std::vector<float>& b = t.b;
            if (a.empty()) {
                a.assign(static_cast<size_t>(w + 2 * pad), 0.0f);
                b.assign(a.size(), 0.0f);
            }
            std::copy(plane.Row(y), plane.Row(y) + w, a.begin() + pad);
            for (size_t k = 0; k < passes.size(); ++k) {
                const bool last = k + 1 == passes.size();
                Pass(passes[k], a.data() + pad, last ? plane.Row(y) : b.data() + pad, w);
                if (!last) std::swap(a, b);
            }
        });
        const int bands = (w + kBandColumns - 1) / kBandColumns;
        qgdi::parallel::For(0, bands, [&](int band) {
            const int x0 = band * kBandColumns, cols = std::min(kBandColumns, w - x0);
            const size_t size = static_cast<size_t>(h + 2 * pad) * cols;
            std::vector<float> a(size, 0.0f), b(size, 0.0f), sum(static_cast<size_t>(cols));
            for (int y = 0; y < h; ++y) std::copy(plane.Row(y) + x0, plane.Row(y) + x0 + cols, a.begin() + static_cast<ptrdiff_t>(y + pad) * cols);
            for (size_t k = 0; k < passes.size(); ++k) {
                const bool last = k + 1 == passes.size();
                PassDown(passes[k], a.data() + static_cast<ptrdiff_t>(pad) * cols,
                         last ? plane.Row(0) + x0 : b.data() + static_cast<ptrdiff_t>(pad) * cols, last ? w : cols, h,
                         cols, sum.data());
                if (!last) std::swap(a, b);
            }
        });
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    return ok;
}

bool EdgeDistance(const SPlane& alpha, bool inside, SPlane& distance) {
    if (!distance.Allocate(alpha.rect, false)) return false;
    const int w = alpha.width, h = alpha.height;
    const auto feature = [inside](float a) { return inside ? a < 0.5f : a >= 0.5f; };
    try {
        // The row of the nearest feature in each column, above or below.
        std::vector<int> row(static_cast<size_t>(w) * h);
        const auto at = [&](int y) { return row.data() + static_cast<size_t>(y) * w; };
        const int bands = (w + kBandColumns - 1) / kBandColumns;
        qgdi::parallel::For(0, bands, [&](int band) {
            const int x0 = band * kBandColumns, x1 = std::min(w, x0 + kBandColumns);
            for (int x = x0; x < x1; ++x) {
                const bool f = feature(alpha.Row(0)[x]);
                distance.Row(0)[x] = f ? 0.0f : kFar;
                at(0)[x] = f ? 0 : -1;
            }
            for (int y = 1; y < h; ++y) {
                const float* a = alpha.Row(y);
                const float* up = distance.Row(y - 1);
                const int* upRow = at(y - 1);
                float* g = distance.Row(y);
                int* r = at(y);
                for (int x = x0; x < x1; ++x) {
                    const bool f = feature(a[x]);
                    g[x] = f ? 0.0f : std::min(up[x] + 1.0f, kFar);
                    r[x] = f ? y : upRow[x];
                }
            }
            for (int y = h - 2; y >= 0; --y) {
                const float* down = distance.Row(y + 1);
                const int* downRow = at(y + 1);
                float* g = distance.Row(y);
                int* r = at(y);
                for (int x = x0; x < x1; ++x) {
                    const bool closer = down[x] + 1.0f < g[x];
                    g[x] = closer ? down[x] + 1.0f : g[x];
                    r[x] = closer ? downRow[x] : r[x];
                }
            }
        });
        // Along the rows: the exact distance to the nearest feature pixel,
        // then to the edge, which an anti-aliased pixel holds where its
        // coverage says: a partly covered pixel on the edge measures to its
        // own, the others to the edge inside the feature pixel they found.
        struct SRows {
            std::vector<float> f, d;
            std::vector<int> v, nearest;
            std::vector<double> z;
        };
        ForRows<SRows>(h, kRowGrain, [&](int y, SRows& t) {
            std::vector<float>& f = t.f;
            std::vector<float>& d = t.d;
            std::vector<int>& v = t.v;
            std::vector<int>& nearest = t.nearest;
            std::vector<double>& z = t.z;
            f.resize(static_cast<size_t>(w));
            d.resize(static_cast<size_t>(w));
            v.resize(static_cast<size_t>(w));
            nearest.resize(static_cast<size_t>(w));
            z.resize(static_cast<size_t>(w) + 1);
            float* g = distance.Row(y);
            for (int x = 0; x < w; ++x) f[x] = g[x] * g[x];
            Envelope(f.data(), d.data(), nearest.data(), w, v.data(), z.data());
            const float* a = alpha.Row(y);
            const int* r = at(y);
            for (int x = 0; x < w; ++x) {
                if (feature(a[x])) {
                    g[x] = 0.0f;
                    continue;
                }
                // Partly covered and beside the other side: the edge runs
                // through this pixel. (Wide areas of partial cover are not an
                // edge: the edge is where coverage crosses one half.)
                const bool partial = (inside ? a[x] < 1.0f : a[x] > 0.0f) && d[x] <= 2.0f;
                if (partial) {
                    g[x] = inside ? a[x] - 0.5f : 0.5f - a[x];
                    continue;
                }
                const int fx = nearest[x], fy = r[fx];
                const float depth = fy >= 0 ? std::fabs(alpha.Row(fy)[fx] - 0.5f) : 0.5f;
                g[x] = std::max(0.0f, std::sqrt(d[x]) - depth);
            }
        });
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace qgdi::styles
