#include "QuorRender/SeqOpDisplace.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "qdibcore/Source/PixelFormat.h"

namespace {

// Sample index of `channel` in `pf`, or -1.
int ChannelIndex(const CQPixelFormat& pf, EQChannel channel) {
    EQChannel list[8];
    int count = 0;
    if (!pf.GetChannels(count, list)) return -1;
    for (int i = 0; i < count; ++i)
        if (list[i] == channel) return i;
    return -1;
}

}  // namespace

CSeqOpDisplace::CSeqOpDisplace(EQChannel xChannel, EQChannel yChannel, double scale, bool svg, EEdgeMode edge,
                               uint32_t edgeColour)
    : m_eX(xChannel), m_eY(yChannel), m_fScale(scale), m_bSvg(svg), m_eEdge(edge), m_nEdgeColour(edgeColour) {}

CSeqOpDisplace::~CSeqOpDisplace() = default;

bool CSeqOpDisplace::Reset() {
    m_pWindow.reset();
    VSeqOp* src = Src(0);
    VSeqOp* map = Src(1);
    if (!src || !map || !std::isfinite(m_fScale) || std::fabs(m_fScale) > qgdi::filter::kfMaxDisplaceScale)
        return false;
    if (src->GetWidth() != map->GetWidth() || src->GetHeight() != map->GetHeight()) return false;
    const CQPixelFormat pf(src->GetPixelFormat()), mf(map->GetPixelFormat());
    const int bpc = pf.GetBitsPerChannel(), mbpc = mf.GetBitsPerChannel();
    if (pf.IsIndexedColor() || (bpc != 8 && bpc != 16) || mf.IsIndexedColor() || (mbpc != 8 && mbpc != 16))
        return false;
    m_nMapX = ChannelIndex(mf, m_eX);
    m_nMapY = ChannelIndex(mf, m_eY);
    if (m_nMapX < 0 || m_nMapY < 0) return false;
    m_nMapAlpha = m_bSvg && mf.IsAlphaPremultiplied() ? ChannelIndex(mf, keChannelAlpha) : -1;
    m_nMapSampleBytes = mbpc / 8;
    m_nMapPixelSamples = mf.GetChannelCount();
    m_fMapMax = mbpc == 8 ? 255.0 : 65535.0;
    m_nSampleBytes = bpc / 8;
    // Map sources reset through the base; the window resets the image itself.
    if (!map->Reset()) return false;
    m_nReach = static_cast<int>(std::ceil(std::fabs(m_fScale) / 2)) + 1;
    if (!OpenWindow(m_pWindow, quor::keTypeInt32, 2 * m_nReach + 1, 2 * m_nReach + 1, m_nReach, m_nReach, m_eEdge,
                    m_nEdgeColour, m_nWidth, m_nChannels))
        return false;
    m_oRowBuffer.Free();
    try {
        const size_t w = static_cast<size_t>(m_nWidth);
        m_aCol.assign(w, 0), m_aSlot.assign(w, 0), m_aFx.assign(w, 0), m_aFy.assign(w, 0);
        m_aOut.assign(w, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (!SizeRows(pf.Get(), m_nWidth)) return false;
    m_nRow = 0;
    return true;
}

bool CSeqOpDisplace::MakeRow() {
    if (!m_pWindow || !m_pWindow->IsAttached() || m_nRow >= GetHeight()) return false;
    if (m_nRow > 0 && !m_pWindow->Next()) return false;
    const auto* mapRow = static_cast<const uint8_t*>(Src(1)->GetNextRow(0, m_nWidth));
    if (!mapRow) return false;
    const auto sample = [&](int x, int index) -> double {
        const size_t i = static_cast<size_t>(x) * m_nMapPixelSamples + static_cast<size_t>(index);
        if (m_nMapSampleBytes == 1) return mapRow[i];
        uint16_t v;
        std::memcpy(&v, mapRow + 2 * i, 2);
        return v;
    };
    // Offsets in 1/256 pixel, at most reach - 1 pixels, so that both
    // bilinear neighbours stay inside the window.
    const double unit = m_fScale * 256.0 / m_fMapMax, half = m_fScale * 128.0;
    const int limit = (m_nReach - 1) * 256;
    for (int x = 0; x < m_nWidth; ++x) {
        double mx = sample(x, m_nMapX), my = sample(x, m_nMapY);
        if (m_nMapAlpha >= 0) {
            const double a = sample(x, m_nMapAlpha);
            mx = a > 0 ? std::min(mx * m_fMapMax / a, m_fMapMax) : 0;
            my = a > 0 ? std::min(my * m_fMapMax / a, m_fMapMax) : 0;
        }
        int ox = std::clamp(static_cast<int>(std::lround(mx * unit - half)), -limit, limit);
        int oy = std::clamp(static_cast<int>(std::lround(my * unit - half)), -limit, limit);
        if (m_bSvg) ox = (ox + 128) & ~255, oy = (oy + 128) & ~255;
        m_aCol[static_cast<size_t>(x)] = x + m_nReach + (ox >> 8);
        m_aSlot[static_cast<size_t>(x)] = m_nReach + (oy >> 8);
        m_aFx[static_cast<size_t>(x)] = ox & 255;
        m_aFy[static_cast<size_t>(x)] = oy & 255;
    }
    for (int c = 0; c < m_nChannels; ++c) {
        m_pWindow->SetChannel(c);
        for (int x = 0; x < m_nWidth; ++x) {
            const size_t i = static_cast<size_t>(x);
            const int slot = m_aSlot[i], col = m_aCol[i];
            const int64_t fx = m_aFx[i], fy = m_aFy[i];
            const int32_t* r0 = m_pWindow->Row<int32_t>(slot) + col;
            const int32_t* r1 = m_pWindow->Row<int32_t>(slot + 1) + col;
            const int64_t top = r0[0] * (256 - fx) + r0[1] * fx, bottom = r1[0] * (256 - fx) + r1[1] * fx;
            m_aOut[i] = static_cast<int32_t>((top * (256 - fy) + bottom * fy + 32768) >> 16);
        }
        if (m_nSampleBytes == 1) {
            uint8_t* out = m_oRowBuffer.Data();
            for (int x = 0; x < m_nWidth; ++x)
                out[static_cast<size_t>(x) * m_nChannels + c] = static_cast<uint8_t>(m_aOut[static_cast<size_t>(x)]);
        } else {
            auto* out = reinterpret_cast<uint16_t*>(m_oRowBuffer.Data());
            for (int x = 0; x < m_nWidth; ++x)
                out[static_cast<size_t>(x) * m_nChannels + c] = static_cast<uint16_t>(m_aOut[static_cast<size_t>(x)]);
        }
    }
    ++m_nRow;
    return true;
}
