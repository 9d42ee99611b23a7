#include <cstring>

#include "QuorRender/SeqOp.h"

CSeqOpRowIterator::CSeqOpRowIterator(const CRowIterator* image, EQPixelFormat format) noexcept {
    SetImage(image, format);
}

CSeqOpRowIterator::~CSeqOpRowIterator() { ReleaseHeld(); }

void CSeqOpRowIterator::ReleaseHeld() noexcept {
    if (m_pImage && m_nHeldRow >= 0) m_pImage->ReleaseRow(m_nHeldRow).Ignore();
    m_nHeldRow = -1;
}

void CSeqOpRowIterator::SetImage(const CRowIterator* image, EQPixelFormat format) noexcept {
    ReleaseHeld();
    m_pImage = image;
    m_eFormat = format;
    m_bConverting = false;
    m_nLastRow = -1;
    m_nBpp = image ? image->GetBPP() : 0;
}

EQPixelFormat CSeqOpRowIterator::GetPixelFormat() const {
    if (m_eFormat != keFormatNone) return m_eFormat;
    return m_pImage ? m_pImage->GetPixelFormat() : keFormatNone;
}

SPal CSeqOpRowIterator::GetPalette() const {
    return m_pImage ? SPal{m_pImage->GetPaletteCount(), m_pImage->GetPalette()} : SPal{};
}
int32_t CSeqOpRowIterator::GetWidth() const { return m_pImage ? m_pImage->GetWidth() : 0; }
int32_t CSeqOpRowIterator::GetHeight() const { return m_pImage ? m_pImage->GetHeight() : 0; }

bool CSeqOpRowIterator::Reset() {
    if (!CSeqOp::Reset()) return false;
    m_nLastRow = -1;
    m_nBpp = m_pImage ? m_pImage->GetBPP() : CQPixelFormat(m_eFormat).GetBitsPerPixel();
    ReleaseHeld();
    m_bConverting = false;
    if (m_pImage && m_eFormat != keFormatNone && m_eFormat != m_pImage->GetPixelFormat()) {
        m_oConvert.Detach();
        m_nBpp = CQPixelFormat(m_eFormat).GetBitsPerPixel();
        m_oData = CRowOpData{};
        m_oData.eDstFormat = m_eFormat;
        m_oData.nImageWidth = m_pImage->GetWidth();
        m_oData.nImageHeight = m_pImage->GetHeight();
        m_oData.eSrcFormat = m_pImage->GetPixelFormat();
        m_oData.nSrcPaletteCount = m_pImage->GetPaletteCount();
        m_oData.pSrcPalette = m_pImage->GetPalette();
        m_oConvert.Attach(&m_oConvertDef, m_oData, keCPURequestBest, false);
        m_bConverting = true;
    }
    return true;
}

const void* CSeqOpRowIterator::GetNextRow(int x, int count) {
    ReleaseHeld();
    if (!m_pImage) return nullptr;
    ++m_nLastRow;
    if (m_nLastRow >= m_pImage->GetHeight()) {
        m_nLastRow = m_pImage->GetHeight();
        return nullptr;
    }
    const uint8_t* row = m_pImage->GetRow(m_nLastRow, x, count);
    if (!row) return nullptr;
    m_nHeldRow = m_nLastRow;
    if (!m_bConverting) return row;
    m_oData.pSrc = row;
    m_oData.pDst = m_oRowBuffer.Data();
    m_oData.nCount = count;
    m_oData.x = x;
    m_oData.y = m_nLastRow;
    if (m_oConvert.RunCode(m_oData) != keQuorErrSuccess) return nullptr;
    return m_oRowBuffer.Data();
}

bool CSeqOpRowIterator::GetNextRow(void* dst, int x, int count) {
    if (!m_pImage || x < 0 || count < 0 || static_cast<int64_t>(x) + count > m_pImage->GetWidth()) return false;
    const void* row = GetNextRow(x, count);
    if (!row) return false;
    // Packed formats below a nibble per pixel can only be cut at nibble boundaries.
    if (m_nBpp % 4 != 0 && ((m_nBpp * x) % 4 != 0 || (m_nBpp * count) % 4 != 0)) return false;
    std::memcpy(dst, row, static_cast<size_t>(static_cast<int64_t>(m_nBpp) * count / 8));
    return true;
}

bool CSeqOpRowIterator::Seek(int row) {
    if (!m_pImage || row < 0 || row > m_pImage->GetHeight()) return false;
    ReleaseHeld();
    m_nLastRow = row;
    return true;
}
