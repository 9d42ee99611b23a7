#pragma once
// Scan receivers the drawing context puts between scan conversion and a
// fill: a clip to a rectangle, a mask image that weighs coverage, and a
// scale of coverage for strokes drawn wider and fainter.
#include <cstdint>
#include <vector>

#include "drawing/RegionRect.h"
#include "qdibcore/Source/RowIteratorBands.h"

namespace qgdi::drawing {

// Passes on the parts of runs inside a rectangle.
class CClipReceiver final : public VScanReceiver {
public:
    CClipReceiver(VScanReceiver* target, const RECT& clip) noexcept : m_target(target), m_clip(clip) {}
    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;

private:
    VScanReceiver* m_target;
    RECT m_clip;
};

// Multiplies coverage by an 8-bit grey mask image placed at `offset`
// (outside it, coverage is 0).
class CMaskReceiver final : public VScanReceiver {
public:
    CMaskReceiver(VScanReceiver* target, const CRowIterator* mask, POINT offset) noexcept
        : m_target(target), m_mask(mask), m_offset(offset) {}
    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;

private:
    bool Weigh(int x, int y, int length, const uint8_t* coverage, int constant);
    VScanReceiver* m_target;
    const CRowIterator* m_mask;
    POINT m_offset;
    std::vector<uint8_t> m_row;
};

// Scales coverage by k/256 (k in 0..256): strokes thinner than the grid are
// drawn wider and this much fainter, the same ink in the same place.
class CScaleReceiver final : public VScanReceiver {
public:
    CScaleReceiver(VScanReceiver* target, int k) noexcept : m_target(target), m_k(k) {}
    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;

private:
    VScanReceiver* m_target;
    int m_k;
    std::vector<uint8_t> m_row;
};

}  // namespace qgdi::drawing
