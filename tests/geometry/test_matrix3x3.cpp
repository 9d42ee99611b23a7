#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <utility>

#include "geometry/geometry.h"

namespace {

CQMatrix3x3 Mat(std::initializer_list<double> v) {
    double d[9];
    std::copy(v.begin(), v.end(), d);
    return CQMatrix3x3(d);
}

void ExpectNear(const double* a, const double* b, double tol) {
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(a[i], b[i], tol) << "element " << i;
}

void ExpectPt(const SQPOINT& p, double x, double y, double tol) {
    EXPECT_NEAR(p.x, x, tol);
    EXPECT_NEAR(p.y, y, tol);
}

// ---- flag word ----

struct FlagCase {
    int index;
    double value;
    uint32_t expected;
};

class MatrixFlagBoundary : public testing::TestWithParam<FlagCase> {};

TEST_P(MatrixFlagBoundary, BitSetExactlyAtTolerance) {
    const FlagCase& c = GetParam();
    double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    m[c.index] = c.value;
    EXPECT_EQ(QGDI_MatrixFlagGet(m), c.expected);
    CQMatrix3x3 k(m);
    EXPECT_EQ(k.GetFlags(), c.expected);
}

// Off-diagonal elements are tested at exactly 1e-6; the diagonal ones at 1 +/- 1.1e-6
// because 1 + 1e-6 - 1 rounds below 1e-6 in doubles.
INSTANTIATE_TEST_SUITE_P(Elements, MatrixFlagBoundary,
                         testing::Values(FlagCase{2, 1e-6, 1}, FlagCase{2, -1e-6, 1}, FlagCase{2, 9.99e-7, 0},
                                         FlagCase{5, 1e-6, 2}, FlagCase{5, -9.99e-7, 0}, FlagCase{0, 1 + 1.1e-6, 4},
                                         FlagCase{0, 1 - 0.9e-6, 0}, FlagCase{0, -1, 4}, FlagCase{4, 1 - 1.1e-6, 8},
                                         FlagCase{4, 1 + 0.9e-6, 0}, FlagCase{1, 1e-6, 16}, FlagCase{1, 1e-7, 0},
                                         FlagCase{3, -1e-6, 32}, FlagCase{3, 5e-7, 0}, FlagCase{6, 1e-6, 64},
                                         FlagCase{7, -1e-6, 128}, FlagCase{7, 9e-7, 0}, FlagCase{8, 2, 256},
                                         FlagCase{8, 1 + 0.5e-6, 0}, FlagCase{2, NAN, 1}));

TEST(MatrixFlags, CacheInvalidatedBySetCellAndRecomputedOnRead) {
    CQMatrix3x3 m;
    EXPECT_EQ(m.GetFlags(), 0u);
    m.SetCell(0, 2, 5.0);
    EXPECT_EQ(m.GetFlags(), uint32_t(keMatrixFlagTranslateX));
    m.DataForWrite()[7] = 0.5;
    EXPECT_EQ(m.GetFlags(), uint32_t(keMatrixFlagTranslateX | keMatrixFlagPerspectiveY));
    m.Identity();
    EXPECT_TRUE(m.IsIdentity());
    EXPECT_EQ(QGDI_MatrixFlagGet(nullptr), 0u);
}

TEST(MatrixFlags, Predicates) {
    struct {
        double tx, ty;
        bool translate;
    } cases[] = {{0, 0, false}, {1e-7, 0, false}, {1e-6, 0, true}, {0, -3, true}, {2, 3, true}};
    for (const auto& c : cases) {
        CQMatrix3x3 m;
        m.Translate(c.tx, c.ty);
        EXPECT_EQ(m.IsTranslate(), c.translate) << c.tx << "," << c.ty;
        EXPECT_TRUE(m.IsScaleTranslate());
    }
    CQMatrix3x3 s;
    s.Scale(2, 3);
    EXPECT_TRUE(s.IsScaleTranslate());
    EXPECT_FALSE(s.IsTranslate());
    s.SetCell(0, 1, 1e-9);  // below tolerance, but not exactly zero
    EXPECT_FALSE(s.IsScaleTranslate());
    EXPECT_TRUE(QGDI_MatrixIsTranslateOnly(nullptr));
    EXPECT_TRUE(QGDI_MatrixIs2x3(s.Data()));
    s.PerspectiveX(0.01);
    EXPECT_FALSE(QGDI_MatrixIs2x3(s.Data()));
}

// ---- composition ----

TEST(MatrixCompose, ClassPostMultipliesFreeFunctionsPreMultiply) {
    CQMatrix3x3 k;
    k.Translate(10, 0);
    k.Scale(2, 2);
    SQPOINT p{1, 1};
    k.Transform(p);
    ExpectPt(p, 12, 2, 0);
    double f[9];
    QGDI_MatrixIdentity(f);
    QGDI_MatrixTranslate(f, 10, 0);
    QGDI_MatrixScale(f, 2, 2);
    SQPOINT q{1, 1};
    QGDI_MatrixTransform(f, q);
    ExpectPt(q, 22, 2, 0);
}

// Every composing operation, applied to the class in one order and through the
// free functions in the reverse order, builds the same matrix.
struct OpPair {
    void (*member)(CQMatrix3x3&, double, double);
    void (*free)(double*, double, double);
};

// clang-format off
const OpPair kOps[] = {
    {[](CQMatrix3x3& m, double a, double) { m.Rotate(a); }, [](double* m, double a, double) { QGDI_MatrixRotate(m, a); }},
    {[](CQMatrix3x3& m, double a, double b) { m.Scale(a, b); }, [](double* m, double a, double b) { QGDI_MatrixScale(m, a, b); }},
    {[](CQMatrix3x3& m, double a, double b) { m.Translate(a, b); },
     [](double* m, double a, double b) { QGDI_MatrixTranslate(m, a, b); }},
    {[](CQMatrix3x3& m, double a, double) { m.ShearX(a); }, [](double* m, double a, double) { QGDI_MatrixShearX(m, a); }},
    {[](CQMatrix3x3& m, double a, double) { m.ShearY(a); }, [](double* m, double a, double) { QGDI_MatrixShearY(m, a); }},
    {[](CQMatrix3x3& m, double a, double) { m.PerspectiveX(a * 0.1); },
     [](double* m, double a, double) { QGDI_MatrixPerspectiveX(m, a * 0.1); }},
    {[](CQMatrix3x3& m, double a, double) { m.PerspectiveY(a * 0.1); },
     [](double* m, double a, double) { QGDI_MatrixPerspectiveY(m, a * 0.1); }},
    {[](CQMatrix3x3& m, double a, double b) { m *= Mat({a, b, 1, 0.5, 2, a, 0, 0, 1}); },
     [](double* m, double a, double b) {
         const double o[9] = {a, b, 1, 0.5, 2, a, 0, 0, 1};
         QGDI_MatrixMulEquals(m, o);
     }},
};
// clang-format on

TEST(MatrixCompose, ReversedSequencesAgreeForEveryOperation) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-2, 2);
    std::uniform_int_distribution<int> pick(0, int(std::size(kOps)) - 1);
    for (int trial = 0; trial < 200; ++trial) {
        struct Step {
            int kind;
            double a, b;
        };
        Step steps[5];
        for (Step& st : steps) st = {pick(rng), u(rng), u(rng)};
        CQMatrix3x3 k;
        for (const Step& st : steps) kOps[st.kind].member(k, st.a, st.b);
        double f[9];
        QGDI_MatrixIdentity(f);
        for (int i = 4; i >= 0; --i) kOps[steps[i].kind].free(f, steps[i].a, steps[i].b);
        ExpectNear(k.Data(), f, 1e-9);
        EXPECT_EQ(k.GetFlags(), QGDI_MatrixFlagGet(k.Data())) << "cached flags stale";
    }
}

