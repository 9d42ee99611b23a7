#include "drawing/Polygon.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <new>

#include "geometry/MatrixFunctions.h"

namespace {

// Entry buffers are reused between converters: a drawing makes one converter
// per shape, and growing a fresh buffer each time costs more than the walk.
std::mutex g_poolLock;
std::vector<std::vector<SPolygonEntry>> g_pool;

std::vector<SPolygonEntry> TakeBuffer() {
    std::lock_guard<std::mutex> hold(g_poolLock);
    if (g_pool.empty()) return {};
    std::vector<SPolygonEntry> v = std::move(g_pool.back());
    g_pool.pop_back();
    return v;
}

void GiveBuffer(std::vector<SPolygonEntry>&& v) {
    if (v.capacity() == 0) return;
    v.clear();
    std::lock_guard<std::mutex> hold(g_poolLock);
    if (g_pool.size() < 16) g_pool.push_back(std::move(v));
}

// Grid coordinates are kept well inside 32 bits so that every product in the
// walk is exact in a double.
constexpr double kGridLimit = double(1 << 28);

// Half away from zero, with the constant that decides where a crossing exactly
// halfway between two columns lands.
inline int64_t Round49(double v) noexcept {
    return static_cast<int64_t>(v >= 0.0 ? v + 0.49999 : v - 0.49999);
}

int64_t FloorDiv(int64_t a, int64_t b) noexcept { return a >= 0 ? a / b : -((-a + b - 1) / b); }

}  // namespace

SQPolygon::SQPolygon(const RECT& clip, EPolyFillMode mode, int scale, int flag, EQPATHTYPE type)
    : m_clip(clip), m_fillMode(mode), m_scale(std::max(scale, 1)), m_flag(flag), m_pathType(type) {
    m_gridW = int(std::max<int64_t>(0, int64_t(clip.right - clip.left) * m_scale));
    m_gridH = int(std::max<int64_t>(0, int64_t(clip.bottom - clip.top) * m_scale));
    m_entries = TakeBuffer();
    m_sorted = TakeBuffer();
}

SQPolygon::~SQPolygon() {
    GiveBuffer(std::move(m_entries));
    GiveBuffer(std::move(m_sorted));
}

RECT SQPolygon::GetGridRect() const noexcept {
    return RECT{m_clip.left * m_scale, m_clip.top * m_scale, m_clip.right * m_scale, m_clip.bottom * m_scale};
}

void SQPolygon::MoveTo(int64_t x, int64_t y) {
    if (m_open) CloseContour();
    m_penX = m_startX = x;
    m_penY = m_startY = y;
    m_prevDir = m_firstDir = 0;
    m_open = false;
    Extend(x, y);
}

void SQPolygon::Extend(int64_t x, int64_t y) noexcept {
    if (!m_hasPoints) {
        m_minX = m_maxX = x;
        m_minY = m_maxY = y;
        m_hasPoints = true;
        return;
    }
    m_minX = std::min(m_minX, x);
    m_maxX = std::max(m_maxX, x);
    m_minY = std::min(m_minY, y);
    m_maxY = std::max(m_maxY, y);
}

void SQPolygon::CloseContour() {
    if (m_penX != m_startX || m_penY != m_startY) LineTo(m_startX, m_startY);
    m_open = false;
}

void SQPolygon::Put(int64_t row, int64_t column, uint32_t add, uint32_t orBits) {
    if (row < 0 || row >= m_gridH || column >= m_gridW || (add | orBits) == 0) return;
    m_entries.push_back(SPolygonEntry{int32_t(row), int32_t(std::max<int64_t>(column, -1)), add, orBits});
    m_final = false;
}

// A horizontal run of the outline on one row: its markers are clipped to the
// grid, its crossing (if any) goes to `crossColumn`.
void SQPolygon::PutRun(int64_t row, int64_t first, int64_t last, uint32_t cross, bool orCross, int64_t crossColumn) {
    if (row < 0 || row >= m_gridH) return;
    if (orCross)
        Put(row, crossColumn, 0, cross);
    else
        Put(row, crossColumn, cross, 0);
    const int64_t lo = std::min(first, last), hi = std::max(first, last);
    if (hi < 0 || lo >= m_gridW) return;
    Put(row, std::max<int64_t>(lo, 0), kRunStart, 0);
    Put(row, std::min<int64_t>(hi, m_gridW - 1), kRunEnd, 0);
}

