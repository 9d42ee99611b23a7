#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "deformation/CoordinatorFactory.h"
#include "deformation/MeshWarp.h"
#include "deformation/WarpMesh.h"
#include "deformation/WarpRender.h"

namespace {

constexpr double kPi = 3.14159265358979;

// A BGRA image whose pixels all differ, with varying alpha.
void MakeImage(CRowIterator& image, int w, int h) {
    ASSERT_FALSE(image.Create(w, h, keFormatBGRA).IsError());
    for (int y = 0; y < h; ++y) {
        uint8_t* row = nullptr;
        ASSERT_FALSE(image.GetRow(row, y).IsError());
        for (int x = 0; x < w; ++x) {
            row[4 * x] = static_cast<uint8_t>(x * 7 + y);
            row[4 * x + 1] = static_cast<uint8_t>(y * 5 + x * 3);
            row[4 * x + 2] = static_cast<uint8_t>(x ^ y);
            row[4 * x + 3] = static_cast<uint8_t>(128 + ((x + y) & 127));
        }
        ASSERT_FALSE(image.ReleaseRow(y).IsError());
    }
}

std::vector<uint8_t> Pixels(const CRowIterator& image, EQPixelFormat format) {
    CRowIterator view;
    EXPECT_FALSE(view.CreateFromCopy(image, nullptr, format).IsError());
    const int w = view.GetWidth(), bpp = CRowIterator::GetBPP(format) / 8;
    std::vector<uint8_t> out(static_cast<size_t>(w) * bpp * view.GetHeight());
    for (int y = 0; y < view.GetHeight(); ++y)
        EXPECT_FALSE(view.GetAndCopyRow(&out[static_cast<size_t>(y) * w * bpp], y, 0, w, static_cast<size_t>(w) * bpp).IsError());
    return out;
}

SWarpBrush Brush(EWarpTool tool, double radius, EWarpFalloff falloff = keWarpFalloffSmooth, double strength = 0.8) {
    SWarpBrush b;
    b.eTool = tool;
    b.fRadius = radius;
    b.fStrength = strength;
    b.eFalloff = falloff;
    return b;
}

TEST(WarpMesh, ReconstructReturnsTheMeshToIdentity) {
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(300, 200).IsError());
    for (EWarpTool tool : {keWarpPush, keWarpTwirlClockwise, keWarpTwirlCounterClockwise, keWarpPinch, keWarpBloat})
        mesh.Stroke(Brush(tool, 60), 40, 50, 220, 150);
    ASSERT_GT(mesh.MaxDisplacement(), 5.0);
    // Soft dabs take the warp back a little each time, never overshooting.
    double before = mesh.MaxDisplacement();
    for (int k = 0; k < 20; ++k) {
        mesh.Dab(Brush(keWarpReconstruct, 1000, keWarpFalloffGaussian, 0.5), 150, 100);
        const double now = mesh.MaxDisplacement();
        EXPECT_LE(now, before + 1e-6);
        before = now;
    }
    mesh.Dab(Brush(keWarpReconstruct, 1000, keWarpFalloffHard, 1.0), 150, 100);
    EXPECT_EQ(mesh.MaxDisplacement(), 0.0);
}

// One dab at full strength with a hard brush moves every node inside it by
// the tool's exact motion; the nodes show where their pixels came from.
TEST(WarpMesh, BrushesMoveNodesByTheirMotion) {
    const double cx = 80, cy = 64, a = 30 * kPi / 180;
    struct {
        EWarpTool tool;
        double (*fx)(double, double, double);
        double (*fy)(double, double, double);
    } const cases[] = {
        {keWarpPush, [](double x, double, double) { return x - 6; }, [](double, double y, double) { return y - 4; }},
        {keWarpTwirlClockwise, [](double x, double y, double a) { return 80 + (x - 80) * std::cos(a) + (y - 64) * std::sin(a); },
         [](double x, double y, double a) { return 64 - (x - 80) * std::sin(a) + (y - 64) * std::cos(a); }},
        {keWarpTwirlCounterClockwise, [](double x, double y, double a) { return 80 + (x - 80) * std::cos(a) - (y - 64) * std::sin(a); },
         [](double x, double y, double a) { return 64 + (x - 80) * std::sin(a) + (y - 64) * std::cos(a); }},
        {keWarpPinch, [](double x, double, double) { return 80 + (x - 80) * 1.2; }, [](double, double y, double) { return 64 + (y - 64) * 1.2; }},
        {keWarpBloat, [](double x, double, double) { return 80 + (x - 80) * 0.8; }, [](double, double y, double) { return 64 + (y - 64) * 0.8; }},
    };
    for (const auto& c : cases) {
        CWarpMesh mesh;
        ASSERT_FALSE(mesh.Create(160, 128).IsError());
        SWarpBrush b = Brush(c.tool, 24, keWarpFalloffHard, 1.0);
        b.fTwirlDegrees = 30;
        const RECT dirty = mesh.Dab(b, cx, cy, 6, 4);
        for (int y = 48; y <= 80; y += 8)
            for (int x = 64; x <= 96; x += 8) {
                double sx, sy;
                mesh.Map(x, y, sx, sy);
                if (std::hypot(x - cx, y - cy) <= 16) {
                    EXPECT_NEAR(sx, c.fx(x, y, a), 1e-3) << c.tool << " at " << x << "," << y;
                    EXPECT_NEAR(sy, c.fy(x, y, a), 1e-3) << c.tool << " at " << x << "," << y;
                    EXPECT_TRUE(x >= dirty.left && x < dirty.right && y >= dirty.top && y < dirty.bottom);
                } else if (std::hypot(x - cx, y - cy) > 24 + 8 * 1.5) {
                    EXPECT_EQ(sx, x);
                    EXPECT_EQ(sy, y);
                }
            }
    }
}