TEST(MatrixCompose, ShortcutsMatchFullProduct) {
    const CQMatrix3x3 general = Mat({2, 0.5, 3, -1, 1.5, 4, 0.01, 0.02, 1});
    CQMatrix3x3 t1, t2;
    t1.Translate(3, 0);
    t2.Translate(0, -4);
    const CQMatrix3x3 cases[][2] = {
        {CQMatrix3x3(), general}, {general, CQMatrix3x3()}, {t1, t2}, {t1, general}, {general, t2}};
    for (const auto& c : cases) {
        CQMatrix3x3 k = c[0];
        k *= c[1];
        double full[9];
        QGDI_MatrixMultiply(full, c[0].Data(), c[1].Data());
        ExpectNear(k.Data(), full, 1e-12);
        EXPECT_EQ(k.GetFlags(), QGDI_MatrixFlagGet(full));
    }
    CQMatrix3x3 k = t1;
    k *= t2;
    EXPECT_TRUE(k.IsTranslate());
}

TEST(MatrixCompose, MultiplyHandlesAliasingAndNulls) {
    const double a[9] = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    const double b[9] = {-1, 0.5, 2, 3, -2, 1, 0, 1, 1};
    double ab[9], aa[9];
    QGDI_MatrixMultiply(ab, a, b);
    QGDI_MatrixMultiply(aa, a, a);
    double x[9];
    std::memcpy(x, a, sizeof(x));
    QGDI_MatrixMultiply(x, x, b);
    ExpectNear(x, ab, 0);
    std::memcpy(x, b, sizeof(x));
    QGDI_MatrixMultiply(x, a, x);
    ExpectNear(x, ab, 0);
    std::memcpy(x, a, sizeof(x));
    QGDI_MatrixMultiply(x, x, x);
    ExpectNear(x, aa, 0);
    // A null input is the identity.
    QGDI_MatrixMultiply(x, nullptr, b);
    ExpectNear(x, b, 0);
    QGDI_MatrixMultiply(x, a, nullptr);
    ExpectNear(x, a, 0);
    QGDI_MatrixMultiply(nullptr, a, b);
    QGDI_MatrixRotate(nullptr, 1.0);

    CQMatrix3x3 k(a);
    k *= k;
    ExpectNear(k.Data(), aa, 0);
}

