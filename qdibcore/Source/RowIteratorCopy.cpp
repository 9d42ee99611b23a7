// Copies between iterators and the queries that compare them.
#include <algorithm>
#include <cstring>

#include "qdibcore/Source/RowIteratorFunctions.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/RowSpanCopy.h"

CErrorAutoThrow CRowIteratorBands::CreateFromCopy(const CRowIteratorBands& other, const RECT* rect,
                                                  EQPixelFormat format) {
    if (IsAttached() || !other.IsAttached()) return QERR(keQuorErrIteratorState);
    if (&other == this) return QERR(keQuorErrFailed);
    const RECT whole = other.GetRect();
    const RECT request = rect ? *rect : whole;
    RECT clipped;
    if (!::IntersectRect(&clipped, &request, &whole) || !::EqualRect(&clipped, &request)) return QERR(keQuorErrFailed);
    if (format == keFormatNone) format = other.GetPixelFormat();
    if (!FindConverter(other.GetPixelFormat(), format)) return QERR(keQuorErrFormatNotSupported);
    const bool keepPalette = CQPixelFormat(format).IsIndexedColor() && other.GetPaletteCount() > 0;
    QGDI_TRY(Create(request.right - request.left, request.bottom - request.top, format, nullptr,
                    keepPalette ? other.GetPalette() : nullptr, keepPalette ? other.GetPaletteCount() : 0));
    CErrorAutoThrow r = QGDI_CopyIteratorRect(*this, 0, 0, other, request.left - whole.left, request.top - whole.top,
                                              GetWidth(), GetHeight());
    if (r.IsError()) {
        Reset();
        return r;
    }
    m_state->colorSpec = other.m_state->colorSpec;
    if (other.IsSolidColor()) {
        m_state->solid.store(true, std::memory_order_relaxed);
        m_state->solidColour = other.GetSolidColor();
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CreateFromDIB(QMMHANDLE dib, const RECT* rect, EQPixelFormat format) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    CRowIteratorBands source;
    QGDI_TRY(source.Attach(dib, rect));
    return CreateFromCopy(source, nullptr, format);
}

CErrorAutoThrow CRowIteratorBands::CreateFromDIB(const void* packed, size_t bytes, EQPixelFormat format) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    if (!packed || bytes < sizeof(BITMAPINFOHEADER)) return QERR(keQuorErrFailed);
    CQmmBinPtr block = CQmmBinPtr::Adopt(_QMM_AllocEX(bytes, GMEM_MOVEABLE, QMM_HERE));
    if (!block) return QERR(keQuorErrOutOfMemory);
    {
        CLockAccessor lock(block);
        void* p = lock.Lock(QMM_HERE);
        if (!p) return QERR(keQuorErrOutOfMemory);
        std::memcpy(p, packed, bytes);
    }
    CRowIteratorBands source;
    QGDI_TRY(source.Attach(block.p));
    return CreateFromCopy(source, nullptr, format);
}

CErrorAutoThrow CRowIteratorBands::Copy(const CRowIteratorBands& source) {
    if (!source.IsAttached()) return QERR(keQuorErrIteratorState);
    if (&source == this) return CErrorAutoThrow();
    if (!IsAttached()) return CreateFromCopy(source);
    if (!IsSameSizeAs(source)) return QERR(keQuorErrFailed);
    return QGDI_CopyIteratorRect(*this, 0, 0, source, 0, 0, GetWidth(), GetHeight());
}

CErrorAutoThrow CRowIteratorBands::OwnCopy() {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    if (m_state->pres.AnyHeld()) return QERR(keQuorErrFailed);
    // Read the old pixels through a plain iterator that takes the old state over.
    CRowIteratorBands old;
    old.m_state.swap(m_state);
    m_state.reset(new SState);
    m_state->refs.store(old.m_state->refs.load(std::memory_order_relaxed), std::memory_order_relaxed);
    const SState& o = *old.m_state;
    CErrorAutoThrow r = Create(o.Width(), o.Height(), o.native, nullptr, o.paletteCount ? o.palette : nullptr,
                               o.paletteCount);
    if (!r.IsError()) {
        // Native pixels, presentation set aside.
        std::vector<uint8_t> scratch;
        SQSpanFormat in{o.native, o.palette, o.paletteCount, 0}, out{o.native, o.palette, o.paletteCount, 0};
        for (int y = 0; y < o.Height(); ++y) {
            in.pixelOffset = o.pixelOffset;
            QGDI_ConvertSpan(m_state->NativeRow(y), out, o.NativeRow(y), in, o.Width(), scratch);
        }
        QGDI_IteratorStats().LogIteratorCopyEx(QGDI_SpanBytes(o.nativeBpp, o.Width(), 0) * size_t(o.Height()),
                                               QMM_HERE);
        SState& s = *m_state;
        s.rect = o.rect;
        s.origin = POINT{o.rect.left, o.rect.top};
        s.CopyAttributes(o);
        s.pres.mode = o.pres.mode;
        s.pres.target = o.pres.target;
        s.pres.custom = o.pres.custom;
        s.pres.convertRead = o.pres.convertRead;
        s.pres.convertWrite = o.pres.convertWrite;
        s.pres.channels = o.pres.channels;
        r = RebuildPresentation();
    }
    if (r.IsError()) m_state.swap(old.m_state);
    return r;
}

CErrorAutoThrow CRowIteratorBands::CreateTiled(const CRowIteratorBands& tile, int width, int height) {
    if (IsAttached() || !tile.IsAttached()) return QERR(keQuorErrIteratorState);
    QGDI_TRY(Create(width, height, tile.GetPixelFormat(), nullptr, tile.GetPalette(), tile.GetPaletteCount()));
    CErrorAutoThrow r = RowIterator_Tile(*this, tile);
    if (r.IsError()) Reset();
    return r;
}

