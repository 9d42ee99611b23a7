#include "qdibcore/Source/DibIterator.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ostream>

#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {
struct SGreyRamp {
    RGBQUAD entries[256];
    constexpr SGreyRamp() : entries{} {
        for (int i = 0; i < 256; ++i) entries[i] = RGBQUAD{BYTE(i), BYTE(i), BYTE(i), 0};
    }
};
constexpr SGreyRamp kGreyRamp{};
}  // namespace

const RGBQUAD (&CDibIterator::sm_aoGreyPalette)[256] = kGreyRamp.entries;
const SColorSpecRGB CDibIterator::sm_kColorSpecRGB = kColorSpecSRGB;
const POINT CDibIterator::sm_kptZero = {0, 0};
const RECT CDibIterator::sm_krcMax = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};

CDibIterator::CDibIterator() noexcept = default;
CDibIterator::~CDibIterator() = default;
CDibIterator::CDibIterator(CDibIterator&& other) noexcept : CRowIteratorBands(std::move(other)) {}
CDibIterator& CDibIterator::operator=(CDibIterator&& other) noexcept {
    CRowIteratorBands::operator=(std::move(other));
    return *this;
}

IBinAccessor* CDibIterator::GetDIB() const noexcept {
    const SState& s = State();
    return s.storage && s.storage->header ? s.storage->blocks.front().p : nullptr;
}

const BITMAPINFOHEADER* CDibIterator::GetBitmapInfoHeader() const noexcept {
    const SState& s = State();
    return s.storage ? s.storage->header : nullptr;
}

const char* CDibIterator::DumpTag() const noexcept { return "DibIterator"; }

void CDibIterator::DumpExtraFields(std::ostream& out) const {
    const SState& s = State();
    char colour[16];
    std::snprintf(colour, sizeof colour, "%08X", s.solidColour.GetRGBA());
    out << " Solid=" << (s.solid.load(std::memory_order_relaxed) ? 1 : 0) << " SolidColor=" << colour;
}

CErrorAutoThrow CDibIterator::CreateStorage(int width, int height, EQPixelFormat format, const RGBQUAD* palette,
                                            int paletteCount) {
    const int bpp = GetBPP(format);
    const size_t stride = QGDI_DibStride(bpp, width);
    // The palette slots follow the attach rule for the header we write.
    const int indexBits = bpp == 16 ? 8 : bpp;
    const int slots = paletteCount > 0 ? paletteCount : indexBits <= 8 ? 1 << indexBits : 0;
    const size_t paletteBytes = size_t(slots) * 4;
    const size_t header = sizeof(BITMAPINFOHEADER);
    if (stride == 0 || size_t(height) > (QMM_MAX_BLOCK - header - paletteBytes) / stride)
        return QERR(keQuorErrOutOfMemory);
    const size_t bytes = header + paletteBytes + stride * size_t(height);
    CQmmBinPtr block = CQmmBinPtr::Adopt(_QMM_AllocEX(bytes, GHND, QMM_HERE));
    if (!block) return QERR(keQuorErrOutOfMemory);
    {
        CLockAccessor lock(block);
        auto* p = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
        if (!p) return QERR(keQuorErrOutOfMemory);
        const BITMAPINFOHEADER h = QGDI_MakeDibHeader(width, height, bpp, slots);
        std::memcpy(p, &h, sizeof h);
        if (paletteCount > 0) std::memcpy(p + header, palette, size_t(paletteCount) * 4);
    }
    CErrorAutoThrow r = AttachPacked(block, nullptr, POINT{0, 0}, format);
    if (!r.IsError()) QGDI_IteratorStats().LogNewDibEx(bytes, QMM_HERE);
    return r;
}
