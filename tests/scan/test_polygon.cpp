// The scan converter's edge walk, span builders and bookkeeping, against
// hand-worked cells and spans.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "scan_test_util.h"

using namespace qgdi::scantest;

namespace {

using Cells = std::map<int, uint32_t>;  // column -> cell

SQPolygon* Grid(int w, int h, int flag = kePolygonTableAuto, EPolyFillMode mode = kePolyFillNonZero, int scale = 4) {
    return QGDI_PolygonCreate(RECT{0, 0, w, h}, mode, scale, flag, keQPathFill);
}

Cells RowCells(SQPolygon* p, int row) {
    std::vector<SPolygonCell> v;
    p->GetRowCells(row, v);
    Cells out;
    for (const auto& c : v) out[c.column] = c.cell;
    return out;
}

std::vector<std::pair<int, int>> Spans(SQPolygon* p, int row, EPolygonSpanRule rule) {
    std::vector<SPolygonSpan> v;
    p->BuildRowSpans(row, rule, v);
    std::vector<std::pair<int, int>> out;
    for (const auto& s : v) out.push_back({s.start, s.end});
    return out;
}

}  // namespace

TEST(PolygonScale, FromFilterLevelAndPathType) {
    struct {
        EAntialiasingFilter filter;
        int level;
        EQPATHTYPE type;
        int scale;
    } const cases[] = {
        {keAAFilterFast, 8, keQPathFill, 4}, {keAAFilterFast, 1, keQPathOutline, 4},
        {keAAFilterBox, 1, keQPathFill, 3},  {keAAFilterBox, 2, keQPathFill, 3},
        {keAAFilterBox, 1, keQPathStroke, 1}, {keAAFilterBox, 8, keQPathFill, 8},
        {keAAFilterNone, 5, keQPathHairline, 5},
    };
    for (const auto& c : cases)
        EXPECT_EQ(QGDI_PolygonAntialiasingLevelToScale(c.filter, c.level, c.type), c.scale)
            << c.filter << " " << c.level << " " << c.type;
}

TEST(PolygonCreate, ClipAndScale) {
    EXPECT_EQ(QGDI_PolygonCreate(RECT{0, 0, 0, 5}, kePolyFillNonZero, 4, 0, keQPathFill), nullptr);
    EXPECT_EQ(QGDI_PolygonCreate(RECT{5, 5, 2, 9}, kePolyFillNonZero, 4, 0, keQPathFill), nullptr);
    EXPECT_EQ(QGDI_PolygonCreate(RECT{0, 0, 1 << 29, 4}, kePolyFillNonZero, 8, 0, keQPathFill), nullptr);
    for (int scale : {-3, 0, 1}) {
        SQPolygon* p = QGDI_PolygonCreate(RECT{1, 2, 5, 7}, kePolyFillNonZero, scale, 0, keQPathFill);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->GetScale(), 1);
        EXPECT_EQ(p->GetRefCount(), 1);
        p->Unreference();
    }
    SQPolygon* p = QGDI_PolygonCreate(RECT{1, 2, 5, 7}, kePolyFillEvenOdd, 6, 0, keQPathFill);
    const RECT g = p->GetGridRect();
    EXPECT_EQ(std::make_tuple(g.left, g.top, g.right, g.bottom), std::make_tuple(6, 12, 30, 42));
    EXPECT_EQ(p->GetGridWidth(), 24);
    EXPECT_EQ(p->GetGridHeight(), 30);
    p->Unreference();
}

