// The pixel-math layer against references computed independently: exact
// rounding worked out in double, indices packed and unpacked bit by bit.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

#include "qdibcore/Source/internal/pixel/RowConvert.h"
#include "rowops_test_util.h"

namespace {

using namespace qgdi::px;
using qgdi::test::Bytes;

// ---- Premultiplication at 8 bits: all 65,536 (colour, alpha) pairs ---------------------

double ExactPremul(double c, double a, double full) { return std::floor(c * a / full + 0.5); }
double ExactUnpremul(double c, double a, double full) {
    return a == 0 ? 0 : std::min(full, std::floor(c * full / a + 0.5));
}

// One way of (un)premultiplying: fills out[i] for the pairs (c[i], a[i]).
using PairsFn =
    std::function<void(const std::vector<uint32_t>& c, const std::vector<uint32_t>& a, std::vector<uint32_t>& out)>;

template <class E, EQPixelFormat From, EQPixelFormat To>
PairsFn ThroughConverter() {
    // Colour c in every colour channel, alpha a, converted as one row.
    return [](const std::vector<uint32_t>& c, const std::vector<uint32_t>& a, std::vector<uint32_t>& out) {
        constexpr int n = TQPixelFormat<From>::kChannels;
        std::vector<E> in(c.size() * n), res(c.size() * n);
        for (size_t i = 0; i < c.size(); ++i) {
            for (int k = 0; k < n - 1; ++k) in[i * n + k] = E(c[i]);
            in[i * n + n - 1] = E(a[i]);
        }
        CRowIteratorBands::FindConverter(From, To)(res.data(), in.data(), int(c.size()), SQRowConvertContext{});
        for (size_t i = 0; i < c.size(); ++i) {
            out[i] = res[i * n];
            for (int k = 1; k < n - 1; ++k) ASSERT_EQ(res[i * n + k], res[i * n]) << "channels differ";
            ASSERT_EQ(res[i * n + n - 1], E(a[i])) << "alpha changed";
        }
    };
}

template <class E>
PairsFn Scalar(bool forward) {
    return [forward](const std::vector<uint32_t>& c, const std::vector<uint32_t>& a, std::vector<uint32_t>& out) {
        for (size_t i = 0; i < c.size(); ++i) out[i] = forward ? Premul(E(c[i]), E(a[i])) : Unpremul(E(c[i]), E(a[i]));
    };
}

// Grey-alpha has no premultiplied format; its named converters premultiply in place.
template <void (*Fn)(void*, const void*, int)>
PairsFn ThroughGreyA() {
    return [](const std::vector<uint32_t>& c, const std::vector<uint32_t>& a, std::vector<uint32_t>& out) {
        std::vector<uint8_t> row(2 * c.size());
        for (size_t i = 0; i < c.size(); ++i) row[2 * i] = uint8_t(c[i]), row[2 * i + 1] = uint8_t(a[i]);
        Fn(row.data(), row.data(), int(c.size()));
        for (size_t i = 0; i < c.size(); ++i) out[i] = row[2 * i];
    };
}

struct SRoundingCase {
    const char* name;
    bool forward;  // premultiply, else un-premultiply
    double full;
    PairsFn fn;
};
void PrintTo(const SRoundingCase& c, std::ostream* os) { *os << c.name; }

const SRoundingCase kByteCases[] = {
    {"Premul", true, 255, Scalar<uint8_t>(true)},
    {"Unpremul", false, 255, Scalar<uint8_t>(false)},
    {"BGRAToBGRxA", true, 255, ThroughConverter<uint8_t, keFormatBGRA, keFormatBGRxA>()},
    {"BGRxAToBGRA", false, 255, ThroughConverter<uint8_t, keFormatBGRxA, keFormatBGRA>()},
    {"GreyAToGreyxA", true, 255, ThroughGreyA<&CRowIteratorBands::ConvertGreyAToGreyxA>()},
    {"GreyxAToGreyA", false, 255, ThroughGreyA<&CRowIteratorBands::ConvertGreyxAToGreyA>()},
};

const SRoundingCase kWordCases[] = {
    {"Premul", true, 65535, Scalar<uint16_t>(true)},
    {"Unpremul", false, 65535, Scalar<uint16_t>(false)},
    {"BGRA16ToBGRxA16", true, 65535, ThroughConverter<uint16_t, keFormatBGRA_u16, keFormatBGRxA_u16>()},
    {"BGRxA16ToBGRA16", false, 65535, ThroughConverter<uint16_t, keFormatBGRxA_u16, keFormatBGRA_u16>()},
};

void ExpectExact(const SRoundingCase& r, const std::vector<uint32_t>& c, const std::vector<uint32_t>& a) {
    std::vector<uint32_t> out(c.size());
    r.fn(c, a, out);
    for (size_t i = 0; i < c.size(); ++i) {
        const double want = r.forward ? ExactPremul(c[i], a[i], r.full) : ExactUnpremul(c[i], a[i], r.full);
        ASSERT_EQ(out[i], uint32_t(want)) << r.name << ": c " << c[i] << ", a " << a[i];
    }
}

class ByteRounding : public testing::TestWithParam<SRoundingCase> {};

TEST_P(ByteRounding, EveryPairIsExactlyRounded) {
    std::vector<uint32_t> c, a;
    for (uint32_t alpha = 0; alpha < 256; ++alpha)
        for (uint32_t colour = 0; colour < 256; ++colour) c.push_back(colour), a.push_back(alpha);
    ExpectExact(GetParam(), c, a);
}

INSTANTIATE_TEST_SUITE_P(Paths, ByteRounding, testing::ValuesIn(kByteCases),
                         [](const auto& info) { return std::string(info.param.name); });

class WordRounding : public testing::TestWithParam<SRoundingCase> {};

TEST_P(WordRounding, SampledPairsAndEdgesAreExactlyRounded) {
    std::vector<uint32_t> c, a;
    const uint32_t edges[] = {0, 1, 2, 127, 128, 255, 256, 257, 32767, 32768, 32769, 65279, 65534, 65535};
    for (uint32_t x : edges)
        for (uint32_t y : edges) c.push_back(x), a.push_back(y);
    std::mt19937 rng(20261123u);
    for (int i = 0; i < 300000; ++i) {
        // Premultiplied colour mostly at or below its alpha, as images hold it.
        const uint32_t alpha = rng() & 0xFFFF, colour = rng() & 0xFFFF;
        c.push_back((i & 3) || alpha == 0 ? colour % (alpha + 1) : colour);
        a.push_back(alpha);
    }
    ExpectExact(GetParam(), c, a);
}

INSTANTIATE_TEST_SUITE_P(Paths, WordRounding, testing::ValuesIn(kWordCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- Scale rules ------------------------------------------------------------------

// Integer to float is the float nearest to v / full.
TEST(Scale, IntegerToFloatIsTheNearestFloat) {
    auto nearest = [](float f, uint32_t v, long double full) {
        const long double q = v / full, e = std::fabs(f - q);
        return e <= std::fabs(std::nextafter(f, 2.0f) - q) && e <= std::fabs(std::nextafter(f, -1.0f) - q);
    };
    for (uint32_t v = 0; v < 256; ++v) ASSERT_TRUE(nearest(Unit8(v), v, 255.0L)) << v;
    for (uint32_t v = 0; v < 65536; ++v) ASSERT_TRUE(nearest(Unit16(v), v, 65535.0L)) << v;
}

struct SFloatCase {
    float v;
    int to8, to16;
};

// Clamped, then truncated after scaling by 255.9999 or 65535.9999.
const SFloatCase kFloatCases[] = {
    {0.0f, 0, 0},
    {-0.0f, 0, 0},
    {-1.0f, 0, 0},
    {0.5f, 127, 32767},
    {1.0f, 255, 65535},
    {2.0f, 255, 65535},
    {std::nextafter(1.0f, 0.0f), 255, 65535},
    {1.0f / 255.0f, 1, 257},
    {std::numeric_limits<float>::infinity(), 255, 65535},
    {-std::numeric_limits<float>::infinity(), 0, 0},
    {std::numeric_limits<float>::quiet_NaN(), 0, 0},
    // Products that a float factor (255.9999f, 65535.99f) lands one step off.
    {std::bit_cast<float>(0x3F039B01u), 131, 33691},
    {std::bit_cast<float>(0x3CA00004u), 4, 1280},
};

TEST(Scale, FloatToIntegerCorners) {
    for (const SFloatCase& c : kFloatCases) {
        EXPECT_EQ(FloatTo8(c.v), c.to8) << c.v;
        EXPECT_EQ(FloatTo16(c.v), c.to16) << c.v;
        EXPECT_EQ((Cast<uint16_t, float>(c.v)), c.to16) << c.v;
    }
}

// Grey in, the same grey out, at every depth.
TEST(Luma, GreyKeepsItsLevel) {
    for (int v = 0; v < 256; ++v) ASSERT_EQ(Luma(v, v, v), v);
    for (int v = 0; v < 65536; v += 7) ASSERT_EQ(Luma(v, v, v), v);
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    for (int i = 0; i < 100000; ++i) {
        const float v = u(rng);
        ASSERT_EQ(Luma(v, v, v), v);
    }
}

// ---- Palette indices ----------------------------------------------------------------

uint32_t RefIndexAt(const Bytes& row, int bits, size_t i) {
    uint32_t v = 0;
    for (int b = 0; b < bits; ++b) {
        const size_t bit = i * bits + b;
        v = (v << 1) | ((row[bit >> 3] >> (7 - (bit & 7))) & 1u);
    }
    return v;
}

void RefSetIndex(Bytes& row, int bits, size_t i, uint32_t index) {
    for (int b = 0; b < bits; ++b) {
        const size_t bit = i * bits + b;
        const uint8_t mask = uint8_t(0x80u >> (bit & 7));
        if ((index >> (bits - 1 - b)) & 1) row[bit >> 3] |= mask;
        else row[bit >> 3] &= uint8_t(~mask);
    }
}

template <int Bits>
void ExpectWordsMatchTheBits(uint64_t packedWord) {
    uint8_t packed[8];
    std::memcpy(packed, &packedWord, 8);
    const Bytes row(packed, packed + Bits);
    const uint64_t w = UnpackWord<Bits>(packed);
    for (int k = 0; k < 8; ++k) ASSERT_EQ(uint32_t((w >> (8 * k)) & 0xFF), RefIndexAt(row, Bits, size_t(k))) << Bits;
    uint8_t back[8] = {};
    // The high bits of each index byte are not the packer's business.
    PackWord<Bits>(back, w | 0xF0F0F0F0F0F0F0F0ull);
    ASSERT_EQ(0, std::memcmp(back, packed, Bits)) << Bits << " " << std::hex << packedWord;
}

TEST(PackedIndices, WordsMatchBitByBit) {
    for (uint32_t v = 0; v < 256; ++v) ExpectWordsMatchTheBits<1>(v);
    for (uint32_t v = 0; v < 65536; ++v) ExpectWordsMatchTheBits<2>(v);
    std::mt19937 rng(3);
    for (int i = 0; i < 100000; ++i) ExpectWordsMatchTheBits<4>(rng());
    ExpectWordsMatchTheBits<4>(0xFFFFFFFFu);
}

struct SRowIndexCase {
    const char* name;
    int bits;
    std::function<void(uint8_t* indices, const uint8_t* row, int n, int offset)> unpack;
    std::function<void(uint8_t* row, const uint8_t* indices, int n, int offset)> pack;
    std::function<void(uint8_t* dst, const uint8_t* src, int n, int offset)> copy;
};
void PrintTo(const SRowIndexCase& c, std::ostream* os) { *os << c.name; }

const SRowIndexCase kRowIndexCases[] = {
    {"Index1", 1, UnpackIndices<keFormatIndex1>, PackIndices<keFormatIndex1>, CopyIndices<keFormatIndex1>},
    {"Index4", 4, UnpackIndices<keFormatIndex4>, PackIndices<keFormatIndex4>, CopyIndices<keFormatIndex4>},
    {"Index8", 8, UnpackIndices<keFormatIndex8>, PackIndices<keFormatIndex8>, CopyIndices<keFormatIndex8>},
};

class RowIndices : public testing::TestWithParam<SRowIndexCase> {};

// Random spans at every offset within a byte: the pixels of the span change,
// every other bit of the row stays.
TEST_P(RowIndices, SpansMatchBitByBit) {
    const SRowIndexCase& c = GetParam();
    std::mt19937 rng(uint32_t(c.bits) * 101u);
    for (int round = 0; round < 3000; ++round) {
        const int offset = int(rng() % 24), n = int(rng() % 80);
        const size_t bytes = (size_t(offset + n) * c.bits + 7) / 8 + 2;
        const Bytes src = qgdi::test::RandomBytes(rng, bytes);
        const Bytes before = qgdi::test::RandomBytes(rng, bytes);
        Bytes indices(size_t(n) + 1, 0xEE);
        c.unpack(indices.data(), src.data(), n, offset);
        for (int k = 0; k < n; ++k) ASSERT_EQ(indices[size_t(k)], RefIndexAt(src, c.bits, size_t(offset + k))) << k;
        ASSERT_EQ(indices[size_t(n)], 0xEE) << "wrote past the span";

        Bytes packed = before, want = before;
        const Bytes values = qgdi::test::RandomBytes(rng, size_t(n) + 1);
        c.pack(packed.data(), values.data(), n, offset);
        for (int k = 0; k < n; ++k)
            RefSetIndex(want, c.bits, size_t(offset + k), values[size_t(k)] & ((1u << c.bits) - 1));
        ASSERT_EQ(packed, want) << "offset " << offset << ", n " << n;

        Bytes copied = before;
        want = before;
        c.copy(copied.data(), src.data(), n, offset);
        for (int k = 0; k < n; ++k)
            RefSetIndex(want, c.bits, size_t(offset + k), RefIndexAt(src, c.bits, size_t(offset + k)));
        ASSERT_EQ(copied, want) << "offset " << offset << ", n " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, RowIndices, testing::ValuesIn(kRowIndexCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Packed spans between any two bit positions; bytes past the source span are
// not read (the source ends exactly where the span does).
TEST(RowIndices, BitSpansMoveBitByBit) {
    std::mt19937 rng(12);
    for (int round = 0; round < 5000; ++round) {
        const size_t inBit = rng() % 24, outBit = rng() % 24, bits = rng() % 100;
        const Bytes in = qgdi::test::RandomBytes(rng, (inBit + bits + 7) / 8 + (bits == 0));
        Bytes out = qgdi::test::RandomBytes(rng, (outBit + bits + 7) / 8 + 2), want = out;
        MoveBits(out.data(), outBit, in.data(), inBit, bits);
        for (size_t b = 0; b < bits; ++b) RefSetIndex(want, 1, outBit + b, RefIndexAt(in, 1, inBit + b));
        ASSERT_EQ(out, want) << inBit << " " << outBit << " " << bits;
    }
}

// An index-to-index conversion between different offsets moves the pixels and
// nothing else.
TEST(RowIndices, ConversionBetweenOffsetsMovesOnlyTheSpan) {
    std::mt19937 rng(8);
    for (int round = 0; round < 500; ++round) {
        SQRowConvertContext ctx;
        ctx.srcPixelOffset = int(rng() % 8);
        ctx.dstPixelOffset = int(rng() % 8);
        const int n = int(rng() % 600);
        const Bytes src = qgdi::test::RandomBytes(rng, size_t(n + 8) / 2 + 1);
        Bytes dst = qgdi::test::RandomBytes(rng, size_t(n + 8) / 2 + 1), want = dst;
        ConvertRow<keFormatIndex4, keFormatIndex4>(dst.data(), src.data(), n, ctx);
        for (int k = 0; k < n; ++k)
            RefSetIndex(want, 4, size_t(ctx.dstPixelOffset + k), RefIndexAt(src, 4, size_t(ctx.srcPixelOffset + k)));
        ASSERT_EQ(dst, want) << n;
    }
}

}  // namespace
