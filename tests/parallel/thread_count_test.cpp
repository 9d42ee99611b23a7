// Parallel row loops only split work: each must give, bit for bit, what one
// thread gives. The sizes are above every loop's threshold for waking threads,
// so these runs are also what the ThreadSanitizer build checks.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "geometry/KMeans.h"
#include "geometry/Mask08.h"
#include "qgdi.h"

namespace {

// Runs `make` with one thread and with four, and returns both results.
template <class T>
std::pair<T, T> OneAndFour(const std::function<T()>& make) {
    const int before = omp_get_max_threads();
    omp_set_num_threads(1);
    T one = make();
    omp_set_num_threads(4);
    T four = make();
    omp_set_num_threads(before);
    return {std::move(one), std::move(four)};
}

std::vector<uint8_t> Pixels(const CRowIterator& it) {
    std::vector<uint8_t> out;
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* row = QGDI_GetPixelRow(&it, y);
        if (!row) return {};
        out.insert(out.end(), row, row + size_t(it.GetWidth()) * size_t(it.GetBPP()) / 8);
        QGDI_ReleasePixelRow(&it, y);
    }
    return out;
}

void Noise(CRowIterator& it, uint32_t seed) {
    std::mt19937 rng(seed);
    for (int y = 0; y < it.GetHeight(); ++y) {
        uint8_t* row = QGDI_GetPixelRow(&it, y);
        ASSERT_NE(row, nullptr);
        for (size_t i = 0; i < size_t(it.GetWidth()) * size_t(it.GetBPP()) / 8; ++i) row[i] = uint8_t(rng());
        QGDI_ReleasePixelRow(&it, y);
    }
}

constexpr int kW = 400, kH = 300;  // 120000 pixels, over the 65536 threshold

TEST(ThreadCount, FillAndCopiesBetweenFormats) {
    auto [one, four] = OneAndFour<std::vector<uint8_t>>([] {
        CRowIterator a, b, c;
        EXPECT_FALSE(a.Create(kW, 1200, keFormatBGRA).IsError());  // fill threshold: 1 MB
        EXPECT_FALSE(a.Fill(CColorRef::From16(2570, 51400, 7710, 32896)).IsError());
        EXPECT_FALSE(b.Create(kW, kH, keFormatBGR_u16).IsError());
        Noise(b, 5);
        EXPECT_FALSE(c.Create(kW, kH, keFormatBGRA).IsError());
        EXPECT_FALSE(RowIterator_CopyRect(c, POINT{0, 0}, b).IsError());
        EXPECT_FALSE(RowIterator_CopyAlpha(c, b).IsError());
        std::vector<uint8_t> all = Pixels(a), more = Pixels(c);
        all.insert(all.end(), more.begin(), more.end());
        return all;
    });
    ASSERT_FALSE(one.empty());
    EXPECT_TRUE(one == four);
}

TEST(ThreadCount, RowOperations) {
    auto [one, four] = OneAndFour<std::vector<uint8_t>>([] {
        CRowIterator img;
        EXPECT_FALSE(img.Create(kW, kH, keFormatBGRA).IsError());
        Noise(img, 9);
        CRowOpDefRowKodalith threshold(uint8_t(90));
        EXPECT_TRUE(PixelIterator_ApplyRowOp(threshold, img));
        return Pixels(img);
    });
    ASSERT_FALSE(one.empty());
    EXPECT_TRUE(one == four);
}

TEST(ThreadCount, MaskMorphologyAndBlur) {
    auto [one, four] = OneAndFour<std::vector<uint8_t>>([] {
        CMask08 m(kW, kH);
        std::mt19937 rng(3);
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) m.GetRow(y)[x] = rng() % 7 == 0 ? 255 : 0;
        EXPECT_TRUE(m.Dilate(3, false));
        EXPECT_TRUE(m.Erode(2, true));
        EXPECT_TRUE(m.Blur(4, 2));
        std::vector<uint8_t> out;
        for (int y = 0; y < kH; ++y) out.insert(out.end(), m.GetRow(y), m.GetRow(y) + kW);
        return out;
    });
    EXPECT_TRUE(one == four);
}

TEST(ThreadCount, MatrixCoordinatesOfARectangle) {
    auto [one, four] = OneAndFour<std::vector<POINT>>([] {
        const double m[9] = {0.9, 0.1, 3.5, -0.2, 1.1, -7.25, 1e-4, 2e-4, 1.0};
        CCoordinatorMatrix map(m);
        std::vector<POINT> out(size_t(kW) * kH);
        RECT box;
        map.GetCoordinates(out.data(), RECT{-20, 10, kW - 20, kH + 10}, &box);
        out.push_back(POINT{box.left, box.top});
        out.push_back(POINT{box.right, box.bottom});
        return out;
    });
    ASSERT_EQ(one.size(), four.size());
    EXPECT_EQ(std::memcmp(one.data(), four.data(), one.size() * sizeof(POINT)), 0);
}

TEST(ThreadCount, KMeansAssignment) {
    auto [one, four] = OneAndFour<std::vector<int>>([] {
        const int n = 20000, k = 8, d = 2;  // n·k·d over the 1e5 threshold
        std::mt19937 rng(11);
        std::vector<double> v(size_t(n) * d);
        for (double& x : v) x = double(rng() % 1000);
        CKMeans km(n, k, d);
        EXPECT_EQ(km.addNewVectors(v.data(), n), n);
        km.runKMeans(1e-6);
        std::vector<int> ids(n);
        for (int i = 0; i < n; ++i) ids[size_t(i)] = km.getMeanID(i);
        return ids;
    });
    EXPECT_TRUE(one == four);
}

}  // namespace
