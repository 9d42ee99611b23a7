// Linked against the shared library: numerics and coordinate maps, including a
// plug-in's own map derived from the exported base.
#include <gtest/gtest.h>

#include <memory>

#include "qgdi.h"

namespace {

class CPluginShift : public CCoordinator {
public:
    using CCoordinator::GetCoordinates;
    void GetCoordinates(POINT* out, int y, int x, int count) override {
        for (int i = 0; i < count; ++i) out[i] = POINT{(x + i + 1) * 256, y * 256};
    }
};

}  // namespace

TEST(Exports, NumericsAndCoordinateMapsLink) {
    EXPECT_EQ(CRandom().Get(), 41);
    EXPECT_EQ(CRandomMinStd().Get(), 16807);
    CKMeans km(2, 1, 1);
    const double v[2] = {1, 3};
    km.addNewVectors(v, 2);
    km.runKMeans(1e-9);
    EXPECT_DOUBLE_EQ(km.getMean(0)[0], 2.0);
    CLeastSquares ls(1);
    ls.AddNewPoint(0, 1);
    ls.AddNewPoint(1, 3);
    EXPECT_NEAR(ls.PredictY(2), 5, 1e-12);
    EXPECT_EQ(CPolynomial::Generate(2, 2).GetTermCount(), 6);
    CMask08 mask(8, 8);
    mask.Circle(4, 4, 2);
    EXPECT_TRUE(mask.Dilate(1));

    std::unique_ptr<CCoordinator> twirl(Create_CCoordinatorTwirl(45));
    ASSERT_TRUE(twirl && twirl->Realize(16, 16));
    POINT p;
    twirl->GetCoordinates(&p, 0, 0, 1);
    EXPECT_EQ(p.x, 0);
    CPluginShift shift;
    ASSERT_TRUE(shift.Realize(4, 4));
    POINT pts[4];
    RECT box;
    shift.GetCoordinates(pts, RECT{0, 0, 2, 2}, &box);
    EXPECT_EQ(box.right, 2 * 256 + 1);
}