// A triangle walked by hand: down a steep edge, back along a flat one, up the
// third; the apex gets both directions (closing step), the flat edge a run.
TEST(EdgeWalk, TriangleCellsInDenseAndSparseTables) {
    const std::map<int, Cells> expected = {
        {0, {{2, 0x101}}},
        {1, {{1, 0x1}, {2, 0x100}}},
        {2, {{1, 0x1}, {3, 0x100}}},
        {3, {{0, 0x1}, {3, 0x100}}},
        {4, {{0, 0x1000001}, {4, 0x10100}}},
    };
    for (int flag : {kePolygonTableDense, kePolygonTableSparse}) {
        SQPolygon* p = Grid(8, 8, flag);
        p->MoveTo(2, 0);
        p->LineTo(4, 4);
        p->LineTo(0, 4);
        p->LineTo(2, 0);
        for (const auto& [row, cells] : expected) {
            bool dense = false;
            std::vector<SPolygonCell> v;
            p->GetRowCells(row, v, &dense);
            EXPECT_EQ(dense, flag == kePolygonTableDense);
            EXPECT_EQ(RowCells(p, row), cells) << "row " << row << " flag " << flag;
        }
        using V = std::vector<std::pair<int, int>>;
        EXPECT_EQ(Spans(p, 0, kePolygonSpanNonZero), V{});  // the apex cancels out
        EXPECT_EQ(Spans(p, 2, kePolygonSpanNonZero), (V{{1, 3}}));
        EXPECT_EQ(Spans(p, 4, kePolygonSpanNonZero), (V{{0, 4}}));
        EXPECT_EQ(Spans(p, 4, kePolygonSpanEvenOdd), (V{{0, 4}}));
        EXPECT_EQ(Spans(p, 4, kePolygonSpanOutline), (V{{0, 5}}));
        EXPECT_EQ(Spans(p, 2, kePolygonSpanOutline), (V{{1, 2}, {3, 4}}));
        p->Unreference();
    }
}

// Halfway crossings land by the 0.49999 constant: on the lower column (for
// non-negative columns), where 0.5 would take the upper one.
TEST(EdgeWalk, HalfwayCrossingsAndShallowRuns) {
    struct Case {
        const char* name;
        int x0, y0, x1, y1;
        std::map<int, Cells> cells;
    } const cases[] = {
        {"steep-right", 4, 0, 5, 2, {{1, {{4, 0x100}}}, {2, {{5, 0x100}}}}},
        {"steep-left", 4, 0, 3, 2, {{1, {{3, 0x100}}}, {2, {{3, 0x100}}}}},
        {"steep-up", 4, 2, 5, 0, {{1, {{4, 0x1}}}, {0, {{5, 0x1}}}}},
        // Rows 0, 0(0.5 rounds down), 1, 1, 2: one run per row, its crossing where the row is entered.
        {"shallow", 0, 0, 4, 2, {{0, {{0, 0x1000000}, {1, 0x10000}}},
                                  {1, {{2, 0x1000100}, {3, 0x10000}}},
                                  {2, {{4, 0x1010100}}}}},
        {"flat", 1, 3, 5, 3, {{3, {{1, 0x1000000}, {5, 0x10000}}}}},
    };
    for (const Case& c : cases) {
        SQPolygon* p = Grid(8, 8, kePolygonTableSparse);
        p->MoveTo(c.x0, c.y0);
        p->LineTo(c.x1, c.y1);
        // Leave the contour open: CloseContour would add the way back.
        for (int row = 0; row < 4; ++row) {
            const auto it = c.cells.find(row);
            EXPECT_EQ(RowCells(p, row), it == c.cells.end() ? Cells{} : it->second) << c.name << " row " << row;
        }
        p->Unreference();
    }
}

