// Prepared bindings and the span entry point: a bound kernel reads the block
// its binding made and gives the same bytes as the kernel preparing on the
// spot; a span at a constant coverage gives what the whole row gives under a
// mask of that coverage, on direct, converted and widened bindings alike and
// for spans longer than the pieces it runs in.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "QuorRender/internal/RowOpDict.h"
#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

using MakeDef = std::function<std::unique_ptr<CRowOpDef>()>;

template <class Def, class... Args>
MakeDef Make(Args... args) {
    return [=] { return std::unique_ptr<CRowOpDef>(new Def(args...)); };
}

Bytes RandomRow(std::mt19937& rng, EQPixelFormat f, int n) {
    Bytes row = RandomBytes(rng, RowBytes(f, n));
    if (CQPixelFormat(f).IsFloat()) RandomizeFloats(rng, row);
    return row;
}

RGBQUAD* Palette() {
    static RGBQUAD palette[256];
    std::mt19937 rng(5);
    for (auto& q : palette) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
    return palette;
}

// ---- Prepared blocks

struct PreparedKind {
    const char* name;
    const SRowOpDictEntry* (*dict)() noexcept;
    MakeDef make;
};

const PreparedKind kPreparedKinds[] = {
    {"Fill", GetRowFillDict, Make<CRowOpDefRowFill>(0x80C04020u, uint8_t(7))},
    {"MaskOverSolid", GetRowMaskOverSolidDict, Make<CRowOpDefRowMaskOverSolid>(0xB0336699u, uint8_t(200))},
    {"BlendSolid", GetRowBlendSolidDict, Make<CRowOpDefRowBlendSolid>(0x40FF8000u, uint8_t(180))},
    {"BlendIndexed", GetRowBlendIndexedBGRADict, Make<CRowOpDefRowBlendIndexedBGRA>(uint8_t(150))},
    {"ChannelConstant", GetChannelConstantDict, Make<CRowOpDefChannelConstant>(keChannelSetAllButAlpha, 0.3)},
    {"ChannelLinear", GetChannelLinearDict, Make<CRowOpDefChannelLinear>(keChannelSetAll, 1.7, -0.2)},
};

class Prepared : public testing::TestWithParam<PreparedKind> {};

