// Presenting an image in another format and copying its rows with the
// row-copy kinds must give the same bytes, for every pair both offer.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "rowops_test_util.h"

namespace {

using namespace qgdi::test;

struct SPair {
    EQPixelFormat dst, src;
    bool indexed;  // served by the indexed copy kind
};

std::vector<SPair> CopyPairs() {
    std::vector<SPair> out;
    for (const auto& [dict, indexed] : {std::pair{GetRowCopyDict(), false}, std::pair{GetRowCopyIndexedDict(), true}})
        for (const SRowOpDictEntry* e = dict; e->pfnKernel; ++e)
            out.push_back({EQPixelFormat(e->nDstFormat), EQPixelFormat(e->nSrcFormat), indexed});
    return out;
}

std::string PairName(const SPair& p) {
    return std::string(QGDI_FindPixelFormatTraits(p.src)->shortName) + "_to_" +
           QGDI_FindPixelFormatTraits(p.dst)->shortName;
}
std::string Name(const testing::TestParamInfo<SPair>& info) { return PairName(info.param); }
void PrintTo(const SPair& p, std::ostream* os) { *os << PairName(p); }

// A native row of `format`: bytes biased to 0 and 255 (so that 16-bit words
// meet 0, 255, 65280 and 65535), floats at 0, 1 and beyond.
Bytes RandomRow(std::mt19937& rng, EQPixelFormat format, int width) {
    Bytes row = RandomBytes(rng, RowBytes(format, width));
    if (CQPixelFormat(format).IsFloat()) {
        RandomizeFloats(rng, row);
        auto* f = reinterpret_cast<float*>(row.data());
        for (size_t i = 0; i < row.size() / 4; ++i) {
            const uint32_t r = rng() & 7;
            if (r == 0) f[i] = 0.0f;
            else if (r == 1) f[i] = 1.0f;
        }
    }
    return row;
}

class CopyMatchesIterator : public testing::TestWithParam<SPair> {};

TEST_P(CopyMatchesIterator, SameBytesOnRandomRows) {
    const SPair pair = GetParam();
    std::mt19937 rng(977u + 31u * uint32_t(pair.dst) + uint32_t(pair.src));
    const std::vector<RGBQUAD> palette = [&] {
        std::vector<RGBQUAD> p(200);  // short of 256: indices past it read as black
        for (RGBQUAD& q : p) q = RGBQUAD{uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), 0};
        return p;
    }();
    const CRowOpDefRowCopy copy;
    const CRowOpDefRowCopyIndexed copyIndexed;
    const CRowOpDef& def = pair.indexed ? static_cast<const CRowOpDef&>(copyIndexed) : copy;
    for (int width : {1, 7, 37, 300}) {
        CRowIterator it;
        ASSERT_FALSE(it.Create(width, 1, pair.src, nullptr, palette.data(), int(palette.size())).IsError());
        const Bytes native = RandomRow(rng, pair.src, width);
        uint8_t* row = nullptr;
        ASSERT_FALSE(it.GetNativeRow(row, 0).IsError());
        std::memcpy(row, native.data(), native.size());
        it.ReleaseNativeRow(0).Ignore();

        Bytes copied(RowBytes(pair.dst, width), 0);
        RunOp(def, pair.dst, copied, pair.src, &native, nullptr, palette.data(), int(palette.size()), width);

        ASSERT_FALSE(it.SetPixelFormat(pair.dst, keImageModifyReadOnly).IsError());
        const uint8_t* presented = nullptr;
        ASSERT_FALSE(std::as_const(it).GetRow(presented, 0).IsError());
        Bytes viaIterator(presented, presented + copied.size());
        it.ReleaseRow(0).Ignore();
        // Bits past the last pixel of a packed row are nobody's.
        if (const int tail = int((size_t(width) * CQPixelFormat(pair.dst).GetBitsPerPixel()) % 8)) {
            copied.back() &= uint8_t(0xFF00u >> tail);
            viaIterator.back() &= uint8_t(0xFF00u >> tail);
        }
        ASSERT_EQ(viaIterator, copied) << "width " << width;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCopyPair, CopyMatchesIterator, testing::ValuesIn(CopyPairs()), Name);

TEST(CopyMatchesIterator, CoversEveryCopyEntry) {
    // 96 plain copies and 15 indexed ones, every one a conversion the iterator offers.
    EXPECT_EQ(CopyPairs().size(), 111u);
    for (const SPair& p : CopyPairs()) EXPECT_NE(CRowIteratorBands::FindConverter(p.src, p.dst), nullptr);
}

}  // namespace
