// Export of an iterator's pixels as a packed bitmap, to the screen and to the clipboard.
#include <cstring>
#include <vector>

#include "platform/clipboard.h"
#include "platform/devicecontext.h"
#include "qdibcore/Source/DibIterator.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/RowSpanCopy.h"

namespace {

// Palette entries a packed bitmap of `format` carries: the iterator's palette
// for indexed formats (as many slots as the attach rule expects), the grey
// ramp for grey formats so that the header's grey test recognises them.
int PaletteSlots(const CRowIteratorBands& it, EQPixelFormat format) noexcept {
    const CQPixelFormat pf(format);
    if (pf.IsGreyscale()) return 256;
    if (!pf.IsIndexedColor()) return 0;
    if (it.GetPaletteCount() > 0) return it.GetPaletteCount();
    const int bits = pf.GetBitsPerPixel() == 16 ? 8 : pf.GetBitsPerPixel();
    return 1 << bits;
}

bool ResolveRect(const CRowIteratorBands& it, const RECT* rect, RECT& out) noexcept {
    const RECT whole = it.GetRect();
    out = rect ? *rect : whole;
    RECT clipped;
    return ::IntersectRect(&clipped, &out, &whole) && ::EqualRect(&clipped, &out);
}

// Bottom-up rows of `rect` of the presented pixels, each padded to 4 bytes.
CErrorAutoThrow WriteRows(const CRowIteratorBands& it, const RECT& rect, uint8_t* pixels) {
    const RECT whole = it.GetRect();
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const size_t stride = QGDI_DibStride(it.GetBPP(), width);
    const SQSpanFormat packed = QGDI_SpanFormatOf(it, 0);
    std::vector<uint8_t> scratch;
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = nullptr;
        int offset = 0;
        const int iy = rect.top - whole.top + y;
        QGDI_TRY(it.GetRow(row, iy, rect.left - whole.left, width, &offset));
        uint8_t* out = pixels + size_t(height - 1 - y) * stride;
        std::memset(out, 0, stride);
        QGDI_ConvertSpan(out, packed, row, QGDI_SpanFormatOf(it, offset), width, scratch);
        it.ReleaseRow(iy).Ignore();
    }
    QGDI_IteratorStats().LogIteratorCopyEx(stride * size_t(height), QMM_HERE);
    return CErrorAutoThrow();
}

BITMAPINFOHEADER HeaderFor(const CRowIteratorBands& it, int width, int height) noexcept {
    return QGDI_MakeDibHeader(width, height, it.GetBPP(), PaletteSlots(it, it.GetPixelFormat()));
}

// Fills a block of the right size with the packed bitmap of `rect`.
CErrorAutoThrow FillPacked(const CRowIteratorBands& it, const RECT& rect, uint8_t* block) {
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const BITMAPINFOHEADER h = HeaderFor(it, width, height);
    std::memcpy(block, &h, sizeof h);
    auto* palette = reinterpret_cast<RGBQUAD*>(block + sizeof h);
    const int slots = static_cast<int>(h.biClrUsed);
    std::memset(palette, 0, sizeof(RGBQUAD) * size_t(slots));
    if (CQPixelFormat(it.GetPixelFormat()).IsGreyscale())
        std::memcpy(palette, CDibIterator::sm_aoGreyPalette, sizeof(RGBQUAD) * 256);
    else if (it.GetPaletteCount() > 0)
        std::memcpy(palette, it.GetPalette(), sizeof(RGBQUAD) * size_t(it.GetPaletteCount()));
    return WriteRows(it, rect, block + sizeof h + sizeof(RGBQUAD) * size_t(slots));
}

size_t PackedSize(const CRowIteratorBands& it, const RECT& rect) noexcept {
    return sizeof(BITMAPINFOHEADER) + sizeof(RGBQUAD) * size_t(PaletteSlots(it, it.GetPixelFormat())) +
           QGDI_DibStride(it.GetBPP(), rect.right - rect.left) * size_t(rect.bottom - rect.top);
}

// Formats a screen or another program reads from a packed bitmap as they are.
bool IsDisplayFormat(EQPixelFormat format) noexcept {
    return format == keFormatIndex1 || format == keFormatIndex4 || format == keFormatIndex8 || format == keFormatGrey ||
           format == keFormatBGR || format == keFormatBGRA;
}

