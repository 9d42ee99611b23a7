#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "geometry/KMeans.h"
#include "geometry/Random.h"

namespace {

TEST(CKMeans, IdenticalVectorsAllGoToMeanZero) {
    // Generated means all collapse onto the single value, so every distance ties.
    CKMeans km(5, 3, 2);
    const double v[2] = {4.0, -1.0};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(km.addNewVector(v), 1);
    EXPECT_GE(km.runKMeans(1e-9), 1);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(km.getMeanID(i), 0);
    EXPECT_EQ(km.getNUsedMeans(), 1);
    EXPECT_TRUE(km.getMean(0)[0] == 4.0 && km.getMean(0)[1] == -1.0);
}

TEST(CKMeans, EquidistantVectorGoesToLowerNumberedMean) {
    CKMeans km(1, 3, 1);
    const double means[3] = {10.0, 2.0, 6.0};
    EXPECT_EQ(km.addNewMeans(means, 3), 3);
    const double v = 4.0;  // 2 from both mean 1 and mean 2
    km.addNewVector(&v);
    km.runKMeans(0.0);
    EXPECT_EQ(km.getMeanID(0), 1);
    // The unused means keep their coordinates.
    EXPECT_EQ(std::tuple(km.getMean(0)[0], km.getMean(1)[0], km.getMean(2)[0]), std::tuple(10.0, 4.0, 6.0));
}

TEST(CKMeans, GeneratedMeansFollowTheSeedAndContinueIt) {
    // Two vectors at the ends of [0, 1000]: the three generated means are
    // independent draws in that range, and after one pass a mean either moved
    // onto the vector it attracted or kept its drawn value.
    const int n = 2, k = 3, d = 1;
    const double data[n] = {0.0, 1000.0};
    CKMeans km(n, k, d);
    km.addNewVectors(data, n);
    EXPECT_EQ(km.getSeed(), k + d + n);
    CRandomMinStd ref(k + d + n);
    double drawn[k];
    for (double& m : drawn) m = ref.Get(0.0, 1000.0);
    EXPECT_EQ(km.runKMeans(1e300), 1);
    EXPECT_EQ(km.getSeed(), ref.GetSeed());
    for (int m = 0; m < k; ++m) {
        const double got = km.getMean(m)[0];
        EXPECT_TRUE(got == drawn[m] || got == 0.0 || got == 1000.0) << m << ": " << got << " vs " << drawn[m];
    }
    EXPECT_TRUE(km.getMean(km.getMeanID(0))[0] == 0.0 && km.getMean(km.getMeanID(1))[0] == 1000.0);

    // Handing the stored seed to a fresh object continues the same sequence.
    CKMeans next(n, k, d);
    next.addNewVectors(data, n);
    next.setSeed(km.getSeed());
    next.runKMeans(1e300);
    for (int m = 0; m < k; ++m) ref.Get(0.0, 1000.0);
    EXPECT_EQ(next.getSeed(), ref.GetSeed());
}

TEST(CKMeans, SeparatedClustersAreFound) {
    CRandom rnd(5);
    const double centres[3][3] = {{0, 0, 0}, {100, 0, 50}, {0, 100, 100}};
    CKMeans km(300, 3, 3);
    for (int i = 0; i < 300; ++i) {
        double v[3];
        for (int j = 0; j < 3; ++j) v[j] = centres[i % 3][j] + rnd.Get(2.0) - 1.0;
        km.addNewVector(v);
    }
    const double seeds[9] = {10, 10, 10, 90, 10, 40, 10, 90, 90};
    km.addNewMeans(seeds, 3);
    const int passes = km.runKMeans(1e-12);
    EXPECT_TRUE(passes > 0 && passes <= 50) << passes;
    EXPECT_EQ(km.getNUsedMeans(), 3);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(km.getMeanID(i), i % 3);
    for (int m = 0; m < 3; ++m)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(km.getMean(m)[j], centres[m][j], 0.2);
}

TEST(CKMeans, CapacityAndBadArguments) {
    CKMeans km(2, 1, 1);
    const double v[3] = {1, 2, 3};
    // Adding beyond the capacity stores only what fits.
    EXPECT_EQ(km.addNewVectors(v, 3), 2);
    EXPECT_EQ(km.addNewVector(v), 0);
    EXPECT_EQ(km.addNewVectors(nullptr, 1), 0);
    EXPECT_EQ(km.addNewMeans(v, 5), 1);
    EXPECT_EQ(km.addNewMean(v), 0);
    EXPECT_EQ(std::tuple(km.getNVectorsActual(), km.getNMeansActual()), std::tuple(2, 1));
    EXPECT_EQ(std::tuple(km.getMeanID(-1), km.getMeanID(2)), std::tuple(-1, -1));
    EXPECT_TRUE(km.getVector(2) == nullptr && km.getMean(1) == nullptr);

    CKMeans empty(-3, -1, -2);
    EXPECT_EQ(empty.runKMeans(0.1), 0);
    CKMeans noVectors(4, 2, 2);
    EXPECT_EQ(noVectors.runKMeans(0.1), 0);
    EXPECT_EQ(noVectors.getNMeansActual(), 0);
}

TEST(CKMeans, PassLimitHoldsWhenNothingConverges) {
    // A negative tolerance is never reached: the run stops at the pass limit.
    CKMeans km(4, 2, 1);
    const double v[4] = {0, 1, 10, 11};
    km.addNewVectors(v, 4);
    EXPECT_EQ(km.runKMeans(-1.0), 50);
}

}  // namespace