void SQPolygon::LineTo(int64_t x1, int64_t y1) {
    const int64_t x0 = m_penX, y0 = m_penY;
    Extend(x1, y1);
    m_open = true;
    if (y0 == y1) {
        // Flat edges carry no crossing and leave the direction alone, so that
        // a contour's sloped edges on either side still meet as one vertex.
        PutRun(y0, x0, x1, 0, false, x0);
    } else {
        const uint32_t dir = y1 < y0 ? kCrossUp : kCrossDown;
        const bool changed = m_prevDir != 0 && m_prevDir != dir;
        if (m_prevDir == 0) {
            m_firstDir = dir;
            m_firstRow = y0;
            m_firstColumn = x0;
        }
        // Everything left of the grid only counts as initial winding, and
        // everything right of it not at all: the part of the edge beyond
        // either side becomes vertical there, which bounds the walk by the
        // grid's size whatever the coordinates.
        const int64_t xa = std::clamp<int64_t>(x0, -1, m_gridW), xb = std::clamp<int64_t>(x1, -1, m_gridW);
        auto cut = [&](int64_t xc) { return y0 + Round49(double(y1 - y0) * double(xc - x0) / double(x1 - x0)); };
        const int64_t ya = xa == x0 || x0 == x1 ? y0 : cut(xa), yb = xb == x1 || x0 == x1 ? y1 : cut(xb);
        const int64_t px[4] = {xa, xa, xb, xb}, py[4] = {y0, ya, yb, y1};
        bool first = true;
        for (int k = 0; k < 3; ++k) {
            if (px[k] == px[k + 1] && py[k] == py[k + 1]) continue;
            Walk(px[k], py[k], px[k + 1], py[k + 1], first && changed);
            if (py[k] != py[k + 1]) first = false;
        }
        m_prevDir = dir;
    }
    m_penX = x1;
    m_penY = y1;
    if (x1 == m_startX && y1 == m_startY) {
        // The contour's closing step: its first vertex was left without the
        // first edge's own count, which it needs only at a turn of direction.
        if (m_firstDir != 0 && m_prevDir != m_firstDir) Put(m_firstRow, m_firstColumn, 0, m_firstDir);
        m_prevDir = m_firstDir = 0;
        m_open = false;
    }
}

void SQPolygon::Walk(int64_t x0, int64_t y0, int64_t x1, int64_t y1, bool changed) {
    const int64_t dx = x1 - x0, dy = y1 - y0;
    const int64_t adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
    if (dy == 0) {
        PutRun(y0, x0, x1, 0, false, x0);
        return;
    }
    const uint32_t dir = dy < 0 ? kCrossUp : kCrossDown;
    if (ady >= adx) {
        const int64_t sy = dy < 0 ? -1 : 1;
        const double step = double(dx) / double(ady);
        if (changed) Put(y0, x0, 0, dir);
        // Only the steps whose rows lie in the grid.
        int64_t iLo = 1, iHi = ady;
        if (sy > 0) {
            iLo = std::max<int64_t>(iLo, -y0);
            iHi = std::min<int64_t>(iHi, m_gridH - 1 - y0);
        } else {
            iLo = std::max<int64_t>(iLo, y0 - (m_gridH - 1));
            iHi = std::min<int64_t>(iHi, y0);
        }
        for (int64_t i = iLo; i <= iHi; ++i) Put(y0 + i * sy, Round49(double(x0) + double(i) * step), dir, 0);
        return;
    }
    // Shallow: one column at a time; a run per row, its crossing where the row is entered.
    const int64_t sx = dx < 0 ? -1 : 1;
    const double step = double(dy) / double(adx);
    int64_t runRow = y0, runFirst = x0;
    uint32_t runCross = changed ? dir : 0;
    bool runOr = changed;
    for (int64_t i = 1; i <= adx; ++i) {
        const int64_t row = Round49(double(y0) + double(i) * step);
        if (row != runRow) {
            PutRun(runRow, runFirst, x0 + (i - 1) * sx, runCross, runOr, runFirst);
            runRow = row;
            runFirst = x0 + i * sx;
            runCross = dir;
            runOr = false;
        }
    }
    PutRun(runRow, runFirst, x1, runCross, runOr, runFirst);
}