TEST(MatrixCompose, RotateAngleReducesDegrees) {
    struct {
        double a, b;
    } same[] = {{450, 90}, {-90, 270}, {720, 0}, {-450, 270}, {1e9, std::fmod(1e9, 360.0)}};
    for (const auto& c : same) {
        CQMatrix3x3 a, b;
        a.RotateAngle(c.a);
        b.RotateAngle(c.b);
        EXPECT_TRUE(a == b) << c.a << " vs " << c.b;
    }
}

TEST(MatrixCompose, NamedBuildersMoveAProbePoint) {
    struct {
        void (*build)(CQMatrix3x3&);
        SQPOINT in, out;
    } cases[] = {
        {[](CQMatrix3x3& m) { m.RotateAngle(90); }, {1, 0}, {0, 1}},
        {[](CQMatrix3x3& m) { m.ShearAngleX(45); }, {0, 2}, {2, 2}},
        {[](CQMatrix3x3& m) { m.ShearAngleY(-45); }, {2, 0}, {2, -2}},
        {[](CQMatrix3x3& m) { m.FlipY(10); }, {3, 2}, {3, 8}},
        {[](CQMatrix3x3& m) { m.Mirror(10); }, {3, 2}, {7, 2}},
    };
    for (const auto& c : cases) {
        CQMatrix3x3 m;
        c.build(m);
        SQPOINT p = c.in;
        m.Transform(p);
        ExpectPt(p, c.out.x, c.out.y, 1e-15);
    }
}

// ---- inverse and transforms ----

