#include <algorithm>
#include <cstring>

#include "QuorRender/SeqOp.h"

bool CSeqOpTile::Reset() {
    VSeqOp* src = Src(0);
    if (!src || !src->Reset()) return false;
    m_nSrcWidth = src->GetWidth();
    m_nSrcHeight = src->GetHeight();
    m_nSrcBpp = CQPixelFormat(src->GetPixelFormat()).GetBitsPerPixel();
    m_nSrcRowBytes = static_cast<int64_t>(m_nSrcWidth) * m_nSrcBpp / 8;
    m_nOutRowBytes = static_cast<int64_t>(std::max(nOutWidth, 0)) * m_nSrcBpp / 8;
    m_oRowBuffer.Free();
    if (!m_oRowBuffer.Grow(static_cast<size_t>(m_nOutRowBytes))) return false;
    m_nRowsSinceWrap = 0;
    m_nRow = 0;
    return true;
}

bool CSeqOpTile::GetNextRow(void* dst, int, int) {
    VSeqOp* src = Src(0);
    if (!src || m_nRow >= nOutHeight || m_nSrcRowBytes <= 0) return false;
    const auto* row = static_cast<const uint8_t*>(src->GetNextRow(0, m_nSrcWidth));
    if (!row) return false;
    auto* out = static_cast<uint8_t*>(dst);
    for (int64_t done = 0; done < m_nOutRowBytes;) {
        const int64_t n = std::min(m_nSrcRowBytes, m_nOutRowBytes - done);
        std::memcpy(out + done, row, static_cast<size_t>(n));
        done += n;
    }
    if (++m_nRowsSinceWrap >= m_nSrcHeight) {
        static_cast<void>(src->Reset());
        m_nRowsSinceWrap = 0;
    }
    return true;
}