void SQPolygon::Finalize() {
    if (m_final) return;
    m_final = true;
    m_sorted.clear();
    m_rowStart.clear();
    if (m_entries.empty()) return;
    int lo = m_entries[0].row, hi = lo;
    for (const SPolygonEntry& e : m_entries) {
        lo = std::min(lo, e.row);
        hi = std::max(hi, e.row);
    }
    m_rowFirst = lo;
    // Grouped by row with a counting sort, which keeps each row's writes in
    // the order of the walk: OR and add do not commute.
    m_rowStart.assign(size_t(hi - lo) + 2, 0);
    for (const SPolygonEntry& e : m_entries) ++m_rowStart[size_t(e.row - lo) + 1];
    for (size_t i = 1; i < m_rowStart.size(); ++i) m_rowStart[i] += m_rowStart[i - 1];
    m_sorted.resize(m_entries.size());
    std::vector<int32_t> next(m_rowStart.begin(), m_rowStart.end() - 1);
    for (const SPolygonEntry& e : m_entries) m_sorted[size_t(next[size_t(e.row - lo)]++)] = e;
}

bool SQPolygon::GetRowCells(int row, std::vector<SPolygonCell>& cells, bool* dense) {
    Finalize();
    cells.clear();
    if (dense) *dense = false;
    if (m_rowStart.empty() || row < m_rowFirst || row >= m_rowFirst + int(m_rowStart.size()) - 1) return true;
    const SPolygonEntry* b = m_sorted.data() + m_rowStart[size_t(row - m_rowFirst)];
    const SPolygonEntry* e = m_sorted.data() + m_rowStart[size_t(row - m_rowFirst) + 1];
    if (b == e) return true;
    const size_t count = size_t(e - b);
    // Rows crossed many times (text, hatching) are cheaper as one cell per
    // column than sorted; ordinary rows hold a handful of cells.
    const bool useDense = m_flag == kePolygonTableDense ||
                          (m_flag == kePolygonTableAuto && count >= 64 && count * 8 >= size_t(m_gridW));
    uint32_t leftCell = 0;
    bool hasLeft = false;
    if (useDense) {
        if (dense) *dense = true;
        if (m_dense.size() < size_t(m_gridW)) m_dense.assign(size_t(m_gridW), 0);
        int lo = m_gridW, hi = -1;
        for (const SPolygonEntry* p = b; p != e; ++p) {
            if (p->column < 0) {
                leftCell = (leftCell + p->add) | p->orBits;
                hasLeft = true;
                continue;
            }
            uint32_t& c = m_dense[size_t(p->column)];
            c = (c + p->add) | p->orBits;
            lo = std::min(lo, p->column);
            hi = std::max(hi, p->column);
        }
        if (hasLeft) cells.push_back({-1, leftCell});
        for (int x = lo; x <= hi; ++x)
            if (const uint32_t c = m_dense[size_t(x)]) {
                cells.push_back({x, c});
                m_dense[size_t(x)] = 0;
            }
        return true;
    }
    // A row holds a handful of writes: an insertion sort in place keeps their
    // order within a column (which the OR rule needs) without allocating, and
    // leaves the row sorted for the next visit.
    SPolygonEntry* tmp = m_sorted.data() + m_rowStart[size_t(row - m_rowFirst)];
    const size_t n = count;
    for (size_t i = 1; i < n; ++i) {
        if (tmp[i - 1].column <= tmp[i].column) continue;
        const SPolygonEntry v = tmp[i];
        size_t j = i;
        for (; j > 0 && tmp[j - 1].column > v.column; --j) tmp[j] = tmp[j - 1];
        tmp[j] = v;
    }
    for (size_t i = 0; i < n;) {
        uint32_t c = 0;
        const int32_t col = tmp[i].column;
        for (; i < n && tmp[i].column == col; ++i) c = (c + tmp[i].add) | tmp[i].orBits;
        if (c) cells.push_back({col, c});
    }
    return true;
}

EPolygonSpanRule SQPolygon::GetScanRule() const noexcept {
    if (m_pathType == keQPathOutline) return kePolygonSpanOutline;
    return m_fillMode != kePolyFillNonZero ? kePolygonSpanEvenOdd : kePolygonSpanNonZero;
}

