// The compositing operators against their algebraic definitions on
// premultiplied colour in double, the identities users lean on, and every
// target against the baseline.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/CpuDispatch.h"
#include "qgdi.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Fa and Fb of result = s Fa + d Fb, as functions of the two alphas.
struct SFactors {
    double (*fa)(double sa, double da);
    double (*fb)(double sa, double da);
};

SFactors FactorsOf(int op) {
    auto zero = [](double, double) { return 0.0; };
    auto one = [](double, double) { return 1.0; };
    auto dA = [](double, double da) { return da; };
    auto nDA = [](double, double da) { return 1 - da; };
    auto sA = [](double sa, double) { return sa; };
    auto nSA = [](double sa, double) { return 1 - sa; };
    switch (op) {
    case keCompositeClear: return {zero, zero};
    case keCompositeSource: return {one, zero};
    case keCompositeDestination: return {zero, one};
    case keCompositeOver: return {one, nSA};
    case keCompositeDestinationOver: return {nDA, one};
    case keCompositeIn: return {dA, zero};
    case keCompositeDestinationIn: return {zero, sA};
    case keCompositeOut: return {nDA, zero};
    case keCompositeDestinationOut: return {zero, nSA};
    case keCompositeAtop: return {dA, nSA};
    case keCompositeDestinationAtop: return {nDA, sA};
    case keCompositeXor: return {nDA, nSA};
    default: return {one, one};  // lighter, clamped below
    }
}

// A premultiplied BGRxA row: colour at most its alpha, corners favoured.
Bytes PremultipliedRow(std::mt19937& rng, int n) {
    Bytes row(size_t(n) * 4);
    for (int i = 0; i < n; ++i) {
        const uint32_t r = rng();
        const int a = (r & 3) == 0 ? 0 : (r & 3) == 1 ? 255 : int(r >> 8) & 255;
        for (int c = 0; c < 3; ++c) row[4 * i + c] = uint8_t(a ? rng() % (a + 1) : 0);
        row[4 * i + 3] = uint8_t(a);
    }
    return row;
}

void Composite(const CRowOpDef& def, EQPixelFormat f, Bytes& dst, const Bytes& src, int n,
               const uint8_t* mask = nullptr) {
    CRowOpData data;
    data.eDstFormat = data.eSrcFormat = f;
    data.nCount = n;
    data.pDst = dst.data();
    data.pSrc = src.data();
    data.pMask = mask;
    CRowOp op(&def, data);
    op(data);
}

class EveryOperator : public testing::TestWithParam<int> {};

TEST_P(EveryOperator, FollowsItsDefinition) {
    const int op = GetParam();
    const SFactors f = FactorsOf(op);
    std::mt19937 rng(0xC0u + op);
    for (int opacity : {255, 143}) {
        const int n = 500;
        const Bytes src = PremultipliedRow(rng, n), before = PremultipliedRow(rng, n);
        Bytes dst = before;
        Composite(CRowOpDefRowBlend(EQCompositeOp(op), uint8_t(opacity)), keFormatBGRxA, dst, src, n);
        for (int i = 0; i < n; ++i) {
            const double o = opacity / 255.0, sa = src[4 * i + 3] / 255.0 * o, da = before[4 * i + 3] / 255.0;
            for (int c = 0; c < 4; ++c) {
                const double s = src[4 * i + c] / 255.0 * o, d = before[4 * i + c] / 255.0;
                const double want = std::min(1.0, s * f.fa(sa, da) + d * f.fb(sa, da)) * 255;
                // an opacity below full rounds the source once more before the operator does
                ASSERT_NEAR(dst[4 * i + c], want, opacity == 255 ? 1.0 : 1.5)
                    << "pixel " << i << " channel " << c << " opacity " << opacity;
            }
        }
    }
}

// Straight and 16-bit rows give what the premultiplied 8-bit row gives, up
// to the precision straight colour keeps under a small alpha.
TEST_P(EveryOperator, FormatsAgree) {
    const int op = GetParam();
    std::mt19937 rng(0xF0u + op);
    const int n = 300;
    const Bytes src = PremultipliedRow(rng, n), before = PremultipliedRow(rng, n);
    Bytes ref = before;
    const CRowOpDefRowBlend def{EQCompositeOp(op), 200};
    Composite(def, keFormatBGRxA, ref, src, n);
    auto widen = [](const Bytes& b) {
        Bytes w(b.size() * 2);
        for (size_t i = 0; i < b.size(); ++i) {
            const uint16_t v = uint16_t(b[i] * 257);
            std::memcpy(&w[2 * i], &v, 2);
        }
        return w;
    };
    Bytes wide = widen(before);
    Composite(def, keFormatBGRxA_u16, wide, widen(src), n);
    for (size_t i = 0; i < ref.size(); ++i) {
        uint16_t v;
        std::memcpy(&v, &wide[2 * i], 2);
        ASSERT_NEAR(v / 257.0, ref[i], 1.5) << "element " << i;  // the 8-bit row rounds twice
    }
    // the same pixels as straight colour
    auto straight = [](const Bytes& p) {
        Bytes s = p;
        for (size_t i = 0; i < p.size(); i += 4)
            for (int c = 0; c < 3; ++c)
                s[i + c] = p[i + 3] ? uint8_t(std::min(255, (p[i + c] * 255 + p[i + 3] / 2) / p[i + 3])) : 0;
        return s;
    };
    Bytes str = straight(before);
    Composite(def, keFormatBGRA, str, straight(src), n);
    for (int i = 0; i < n; ++i) {
        ASSERT_NEAR(str[4 * i + 3], ref[4 * i + 3], 1) << "alpha of pixel " << i;
        for (int c = 0; c < 3; ++c)
            ASSERT_NEAR(str[4 * i + c] * str[4 * i + 3] / 255.0, ref[4 * i + c], 2.0) << "pixel " << i;
    }
}

