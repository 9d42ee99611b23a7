#include "QuorRender/RowOpUtil.h"

#include <cstring>

#include "QuorRender/internal/RowOpDict.h"
#include "qdibcore/Source/internal/pixel/Pixel.h"

namespace {

using namespace qgdi::px;

constexpr bool IsDirect(int f) { return f >= keFormatGrey && f <= keFormatBGRxA_f32; }

inline constexpr auto kDirectFormats = [] {
    std::array<SQFormatPair, keFormatBGRxA_f32 - keFormatGrey + 1> pairs{};
    for (int f = keFormatGrey; f <= keFormatBGRxA_f32; ++f)
        pairs[f - keFormatGrey] = {static_cast<EQPixelFormat>(f), keFormatNone};
    return pairs;
}();

template <EQPixelFormat D, EQPixelFormat S>
struct TAlphaMul {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pMask) return;
        using T = TQPixelFormat<D>;
        using E = typename T::Elem;
        E* d = reinterpret_cast<E*>(data.pDst);
        for (int i = 0; i < data.nCount; ++i) {
            const uint32_t m = data.pMask[i];
            for (int c = 0; c < T::kChannels; ++c) {
                const bool isAlpha = T::kAlpha && c == T::kAlphaOffset;
                if (T::kAlpha && !T::kPremultiplied && !isAlpha) continue;
                if (!T::kAlpha && isAlpha) continue;
                // v = v m / 255
                E& v = d[i * T::kChannels + c];
                if constexpr (kIsFloat<E>) v = v * (m * (1.0f / 255.0f));
                else if constexpr (sizeof(E) == 1) v = E(Div255(v * m));
                else v = E(Div65535(uint32_t(v) * (m * 257)));
            }
        }
    }
};

constexpr auto& kAlphaMulDict = qgdi::rowop::kDict<kDirectFormats, TAlphaMul>;

}  // namespace

void QGDI_InvertRow(uint8_t* bytes, int count) noexcept {
    if (!bytes) return;
    for (int i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(255 - bytes[i]);
}

QRowOpFn QGDI_GetAlphaMulOp(EQPixelFormat format) noexcept {
    return RoeLookUpEntry(kAlphaMulDict.data(), format, keFormatNone, keCPURequestBest, false);
}

bool QGDI_SplitBuffer(void* const* planes, const void* pixels, EQPixelFormat format, int count) noexcept {
    if (!planes || !pixels || !IsDirect(format) || count < 0) return false;
    const SQPixelFormatTraits& t = kQPixelFormatTraits[format + 1];
    const size_t size = t.bitsPerChannel / 8;
    for (int c = 0; c < t.channelCount; ++c)
        if (!planes[c]) return false;
    const auto* in = static_cast<const uint8_t*>(pixels);
    for (int c = 0; c < t.channelCount; ++c) {
        auto* out = static_cast<uint8_t*>(planes[c]);
        for (int i = 0; i < count; ++i) std::memcpy(out + i * size, in + (size_t(i) * t.channelCount + c) * size, size);
    }
    return true;
}

bool QGDI_MergeBuffer(void* pixels, const void* const* planes, EQPixelFormat format, int count) noexcept {
    if (!planes || !pixels || !IsDirect(format) || count < 0) return false;
    const SQPixelFormatTraits& t = kQPixelFormatTraits[format + 1];
    const size_t size = t.bitsPerChannel / 8;
    for (int c = 0; c < t.channelCount; ++c)
        if (!planes[c]) return false;
    auto* out = static_cast<uint8_t*>(pixels);
    for (int c = 0; c < t.channelCount; ++c) {
        const auto* in = static_cast<const uint8_t*>(planes[c]);
        for (int i = 0; i < count; ++i) std::memcpy(out + (size_t(i) * t.channelCount + c) * size, in + i * size, size);
    }
    return true;
}