TEST(WarpMesh, BadStrokesAreHarmless) {
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(64, 48).IsError());
    const struct {
        double x, y, radius, strength;
    } strokes[] = {{-500, -500, 40, 1}, {10000, 20, 50, 1}, {NAN, 10, 20, 1}, {10, 10, INFINITY, 1},
                   {10, 10, -5, 1},     {10, 10, 0, 1},     {20, 20, 10, 0},   {20, 20, 10, NAN}};
    for (const auto& s : strokes)
        for (EWarpTool tool : {keWarpPush, keWarpTwirlClockwise, keWarpPinch, keWarpBloat, keWarpReconstruct}) {
            SWarpBrush b = Brush(tool, s.radius, keWarpFalloffSmooth, s.strength);
            const RECT r = mesh.Dab(b, s.x, s.y, 5, 5);
            EXPECT_TRUE(r.right <= r.left || r.bottom <= r.top);
            mesh.Stroke(b, s.x, s.y, s.x + 3, s.y);
        }
    EXPECT_EQ(mesh.MaxDisplacement(), 0.0);
    // A brush far larger than the image reaches every node and nothing else.
    const RECT all = mesh.Dab(Brush(keWarpPush, 1e6, keWarpFalloffHard, 1), 32, 24, 3, 0);
    EXPECT_EQ(all.left, 0);
    EXPECT_EQ(all.right, 64);
    EXPECT_EQ(all.bottom, 48);
    CWarpMesh bad;
    for (int size : {0, -1}) EXPECT_EQ(bad.Create(size, 10), keQuorErrFailed);
    EXPECT_EQ(bad.Create(10, 10, 1), keQuorErrFailed);
    EXPECT_TRUE(bad.IsEmpty());
    EXPECT_TRUE(bad.Dab(Brush(keWarpPush, 10), 0, 0, 1, 1).right == 0);
}

TEST(WarpMesh, HistoryRestoresSavedStates) {
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(100, 100).IsError());
    CWarpHistory history;
    EXPECT_FALSE(history.Undo(mesh));
    const auto identity = mesh.SaveState();
    history.Record(mesh);
    mesh.Dab(Brush(keWarpPinch, 30), 50, 50);
    const auto pinched = mesh.SaveState();
    history.Record(mesh);
    mesh.Dab(Brush(keWarpPush, 30), 50, 50, 10, 0);
    ASSERT_TRUE(history.Undo(mesh));
    EXPECT_EQ(mesh.SaveState(), pinched);
    ASSERT_TRUE(history.Undo(mesh));
    EXPECT_EQ(mesh.SaveState(), identity);
    ASSERT_TRUE(history.Redo(mesh));
    EXPECT_EQ(mesh.SaveState(), pinched);
    CWarpMesh other;
    ASSERT_FALSE(other.Create(10, 10).IsError());
    EXPECT_FALSE(other.RestoreState(pinched));
}

