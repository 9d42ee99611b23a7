#pragma once
// Between sRGB-encoded samples and linear light. Resampling averages light:
// done on encoded values, a fine pattern of black and white reduces to a grey
// darker than its light, and bright edges lose weight. Encoded 8-bit rows
// become 16-bit linear rows (8 bits are too few for the dark end of linear
// light) and come back; 16-bit rows stay 16-bit. Alpha is left as it is;
// float rows are taken to be linear already and pass through.
#include "QuorRender/SeqOp.h"

class QGDI_API CSeqOpLinearLight : public CSeqOp {
public:
    // `toLinear` false encodes: linear 16-bit rows to `encodedFormat` (an
    // 8- or 16-bit format of the same layout).
    explicit CSeqOpLinearLight(bool toLinear, EQPixelFormat encodedFormat = keFormatNone) noexcept
        : m_bToLinear(toLinear), m_eEncoded(encodedFormat) {}
    EQPixelFormat GetPixelFormat() const override;
    bool Reset() override;
    bool GetNextRow(void* dst, int x, int count) override;
    const void* GetNextRow(int x, int count) override;

    // The format a chain in linear light works in for an encoded format.
    static EQPixelFormat LinearFormat(EQPixelFormat encoded) noexcept;

private:
    bool m_bToLinear;
    EQPixelFormat m_eEncoded;
    EQPixelFormat m_eFrom = keFormatNone, m_eTo = keFormatNone;
    int m_nChannels = 0;
    int m_nAlpha = -1;  // element of alpha, -1 without
};
