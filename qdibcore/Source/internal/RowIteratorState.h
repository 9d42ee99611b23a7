#pragma once
// The state behind a row iterator, shared by the files that implement it.
#include <memory>
#include <vector>

#include "qdibcore/Source/RowIteratorBands.h"
#include "qmm/MemStats.h"

// Pixel storage that several iterators may share (attach to another iterator):
// the blocks stay locked while the storage lives, so rows are plain addresses.
struct SQImageStorage {
    struct SBand {
        uint8_t* base = nullptr;  // address of the band's first native row
        ptrdiff_t step = 0;       // bytes from one native row to the next (negative bottom-up)
    };
    std::vector<CQmmBinPtr> blocks;
    std::vector<SBand> bands;  // band b holds native rows 128 b .. 128 b + 127
    int width = 0;             // the whole image, in pixels
    int height = 0;
    int bitsPerPixel = 0;
    size_t stride = 0;  // bytes per native row in storage
    // Set when the storage is one packed bitmap: its header and palette slots.
    BITMAPINFOHEADER* header = nullptr;
    RGBQUAD* palette = nullptr;
    int paletteSlots = 0;

    SQImageStorage() = default;
    SQImageStorage(const SQImageStorage&) = delete;
    SQImageStorage& operator=(const SQImageStorage&) = delete;
    ~SQImageStorage();

    // Locks `block` for the storage's lifetime; null when the lock fails.
    uint8_t* Keep(CQmmBinPtr block);
    uint8_t* NativeRow(int n) const noexcept {
        const SBand& b = bands[static_cast<size_t>(n) >> 7];
        return b.base + static_cast<ptrdiff_t>(n & (CRowIteratorBands::kBandRows - 1)) * b.step;
    }
};

// One converted row: a buffer with the presented pixels of one span.
struct SQConvertedRow {
    uint8_t* buffer = nullptr;
    uint32_t offset = 0;    // byte offset of the span within the native row
    uint32_t bytes = 0;     // bytes of the presented span
    uint32_t capacity = 0;  // bytes allocated
    uint32_t refs = 0;
    int32_t x = 0;          // first column and count of the span
    int32_t count = 0;
    bool writable = false;  // taken at least once through the modifiable interface
};

// How the native pixels are presented. Reading runs up to two steps (a format
// conversion, then a channel mover); writing runs them backwards.
struct SQPresentation {
    EQPixelFormat target = keFormatNone;  // format asked for with SetPixelFormat / SetConversion
    EQPixelFormat format = keFormatNone;  // what GetRow hands out
    EQChannelSet channels = keChannelSetAll;
    EImageModifyMode mode = keImageModifyReadWrite;
    bool converting = false;
    bool custom = false;  // converters came from SetConversion
    QRowConvertFn convertRead = nullptr;   // native -> target
    QRowConvertFn convertWrite = nullptr;  // target -> native
    QRowConvertFn channelRead = nullptr;   // target -> presented channel
    QRowConvertFn channelWrite = nullptr;  // presented channel -> target (in place)
    int channelIndex = 0;
    std::vector<SQConvertedRow> table;     // one entry per row, the spare at index height
    std::vector<uint8_t> scratch;          // target pixels between the two steps
    int held = 0;                          // entries with a reference

    SQPresentation() = default;
    SQPresentation(const SQPresentation&) = delete;
    SQPresentation& operator=(const SQPresentation&) = delete;
    ~SQPresentation() { FreeTable(); }
    void FreeTable() noexcept;
};

struct CRowIteratorBands::SState {
    std::shared_ptr<SQImageStorage> storage;
    RECT rect{0, 0, 0, 0};
    POINT origin{0, 0};
    int firstRow = 0;      // native row of iterator row 0
    size_t columnByte = 0; // byte of the first column within a native row
    int pixelOffset = 0;   // pixel position of the first column inside that byte
    EQPixelFormat native = keFormatNone;
    int nativeBpp = 0;
    RGBQUAD palette[256]{};
    int paletteCount = 0;
    bool writablePalette = false;
    std::atomic<bool> solid{false};  // cleared by any modifiable row access, from any thread
    CColorRef solidColour;
    const SColorSpecRGB* colorSpec = nullptr;
    uint32_t masks[2] = {0, 0};
    mutable std::atomic<uint32_t> refs{1};
    mutable SQPresentation pres;

    int Width() const noexcept { return rect.right - rect.left; }
    int Height() const noexcept { return rect.bottom - rect.top; }
    int PresentedBpp() const noexcept;
    // The first byte of iterator row y in native storage.
    uint8_t* NativeRow(int y) const noexcept { return storage->NativeRow(y + firstRow) + columnByte; }
    SQRowConvertContext Context() const noexcept;
    // Palette, solid state, colour specification and masks of another image.
    void CopyAttributes(const SState& from) noexcept;
};

CQMemStats& QGDI_IteratorStats() noexcept;

// Helpers shared by the iterator's files.
struct SRowIteratorAccess {
    static CRowIteratorBands::SState& Of(CRowIteratorBands& it) noexcept { return *it.m_state; }
    static const CRowIteratorBands::SState& Of(const CRowIteratorBands& it) noexcept { return *it.m_state; }
};

// Bytes of a packed row of `count` pixels of `bpp` bits starting at pixel
// position `pixelOffset` inside its first byte.
inline size_t QGDI_SpanBytes(int bpp, int count, int pixelOffset) noexcept {
    return (static_cast<size_t>(bpp) * (static_cast<size_t>(count) + pixelOffset) + 7) / 8;
}
// Bitmap rows are padded to whole 32-bit words.
inline size_t QGDI_DibStride(int bpp, int width) noexcept {
    return ((static_cast<size_t>(bpp) * static_cast<size_t>(width) + 31) / 32) * 4;
}

// The header of a bottom-up, uncompressed packed bitmap at 72 dots per inch.
inline BITMAPINFOHEADER QGDI_MakeDibHeader(int width, int height, int bits, int paletteEntries) noexcept {
    BITMAPINFOHEADER h{};
    h.biSize = sizeof(BITMAPINFOHEADER);
    h.biWidth = width;
    h.biHeight = height;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(bits);
    h.biCompression = BI_RGB;
    const size_t image = QGDI_DibStride(bits, width) * size_t(height);
    h.biSizeImage = image > UINT32_MAX ? 0 : static_cast<DWORD>(image);
    h.biXPelsPerMeter = h.biYPelsPerMeter = 2835;
    h.biClrUsed = static_cast<DWORD>(paletteEntries);
    return h;
}
