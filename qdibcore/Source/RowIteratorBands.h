#pragma once
// Row access to images. Every operation of the library reads and writes pixels
// through a row iterator: take a row (or a span of it) with GetRow, work on the
// bytes, give it back with ReleaseRow, always in pairs. Row 0 is the top row of
// the iterator's rectangle whatever order the storage keeps.
//
// Storage is a table of bands of 128 rows. A created image owns one memory
// block per band; an image attached to a packed bitmap points every band into
// that bitmap's block. The iterator may present its pixels in another format
// or one channel alone: rows are then converted into buffers on GetRow and
// written back on the last ReleaseRow.
//
// Any number of threads may take and release rows of one iterator at once,
// converted or direct; threads sharing a converted row share its buffer.
// Changes of presentation, palette or attachment are not made during row access.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <type_traits>
#include <vector>

#include "colour/ColourSpaceRGB.h"
#include "platform/windef.h"
#include "qdibcore/Source/ColorRef.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"
#include "qmm/qmm.h"

class CStatusControl;

// What a caller will do with the rows of a changed presentation.
enum EImageModifyMode : int32_t {
    keImageModifyReadOnly = 0,   // rows are only read: nothing is written back
    keImageModifyReadWrite = 1,  // rows are read and written back on their last release
    keImageModifyWriteOnly = 2,  // rows are overwritten whole: not read, only written back
};

// Everything a row converter may need besides the bytes.
struct SQRowConvertContext {
    const RGBQUAD* palette = nullptr;
    int paletteCount = 0;
    int srcPixelOffset = 0;  // pixel position of the first source pixel inside its byte (1- and 4-bit)
    int dstPixelOffset = 0;  // the same for the destination
    int channel = 0;         // element index of the channel a channel mover reads or writes
};

// Converts `count` pixels from `src` to `dst`; the formats are the converter's own.
using QRowConvertFn = void (*)(void* dst, const void* src, int count, const SQRowConvertContext& context);

// A row held for the lifetime of the holder: P is the pixel byte type,
// const for a row of a constant iterator.
template <class P>
class TRowHolder;
template <class T>
using TAutoRow = TRowHolder<T>;
template <class T>
using TAutoRowConst = TRowHolder<const T>;

class QGDI_API CRowIteratorBands {
public:
    static constexpr int kBandRows = 128;

    // Flags of the stream functions.
    enum StreamFlags : uint32_t {
        TextFull = 1,  // text dump with every palette entry and pixel byte
        TextCrc = 2,   // text dump with checksums only
        Binary = 4,    // the binary form that StreamIn reads back
    };

    CRowIteratorBands() noexcept;
    virtual ~CRowIteratorBands();
    CRowIteratorBands(const CRowIteratorBands&) = delete;
    CRowIteratorBands& operator=(const CRowIteratorBands&) = delete;
    // Moves take the other iterator's image over (Consume).
    CRowIteratorBands(CRowIteratorBands&& other) noexcept;
    CRowIteratorBands& operator=(CRowIteratorBands&& other) noexcept;

    // ---- Row access -------------------------------------------------------
    // The whole row y (0 = top of the rectangle).
    CErrorAutoThrow GetRow(uint8_t*& row, int y);
    CErrorAutoThrow GetRow(const uint8_t*& row, int y) const;
    // Columns x .. x+count-1 (count -1: to the end of the row). For 1- and
    // 4-bit formats the first pixel may sit inside the first byte: its pixel
    // position there is stored in `pixelOffset`.
    CErrorAutoThrow GetRow(uint8_t*& row, int y, int x, int count, int* pixelOffset = nullptr);
    CErrorAutoThrow GetRow(const uint8_t*& row, int y, int x, int count, int* pixelOffset = nullptr) const;
    // The same returning the pointer, null on failure.
    uint8_t* GetRow(int y, int x, int count);
    const uint8_t* GetRow(int y, int x, int count) const;
    // Fills a scoped holder that releases the row when it goes out of scope.
    CErrorAutoThrow GetRow(TAutoRow<unsigned char>& row, int y);
    CErrorAutoThrow GetRow(TAutoRowConst<unsigned char>& row, int y) const;
    // Ends one use of row y. Releasing a row that is not held does nothing.
    CErrorAutoThrow ReleaseRow(int y) const;
    // Copies the span into caller memory of `bytes` bytes.
    CErrorAutoThrow GetAndCopyRow(void* buffer, int y, int x, int count, size_t bytes) const;

