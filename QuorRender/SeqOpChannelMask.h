#pragma once
// Limiting a filter to some channels: the filtered rows of source 0 give the
// selected channels, the untouched rows of source 1 (the same image, pulled
// in step) give the others. Both sources must deliver the same format and
// width; a filter then never needs to know which channels it may change.
#include <cstdint>
#include <vector>

#include "QuorRender/SeqOp.h"
#include "qgdi_export.h"

class QGDI_API CSeqOpChannelMask : public CSeqOp {
public:
    explicit CSeqOpChannelMask(EQChannelSet channels) noexcept : m_eChannels(channels) {}
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;

private:
    EQChannelSet m_eChannels;
    std::vector<uint8_t> m_aMask;  // one pixel: 0xFF where the filtered byte is kept
    int m_nPixelBytes = 0;
};
