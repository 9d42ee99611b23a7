// The table-driven 8-bit colour functors. Each reproduces the bytes of the
// double-precision rules in internal/FunctorReference.h exactly: the tables
// hold the very doubles those rules compute for each of the 256 inputs, sums
// are taken in the same order, and the one costly step of each direction (the
// cube root of the Lab forward path, the transfer curve of the backward paths)
// is replaced by something whose result provably rounds to the same byte.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "colour/ColorFunctors.h"
#include "colour/internal/EncodeQuantiser.h"
#include "colour/internal/FunctorReference.h"

using namespace qgdi::colour;

namespace qgdi::colour {

void CEncodeQuantiser8::Build(const SColorSpecRGB& cs) noexcept {
    auto byteOf = [&cs](double y) { return int(Quantise<uint8_t>(YtoD(y, cs))); };
    m_threshold[0] = -std::numeric_limits<double>::infinity();
    m_threshold[256] = std::numeric_limits<double>::infinity();
    // Non-negative doubles order like their bit patterns, so bisecting the bits
    // finds the exact first double of each byte. Negative y always gives 0.
    uint64_t lo = 0;
    for (int k = 1; k < 256; ++k) {
        double top = 1.0;
        while (byteOf(top) < k && top < 1e300) top *= 2.0;
        if (byteOf(top) < k) {
            for (int j = k; j < 256; ++j) m_threshold[j] = std::numeric_limits<double>::infinity();
            break;
        }
        uint64_t hi = std::bit_cast<uint64_t>(top);
        while (hi - lo > 1) {
            const uint64_t mid = lo + (hi - lo) / 2;
            (byteOf(std::bit_cast<double>(mid)) >= k ? hi : lo) = mid;
        }
        m_threshold[k] = std::bit_cast<double>(hi);
    }
    for (int j = 0, b = 0; j <= kCells; ++j) {
        while (b < 255 && m_threshold[b + 1] <= double(j) / kCells) ++b;
        m_cell[j] = uint8_t(b);
    }
}

}  // namespace qgdi::colour

struct SFunctorTables8 {
    // lin(i) x matrix entry: contribution of byte i of channel c (0 R, 1 G, 2 B)
    // to X, Y, Z, exactly the products RGBYtoXYZ forms.
    double xyz[3][3][256];
    double Xw, Yw, Zw;
    CEncodeQuantiser8 encode;
    // The byte of each YtoL table entry.
    uint8_t ytolByte[kYtoLTableSize];
    // The same products over the white in float: labRatio[out][c][i] = xyz[out][c][i]/white[out].
    float labRatio[3][3][256];
    // Lab decoding: per L byte f(y) and Y; per a and b byte the offsets of f(x), f(z).
    double labFy[256], labY[256], labA[256], labB[256];
};

namespace {

std::shared_ptr<SFunctorTables8> BuildLinearTables(const SColorSpecRGB& cs) {
    auto t = std::make_shared<SFunctorTables8>();
    const double* m = cs.mRGBtoXYZ;
    for (int i = 0; i < 256; ++i) {
        const double lin = DtoY(ToUnit(uint8_t(i)), cs);
        for (int out = 0; out < 3; ++out)
            for (int c = 0; c < 3; ++c) t->xyz[out][c][i] = lin * m[c * 3 + out];
    }
    QGDI_ColorSpecWhite(cs, t->Xw, t->Yw, t->Zw);
    return t;
}

// The weighted linear sum of a BGR pixel: wR lin(R) + wG lin(G) + wB lin(B).
inline double TableLuminance(const SFunctorTables8& t, const uint8_t* p) noexcept {
    return t.xyz[1][0][p[2]] + t.xyz[1][1][p[1]] + t.xyz[1][2][p[0]];
}

// The forward Lab kernel works on four pixels at a time: X/Xw of the four in
// one float vector, Y/Yw and Z/Zw in two more (GCC/Clang vector extensions:
// one SSE or NEON register each), so three independent chains run side by side.
typedef float VF4 __attribute__((vector_size(16)));
typedef int32_t VI4 __attribute__((vector_size(16)));

// t^(1/3) of each lane, to a few float ulps for any positive normal t:
// r ~ t^(-1/3) from the bit pattern (i' = 0x54a2fa8c - i/3, within 10%; i/3
// through float arithmetic, exact enough for a first guess), four Newton steps
// r <- r (4 - t r^3)/3 that need no division, then t^(1/3) = t r^2.
inline VF4 CbrtLanes(VF4 t) noexcept {
    const VF4 third = __builtin_convertvector(std::bit_cast<VI4>(t), VF4) * (1.0f / 3.0f);
    VF4 r = std::bit_cast<VF4>(0x54a2fa8c - __builtin_convertvector(third, VI4));
    for (int i = 0; i < 4; ++i) r *= (4.0f - t * r * r * r) * (1.0f / 3.0f);
    return t * r * r;
}

// f(t) = t^(1/3) above epsilon, (kappa t + 16)/116 below, per lane.
inline VF4 LabFLanes(VF4 t) noexcept {
    const float eps = float(kLabEpsilon);
    const VF4 cube = CbrtLanes(t > eps ? t : eps);
    const VF4 linear = (float(kLabKappa) * t + 16.0f) * (1.0f / 116.0f);
    return t > eps ? cube : linear;
}

// Error of the float path in byte units: the tables hold X/Xw etc. to float
// precision (3 roundings), the cube root is good to 2 ulps, and L, a, b add a
// few roundings of values up to 256: at most about 4e-4 (a, where 500 scales
// the difference of two cube roots). Pixels closer than this to a byte step
// are recomputed exactly.
constexpr float kStepMargin = 1.5e-3f;

// Each lane of v is safe when it is more than the margin away from the steps
// 1..255 where truncation changes (below 0 and from 256 up the clamp decides);
// a NaN lane fails every comparison and is never safe.
inline VI4 SafeLanes(VF4 v) noexcept {
    const VF4 c = v < 0.5f ? 0.5f : (v > 255.5f ? 255.5f : v);
    const VF4 frac = c - __builtin_convertvector(__builtin_convertvector(c, VI4), VF4);
    const VF4 dist = frac < 0.5f ? frac : 1.0f - frac;
    return (v < 0.5f) | (v > 255.5f) | (dist >= kStepMargin);
}

// Ratios to the white beyond this (far outside any gamut) take the exact path.
constexpr float kFastRatioMax = 1e6f;

// Truncated and clamped byte of each lane (unsafe lanes are recomputed anyway).
inline VI4 ByteLanes(VF4 v) noexcept {
    return __builtin_convertvector(v < 0.0f ? 0.0f : (v > 255.0f ? 255.0f : v), VI4);
}

}  // namespace

