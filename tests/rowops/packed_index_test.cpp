// 1- and 4-bit palette rows served by the kernels of 8-bit indices: the
// result must be what the same operation does to an 8-bit copy of the row.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

int Bits(EQPixelFormat f) { return CQPixelFormat(f).GetBitsPerPixel(); }

// Written bit by bit, independently of the library's packers; the first pixel
// sits in the high bits.
Bytes Pack(const Bytes& indices, EQPixelFormat f, uint8_t filler) {
    const int bits = Bits(f);
    if (bits == 8) return indices;
    Bytes row(RowBytes(f, static_cast<int>(indices.size())), filler);
    for (size_t i = 0; i < indices.size(); ++i)
        for (int b = 0; b < bits; ++b) {
            const size_t bit = i * bits + b;
            const uint8_t mask = static_cast<uint8_t>(0x80u >> (bit & 7));
            if ((indices[i] >> (bits - 1 - b)) & 1) row[bit >> 3] |= mask;
            else row[bit >> 3] &= static_cast<uint8_t>(~mask);
        }
    return row;
}

Bytes Unpack(const Bytes& row, EQPixelFormat f, size_t n) {
    const int bits = Bits(f);
    if (bits == 8) return Bytes(row.begin(), row.begin() + n);
    Bytes out(n);
    for (size_t i = 0; i < n; ++i)
        for (int b = 0; b < bits; ++b) {
            const size_t bit = i * bits + b;
            out[i] = static_cast<uint8_t>((out[i] << 1) | ((row[bit >> 3] >> (7 - (bit & 7))) & 1));
        }
    return out;
}

enum class ESource { kNone, kSame, kIndex8 };

struct PackedCase {
    const char* name;
    std::function<std::unique_ptr<CRowOpDef>(int maxIndex)> make;
    ESource source;
    bool masked;
};

class PackedIndex : public testing::TestWithParam<std::tuple<PackedCase, EQPixelFormat>> {};

TEST_P(PackedIndex, MatchesTheEightBitRow) {
    const auto& [c, format] = GetParam();
    const int maxIndex = (1 << Bits(format)) - 1;
    const std::unique_ptr<CRowOpDef> def = c.make(maxIndex);
    std::mt19937 rng(1234u + Bits(format));
    // An odd count leaves a partial last byte whose spare bits must survive.
    constexpr int kCount = 45;
    Bytes dstIdx(kCount), srcIdx(kCount);
    for (auto& v : dstIdx) v = static_cast<uint8_t>(rng() % (maxIndex + 1));
    for (auto& v : srcIdx) v = static_cast<uint8_t>(rng() % (maxIndex + 1));
    const Bytes mask = RandomBytes(rng, kCount);
    RGBQUAD palette[256] = {};
    for (int i = 0; i < 256; ++i) palette[i] = RGBQUAD{uint8_t(i), uint8_t(255 - i), uint8_t(i * 7), 0};

    const EQPixelFormat srcFormat = c.source == ESource::kNone   ? keFormatNone
                                    : c.source == ESource::kSame ? format
                                                                 : keFormatIndex8;
    Bytes packed = Pack(dstIdx, format, 0xA5), wide = dstIdx;
    const Bytes packedSrc = srcFormat == keFormatNone ? Bytes{} : Pack(srcIdx, srcFormat, 0x5A);
    const Bytes* maskRow = c.masked ? &mask : nullptr;
    const CRowOp op = RunOp(*def, format, packed, srcFormat, srcFormat == keFormatNone ? nullptr : &packedSrc, maskRow,
                            palette, maxIndex + 1, kCount);
    RunOp(*def, keFormatIndex8, wide, srcFormat == keFormatNone ? keFormatNone : keFormatIndex8,
          srcFormat == keFormatNone ? nullptr : &srcIdx, maskRow, palette, maxIndex + 1, kCount);

    EXPECT_FALSE(op.IsNOP());
    EXPECT_EQ(Unpack(packed, format, kCount), wide);
    const size_t usedBits = size_t(kCount) * Bits(format);
    if (usedBits % 8) {
        const uint8_t spare = static_cast<uint8_t>(0xFFu >> (usedBits % 8));
        EXPECT_EQ(packed.back() & spare, 0xA5 & spare);
    }
}

const PackedCase kPackedCases[] = {
    {"Fill", [](int maxIndex) { return std::make_unique<CRowOpDefRowFill>(0xFF000000u, uint8_t(maxIndex)); },
     ESource::kNone, false},
    {"FillMasked",
     [](int maxIndex) { return std::make_unique<CRowOpDefRowFill>(0xFF000000u, uint8_t(maxIndex / 2 + 1)); },
     ESource::kNone, true},
    {"TransparentCopy", [](int) { return std::make_unique<CRowOpDefRowCopyPalettedWithTransparencyIndex>(1); },
     ESource::kSame, false},
    {"TransparentCopyMasked", [](int) { return std::make_unique<CRowOpDefRowCopyPalettedWithTransparencyIndex>(0); },
     ESource::kSame, true},
    {"TransparentCopyFromIndex8",
     [](int) { return std::make_unique<CRowOpDefRowCopyPalettedWithTransparencyIndex>(1); }, ESource::kIndex8, false},
    {"IndexCopyMasked", [](int) { return std::make_unique<CRowOpDefRowCopyIndexed>(); }, ESource::kSame, true},
};

INSTANTIATE_TEST_SUITE_P(Kinds, PackedIndex,
                         testing::Combine(testing::ValuesIn(kPackedCases),
                                          testing::Values(keFormatIndex1, keFormatIndex4, keFormatIndex8)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) + "_Index" +
                                    std::to_string(Bits(std::get<1>(info.param)));
                         });

// A packed source alone: the 8-bit destination reads the unpacked indices.
TEST(PackedIndexSource, TransparentCopyIntoIndex8) {
    CRowOpDefRowCopyPalettedWithTransparencyIndex copy(3);
    const Bytes srcIdx = {0, 3, 15, 7, 3, 9, 1};
    const Bytes packedSrc = Pack(srcIdx, keFormatIndex4, 0);
    Bytes dst(srcIdx.size(), 200);
    const CRowOp op = RunOp(copy, keFormatIndex8, dst, keFormatIndex4, &packedSrc, nullptr, nullptr, 0,
                            static_cast<int>(srcIdx.size()));
    EXPECT_TRUE(op.IsConverted());
    EXPECT_EQ(op.GetIntermediateFormat(), keFormatIndex8);
    EXPECT_EQ(dst, (Bytes{0, 200, 15, 7, 200, 9, 1}));
}

}  // namespace
