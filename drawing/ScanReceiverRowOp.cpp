#include "drawing/ScanReceiverRowOp.h"

#include <algorithm>

#include "qdibcore/Source/PixelFormat.h"

CRowOpScanReceiver::CRowOpScanReceiver(uint8_t* bits, ptrdiff_t stride, EQPixelFormat format, int width, int height,
                                       const CRowOpDef* def)
    : m_bits(bits), m_stride(stride), m_width(width), m_height(height) {
    m_pixelBits = size_t(CQPixelFormat(format).GetBitsPerPixel());
    m_data.eDstFormat = format;
    m_data.nImageWidth = width;
    m_data.nImageHeight = height;
    m_op.Attach(def, m_data);
}

bool CRowOpScanReceiver::Clip(int& x, int y, int& length, int& skip) const noexcept {
    if (y < 0 || y >= m_height || length <= 0) return false;
    skip = x < 0 ? -x : 0;
    x += skip;
    length = std::min(length - skip, m_width - x);
    return length > 0;
}

void CRowOpScanReceiver::SetFullCoverageDef(const CRowOpDef* def) {
    if (def)
        m_full.Attach(def, m_data);
    else
        m_full.Detach();
}

bool CRowOpScanReceiver::AddScan(int x, int y, int coverage, int length) {
    int skip;
    if (!Clip(x, y, length, skip)) return true;
    m_data.pDst = m_bits + ptrdiff_t(y) * m_stride + ptrdiff_t(size_t(x) * m_pixelBits / 8);
    m_data.nCount = length;
    m_data.x = x;
    m_data.y = y;
    const CRowOp& op = coverage >= 255 && m_full.IsAttached() ? m_full : m_op;
    if (op.Span(m_data, uint8_t(std::clamp(coverage, 0, 255))).IsError()) m_ok = false;
    return true;
}

bool CRowOpScanReceiver::AddScanMask(int x, int y, const uint8_t* mask, int length) {
    int skip;
    if (!Clip(x, y, length, skip)) return true;
    m_data.pDst = m_bits + ptrdiff_t(y) * m_stride + ptrdiff_t(size_t(x) * m_pixelBits / 8);
    m_data.nCount = length;
    m_data.x = x;
    m_data.y = y;
    if (m_op.SpanMasked(m_data, mask + skip).IsError()) m_ok = false;
    return true;
}