namespace {

std::shared_ptr<const SFunctorTables8> BuildGreyTables(const SColorSpecRGB& cs) {
    auto t = BuildLinearTables(cs);
    t->encode.Build(cs);
    return t;
}

std::shared_ptr<const SFunctorTables8> BuildLightnessTables(const SColorSpecRGB& cs) {
    auto t = BuildLinearTables(cs);
    const double* ytol = YtoLTable();
    for (int i = 0; i < kYtoLTableSize; ++i) t->ytolByte[i] = Quantise<uint8_t>(ytol[i]);
    return t;
}

std::shared_ptr<const SFunctorTables8> BuildToLabTables(const SColorSpecRGB& cs) {
    auto t = BuildLinearTables(cs);
    const double white[3] = {t->Xw, t->Yw, t->Zw};
    for (int out = 0; out < 3; ++out)
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) t->labRatio[out][c][i] = float(t->xyz[out][c][i] / white[out]);
    return t;
}

std::shared_ptr<const SFunctorTables8> BuildFromLabTables(const SColorSpecRGB& cs, bool bL100) {
    auto t = std::make_shared<SFunctorTables8>();
    QGDI_ColorSpecWhite(cs, t->Xw, t->Yw, t->Zw);
    t->encode.Build(cs);
    for (int i = 0; i < 256; ++i) {
        // DecodeLab and the L-only half of LabtoXYZ, operation for operation.
        double L, a, b;
        DecodeLab(uint8_t(i), uint8_t(i), uint8_t(i), L, a, b, bL100);
        const double fl = (L + 16.0) / 116.0;
        const double yr = L > 8.0 ? fl * fl * fl : L / kLabKappa;
        t->labFy[i] = yr > kLabEpsilon ? fl : (kLabKappa * yr + 16.0) / 116.0;
        t->labY[i] = yr * t->Yw;
        t->labA[i] = a * 0.002;
        t->labB[i] = b * 0.005;
    }
    return t;
}

}  // namespace

RGBtoGrey8::RGBtoGrey8(const SColorSpecRGB& cs) : CTableFunctor8(cs, false, BuildGreyTables(cs)) {}

void RGBtoGrey8::operator()(const uint8_t* src, uint8_t* dst) const { Row(src, dst, 1); }

void RGBtoGrey8::Row(const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) const {
    const SFunctorTables8& t = *m_tables;
    for (int i = 0; i < count; ++i, src += srcStep, dst += dstStep) dst[0] = t.encode(TableLuminance(t, src));
}

RGBtoL8::RGBtoL8(const SColorSpecRGB& cs) : CTableFunctor8(cs, false, BuildLightnessTables(cs)) {}

void RGBtoL8::operator()(const uint8_t* src, uint8_t* dst) const { Row(src, dst, 1); }

void RGBtoL8::Row(const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) const {
    const SFunctorTables8& t = *m_tables;
    for (int i = 0; i < count; ++i, src += srcStep, dst += dstStep) {
        const double y = TableLuminance(t, src);
        // The same index rule as YtoL; outside the table YtoL computes exactly.
        const double s = y * (kYtoLTableSize - 1);
        dst[0] = (s > -1.0 && s < double(kYtoLTableSize)) ? t.ytolByte[int(s)] : Quantise<uint8_t>(YtoL(y));
    }
}