    // Releases row y (when y is a row) and takes the next or previous one; at
    // the end `row` becomes null and y is height or -1.
    CErrorAutoThrow GetNext(uint8_t*& row, int& y);
    CErrorAutoThrow GetNext(const uint8_t*& row, int& y) const;
    CErrorAutoThrow GetNext(uint8_t*& row, int& y, int x, int count);
    CErrorAutoThrow GetNext(const uint8_t*& row, int& y, int x, int count) const;
    CErrorAutoThrow GetPrev(uint8_t*& row, int& y);
    CErrorAutoThrow GetPrev(const uint8_t*& row, int& y) const;
    CErrorAutoThrow GetPrev(uint8_t*& row, int& y, int x, int count);
    CErrorAutoThrow GetPrev(const uint8_t*& row, int& y, int x, int count) const;

    // The row in the native format, whatever the presentation.
    CErrorAutoThrow GetNativeRow(uint8_t*& row, int y);
    CErrorAutoThrow GetNativeRow(const uint8_t*& row, int y) const;
    CErrorAutoThrow ReleaseNativeRow(int y) const;
    // The converted half of ReleaseRow.
    CErrorAutoThrow ReleaseConvertedRow(int y) const;
    // Ends every use of every converted row (writing back what was modifiable).
    CErrorAutoThrow ReleaseAllRows() const;

    // Pixel x of a whole row returned by GetRow, or pixel (x, y) of the image;
    // in the presented format.
    CErrorAutoThrow GetPixel(const uint8_t* row, int x, CColorRef& colour) const;
    CErrorAutoThrow GetPixel(int x, int y, CColorRef& colour) const;
    CErrorAutoThrow SetPixel(uint8_t* row, int x, const CColorRef& colour);
    CErrorAutoThrow SetPixel(int x, int y, const CColorRef& colour);

    // ---- Life cycle -------------------------------------------------------
    // Attaches to a packed bitmap (40-byte header, palette, pixels) in one
    // block. `rect` (null: the whole bitmap) is in the coordinates of the
    // bitmap moved by `offset`; it must lie inside it. `format` None takes the
    // format from the header; another format must have the header's bit count.
    CErrorAutoThrow Attach(QMMHANDLE dib, const RECT* rect = nullptr, POINT offset = {0, 0},
                           EQPixelFormat format = keFormatNone);
    CErrorAutoThrow Attach(IBinAccessor* dib, const RECT* rect = nullptr, POINT offset = {0, 0},
                           EQPixelFormat format = keFormatNone);
    // Shares the pixels of another iterator, optionally only `rect` of it (in
    // its rectangle's coordinates); the presentation is carried over.
    CErrorAutoThrow Attach(const CRowIteratorBands& other, const RECT* rect = nullptr);
    CErrorAutoThrow Detach();
    bool IsAttached() const noexcept;

