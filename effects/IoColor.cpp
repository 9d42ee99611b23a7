#include "effects/IoColor.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "effects/internal/EffectPixels.h"
#include "qdibcore/Source/internal/ResultTry.h"

using namespace qgdi::effects;

namespace {

constexpr double kPi = 3.14159265358979;
constexpr std::array<double, 20> kIdentity = {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0};

// Straight pixels of input 0 through body(pixel) one by one.
template <class Body>
CErrorAutoThrow StraightPerPixel(const CIoData& data, Body&& body) {
    return MapStraight(data, [&](uint8_t* px, int n) {
        for (int i = 0; i < 4 * n; i += 4) body(px + i);
    });
}

}  // namespace

CIoColorMatrix::CIoColorMatrix(const double* matrix20) noexcept : CImageOp(keIoColorMatrix), m_m(kIdentity) {
    if (!matrix20) return;
    for (int i = 0; i < 20; ++i)
        if (!std::isfinite(matrix20[i])) return;
    std::copy(matrix20, matrix20 + 20, m_m.begin());
}

CIoColorMatrix* CIoColorMatrix::CreateSaturate(double s) {
    if (!std::isfinite(s)) s = 1;
    const double m[20] = {0.213 + 0.787 * s, 0.715 - 0.715 * s, 0.072 - 0.072 * s, 0, 0,
                          0.213 - 0.213 * s, 0.715 + 0.285 * s, 0.072 - 0.072 * s, 0, 0,
                          0.213 - 0.213 * s, 0.715 - 0.715 * s, 0.072 + 0.928 * s, 0, 0,
                          0, 0, 0, 1, 0};
    auto* op = new (std::nothrow) CIoColorMatrix(m);
    if (op) op->m_eType = keColorMatrixSaturate;
    return op;
}

CIoColorMatrix* CIoColorMatrix::CreateHueRotate(double degrees) {
    if (!std::isfinite(degrees)) degrees = 0;
    const double c = std::cos(degrees * kPi / 180), s = std::sin(degrees * kPi / 180);
    const double m[20] = {0.213 + c * 0.787 - s * 0.213, 0.715 - c * 0.715 - s * 0.715, 0.072 - c * 0.072 + s * 0.928, 0, 0,
                          0.213 - c * 0.213 + s * 0.143, 0.715 + c * 0.285 + s * 0.140, 0.072 - c * 0.072 - s * 0.283, 0, 0,
                          0.213 - c * 0.213 - s * 0.787, 0.715 - c * 0.715 + s * 0.715, 0.072 + c * 0.928 + s * 0.072, 0, 0,
                          0, 0, 0, 1, 0};
    auto* op = new (std::nothrow) CIoColorMatrix(m);
    if (op) op->m_eType = keColorMatrixHueRotate;
    return op;
}

CIoColorMatrix* CIoColorMatrix::CreateLuminanceToAlpha() {
    const double m[20] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0.2125, 0.7154, 0.0721, 0, 0};
    auto* op = new (std::nothrow) CIoColorMatrix(m);
    if (op) op->m_eType = keColorMatrixLuminanceToAlpha;
    return op;
}

CIoColorMatrix* CIoColorMatrix::CreateGreyscale() {
    CIoColorMatrix* op = CreateSaturate(0);
    if (op) op->m_eType = keColorMatrixGreyscale;
    return op;
}

CIoColorMatrix* CIoColorMatrix::CreateChannelConstant(EQChannel channel, double value) {
    auto* op = new (std::nothrow) CIoColorMatrix(nullptr);
    if (!op) return nullptr;
    op->m_eType = keColorMatrixChannelConstant;
    static constexpr int kRow[4] = {2, 1, 0, 3};  // blue, green, red, alpha -> matrix row
    if (channel < keChannelBlue || channel > keChannelAlpha || !std::isfinite(value)) return op;
    double* row = op->m_m.data() + 5 * kRow[channel];
    std::fill(row, row + 5, 0.0);
    row[4] = std::clamp(value, 0.0, 1.0);
    return op;
}

CIoColorMatrix* CIoColorMatrix::CreateColorize(double hueDegrees, double saturation) {
    if (!std::isfinite(hueDegrees)) hueDegrees = 0;
    if (!std::isfinite(saturation)) saturation = 0;
    saturation = std::clamp(saturation, 0.0, 1.0);
    // The fully saturated colour of the hue, scaled so that its luminance is 1.
    const double h = std::fmod(std::fmod(hueDegrees, 360.0) + 360.0, 360.0) / 60.0;
    const double f = h - std::floor(h);
    double rgb[3];
    switch (static_cast<int>(h) % 6) {
        case 0: rgb[0] = 1, rgb[1] = f, rgb[2] = 0; break;
        case 1: rgb[0] = 1 - f, rgb[1] = 1, rgb[2] = 0; break;
        case 2: rgb[0] = 0, rgb[1] = 1, rgb[2] = f; break;
        case 3: rgb[0] = 0, rgb[1] = 1 - f, rgb[2] = 1; break;
        case 4: rgb[0] = f, rgb[1] = 0, rgb[2] = 1; break;
        default: rgb[0] = 1, rgb[1] = 0, rgb[2] = 1 - f; break;
    }
    const double lum = 0.213 * rgb[0] + 0.715 * rgb[1] + 0.072 * rgb[2];
    double m[20] = {};
    for (int c = 0; c < 3; ++c) {
        const double k = (1 - saturation) + saturation * rgb[c] / lum;
        m[5 * c] = 0.213 * k, m[5 * c + 1] = 0.715 * k, m[5 * c + 2] = 0.072 * k;
    }
    m[18] = 1;
    auto* op = new (std::nothrow) CIoColorMatrix(m);
    if (op) op->m_eType = keColorMatrixColorize;
    return op;
}

