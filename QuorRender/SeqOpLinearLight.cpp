#include "QuorRender/SeqOpLinearLight.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "qdibcore/Source/PixelFormatTraits.h"

namespace {

double Decode(double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); }
double Encode(double l) { return l <= 0.0031308 ? l * 12.92 : 1.055 * std::pow(l, 1.0 / 2.4) - 0.055; }

// Tables built on first use (a function-local static: one thread builds, the
// others wait), read-only afterwards.
struct STables {
    uint16_t decode8[256];
    std::vector<uint16_t> decode16 = std::vector<uint16_t>(65536);
    std::vector<uint8_t> encode8 = std::vector<uint8_t>(65536);
    std::vector<uint16_t> encode16 = std::vector<uint16_t>(65536);
    STables() {
        for (int i = 0; i < 256; ++i) decode8[i] = static_cast<uint16_t>(std::lround(Decode(i / 255.0) * 65535));
        for (int i = 0; i < 65536; ++i) {
            decode16[static_cast<size_t>(i)] = static_cast<uint16_t>(std::lround(Decode(i / 65535.0) * 65535));
            const double e = Encode(i / 65535.0);
            encode8[static_cast<size_t>(i)] = static_cast<uint8_t>(std::lround(e * 255));
            encode16[static_cast<size_t>(i)] = static_cast<uint16_t>(std::lround(e * 65535));
        }
    }
};

const STables& Tables() {
    static const STables tables;
    return tables;
}

template <class S, class D, class Map>
void Apply(D* dst, const S* src, int count, int channels, int alpha, const Map& map) {
    for (int x = 0; x < count; ++x)
        for (int c = 0; c < channels; ++c) {
            const size_t i = static_cast<size_t>(x) * channels + c;
            dst[i] = c == alpha ? map.Alpha(src[i]) : map.Colour(src[i]);
        }
}

}  // namespace

EQPixelFormat CSeqOpLinearLight::LinearFormat(EQPixelFormat encoded) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(encoded);
    if (!t || encoded <= keFormatNone || t->formatClass == keFormatClassIndexed) return keFormatNone;
    return t->bitsPerChannel == 8 ? t->to16bit : encoded;
}

EQPixelFormat CSeqOpLinearLight::GetPixelFormat() const {
    const EQPixelFormat src = CSeqOp::GetPixelFormat();
    if (m_bToLinear) return LinearFormat(src);
    return m_eEncoded != keFormatNone ? m_eEncoded : src;
}

bool CSeqOpLinearLight::Reset() {
    if (!CSeqOp::Reset() || !Src(0)) return false;
    m_eFrom = Src(0)->GetPixelFormat();
    m_eTo = GetPixelFormat();
    const SQPixelFormatTraits* from = QGDI_FindPixelFormatTraits(m_eFrom);
    const SQPixelFormatTraits* to = QGDI_FindPixelFormatTraits(m_eTo);
    if (!from || !to || from->channelCount != to->channelCount || from->formatClass == keFormatClassIndexed ||
        (m_bToLinear ? to->bitsPerChannel != (from->bitsPerChannel == 32 ? 32 : 16)
                     : from->bitsPerChannel != (to->bitsPerChannel == 32 ? 32 : 16)))
        return false;
    m_nChannels = from->channelCount;
    m_nAlpha = from->alpha ? m_nChannels - 1 : -1;
    Tables();
    return true;
}

const void* CSeqOpLinearLight::GetNextRow(int x, int count) {
    VSeqOp* src = Src(0);
    const void* row = src ? src->GetNextRow(x, count) : nullptr;
    if (!row || CQPixelFormat(m_eFrom).IsFloat()) return row;
    const STables& t = Tables();
    const int fromBits = CQPixelFormat(m_eFrom).GetBitsPerChannel(), toBits = CQPixelFormat(m_eTo).GetBitsPerChannel();
    void* out = m_oRowBuffer.Data();
    if (m_bToLinear && fromBits == 8) {
        struct M {
            const STables& t;
            uint16_t Colour(uint8_t v) const { return t.decode8[v]; }
            uint16_t Alpha(uint8_t v) const { return static_cast<uint16_t>(v * 257); }
        } m{t};
        Apply(static_cast<uint16_t*>(out), static_cast<const uint8_t*>(row), count, m_nChannels, m_nAlpha, m);
    } else if (m_bToLinear) {
        struct M {
            const STables& t;
            uint16_t Colour(uint16_t v) const { return t.decode16[v]; }
            uint16_t Alpha(uint16_t v) const { return v; }
        } m{t};
        Apply(static_cast<uint16_t*>(out), static_cast<const uint16_t*>(row), count, m_nChannels, m_nAlpha, m);
    } else if (toBits == 8) {
        struct M {
            const STables& t;
            uint8_t Colour(uint16_t v) const { return t.encode8[v]; }
            uint8_t Alpha(uint16_t v) const { return static_cast<uint8_t>((v * 255u + 32767u) / 65535u); }
        } m{t};
        Apply(static_cast<uint8_t*>(out), static_cast<const uint16_t*>(row), count, m_nChannels, m_nAlpha, m);
    } else {
        struct M {
            const STables& t;
            uint16_t Colour(uint16_t v) const { return t.encode16[v]; }
            uint16_t Alpha(uint16_t v) const { return v; }
        } m{t};
        Apply(static_cast<uint16_t*>(out), static_cast<const uint16_t*>(row), count, m_nChannels, m_nAlpha, m);
    }
    return out;
}

bool CSeqOpLinearLight::GetNextRow(void* dst, int x, int count) {
    if (x < 0 || count < 0) return false;
    const void* row = GetNextRow(x, count);
    if (!row) return false;
    std::memcpy(dst, row, static_cast<size_t>(CQPixelFormat(m_eTo).GetBitsPerPixel() / 8) * static_cast<size_t>(count));
    return true;
}