    // A new image owned by this iterator, filled with `fill` (zero bytes when
    // null). Indexed formats take `palette` (a grey ramp when null); grey
    // formats always carry the 256-entry grey palette.
    CErrorAutoThrow Create(int width, int height, EQPixelFormat format, const CColorRef* fill = nullptr,
                           const RGBQUAD* palette = nullptr, int paletteCount = 0);
    CErrorAutoThrow CreateRGB(int width, int height, const CColorRef* fill = nullptr);
    CErrorAutoThrow CreateRGBA(int width, int height, const CColorRef* fill = nullptr);
    CErrorAutoThrow CreateRGBxA(int width, int height, const CColorRef* fill = nullptr);
    CErrorAutoThrow CreateGreyscale(int width, int height, const CColorRef* fill = nullptr);
    CErrorAutoThrow CreateGreyscale16(int width, int height, const CColorRef* fill = nullptr);
    CErrorAutoThrow CreateGreyA(int width, int height, const CColorRef* fill = nullptr);
    // bits 1, 4 or 8.
    CErrorAutoThrow CreateIndexed(int width, int height, int bits, const RGBQUAD* palette, int paletteCount);
    // Same presented format and palette as `other`; -1 keeps its width or height.
    CErrorAutoThrow CreateCompatible(const CRowIteratorBands& other, int width = -1, int height = -1);
    // `tile` repeated across and down.
    CErrorAutoThrow CreateTiled(const CRowIteratorBands& tile, int width, int height);
    // A private copy of `rect` of `other` (null: all of it), in `format` (None:
    // the presented format of `other`).
    CErrorAutoThrow CreateFromCopy(const CRowIteratorBands& other, const RECT* rect = nullptr,
                                   EQPixelFormat format = keFormatNone);
    // A private copy of a packed bitmap.
    CErrorAutoThrow CreateFromDIB(QMMHANDLE dib, const RECT* rect = nullptr, EQPixelFormat format = keFormatNone);
    CErrorAutoThrow CreateFromDIB(const void* packed, size_t bytes, EQPixelFormat format = keFormatNone);
    // Copies the pixels of `source` into this image, converting to this
    // iterator's presented format; a detached iterator becomes a copy.
    CErrorAutoThrow Copy(const CRowIteratorBands& source);
    // Replaces shared pixels by a private copy of the visible rectangle.
    CErrorAutoThrow OwnCopy();
    // Takes over the image of `other`, which is left detached.
    CErrorAutoThrow Consume(CRowIteratorBands& other);
    // Detaches and forgets palette, presentation and solid state (110 when detached).
    CErrorAutoThrow Destroy();
    // Back to the state of a new iterator.
    void Reset() noexcept;
    // Reference count of a heap-allocated iterator: starts at 1; Release
    // deletes it at 0.
    uint32_t AddRef() const noexcept;
    uint32_t Release() const noexcept;

    // ---- Queries ----------------------------------------------------------
    int GetWidth() const noexcept;
    int GetHeight() const noexcept;
    RECT GetRect() const noexcept;
    void GetRect(RECT& rect) const noexcept { rect = GetRect(); }
    POINT GetOffset() const noexcept;
    // Moves rectangle and offset so that the offset becomes (0, 0).
    void RemoveOffset() noexcept;
    // Moves rectangle and offset together: the same pixels under new coordinates.
    void OffsetRect(int dx, int dy) noexcept;
    EQPixelFormat GetPixelFormat() const noexcept;
    EQPixelFormat GetNativeFormat() const noexcept;
    EQChannelSet GetChannelAccess() const noexcept;
    EImageModifyMode GetMode() const noexcept;
    EImageModifyMode GetImageModifyMode() const noexcept { return GetMode(); }
    bool IsConverting() const noexcept;
    const RGBQUAD* GetPalette() const noexcept;
    int GetPaletteCount() const noexcept;
    bool HasWritablePalette() const noexcept;
    CColorRef GetIndexedColor(int index) const noexcept;
    int GetPixelOffset() const noexcept;
    // Bits per pixel of the presented format; packed bytes of a whole row.
    int GetBPP() const noexcept;
    static int GetBPP(EQPixelFormat format) noexcept;
    int GetBytesPerRow() const noexcept;
    bool IsSolidColor() const noexcept;
    CColorRef GetSolidColor() const noexcept;
    const SColorSpecRGB* GetColorSpec() const noexcept;
    SColorSpecRGB GetColorSpecRGB() const noexcept { return *GetColorSpec(); }
    // Null returns to the process-wide colour space.
    void SetColorSpec(const SColorSpecRGB* cs) noexcept;
    // The two colour-mask words of the attached bitmap.
    void GetColorMasks(uint32_t& first, uint32_t& second) const noexcept;

    bool IsSameFormatAs(const CRowIteratorBands& other) const noexcept;
    bool IsSameSizeAs(const CRowIteratorBands& other) const noexcept;
    bool IsSameSizeAndFormatAs(const CRowIteratorBands& other) const noexcept;
    // Same pixel offset inside the first byte, so rows copy byte for byte.
    bool IsSameAlignmentAs(const CRowIteratorBands& other) const noexcept;
    // Same size, format, palette and pixels.
    bool IsEquivalent(const CRowIteratorBands& other) const;
    bool IsCreatedAs(int width, int height, EQPixelFormat format) const noexcept;
    // In the rectangle's coordinates.
    bool ContainsPoint(int x, int y) const noexcept;
    bool ContainsPoint(POINT point) const noexcept { return ContainsPoint(point.x, point.y); }
    POINT ClampedPoint(POINT point) const noexcept;
    // Intersects `rect` with the rectangle; false when nothing is left.
    bool IntersectRect(RECT& rect) const noexcept;
    // Bytes of pixels, palette and header held for the image.
    size_t GetApproximateSize() const noexcept;
    // Bytes of the pixels of a packed bitmap of the presented format.
    size_t GetBitmapSize() const noexcept;
    // True when rows of `source` can be copied into this image byte for byte.
    bool CanFastCopy(const CRowIteratorBands& source) const noexcept;
    // Copies `sourceRect` of `source` (null: all) to `destination` of this image.
    CErrorAutoThrow FastCopyRect(const CRowIteratorBands& source, const RECT* sourceRect = nullptr,
                                 POINT destination = {0, 0});
    // Every pixel of the rectangle becomes `colour`.
    CErrorAutoThrow Fill(const CColorRef& colour);

