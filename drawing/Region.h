#pragma once
// Regions of any shape: coverage runs kept so that a shape scan-converted once
// can be filled, tested and hit-tested many times. A region starts as a list
// of runs sorted by row; Compress packs it into a byte stream (a run costs 3
// to 5 bytes instead of 16) that Fill and the tests decode in place.
#include <cstdint>
#include <vector>

#include "drawing/Polygon.h"
#include "drawing/QPath.h"
#include "drawing/RegionRect.h"
#include "qdibcore/Source/RowIteratorBands.h"

class CRegionReceiver;

// One run of a region: `length` pixels from (x, y) at `coverage` (1..255).
struct SRegionRun {
    int32_t x, y, length;
    int32_t coverage;
};

class QGDI_API CQRegion : public VQRegion {
public:
    CQRegion() noexcept = default;

    // Each replaces the region's content; false on bad input (nothing is
    // then kept) or when memory runs out.
    // The path through `matrix`, scan-converted with the settings' level,
    // filter and fill mode inside `clip`.
    bool CreateFromPath(const CQPath& path, const double* matrix, const SRasterProps& props, const RECT& clip);
    // What a converter holds, with `filter` (the converter is not changed).
    bool CreateFromPolygon(SQPolygon* polygon, EAntialiasingFilter filter = keAAFilterBox);
    // The anti-aliased rectangle, exactly as CQRegionRect covers it.
    bool CreateFromRect(const SQRECT& rect, EAntialiasingFilter filter = keAAFilterBox);
    // The coverage of an image: an 8- or 16-bit grey image's levels, or the
    // alpha of a format with alpha (16-bit values to their high byte); each
    // pixel is region pixel (x + origin.x, y + origin.y). False for other formats.
    bool CreateFromImage(const CRowIterator& image, POINT origin = {0, 0});
    // Takes `runs` as they are (sorted by row, then column, by the region).
    bool CreateFromRuns(const SRegionRun* runs, int count);

    // Rows top to bottom, runs left to right; the filter is the region's own.
    bool Fill(VScanReceiver* receiver, EAntialiasingFilter filter = keAAFilterBox) const override;
    bool GetBBox(RECT& box) const override;
    bool Intersects(const RECT& rect) const override;
    // Packs the runs; true when the region is compressed afterwards.
    bool Compress();
    bool IsCompressed() const noexcept { return m_compressed; }
    // The coverage at pixel (x, y) into `coverage` (0 outside); true when covered.
    bool PtInRegion(int x, int y, int* coverage = nullptr) const;
    bool IsEmpty() const noexcept { return m_rowFirst > m_rowLast; }
    // Bytes the runs take in the current form.
    size_t GetDataSize() const noexcept;

private:
    void Clear() noexcept;
    // Takes over what the receiver holds.
    bool TakeFrom(CRegionReceiver& receiver);
    // Calls fn(x, length, coverage) for the runs of row y in column order;
    // stops when fn returns false. False when fn stopped.
    template <class Fn>
    bool ForRow(int y, Fn&& fn) const;

    int m_rowFirst = 0, m_rowLast = -1;
    RECT m_box{0, 0, 0, 0};
    bool m_compressed = false;
    // Per row of the box, where its runs start (one more entry for the end):
    // an index into m_runs, or once compressed an offset into m_bytes.
    std::vector<size_t> m_rowIndex;
    // Uncompressed: runs sorted by row then column.
    std::vector<SRegionRun> m_runs;
    // Compressed: per run (gap from the previous run's end, zigzag-coded as
    // runs may overlap; length; coverage), the numbers as base-128 varints,
    // the coverage as one byte.
    std::vector<uint8_t> m_bytes;
};

// A scan receiver that keeps what it is sent and hands it over as a region.
class QGDI_API CRegionReceiver : public VScanReceiver {
public:
    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;
    // The region of every run received so far (count 1; null when memory ran
    // out); the receiver starts empty again.
    CQRegion* GrabRegion();
    bool IsOk() const noexcept { return m_ok; }

private:
    std::vector<SRegionRun> m_runs;
    bool m_ok = true;
};

// The region of a path, as CQRegion::CreateFromPath; null on failure.
QGDI_API CQRegion* QGDI_RegionCreateFromPath(const CQPath& path, const double* matrix, const SRasterProps& props,
                                             const RECT& clip);
