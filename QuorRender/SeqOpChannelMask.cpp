#include "QuorRender/SeqOpChannelMask.h"

#include <cstring>

bool CSeqOpChannelMask::Reset() {
    if (!CSeqOp::Reset()) return false;
    VSeqOp* filtered = Src(0);
    VSeqOp* original = Src(1);
    if (!filtered || !original || filtered->GetPixelFormat() != original->GetPixelFormat() ||
        filtered->GetWidth() != original->GetWidth())
        return false;
    const CQPixelFormat pf(filtered->GetPixelFormat());
    EQChannel list[8];
    int count = 0;
    if (!pf.IsPixelByteAligned() || !pf.GetChannels(count, list)) return false;
    m_nPixelBytes = pf.GetBytesPerPixel();
    const int sampleBytes = pf.GetBitsPerChannel() / 8;
    m_aMask.assign(static_cast<size_t>(m_nPixelBytes), 0);
    for (int c = 0; c < count; ++c) {
        if (!QGDI_ChannelIsMember(m_eChannels, list[c])) continue;
        const int offset = pf.GetChannelOffset(list[c]) * sampleBytes;  // the offset is a sample index
        if (offset < 0 || offset + sampleBytes > m_nPixelBytes) return false;
        std::memset(m_aMask.data() + offset, 0xFF, static_cast<size_t>(sampleBytes));
    }
    return true;
}

bool CSeqOpChannelMask::GetNextRow(void* dst, int x, int count) {
    VSeqOp* filtered = Src(0);
    VSeqOp* original = Src(1);
    if (!filtered || !original || m_aMask.empty()) return false;
    const auto* a = static_cast<const uint8_t*>(filtered->GetNextRow(x, count));
    const auto* b = static_cast<const uint8_t*>(original->GetNextRow(x, count));
    if (!a || !b) return false;
    auto* out = static_cast<uint8_t*>(dst);
    const size_t pb = static_cast<size_t>(m_nPixelBytes);
    const uint8_t* mask = m_aMask.data();
    for (size_t p = 0; p < static_cast<size_t>(count); ++p)
        for (size_t i = 0; i < pb; ++i) {
            const size_t k = p * pb + i;
            out[k] = static_cast<uint8_t>((a[k] & mask[i]) | (b[k] & ~mask[i]));
        }
    return true;
}
