// Every compilation of the kernels against the baseline one, bit for bit: each
// entry of each dictionary on hostile rows (bytes biased to 0 and 255, floats
// outside 0..1, infinities and NaN), every width from 1 to 67 so that vector
// bodies and every tail length show, rows starting off the vector alignment,
// with and without a coverage mask.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "QuorRender/internal/RowOpRegistry.h"
#include "platform/CpuDispatch.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "rowops/rowops_test_util.h"

namespace {

using namespace qgdi::test;
using qgdi::dispatch::ETarget;

using qgdi::rowop::KindSamples;
using qgdi::rowop::SKindSample;

constexpr int kGuard = 64;
constexpr uint8_t kGuardByte = 0xA5;

// Floats a kernel may meet: mostly 0..1, some beyond, a few infinities and NaN.
void HostileFloats(std::mt19937& rng, uint8_t* bytes, size_t n) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    const float special[] = {
        0.0f, 1.0f, -0.0f, -1e-30f, 1.0000001f, 65535.0f, -kInf, kInf, std::numeric_limits<float>::quiet_NaN()};
    std::uniform_real_distribution<float> u(-0.5f, 1.5f);
    for (size_t i = 0; i < n / 4; ++i) {
        const uint32_t r = rng();
        const float v = (r & 15) < 3 ? special[(r >> 4) % std::size(special)] : u(rng);
        std::memcpy(bytes + 4 * i, &v, 4);
    }
}

// A row of `n` pixels at byte `offset` into a guarded buffer.
Bytes HostileRow(std::mt19937& rng, EQPixelFormat f, int n, size_t offset) {
    Bytes row(RowBytes(f, n) + 2 * kGuard, kGuardByte);
    const Bytes body = RandomBytes(rng, RowBytes(f, n));
    std::copy(body.begin(), body.end(), row.begin() + kGuard + offset);
    if (CQPixelFormat(f).IsFloat()) HostileFloats(rng, row.data() + kGuard + offset, body.size());
    return row;
}

// Bit for bit, except that in float rows any NaN matches any NaN: which
// operand's NaN an x86 operation passes on (and so its sign) depends on the
// operand order, which the vectoriser may swap in a commutative operation.
// A NaN stays a NaN in every target; no other bit may differ.
testing::AssertionResult SameResult(const Bytes& base, const Bytes& wide, bool floats) {
    if (base == wide) return testing::AssertionSuccess();
    for (size_t b = 0; b < base.size(); ++b) {
        if (base[b] == wide[b]) continue;
        const size_t at = b & ~size_t(3);
        if (floats && at + 4 <= base.size()) {
            float x, y;
            std::memcpy(&x, &base[at], 4);
            std::memcpy(&y, &wide[at], 4);
            if (std::isnan(x) && std::isnan(y)) {
                b = at + 3;
                continue;
            }
        }
        return testing::AssertionFailure()
               << "byte " << b << ": " << int(wide[b]) << " where the baseline has " << int(base[b]);
    }
    return testing::AssertionSuccess();
}

// The target's own dictionary of a kind.
const SRowOpDictEntry* DictOf(const SKindSample& kind, ETarget target) {
    EXPECT_TRUE(qgdi::dispatch::SetTargetForTesting(target));
    const SRowOpDictEntry* dict = kind.getDict();
    qgdi::dispatch::ResetTargetForTesting();
    return dict;
}

std::vector<ETarget> WideTargets() {
    std::vector<ETarget> out;
    for (ETarget t : {ETarget::kAVX2, ETarget::kAVX512})
        if (qgdi::dispatch::IsSupported(t)) out.push_back(t);
    return out;
}

class TargetsMatchBaseline : public testing::TestWithParam<SKindSample> {};