// A coordinate map composed into an identity mesh gives the map's positions
// at the nodes, and the mesh served back as a map gives them at every pixel.
TEST(WarpMesh, CoordinateMapsAreGlobalDeformations) {
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(96, 80).IsError());
    std::unique_ptr<CCoordinator> twirl(Create_CCoordinatorTwirl(60));
    ASSERT_TRUE(mesh.ApplyCoordinator(*twirl));
    for (int j = 0; j < mesh.GetRows(); ++j)
        for (int i = 0; i < mesh.GetCols(); ++i) {
            POINT p;
            twirl->GetCoordinates(&p, j * mesh.GetCell(), i * mesh.GetCell(), 1);
            double sx, sy;
            mesh.Map(i * mesh.GetCell(), j * mesh.GetCell(), sx, sy);
            EXPECT_NEAR(sx, p.x / 256.0, 1e-3);
            EXPECT_NEAR(sy, p.y / 256.0, 1e-3);
        }
    std::unique_ptr<CCoordinator> back(mesh.CreateCoordinator());
    ASSERT_TRUE(back && back->Realize(96, 80));
    EXPECT_FALSE(back->Realize(95, 80));
    ASSERT_TRUE(back->Realize(96, 80));
    std::vector<POINT> row(96);
    for (int y : {0, 13, 79}) {
        back->GetCoordinates(row.data(), y, 0, 96);
        for (int x = 0; x < 96; x += 5) {
            double sx, sy;
            mesh.Map(x, y, sx, sy);
            EXPECT_NEAR(row[x].x, sx * 256, 1.0);
            EXPECT_NEAR(row[x].y, sy * 256, 1.0);
        }
    }
}

TEST(WarpRender, IdentityMeshRendersTheSourceExactly) {
    CRowIterator image;
    MakeImage(image, 57, 41);
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(57, 41, 6).IsError());
    CRowIterator out;
    ASSERT_FALSE(QGDI_WarpImage(image, mesh, out).IsError());
    EXPECT_EQ(out.GetPixelFormat(), keFormatBGRA);
    EXPECT_EQ(Pixels(out, keFormatBGRxA), Pixels(image, keFormatBGRxA));
    CWarpRenderer renderer;
    ASSERT_FALSE(renderer.SetSource(image, 1).IsError());
    ASSERT_FALSE(renderer.UpdatePreview(mesh).IsError());
    const auto want = Pixels(image, keFormatBGRxA);
    EXPECT_EQ(std::memcmp(renderer.GetPreview(), want.data(), want.size()), 0);
}

// A push seen in the pixels: the full render and the preview agree with the
// source read where the mesh says, and only inside the dab's rectangle.
TEST(WarpRender, RenderAndPreviewFollowTheMesh) {
    CRowIterator image;
    MakeImage(image, 120, 90);
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(120, 90).IsError());
    CWarpRenderer renderer;
    ASSERT_FALSE(renderer.SetSource(image, 2).IsError());
    ASSERT_FALSE(renderer.UpdatePreview(mesh).IsError());
    std::vector<uint32_t> before(renderer.GetPreview(), renderer.GetPreview() + 60 * 45);
    const RECT dirty = mesh.Dab(Brush(keWarpPush, 20, keWarpFalloffHard, 1), 60, 44, 8, 0);
    ASSERT_FALSE(renderer.UpdatePreview(mesh, &dirty).IsError());
    int changed = 0;
    for (int y = 0; y < 45; ++y)
        for (int x = 0; x < 60; ++x)
            if (renderer.GetPreview()[y * 60 + x] != before[static_cast<size_t>(y) * 60 + x]) {
                ++changed;
                EXPECT_TRUE(2 * x + 1 >= dirty.left && 2 * x < dirty.right && 2 * y + 1 >= dirty.top && 2 * y < dirty.bottom);
            }
    EXPECT_GT(changed, 20);
    CRowIterator out;
    ASSERT_FALSE(renderer.Render(mesh, out).IsError());
    const auto src = Pixels(image, keFormatBGRxA), got = Pixels(out, keFormatBGRxA);
    // Inside the hard brush the shift is exactly 8 pixels: whole-pixel reads.
    for (int y = 36; y <= 52; ++y)
        for (int x = 58; x <= 70; ++x)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(got[(static_cast<size_t>(y) * 120 + x) * 4 + c], src[(static_cast<size_t>(y) * 120 + x - 8) * 4 + c]);
    EXPECT_EQ(renderer.UpdatePreview(CWarpMesh()), keQuorErrFailed);
    CWarpRenderer empty;
    CRowIterator none;
    EXPECT_EQ(empty.Render(mesh, none), keQuorErrFailed);
    EXPECT_EQ(empty.SetSource(image, 0), keQuorErrFailed);
}