// Rectangle edges at the grid's edges and beyond: the parts left of the grid
// count as initial winding, the parts right of it not at all.
TEST(EdgeWalk, CoordinatesBeyondTheGrid) {
    struct Case {
        const char* name;
        double x0, y0, x1, y1;
        int expect;  // coverage of every pixel of the 6 x 6 clip
    } const cases[] = {
        {"covers-clip", -10, -10, 20, 20, 255},
        {"huge", -1e30, -1e30, 1e30, 1e30, 255},
        {"left-of-clip", -30, -10, -2, 20, 0},
        {"right-of-clip", 8, -10, 1e9, 20, 0},
        {"above", -10, -50, 20, -1, 0},
    };
    for (const Case& c : cases)
        for (EPolyFillMode mode : {kePolyFillNonZero, kePolyFillEvenOdd}) {
            const CCoverage cov = FillPolygons({{{c.x0, c.y0}, {c.x1, c.y0}, {c.x1, c.y1}, {c.x0, c.y1}}}, 6, 6, mode, 4);
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 6; ++x) ASSERT_EQ(cov.At(x, y), c.expect) << c.name << " " << x << "," << y;
            EXPECT_EQ(cov.outside, 0);
        }
}

TEST(PolygonReceiver, NonFiniteCoordinatesStopTheProducer) {
    SQPolygon* p = Grid(8, 8);
    CPolygonPathReceiver rx(p);
    EXPECT_TRUE(rx.MoveTo(SQPOINT{1, 1}, nullptr));
    EXPECT_FALSE(rx.LineTo(SQPOINT{std::numeric_limits<double>::quiet_NaN(), 2}, nullptr));
    EXPECT_FALSE(rx.LineTo(SQPOINT{2, std::numeric_limits<double>::infinity()}, nullptr));
    EXPECT_FALSE(rx.MoveTo(SQPOINT{std::numeric_limits<double>::quiet_NaN(), 0}, nullptr));
    EXPECT_TRUE(rx.LineTo(SQPOINT{3, 3}, nullptr));
    p->Unreference();
}

TEST(Polygon, OverlappingSquaresAndFlatLinesByFillRule) {
    // Two squares drawn the same way round, overlapping on [4, 6) x [4, 6).
    const std::vector<std::vector<Pt>> squares = {{{2, 2}, {6, 2}, {6, 6}, {2, 6}}, {{4, 4}, {8, 4}, {8, 8}, {4, 8}}};
    const CCoverage nz = FillPolygons(squares, 10, 10, kePolyFillNonZero, 4);
    const CCoverage eo = FillPolygons(squares, 10, 10, kePolyFillEvenOdd, 4);
    EXPECT_EQ(nz.At(5, 5), 255);
    EXPECT_EQ(eo.At(5, 5), 0);
    EXPECT_EQ(eo.At(3, 3), 255);
    EXPECT_EQ(eo.At(7, 7), 255);

    // A flat segment there and back, one grid row thick: only the run counter fills it.
    for (auto [mode, filled] : {std::pair{kePolyFillNonZero, true}, std::pair{kePolyFillEvenOdd, false}}) {
        SQPolygon* p = Grid(8, 8, kePolygonTableAuto, mode);
        p->MoveTo(0, 5);
        p->LineTo(10, 5);
        p->LineTo(0, 5);
        std::vector<SPolygonSpan> spans;
        p->BuildRowSpans(5, p->GetScanRule(), spans);
        EXPECT_EQ(spans.size(), filled ? 1u : 0u) << mode;
        p->Unreference();
    }
}

