// The example of the README, built against the shared library: if it stops
// compiling or running, the README is wrong.
#include <gtest/gtest.h>

#include <qgdi.h>

namespace {

void ReadmeExample() {
    if (QGDI_SystemStartup().IsError()) return;  // row-operation tables, once per process
    CStatusControl::CreateCS();                  // progress lock; this thread is the UI thread

    CRowIterator image;  // rows held in bands of 128
    if (image.Create(1920, 1080, keFormatBGRA).IsError()) return;

    const RECT area{100, 100, 600, 400};
    CRowOpDefRowFill orange(0xFF0080FFu);            // colour: red in the low byte
    PixelIterator_ApplyRowOp(orange, image, &area);  // bound once, rows in parallel

    CStatusControl status;  // 0..100 %, split in two steps
    status.SetNumberOfSteps(2);
    {
        CStatusControl pass(&status);  // covers step 0: 0..50 %
        CRowOpDefRowHSLAdjust warmer(-10, 0.1, 0);
        if (!PixelIterator_ApplyRowOp(warmer, image, nullptr, &pass)) return;  // cancelled
    }                                                                          // closing it moves the parent to step 1

    for (int y = 0; y < image.GetHeight(); ++y) {  // direct row access
        TAutoRow<unsigned char> row(image, y);     // GetRow now, ReleaseRow at scope end
        if (row.IsValid()) row.Get()[3] = 128;     // alpha of the first pixel
    }

    CRowOpDefRowFill ink(0xFF202020u);
    CRowOpData run;  // formats bound once, kernel state prepared once
    run.eDstFormat = keFormatBGRA;
    const CRowOp op(&ink, run);
    if (TAutoRow<unsigned char> row(image, 10); row.IsValid()) {
        run.pDst = row.Get() + 4 * 200;            // 12 pixels from column 200 of row 10,
        run.nCount = 12, run.x = 200, run.y = 10;  // as a rasteriser delivers a run
        op.Span(run, 128).Ignore();                // at half coverage (SpanMasked: a coverage mask)
    }
    if (PixelIterator_ApplyRowOpChecked(ink, image) == keQuorErrOutOfMemory) return;  // 100, 102 or 0

    double L, a, b;
    RGBDtoLab(1.0, 0.0, 0.0, L, a, b, kColorSpecSRGB);  // 53.24, 80.09, 67.20

    CQMatrix3x3 m;
    m.RotateAngle(30);  // degrees; members post-multiply
    m.Translate(10, 0);
    SQPOINT p{1, 1};
    m.Transform(p);

    CStatusControl::DeleteCS();
    QGDI_SystemShutdown();
    EXPECT_NEAR(L, 53.24, 0.01);
    EXPECT_NE(p.x, 1.0);
}

TEST(Readme, ExampleRuns) { ReadmeExample(); }

}  // namespace