namespace {
inline int Down(uint32_t c) { return int((c >> 8) & 0xFF); }
inline int Up(uint32_t c) { return int(c & 0xFF); }
inline int RunEnds(uint32_t c) { return int((c >> 16) & 0xFF); }
inline int RunStarts(uint32_t c) { return int(c >> 24); }
}  // namespace

bool SQPolygon::BuildRowSpans(int row, EPolygonSpanRule rule, std::vector<SPolygonSpan>& spans, int maxSpans) {
    if (row < 0 || row >= m_gridH) return true;
    GetRowCells(row, m_cells);
    const size_t base = spans.size();
    auto emit = [&](int a, int b) {
        if (maxSpans >= 0 && spans.size() - base >= size_t(maxSpans)) return false;
        spans.push_back({a, b});
        return true;
    };
    size_t k = 0;
    int w1 = 0, w2 = 0;
    if (!m_cells.empty() && m_cells[0].column < 0) {
        w1 = Down(m_cells[0].cell) - Up(m_cells[0].cell);
        k = 1;
    }
    switch (rule) {
        case kePolygonSpanEvenOdd: {
            int open = (w1 & 1) ? 0 : -1;
            for (; k < m_cells.size(); ++k) {
                w1 += Down(m_cells[k].cell) - Up(m_cells[k].cell);
                if ((w1 & 1) && open < 0) {
                    open = m_cells[k].column;
                } else if (!(w1 & 1) && open >= 0) {
                    if (!emit(open, m_cells[k].column)) return false;
                    open = -1;
                }
            }
            if (open >= 0 && !emit(open, m_gridW)) return false;
            break;
        }
        case kePolygonSpanNonZero: {
            int open = w1 != 0 ? 0 : -1;
            for (; k < m_cells.size(); ++k) {
                const uint32_t c = m_cells[k].cell;
                w1 += Down(c) - Up(c);
                w2 += RunStarts(c) - RunEnds(c);
                const bool in = w1 != 0 || w2 != 0;
                if (in && open < 0) {
                    open = m_cells[k].column;
                } else if (!in && open >= 0) {
                    if (!emit(open, m_cells[k].column)) return false;
                    open = -1;
                }
            }
            if (open >= 0 && !emit(open, m_gridW)) return false;
            break;
        }
        case kePolygonSpanOutline: {
            // Every cell the outline touches, joined through its flat runs.
            int prev = -1;
            for (; k < m_cells.size(); ++k) {
                const uint32_t c = m_cells[k].cell;
                const int col = m_cells[k].column;
                const int start = w2 != 0 && prev >= 0 ? prev : col;
                w2 += RunStarts(c) - RunEnds(c);
                prev = col;
                if (spans.size() > base && spans.back().end >= start)
                    spans.back().end = std::max(spans.back().end, col + 1);
                else if (!emit(start, col + 1))
                    return false;
            }
            break;
        }
    }
    return true;
}

bool SQPolygon::Intersects(const RECT& device) {
    const int64_t s = m_scale;
    const int64_t x0 = std::max<int64_t>(int64_t(device.left) * s, int64_t(m_clip.left) * s) - int64_t(m_clip.left) * s;
    const int64_t y0 = std::max<int64_t>(int64_t(device.top) * s, int64_t(m_clip.top) * s) - int64_t(m_clip.top) * s;
    const int64_t x1 = std::min<int64_t>(int64_t(device.right) * s, int64_t(m_clip.right) * s) - int64_t(m_clip.left) * s;
    const int64_t y1 = std::min<int64_t>(int64_t(device.bottom) * s, int64_t(m_clip.bottom) * s) - int64_t(m_clip.top) * s;
    if (x0 >= x1 || y0 >= y1) return false;
    const EPolygonSpanRule rule = m_fillMode == kePolyFillEvenOdd ? kePolygonSpanEvenOdd : kePolygonSpanNonZero;
    std::vector<SPolygonSpan> spans;
    for (int64_t y = y0; y < y1; ++y) {
        spans.clear();
        BuildRowSpans(int(std::min<int64_t>(y, m_gridH - 1)), rule, spans);
        for (const SPolygonSpan& sp : spans)
            if (sp.start < x1 && sp.end > x0) return true;
    }
    return false;
}

