#include "drawing/FillUnerase.h"

#include "qdibcore/Source/PixelFormatTraits.h"

namespace qgdi::fill {

namespace {

// The weight of pixel i in 0..255: the mask already carries coverage x opacity.
inline uint32_t WeightAt(const uint8_t* mask, uint8_t weight, int i) noexcept { return mask ? mask[i] : weight; }

template <class T, int kChannels, int kAlpha>
void UneraseRow(T* p, int count, const uint8_t* mask, uint8_t weight) noexcept {
    for (int i = 0; i < count; ++i) {
        T& a = p[i * kChannels + kAlpha];
        const uint32_t w = WeightAt(mask, weight, i);
        if constexpr (sizeof(T) == 1) {
            const uint32_t t = (255u - a) * w + 128u;
            a = T(a + ((t + (t >> 8)) >> 8));
        } else if constexpr (sizeof(T) == 2) {
            a = T(a + ((65535u - a) * w + 127u) / 255u);
        } else {
            a = T(a + (T(1) - a) * T(w) * T(1.0 / 255.0));
        }
    }
}

template <class T>
void UneraseAny(int channels, int alpha, uint8_t* row, int count, const uint8_t* mask, uint8_t weight) noexcept {
    T* p = reinterpret_cast<T*>(row);
    if (channels == 4 && alpha == 3)
        UneraseRow<T, 4, 3>(p, count, mask, weight);
    else if (channels == 2 && alpha == 1)
        UneraseRow<T, 2, 1>(p, count, mask, weight);
}

}  // namespace

void Unerase(EQPixelFormat format, uint8_t* row, int count, const uint8_t* mask, uint8_t weight) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    if (!t || !t->alpha || t->formatClass == keFormatClassIndexed || !row || count <= 0) return;
    int alpha = -1;
    for (int c = 0; c < t->channelCount; ++c)
        if (t->channels[c] == keChannelAlpha) alpha = c;
    if (t->bitsPerChannel == 8)
        UneraseAny<uint8_t>(t->channelCount, alpha, row, count, mask, weight);
    else if (t->bitsPerChannel == 16)
        UneraseAny<uint16_t>(t->channelCount, alpha, row, count, mask, weight);
    else
        UneraseAny<float>(t->channelCount, alpha, row, count, mask, weight);
}

}  // namespace qgdi::fill