TEST(Polygon, ScanIteratorRowsLimitsAndSpanCounts) {
    // A comb of three teeth at scale 1: the iterator covers each end column.
    SQPolygon* p = QGDI_PolygonCreate(RECT{0, 0, 12, 4}, kePolyFillNonZero, 1, 0, keQPathFill);
    CPolygonPathReceiver rx(p);
    for (int t = 0; t < 3; ++t) {
        rx.MoveTo(SQPOINT{t * 4.0, 0}, nullptr);
        rx.LineTo(SQPOINT{t * 4.0, 4}, nullptr);
        rx.LineTo(SQPOINT{t * 4.0 + 2, 4}, nullptr);
        rx.LineTo(SQPOINT{t * 4.0 + 2, 0}, nullptr);
        rx.ClosePath(nullptr);
    }
    CPolygonScanIterator* it = p->CreateScanIterator();
    int row = -1, count = 0, rows = 0;
    const SPolygonSpan* spans = nullptr;
    while (it->Next(row, spans, count)) {
        EXPECT_EQ(row, rows++);
        if (row >= 1 && row <= 3) {
            ASSERT_EQ(count, 3) << row;
            for (int t = 0; t < 3; ++t) EXPECT_EQ(std::make_pair(spans[t].start, spans[t].end), std::make_pair(4 * t, 4 * t + 3));
        }
    }
    EXPECT_EQ(rows, 4);
    EXPECT_FALSE(it->Failed());
    it->Unreference();

    it = p->CreateScanIterator(2);
    rows = 0;
    while (it->Next(row, spans, count)) ++rows;
    EXPECT_EQ(rows, 2);
    it->Unreference();

    it = p->CreateScanIterator(-1, 2);
    while (it->Next(row, spans, count)) EXPECT_LT(row, 1);
    EXPECT_TRUE(it->Failed());
    it->Unreference();
    CCoverage cov(12, 4);
    EXPECT_FALSE(p->Fill(&cov, keAAFilterBox, 2));
    EXPECT_TRUE(p->Fill(&cov, keAAFilterBox, 3));
    p->Unreference();
}

TEST(Polygon, IntersectionTestAndBounds) {
    SQPolygon* p = QGDI_PolygonCreate(RECT{10, 10, 30, 30}, kePolyFillEvenOdd, 4, 0, keQPathFill);
    CPolygonPathReceiver rx(p);
    // A square ring: outer 12..28, inner 16..24 (same direction, so a hole under even-odd only).
    for (double a : {12.0, 16.0}) {
        const double b = 40 - a;
        rx.MoveTo(SQPOINT{a, a}, nullptr);
        rx.LineTo(SQPOINT{b, a}, nullptr);
        rx.LineTo(SQPOINT{b, b}, nullptr);
        rx.LineTo(SQPOINT{a, b}, nullptr);
        rx.ClosePath(nullptr);
    }
    struct {
        RECT r;
        bool hit;
    } const cases[] = {
        {{13, 13, 14, 14}, true},  {{18, 18, 22, 22}, false}, {{0, 0, 11, 11}, false},
        {{27, 20, 40, 21}, true},  {{29, 12, 30, 28}, false}, {{40, 40, 50, 50}, false},
        {{20, 20, 20, 25}, false}, {{5, 5, 50, 50}, true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(p->Intersects(c.r), c.hit) << c.r.left << "," << c.r.top << "," << c.r.right << "," << c.r.bottom;
    RECT box;
    ASSERT_TRUE(QGDI_PolygonCalculateBBox(p, box));
    EXPECT_EQ(std::make_tuple(box.left, box.top, box.right, box.bottom), std::make_tuple(12, 12, 29, 29));
    p->Unreference();

    p = QGDI_PolygonCreate(RECT{0, 0, 10, 10}, kePolyFillNonZero, 2, 0, keQPathFill);
    EXPECT_FALSE(QGDI_PolygonCalculateBBox(p, box));
    p->MoveTo(-8, 9);  // entirely left of the origin first: the box must still grow from it
    p->LineTo(-2, 4);
    p->LineTo(30, 4);
    ASSERT_TRUE(QGDI_PolygonCalculateBBox(p, box));
    EXPECT_EQ(std::make_tuple(box.left, box.top, box.right, box.bottom), std::make_tuple(-4, 2, 16, 5));
    ASSERT_TRUE(QGDI_PolygonGetClippedBBox(p, box));
    EXPECT_EQ(std::make_tuple(box.left, box.top, box.right, box.bottom), std::make_tuple(0, 2, 10, 5));
    EXPECT_FALSE(QGDI_PolygonGetClippedBBox(nullptr, box));
    p->Unreference();
    QGDI_PolygonShutdown();
}