    // ---- Export -----------------------------------------------------------
    // A new packed bitmap (40-byte header, palette, bottom-up rows padded to 4
    // bytes) of the presented pixels of `rect` (null: all).
    CErrorAutoThrow CopyToDIB(CQmmBinPtr& dib, const RECT* rect = nullptr) const;
    CErrorAutoThrow CopyToDIBHandle(QMMHANDLE& dib, const RECT* rect = nullptr) const;
    // The presented pixels as bitmap rows (bottom-up, padded to 4 bytes).
    CErrorAutoThrow GetBitmapBits(void* buffer, size_t bytes) const;
    CErrorAutoThrow GetCompatibleBitmapInfoHeader(BITMAPINFOHEADER& header) const;
    // Draws through the host's device-context hook (120 without one).
    CErrorAutoThrow DrawImage(void* deviceContext, const RECT* destination, const RECT* source = nullptr) const;
    // Puts the image on the clipboard (as 8-bit RGB with `asRGB`), or takes it from there.
    CErrorAutoThrow CopyToClipboard(bool asRGB = false) const;
    CErrorAutoThrow CreateFromClipboard();

    // ---- Presentation -----------------------------------------------------
    // Presents the pixels in `format` (the native format ends the conversion).
    // 120 when no converter joins the two formats, 101 while rows are held.
    virtual CErrorAutoThrow SetPixelFormat(EQPixelFormat format, EImageModifyMode mode = keImageModifyReadWrite) const;
    // Presents one channel as a grey image (a set of all colour channels: the
    // image without alpha); keChannelSetAll ends channel access.
    virtual CErrorAutoThrow SetChannelAccess(EQChannelSet channels,
                                             EImageModifyMode mode = keImageModifyReadWrite) const;
    virtual CErrorAutoThrow SetChannelAccess(EQChannel channel, EImageModifyMode mode = keImageModifyReadWrite) const;
    // Reads the native pixels as another format of the same bits per pixel.
    CErrorAutoThrow OverridePixelFormat(EQPixelFormat format);
    // Installs caller converters presenting `format`; null `write` is read-only.
    CErrorAutoThrow SetConversion(EQPixelFormat format, QRowConvertFn read, QRowConvertFn write,
                                  EImageModifyMode mode = keImageModifyReadWrite) const;
    CErrorAutoThrow SetPalette(const RGBQUAD* palette, int count);
    CErrorAutoThrow SetPaletteCount(int count);
    // Marks the image as one colour; with `solid` the pixels are filled with it.
    CErrorAutoThrow SetSolidState(bool solid, const CColorRef& colour = CColorRef());