TEST(MatrixInverse, SingularBoundary) {
    struct {
        double d;
        int expected;
    } cases[] = {{1e-11, 0}, {1e-10, 1}, {0, 0}};
    for (const auto& c : cases) {
        // diag(d, d, d) has determinant d^3: 1e-33 and 1e-30.
        const CQMatrix3x3 m = Mat({c.d, 0, 0, 0, c.d, 0, 0, 0, c.d});
        CQMatrix3x3 out = Mat({9, 9, 9, 9, 9, 9, 9, 9, 9});
        EXPECT_EQ(m.GetInverse(out), c.expected);
        if (c.expected) {
            EXPECT_NEAR(out.GetCell(0, 0) * c.d, 1, 1e-12);
        } else {
            for (int i = 0; i < 9; ++i) EXPECT_EQ(out[i], 9) << "output must be untouched";
            SQPOINT p{1, 2};
            EXPECT_FALSE(m.InverseTransform(p));
            EXPECT_EQ(p.x, 1);
        }
    }
    double out[9];
    EXPECT_TRUE(QGDI_MatrixGetInverse(nullptr, out));
    EXPECT_TRUE(QGDI_MatrixIsIdentity(out));
}

TEST(MatrixInverse, RandomProjectiveRoundTrip) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int t = 0; t < 100; ++t) {
        CQMatrix3x3 m = Mat(
            {2 + u(rng), u(rng), 10 * u(rng), u(rng), 2 + u(rng), 10 * u(rng), 0.01 * u(rng), 0.01 * u(rng), 1});
        CQMatrix3x3 inv;
        ASSERT_EQ(m.GetInverse(inv), 1);
        CQMatrix3x3 prod = m * inv;
        const double scale = prod.GetCell(2, 2);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(prod[i] / scale, i % 4 == 0 ? 1 : 0, 1e-12);
        SQPOINT p{50 * u(rng), 50 * u(rng)}, q = p;
        m.Transform(q);
        ASSERT_TRUE(m.InverseTransform(q));
        ExpectPt(q, p.x, p.y, 1e-9);
        CQMatrix3x3 adj, tr;
        m.GetAdjoint(adj);
        m.GetTranspose(tr);
        EXPECT_NEAR(adj.GetCell(0, 1) / m.GetDeterminant(), inv.GetCell(0, 1), 1e-12);
        EXPECT_EQ(tr.GetCell(2, 0), m.GetCell(0, 2));
    }
}

struct IntPointCase {
    double tx, ty, scale;
    POINT in, expected;
};

class MatrixIntegerPoint : public testing::TestWithParam<IntPointCase> {};

// Translate-only rounds the offset half away from zero; anything more truncates the result.
TEST_P(MatrixIntegerPoint, Rounding) {
    const IntPointCase& c = GetParam();
    CQMatrix3x3 m = Mat({c.scale, 0, c.tx, 0, c.scale, c.ty, 0, 0, 1});
    POINT p = c.in;
    m.Transform(p);
    EXPECT_EQ(std::pair(p.x, p.y), std::pair(c.expected.x, c.expected.y));
}

INSTANTIATE_TEST_SUITE_P(Cases, MatrixIntegerPoint,
                         testing::Values(IntPointCase{2.5, -2.5, 1, {0, 0}, {3, -3}},
                                         IntPointCase{2.5, -2.5, 1 + 1e-5, {0, 0}, {2, -2}},
                                         IntPointCase{0.4999, -0.5, 1, {10, 10}, {10, 9}},
                                         IntPointCase{-1.7, 1.7, 1 + 1e-5, {0, 0}, {-1, 1}},
                                         IntPointCase{0, 0, 2, {-3, 3}, {-6, 6}},
                                         IntPointCase{1e12, 0, 1, {0, 0}, {INT32_MAX, 0}}));

