#include "QuorRender/KernelSource.h"

#include <algorithm>
#include <cstring>

namespace {

template <class T, class S>
void SplitChannel(T* dst, const uint8_t* padded, size_t count, int pixelBytes, int offset) noexcept {
    const uint8_t* p = padded + offset;
    for (size_t k = 0; k < count; ++k) {
        S s;
        std::memcpy(&s, p + k * static_cast<size_t>(pixelBytes), sizeof s);
        dst[k] = static_cast<T>(s);
    }
}

template <class T>
void SplitAs(T* dst, const uint8_t* padded, size_t count, int pixelBytes, int offset, int sampleBytes) noexcept {
    if (sampleBytes == 1) SplitChannel<T, uint8_t>(dst, padded, count, pixelBytes, offset);
    else SplitChannel<T, uint16_t>(dst, padded, count, pixelBytes, offset);
}

}  // namespace

CKernelWindow::CKernelWindow(quor::EQType type, int width, int height, int anchorX, int anchorY, EEdgeMode edge,
                             uint32_t edgeColour) noexcept
    : m_eType(type),
      m_nElemSize(quor::SizeOf(type)),
      m_nKernelWidth(width),
      m_nKernelHeight(height),
      m_nAnchorX(anchorX),
      m_nAnchorY(anchorY),
      m_eEdge(edge),
      m_nEdgeColour(edgeColour) {}

CKernelWindow::~CKernelWindow() = default;

void CKernelWindow::SetChannel(int index) noexcept {
    if (IsSetUp() && index >= 0 && index < m_nChannels) m_nCurrentChannel = index;
}

EQChannel CKernelWindow::GetCurrentChannel() const noexcept {
    return IsSetUp() ? m_aChannel[m_nCurrentChannel] : keChannelNone;
}

bool CKernelWindow::Setup(EQPixelFormat format, int width, int height, EQChannelSet channels) {
    Teardown();
    const bool typeOk = m_eType == quor::keTypeInt16 || m_eType == quor::keTypeInt32 || m_eType == quor::keTypeReal32 ||
                        m_eType == quor::keTypeReal64;
    const CQPixelFormat pf(format);
    if (!typeOk || m_nKernelWidth < 1 || m_nKernelHeight < 1 || m_nAnchorX < 0 || m_nAnchorX >= m_nKernelWidth ||
        m_nAnchorY < 0 || m_nAnchorY >= m_nKernelHeight || width < 1 || height < 1)
        return false;
    const int bpp = pf.GetBitsPerPixel(), bpc = pf.GetBitsPerChannel();
    if (bpp == 0 || bpp % 8 != 0 || (bpc != 8 && bpc != 16)) return false;
    int count = 0;
    EQChannel list[4];
    if (!pf.GetChannels(count, list)) return false;
    m_nChannels = 0;
    for (int i = 0; i < count; ++i) {
        if (!QGDI_ChannelIsMember(channels, list[i])) continue;
        if (m_nChannels == kMaxChannels) return false;
        m_aChannel[m_nChannels] = list[i];
        m_aOffset[m_nChannels] = i * bpc / 8;
        ++m_nChannels;
    }
    if (m_nChannels == 0) return false;
    m_eFormat = format;
    m_nWidth = width;
    m_nHeight = height;
    m_nPixelBytes = bpp / 8;
    m_nSampleBytes = bpc / 8;
    m_nPadded = static_cast<size_t>(width) + static_cast<size_t>(m_nKernelWidth);
    const size_t slotBytes = m_nPadded * m_nElemSize * static_cast<size_t>(m_nChannels);
    const size_t paddedBytes = m_nPadded * static_cast<size_t>(m_nPixelBytes);
    if (!m_oWindow.Grow(slotBytes * static_cast<size_t>(m_nKernelHeight)) || !m_oPadded.Grow(paddedBytes) ||
        !m_oConstant.Grow(paddedBytes)) {
        Teardown();
        return false;
    }
    m_apSlots.resize(static_cast<size_t>(m_nKernelHeight));
    for (size_t s = 0; s < m_apSlots.size(); ++s) m_apSlots[s] = m_oWindow.Data() + s * slotBytes;
    // The edge colour as one pixel of the format, every channel of it.
    uint8_t pixel[16] = {};
    for (int i = 0; i < count; ++i) {
        const uint8_t byte = QGDI_GetChannelColor(m_nEdgeColour, list[i]);
        if (m_nSampleBytes == 1) {
            pixel[i] = byte;
        } else {
            const uint16_t wide = static_cast<uint16_t>(byte * 257);
            std::memcpy(pixel + 2 * i, &wide, 2);
        }
    }
    if (m_eEdge == keEdgeConstant)
        for (size_t k = 0; k < m_nPadded; ++k)
            std::memcpy(m_oConstant.Data() + k * static_cast<size_t>(m_nPixelBytes), pixel,
                        static_cast<size_t>(m_nPixelBytes));
    m_nCurrentChannel = 0;
    return true;
}

