// Small named drawings through the context against the same drawings
// rendered by librsvg (rsvg-convert 2.54, 24 x 24, black on white; the SVG
// of each stands above its picture). Grey values, one hex byte a pixel.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "drawing/QDC.h"

namespace {

// <polygon points="4,20 12,3.5 20,20" fill="none" stroke="#000" stroke-width="3" stroke-linejoin="miter"/>
// <circle cx="15" cy="9" r="6.5"/> <line x1="3" y1="21" x2="13.5" y2="13" stroke-width="4" stroke-linecap="round"/>
// <rect x="3.5" y="3.5" width="17" height="17" fill="none" stroke-width="2" stroke-dasharray="5 3"/>
const char* const kG1[] = {
    "ffffffffffffffffffffffc8c8ffffffffffffffffffffff",
    "ffffffffffffffffffffff4c4dffffffffffffffffffffff",
    "ffffffffffffffffffffd00100ccffffffffffffffffffff",
    "ffffffffffffffffffff54000054ffffffffffffffffffff",
    "ffffffffffffffffffd502000002d5ffffffffffffffffff",
    "ffffffffffffffffff5c000000005dffffffffffffffffff",
    "ffffffffffffffffdb040000000004dbffffffffffffffff",
    "ffffffffffffffff6300004544000064ffffffffffffffff",
    "ffffffffffffffe2060000c1c0000005e0ffffffffffffff",
    "ffffffffffffff6b00003affff3d00006cffffffffffffff",
    "ffffffffffffe7090000b9ffffb8000008e5ffffffffffff",
    "ffffffffffff73000032feffffff35000074ffffffffffff",
    "ffffffffffec0c0000b1ffffffffb000000beaffffffffff",
    "ffffffffff7a00002ffefffffffffe3200007bffffffffff",
    "fffffffff0100000a9ffffffffffffa800000eeeffffffff",
    "ffffffff81000028fdfffffffffffffd2b000082ffffffff",
    "fffffff4140000a2ffffffffffffffffa1000012f2ffffff",
    "ffffff89000022fbfffffffffffffffffc2500008affffff",
    "fffff6170000438888888888888888888843000017f6ffff",
    "ffff9100000000000000000000000000000000000092ffff",
    "fff91c0000000000000000000000000000000000001cf9ff",
    "ffd87777777777777777777777777777777777777777d8ff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
};
const char* const kG2[] = {
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "fffffffffffffffffffffffff5b18d8eb1f5ffffffffffff",
    "fffffffffffffffffffffe8c1000000000108efeffffffff",
    "fffffffffffffffffffe5b00000000000000005cfeffffff",
    "ffffffffffffffffff8c000000000000000000008fffffff",
    "fffffffffffffffff5100000000000000000000011f6ffff",
    "ffffffffffffffffb2000000000000000000000000b4ffff",
    "ffffffffffffffff8b0000000000000000000000008dffff",
    "ffffffffffffffff8c0000000000000000000000008effff",
    "ffffffffffffffffb2000000000000000000000000b4ffff",
    "fffffffffffffffff5100000000000000000000012f6ffff",
    "ffffffffffffffffff8e0000000000000000000091ffffff",
    "fffffffffffffffffe870100000000000000005efeffffff",
    "ffffffffffffffee4d00000000000000001291feffffffff",
    "ffffffffffffcd220000000001548c8eb3f6ffffffffffff",
    "ffffffffffa1090000000013b6ffffffffffffffffffffff",
    "fffffff359000000000034deffffffffffffffffffffffff",
    "ffffd72b000000000066f9ffffffffffffffffffffffffff",
    "ffb20a000000000facffffffffffffffffffffffffffffff",
    "ff1b0000000030dbffffffffffffffffffffffffffffffff",
    "ff1b00000064f6ffffffffffffffffffffffffffffffffff",
    "ffb31a1aa2ffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
};
const char* const kG3[] = {
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffbf7f7f7f7f7fbfffffbf7f7f7f7fbfffffbf7fbfffff",
    "ffff7f00000000007fffff7f000000007fffff7f007fffff",
    "ffff7f003f7f7f7fbfffffbf7f7f7f7fbfffff7f007fffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffffbf7fbfffffffffffffffffffffffffffffbf7fbfffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffbf7fbfffffffffffffffffffffffffffffbf7fbfffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffff7f007fffffffffffffffffffffffffffff7f007fffff",
    "ffffbf7fbfffffffffffffffffffffffffffffbf7fbfffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffbf7fbfffffffffffffffffffffffffffffbf7fbfffff",
    "ffff7f003f7fbfffffbf7f7f7f7fbfffffbf7f3f007fffff",
    "ffff7f0000007fffff7f000000007fffff7f0000007fffff",
    "ffffbf7f7f7fbfffffbf7f7f7f7fbfffffbf7f7f7fbfffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
    "ffffffffffffffffffffffffffffffffffffffffffffffff",
};

struct SGolden {
    const char* name;
    const char* const* rows;
    void (*draw)(CQDC& dc);
};

const SGolden kGoldens[] = {
    {"mitred triangle", kG1,
     [](CQDC& dc) {
         const SQPOINT p[] = {{4, 20}, {12, 3.5}, {20, 20}};
         dc->SetStrokeWidth(3);
         dc.Polygon(p, 3, keDrawStroke).Ignore();
     }},
    {"disc and round-capped line", kG2,
     [](CQDC& dc) {
         dc.SetFillColorRGB(0, 0, 0);
         dc.Ellipse({8.5, 2.5, 21.5, 15.5}, keDrawFill).Ignore();
         dc->SetStrokeWidth(4);
         dc->SetStrokeLineCap(keLineCapRound, -2);
         dc.Line({3, 21}, {13.5, 13}).Ignore();
     }},
    {"dashed square", kG3,
     [](CQDC& dc) {
         const double dash[] = {5, 3};
         dc->SetStrokeWidth(2);
         dc->SetStrokeDash(dash, 2, 0);
         dc.Rectangle({3.5, 3.5, 20.5, 20.5}, keDrawStroke).Ignore();
     }},
};

}  // namespace

TEST(GoldenDrawings, MatchLibrsvgWithinAFewLevels) {
    for (const SGolden& g : kGoldens) {
        CRowIterator img;
        const CColorRef white(255, 255, 255, 255);
        ASSERT_FALSE(img.Create(24, 24, keFormatBGRA, &white).IsError());
        CQDC dc;
        ASSERT_FALSE(dc.AttachIter(&img).IsError());
        dc.SetStrokeColorRGB(0, 0, 0);
        g.draw(dc);
        double sum = 0;
        int worst = 0;
        for (int y = 0; y < 24; ++y) {
            const uint8_t* row = nullptr;
            ASSERT_FALSE(img.GetRow(row, y).IsError());
            for (int x = 0; x < 24; ++x) {
                const int want = int(std::strtol(std::string(g.rows[y] + 2 * x, 2).c_str(), nullptr, 16));
                const int d = std::abs(int(row[4 * x + 1]) - want);
                sum += d;
                worst = std::max(worst, d);
            }
            img.ReleaseRow(y).Ignore();
        }
        // Anti-aliasing differs in detail (our 8 x 8 grid against exact
        // areas): a small mean, and no pixel far off.
        EXPECT_LE(sum / (24 * 24), 3.0) << g.name;
        EXPECT_LE(worst, 64) << g.name;
    }
}
