#include <cstring>

#include "QuorRender/SeqOp.h"

CSeqOpRowOp::CSeqOpRowOp(const CRowOpDef& def) { SetRowOp(&def); }
CSeqOpRowOp::CSeqOpRowOp(const CRowOpDef* def) { SetRowOp(def); }
CSeqOpRowOp::~CSeqOpRowOp() {
    m_oRowOp.Detach();
    delete m_pDef;
}

void CSeqOpRowOp::SetRowOp(const CRowOpDef* def, EQPixelFormat outputFormat) {
    m_oRowOp.Detach();
    delete m_pDef;
    m_pDef = def ? def->Copy() : nullptr;
    m_eOutputFormat = outputFormat;
}

EQPixelFormat CSeqOpRowOp::GetPixelFormat() const {
    return m_eOutputFormat != keFormatNone ? m_eOutputFormat : CSeqOp::GetPixelFormat();
}

bool CSeqOpRowOp::Reset() {
    if (!CSeqOp::Reset()) return false;
    VSeqOp* src = Src(0);
    if (!src) return false;
    m_nSrcBpp = CQPixelFormat(src->GetPixelFormat()).GetBitsPerPixel();
    if (!m_pDef) return false;
    m_oRowOp.Detach();
    m_oCopyIn.Detach();
    m_bInPlace = false;
    const SPal pal = src->GetPalette();
    m_oData = CRowOpData{};
    m_oData.eSrcFormat = src->GetPixelFormat();
    m_oData.nSrcPaletteCount = pal.nCount;
    m_oData.pSrcPalette = pal.pEntries;
    m_oData.nCount = GetWidth();
    m_oData.pDst = m_oRowBuffer.Data();
    m_oData.eDstFormat = GetPixelFormat();
    m_oData.nImageWidth = GetWidth();
    m_oData.nImageHeight = GetHeight();
    if (!m_oRowOp.Attach(m_pDef, m_oData, keCPURequestBest, false)) return false;
    if (m_oRowOp.IsNOP()) {
        // A kind that only rewrites its destination row (invert, fill ...) has
        // no kernel for a source: copy the source row in, then run it alone.
        CRowOpData alone = m_oData;
        alone.eSrcFormat = keFormatNone;
        alone.nSrcPaletteCount = 0;
        alone.pSrcPalette = nullptr;
        CRowOp inPlace;
        if (inPlace.Attach(m_pDef, alone, keCPURequestBest, false) && !inPlace.IsNOP()) {
            static const CRowOpDefConvert kConvert;
            m_oCopyIn.Attach(&kConvert, m_oData, keCPURequestBest, false);
            m_oRowOp = inPlace;
            m_oData = alone;
            m_oData.eSrcFormat = src->GetPixelFormat();
            m_oData.nSrcPaletteCount = pal.nCount;
            m_oData.pSrcPalette = pal.pEntries;
            m_bInPlace = true;
        }
    }
    return true;
}

const void* CSeqOpRowOp::GetNextRow(int x, int count) {
    VSeqOp* src = Src(0);
    if (!src) return nullptr;
    const void* row = src->GetNextRow(x, count);
    if (!row) return nullptr;
    m_oData.pSrc = static_cast<const uint8_t*>(row);
    m_oData.pDst = m_oRowBuffer.Data();
    m_oData.nCount = count;
    m_oData.x = x;
    if (m_bInPlace) {
        if (m_oCopyIn.RunCode(m_oData) != keQuorErrSuccess) return nullptr;
        CRowOpData alone = m_oData;
        alone.eSrcFormat = keFormatNone;
        alone.pSrc = nullptr;
        if (m_oRowOp.RunCode(alone) != keQuorErrSuccess) return nullptr;
    } else if (m_oRowOp.RunCode(m_oData) != keQuorErrSuccess) {
        return nullptr;
    }
    ++m_oData.nRowCounter;
    ++m_oData.y;
    return m_oRowBuffer.Data();
}

bool CSeqOpRowOp::GetNextRow(void* dst, int x, int count) {
    if (x < 0 || count < 0) return false;
    const void* row = GetNextRow(x, count);
    if (!row) return false;
    // The bytes copied are those of the delivered format, which is what the
    // row buffer holds (the source's may be wider).
    const int bpp = CQPixelFormat(GetPixelFormat()).GetBitsPerPixel();
    if (bpp % 4 != 0 && ((bpp * x) % 4 != 0 || (bpp * count) % 4 != 0)) return false;
    std::memcpy(dst, row, static_cast<size_t>(static_cast<int64_t>(bpp) * count / 8));
    return true;
}

bool CSeqOpRowOp::Seek(int row) {
    static_cast<void>(CSeqOp::Seek(row));
    m_oData.nRowCounter = row;
    m_oData.y = row;
    return true;
}

CSeqOpConvert::CSeqOpConvert(EQPixelFormat target) : CSeqOpRowOp(nullptr) {
    const CRowOpDefConvert def;
    SetRowOp(&def, target);
}

bool CSeqOpConvert::Reset() {
    m_bPassThrough = false;
    if (!CSeqOpRowOp::Reset()) return false;
    m_bPassThrough = Src(0)->GetPixelFormat() == GetPixelFormat();
    return true;
}

const void* CSeqOpConvert::GetNextRow(int x, int count) {
    if (m_bPassThrough) return Src(0) ? Src(0)->GetNextRow(x, count) : nullptr;
    return CSeqOpRowOp::GetNextRow(x, count);
}

bool CSeqOpConvert::GetNextRow(void* dst, int x, int count) {
    if (m_bPassThrough) return Src(0) && Src(0)->GetNextRow(dst, x, count);
    return CSeqOpRowOp::GetNextRow(dst, x, count);
}