void CKernelWindow::Teardown() noexcept {
    m_apSlots.clear();
    m_oWindow.Free();
    m_oPadded.Free();
    m_oConstant.Free();
    m_nChannels = 0;
    m_nCurrentChannel = 0;
}

void CKernelWindow::Split(uint8_t* slot, const uint8_t* padded) noexcept {
    for (int c = 0; c < m_nChannels; ++c) {
        uint8_t* dst = slot + static_cast<size_t>(c) * m_nPadded * m_nElemSize;
        switch (m_eType) {
        case quor::keTypeInt16:
            SplitAs(reinterpret_cast<int16_t*>(dst), padded, m_nPadded, m_nPixelBytes, m_aOffset[c], m_nSampleBytes);
            break;
        case quor::keTypeInt32:
            SplitAs(reinterpret_cast<int32_t*>(dst), padded, m_nPadded, m_nPixelBytes, m_aOffset[c], m_nSampleBytes);
            break;
        case quor::keTypeReal32:
            SplitAs(reinterpret_cast<float*>(dst), padded, m_nPadded, m_nPixelBytes, m_aOffset[c], m_nSampleBytes);
            break;
        default:
            SplitAs(reinterpret_cast<double*>(dst), padded, m_nPadded, m_nPixelBytes, m_aOffset[c], m_nSampleBytes);
            break;
        }
    }
}

bool CKernelWindow::LoadSlot(size_t slot, int row) {
    int mapped = row;
    if (m_eEdge == keEdgeWrap && WrapsRows()) {
        mapped = qgdi::edge::MapIndex(row, m_nHeight, keEdgeWrap);
    } else if (m_eEdge == keEdgeWrap || m_eEdge == keEdgeClamp) {
        mapped = qgdi::edge::MapIndex(row, m_nHeight, keEdgeClamp);
    } else if (m_eEdge == keEdgeConstant && (row < 0 || row >= m_nHeight)) {
        Split(m_apSlots[slot], m_oConstant.Data());
        return true;
    }
    const uint8_t* src = FetchRow(mapped);
    if (!src) return false;
    const size_t px = static_cast<size_t>(m_nPixelBytes);
    uint8_t* padded = m_oPadded.Data();
    const int w = m_nWidth;
    std::memcpy(padded + static_cast<size_t>(m_nAnchorX) * px, src, static_cast<size_t>(w) * px);
    const int right = m_nKernelWidth - m_nAnchorX - 1;
    if (m_eEdge == keEdgeWrap || m_eEdge == keEdgeClamp || m_eEdge == keEdgeConstant) {
        for (int k = 1; k <= m_nAnchorX; ++k) {
            uint8_t* d = padded + static_cast<size_t>(m_nAnchorX - k) * px;
            if (m_eEdge == keEdgeConstant) std::memcpy(d, m_oConstant.Data(), px);
            else std::memcpy(d, src + static_cast<size_t>(qgdi::edge::MapIndex(-k, w, m_eEdge)) * px, px);
        }
        for (int k = 1; k <= right; ++k) {
            uint8_t* d = padded + static_cast<size_t>(m_nAnchorX + w + k - 1) * px;
            if (m_eEdge == keEdgeConstant) std::memcpy(d, m_oConstant.Data(), px);
            else std::memcpy(d, src + static_cast<size_t>(qgdi::edge::MapIndex(w + k - 1, w, m_eEdge)) * px, px);
        }
    }
    Split(m_apSlots[slot], padded);
    ReleaseFetched();
    return true;
}