// A packed bitmap of the area, through a converted copy unless `format` is None.
CErrorAutoThrow PackedCopy(const CRowIteratorBands& it, const RECT* area, EQPixelFormat format, CQmmBinPtr& dib) {
    if (format == keFormatNone) return it.CopyToDIB(dib, area);
    CRowIteratorBands copy;
    QGDI_TRY(copy.CreateFromCopy(it, area, format));
    return copy.CopyToDIB(dib);
}

}  // namespace

CErrorAutoThrow CRowIteratorBands::CopyToDIB(CQmmBinPtr& dib, const RECT* rect) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    RECT area;
    if (!ResolveRect(*this, rect, area)) return QERR(keQuorErrFailed);
    const size_t bytes = PackedSize(*this, area);
    if (bytes > QMM_MAX_BLOCK) return QERR(keQuorErrOutOfMemory);
    CQmmBinPtr block = CQmmBinPtr::Adopt(_QMM_AllocEX(bytes, GMEM_MOVEABLE, QMM_HERE));
    if (!block) return QERR(keQuorErrOutOfMemory);
    {
        CLockAccessor lock(block);
        auto* p = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
        if (!p) return QERR(keQuorErrOutOfMemory);
        QGDI_TRY(FillPacked(*this, area, p));
    }
    QGDI_IteratorStats().LogNewDibEx(bytes, QMM_HERE);
    dib = std::move(block);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CopyToDIBHandle(QMMHANDLE& dib, const RECT* rect) const {
    dib = QMM_NULL;
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    RECT area;
    if (!ResolveRect(*this, rect, area)) return QERR(keQuorErrFailed);
    const size_t bytes = PackedSize(*this, area);
    QMMHANDLE h = _QMM_GlobalAlloc(GMEM_MOVEABLE, bytes, QMM_FLAG_IMAGE, QMM_HERE);
    if (h == QMM_NULL) return QERR(keQuorErrOutOfMemory);
    CErrorAutoThrow r;
    {
        CLockAccessorEx lock(h, QMM_FLAG_IMAGE);
        auto* p = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
        r = p ? FillPacked(*this, area, p) : QERR(keQuorErrOutOfMemory);
    }
    if (r.IsError()) {
        _QMM_GlobalFree(h, QMM_HERE);
        return r;
    }
    QGDI_IteratorStats().LogNewDibEx(bytes, QMM_HERE);
    dib = h;
    return r;
}

CErrorAutoThrow CRowIteratorBands::GetBitmapBits(void* buffer, size_t bytes) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    if (!buffer || bytes < GetBitmapSize()) return QERR(keQuorErrFailed);
    return WriteRows(*this, GetRect(), static_cast<uint8_t*>(buffer));
}

CErrorAutoThrow CRowIteratorBands::GetCompatibleBitmapInfoHeader(BITMAPINFOHEADER& header) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    header = HeaderFor(*this, GetWidth(), GetHeight());
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::DrawImage(void* deviceContext, const RECT* destination, const RECT* source) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    RECT area;
    if (!ResolveRect(*this, source, area)) return QERR(keQuorErrFailed);
    CQmmBinPtr dib;
    QGDI_TRY(PackedCopy(*this, &area, IsDisplayFormat(GetPixelFormat()) ? keFormatNone : keFormatBGRA, dib));
    CLockAccessor lock(dib);
    const auto* header = static_cast<const BITMAPINFOHEADER*>(lock.Lock(QMM_HERE));
    if (!header) return QERR(keQuorErrOutOfMemory);
    const RECT full{0, 0, area.right - area.left, area.bottom - area.top};
    const int code = QPlatform_DrawDIB(deviceContext, destination ? *destination : full, header, full);
    if (code != 0) return QERR(static_cast<QuorErrorCode>(code));
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CopyToClipboard(bool asRGB) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    const EQPixelFormat format = GetPixelFormat();
    const bool keep = asRGB ? format == keFormatBGR : IsDisplayFormat(format);
    CQmmBinPtr dib;
    QGDI_TRY(PackedCopy(*this, nullptr, keep ? keFormatNone : asRGB ? keFormatBGR : keFormatBGRA, dib));
    CLockAccessor lock(dib);
    const void* p = lock.Lock(QMM_HERE);
    if (!p) return QERR(keQuorErrOutOfMemory);
    if (!QPlatform_GetClipboard().SetImage(p, dib.Length())) return QERR(keQuorErrFailed);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CreateFromClipboard() {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    std::vector<uint8_t> packed;
    if (!QPlatform_GetClipboard().GetImage(packed)) return QERR(keQuorErrFailed);
    return CreateFromDIB(packed.data(), packed.size());
}
