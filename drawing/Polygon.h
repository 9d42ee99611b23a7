#pragma once
// The polygon scan converter: flattened outlines become horizontal spans on a
// grid s times finer than the device, then 8-bit coverage runs for a scan
// receiver. Edges are walked once into per-row crossing cells; spans are built
// per row on demand, so rows outside a clip or a limit cost nothing.
#include <cstdint>
#include <vector>

#include "drawing/PathReceiver.h"
#include "drawing/RasterProps.h"
#include "drawing/Refed.h"
#include "drawing/ScanReceiver.h"
#include "platform/windef.h"
#include "qgdi_export.h"

// What a path is drawn as; decides the smallest supersampling and, for
// outlines, how spans are built.
enum EQPATHTYPE : int32_t {
    keQPathFill = 0,      // a filled shape
    keQPathStroke = 1,    // the outline of a stroke, already widened
    keQPathHairline = 2,  // thin lines drawn at device resolution
    keQPathOutline = 3,   // the cells the outline passes through, whatever the fill rule
};

// The creation flag: how crossing tables are kept (auto picks per row).
enum EPolygonTable : int32_t {
    kePolygonTableAuto = 0,
    kePolygonTableDense = 1,
    kePolygonTableSparse = 2,
};

// The span builders.
enum EPolygonSpanRule : int32_t {
    kePolygonSpanNonZero = 0,
    kePolygonSpanEvenOdd = 1,
    kePolygonSpanOutline = 2,
};

// Crossing-cell bytes: an upward edge adds 1, a downward 256; a horizontal run
// of the outline gets 0x1000000 at its first column and 0x10000 at its last.
constexpr uint32_t kCrossUp = 0x1u;
constexpr uint32_t kCrossDown = 0x100u;
constexpr uint32_t kRunEnd = 0x10000u;
constexpr uint32_t kRunStart = 0x1000000u;

// Half-open grid columns [start, end).
struct SPolygonSpan {
    int32_t start;
    int32_t end;
};

struct SPolygonCell {
    int32_t column;
    uint32_t cell;
};

// One write to a crossing cell, kept in the order of the walk: a cell's value
// is rebuilt as (value + add) | orBits over its writes.
struct SPolygonEntry {
    int32_t row;
    int32_t column;
    uint32_t add;
    uint32_t orBits;
};

class CPolygonScanIterator;

class QGDI_API SQPolygon : public VQGDIRefed {
public:
    SQPolygon(const RECT& clip, EPolyFillMode mode, int scale, int flag, EQPATHTYPE type);

    // The edge walk, in grid coordinates relative to the grid's origin. A new
    // contour closes the previous one when its pen is not back at its start.
    void MoveTo(int64_t x, int64_t y);
    void LineTo(int64_t x, int64_t y);
    // Adds the edge back to the contour's first point when the pen is elsewhere.
    void CloseContour();

    const RECT& GetClip() const noexcept { return m_clip; }
    int GetScale() const noexcept { return m_scale; }
    int GetGridWidth() const noexcept { return m_gridW; }
    int GetGridHeight() const noexcept { return m_gridH; }
    // The grid rectangle: the clip multiplied by the scale.
    RECT GetGridRect() const noexcept;
    EPolyFillMode GetFillMode() const noexcept { return m_fillMode; }
    EQPATHTYPE GetPathType() const noexcept { return m_pathType; }
    int GetFlag() const noexcept { return m_flag; }
    bool IsEmpty() const noexcept { return m_entries.empty(); }

    // The cells of one grid row in column order (column -1 holds what lies
    // left of the grid) and whether the row was kept dense.
    bool GetRowCells(int row, std::vector<SPolygonCell>& cells, bool* dense = nullptr);
    // Spans of one grid row by `rule`, appended to `spans`; false when more
    // than `maxSpans` (if not negative) would be needed.
    bool BuildRowSpans(int row, EPolygonSpanRule rule, std::vector<SPolygonSpan>& spans, int maxSpans = -1);
    // The rule the scan iterator and Fill use for this converter.
    EPolygonSpanRule GetScanRule() const noexcept;

    // Whether anything covers the device rectangle (even-odd only for fill mode 1).
    virtual bool Intersects(const RECT& device);

    // Coverage runs of every device row, top to bottom, to `receiver`.
    // Interior runs at 255 go as AddScan, edge pixels as AddScanMask. False
    // when the receiver stops or a row exceeds `maxSpans`.
    bool Fill(VScanReceiver* receiver, EAntialiasingFilter filter = keAAFilterBox, int maxSpans = -1);