// ---- Comparisons -------------------------------------------------------------

bool CRowIteratorBands::IsSameFormatAs(const CRowIteratorBands& other) const noexcept {
    return GetPixelFormat() == other.GetPixelFormat();
}
bool CRowIteratorBands::IsSameSizeAs(const CRowIteratorBands& other) const noexcept {
    return GetWidth() == other.GetWidth() && GetHeight() == other.GetHeight();
}
bool CRowIteratorBands::IsSameSizeAndFormatAs(const CRowIteratorBands& other) const noexcept {
    return IsSameSizeAs(other) && IsSameFormatAs(other);
}
bool CRowIteratorBands::IsSameAlignmentAs(const CRowIteratorBands& other) const noexcept {
    return GetBPP() == other.GetBPP() && GetPixelOffset() == other.GetPixelOffset();
}
bool CRowIteratorBands::IsCreatedAs(int width, int height, EQPixelFormat format) const noexcept {
    return IsAttached() && GetWidth() == width && GetHeight() == height && GetPixelFormat() == format;
}

bool CRowIteratorBands::IsEquivalent(const CRowIteratorBands& other) const {
    if (!IsAttached() || !other.IsAttached() || !IsSameSizeAndFormatAs(other)) return false;
    if (CQPixelFormat(GetPixelFormat()).IsIndexedColor() &&
        (GetPaletteCount() != other.GetPaletteCount() ||
         std::memcmp(m_state->palette, other.m_state->palette, sizeof(RGBQUAD) * size_t(GetPaletteCount())) != 0))
        return false;
    // Rows are compared packed from their first bit, so that differing pixel offsets compare equal.
    const size_t bytes = QGDI_SpanBytes(GetBPP(), GetWidth(), 0);
    std::vector<uint8_t> a(bytes), b(bytes), scratch;
    const SQSpanFormat packed = QGDI_SpanFormatOf(*this, 0);
    for (int y = 0; y < GetHeight(); ++y) {
        const uint8_t* ra = nullptr;
        const uint8_t* rb = nullptr;
        int oa = 0, ob = 0;
        if (GetRow(ra, y, 0, -1, &oa).IsError()) return false;
        if (other.GetRow(rb, y, 0, -1, &ob).IsError()) {
            ReleaseRow(y).Ignore();
            return false;
        }
        std::fill(a.begin(), a.end(), 0);
        std::fill(b.begin(), b.end(), 0);
        QGDI_ConvertSpan(a.data(), packed, ra, QGDI_SpanFormatOf(*this, oa), GetWidth(), scratch);
        QGDI_ConvertSpan(b.data(), packed, rb, QGDI_SpanFormatOf(other, ob), GetWidth(), scratch);
        ReleaseRow(y).Ignore();
        other.ReleaseRow(y).Ignore();
        if (a != b) return false;
    }
    return true;
}

bool CRowIteratorBands::ContainsPoint(int x, int y) const noexcept { return ::PtInRect(&m_state->rect, POINT{x, y}); }

POINT CRowIteratorBands::ClampedPoint(POINT point) const noexcept {
    const RECT& r = m_state->rect;
    if (::IsRectEmpty(&r)) return point;
    return POINT{std::clamp(point.x, r.left, r.right - 1), std::clamp(point.y, r.top, r.bottom - 1)};
}

bool CRowIteratorBands::IntersectRect(RECT& rect) const noexcept {
    const RECT in = rect;
    return ::IntersectRect(&rect, &in, &m_state->rect) != FALSE;
}

size_t CRowIteratorBands::GetApproximateSize() const noexcept {
    const SState& s = *m_state;
    if (!s.storage) return 0;
    size_t total = 0;
    for (const CQmmBinPtr& block : s.storage->blocks) total += block.Length();
    return total + (s.storage->header ? 0 : sizeof(RGBQUAD) * size_t(s.paletteCount));
}

size_t CRowIteratorBands::GetBitmapSize() const noexcept {
    return QGDI_DibStride(GetBPP(), GetWidth()) * size_t(GetHeight());
}

bool CRowIteratorBands::CanFastCopy(const CRowIteratorBands& source) const noexcept {
    return IsAttached() && source.IsAttached() && !IsConverting() && !source.IsConverting() &&
           GetNativeFormat() == source.GetNativeFormat() &&
           (!CQPixelFormat(GetNativeFormat()).IsIndexedColor() ||
            (GetPaletteCount() == source.GetPaletteCount() &&
             std::memcmp(m_state->palette, source.m_state->palette, sizeof(RGBQUAD) * size_t(GetPaletteCount())) == 0));
}

CErrorAutoThrow CRowIteratorBands::FastCopyRect(const CRowIteratorBands& source, const RECT* sourceRect,
                                                POINT destination) {
    if (!IsAttached() || !source.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!CanFastCopy(source)) return QERR(keQuorErrFormatNotSupported);
    const RECT whole = source.GetRect();
    const RECT request = sourceRect ? *sourceRect : whole;
    RECT clipped;
    if (!::IntersectRect(&clipped, &request, &whole) || !::EqualRect(&clipped, &request)) return QERR(keQuorErrFailed);
    const RECT& mine = m_state->rect;
    const int dx = destination.x - mine.left, dy = destination.y - mine.top;
    return QGDI_CopyIteratorRect(*this, dx, dy, source, request.left - whole.left, request.top - whole.top,
                                 request.right - request.left, request.bottom - request.top);
}
