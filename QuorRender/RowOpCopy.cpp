#include "QuorRender/RowOpCopy.h"

#include <bit>
#include <cstring>

#include "QuorRender/internal/PixelMath.h"
#include "QuorRender/internal/RowOpDict.h"

namespace {

using namespace qgdi_px;

constexpr bool IsDirect(int f) { return f >= keFormatGrey && f <= keFormatBGRxA_f32; }

// The pairs that get a kernel of their own; anything else is reached through
// an intermediate format. Every format meets 8-bit BGR and BGRA (the formats
// everything can pass through), 16-bit formats also meet BGR_u16 and BGRA_u16
// so that 16-bit work keeps its precision, and each layout widens and narrows
// between 16 bits and float and widens from 8 to 16 bits.
constexpr bool HasCopyKernel(int d, int s) {
    if (!IsDirect(d) || !IsDirect(s)) return false;
    if (d == s) return true;
    auto hub8 = [](int f) { return f == keFormatBGR || f == keFormatBGRA; };
    auto hub16 = [](int f) { return f == keFormatBGR_u16 || f == keFormatBGRA_u16; };
    if (hub8(d) || hub8(s)) return true;
    const SQPixelFormatTraits& dt = kQPixelFormatTraits[d + 1];
    const SQPixelFormatTraits& st = kQPixelFormatTraits[s + 1];
    if (dt.bitsPerChannel == 16 && st.bitsPerChannel == 16) return hub16(d) || hub16(s);
    if (dt.to8bit != st.to8bit) return false;
    const int wd = dt.bitsPerChannel, ws = st.bitsPerChannel;
    return (wd == 16 && ws == 32) || (wd == 32 && ws == 16) || (wd == 16 && ws == 8);
}

constexpr int CountCopyPairs() {
    int n = 0;
    for (int d = keFormatFirst; d <= keFormatLast; ++d)
        for (int s = keFormatFirst; s <= keFormatLast; ++s) n += HasCopyKernel(d, s);
    return n;
}

inline constexpr auto kRowCopyPairs = [] {
    std::array<SQFormatPair, CountCopyPairs()> pairs{};
    int n = 0;
    for (int d = keFormatFirst; d <= keFormatLast; ++d)
        for (int s = keFormatFirst; s <= keFormatLast; ++s)
            if (HasCopyKernel(d, s)) pairs[n++] = {static_cast<EQPixelFormat>(d), static_cast<EQPixelFormat>(s)};
    return pairs;
}();
static_assert(kRowCopyPairs.size() == 96);

template <EQPixelFormat D, EQPixelFormat S>
void ConvertSpan(uint8_t* dst, const uint8_t* src, int n) noexcept {
    using TD = TQPixelFormat<D>;
    using TS = TQPixelFormat<S>;
    if constexpr (D == S) {
        std::memcpy(dst, src, ByteOffset<D>(n));
    } else if constexpr (sizeof(typename TD::Elem) == 1 && sizeof(typename TS::Elem) == 1 && !TD::kGrey &&
                         !TS::kGrey && TD::kPremultiplied == TS::kPremultiplied) {
        // A pure byte shuffle between 8-bit colour layouts. d.bgr = s.bgr; d.a = s.a or opaque.
        auto bytes = [&](int from) {
            for (int i = from; i < n; ++i) {
                uint8_t* d = dst + static_cast<size_t>(i) * TD::kChannels;
                const uint8_t* p = src + static_cast<size_t>(i) * TS::kChannels;
                d[0] = p[0];
                d[1] = p[1];
                d[2] = p[2];
                if constexpr (TD::kAlpha) d[3] = TS::kAlpha ? p[3] : 255;
            }
        };
        int i = 0;
        if constexpr (std::endian::native == std::endian::little && TS::kChannels + TD::kChannels == 7) {
            // Four pixels take 12 bytes on the 3-byte side and 16 on the other,
            // so whole words are shifted into place.
            for (; i + 4 <= n; i += 4) {
                const uint8_t* in = src + static_cast<size_t>(i) * TS::kChannels;
                uint8_t* out = dst + static_cast<size_t>(i) * TD::kChannels;
                if constexpr (TS::kChannels == 3) {
                    uint32_t w[3], o[4];
                    std::memcpy(w, in, sizeof w);
                    o[0] = w[0] | 0xFF000000u;
                    o[1] = (w[0] >> 24) | (w[1] << 8) | 0xFF000000u;
                    o[2] = (w[1] >> 16) | (w[2] << 16) | 0xFF000000u;
                    o[3] = (w[2] >> 8) | 0xFF000000u;
                    std::memcpy(out, o, sizeof o);
                } else {
                    uint64_t a, b;
                    std::memcpy(&a, in, 8);
                    std::memcpy(&b, in + 8, 8);
                    const uint64_t lo = (a & 0xFFFFFFu) | ((a >> 8) & 0xFFFFFF000000u) | (b << 48);
                    const uint32_t hi = static_cast<uint32_t>(((b >> 16) & 0xFFu) | ((b >> 24) & 0xFFFFFF00u));
                    std::memcpy(out, &lo, 8);
                    std::memcpy(out + 8, &hi, 4);
                }
            }
        }
        bytes(i);
    } else {
        using PD = TPx<D>;
        using PS = TPx<S>;
        // Premultiplication changes in the wider of the two precisions it meets:
        // divided out in the source's, multiplied in in the destination's.
        constexpr bool unpremul = PS::Traits::kPremultiplied && !PD::Traits::kPremultiplied;
        constexpr bool premul = PD::Traits::kPremultiplied && !PS::Traits::kPremultiplied;
        auto* d = reinterpret_cast<typename PD::E*>(dst);
        const auto* s = reinterpret_cast<const typename PS::E*>(src);
        for (int i = 0; i < n; ++i, d += PD::kN, s += PS::kN) {
            const typename PS::C c = unpremul ? PS::Load(s) : PS::LoadRaw(s);
            const typename PD::C out = CastColour<typename PD::W, typename PS::W, typename PD::E, typename PS::E>(c);
            if constexpr (premul) PD::Store(d, out);
            else PD::StoreRaw(d, out);
        }
    }
}

template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopy {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pSrc) return;
        ForSpans<D, S>(data, [](uint8_t* dst, const uint8_t* src, int, int n) { ConvertSpan<D, S>(dst, src, n); });
    }
};

constexpr auto& kRowCopyDict = qgdi_rowop::kDict<kRowCopyPairs, TRowCopy>;

}  // namespace

const SRowOpDictEntry* GetRowCopyDict() noexcept { return kRowCopyDict.data(); }

QRowOpFn CRowOpDefConvert::Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
    QRowOpFn fn = RoeLookUpEntry(GetRowCopyDict(), dst, src, request, false);
    return fn != &QGDI_RowOpNOP ? fn : RoeLookUpEntry(GetRowCopyIndexedDict(), dst, src, request, report);
}

const CRowOpDefRowCopy& QGDI_GetRowCopyDef() noexcept {
    static const CRowOpDefRowCopy def;
    return def;
}