    // ---- Row converters (destination, source, pixel count) -----------------
    static void Convert8ATo8(void* dst, const void* src, int count);
    static void Convert8To8A(void* dst, const void* src, int count);
    static void ConvertBGRAToBGR(void* dst, const void* src, int count);
    static void ConvertBGRAToBGRxA(void* dst, const void* src, int count);
    static void ConvertBGRAtoGrey(void* dst, const void* src, int count);
    static void ConvertBGRAtoGreyA(void* dst, const void* src, int count);
    static void ConvertBGRToBGRA(void* dst, const void* src, int count);
    static void ConvertBGRtoGrey(void* dst, const void* src, int count);
    static void ConvertBGRtoGreyA(void* dst, const void* src, int count);
    static void ConvertBGRxAToBGRA(void* dst, const void* src, int count);
    static void ConvertGreyAToBGR(void* dst, const void* src, int count);
    static void ConvertGreyAToBGRA(void* dst, const void* src, int count);
    static void ConvertGreyToBGR(void* dst, const void* src, int count);
    static void ConvertGreyToBGRA(void* dst, const void* src, int count);
    static void ConvertBGR16ToBGRA16(void* dst, const void* src, int count);
    static void ConvertBGRA16ToBGR16(void* dst, const void* src, int count);
    static void ConvertBGRA16ToBGRxA16(void* dst, const void* src, int count);
    static void ConvertBGRxA16ToBGRA16(void* dst, const void* src, int count);
    static void ConvertGrey16ToGreyA16(void* dst, const void* src, int count);
    static void ConvertGreyA16ToGrey16(void* dst, const void* src, int count);
    static void ConvertGreyA16ToGreyxA16(void* dst, const void* src, int count);
    static void ConvertGreyxA16ToGreyA16(void* dst, const void* src, int count);
    static void ConvertGreyAToGreyxA(void* dst, const void* src, int count);
    static void ConvertGreyxAToGreyA(void* dst, const void* src, int count);
    // Indexed converters use this iterator's palette and pixel offset.
    void ConvertIndex1to8(void* dst, const void* src, int count) const;
    void ConvertIndex1toBGR(void* dst, const void* src, int count) const;
    void ConvertIndex1toBGRA(void* dst, const void* src, int count) const;
    void ConvertIndex4to8(void* dst, const void* src, int count) const;
    void ConvertIndex4toBGR(void* dst, const void* src, int count) const;
    void ConvertIndex4toBGRA(void* dst, const void* src, int count) const;
    void ConvertIndex8AtoBGRA(void* dst, const void* src, int count) const;
    void ConvertIndex8to1(void* dst, const void* src, int count) const;
    void ConvertIndex8to4(void* dst, const void* src, int count) const;
    void ConvertIndex8toBGR(void* dst, const void* src, int count) const;
    void ConvertIndex8toBGRA(void* dst, const void* src, int count) const;

    // ---- Channel movers: one channel (element index `channel`) of a pixel of
    // the named bit size, out of it and back into it ------------------------
    static void GetChannelFrom16(void* dst, const void* src, int count, int channel);
    static void GetChannelFrom24(void* dst, const void* src, int count, int channel);
    static void GetChannelFrom32(void* dst, const void* src, int count, int channel);
    static void GetChannelFrom48(void* dst, const void* src, int count, int channel);
    static void GetChannelFrom64(void* dst, const void* src, int count, int channel);
    static void Get16ChannelFrom32(void* dst, const void* src, int count, int channel);
    static void GetBGRChannelFromBGRA(void* dst, const void* src, int count);
    static void GetBGRChannelFromBGRA_u16(void* dst, const void* src, int count);
    static void MoveChannelTo16(void* dst, const void* src, int count, int channel);
    static void MoveChannelTo24(void* dst, const void* src, int count, int channel);
    static void MoveChannelTo32(void* dst, const void* src, int count, int channel);
    static void MoveChannelTo48(void* dst, const void* src, int count, int channel);
    static void MoveChannelTo64(void* dst, const void* src, int count, int channel);
    static void Move16ChannelTo32(void* dst, const void* src, int count, int channel);
    static void MoveBGRChannelToBGRA(void* dst, const void* src, int count);
    static void MoveBGRChannelToBGRA_u16(void* dst, const void* src, int count);

    // The converter from one format to another (null when none exists).
    static QRowConvertFn FindConverter(EQPixelFormat from, EQPixelFormat to) noexcept;

    // ---- Streams ----------------------------------------------------------
    // Reads the binary form; the iterator must be detached (110). 101 for a
    // malformed stream, 102 when memory is short; the iterator stays detached.
    CErrorAutoThrow StreamIn(std::istream& in);
    // Binary or text according to `flags`.
    CErrorAutoThrow StreamOut(std::ostream& out, uint32_t flags = Binary) const;
    CErrorAutoThrow StreamBinOut(std::ostream& out) const;
    // One diagnostic record, indented by `level` tabs.
    CErrorAutoThrow StreamTextOut(std::ostream& out, uint32_t flags = TextCrc, int level = 0) const;
    // The flags operator<< uses on one stream (Binary unless set).
    static void SetStreamFlags(std::ios_base& stream, uint32_t flags);
    static uint32_t GetStreamFlags(std::ios_base& stream);

protected:
    // Record name of the text dump.
    virtual const char* DumpTag() const noexcept;
    // Writes the fields that only a derived iterator has, after the rectangle.
    virtual void DumpExtraFields(std::ostream& out) const;
    // Allocates pixel storage for Create: bands of separate blocks here.
    virtual CErrorAutoThrow CreateStorage(int width, int height, EQPixelFormat format, const RGBQUAD* palette,
                                          int paletteCount);

