// Linked against the shared library: the geometry classes, their template
// bases and the exception type must cross the library boundary.
#include <gtest/gtest.h>

#include "qgdi.h"

TEST(Exports, GeometryLinksAndThrowsAcrossTheBoundary) {
    CQMatrix3x3 m;
    m.Translate(2, 3);
    SQPOINT p{1, 1};
    m.Transform(p);
    EXPECT_DOUBLE_EQ(p.x, 3);
    CExtent2D e;
    e.AddNewPoint({0, 0});
    e.Expand(1);
    EXPECT_TRUE(e.IsPointInside({0.5, 0.5}));
    EXPECT_THROW(CGenMatrix(2, 2).invert(), CGenMatrix::SingularMatrix);
    CFastFnR f;
    EXPECT_TRUE(f.Init([](double x) { return x; }, 0, 1, 2));
    EXPECT_DOUBLE_EQ(f(0.25), 0.25);
}