GreyToL8::GreyToL8(const SColorSpecRGB& cs) : TSpecFunctor(cs) {
    for (int i = 0; i < 256; ++i) {
        const uint8_t in = uint8_t(i);
        RefGreyToL(&in, &m_table[i], cs);
    }
}

void GreyToL8::operator()(const uint8_t* src, uint8_t* dst) const { dst[0] = m_table[src[0]]; }

void GreyToL8::Row(const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) const {
    for (int i = 0; i < count; ++i, src += srcStep, dst += dstStep) dst[0] = m_table[src[0]];
}

CRGBDtoLab8::CRGBDtoLab8(const SColorSpecRGB& cs, bool bL100) : CTableFunctor8(cs, bL100, BuildToLabTables(cs)) {}

namespace {

// The exact doubles of RGBDtoRGBY -> RGBYtoLab -> EncodeLab, from the double tables.
void ExactLab(const SFunctorTables8& t, const uint8_t* p, uint8_t* d, bool bL100) noexcept {
    const uint8_t B = p[0], G = p[1], R = p[2];
    double L, a, b;
    XYZtoLab(t.xyz[0][0][R] + t.xyz[0][1][G] + t.xyz[0][2][B], t.xyz[1][0][R] + t.xyz[1][1][G] + t.xyz[1][2][B],
             t.xyz[2][0][R] + t.xyz[2][1][G] + t.xyz[2][2][B], L, a, b, t.Xw, t.Yw, t.Zw);
    EncodeLab(L, a, b, d[0], d[1], d[2], bL100);
}

}  // namespace

// One pixel alone gains nothing from the four-lane path.
void CRGBDtoLab8::operator()(const uint8_t* src, uint8_t* dst) const { ExactLab(*m_tables, src, dst, m_bL100); }

void CRGBDtoLab8::Row(const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) const {
    const SFunctorTables8& t = *m_tables;
    // Byte scales of EncodeLab: L/s x 255.9999 and (a + 128)/255 x 255.9999.
    const float kL = float(255.9999 / (m_bL100 ? 100.0 : 255.0)), kAB = float(255.9999 / 255.0);
    for (int i = 0; i < count; i += 4) {
        // A short last group repeats its last pixel in the spare lanes.
        const int n = std::min(4, count - i);
        VF4 x, y, z;
        for (int k = 0; k < 4; ++k) {
            const uint8_t* p = src + size_t(i + std::min(k, n - 1)) * srcStep;
            const uint8_t B = p[0], G = p[1], R = p[2];
            x[k] = t.labRatio[0][0][R] + t.labRatio[0][1][G] + t.labRatio[0][2][B];
            y[k] = t.labRatio[1][0][R] + t.labRatio[1][1][G] + t.labRatio[1][2][B];
            z[k] = t.labRatio[2][0][R] + t.labRatio[2][1][G] + t.labRatio[2][2][B];
        }
        const VF4 fx = LabFLanes(x), fy = LabFLanes(y), fz = LabFLanes(z);
        const VF4 vL = (116.0f * fy - 16.0f) * kL;
        const VF4 va = (500.0f * (fx - fy) + 128.0f) * kAB;
        const VF4 vb = (200.0f * (fy - fz) + 128.0f) * kAB;
        const VI4 safe = SafeLanes(vL) & SafeLanes(va) & SafeLanes(vb) & (x < kFastRatioMax) & (y < kFastRatioMax) &
                         (z < kFastRatioMax);
        const VI4 bL = ByteLanes(vL), ba = ByteLanes(va), bb = ByteLanes(vb);
        for (int k = 0; k < n; ++k) {
            uint8_t* d = dst + size_t(i + k) * dstStep;
            if (safe[k]) {
                d[0] = uint8_t(bL[k]);
                d[1] = uint8_t(ba[k]);
                d[2] = uint8_t(bb[k]);
            } else {
                // Next to a step (or NaN, or far out of gamut).
                ExactLab(t, src + size_t(i + k) * srcStep, d, m_bL100);
            }
        }
    }
}

CLabtoRGBD8::CLabtoRGBD8(const SColorSpecRGB& cs, bool bL100)
    : CTableFunctor8(cs, bL100, BuildFromLabTables(cs, bL100)) {}

void CLabtoRGBD8::operator()(const uint8_t* src, uint8_t* dst) const { Row(src, dst, 1); }

void CLabtoRGBD8::Row(const uint8_t* src, uint8_t* dst, int count, int srcStep, int dstStep) const {
    const SFunctorTables8& t = *m_tables;
    const double* mi = m_spec.mXYZtoRGB;
    for (int i = 0; i < count; ++i, src += srcStep, dst += dstStep) {
        const double fy = t.labFy[src[0]];
        const double X = LabFInv(fy + t.labA[src[1]]) * t.Xw;
        const double Y = t.labY[src[0]];
        const double Z = LabFInv(fy - t.labB[src[2]]) * t.Zw;
        dst[2] = t.encode(X * mi[0] + Y * mi[3] + Z * mi[6]);
        dst[1] = t.encode(X * mi[1] + Y * mi[4] + Z * mi[7]);
        dst[0] = t.encode(X * mi[2] + Y * mi[5] + Z * mi[8]);
    }
}