TEST_P(TargetsMatchBaseline, EveryEntryBitForBit) {
    const SKindSample& kind = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.makeSample();
    const SRowOpDictEntry* base = DictOf(kind, ETarget::kBaseline);
    if (WideTargets().empty()) GTEST_SKIP() << "this processor runs the baseline kernels only";
    RGBQUAD palette[256];
    for (ETarget target : WideTargets()) {
        const SRowOpDictEntry* wide = DictOf(kind, target);
        if (kind.getDict != GetNOPDict) {
            ASSERT_NE(wide, base) << "the " << qgdi::dispatch::TargetName(target) << " pass has its own dictionary";
        }
        std::mt19937 rng(0xD15Bu + static_cast<unsigned>(target));
        for (auto& q : palette) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
        size_t i = 0;
        for (; base[i].pfnKernel; ++i) {
            ASSERT_TRUE(wide[i].pfnKernel) << "fewer entries";
            ASSERT_EQ(wide[i].nDstFormat, base[i].nDstFormat);
            ASSERT_EQ(wide[i].nSrcFormat, base[i].nSrcFormat);
            ASSERT_EQ(wide[i].nVariant, keRoVariantPlain);
            const auto dstFormat = static_cast<EQPixelFormat>(base[i].nDstFormat);
            const auto srcFormat = static_cast<EQPixelFormat>(base[i].nSrcFormat);
            // Offsets of whole elements keep each element aligned but move the
            // row off the vector alignment (packed indices move by whole bytes).
            const size_t elem = std::max(1, CQPixelFormat(dstFormat).GetBitsPerPixel() / 8 /
                                                std::max(1, CQPixelFormat(dstFormat).GetChannelCount()));
            for (int n = 1; n <= 67; ++n)
                for (size_t offset : {size_t(0), elem, 3 * elem})
                    for (bool masked : {false, true}) {
                        const Bytes dstIn = HostileRow(rng, dstFormat, n, offset);
                        const Bytes src = srcFormat != keFormatNone ? HostileRow(rng, srcFormat, n, offset) : Bytes();
                        const Bytes mask = RandomBytes(rng, size_t(n) + offset);
                        Bytes out[2] = {dstIn, dstIn};
                        const QRowOpFn kernels[2] = {base[i].pfnKernel, wide[i].pfnKernel};
                        for (int k = 0; k < 2; ++k) {
                            CRowOpData data;
                            data.eDstFormat = dstFormat;
                            data.eSrcFormat = srcFormat;
                            data.nCount = n;
                            data.pDst = out[k].data() + kGuard + offset;
                            data.pSrc = src.empty() ? nullptr : src.data() + kGuard + offset;
                            data.pMask = masked ? mask.data() + offset : nullptr;
                            data.pDstPalette = data.pSrcPalette = palette;
                            data.nDstPaletteCount = data.nSrcPaletteCount = 256;
                            data.x = 37;
                            data.y = n;
                            kernels[k](*def, data);
                        }
                        ASSERT_TRUE(SameResult(out[0], out[1], CQPixelFormat(dstFormat).IsFloat()))
                            << kind.name << " " << CQPixelFormat(dstFormat).GetFormatAsString() << " <- "
                            << CQPixelFormat(srcFormat).GetFormatAsString() << ", "
                            << qgdi::dispatch::TargetName(target) << ", n = " << n << ", offset " << offset
                            << (masked ? ", masked" : "");
                    }
        }
        ASSERT_FALSE(wide[i].pfnKernel) << "more entries";
    }
}

INSTANTIATE_TEST_SUITE_P(AllKinds, TargetsMatchBaseline, testing::ValuesIn(KindSamples().begin(), KindSamples().end()),
                         [](const auto& info) { return std::string(info.param.name); });