bool SQPolygon::Fill(VScanReceiver* receiver, EAntialiasingFilter filter, int maxSpans) {
    // A fill closes what was left open, as filled shapes always are.
    if (m_open) CloseContour();
    Finalize();
    if (!receiver) return false;
    if (m_rowStart.empty()) return true;
    const int s = m_scale, cells = s * s;
    const int widthPx = m_clip.right - m_clip.left;
    // Coverage of a pixel is the share of its s x s cells under spans.
    std::vector<uint8_t> table(size_t(cells) + 1);
    for (int n = 0; n <= cells; ++n)
        table[size_t(n)] = filter == keAAFilterNone ? (2 * n >= cells ? 255 : 0)
                                                    : uint8_t((n * 255 + cells / 2) / cells);
    std::vector<int32_t> acc(size_t(widthPx) + 2, 0), diff(size_t(widthPx) + 2, 0);
    std::vector<uint8_t> cov(size_t(widthPx) + 1, 0);
    std::vector<SPolygonSpan> spans;
    const EPolygonSpanRule rule = GetScanRule();
    const int rowLast = std::min(m_gridH - 1, m_rowFirst + int(m_rowStart.size()) - 2);
    for (int py = m_rowFirst / s; py <= rowLast / s; ++py) {
        int lo = widthPx + 1, hi = -1;
        for (int gy = py * s; gy < py * s + s; ++gy) {
            spans.clear();
            if (!BuildRowSpans(gy, rule, spans, maxSpans)) return false;
            for (SPolygonSpan sp : spans) {
                if (s == 1) sp.end = std::min(sp.end + 1, m_gridW);
                if (sp.end <= sp.start) continue;
                const int pa = sp.start / s, pb = sp.end / s;
                if (pa == pb) {
                    acc[size_t(pa)] += sp.end - sp.start;
                } else {
                    acc[size_t(pa)] += s - (sp.start - pa * s);
                    diff[size_t(pa) + 1] += s;
                    diff[size_t(pb)] -= s;
                    acc[size_t(pb)] += sp.end - pb * s;
                }
                lo = std::min(lo, pa);
                hi = std::max(hi, pb);
            }
        }
        if (hi < 0) continue;
        int running = 0;
        for (int x = lo; x <= hi; ++x) {
            running += diff[size_t(x)];
            cov[size_t(x)] = table[size_t(std::min(acc[size_t(x)] + running, cells))];
            acc[size_t(x)] = diff[size_t(x)] = 0;
        }
        hi = std::min(hi, widthPx - 1);
        const int y = m_clip.top + py;
        // Long stretches of full coverage go as one run; the edge pixels
        // between them as masks, which receivers blend in one call each.
        constexpr int kMinSolid = 4;
        int x = lo;
        while (x <= hi) {
            if (cov[size_t(x)] == 0) {
                ++x;
                continue;
            }
            int start = x;
            while (x <= hi && cov[size_t(x)] != 0) {
                if (cov[size_t(x)] == 255) {
                    int e = x;
                    while (e <= hi && cov[size_t(e)] == 255) ++e;
                    if (e - x >= kMinSolid) {
                        if (x > start && !receiver->AddScanMask(m_clip.left + start, y, &cov[size_t(start)], x - start))
                            return false;
                        if (!receiver->AddScan(m_clip.left + x, y, 255, e - x)) return false;
                        start = e;
                    }
                    x = e;
                } else {
                    ++x;
                }
            }
            if (x > start && !receiver->AddScanMask(m_clip.left + start, y, &cov[size_t(start)], x - start))
                return false;
        }
    }
    return true;
}

CPolygonScanIterator* SQPolygon::CreateScanIterator(int rowLimit, int maxSpans) {
    return new (std::nothrow) CPolygonScanIterator(this, rowLimit, maxSpans);
}

bool SQPolygon::CalculateBBox(RECT& box) const noexcept {
    if (!m_hasPoints) return false;
    const int64_t s = m_scale;
    auto px = [&](int64_t g, LONG origin) {
        return LONG(std::clamp<int64_t>(FloorDiv(g, s) + origin, INT32_MIN / 2, INT32_MAX / 2));
    };
    box = RECT{px(m_minX, m_clip.left), px(m_minY, m_clip.top), px(m_maxX, m_clip.left) + 1,
               px(m_maxY, m_clip.top) + 1};
    return true;
}