bool CKernelWindow::LoadAll() {
    m_nCurrentRow = 0;
    for (int s = 0; s < m_nKernelHeight; ++s)
        if (!LoadSlot(static_cast<size_t>(s), s - m_nAnchorY)) return false;
    return true;
}

bool CKernelWindow::Advance() {
    if (!IsSetUp() || m_nCurrentRow + 1 >= m_nHeight) return false;
    ++m_nCurrentRow;
    // The first slot's storage becomes the last: no pixel moves.
    std::rotate(m_apSlots.begin(), m_apSlots.begin() + 1, m_apSlots.end());
    return LoadSlot(m_apSlots.size() - 1, m_nKernelHeight - 1 - m_nAnchorY + m_nCurrentRow);
}

// ---- over a stage -----------------------------------------------------------

CKernelSource::~CKernelSource() { Detach(); }

bool CKernelSource::Attach(VSeqOp* stage, EQChannelSet channels) {
    Detach();
    if (!stage || !Setup(stage->GetPixelFormat(), stage->GetWidth(), stage->GetHeight(), channels)) return false;
    m_pStage = stage;
    if (!Reset()) {
        Detach();
        return false;
    }
    return true;
}

void CKernelSource::Detach() noexcept {
    Teardown();
    m_pStage = nullptr;
    m_pLastRow = nullptr;
    m_nLastPulled = -1;
}

bool CKernelSource::Reset() {
    if (!m_pStage || !m_pStage->Reset()) return false;
    m_pLastRow = nullptr;
    m_nLastPulled = -1;
    return LoadAll();
}

bool CKernelSource::Next() { return m_pStage && Advance(); }

const uint8_t* CKernelSource::FetchRow(int row) {
    const int width = m_pStage->GetWidth();
    if (m_nLastPulled < 0) {
        m_pLastRow = static_cast<const uint8_t*>(m_pStage->GetNextRow(0, width));
        if (!m_pLastRow) return nullptr;
        m_nLastPulled = 0;
    }
    if (row == m_nLastPulled + 1) {
        const auto* next = static_cast<const uint8_t*>(m_pStage->GetNextRow(0, width));
        if (!next) return nullptr;
        m_pLastRow = next;
        ++m_nLastPulled;
    }
    return m_pLastRow;
}

// ---- over an image ----------------------------------------------------------

CKernelSourceIterator::~CKernelSourceIterator() { Detach(); }

bool CKernelSourceIterator::Attach(const CRowIterator* image, EQChannelSet channels) {
    Detach();
    if (!image || !image->IsAttached() ||
        !Setup(image->GetPixelFormat(), image->GetWidth(), image->GetHeight(), channels))
        return false;
    m_pImage = image;
    if (!Reset()) {
        Detach();
        return false;
    }
    return true;
}

void CKernelSourceIterator::Detach() noexcept {
    ReleaseFetched();
    Teardown();
    m_pImage = nullptr;
}

bool CKernelSourceIterator::Reset() { return m_pImage && LoadAll(); }
bool CKernelSourceIterator::Next() { return m_pImage && Advance(); }

const uint8_t* CKernelSourceIterator::FetchRow(int row) {
    ReleaseFetched();
    // An edge mode outside the three treats rows as in range; an image cannot
    // hand out a row it does not have, so the index is held inside it.
    row = std::clamp(row, 0, m_pImage->GetHeight() - 1);
    const uint8_t* p = m_pImage->GetRow(row, 0, m_pImage->GetWidth());
    if (p) m_nHeld = row;
    return p;
}

void CKernelSourceIterator::ReleaseFetched() noexcept {
    if (m_pImage && m_nHeld >= 0) m_pImage->ReleaseRow(m_nHeld).Ignore();
    m_nHeld = -1;
}
