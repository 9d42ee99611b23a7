// Life cycle, attach rules and direct row access of the row iterator.
#include "qdibcore/Source/RowIteratorBands.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "qdibcore/Source/DibIterator.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {

bool IsStorableFormat(EQPixelFormat format) noexcept { return format >= keFormatIndex1 && format <= keFormatLast; }

// Grey formats carry the grey ramp; indexed formats with no palette get a
// ramp of as many levels as their indices reach.
int DefaultPalette(EQPixelFormat format, RGBQUAD* out) noexcept {
    const CQPixelFormat pf(format);
    if (pf.IsGreyscale()) {
        std::memcpy(out, CDibIterator::sm_aoGreyPalette, sizeof(RGBQUAD) * 256);
        return 256;
    }
    if (!pf.IsIndexedColor()) return 0;
    const int levels = pf.GetBitsPerChannel() >= 8 ? 256 : 1 << pf.GetBitsPerChannel();
    for (int i = 0; i < levels; ++i) {
        const BYTE v = static_cast<BYTE>(i * 255 / (levels - 1));
        out[i] = RGBQUAD{v, v, v, 0};
    }
    return levels;
}

}  // namespace

CQMemStats& QGDI_IteratorStats() noexcept { return CQMemManager::GetMgr().GetStats(); }

SQImageStorage::~SQImageStorage() {
    for (CQmmBinPtr& block : blocks)
        if (block) block->Unlock(QMM_HERE);
}

uint8_t* SQImageStorage::Keep(CQmmBinPtr block) {
    if (!block) return nullptr;
    auto* p = static_cast<uint8_t*>(block->Lock(QMM_HERE));
    if (!p) return nullptr;
    blocks.push_back(std::move(block));
    return p;
}

int CRowIteratorBands::SState::PresentedBpp() const noexcept { return CRowIteratorBands::GetBPP(pres.format); }

SQRowConvertContext CRowIteratorBands::SState::Context() const noexcept {
    SQRowConvertContext c;
    c.palette = palette;
    c.paletteCount = paletteCount;
    c.channel = pres.channelIndex;
    return c;
}

void CRowIteratorBands::SState::CopyAttributes(const SState& from) noexcept {
    std::memcpy(palette, from.palette, sizeof palette);
    paletteCount = from.paletteCount;
    solid.store(from.solid.load(std::memory_order_relaxed), std::memory_order_relaxed);
    solidColour = from.solidColour;
    colorSpec = from.colorSpec;
    masks[0] = from.masks[0];
    masks[1] = from.masks[1];
}

// ---------------------------------------------------------------------------

CRowIteratorBands::CRowIteratorBands() noexcept : m_state(new SState) {}

CRowIteratorBands::~CRowIteratorBands() = default;

CRowIteratorBands::CRowIteratorBands(CRowIteratorBands&& other) noexcept : m_state(new SState) {
    Consume(other).Ignore();
}

CRowIteratorBands& CRowIteratorBands::operator=(CRowIteratorBands&& other) noexcept {
    if (this != &other) {
        Reset();
        Consume(other).Ignore();
    }
    return *this;
}

bool CRowIteratorBands::IsAttached() const noexcept { return m_state->storage != nullptr; }

int CRowIteratorBands::GetBPP(EQPixelFormat format) noexcept { return CQPixelFormat(format).GetBitsPerPixel(); }

CErrorAutoThrow CRowIteratorBands::Attach(QMMHANDLE dib, const RECT* rect, POINT offset, EQPixelFormat format) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    CQmmBinPtr accessor = CQmmBinPtr::Adopt(_QMM_AttachWinHandleEX(dib, false, QMM_HERE));
    if (!accessor) return QERR(keQuorErrFailed);
    return AttachPacked(accessor, rect, offset, format);
}

CErrorAutoThrow CRowIteratorBands::Attach(IBinAccessor* dib, const RECT* rect, POINT offset, EQPixelFormat format) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    if (!dib) return QERR(keQuorErrFailed);
    return AttachPacked(dib, rect, offset, format);
}