TEST(MatrixTransform, RectanglesBoundTheirCorners) {
    CQMatrix3x3 r;
    r.RotateAngle(90);
    CQRect rc(0, 0, 4, 2);
    r.Transform(rc);
    ExpectPt(rc.TopLeft(), -2, 0, 1e-12);
    ExpectPt(rc.BottomRight(), 0, 4, 1e-12);
    CQMatrix3x3 t;
    t.Translate(2.5, 0);
    CRect irc(0, 0, 4, 2);
    t.Transform(irc);
    EXPECT_EQ(irc, CRect(3, 0, 7, 2));
}

TEST(MatrixTransform, ArrayFormsMatchSinglePoints) {
    const CQMatrix3x3 cases[] = {CQMatrix3x3(), Mat({1, 0, 3, 0, 1, -2, 0, 0, 1}), Mat({2, 1, 3, -1, 2, 4, 0, 0, 1}),
                                 Mat({2, 1, 3, -1, 2, 4, 1e-3, 2e-3, 1.5})};
    for (const CQMatrix3x3& m : cases) {
        SQPOINT pts[7], free[7], arr[7];
        for (int i = 0; i < 7; ++i) pts[i] = free[i] = arr[i] = {i * 3.5 - 4, 10.0 - i};
        m.Transform(arr, 7);
        QGDI_MatrixTransform(m.Data(), free, 7);
        for (int i = 0; i < 7; ++i) {
            SQPOINT one = pts[i];
            m.Transform(one);
            EXPECT_TRUE(arr[i].x == one.x && arr[i].y == one.y) << i;
            ExpectPt(free[i], one.x, one.y, 1e-12);
        }
    }
}

TEST(MatrixTransform, DistanceIgnoresTranslation) {
    CQMatrix3x3 m;
    m.Translate(100, 200);
    m.Scale(2, 3);
    SQPOINT v{1, 1};
    m.DistanceTransform(v);
    ExpectPt(v, 2, 3, 0);
    ASSERT_TRUE(m.InverseDistanceTransform(v));
    ExpectPt(v, 1, 1, 1e-15);
}

// ---- ordering ----

TEST(MatrixCompare, LastDifferingRowWins) {
    struct {
        CQMatrix3x3 a, b;
        int expected;
    } cases[] = {
        {Mat({0, 0, 0, 0, 1, 0, 0, 0, 2}), CQMatrix3x3(), 1},
        {Mat({2, 0, 0, 0, 1, 0, 0, 0, 0}), CQMatrix3x3(), -1},
        {Mat({1, 5, -5, 0, 1, 0, 0, 0, 1}), CQMatrix3x3(), 1},
        {Mat({1, 0, 0, 0, 1, 0, 0, 0, 1 + 5e-7}), CQMatrix3x3(), 0},
        {Mat({1, 0, 0, -3, 9, 0, 0, 0, 1}), CQMatrix3x3(), -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.a.Compare(c.b), c.expected);
        EXPECT_EQ(c.b.Compare(c.a), -c.expected);
        EXPECT_EQ(c.a == c.b, c.expected == 0);
        EXPECT_EQ(c.a < c.b, c.expected == -1);
        EXPECT_EQ(c.a > c.b, c.expected == 1);
    }
}

// ---- decomposition ----

struct DecomposeCase {
    double m[9];
    bool ok;
    double sx, sy, angle;
};

class MatrixDecompose : public testing::TestWithParam<DecomposeCase> {};

TEST_P(MatrixDecompose, ScalingAndRotation) {
    const DecomposeCase& c = GetParam();
    double sx = -1, sy = -1, angle = -1;
    EXPECT_EQ(QGDI_MatrixDecomposeScalingAndRotation(c.m, sx, sy, angle), c.ok);
    EXPECT_NEAR(angle, c.angle, 1e-12);
    if (c.ok) ExpectPt({sx, sy}, c.sx, c.sy, 1e-12);
}