TEST(MeshWarp, UnmovedControlPointsAreTheIdentity) {
    CRowIterator image;
    MakeImage(image, 77, 53);
    for (int grid : {2, 3, 5}) {
        CMeshWarp warp;
        ASSERT_FALSE(warp.Create(77, 53, grid, grid + 1).IsError());
        EXPECT_TRUE(warp.IsIdentity());
        CWarpMesh mesh;
        ASSERT_FALSE(mesh.Create(77, 53, 4).IsError());
        ASSERT_FALSE(warp.ToWarpMesh(mesh).IsError());
        EXPECT_LT(mesh.MaxDisplacement(), 1e-3) << grid;
        CRowIterator out;
        ASSERT_FALSE(QGDI_WarpImage(image, mesh, out).IsError());
        EXPECT_EQ(Pixels(out, keFormatBGRxA), Pixels(image, keFormatBGRxA)) << grid;
    }
}

TEST(MeshWarp, DraggedPointsCarryTheirPixels) {
    CMeshWarp warp;
    ASSERT_FALSE(warp.Create(201, 151, 5, 4).IsError());
    const SQPOINT rest = warp.GetRestPoint(2, 1), rest2 = warp.GetRestPoint(3, 2);
    ASSERT_TRUE(warp.SetPoint(2, 1, rest.x + 17, rest.y - 9));
    ASSERT_TRUE(warp.SetPoint(3, 2, rest2.x - 12, rest2.y + 6));
    EXPECT_FALSE(warp.SetPoint(5, 0, 1, 1));
    EXPECT_FALSE(warp.SetPoint(0, 0, NAN, 1));
    // The surface passes through every control point.
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 5; ++i) {
            const SQPOINT e = warp.Evaluate(i, j), p = warp.GetPoint(i, j);
            EXPECT_NEAR(e.x, p.x, 1e-9);
            EXPECT_NEAR(e.y, p.y, 1e-9);
        }
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(201, 151, 4).IsError());
    ASSERT_FALSE(warp.ToWarpMesh(mesh).IsError());
    for (const auto& [i, j] : {std::pair{2, 1}, std::pair{3, 2}, std::pair{0, 0}, std::pair{4, 3}}) {
        const SQPOINT p = warp.GetPoint(i, j), r = warp.GetRestPoint(i, j);
        double sx, sy;
        mesh.Map(p.x, p.y, sx, sy);
        EXPECT_NEAR(sx, r.x, 0.5);
        EXPECT_NEAR(sy, r.y, 0.5);
    }
    const auto saved = warp.SaveState();
    warp.Reset();
    EXPECT_TRUE(warp.IsIdentity());
    ASSERT_TRUE(warp.RestoreState(saved));
    EXPECT_FALSE(warp.IsIdentity());
    CWarpMesh other;
    ASSERT_FALSE(other.Create(200, 151).IsError());
    EXPECT_EQ(warp.ToWarpMesh(other), keQuorErrFailed);
    EXPECT_EQ(warp.Create(1, 10), keQuorErrFailed);
}

}  // namespace

namespace {

// The preview (bilinear, full size) and the full render (bicubic) of a
// smooth image after a twirl agree to within a few levels.
TEST(WarpRender, PreviewAgreesWithTheFullRender) {
    CRowIterator image;
    ASSERT_FALSE(image.Create(96, 64, keFormatBGRA).IsError());
    for (int y = 0; y < 64; ++y) {
        uint8_t* row = image.GetRow(y, 0, 96);
        for (int x = 0; x < 96; ++x) {
            row[4 * x] = static_cast<uint8_t>(128 + 100 * std::sin(x * 0.1));
            row[4 * x + 1] = static_cast<uint8_t>(128 + 100 * std::cos(y * 0.13));
            row[4 * x + 2] = static_cast<uint8_t>(x + y);
            row[4 * x + 3] = 255;
        }
        image.ReleaseRow(y).Ignore();
    }
    CWarpMesh mesh;
    ASSERT_FALSE(mesh.Create(96, 64).IsError());
    SWarpBrush b;
    b.eTool = keWarpTwirlClockwise;
    b.fRadius = 30;
    for (int k = 0; k < 4; ++k) mesh.Dab(b, 48, 32);
    CWarpRenderer renderer;
    renderer.SetClampEdges(true);
    ASSERT_FALSE(renderer.SetSource(image, 1).IsError());
    ASSERT_FALSE(renderer.UpdatePreview(mesh).IsError());
    CRowIterator out;
    ASSERT_FALSE(renderer.Render(mesh, out).IsError());
    const auto full = Pixels(out, keFormatBGRxA);
    const uint8_t* preview = reinterpret_cast<const uint8_t*>(renderer.GetPreview());
    double sum = 0;
    int worst = 0;
    for (size_t i = 0; i < full.size(); ++i) {
        const int d = std::abs(int(full[i]) - int(preview[i]));
        sum += d;
        worst = std::max(worst, d);
    }
    EXPECT_LT(sum / full.size(), 1.5);
    EXPECT_LT(worst, 24);
}

}  // namespace
