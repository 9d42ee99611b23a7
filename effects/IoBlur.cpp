#include "effects/IoBlur.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/Parallel.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {

constexpr double kMaxSigma = 4096;

// One box window per pass: the pixel x averages [x + lo, x + hi].
struct SBox {
    int lo, hi;
};

// The classic three-box approximation: boxes of size d centred on the pixel
// when d is odd; when it is even two of size d on either boundary of the
// pixel and one of d + 1 centred on it.
std::vector<SBox> Boxes(double sigma, int passes) {
    const int d = static_cast<int>(std::floor(sigma * 3 * std::sqrt(2 * 3.14159265358979) / 4 + 0.5));
    if (d <= 1) return {};
    if (passes == 3) {
        if (d & 1) return {{-(d / 2), d / 2}, {-(d / 2), d / 2}, {-(d / 2), d / 2}};
        return {{-(d / 2), d / 2 - 1}, {-(d / 2) + 1, d / 2}, {-(d / 2), d / 2}};
    }
    // Other pass counts: equal boxes whose variances add up to sigma^2.
    const int n = std::max(passes, 1);
    const int w = std::max(1, static_cast<int>(std::lround(std::sqrt(12.0 * sigma * sigma / n + 1))) | 1);
    return std::vector<SBox>(static_cast<size_t>(n), SBox{-(w / 2), w / 2});
}

// Box average of `count` samples spaced by `stride` bytes, all four channels,
// zero outside; sum x (1 / d) + 1/2 in single precision is the rounded mean
// (sums stay below 2^24, far inside the mantissa).
void BoxLine(const uint8_t* in, uint8_t* out, int count, ptrdiff_t stride, SBox box) {
    const int d = box.hi - box.lo + 1;
    const float inv = 1.0f / static_cast<float>(d);
    uint32_t sum[4] = {0, 0, 0, 0};
    for (int i = box.lo; i <= box.hi; ++i)
        if (i >= 0 && i < count)
            for (int c = 0; c < 4; ++c) sum[c] += in[i * stride + c];
    for (int x = 0; x < count; ++x) {
        for (int c = 0; c < 4; ++c)
            out[x * stride + c] = static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(sum[c]) * inv + 0.5f));
        const int add = x + box.hi + 1, sub = x + box.lo;
        if (add < count)
            for (int c = 0; c < 4; ++c) sum[c] += in[add * stride + c];
        if (sub >= 0 && sub < count)
            for (int c = 0; c < 4; ++c) sum[c] -= in[sub * stride + c];
    }
}

// The same down columns, a strip of columns at a time so that rows stay in cache.
void BoxColumns(const SPixels& in, SPixels& out, int x0, int x1, SBox box) {
    const int h = in.height, n = 4 * (x1 - x0), d = box.hi - box.lo + 1;
    const float inv = 1.0f / static_cast<float>(d);
    std::vector<int32_t> sum(static_cast<size_t>(n), 0);
    for (int i = std::max(box.lo, 0); i <= std::min(box.hi, h - 1); ++i) {
        const uint8_t* r = in.Row(i) + 4 * x0;
        for (int k = 0; k < n; ++k) sum[static_cast<size_t>(k)] += r[k];
    }
    for (int y = 0; y < h; ++y) {
        uint8_t* o = out.Row(y) + 4 * x0;
        const int32_t* __restrict__ sk = sum.data();
        for (int k = 0; k < n; ++k) o[k] = static_cast<uint8_t>(static_cast<int32_t>(static_cast<float>(sk[k]) * inv + 0.5f));
        const int add = y + box.hi + 1, sub = y + box.lo;
        if (add < h) {
            const uint8_t* r = in.Row(add) + 4 * x0;
            for (int k = 0; k < n; ++k) sum[static_cast<size_t>(k)] += r[k];
        }
        if (sub >= 0 && sub < h) {
            const uint8_t* r = in.Row(sub) + 4 * x0;
            for (int k = 0; k < n; ++k) sum[static_cast<size_t>(k)] -= r[k];
        }
    }
}