// A rotation by a is [cos -sin; sin cos]; the decomposition returns atan2(-m1/sx, m0/sx).
const double kC = std::cos(2.0), kS = std::sin(2.0);
INSTANTIATE_TEST_SUITE_P(
    Cases, MatrixDecompose,
    testing::Values(DecomposeCase{{1, 0, 5, 0, 1, 6, 0, 0, 1}, true, 1, 1, 0},
                    DecomposeCase{{0, -3, 0, 3, 0, 0, 0, 0, 1}, true, 3, 3, kQPiFull / 2},
                    DecomposeCase{{-2, 0, 0, 0, -2, 0, 0, 0, 1}, true, 2, 2, kQPiFull},
                    DecomposeCase{{2 * kC, -2 * kS, 0, 2 * kS, 2 * kC, 0, 0, 0, 1}, true, 2, 2, 2.0},
                    DecomposeCase{{2 * kC, 2 * kS, 0, -2 * kS, 2 * kC, 0, 0, 0, 1}, true, 2, 2, -2.0},
                    DecomposeCase{{1, 0.5, 0, 0, 1, 0, 0, 0, 1}, false, 0, 0, 0},
                    DecomposeCase{{-1, 0, 0, 0, 1, 0, 0, 0, 1}, false, 0, 0, 0},
                    DecomposeCase{{2, 0, 0, 0, 3, 0, 0, 0, 1}, true, 2, 3, 0},
                    DecomposeCase{{2 * kC, -2 * kS, 0, 5 * kS, 5 * kC, 0, 0, 0, 1}, true, 2, 5, 2.0},
                    DecomposeCase{{2 * kC, -2 * kS, 0, 2 * kS, -2 * kC, 0, 0, 0, 1}, false, 0, 0, 0},
                    DecomposeCase{{0, 0, 0, 0, 1, 0, 0, 0, 1}, false, 0, 0, 0}));

// ---- angles ----

TEST(Angles, Quadrants) {
    struct {
        double a;
        int q;
    } cases[] = {{0, 0},         {1.5, 0},  {kQPiHalf, 1}, {3.1, 1},  {4.0, 1},
                 {-kQPiHalf, 3}, {-0.1, 3}, {-1.6, 2},     {-3.1, 2}, {-kQPiFull / 2, 2}};
    for (const auto& c : cases) EXPECT_EQ(QGDI_AngleQuadrant(c.a), c.q) << c.a;
}

TEST(Angles, Normalisation) {
    struct {
        double in, out;
    } cases[] = {{0, 0},
                 {kQPi, kQPi},
                 {-kQPi, -kQPi},
                 {4.0, 4.0 - kQ2Pi},
                 {-4.0, -4.0 + kQ2Pi},
                 {7 * kQ2Pi + 0.5, 0.5},
                 {-7 * kQ2Pi - 0.5, -0.5}};
    for (const auto& c : cases) {
        const double n = QGDI_AngleNormalized(c.in);
        EXPECT_NEAR(n, c.out, 1e-12) << c.in;
        EXPECT_TRUE(QGDI_AngleIsNormalized(n));
    }
    EXPECT_FALSE(QGDI_AngleIsNormalized(3.1416));
}

TEST(Angles, BetweenVectors) {
    struct {
        SQPOINT a, v, b;
        bool ok;
        double angle;
    } cases[] = {{{2, 1}, {1, 1}, {1, 2}, true, kQPiFull / 2},
                 {{1, 2}, {1, 1}, {2, 1}, true, -kQPiFull / 2},
                 {{2, 1}, {1, 1}, {0, 1}, true, kQPiFull},
                 {{5, 5}, {0, 0}, {-5, 5}, true, kQPiFull / 2},
                 {{1, 1}, {1, 1}, {2, 2}, false, 0}};
    for (const auto& c : cases) {
        double a = -9;
        EXPECT_EQ(QGDI_GetAngle(a, c.a, c.v, c.b), c.ok);
        EXPECT_NEAR(a, c.angle, 1e-12);
    }
    EXPECT_TRUE(QGDI_IsSamePoint({1, 2}, {1 + 5e-7, 2 - 5e-7}));
    EXPECT_FALSE(QGDI_IsSamePoint({1, 2}, {1 + 2e-6, 2}));
}

}  // namespace
