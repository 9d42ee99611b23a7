#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "path_test_util.h"

using namespace pathtest;

namespace {

std::string Commands(const char* text, bool* ok = nullptr, size_t* at = nullptr) {
    CQPathBuffer buf;
    buf.Create(64);
    const bool r = QGDI_PathDataParse(text, std::strlen(text), &buf, at);
    if (ok) *ok = r;
    std::ostringstream s;
    SQPATHCMD c;
    while (buf.Next(c)) {
        s << "MLQCAZ"[c.command];
        if (c.command == keCmdQuadraticCurveTo || c.command == keCmdCubicCurveTo) s << c.a.x << "," << c.a.y << ";";
        if (c.command == keCmdCubicCurveTo) s << c.b.x << "," << c.b.y << ";";
        if (c.command == keCmdArcTo)
            s << c.a.x << "," << c.a.y << "," << c.arc.rotation << "," << c.arc.largeArc << c.arc.sweep << ";";
        s << c.end.x << "," << c.end.y << " ";
    }
    return s.str();
}

TEST(PathData, Commands) {
    struct {
        const char* text;
        const char* expect;
    } cases[] = {
        {"M10 20 L30 40", "M10,20 L30,40 "},
        {"m10 20 30 40", "M10,20 L40,60 "},  // pairs after a move are lines, relative here
        {"M1,1h5v-2H0V0z", "M1,1 L6,1 L6,-1 L0,-1 L0,0 Z1,1 "},
        {"M0 0C1 2 3 4 5 6S9 10 11 12", "M0,0 C1,2;3,4;5,6 C7,8;9,10;11,12 "},
        {"M0 0Q1 1 2 0T4 0", "M0,0 Q1,1;2,0 Q3,-1;4,0 "},
        {"M0 0s1 1 2 0", "M0,0 C0,0;1,1;2,0 "},  // S without a cubic before: first control at the current point
        {"M0 0a5 5 0 1 0 10 0", "M0,0 A5,5,0,10;10,0 "},
        {"M0 0a5 5 30 0110 0", "M0,0 A5,5,30,01;10,0 "},      // packed flags
        {"M0 0A0 5 0 0 1 10 0", "M0,0 L10,0 "},               // zero radius: a line
        {"M0 0A5 5 0 0 1 0 0", "M0,0 "},                      // same end point: left out
        {"M-1-2.5.5e1-3", "M-1,-2.5 L5,-3 "},                 // signs and dots separate numbers
        {"M0 0 L10 0 Z L5 5", "M0,0 L10,0 Z0,0 M0,0 L5,5 "},  // after Z a new contour from the start
        {"  \n", ""},
    };
    for (const auto& c : cases) {
        bool ok;
        EXPECT_EQ(Commands(c.text, &ok), c.expect) << c.text;
        EXPECT_TRUE(ok) << c.text;
    }
}

TEST(PathData, ErrorsStopWhereTheyAre) {
    struct {
        const char* text;
        const char* kept;
        size_t at;
    } cases[] = {
        {"L10 10", "", 0},                       // must start with a move
        {"M10", "", 0},                          // missing coordinate
        {"M0 0 L10 10 X5", "M0,0 L10,10 ", 12},  // unknown command
        {"M0 0 a5 5 0 2 0 1 1", "M0,0 ", 5},     // a flag must be 0 or 1
        {"M0 0 a-5 5 0 0 0 1 1", "M0,0 ", 5},    // negative radius
        {"M0 0 L1e999 0", "M0,0 ", 5},           // overflow
        {"M0 0 Z 5", "M0,0 Z0,0 ", 7},           // numbers after Z
        {"M 1 2 L 0x10 3", "M1,2 ", 6},          // hex is not a number: 0, then x stops it
    };
    for (const auto& c : cases) {
        bool ok;
        size_t at = 999;
        EXPECT_EQ(Commands(c.text, &ok, &at), c.kept) << c.text;
        EXPECT_FALSE(ok) << c.text;
        EXPECT_EQ(at, c.at) << c.text;
    }
    EXPECT_FALSE(QGDI_PathDataParse("M0 0", 4, nullptr));
}

TEST(PathData, ReadsTheTiger) {
    std::ifstream f(QGDI_TESTDATA_DIR "/tiger/tiger.svg");
    if (!f) GTEST_SKIP() << "tiger drawing not found beside the project";
    std::stringstream ss;
    ss << f.rdbuf();
    const std::string svg = ss.str();
    int paths = 0;
    size_t edges = 0;
    for (size_t p = svg.find(" d=\""); p != std::string::npos; p = svg.find(" d=\"", p + 1)) {
        const size_t e = svg.find('"', p + 4);
        ASSERT_NE(e, std::string::npos);
        CQPath path;
        size_t at;
        ASSERT_TRUE(QGDI_PathDataParse(svg.data() + p + 4, e - p - 4, path.GetPathReceiver(), &at))
            << "path " << paths << " at " << at;
        for (const SQCONTOUR* c = path.GetPath()->first; c; c = c->next) edges += size_t(c->edgeCount);
        ++paths;
    }
    EXPECT_EQ(paths, 240);
    EXPECT_GT(edges, 2000u);
}

}  // namespace