    // Null on allocation failure; `rowLimit` (if not negative) stops after that many grid rows.
    CPolygonScanIterator* CreateScanIterator(int rowLimit = -1, int maxSpans = -1);

    // Bounds of what was added, in device pixels; false when nothing was.
    bool CalculateBBox(RECT& box) const noexcept;
    bool GetClippedBBox(RECT& box) const noexcept;

protected:
    ~SQPolygon() override;

private:
    void Walk(int64_t x0, int64_t y0, int64_t x1, int64_t y1, bool first);
    void Put(int64_t row, int64_t column, uint32_t add, uint32_t orBits);
    void PutRun(int64_t row, int64_t first, int64_t last, uint32_t cross, bool orCross, int64_t crossColumn);
    void Finalize();
    void Extend(int64_t x, int64_t y) noexcept;

    RECT m_clip;
    EPolyFillMode m_fillMode;
    int m_scale;
    int m_flag;
    EQPATHTYPE m_pathType;
    int m_gridW = 0, m_gridH = 0;
    // Pen, contour start, direction of the last sloped edge of the contour
    // (0: none yet), and the first sloped edge's direction and first cell.
    int64_t m_penX = 0, m_penY = 0, m_startX = 0, m_startY = 0;
    uint32_t m_prevDir = 0, m_firstDir = 0;
    int64_t m_firstRow = 0, m_firstColumn = 0;
    bool m_open = false;
    // Bounds of the added points on the grid.
    int64_t m_minX = 0, m_minY = 0, m_maxX = 0, m_maxY = 0;
    bool m_hasPoints = false;

    std::vector<SPolygonEntry> m_entries;
    // After Finalize: entries grouped by row, stable within a row.
    std::vector<SPolygonEntry> m_sorted;
    std::vector<int32_t> m_rowStart;
    int m_rowFirst = 0;
    bool m_final = false;
    std::vector<uint32_t> m_dense;
    std::vector<SPolygonCell> m_cells;
};

// The grid rows' spans, top to bottom. With a scale of 1 a span's end column
// is itself covered, so ends come out one further than the builder's.
class QGDI_API CPolygonScanIterator : public VQGDIRefed {
public:
    CPolygonScanIterator(SQPolygon* polygon, int rowLimit, int maxSpans);
    // False at the end, after the row limit, or when a row fails (see Failed).
    bool Next(int& row, const SPolygonSpan*& spans, int& count);
    bool Failed() const noexcept { return m_failed; }

protected:
    ~CPolygonScanIterator() override;

private:
    SQPolygon* m_polygon;
    int m_row = 0;
    int m_rowEnd;
    int m_maxSpans;
    bool m_failed = false;
    std::vector<SPolygonSpan> m_spans;
};

// The VPathReceiver that feeds a converter: points are mapped, multiplied by
// the scale and truncated toward zero. NaN coordinates stop the producer.
class QGDI_API CPolygonPathReceiver : public VPathReceiver {
public:
    explicit CPolygonPathReceiver(SQPolygon* polygon) noexcept : m_polygon(polygon) {}
    bool LineTo(const SQPOINT& point, const double* matrix) override;
    bool MoveTo(const SQPOINT& point, const double* matrix) override;
    bool EndPath() override;
    double GetFlatness() override { return m_flatness; }
    void SetFlatness(double flatness) noexcept { m_flatness = flatness; }

private:
    bool ToGrid(const SQPOINT& point, const double* matrix, int64_t& x, int64_t& y) const;
    SQPolygon* m_polygon;
    double m_flatness = QGDI_GetFlatnessFactor();
};

// Null on allocation failure or an empty or inverted clip.
QGDI_API SQPolygon* QGDI_PolygonCreate(const RECT& clip, EPolyFillMode mode, int scale, int flag, EQPATHTYPE type);
QGDI_API int QGDI_PolygonAntialiasingLevelToScale(EAntialiasingFilter filter, int level, EQPATHTYPE type) noexcept;
QGDI_API bool QGDI_PolygonCalculateBBox(const SQPolygon* polygon, RECT& box) noexcept;
QGDI_API bool QGDI_PolygonGetClippedBBox(const SQPolygon* polygon, RECT& box) noexcept;
// Frees the buffers converters keep for reuse.
QGDI_API void QGDI_PolygonShutdown() noexcept;