TEST_P(EveryOperator, TargetsMatchBaseline) {
    using qgdi::dispatch::ETarget;
    const int op = GetParam();
    auto dictOf = [op](ETarget t) {
        EXPECT_TRUE(qgdi::dispatch::SetTargetForTesting(t));
        const SRowOpDictEntry* d = RoeLookUpBlendDictionary(EQCompositeOp(op));
        qgdi::dispatch::ResetTargetForTesting();
        return d;
    };
    const SRowOpDictEntry* base = dictOf(ETarget::kBaseline);
    std::mt19937 rng(0x5EEDu + op);
    int compared = 0;
    for (ETarget t : {ETarget::kAVX2, ETarget::kAVX512}) {
        if (!qgdi::dispatch::IsSupported(t) || !qgdi::dispatch::IsBuilt(t)) continue;
        const SRowOpDictEntry* wide = dictOf(t);
        const CRowOpDefRowBlend def{EQCompositeOp(op), 211};
        for (int e = 0; base[e].pfnKernel; ++e) {
            const auto f = EQPixelFormat(base[e].nDstFormat);
            const size_t bpp = CQPixelFormat(f).GetBitsPerPixel() / 8;
            for (int n : {1, 5, 33, 67})
                for (bool masked : {false, true}) {
                    Bytes src(bpp * n + 2), mask(static_cast<size_t>(n), 0);
                    for (auto& b : src) b = uint8_t(rng() & 1 ? rng() : (rng() & 1) * 255);
                    for (auto& b : mask) b = uint8_t(rng());
                    Bytes out[2] = {src, src};
                    for (auto& b : out[0]) b = uint8_t(rng());
                    out[1] = out[0];
                    const QRowOpFn fns[2] = {base[e].pfnKernel, wide[e].pfnKernel};
                    for (int k = 0; k < 2; ++k) {
                        CRowOpData data;
                        data.eDstFormat = data.eSrcFormat = f;
                        data.nCount = n;
                        data.pDst = out[k].data() + 2;
                        data.pSrc = src.data() + 2;
                        data.pMask = masked ? mask.data() : nullptr;
                        fns[k](def, data);
                    }
                    ASSERT_EQ(out[0], out[1]) << CQPixelFormat(f).GetFormatAsString() << " n " << n;
                    ++compared;
                }
        }
    }
    if (!compared) GTEST_SKIP() << "the baseline kernels only";
}

INSTANTIATE_TEST_SUITE_P(Operators, EveryOperator, testing::Range(0, int(keCompositeOpCount)),
                         [](const testing::TestParamInfo<int>& info) {
                             std::string s = QGDI_GetCompositeOpName(info.param);
                             std::replace(s.begin(), s.end(), '-', '_');
                             return s;
                         });

TEST(CompositeOps, Identities) {
    std::mt19937 rng(42);
    const int n = 200;
    const Bytes src = PremultipliedRow(rng, n);
    // source-over onto transparent gives the source
    Bytes clear(size_t(n) * 4, 0);
    Composite(CRowOpDefRowBlend(keCompositeOver), keFormatBGRxA, clear, src, n);
    EXPECT_EQ(clear, src);
    // destination-in with an opaque source gives the destination
    Bytes opaque = PremultipliedRow(rng, n);
    for (int i = 0; i < n; ++i) opaque[4 * i + 3] = 255;
    const Bytes before = PremultipliedRow(rng, n);
    Bytes dst = before;
    Composite(CRowOpDefRowBlend(keCompositeDestinationIn), keFormatBGRxA, dst, opaque, n);
    EXPECT_EQ(dst, before);
    // clear empties, destination keeps
    dst = before;
    Composite(CRowOpDefRowBlend(keCompositeClear), keFormatBGRxA, dst, src, n);
    EXPECT_EQ(dst, Bytes(size_t(n) * 4, 0));
    dst = before;
    Composite(CRowOpDefRowBlend(keCompositeDestination), keFormatBGRxA, dst, src, n);
    EXPECT_EQ(dst, before);
    // a mask of zeros leaves everything, even under clear
    dst = before;
    const Bytes zeros(n, 0);
    Composite(CRowOpDefRowBlend(keCompositeClear), keFormatBGRxA, dst, src, n, zeros.data());
    EXPECT_EQ(dst, before);
    // names round-trip
    for (int op = 0; op < keCompositeOpCount; ++op) {
        EQCompositeOp back;
        ASSERT_TRUE(QGDI_FindCompositeOp(QGDI_GetCompositeOpName(op), back));
        EXPECT_EQ(back, op);
    }
    EXPECT_EQ(QGDI_GetCompositeOpName(keCompositeOpCount), nullptr);
    EXPECT_EQ(RoeLookUpBlendDictionary(EQCompositeOp(-1)), nullptr);
}

}  // namespace
