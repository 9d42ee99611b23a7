// Linked against the shared library: paths, iterators and receivers derived
// on this side of the boundary must work with the library's code.
#include <gtest/gtest.h>

#include "qgdi.h"

namespace {
class CCount : public VPathReceiver {
public:
    int lines = 0;
    bool LineTo(const SQPOINT& p, const double*) override {
        ++lines;
        m_current = p;
        return true;
    }
};
}  // namespace

TEST(Exports, PathsCrossTheBoundary) {
    CQPath p;
    ASSERT_TRUE(p.CreateEllipse({0, 0, 10, 10}));
    CQPathIterator it;
    ASSERT_TRUE(it.CreateFlat(p));
    CCount r;
    ASSERT_TRUE(it.Send(&r));
    EXPECT_GT(r.lines, 4);
    SQPATH* raw = QGDI_PathCreateRect({0, 0, 1, 1});
    EXPECT_EQ(raw->Reference(), 2);
    EXPECT_EQ(raw->Unreference(), 1);
    raw->Unreference();
    CQPathBoolean b;
    CQPath out;
    ASSERT_FALSE(b.SetPaths(p, p).IsError());
    EXPECT_FALSE(b.GetPath(out, keBoolUnion).IsError());
    CQCurve c;
    EXPECT_TRUE(out.AsCurve(c));

    // The README's path example.
    CQPath shape;
    shape.CreateRoundRect({0, 0, 200, 100}, 12, 12);
    CQPathIterator flat;
    const double toDevice[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1};
    EXPECT_TRUE(flat.CreateFlat(shape, QGDI_GetFlatnessFactor(), toDevice));
    SQRECT box;
    ASSERT_TRUE(flat.GetBBox(box));
    EXPECT_NEAR(box.right, 400, 1e-9);
}
