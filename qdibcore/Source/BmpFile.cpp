#include "qdibcore/Source/BmpFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"

namespace {

constexpr uint32_t kBiRgb = 0, kBiRle8 = 1, kBiRle4 = 2, kBiBitfields = 3, kBiJpeg = 4, kBiPng = 5,
                   kBiAlphaBitfields = 6;
constexpr size_t kFileHeader = 14;

uint16_t Rd16(const uint8_t* p) noexcept { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t Rd32(const uint8_t* p) noexcept {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
void Wr16(uint8_t* p, uint32_t v) noexcept {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
void Wr32(uint8_t* p, uint32_t v) noexcept {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

struct SBmpInfo {
    uint32_t headerSize = 0;
    int64_t width = 0, height = 0;  // height < 0: top-down
    uint32_t bits = 0, compression = kBiRgb;
    uint32_t masks[4] = {0, 0, 0, 0};  // red, green, blue, alpha
    bool os2 = false;
    size_t paletteStart = 0;
    int paletteEntry = 4;
    int paletteCount = 0;
    size_t pixels = 0;
};

// One channel of a bit-field pixel: its shift and width.
struct SField {
    uint32_t mask = 0;
    int shift = 0, bits = 0;
};

bool MakeField(uint32_t mask, SField& f) noexcept {
    f.mask = mask;
    if (!mask) return true;
    f.shift = __builtin_ctz(mask);
    const uint32_t m = mask >> f.shift;
    // Only one run of ones is a channel.
    if (m & (m + 1)) return false;
    f.bits = 32 - __builtin_clz(m);
    return true;
}

// A field value to 8 bits: round(v x 255 / (2^bits - 1)).
uint8_t Expand(uint32_t pixel, const SField& f) noexcept {
    if (!f.mask) return 0;
    const uint64_t v = (pixel & f.mask) >> f.shift;
    const uint64_t max = (uint64_t(1) << f.bits) - 1;
    return static_cast<uint8_t>((v * 255 + max / 2) / max);
}

CErrorAutoThrow Fail() { return QERR(keQuorErrFailed); }

CErrorAutoThrow ParseHeaders(const uint8_t* f, size_t n, SBmpInfo& info) {
    if (n < kFileHeader + 12 || f[0] != 'B' || f[1] != 'M') return Fail();
    const uint32_t fileSize = Rd32(f + 2);
    const uint32_t offBits = Rd32(f + 10);
    if (fileSize > n) return Fail();
    const uint8_t* h = f + kFileHeader;
    info.headerSize = Rd32(h);
    const uint32_t hs = info.headerSize;
    if (hs != 12 && hs != 16 && hs != 40 && hs != 52 && hs != 56 && hs != 64 && hs != 108 && hs != 124) return Fail();
    if (kFileHeader + hs > n) return Fail();
    uint32_t planes, clrUsed = 0, sizeImage = 0;
    int32_t xppm = 0, yppm = 0;
    if (hs == 12) {
        info.os2 = true;
        info.width = Rd16(h + 4);
        info.height = Rd16(h + 6);
        planes = Rd16(h + 8);
        info.bits = Rd16(h + 10);
        info.paletteEntry = 3;
    } else {
        info.os2 = hs == 16 || hs == 64;
        info.width = static_cast<int32_t>(Rd32(h + 4));
        info.height = static_cast<int32_t>(Rd32(h + 8));
        planes = Rd16(h + 12);
        info.bits = Rd16(h + 14);
        if (hs >= 40) {
            info.compression = Rd32(h + 16);
            sizeImage = Rd32(h + 20);
            xppm = static_cast<int32_t>(Rd32(h + 24));
            yppm = static_cast<int32_t>(Rd32(h + 28));
            clrUsed = Rd32(h + 32);
        }
    }
    if (planes != 1 || info.width <= 0 || info.height == 0 || info.height == INT32_MIN) return Fail();
    // Densities that are negative, or that make a pixel hundreds of times wider than tall, are corrupt.
    if (xppm < 0 || yppm < 0 ||
        (xppm && yppm && (int64_t(xppm) > 256 * int64_t(yppm) || int64_t(yppm) > 256 * int64_t(xppm))))
        return Fail();
    const uint32_t c = info.compression;
    if (info.os2 && (c == 3 || c == 4)) return QERR(keQuorErrFormatNotSupported);  // Huffman 1D, 24-bit RLE
    if (c == kBiJpeg || c == kBiPng) return QERR(keQuorErrFormatNotSupported);
    if (c > kBiAlphaBitfields) return Fail();
    switch (info.bits) {
    case 1:
    case 2:
    case 4:
    case 8:
        if (c != kBiRgb && !(c == kBiRle8 && info.bits == 8) && !(c == kBiRle4 && info.bits == 4)) return Fail();
        break;
    case 16:
    case 24:
    case 32:
        if (c == kBiRle8 || c == kBiRle4 || (info.bits == 24 && c != kBiRgb)) return Fail();
        break;
    case 64: return QERR(keQuorErrFormatNotSupported);
    default: return Fail();
    }
    if ((c == kBiRle8 || c == kBiRle4) && info.height < 0) return Fail();

    size_t after = kFileHeader + hs;
    if (c == kBiBitfields || c == kBiAlphaBitfields) {
        if (hs >= 52) {
            for (int i = 0; i < (hs >= 56 ? 4 : 3); ++i) info.masks[i] = Rd32(h + 40 + 4 * i);
        } else {
            const int count = c == kBiAlphaBitfields ? 4 : 3;
            if (after + 4 * size_t(count) > n) return Fail();
            for (int i = 0; i < count; ++i) info.masks[i] = Rd32(f + after + 4 * i);
            after += 4 * size_t(count);
        }
        if (!info.masks[0] || !info.masks[1] || !info.masks[2]) return Fail();
    } else if (info.bits == 16) {
        info.masks[0] = 0x7C00;
        info.masks[1] = 0x03E0;
        info.masks[2] = 0x001F;
    } else if (info.bits == 32) {
        info.masks[0] = 0x00FF0000;
        info.masks[1] = 0x0000FF00;
        info.masks[2] = 0x000000FF;
    }
    if (info.bits == 16)
        for (uint32_t& m : info.masks)
            if (m > 0xFFFF) return Fail();

    info.paletteStart = after;
    int64_t declared = clrUsed ? int64_t(clrUsed) : (info.bits <= 8 ? int64_t(1) << info.bits : 0);
    // Entries beyond what indices reach are ignored, but not in absurd numbers.
    if (clrUsed > 65536) return Fail();
    // A pixel offset inside the palette shortens it.
    if (offBits >= after && offBits < after + size_t(declared) * size_t(info.paletteEntry))
        declared = int64_t((offBits - after) / size_t(info.paletteEntry));
    if (after + size_t(declared) * size_t(info.paletteEntry) > n) return Fail();
    info.paletteCount = static_cast<int>(std::min<int64_t>(declared, info.bits <= 8 ? int64_t(1) << info.bits : 0));
    if (info.bits <= 8 && info.paletteCount == 0) return Fail();
    const size_t paletteEnd = after + size_t(declared) * size_t(info.paletteEntry);
    info.pixels = offBits ? offBits : paletteEnd;
    if (info.pixels < kFileHeader + hs || info.pixels > n) return Fail();
    if (sizeImage > n - info.pixels) return Fail();
    return CErrorAutoThrow();
}

// Output pixel layout of the packed bitmap.
struct SOut {
    int bits = 0;
    size_t stride = 0;
    uint8_t* rows = nullptr;  // row 0 is the bottom row
    int width = 0, height = 0;
    uint8_t* Row(int fromTop) const noexcept { return rows + size_t(height - 1 - fromTop) * stride; }
};

void PutIndex(uint8_t* row, int bits, int x, uint32_t v) noexcept {
    if (bits == 8) row[x] = static_cast<uint8_t>(v);
    else if (bits == 4)
        row[x >> 1] = static_cast<uint8_t>((row[x >> 1] & ((x & 1) ? 0xF0 : 0x0F)) | (v & 15) << ((x & 1) ? 0 : 4));
    else row[x >> 3] = static_cast<uint8_t>((row[x >> 3] & ~(0x80 >> (x & 7))) | ((v & 1) << (7 - (x & 7))));
}

// Indices and bit fields of uncompressed rows. Indices beyond the palette make the file corrupt.
CErrorAutoThrow DecodeRows(const uint8_t* f, size_t n, const SBmpInfo& info, const SOut& out) {
    const size_t inStride = QGDI_DibStride(static_cast<int>(info.bits), out.width);
    if (inStride == 0 || size_t(out.height) > (n - info.pixels) / inStride) return Fail();
    SField fields[4];
    for (int i = 0; i < 4; ++i)
        if (!MakeField(info.masks[i], fields[i])) return Fail();
    const bool topDown = info.height < 0;
    const uint32_t limit = static_cast<uint32_t>(info.paletteCount);
    for (int y = 0; y < out.height; ++y) {
        const uint8_t* in = f + info.pixels + size_t(topDown ? y : out.height - 1 - y) * inStride;
        uint8_t* row = out.Row(y);
        switch (info.bits) {
        case 1:
        case 2:
        case 4:
        case 8:
            for (int x = 0; x < out.width; ++x) {
                const size_t bit = size_t(x) * info.bits;
                const uint32_t v = (in[bit >> 3] >> (8 - info.bits - (bit & 7))) & ((1u << info.bits) - 1);
                if (v >= limit) return Fail();
                PutIndex(row, out.bits, x, v);
            }
            break;
        case 24: std::memcpy(row, in, size_t(out.width) * 3); break;
        default:
            for (int x = 0; x < out.width; ++x) {
                const uint32_t px = info.bits == 16 ? Rd16(in + 2 * size_t(x)) : Rd32(in + 4 * size_t(x));
                uint8_t* o = row + size_t(x) * (out.bits / 8);
                o[0] = Expand(px, fields[2]);
                o[1] = Expand(px, fields[1]);
                o[2] = Expand(px, fields[0]);
                if (out.bits == 32) o[3] = Expand(px, fields[3]);
            }
            break;
        }
    }
    return CErrorAutoThrow();
}

// RLE8 and RLE4: runs, literal runs, end of line, end of bitmap and delta
// moves, bottom row first. Anything that would leave the image is corrupt;
// pixels the stream never reaches keep index 0.
CErrorAutoThrow DecodeRle(const uint8_t* f, size_t n, const SBmpInfo& info, const SOut& out) {
    const bool four = info.compression == kBiRle4;
    const uint32_t limit = static_cast<uint32_t>(info.paletteCount);
    size_t i = info.pixels;
    int x = 0, y = 0;  // y counts from the bottom
    auto put = [&](uint32_t v) -> bool {
        if (x >= out.width || y >= out.height || v >= limit) return false;
        PutIndex(out.Row(out.height - 1 - y), out.bits, x++, v);
        return true;
    };
    while (i + 1 < n) {
        const uint32_t count = f[i], value = f[i + 1];
        i += 2;
        if (count) {
            for (uint32_t k = 0; k < count; ++k)
                if (!put(four ? ((k & 1) ? value & 15 : value >> 4) : value)) return Fail();
            continue;
        }
        if (value == 0) {
            x = 0;
            ++y;
        } else if (value == 1) {
            return CErrorAutoThrow();
        } else if (value == 2) {
            if (i + 1 >= n) return Fail();
            x += f[i];
            y += f[i + 1];
            i += 2;
            if (x > out.width || y > out.height) return Fail();
        } else {
            const size_t bytes = four ? (value + 1) / 2 : value;
            if (i + bytes > n) return Fail();
            for (uint32_t k = 0; k < value; ++k) {
                const uint8_t b = f[i + (four ? k / 2 : k)];
                if (!put(four ? ((k & 1) ? b & 15 : b >> 4) : b)) return Fail();
            }
            i += (bytes + 1) & ~size_t(1);
        }
    }
    // A stream that ends without its end marker leaves the rest at index 0.
    return CErrorAutoThrow();
}

}  // namespace

CErrorAutoThrow QGDI_BmpToPackedDIB(const void* file, size_t bytes, CQmmBinPtr& dib) {
    dib.Release();
    if (!file) return Fail();
    const auto* f = static_cast<const uint8_t*>(file);
    SBmpInfo info;
    QGDI_TRY(ParseHeaders(f, bytes, info));
    const int64_t height = info.height < 0 ? -info.height : info.height;
    const bool indexed = info.bits <= 8;
    const bool alpha = !indexed && info.bits != 24 && info.masks[3] != 0;
    SOut out;
    out.width = static_cast<int>(info.width);
    out.height = static_cast<int>(height);
    out.bits = indexed ? (info.bits == 2 ? 4 : static_cast<int>(info.bits)) : alpha ? 32 : 24;
    out.stride = QGDI_DibStride(out.bits, out.width);
    const bool compressed = info.compression == kBiRle8 || info.compression == kBiRle4;
    // Compressed rows are bounded by what the stream can encode, others by the file.
    const size_t available = bytes - info.pixels;
    if (compressed && uint64_t(out.width) * uint64_t(height) > uint64_t(available) * 16384 + 65536) return Fail();
    if (!compressed) {
        const size_t inStride = QGDI_DibStride(static_cast<int>(info.bits), out.width);
        if (size_t(height) > available / inStride) return Fail();
    }
    const int slots = indexed ? info.paletteCount : 0;
    const size_t pixelBytes = out.stride * size_t(height);
    const size_t total = sizeof(BITMAPINFOHEADER) + 4 * size_t(slots) + pixelBytes;
    if (pixelBytes / out.stride != size_t(height) || total > QMM_MAX_BLOCK) return QERR(keQuorErrOutOfMemory);
    CQmmBinPtr block = CQmmBinPtr::Adopt(_QMM_AllocEX(total, GHND, QMM_HERE));
    if (!block) return QERR(keQuorErrOutOfMemory);
    CLockAccessor lock(block);
    auto* p = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
    if (!p) return QERR(keQuorErrOutOfMemory);
    const BITMAPINFOHEADER h = QGDI_MakeDibHeader(out.width, out.height, out.bits, slots);
    std::memcpy(p, &h, sizeof h);
    for (int i = 0; i < slots; ++i) {
        const uint8_t* e = f + info.paletteStart + size_t(i) * size_t(info.paletteEntry);
        const RGBQUAD q{e[0], e[1], e[2], 0};
        std::memcpy(p + sizeof h + 4 * size_t(i), &q, 4);
    }
    out.rows = p + sizeof h + 4 * size_t(slots);
    QGDI_TRY(compressed ? DecodeRle(f, bytes, info, out) : DecodeRows(f, bytes, info, out));
    lock.Unlock(QMM_HERE);
    dib = std::move(block);
    return CErrorAutoThrow();
}

CErrorAutoThrow QGDI_ReadBmp(const void* file, size_t bytes, CDibIterator& it) {
    if (it.IsAttached()) return QERR(keQuorErrIteratorState);
    CQmmBinPtr dib;
    QGDI_TRY(QGDI_BmpToPackedDIB(file, bytes, dib));
    return it.Attach(dib.p);
}

namespace {
bool ReadWholeFile(const char* path, std::vector<uint8_t>& data) {
    std::unique_ptr<FILE, int (*)(FILE*)> fp(std::fopen(path, "rb"), &std::fclose);
    if (!fp) return false;
    uint8_t buffer[65536];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, fp.get())) > 0) data.insert(data.end(), buffer, buffer + got);
    return !std::ferror(fp.get());
}
}  // namespace

CErrorAutoThrow QGDI_ReadBmpFile(const char* path, CDibIterator& it) {
    if (it.IsAttached()) return QERR(keQuorErrIteratorState);
    std::vector<uint8_t> data;
    if (!path || !ReadWholeFile(path, data)) return Fail();
    return QGDI_ReadBmp(data.data(), data.size(), it);
}

CErrorAutoThrow QGDI_PackedDIBToBmp(IBinAccessor* dib, std::vector<uint8_t>& file) {
    if (!dib) return Fail();
    CLockAccessor lock(dib);
    const auto* p = static_cast<const uint8_t*>(lock.Lock(QMM_HERE));
    if (!p) return QERR(keQuorErrOutOfMemory);
    const size_t length = lock.Length();
    if (length < sizeof(BITMAPINFOHEADER)) return Fail();
    BITMAPINFOHEADER h;
    std::memcpy(&h, p, sizeof h);
    const int bits = h.biBitCount;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return QERR(keQuorErrFormatNotSupported);
    if (h.biWidth <= 0 || h.biHeight == 0 || h.biClrUsed > 256 || h.biCompression != BI_RGB) return Fail();
    const size_t slots = h.biClrUsed ? h.biClrUsed : (bits <= 8 ? size_t(1) << bits : 0);
    const size_t height = size_t(h.biHeight < 0 ? -int64_t(h.biHeight) : h.biHeight);
    const size_t stride = QGDI_DibStride(bits, h.biWidth);
    const size_t palette = 4 * slots;
    if (sizeof h + palette > length || height > (length - sizeof h - palette) / stride) return Fail();
    // 32-bit pixels carry alpha: a V4 header with bit-field masks says so.
    const size_t headerSize = bits == 32 ? 108 : 40;
    const size_t offset = kFileHeader + headerSize + palette;
    const size_t pixels = stride * height;
    if (offset + pixels > UINT32_MAX) return Fail();
    try {
        file.assign(offset + pixels, 0);
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    }
    uint8_t* o = file.data();
    o[0] = 'B';
    o[1] = 'M';
    Wr32(o + 2, static_cast<uint32_t>(file.size()));
    Wr32(o + 10, static_cast<uint32_t>(offset));
    uint8_t* hh = o + kFileHeader;
    Wr32(hh, static_cast<uint32_t>(headerSize));
    Wr32(hh + 4, static_cast<uint32_t>(h.biWidth));
    Wr32(hh + 8, static_cast<uint32_t>(h.biHeight));
    Wr16(hh + 12, 1);
    Wr16(hh + 14, static_cast<uint32_t>(bits));
    Wr32(hh + 16, bits == 32 ? kBiBitfields : kBiRgb);
    Wr32(hh + 20, static_cast<uint32_t>(pixels));
    Wr32(hh + 24, 2835);
    Wr32(hh + 28, 2835);
    Wr32(hh + 32, static_cast<uint32_t>(h.biClrUsed));
    if (bits == 32) {
        Wr32(hh + 40, 0x00FF0000);
        Wr32(hh + 44, 0x0000FF00);
        Wr32(hh + 48, 0x000000FF);
        Wr32(hh + 52, 0xFF000000);
        Wr32(hh + 56, 0x73524742);  // 'sRGB'
    }
    std::memcpy(o + kFileHeader + headerSize, p + sizeof h, palette);
    std::memcpy(o + offset, p + sizeof h + palette, pixels);
    return CErrorAutoThrow();
}

CErrorAutoThrow QGDI_WriteBmp(const CRowIterator& it, std::vector<uint8_t>& file) {
    if (!it.IsAttached()) return QERR(keQuorErrIteratorState);
    const EQPixelFormat f = it.GetPixelFormat();
    if (f != keFormatIndex1 && f != keFormatIndex4 && f != keFormatIndex8 && f != keFormatGrey && f != keFormatBGR &&
        f != keFormatBGRA)
        return QERR(keQuorErrFormatNotSupported);
    CQmmBinPtr dib;
    QGDI_TRY(it.CopyToDIB(dib));
    return QGDI_PackedDIBToBmp(dib, file);
}

CErrorAutoThrow QGDI_WriteBmpFile(const CRowIterator& it, const char* path) {
    std::vector<uint8_t> data;
    QGDI_TRY(QGDI_WriteBmp(it, data));
    std::unique_ptr<FILE, int (*)(FILE*)> fp(path ? std::fopen(path, "wb") : nullptr, &std::fclose);
    if (!fp || std::fwrite(data.data(), 1, data.size(), fp.get()) != data.size()) return Fail();
    return CErrorAutoThrow();
}
