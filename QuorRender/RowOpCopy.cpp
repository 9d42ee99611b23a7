#include "QuorRender/RowOpCopy.h"

#include "QuorRender/internal/RowOpDict.h"
#include "QuorRender/internal/RowSpans.h"
#include "platform/TargetPass.h"
#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace qgdi::QGDI_TARGET_NS {
namespace {

using qgdi::rowop::ForSpans;

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

// The iterator's conversion between the same two formats, so that copying a
// row and presenting an image in another format give the same bytes.
template <EQPixelFormat D, EQPixelFormat S>
struct TRowCopy {
    static void Run(const CRowOpDef&, CRowOpData& data) {
        if (!data.pSrc) return;
        const SQRowConvertContext plain;
        ForSpans<D, S>(data, [&](uint8_t* dst, const uint8_t* src, int, int n) {
            qgdi::px::ConvertRow<D, S>(dst, src, n, plain);
        });
    }
};

constexpr auto& kRowCopyDict = qgdi::rowop::kDict<kRowCopyPairs, TRowCopy>;

}  // namespace

const SRowOpDictEntry* GetRowCopyDict() noexcept { return kRowCopyDict.data(); }

}  // namespace qgdi::QGDI_TARGET_NS

#if QGDI_BASELINE_PASS

QRowOpFn CRowOpDefConvert::Find(EQPixelFormat dst, EQPixelFormat src, EQCPURequest request, bool report) const {
    QRowOpFn fn = RoeLookUpEntry(GetRowCopyDict(), dst, src, request, false);
    return fn != &QGDI_RowOpNOP ? fn : RoeLookUpEntry(GetRowCopyIndexedDict(), dst, src, request, report);
}

const CRowOpDefRowCopy& QGDI_GetRowCopyDef() noexcept {
    static const CRowOpDefRowCopy def;
    return def;
}

QGDI_DISPATCHED_DICT(GetRowCopyDict)
#endif  // QGDI_BASELINE_PASS