    struct SState;
    // Attaches to a packed bitmap held by `accessor` (a reference is taken).
    CErrorAutoThrow AttachPacked(IBinAccessor* accessor, const RECT* rect, POINT offset, EQPixelFormat format);
    SState& State() noexcept { return *m_state; }
    const SState& State() const noexcept { return *m_state; }

private:
    friend struct SRowIteratorAccess;
    CErrorAutoThrow GetRowImpl(const uint8_t*& row, int y, int x, int count, int* pixelOffset, bool modifiable) const;
    CErrorAutoThrow GetConvertedRow(const uint8_t*& row, int y, int x, int count, int* pixelOffset,
                                    bool modifiable) const;
    template <class P>
    CErrorAutoThrow HoldRow(TRowHolder<P>& holder, int y) const;
    // Chooses the converters for the current target format and channel access.
    CErrorAutoThrow RebuildPresentation() const;
    std::unique_ptr<SState> m_state;
};

// The iterator that all operations take.
using CRowIterator = CRowIteratorBands;

template <class P>
class TRowHolder {
    using Iterator = std::conditional_t<std::is_const_v<P>, const CRowIteratorBands, CRowIteratorBands>;

public:
    TRowHolder() noexcept = default;
    // Takes row y of `iterator` (IsValid() tells whether it worked).
    TRowHolder(Iterator& iterator, int y) { iterator.GetRow(*this, y).Ignore(); }
    ~TRowHolder() { Release(); }
    TRowHolder(const TRowHolder&) = delete;
    TRowHolder& operator=(const TRowHolder&) = delete;

    P* Get() const noexcept { return m_row; }
    operator P*() const noexcept { return m_row; }
    P& operator[](ptrdiff_t i) const noexcept { return m_row[i]; }
    int GetIndex() const noexcept { return m_index; }
    bool IsValid() const noexcept { return m_row != nullptr; }
    void Release() noexcept {
        if (m_iterator && m_row) m_iterator->ReleaseRow(m_index).Ignore();
        m_iterator = nullptr;
        m_row = nullptr;
        m_index = -1;
    }

private:
    friend class CRowIteratorBands;
    void Hold(const CRowIteratorBands* iterator, int index, P* row) noexcept {
        Release();
        m_iterator = iterator;
        m_index = index;
        m_row = row;
    }
    const CRowIteratorBands* m_iterator = nullptr;
    int m_index = -1;
    P* m_row = nullptr;
};

// Binary unless SetStreamFlags chose a text dump for the stream.
QGDI_API std::ostream& operator<<(std::ostream& out, const CRowIteratorBands& iterator);
// Reads the binary form; a failure sets failbit and leaves the iterator detached.
QGDI_API std::istream& operator>>(std::istream& in, CRowIteratorBands& iterator);
// "FULL" and the record for an attached iterator, "NULL" otherwise.
QGDI_API CErrorAutoThrow WriteSerializeRowIterator(const CRowIteratorBands* iterator, std::ostream& out, uint32_t flags,
                                                   int level);

// The whole row through GetRow, the result code dropped: null on failure.
QGDI_API uint8_t* QGDI_GetPixelRow(CRowIteratorBands* iterator, int y) noexcept;
QGDI_API const uint8_t* QGDI_GetPixelRow(const CRowIteratorBands* iterator, int y) noexcept;
QGDI_API void QGDI_ReleasePixelRow(const CRowIteratorBands* iterator, int y) noexcept;
// Attached and 0 <= x < width, 0 <= y < height.
QGDI_API bool QGDI_ValidPixel(const CRowIteratorBands* iterator, int x, int y) noexcept;
QGDI_API bool QGDI_ValidPixelRow(const CRowIteratorBands* iterator, int y) noexcept;
