// Kernel arrays and the stage that applies them: records against values
// worked out by hand at the edges and in the middle, weight sums as a
// property over random sizes, and the fixed-point stage's cache and shift.
#include <gtest/gtest.h>

#include <random>

#include "pipeline_test_util.h"

using namespace qgdi::test;

namespace {

struct SRecord {
    int start;
    unsigned taps;
    std::vector<int64_t> w;  // the first weights; the rest must be 0
};

void ExpectRecord(const CResamplingKernelArray& a, int i, const SRecord& r) {
    SCOPED_TRACE("record " + std::to_string(i));
    EXPECT_EQ(a.Start(i), r.start);
    EXPECT_EQ(a.Taps(i), r.taps);
    for (int k = 0; k < a.nMaxTaps; ++k)
        EXPECT_EQ(a.Weight(i, k), k < static_cast<int>(r.w.size()) ? r.w[static_cast<size_t>(k)] : 0) << "tap " << k;
}

// Both weight widths give the same records.
class KernelWidths : public ::testing::TestWithParam<quor::EQType> {};
INSTANTIATE_TEST_SUITE_P(Signed, KernelWidths, ::testing::Values(quor::keTypeInt16, quor::keTypeInt32));

// n = 10 onto 19 outputs puts output i at source position i / 2; S = 256.
// At t = 1/2: wm = w2 = -S/8, w1 = w0 = 5S/8.
TEST_P(KernelWidths, BicubicEdgesAndMiddle) {
    CResamplingKernelArray a;
    ASSERT_TRUE(a.Create(19, 4, GetParam(), 256));
    ASSERT_TRUE(GenerateBicubicKernel(a, 10));
    ExpectRecord(a, 0, {0, 3, {256, 0, 0}});      // first sample, t = 0
    ExpectRecord(a, 1, {0, 3, {128, 160, -32}});  // j = 0: wm folded onto sample 0
    ExpectRecord(a, 2, {0, 4, {0, 256, 0, 0}});   // t = 0 in the middle
    ExpectRecord(a, 9, {3, 4, {-32, 160, 160, -32}});
    ExpectRecord(a, 17, {6, 4, {0, -32, 160, 128}});  // j = n - 2: w2 folded onto the last
    ExpectRecord(a, 18, {6, 4, {0, 0, 0, 256}});      // the last sample
}

TEST_P(KernelWidths, BilinearEdgesAndMiddle) {
    CResamplingKernelArray a;
    ASSERT_TRUE(a.Create(9, 2, GetParam(), 1024));
    ASSERT_TRUE(GenerateBilinearKernel(a, 5));
    ExpectRecord(a, 0, {0, 2, {1024, 0}});
    ExpectRecord(a, 1, {0, 2, {512, 512}});
    ExpectRecord(a, 5, {2, 2, {512, 512}});
    ExpectRecord(a, 8, {3, 2, {0, 1024}});
}

TEST_P(KernelWidths, AverageSpansOneOrMoreSamples) {
    CResamplingKernelArray a;
    ASSERT_TRUE(a.Create(8, 3, GetParam(), 4096));
    ASSERT_TRUE(GenerateAverageKernel(a, 0, 2, 0, true));  // step 1/4: inside one sample
    ExpectRecord(a, 1, {0, 1, {4096}});
    ExpectRecord(a, 6, {1, 1, {4096}});
    ASSERT_TRUE(a.Create(4, 3, GetParam(), 4096));
    ASSERT_TRUE(GenerateAverageKernel(a, 0, 8, 0, true));  // step 2, aligned
    ExpectRecord(a, 1, {2, 2, {2048, 2048}});
    ASSERT_TRUE(GenerateAverageKernel(a, 0, 8, 0, false));  // every record reports the capacity
    ExpectRecord(a, 3, {6, 3, {2048, 2048, 0}});
    ASSERT_TRUE(a.Create(2, 4, GetParam(), 512));
    ASSERT_TRUE(GenerateAverageKernel(a, 0, 3, 0, true));  // step 3/2: a half sample at one end
    ExpectRecord(a, 0, {0, 2, {341, 171}});
    ExpectRecord(a, 1, {1, 2, {170, 342}});  // the carried third lands on the tap that completes it
}

double Triangle(double d, int offset, int) { return std::max(0.0, 1.0 - std::fabs(d - offset)); }
double Nothing(double, int, int) { return 0.0; }

TEST_P(KernelWidths, GenericNormalisesAndFails) {
    CResamplingKernelArray a;
    ASSERT_TRUE(a.Create(5, 3, GetParam(), 256));
    ASSERT_TRUE(GenerateGenericKernel(a, 3, &Triangle, 1, 3));  // positions 0, 0.5, 1, 1.5, 2
    ExpectRecord(a, 0, {-1, 3, {0, 256, 0}});
    ExpectRecord(a, 1, {-1, 3, {0, 128, 128}});
    EXPECT_FALSE(GenerateGenericKernel(a, 3, &Triangle, 1, 4));  // more taps than the records hold
    EXPECT_FALSE(GenerateGenericKernel(a, 3, &Nothing, 1, 3));   // weights adding up to nothing
    // Folding moves the record inside the axis.
    ASSERT_TRUE(GenerateGenericKernel(a, 3, &Triangle, 1, 3));
    ASSERT_TRUE(a.FoldToRange(3));
    ExpectRecord(a, 0, {0, 1, {256}});
    ExpectRecord(a, 1, {0, 2, {128, 128}});
    ExpectRecord(a, 4, {1, 2, {0, 256}});
    EXPECT_TRUE(a.IsWithin(3));
}

TEST(KernelArray, WeightTypesOutsideTheFamilyFailEveryGenerator) {
    for (const quor::EQType t : {quor::keTypeReal32, quor::keTypeUInt08, quor::keTypeInt64}) {
        CResamplingKernelArray a;
        EXPECT_FALSE(a.Create(4, 4, t, 256));
        // An array filled by hand with a bad type is left untouched.
        ASSERT_TRUE(a.Create(4, 4, quor::keTypeInt16, 256));
        a.Header(0).nStart = 77;
        a.eWeightType = t;
        EXPECT_FALSE(GenerateBicubicKernel(a, 8));
        EXPECT_FALSE(GenerateBilinearKernel(a, 8));
        EXPECT_FALSE(GenerateAverageKernel(a, 0, 8, 0, true));
        EXPECT_FALSE(GenerateGenericKernel(a, 8, &Triangle, 1, 3));
        EXPECT_EQ(a.Start(0), 77);
    }
    CResamplingKernelArray a;
    EXPECT_FALSE(a.Create(0, 4, quor::keTypeInt16, 256));
    EXPECT_FALSE(a.Create(4, 4, quor::keTypeInt16, 300));  // not a power of two
}

// Every record of every generator adds up to the scale, for random sizes.
TEST(KernelArray, WeightsAddUpToTheScale) {
    std::mt19937 rng(11);
    for (int trial = 0; trial < 300; ++trial) {
        const int n = 4 + static_cast<int>(rng() % 500), count = 1 + static_cast<int>(rng() % 700);
        const quor::EQType type = trial % 2 ? quor::keTypeInt16 : quor::keTypeInt32;
        const uint32_t scale = 1u << (8 + rng() % 7);
        const double step = static_cast<double>(n) / count;
        CResamplingKernelArray a;
        for (int g = 0; g < 4; ++g) {
            const int taps = g == 2 ? static_cast<int>(std::ceil(step)) + 2 : 6;
            ASSERT_TRUE(a.Create(count < 2 && g != 2 ? 2 : count, taps, type, scale));
            const bool ok = g == 0   ? GenerateBicubicKernel(a, n)
                            : g == 1 ? GenerateBilinearKernel(a, n)
                            : g == 2 ? GenerateAverageKernel(a, 0, n, 0, true)
                                     : qgdi::resample::GenerateGeneric(
                                           a, n,
                                           [](double d, int o, int) { return qgdi::resample::LanczosWeight(d - o, 3); },
                                           2, 6);
            ASSERT_TRUE(ok);
            for (int i = 0; i < a.nCount; ++i) {
                int64_t sum = 0;
                for (int k = 0; k < a.nMaxTaps; ++k) sum += a.Weight(i, k);
                ASSERT_EQ(sum, scale) << "generator " << g << " n " << n << " count " << count << " record " << i;
            }
        }
    }
}

// ---- the resampling stage ---------------------------------------------------

TEST(SeqOpResampleKernel, ShiftsByBothScalesAndKeepsAFlatRowFlat) {
    for (const uint8_t v : {0, 1, 127, 200, 255}) {
        auto img = MakeImage(9, 7, keFormatBGRA, [&](int, int, int) { return v; });
        CSeqOpRowIterator head(img.get());
        CResamplingKernelArray h, vv;
        ASSERT_TRUE(h.Create(20, 4, quor::keTypeInt16, 256));
        ASSERT_TRUE(vv.Create(3, 3, quor::keTypeUInt16, 256));
        ASSERT_TRUE(GenerateBicubicKernel(h, 9));
        ASSERT_TRUE(GenerateAverageKernel(vv, 0, 7, 0, true));
        CSeqOpResampleKernel op;
        op.SetCoef(&h, &vv);
        EXPECT_EQ(op.GetResultShift(), 16);
        op.SetSrc(&head, 0, false);
        ASSERT_TRUE(op.Reset());
        EXPECT_EQ(op.GetWidth(), 20);
        EXPECT_EQ(op.GetHeight(), 3);
        const Bytes out = PullAll(op);
        ASSERT_EQ(out.size(), 20u * 3 * 4);
        for (uint8_t b : out) ASSERT_EQ(b, v);
        EXPECT_FALSE(op.GetNextRow(0, 20));  // all rows delivered
    }
}

TEST(SeqOpResampleKernel, CacheKeepsRowsAcrossOutputRows) {
    CCountingSource src(4, 2);
    CResamplingKernelArray h, v;
    ASSERT_TRUE(h.Create(4, 2, quor::keTypeUInt16, 256));
    ASSERT_TRUE(v.Create(3, 2, quor::keTypeUInt16, 256));
    ASSERT_TRUE(GenerateBilinearKernel(h, 4));
    ASSERT_TRUE(GenerateBilinearKernel(v, 2));
    CSeqOpResampleKernel op;
    op.SetCoef(&h, &v);
    op.SetSrc(&src, 0, false);
    ASSERT_TRUE(op.Reset());
    const Bytes out = PullAll(op);
    EXPECT_EQ(src.pulls, 2);
    EXPECT_EQ(op.GetRowsPulled(), 2);
    // Row y of the source holds y + x: the middle output row is halfway.
    const Bytes expected = {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 4};
    EXPECT_EQ(out, expected);
}

TEST(SeqOpResampleKernel, RejectsWhatItCannotRead) {
    CCountingSource src(4, 4);
    CResamplingKernelArray h, v, wide;
    ASSERT_TRUE(h.Create(4, 2, quor::keTypeUInt16, 256));
    ASSERT_TRUE(v.Create(4, 2, quor::keTypeUInt16, 256));
    ASSERT_TRUE(wide.Create(4, 2, quor::keTypeUInt16, 256));
    ASSERT_TRUE(GenerateBilinearKernel(h, 4));
    ASSERT_TRUE(GenerateBilinearKernel(v, 4));
    ASSERT_TRUE(GenerateBilinearKernel(wide, 9));  // reads past a 4-sample row
    CSeqOpResampleKernel op;
    EXPECT_FALSE(op.Reset());  // no source, no arrays
    op.SetSrc(&src, 0, false);
    EXPECT_FALSE(op.Reset());
    op.SetCoef(&wide, &v);
    EXPECT_FALSE(op.Reset());
    op.SetCoef(&h, &v);
    ASSERT_TRUE(op.Reset());
    uint8_t row[8];
    EXPECT_FALSE(op.GetNextRow(row, 2, 3));  // past the output width
    // Seek: below the width (not the height) and only with a source.
    EXPECT_FALSE(op.Seek(-1));
    EXPECT_FALSE(op.Seek(4));
    EXPECT_TRUE(op.Seek(2));
    ASSERT_TRUE(op.GetNextRow(row, 0, 4));
    EXPECT_EQ(row[0], 2);  // output row 2 is source row 2
}

}  // namespace
