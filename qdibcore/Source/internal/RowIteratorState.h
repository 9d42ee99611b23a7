#pragma once
// The state behind a row iterator, shared by the files that implement it.
#include <atomic>
#include <memory>
#include <thread>
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

namespace qgdi::iter {

// A one-byte lock for state held a few instructions at a time (a row's entry,
// a thread's buffer slot). Two threads meet on one only when they want the
// same row at once, so a waiter spins briefly, then yields its core.
class CTinyLock {
public:
    void lock() noexcept {
        while (m_taken.exchange(true, std::memory_order_acquire))
            for (int spins = 0; m_taken.load(std::memory_order_relaxed); ++spins)
                if (spins >= 32) std::this_thread::yield();
    }
    void unlock() noexcept { m_taken.store(false, std::memory_order_release); }

private:
    std::atomic<bool> m_taken{false};
};

// A converted-row buffer and the bytes allocated for it.
struct SRowBuffer {
    uint8_t* data = nullptr;
    uint32_t capacity = 0;
};

// One row's entry in the converted-row table. A user claims an empty entry or
// joins a held one under the entry's lock; the thread that moved the entry to
// filling or draining is then its only writer, converts or writes back outside
// the lock and ends the phase with a release store: a row used by one thread
// costs one lock per get and one per release.
struct SConvertedRow {
    enum EPhase : uint8_t {
        kePhaseEmpty,     // not held
        kePhaseFilling,   // being converted by its first user
        kePhaseHeld,      // converted, held `refs` times
        kePhaseDraining,  // last user writing it back
    };
    uint8_t* buffer = nullptr;
    uint32_t offset = 0;    // byte offset of the span within the native row
    uint32_t bytes = 0;     // bytes of the presented span
    uint32_t capacity = 0;  // bytes allocated
    uint32_t refs = 0;
    int32_t x = 0;  // first column and count of the span
    int32_t count = 0;
    CTinyLock lock;
    std::atomic<EPhase> phase{kePhaseEmpty};
    bool writable = false;  // taken at least once through the modifiable interface

    EPhase Phase() const noexcept { return phase.load(std::memory_order_acquire); }
    // Ends a phase this thread owns; everything written before becomes visible
    // to whoever sees the new phase.
    void Publish(EPhase next) noexcept { phase.store(next, std::memory_order_release); }
};

// Buffers each thread keeps between its rows: the spare of the converted-row
// rule, held per consumer so that every thread's row loop allocates once and
// threads never hand buffers to each other. A thread's slot is chosen by a
// small number it draws on first use; threads beyond the slot count share
// slots, which costs reuse, never correctness.
// Test hook: the next `count` converted-row buffers that would be allocated
// fail as if memory had run out (0: none fail).
void SetRowBufferFailures(int count) noexcept;

class CRowBufferCache {
public:
    static constexpr unsigned kSlots = 32;
    static constexpr int kPerSlot = 3;  // a row, the next row, one more in a window

    CRowBufferCache() = default;
    CRowBufferCache(const CRowBufferCache&) = delete;
    CRowBufferCache& operator=(const CRowBufferCache&) = delete;
    ~CRowBufferCache() { Clear(); }

    // The smallest of this thread's buffers of at least `bytes`, else a new
    // one; data is null when memory is short.
    SRowBuffer Take(size_t bytes) noexcept;
    // Back to this thread's slot; when the slot is full the smallest buffer
    // there (or this one) is freed, so the slot keeps the largest.
    void Give(SRowBuffer buffer) noexcept;
    void Clear() noexcept;
    static void Free(SRowBuffer buffer) noexcept;

private:
    struct alignas(64) SSlot {
        CTinyLock lock;
        SRowBuffer kept[kPerSlot];
    };
    SSlot& Mine() noexcept;
    SSlot m_slots[kSlots];
};

}  // namespace qgdi::iter

// How the native pixels are presented. Reading runs up to two steps (a format
// conversion, then a channel mover); writing runs them backwards. The settings
// change only while no row is held; during row access they are read-only and
// the table and the buffer cache serve any number of threads.
struct SQPresentation {
    EQPixelFormat target = keFormatNone;  // format asked for with SetPixelFormat / SetConversion
    EQPixelFormat format = keFormatNone;  // what GetRow hands out
    EQChannelSet channels = keChannelSetAll;
    EImageModifyMode mode = keImageModifyReadWrite;
    bool converting = false;
    bool custom = false;                   // converters came from SetConversion
    QRowConvertFn convertRead = nullptr;   // native -> target
    QRowConvertFn convertWrite = nullptr;  // target -> native
    QRowConvertFn channelRead = nullptr;   // target -> presented channel
    QRowConvertFn channelWrite = nullptr;  // presented channel -> target (in place)
    int channelIndex = 0;
    std::unique_ptr<qgdi::iter::SConvertedRow[]> table;  // one entry per row
    size_t rows = 0;
    std::unique_ptr<qgdi::iter::CRowBufferCache> buffers;

    SQPresentation() = default;
    SQPresentation(const SQPresentation&) = delete;
    SQPresentation& operator=(const SQPresentation&) = delete;
    ~SQPresentation() { FreeTable(); }
    void FreeTable() noexcept;
    // True while some converted row is held (or being converted or written back).
    bool AnyHeld() const noexcept;
};

struct CRowIteratorBands::SState {
    std::shared_ptr<SQImageStorage> storage;
    RECT rect{0, 0, 0, 0};
    POINT origin{0, 0};
    int firstRow = 0;       // native row of iterator row 0
    size_t columnByte = 0;  // byte of the first column within a native row
    int pixelOffset = 0;    // pixel position of the first column inside that byte
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
    // Palette, solid state, colour space and masks of another image.
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
