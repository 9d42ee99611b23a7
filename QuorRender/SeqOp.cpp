#include "QuorRender/SeqOp.h"

#include <algorithm>
#include <cstring>

VSeqOp::~VSeqOp() = default;

CSeqOp::~CSeqOp() {
    for (SSource& s : m_aSrc)
        if (s.bOwned) delete s.pOp;
}

void CSeqOp::SetSrc(VSeqOp* src, int index, bool owned) {
    if (index >= 0 && index < kiMaxSrc) {
        SSource& slot = m_aSrc[index];
        // Replacing an owned source by itself must not destroy it.
        if (slot.bOwned && slot.pOp != src) delete slot.pOp;
        slot.pOp = src;
        slot.bOwned = owned && src != nullptr;
    }
    m_nSrcCount = 0;
    for (const SSource& s : m_aSrc) m_nSrcCount += s.pOp != nullptr;
}

VSeqOp* CSeqOp::GetSrc(int index) { return Src(index); }

EQPixelFormat CSeqOp::GetPixelFormat() const { return Src(0) ? Src(0)->GetPixelFormat() : keFormatNone; }
SPal CSeqOp::GetPalette() const { return Src(0) ? Src(0)->GetPalette() : SPal{}; }
int32_t CSeqOp::GetWidth() const { return Src(0) ? Src(0)->GetWidth() : 0; }
int32_t CSeqOp::GetHeight() const { return Src(0) ? Src(0)->GetHeight() : 0; }

bool CSeqOp::Reset() {
    for (const SSource& s : m_aSrc)
        if (s.pOp && !s.pOp->Reset()) return false;
    const EQPixelFormat format = GetPixelFormat();
    if (format == keFormatNone) return false;
    m_oRowBuffer.Free();
    const int64_t bytes = RowBytes(CQPixelFormat(format).GetBitsPerPixel(), std::max<int64_t>(GetWidth(), 0));
    return m_oRowBuffer.Grow(static_cast<size_t>(bytes));
}

bool CSeqOp::Seek(int row) {
    static_cast<void>(Reset());
    const int width = GetWidth();
    for (int i = 0; i < row; ++i) static_cast<void>(GetNextRow(0, width));
    return true;
}

const void* CSeqOp::GetNextRow(int x, int count) {
    return GetNextRow(m_oRowBuffer.Data(), x, count) ? m_oRowBuffer.Data() : nullptr;
}

QuorErrorCode SeqOp_CopyRGBtoClipboard(VSeqOp* op) {
    if (!op) return keQuorErrFailed;
    CRowIteratorBands image;
    const int width = op->GetWidth(), height = op->GetHeight();
    if (const QuorErrorCode code = image.Create(width, height, op->GetPixelFormat()).Ignore(); code != keQuorErrSuccess)
        return code;
    if (!op->Reset()) return keQuorErrFailed;
    for (int y = 0; y < height; ++y) {
        uint8_t* row = image.GetRow(y, 0, width);
        if (!row) return keQuorErrFailed;
        const bool ok = op->GetNextRow(row, 0, width);
        image.ReleaseRow(y).Ignore();
        if (!ok) break;
    }
    const QuorErrorCode code = image.CopyToClipboard(true).Ignore();
    static_cast<void>(op->Reset());
    return code;
}