bool SQPolygon::GetClippedBBox(RECT& box) const noexcept {
    RECT b;
    if (!CalculateBBox(b)) return false;
    box = RECT{std::max(b.left, m_clip.left), std::max(b.top, m_clip.top), std::min(b.right, m_clip.right),
               std::min(b.bottom, m_clip.bottom)};
    return box.left < box.right && box.top < box.bottom;
}

CPolygonScanIterator::CPolygonScanIterator(SQPolygon* polygon, int rowLimit, int maxSpans)
    : m_polygon(polygon), m_maxSpans(maxSpans) {
    polygon->Reference();
    const int h = polygon->GetGridHeight();
    m_rowEnd = rowLimit >= 0 ? std::min(rowLimit, h) : h;
}

CPolygonScanIterator::~CPolygonScanIterator() { m_polygon->Unreference(); }

bool CPolygonScanIterator::Next(int& row, const SPolygonSpan*& spans, int& count) {
    if (m_failed || m_row >= m_rowEnd) return false;
    m_spans.clear();
    if (!m_polygon->BuildRowSpans(m_row, m_polygon->GetScanRule(), m_spans, m_maxSpans)) {
        m_failed = true;
        return false;
    }
    if (m_polygon->GetScale() == 1)
        for (SPolygonSpan& sp : m_spans) sp.end = std::min(sp.end + 1, m_polygon->GetGridWidth());
    row = m_row++;
    spans = m_spans.data();
    count = int(m_spans.size());
    return true;
}

bool CPolygonPathReceiver::ToGrid(const SQPOINT& point, const double* matrix, int64_t& x, int64_t& y) const {
    SQPOINT p = point;
    if (matrix) QGDI_MatrixTransform(matrix, &p, 1);
    const double s = m_polygon->GetScale();
    const double gx = p.x * s, gy = p.y * s;
    if (!std::isfinite(gx) || !std::isfinite(gy)) return false;
    const RECT& c = m_polygon->GetClip();
    x = int64_t(std::clamp(gx, -kGridLimit, kGridLimit)) - int64_t(c.left) * m_polygon->GetScale();
    y = int64_t(std::clamp(gy, -kGridLimit, kGridLimit)) - int64_t(c.top) * m_polygon->GetScale();
    return true;
}

bool CPolygonPathReceiver::LineTo(const SQPOINT& point, const double* matrix) {
    int64_t x, y;
    if (!ToGrid(point, matrix, x, y)) return false;
    m_current = point;
    m_polygon->LineTo(x, y);
    return true;
}

bool CPolygonPathReceiver::MoveTo(const SQPOINT& point, const double* matrix) {
    int64_t x, y;
    if (!ToGrid(point, matrix, x, y)) return false;
    VPathReceiver::MoveTo(point, matrix);
    m_polygon->MoveTo(x, y);
    return true;
}

bool CPolygonPathReceiver::EndPath() {
    m_polygon->CloseContour();
    return true;
}

SQPolygon* QGDI_PolygonCreate(const RECT& clip, EPolyFillMode mode, int scale, int flag, EQPATHTYPE type) {
    if (clip.right <= clip.left || clip.bottom <= clip.top) return nullptr;
    const int s = scale < 2 ? 1 : scale;
    if ((int64_t(clip.right) - clip.left) * s > (1 << 30) || (int64_t(clip.bottom) - clip.top) * s > (1 << 30) ||
        std::abs(int64_t(clip.left) * s) > (int64_t(1) << 30) || std::abs(int64_t(clip.top) * s) > (int64_t(1) << 30))
        return nullptr;
    try {
        return new SQPolygon(clip, mode, s, flag, type);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int QGDI_PolygonAntialiasingLevelToScale(EAntialiasingFilter filter, int level, EQPATHTYPE type) noexcept {
    if (filter == keAAFilterFast) return 4;
    return std::max(level, type == keQPathFill ? 3 : 1);
}

bool QGDI_PolygonCalculateBBox(const SQPolygon* polygon, RECT& box) noexcept {
    return polygon && polygon->CalculateBBox(box);
}

bool QGDI_PolygonGetClippedBBox(const SQPolygon* polygon, RECT& box) noexcept {
    return polygon && polygon->GetClippedBBox(box);
}

void QGDI_PolygonShutdown() noexcept {
    std::lock_guard<std::mutex> hold(g_poolLock);
    g_pool.clear();
    g_pool.shrink_to_fit();
}