CErrorAutoThrow CRowIteratorBands::AttachPacked(IBinAccessor* accessor, const RECT* rect, POINT offset,
                                                EQPixelFormat format) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    auto storage = std::make_shared<SQImageStorage>();
    const size_t length = accessor->GetLength();
    uint8_t* base = storage->Keep(CQmmBinPtr(accessor));
    if (!base) return QERR(keQuorErrOutOfMemory);
    if (length < sizeof(BITMAPINFOHEADER)) return QERR(keQuorErrFailed);
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(base);
    const int64_t width = header->biWidth;
    const int64_t signedHeight = header->biHeight;
    const int64_t height = signedHeight < 0 ? -signedHeight : signedHeight;
    const int bitCount = header->biBitCount;
    if (width <= 0 || height <= 0 || width > INT_MAX || height > INT_MAX) return QERR(keQuorErrFailed);
    if (header->biCompression != BI_RGB) return QERR(keQuorErrFailed);

    // The 16-bit formats index a 256-entry palette like the 8-bit ones.
    const int paletteBits = bitCount == 16 ? 8 : bitCount;
    if (header->biClrUsed > 256) return QERR(keQuorErrFailed);
    size_t paletteBytes = 0;
    if (header->biClrUsed) paletteBytes = 4 * size_t(header->biClrUsed);
    else if (paletteBits >= 1 && paletteBits <= 8) paletteBytes = 4 * (size_t(1) << paletteBits);
    if (sizeof(BITMAPINFOHEADER) + paletteBytes > length) return QERR(keQuorErrFailed);

    EQPixelFormat native = format;
    if (native == keFormatNone) {
        if (bitCount != 1 && bitCount != 4 && bitCount != 8 && bitCount != 16 && bitCount != 24 && bitCount != 32)
            return QERR(keQuorErrFailed);
        native = CQPixelFormat(*header).Get();
    } else if (!IsStorableFormat(native) || GetBPP(native) != bitCount) {
        return QERR(keQuorErrFailed);
    }

    const size_t stride = QGDI_DibStride(bitCount, static_cast<int>(width));
    const size_t pixelBase = sizeof(BITMAPINFOHEADER) + paletteBytes;
    if (stride == 0 || static_cast<size_t>(height) > (length - pixelBase) / stride) return QERR(keQuorErrFailed);

    // The rectangle lives in the bitmap's coordinates moved by `offset`.
    const int64_t right = int64_t(offset.x) + width, bottom = int64_t(offset.y) + height;
    if (right > INT_MAX || bottom > INT_MAX) return QERR(keQuorErrFailed);
    const RECT whole{offset.x, offset.y, static_cast<LONG>(right), static_cast<LONG>(bottom)};
    const RECT request = rect ? *rect : whole;
    RECT clipped;
    if (!::IntersectRect(&clipped, &request, &whole) || !::EqualRect(&clipped, &request)) return QERR(keQuorErrFailed);

    storage->width = static_cast<int>(width);
    storage->height = static_cast<int>(height);
    storage->bitsPerPixel = bitCount;
    storage->stride = stride;
    storage->header = header;
    storage->palette = reinterpret_cast<RGBQUAD*>(base + sizeof(BITMAPINFOHEADER));
    storage->paletteSlots = static_cast<int>(paletteBytes / 4);
    uint8_t* pixels = base + pixelBase;
    const bool bottomUp = signedHeight > 0;
    const size_t bandCount = (static_cast<size_t>(height) + kBandRows - 1) / kBandRows;
    storage->bands.resize(bandCount);
    for (size_t b = 0; b < bandCount; ++b) {
        const size_t first = b * kBandRows;
        // Bottom-up rows are stored last row first.
        const size_t stored = bottomUp ? static_cast<size_t>(height) - 1 - first : first;
        storage->bands[b].base = pixels + stored * stride;
        storage->bands[b].step = bottomUp ? -static_cast<ptrdiff_t>(stride) : static_cast<ptrdiff_t>(stride);
    }

    SState& s = *m_state;
    s.storage = std::move(storage);
    s.rect = request;
    s.origin = offset;
    s.native = native;
    s.nativeBpp = bitCount;
    s.firstRow = request.top - offset.y;
    const size_t firstBit = size_t(request.left - offset.x) * size_t(bitCount);
    s.columnByte = firstBit / 8;
    s.pixelOffset = bitCount < 8 ? static_cast<int>((firstBit % 8) / bitCount) : 0;
    const bool wordFormat = bitCount == 16 || bitCount == 32;
    s.masks[0] = s.masks[1] = wordFormat ? 0u : 0xFF000000u;

    if (CQPixelFormat(native).IsGreyscale()) {
        s.paletteCount = DefaultPalette(native, s.palette);
    } else {
        int count = header->biClrImportant ? static_cast<int>(std::min<DWORD>(header->biClrImportant, 256))
                                           : static_cast<int>(paletteBytes / 4);
        count = std::min(count, s.storage->paletteSlots);
        std::memcpy(s.palette, s.storage->palette, sizeof(RGBQUAD) * size_t(count));
        s.paletteCount = count;
    }
    s.writablePalette = s.storage->paletteSlots > 0 && CQPixelFormat(native).IsIndexedColor();
    s.pres.target = s.pres.format = native;
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::Attach(const CRowIteratorBands& other, const RECT* rect) {
    if (IsAttached() || !other.IsAttached()) return QERR(keQuorErrIteratorState);
    if (&other == this) return QERR(keQuorErrFailed);
    const SState& o = *other.m_state;
    const RECT request = rect ? *rect : o.rect;
    RECT clipped;
    if (!::IntersectRect(&clipped, &request, &o.rect) || !::EqualRect(&clipped, &request)) return QERR(keQuorErrFailed);
    SState& s = *m_state;
    s.storage = o.storage;
    s.rect = request;
    s.origin = o.origin;
    s.native = o.native;
    s.nativeBpp = o.nativeBpp;
    s.firstRow = o.firstRow + (request.top - o.rect.top);
    const size_t firstBit = size_t(o.columnByte) * 8 + size_t(o.pixelOffset) * size_t(o.nativeBpp) +
                            size_t(request.left - o.rect.left) * size_t(o.nativeBpp);
    s.columnByte = firstBit / 8;
    s.pixelOffset = o.nativeBpp < 8 ? static_cast<int>((firstBit % 8) / o.nativeBpp) : 0;
    s.CopyAttributes(o);
    s.writablePalette = o.writablePalette;
    s.pres.target = s.pres.format = s.native;
    // Carry the presentation over, converters included.
    if (o.pres.converting) {
        s.pres.mode = o.pres.mode;
        if (o.pres.custom) {
            QGDI_TRY(SetConversion(o.pres.target, o.pres.convertRead, o.pres.convertWrite, o.pres.mode));
        } else if (o.pres.target != s.native) {
            QGDI_TRY(SetPixelFormat(o.pres.target, o.pres.mode));
        }
        if (o.pres.channels != keChannelSetAll) {
            QGDI_TRY(SetChannelAccess(o.pres.channels, o.pres.mode));
        }
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::Detach() {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    SState& s = *m_state;
    s.pres.FreeTable();
    s.pres.converting = false;
    s.pres.custom = false;
    s.pres.channels = keChannelSetAll;
    s.pres.convertRead = s.pres.convertWrite = s.pres.channelRead = s.pres.channelWrite = nullptr;
    s.pres.target = s.pres.format = keFormatNone;
    s.storage.reset();
    s.rect = RECT{0, 0, 0, 0};
    s.origin = POINT{0, 0};
    s.firstRow = 0;
    s.columnByte = 0;
    s.pixelOffset = 0;
    s.native = keFormatNone;
    s.nativeBpp = 0;
    s.solid.store(false, std::memory_order_relaxed);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CreateStorage(int width, int height, EQPixelFormat format, const RGBQUAD*, int) {
    const int bpp = GetBPP(format);
    const size_t stride = QGDI_DibStride(bpp, width);
    if (stride * kBandRows > QMM_MAX_BLOCK) return QERR(keQuorErrOutOfMemory);
    auto storage = std::make_shared<SQImageStorage>();
    const size_t bandCount = (static_cast<size_t>(height) + kBandRows - 1) / kBandRows;
    try {
        storage->bands.resize(bandCount);
        storage->blocks.reserve(bandCount);
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    for (size_t b = 0; b < bandCount; ++b) {
        const size_t rows = std::min<size_t>(kBandRows, static_cast<size_t>(height) - b * kBandRows);
        uint8_t* p = storage->Keep(CQmmBinPtr::Adopt(_QMM_AllocEX(stride * rows, GHND, QMM_HERE)));
        if (!p) return QERR(keQuorErrOutOfMemory);
        storage->bands[b] = SQImageStorage::SBand{p, static_cast<ptrdiff_t>(stride)};
    }
    storage->width = width;
    storage->height = height;
    storage->bitsPerPixel = bpp;
    storage->stride = stride;
    SState& s = *m_state;
    s.storage = std::move(storage);
    s.rect = RECT{0, 0, width, height};
    s.origin = POINT{0, 0};
    s.native = format;
    s.nativeBpp = bpp;
    s.firstRow = 0;
    s.columnByte = 0;
    s.pixelOffset = 0;
    s.masks[0] = s.masks[1] = (bpp == 16 || bpp == 32) ? 0u : 0xFF000000u;
    s.writablePalette = CQPixelFormat(format).IsIndexedColor();
    s.pres.target = s.pres.format = format;
    QGDI_IteratorStats().LogNewDibEx(stride * size_t(height), QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::Create(int width, int height, EQPixelFormat format, const CColorRef* fill,
                                          const RGBQUAD* palette, int paletteCount) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    if (width <= 0 || height <= 0 || !IsStorableFormat(format)) return QERR(keQuorErrFailed);
    if (palette && (paletteCount < 0 || paletteCount > 256)) return QERR(keQuorErrFailed);
    RGBQUAD entries[256]{};
    int count = 0;
    if (palette && paletteCount > 0 && CQPixelFormat(format).IsIndexedColor()) {
        std::memcpy(entries, palette, sizeof(RGBQUAD) * size_t(paletteCount));
        count = paletteCount;
    } else {
        count = DefaultPalette(format, entries);
    }
    CErrorAutoThrow r = CreateStorage(width, height, format, entries, count);
    if (r.IsError()) {
        m_state->storage.reset();
        return r;
    }
    SState& s = *m_state;
    std::memcpy(s.palette, entries, sizeof entries);
    s.paletteCount = count;
    if (s.storage->palette)
        std::memcpy(s.storage->palette, entries, sizeof(RGBQUAD) * size_t(std::min(count, s.storage->paletteSlots)));
    if (fill) return Fill(*fill);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::CreateRGB(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatBGR, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateRGBA(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatBGRA, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateRGBxA(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatBGRxA, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateGreyscale(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatGrey, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateGreyscale16(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatGrey_u16, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateGreyA(int width, int height, const CColorRef* fill) {
    return Create(width, height, keFormatGreyA, fill);
}
CErrorAutoThrow CRowIteratorBands::CreateIndexed(int width, int height, int bits, const RGBQUAD* palette,
                                                 int paletteCount) {
    const EQPixelFormat format = bits == 1   ? keFormatIndex1
                                 : bits == 4 ? keFormatIndex4
                                 : bits == 8 ? keFormatIndex8
                                             : keFormatNone;
    if (format == keFormatNone || paletteCount > (1 << bits)) return QERR(keQuorErrFailed);
    return Create(width, height, format, nullptr, palette, paletteCount);
}

CErrorAutoThrow CRowIteratorBands::CreateCompatible(const CRowIteratorBands& other, int width, int height) {
    if (!other.IsAttached()) return QERR(keQuorErrIteratorState);
    return Create(width < 0 ? other.GetWidth() : width, height < 0 ? other.GetHeight() : height, other.GetPixelFormat(),
                  nullptr, other.GetPalette(), other.GetPaletteCount());
}

CErrorAutoThrow CRowIteratorBands::Consume(CRowIteratorBands& other) {
    if (&other == this) return QERR(keQuorErrFailed);
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    if (!other.IsAttached()) return QERR(keQuorErrIteratorState);
    std::swap(m_state, other.m_state);
    m_state->refs.store(1, std::memory_order_relaxed);
    other.Reset();
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::Destroy() {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    Reset();
    return CErrorAutoThrow();
}

void CRowIteratorBands::Reset() noexcept {
    const uint32_t refs = m_state ? m_state->refs.load(std::memory_order_relaxed) : 1;
    m_state.reset(new SState);
    m_state->refs.store(refs, std::memory_order_relaxed);
}

uint32_t CRowIteratorBands::AddRef() const noexcept {
    return m_state->refs.fetch_add(1, std::memory_order_relaxed) + 1;
}

uint32_t CRowIteratorBands::Release() const noexcept {
    const uint32_t left = m_state->refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

// ---- Queries ---------------------------------------------------------------

int CRowIteratorBands::GetWidth() const noexcept { return m_state->Width(); }
int CRowIteratorBands::GetHeight() const noexcept { return m_state->Height(); }
RECT CRowIteratorBands::GetRect() const noexcept { return m_state->rect; }
POINT CRowIteratorBands::GetOffset() const noexcept { return m_state->origin; }

void CRowIteratorBands::RemoveOffset() noexcept { OffsetRect(-m_state->origin.x, -m_state->origin.y); }

void CRowIteratorBands::OffsetRect(int dx, int dy) noexcept {
    SState& s = *m_state;
    ::OffsetRect(&s.rect, dx, dy);
    s.origin.x += dx;
    s.origin.y += dy;
}

EQPixelFormat CRowIteratorBands::GetPixelFormat() const noexcept { return m_state->pres.format; }
EQPixelFormat CRowIteratorBands::GetNativeFormat() const noexcept { return m_state->native; }
EQChannelSet CRowIteratorBands::GetChannelAccess() const noexcept { return m_state->pres.channels; }
EImageModifyMode CRowIteratorBands::GetMode() const noexcept { return m_state->pres.mode; }
bool CRowIteratorBands::IsConverting() const noexcept { return m_state->pres.converting; }
const RGBQUAD* CRowIteratorBands::GetPalette() const noexcept {
    return m_state->paletteCount > 0 ? m_state->palette : nullptr;
}
int CRowIteratorBands::GetPaletteCount() const noexcept { return m_state->paletteCount; }
bool CRowIteratorBands::HasWritablePalette() const noexcept { return IsAttached() && m_state->writablePalette; }
int CRowIteratorBands::GetPixelOffset() const noexcept { return m_state->pres.converting ? 0 : m_state->pixelOffset; }
int CRowIteratorBands::GetBPP() const noexcept { return GetBPP(m_state->pres.format); }
int CRowIteratorBands::GetBytesPerRow() const noexcept {
    return static_cast<int>((size_t(GetBPP()) * size_t(GetWidth()) + 7) / 8);
}
bool CRowIteratorBands::IsSolidColor() const noexcept { return m_state->solid; }
CColorRef CRowIteratorBands::GetSolidColor() const noexcept { return m_state->solidColour; }
const SColorSpecRGB* CRowIteratorBands::GetColorSpec() const noexcept {
    return m_state->colorSpec ? m_state->colorSpec : QGDI_Vantor_GetColorSpec();
}
void CRowIteratorBands::SetColorSpec(const SColorSpecRGB* cs) noexcept { m_state->colorSpec = cs; }
void CRowIteratorBands::GetColorMasks(uint32_t& first, uint32_t& second) const noexcept {
    first = m_state->masks[0];
    second = m_state->masks[1];
}

CColorRef CRowIteratorBands::GetIndexedColor(int index) const noexcept {
    const SState& s = *m_state;
    if (index < 0 || index >= s.paletteCount) return CColorRef();
    return CColorRef::FromRGBQUAD(s.palette[index]);
}

// ---- Direct and converted rows --------------------------------------------

CErrorAutoThrow CRowIteratorBands::GetRow(uint8_t*& row, int y) {
    const uint8_t* p = nullptr;
    CErrorAutoThrow r = GetRowImpl(p, y, 0, -1, nullptr, true);
    row = const_cast<uint8_t*>(p);
    return r;
}

CErrorAutoThrow CRowIteratorBands::GetRow(const uint8_t*& row, int y) const {
    return GetRowImpl(row, y, 0, -1, nullptr, false);
}

CErrorAutoThrow CRowIteratorBands::GetRow(uint8_t*& row, int y, int x, int count, int* pixelOffset) {
    const uint8_t* p = nullptr;
    CErrorAutoThrow r = GetRowImpl(p, y, x, count, pixelOffset, true);
    row = const_cast<uint8_t*>(p);
    return r;
}

CErrorAutoThrow CRowIteratorBands::GetRow(const uint8_t*& row, int y, int x, int count, int* pixelOffset) const {
    return GetRowImpl(row, y, x, count, pixelOffset, false);
}

uint8_t* CRowIteratorBands::GetRow(int y, int x, int count) {
    uint8_t* p = nullptr;
    GetRow(p, y, x, count).Ignore();
    return p;
}

const uint8_t* CRowIteratorBands::GetRow(int y, int x, int count) const {
    const uint8_t* p = nullptr;
    GetRow(p, y, x, count).Ignore();
    return p;
}

template <class P>
CErrorAutoThrow CRowIteratorBands::HoldRow(TRowHolder<P>& holder, int y) const {
    const uint8_t* p = nullptr;
    CErrorAutoThrow r = GetRowImpl(p, y, 0, -1, nullptr, !std::is_const_v<P>);
    if (r.IsError()) holder.Release();
    else holder.Hold(this, y, const_cast<P*>(p));
    return r;
}

CErrorAutoThrow CRowIteratorBands::GetRow(TAutoRow<unsigned char>& row, int y) { return HoldRow(row, y); }

CErrorAutoThrow CRowIteratorBands::GetRow(TAutoRowConst<unsigned char>& row, int y) const { return HoldRow(row, y); }

CErrorAutoThrow CRowIteratorBands::GetRowImpl(const uint8_t*& row, int y, int x, int count, int* pixelOffset,
                                              bool modifiable) const {
    row = nullptr;
    const SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    const int width = s.Width();
    if (count == -1) count = width - x;
    if (y < 0 || y >= s.Height() || x < 0 || count <= 0 || count > width - x) return QERR(keQuorErrFailed);
    if (s.pres.converting) return GetConvertedRow(row, y, x, count, pixelOffset, modifiable);
    if (modifiable && s.solid.load(std::memory_order_relaxed)) m_state->solid.store(false, std::memory_order_relaxed);
    const size_t bit = (size_t(s.pixelOffset) + size_t(x)) * size_t(s.nativeBpp);
    row = s.NativeRow(y) + bit / 8;
    if (pixelOffset) *pixelOffset = s.nativeBpp < 8 ? static_cast<int>((bit % 8) / s.nativeBpp) : 0;
    QGDI_IteratorStats().LogIteratorGetRowEx(QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::ReleaseRow(int y) const {
    const SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (s.pres.converting) ReleaseConvertedRow(y).Ignore();
    QGDI_IteratorStats().LogIteratorReleaseRowEx(QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::GetNativeRow(uint8_t*& row, int y) {
    const uint8_t* p = nullptr;
    CErrorAutoThrow r = static_cast<const CRowIteratorBands*>(this)->GetNativeRow(p, y);
    if (!r.IsError()) m_state->solid.store(false, std::memory_order_relaxed);
    row = const_cast<uint8_t*>(p);
    return r;
}

CErrorAutoThrow CRowIteratorBands::GetNativeRow(const uint8_t*& row, int y) const {
    row = nullptr;
    const SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (y < 0 || y >= s.Height()) return QERR(keQuorErrFailed);
    row = s.NativeRow(y);
    QGDI_IteratorStats().LogIteratorGetRowEx(QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::ReleaseNativeRow(int) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    QGDI_IteratorStats().LogIteratorReleaseRowEx(QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::GetAndCopyRow(void* buffer, int y, int x, int count, size_t bytes) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    if (!buffer) return QERR(keQuorErrFailed);
    if (count == -1) count = GetWidth() - x;
    const uint8_t* row = nullptr;
    int offset = 0;
    QGDI_TRY(GetRow(row, y, x, count, &offset));
    const size_t need = QGDI_SpanBytes(GetBPP(), count, offset);
    if (need > bytes) {
        ReleaseRow(y).Ignore();
        return QERR(keQuorErrFailed);
    }
    std::memcpy(buffer, row, need);
    QGDI_IteratorStats().LogIteratorCopyEx(need, QMM_HERE);
    return ReleaseRow(y);
}

namespace {
template <class Row, class Iterator>
CErrorAutoThrow Step(Iterator& it, Row*& row, int& y, int x, int count, int direction) {
    if (!it.IsAttached()) return QERR(keQuorErrIteratorState);
    if (y >= 0 && y < it.GetHeight() && row) it.ReleaseRow(y).Ignore();
    row = nullptr;
    y += direction;
    if (y < 0 || y >= it.GetHeight()) {
        y = y < 0 ? -1 : it.GetHeight();
        return CErrorAutoThrow();
    }
    return it.GetRow(row, y, x, count);
}
}  // namespace

CErrorAutoThrow CRowIteratorBands::GetNext(uint8_t*& row, int& y) { return Step(*this, row, y, 0, -1, 1); }
CErrorAutoThrow CRowIteratorBands::GetNext(const uint8_t*& row, int& y) const { return Step(*this, row, y, 0, -1, 1); }
CErrorAutoThrow CRowIteratorBands::GetNext(uint8_t*& row, int& y, int x, int count) {
    return Step(*this, row, y, x, count, 1);
}
CErrorAutoThrow CRowIteratorBands::GetNext(const uint8_t*& row, int& y, int x, int count) const {
    return Step(*this, row, y, x, count, 1);
}
CErrorAutoThrow CRowIteratorBands::GetPrev(uint8_t*& row, int& y) { return Step(*this, row, y, 0, -1, -1); }
CErrorAutoThrow CRowIteratorBands::GetPrev(const uint8_t*& row, int& y) const { return Step(*this, row, y, 0, -1, -1); }
CErrorAutoThrow CRowIteratorBands::GetPrev(uint8_t*& row, int& y, int x, int count) {
    return Step(*this, row, y, x, count, -1);
}
CErrorAutoThrow CRowIteratorBands::GetPrev(const uint8_t*& row, int& y, int x, int count) const {
    return Step(*this, row, y, x, count, -1);
}

// ---- Pixels ----------------------------------------------------------------

CErrorAutoThrow CRowIteratorBands::GetPixel(const uint8_t* row, int x, CColorRef& colour) const {
    const SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!row || x < 0 || x >= s.Width()) return QERR(keQuorErrFailed);
    const int bpp = GetBPP();
    const size_t bit = (size_t(GetPixelOffset()) + size_t(x)) * size_t(bpp);
    colour = CColorRef::FromPixel(row + bit / 8, s.pres.format, s.palette, s.paletteCount,
                                  bpp < 8 ? static_cast<int>((bit % 8) / bpp) : 0);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::GetPixel(int x, int y, CColorRef& colour) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    const uint8_t* row = nullptr;
    int offset = 0;
    QGDI_TRY(GetRow(row, y, x, 1, &offset));
    const SState& s = *m_state;
    colour = CColorRef::FromPixel(row, s.pres.format, s.palette, s.paletteCount, offset);
    return ReleaseRow(y);
}

CErrorAutoThrow CRowIteratorBands::SetPixel(uint8_t* row, int x, const CColorRef& colour) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!row || x < 0 || x >= s.Width()) return QERR(keQuorErrFailed);
    const int bpp = GetBPP();
    const size_t bit = (size_t(GetPixelOffset()) + size_t(x)) * size_t(bpp);
    s.solid.store(false, std::memory_order_relaxed);
    if (!colour.ToPixel(row + bit / 8, s.pres.format, s.palette, s.paletteCount,
                        bpp < 8 ? static_cast<int>((bit % 8) / bpp) : 0))
        return QERR(keQuorErrFormatNotSupported);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::SetPixel(int x, int y, const CColorRef& colour) {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    uint8_t* row = nullptr;
    int offset = 0;
    QGDI_TRY(GetRow(row, y, x, 1, &offset));
    const SState& s = *m_state;
    const bool ok = colour.ToPixel(row, s.pres.format, s.palette, s.paletteCount, offset);
    CErrorAutoThrow released = ReleaseRow(y);
    if (!ok) {
        released.Ignore();  // the format error is the one to report
        return QERR(keQuorErrFormatNotSupported);
    }
    return released;
}

// ---- Free functions ----------------------------------------------------------

uint8_t* QGDI_GetPixelRow(CRowIteratorBands* iterator, int y) noexcept {
    if (!iterator) return nullptr;
    uint8_t* row = nullptr;
    iterator->GetRow(row, y).Ignore();
    return row;
}

const uint8_t* QGDI_GetPixelRow(const CRowIteratorBands* iterator, int y) noexcept {
    if (!iterator) return nullptr;
    const uint8_t* row = nullptr;
    iterator->GetRow(row, y).Ignore();
    return row;
}

void QGDI_ReleasePixelRow(const CRowIteratorBands* iterator, int y) noexcept {
    if (iterator) iterator->ReleaseRow(y).Ignore();
}

bool QGDI_ValidPixel(const CRowIteratorBands* iterator, int x, int y) noexcept {
    return iterator && iterator->IsAttached() && x >= 0 && x < iterator->GetWidth() && y >= 0 &&
           y < iterator->GetHeight();
}

bool QGDI_ValidPixelRow(const CRowIteratorBands* iterator, int y) noexcept {
    return iterator && iterator->IsAttached() && y >= 0 && y < iterator->GetHeight();
}
