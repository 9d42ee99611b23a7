#pragma once
// A scan receiver that composites coverage into rows of memory through a row
// operation bound once: full runs go through CRowOp::Span, edge pixels
// through CRowOp::SpanMasked, so no pixel costs a call of its own.
#include <cstddef>

#include "QuorRender/RowOp.h"
#include "drawing/ScanReceiver.h"

class QGDI_API CRowOpScanReceiver : public VScanReceiver {
public:
    // `bits` is row 0 (the top); runs outside width x height are clipped.
    // The definition must outlive the receiver.
    CRowOpScanReceiver(uint8_t* bits, ptrdiff_t stride, EQPixelFormat format, int width, int height,
                       const CRowOpDef* def);

    // An operation for runs at full coverage only (for an opaque colour a
    // plain fill, which is what compositing it at 255 amounts to); null: the
    // main operation serves every run. Must outlive the receiver.
    void SetFullCoverageDef(const CRowOpDef* def);

    bool AddScan(int x, int y, int coverage, int length) override;
    bool AddScanMask(int x, int y, const uint8_t* mask, int length) override;
    // False once a run was left undone for want of memory.
    bool IsOk() const noexcept { return m_ok; }

private:
    // Clips a run; false when nothing of it remains.
    bool Clip(int& x, int y, int& length, int& skip) const noexcept;
    uint8_t* m_bits;
    ptrdiff_t m_stride;
    int m_width, m_height;
    size_t m_pixelBits;
    CRowOpData m_data;
    CRowOp m_op;
    CRowOp m_full;
    bool m_ok = true;
};