// Every entry of the kind, bound and run, against its kernel called bare.
TEST_P(Prepared, BoundKernelMatchesTheKernelPreparingOnTheSpot) {
    const PreparedKind& kind = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.make();
    std::mt19937 rng(31);
    for (const SRowOpDictEntry* e = kind.dict(); e->pfnKernel; ++e) {
        const auto dstFormat = static_cast<EQPixelFormat>(e->nDstFormat);
        const auto srcFormat = static_cast<EQPixelFormat>(e->nSrcFormat);
        constexpr int n = 45;
        const Bytes in = RandomRow(rng, dstFormat, n);
        const Bytes src = srcFormat != keFormatNone ? RandomRow(rng, srcFormat, n) : Bytes();
        const Bytes mask = RandomBytes(rng, n);
        for (const Bytes* m : {static_cast<const Bytes*>(nullptr), &mask}) {
            Bytes bound = in, bare = in;
            const CRowOp op = RunOp(*def, dstFormat, bound, srcFormat, src.empty() ? nullptr : &src, m, Palette(), 256);
            ASSERT_EQ(op.GetKernel(), e->pfnKernel);
            CRowOpData data;
            data.eDstFormat = dstFormat;
            data.eSrcFormat = srcFormat;
            data.nCount = n;
            data.pDst = bare.data();
            data.pSrc = src.empty() ? nullptr : src.data();
            data.pMask = m ? m->data() : nullptr;
            data.pSrcPalette = data.pDstPalette = Palette();
            data.nSrcPaletteCount = data.nDstPaletteCount = 256;
            e->pfnKernel(*def, data);
            EXPECT_EQ(bound, bare) << kind.name << " " << dstFormat << " <- " << srcFormat << (m ? " masked" : "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Prepared, testing::ValuesIn(kPreparedKinds),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PreparedBlock, BindingHandsItsKernelTheBlockMadeForIt) {
    CRowOpDefRowFill fill(0xFF102030u);
    Bytes row(4 * 9);
    CRowOpData data;
    data.eDstFormat = keFormatBGRA;
    data.nCount = 9;
    data.pDst = row.data();
    const CRowOp op(&fill, data);
    op(data);
    ASSERT_NE(op.GetPrepared(), nullptr);
    EXPECT_TRUE(op.GetPrepared()->IsFor(fill, keFormatBGRA, keFormatNone));
    EXPECT_EQ(data.pPrepared, nullptr);  // the caller's record is given back as it was
}

TEST(PreparedBlock, KernelIgnoresABlockMadeForAnotherDefinition) {
    CRowOpDefRowFill red(0xFF0000FFu), blue(0xFFFF0000u);
    Bytes row(4 * 5);
    CRowOpData data;
    data.eDstFormat = keFormatBGRA;
    data.nCount = 5;
    data.pDst = row.data();
    const CRowOp op(&red, data);
    ASSERT_NE(op.GetPrepared(), nullptr);
    // A record carrying red's block: blue's kernel must not use it.
    data.pPrepared = op.GetPrepared();
    GetRowFillDict()[3].pfnKernel(blue, data);
    ASSERT_EQ(GetRowFillDict()[3].nDstFormat, keFormatBGRA);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(row[4 * i], 255) << i;  // blue, stored first
}

TEST(PreparedBlock, CopiesOfABindingShareItsBlock) {
    CRowOpDefRowMaskOverSolid over(0x80FFFFFFu);
    CRowOpData data;
    data.eDstFormat = keFormatBGRA;
    const CRowOp op(&over, data);
    const CRowOp copy = op;
    Bytes a(4 * 3, 10), b = a;
    data.nCount = 3;
    data.pDst = a.data();
    op(data);
    data.pDst = b.data();
    copy(data);
    EXPECT_EQ(copy.GetPrepared(), op.GetPrepared());
    EXPECT_EQ(a, b);
}

// Fills whose whole extent passes the cache size store around the cache: the
// same bytes at every alignment and pixel size, nothing outside the row.
TEST(StreamingFill, WritesTheSameBytesAsTheCachedFill) {
    CRowOpDefRowFill fill(0x9F3366CCu, uint8_t(42));
    for (const SRowOpDictEntry* e = GetRowFillDict(); e->pfnKernel; ++e) {
        const auto format = static_cast<EQPixelFormat>(e->nDstFormat);
        for (int misalign = 0; misalign < 16; ++misalign)
            for (int n : {1, 3, 17, 64, 333}) {
                constexpr int kGuard = 64;
                const size_t bytes = RowBytes(format, n);
                Bytes cached(bytes + 2 * kGuard + 16, 0xA5), streamed = cached;
                for (Bytes* row : {&cached, &streamed}) {
                    CRowOpData data;
                    data.eDstFormat = format;
                    data.nCount = n;
                    data.pDst = row->data() + kGuard + misalign;
                    data.nImageWidth = n;
                    data.nImageHeight = row == &streamed ? 1 << 30 : 1;
                    CRowOp(&fill, data)(data);
                }
                ASSERT_EQ(streamed, cached) << format << " misaligned by " << misalign << ", " << n << " pixels";
            }
    }
}

// ---- Spans

struct SpanCase {
    const char* name;
    MakeDef make;
    EQPixelFormat dst;
    EQPixelFormat src;
};

const SpanCase kSpanCases[] = {
    {"FillBGRA", Make<CRowOpDefRowFill>(0xFF3366CCu), keFormatBGRA, keFormatNone},
    {"FillBGR", Make<CRowOpDefRowFill>(0xFF3366CCu), keFormatBGR, keFormatNone},
    {"FillGreyU16", Make<CRowOpDefRowFill>(0xFF3366CCu), keFormatGrey_u16, keFormatNone},
    {"FillConvertedBGRf32", Make<CRowOpDefRowFill>(0xFF3366CCu), keFormatBGR_f32, keFormatNone},
    {"FillWidenedIndex4", Make<CRowOpDefRowFill>(0xFF3366CCu, uint8_t(9)), keFormatIndex4, keFormatNone},
    {"OverBGRA", Make<CRowOpDefRowMaskOverSolid>(0xC0204080u), keFormatBGRA, keFormatNone},
    {"OverBGRxA", Make<CRowOpDefRowMaskOverSolid>(0xC0204080u, uint8_t(99)), keFormatBGRxA, keFormatNone},
    {"OverBGRAu16", Make<CRowOpDefRowMaskOverSolid>(0xC0204080u), keFormatBGRA_u16, keFormatNone},
    {"OverConvertedGreyU16", Make<CRowOpDefRowMaskOverSolid>(0xC0204080u), keFormatGrey_u16, keFormatNone},
    {"BlendSolidF32", Make<CRowOpDefRowBlendSolid>(0x80FF00FFu), keFormatBGRA_f32, keFormatNone},
    {"EraseBGRxA", Make<CRowOpDefRowErase>(uint8_t(230)), keFormatBGRxA, keFormatNone},
    {"BlendIndexed", Make<CRowOpDefRowBlendIndexedBGRA>(uint8_t(255)), keFormatBGRA, keFormatIndex8},
    {"CopyBGRAfromBGR", Make<CRowOpDefRowCopy>(), keFormatBGRA, keFormatBGR},
    {"InvertBGR", Make<CRowOpDefRowInvert>(), keFormatBGR, keFormatNone},
};

struct SpanParam {
    SpanCase kind;
    int start;
    int length;
};

std::vector<SpanParam> SpanParams() {
    std::vector<SpanParam> out;
    for (const SpanCase& c : kSpanCases)
        for (int start : {0, 8})
            for (int length : {1, 2, 7, 31, 32, 33, 64, 65, 150}) out.push_back({c, start, length});
    return out;
}

class Span : public testing::TestWithParam<SpanParam> {};

TEST_P(Span, ConstantCoverageEqualsAMaskOfThatCoverage) {
    const auto& [kind, start, length] = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.make();
    constexpr int kRow = 160;
    std::mt19937 rng(static_cast<uint32_t>(start * 1000 + length));
    const Bytes in = RandomRow(rng, kind.dst, kRow);
    const Bytes src = kind.src != keFormatNone ? RandomRow(rng, kind.src, kRow) : Bytes();
    CRowOpData data;
    data.eDstFormat = kind.dst;
    data.eSrcFormat = kind.src;
    data.pSrcPalette = data.pDstPalette = Palette();
    data.nSrcPaletteCount = data.nDstPaletteCount = 256;
    const CRowOp op(def.get(), data);
    ASSERT_FALSE(op.IsNOP()) << kind.name;
    const size_t dstAt = RowBytes(kind.dst, start), srcAt = RowBytes(kind.src, start);
    for (int coverage : {0, 1, 77, 128, 254, 255}) {
        // The reference: the same pixels run under a mask of that coverage
        // (full coverage: the plain kernel, no mask at all; none: nothing,
        // not even a converted binding's round trip).
        Bytes whole = in;
        const Bytes mask(length, static_cast<uint8_t>(coverage));
        data.nCount = length;
        data.x = start;
        data.pDst = whole.data() + dstAt;
        data.pSrc = src.empty() ? nullptr : src.data() + srcAt;
        data.pMask = coverage == 255 ? nullptr : mask.data();
        if (coverage != 0) op(data);

        Bytes spanned = in;
        data.nCount = length;
        data.x = start;
        data.pDst = spanned.data() + dstAt;
        data.pSrc = src.empty() ? nullptr : src.data() + srcAt;
        data.pMask = nullptr;
        ASSERT_FALSE(op.Span(data, static_cast<uint8_t>(coverage)).IsError());
        ASSERT_EQ(spanned, whole) << kind.name << " coverage " << coverage;
    }
}

TEST_P(Span, MaskedSpanEqualsTheWholeRowOverTheSpan) {
    const auto& [kind, start, length] = GetParam();
    const std::unique_ptr<CRowOpDef> def = kind.make();
    constexpr int kRow = 160;
    std::mt19937 rng(static_cast<uint32_t>(7 + start * 1000 + length));
    const Bytes in = RandomRow(rng, kind.dst, kRow);
    const Bytes src = kind.src != keFormatNone ? RandomRow(rng, kind.src, kRow) : Bytes();
    Bytes mask(kRow, 0);
    const Bytes coverage = RandomBytes(rng, length);
    std::copy(coverage.begin(), coverage.end(), mask.begin() + start);
    Bytes whole = in, spanned = in;
    const CRowOp op = RunOp(*def, kind.dst, whole, kind.src, src.empty() ? nullptr : &src, &mask, Palette(), 256);
    CRowOpData data;
    data.eDstFormat = kind.dst;
    data.eSrcFormat = kind.src;
    data.pSrcPalette = data.pDstPalette = Palette();
    data.nSrcPaletteCount = data.nDstPaletteCount = 256;
    data.nCount = length;
    data.x = start;
    data.pDst = spanned.data() + RowBytes(kind.dst, start);
    data.pSrc = src.empty() ? nullptr : src.data() + RowBytes(kind.src, start);
    ASSERT_FALSE(op.SpanMasked(data, coverage.data()).IsError());
    // The span's bytes as the whole row has them; the rest untouched (a
    // converted whole row also takes its zero-coverage pixels through the
    // intermediate format and back, which may round them).
    const size_t from = RowBytes(kind.dst, start), to = RowBytes(kind.dst, start + length);
    EXPECT_TRUE(std::equal(spanned.begin() + from, spanned.begin() + to, whole.begin() + from)) << kind.name;
    EXPECT_TRUE(std::equal(spanned.begin(), spanned.begin() + from, in.begin()) &&
                std::equal(spanned.begin() + to, spanned.end(), in.begin() + to))
        << kind.name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, Span, testing::ValuesIn(SpanParams()), [](const auto& info) {
    return std::string(info.param.kind.name) + "_at" + std::to_string(info.param.start) + "_len" +
           std::to_string(info.param.length);
});

}  // namespace