// The iterator's converters between every two pixel formats, the same way.
TEST(TargetsMatchBaselineConverters, EveryPairBitForBit) {
    if (WideTargets().empty()) GTEST_SKIP() << "this processor runs the baseline kernels only";
    std::mt19937 rng(0xC0417u);
    RGBQUAD palette[256];
    for (auto& q : palette) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    int pairs = 0;
    for (ETarget target : WideTargets())
        for (int from = keFormatIndex1; from <= keFormatLast; ++from)
            for (int to = keFormatIndex1; to <= keFormatLast; ++to) {
                const auto f = static_cast<EQPixelFormat>(from), t = static_cast<EQPixelFormat>(to);
                ASSERT_TRUE(qgdi::dispatch::SetTargetForTesting(ETarget::kBaseline));
                const QRowConvertFn base = CRowIteratorBands::FindConverter(f, t);
                ASSERT_TRUE(qgdi::dispatch::SetTargetForTesting(target));
                const QRowConvertFn wide = CRowIteratorBands::FindConverter(f, t);
                qgdi::dispatch::ResetTargetForTesting();
                ASSERT_EQ(!base, !wide);
                if (!base) continue;
                ++pairs;
                for (int n : {1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 63, 64, 65, 67})
                    for (size_t offset : {size_t(0), size_t(4)}) {
                        const Bytes src = HostileRow(rng, f, n, offset);
                        const Bytes dstIn = HostileRow(rng, t, n, offset);
                        Bytes out[2] = {dstIn, dstIn};
                        const QRowConvertFn fns[2] = {base, wide};
                        SQRowConvertContext ctx;
                        ctx.palette = palette;
                        ctx.paletteCount = 256;
                        for (int k = 0; k < 2; ++k)
                            fns[k](out[k].data() + kGuard + offset, src.data() + kGuard + offset, n, ctx);
                        ASSERT_TRUE(SameResult(out[0], out[1], CQPixelFormat(t).IsFloat()))
                            << CQPixelFormat(t).GetFormatAsString() << " <- " << CQPixelFormat(f).GetFormatAsString()
                            << ", " << qgdi::dispatch::TargetName(target) << ", n = " << n << ", offset " << offset;
                    }
            }
    EXPECT_GT(pairs, 300);
}

TEST(KernelTarget, ChoiceAndTestHook) {
    using namespace qgdi::dispatch;
    EXPECT_TRUE(IsBuilt(ETarget::kBaseline));
    EXPECT_TRUE(IsSupported(ETarget::kBaseline));
    const ETarget start = ActiveTarget();
    EXPECT_TRUE(IsSupported(start));
    EXPECT_STREQ(QGDI_GetKernelTarget(), TargetName(start));
    // Without QGDI_CPU the widest supported target is chosen.
    if (!std::getenv("QGDI_CPU")) {
        for (int t = int(start) + 1; t < kTargetCount; ++t)
            EXPECT_FALSE(IsSupported(ETarget(t))) << TargetName(ETarget(t));
    }
    ASSERT_TRUE(SetTargetForTesting(ETarget::kBaseline));
    EXPECT_EQ(ActiveTarget(), ETarget::kBaseline);
    for (int t = 0; t < kTargetCount; ++t)
        EXPECT_EQ(SetTargetForTesting(ETarget(t)), IsSupported(ETarget(t))) << TargetName(ETarget(t));
    ResetTargetForTesting();
    EXPECT_EQ(ActiveTarget(), start);
    EXPECT_STREQ(TargetName(ETarget(7)), "unknown");
}

// QGDI_CPU is read once, at the first choice, so each case runs in a fresh
// process: the death-test machinery re-executes this program.
TEST(KernelTargetEnvironment, CapsTheChoice) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    using namespace qgdi::dispatch;
    struct Case {
        const char* value;
        ETarget expected;
    };
    ETarget widest = ETarget::kBaseline;
    for (int t = 0; t < kTargetCount; ++t)
        if (IsSupported(ETarget(t))) widest = ETarget(t);
    const Case cases[] = {
        {"baseline", ETarget::kBaseline},
        {"avx2", IsSupported(ETarget::kAVX2) ? ETarget::kAVX2 : widest},
        {"avx512", widest},
        {"sse9", widest},  // unknown words are logged and ignored
        {"", widest},
    };
    for (const Case& c : cases) {
        setenv("QGDI_CPU", c.value, 1);
        EXPECT_EXIT(std::exit(int(ActiveTarget())), testing::ExitedWithCode(int(c.expected)), "") << c.value;
    }
    unsetenv("QGDI_CPU");
}

}  // namespace