CErrorAutoThrow CIoColorMatrix::Execute(const CIoData& data) {
    // Single precision is exact enough for 8-bit results (24-bit mantissa
    // against at most 4 x 255 x |m| summed), and the row loop vectorises.
    float k[20];
    for (int i = 0; i < 20; ++i)
        k[i] = static_cast<float>(std::clamp(m_m[i], -16384.0, 16384.0) * (i % 5 == 4 ? 255.0 : 1.0));
    return MapStraight(data, [&](uint8_t* __restrict__ px, int n) {
        for (int i = 0; i < n; ++i) {
            uint8_t* p = px + 4 * i;
            const float b = p[0], g = p[1], r = p[2], a = p[3];
            float out[4];
            for (int row = 0; row < 4; ++row) {
                const float* m = k + 5 * row;
                out[row] = std::clamp(m[0] * r + m[1] * g + m[2] * b + m[3] * a + m[4] + 0.5f, 0.0f, 255.0f);
            }
            p[2] = static_cast<uint8_t>(static_cast<int>(out[0])), p[1] = static_cast<uint8_t>(static_cast<int>(out[1]));
            p[0] = static_cast<uint8_t>(static_cast<int>(out[2])), p[3] = static_cast<uint8_t>(static_cast<int>(out[3]));
        }
    });
}

CIoComponentTransfer::CIoComponentTransfer() noexcept : CImageOp(keIoComponentTransfer) {
    for (auto& t : m_t)
        for (int i = 0; i < 256; ++i) t[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
}

CIoComponentTransfer::CIoComponentTransfer(const uint8_t* red, const uint8_t* green, const uint8_t* blue,
                                           const uint8_t* alpha) noexcept
    : CIoComponentTransfer() {
    const uint8_t* tables[4] = {blue, green, red, alpha};
    for (int c = 0; c < 4; ++c)
        if (tables[c]) std::copy(tables[c], tables[c] + 256, m_t[static_cast<size_t>(c)].begin());
}

CIoComponentTransfer::CIoComponentTransfer(EQChannel channel, const uint8_t* table) noexcept
    : CIoComponentTransfer() {
    if (table && channel >= keChannelBlue && channel <= keChannelAlpha)
        std::copy(table, table + 256, m_t[static_cast<size_t>(channel)].begin());
}

CIoComponentTransfer* CIoComponentTransfer::CreateGamma(double amplitude, double exponent, double offset) {
    auto* op = new (std::nothrow) CIoComponentTransfer;
    if (!op) return nullptr;
    if (!std::isfinite(amplitude) || !std::isfinite(exponent) || !std::isfinite(offset)) return op;
    for (int i = 0; i < 256; ++i) {
        const double v = amplitude * std::pow(i / 255.0, exponent) + offset;
        const uint8_t b = static_cast<uint8_t>(std::clamp(std::isfinite(v) ? v : 0.0, 0.0, 1.0) * 255.0 + 0.5);
        for (int c = 0; c < 3; ++c) op->m_t[static_cast<size_t>(c)][static_cast<size_t>(i)] = b;
    }
    return op;
}

CIoComponentTransfer* CIoComponentTransfer::CreateInvert() {
    auto* op = new (std::nothrow) CIoComponentTransfer;
    if (!op) return nullptr;
    for (int c = 0; c < 3; ++c)
        for (int i = 0; i < 256; ++i) op->m_t[static_cast<size_t>(c)][static_cast<size_t>(i)] = static_cast<uint8_t>(255 - i);
    return op;
}

CIoComponentTransfer* CIoComponentTransfer::CreateChrome(const CColorRef& colour, double periods) {
    auto* op = new (std::nothrow) CIoComponentTransfer;
    if (!op) return nullptr;
    if (!std::isfinite(periods)) periods = 1;
    periods = std::clamp(periods, 0.0, 64.0);
    op->m_bLuminance = true;
    const uint8_t tint[3] = {colour.GetBlue8(), colour.GetGreen8(), colour.GetRed8()};
    for (int i = 0; i < 256; ++i) {
        const double w = 0.5 - 0.5 * std::cos(2 * kPi * periods * i / 255.0);
        for (int c = 0; c < 3; ++c)
            op->m_t[static_cast<size_t>(c)][static_cast<size_t>(i)] = static_cast<uint8_t>(w * tint[c] + 0.5);
    }
    return op;
}

CErrorAutoThrow CIoComponentTransfer::Execute(const CIoData& data) {
    return StraightPerPixel(data, [&](uint8_t* s) {
        if (m_bLuminance) {
            const uint8_t l = static_cast<uint8_t>((54 * s[2] + 183 * s[1] + 19 * s[0] + 128) >> 8);
            s[0] = s[1] = s[2] = l;
        }
        for (int c = 0; c < 4; ++c) s[c] = m_t[static_cast<size_t>(c)][s[c]];
    });
}