// Exact Gaussian weights in 16 fractional bits, summing to 65536.
std::vector<int32_t> GaussianWeights(double sigma, int& radius) {
    radius = std::max(1, static_cast<int>(std::ceil(3 * sigma)));
    std::vector<double> w(static_cast<size_t>(2 * radius + 1));
    double total = 0;
    for (int i = -radius; i <= radius; ++i) total += w[static_cast<size_t>(i + radius)] = std::exp(-0.5 * i * i / (sigma * sigma));
    std::vector<int32_t> k(w.size());
    int32_t sum = 0;
    for (size_t i = 0; i < w.size(); ++i) sum += k[i] = static_cast<int32_t>(std::lround(w[i] / total * 65536));
    k[static_cast<size_t>(radius)] += 65536 - sum;
    return k;
}

void GaussianLine(const uint8_t* in, uint8_t* out, int count, ptrdiff_t stride, const std::vector<int32_t>& k,
                  int radius) {
    for (int x = 0; x < count; ++x) {
        int32_t acc[4] = {32768, 32768, 32768, 32768};
        const int a = std::max(-radius, -x), b = std::min(radius, count - 1 - x);
        for (int i = a; i <= b; ++i) {
            const uint8_t* p = in + (x + i) * stride;
            const int32_t w = k[static_cast<size_t>(i + radius)];
            for (int c = 0; c < 4; ++c) acc[c] += w * p[c];
        }
        for (int c = 0; c < 4; ++c) out[x * stride + c] = static_cast<uint8_t>(std::min(acc[c] >> 16, 255));
    }
}

}  // namespace

CIoGaussianBlur::CIoGaussianBlur(double sigma, int passes) noexcept
    : CImageOp(keIoGaussianBlur),
      m_dSigma(std::isfinite(sigma) && sigma > 0 ? std::min(sigma, kMaxSigma) : 0),
      m_nPasses(std::clamp(passes, 0, 8)) {}

RECT CIoGaussianBlur::GetReach() const noexcept {
    const int r = static_cast<int>(std::ceil(3 * m_dSigma));
    return {r, r, r, r};
}

double CIoGaussianBlur::GetTime(int width, int height) const { return 6.0 * width * height; }

CErrorAutoThrow CIoGaussianBlur::Execute(const CIoData& data) {
    RECT rc;
    QGDI_TRY(DestinationRect(data, rc));
    SPixels a, b;
    QGDI_TRY(ReadInput(data, 0, a));
    if (m_dSigma <= 0) return Finish(true, data, rc, a);
    QGDI_TRY(ReadPixels(nullptr, a.width, a.height, b));
    const int w = a.width, h = a.height;
    CStatusControl* status = data.pStatus;
    bool done = true;
    const bool boxes = m_nPasses > 0 && m_dSigma >= 2;
    if (boxes) {
        const std::vector<SBox> list = Boxes(m_dSigma, m_nPasses);
        for (const SBox box : list) {
            done = done && ForRows(0, h, status, [&](int y) { BoxLine(a.Row(y), b.Row(y), w, 4, box); });
            std::swap(a, b);
        }
        constexpr int kStrip = 64;
        for (const SBox box : list) {
            done = done && ForRows(0, (w + kStrip - 1) / kStrip, status, [&](int s) {
                       BoxColumns(a, b, s * kStrip, std::min(w, (s + 1) * kStrip), box);
                   });
            std::swap(a, b);
        }
    } else {
        int radius = 0;
        const std::vector<int32_t> k = GaussianWeights(m_dSigma, radius);
        done = ForRows(0, h, status, [&](int y) { GaussianLine(a.Row(y), b.Row(y), w, 4, k, radius); });
        const ptrdiff_t stride = static_cast<ptrdiff_t>(w) * 4;
        done = done && ForRows(0, w, status, [&](int x) {
                   GaussianLine(b.Row(0) + 4 * x, a.Row(0) + 4 * x, h, stride, k, radius);
               });
    }
    return Finish(done, data, rc, a);
}
