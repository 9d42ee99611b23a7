// Bilevel error diffusion over 8-bit greys. Every sum written into the working
// rows is clamped to lo..hi (the darkest and lightest grey of the source's
// palette), so the working values stay bytes and the errors stay within
// ±(hi - lo).
#include "qdibcore/Source/Dith2.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/StatusControl.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/palettefunctions.h"

namespace {

constexpr uint8_t kToneMiddle[] = {
    2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  16,  17,  18,  19,  20,  21,  22,  23,  24,
    25,  26,  27,  28,  29,  30,  31,  32,  32,  33,  34,  35,  35,  36,  37,  39,  39,  40,  41,  42,  43,  44,  45,
    46,  47,  47,  48,  49,  50,  51,  52,  53,  54,  55,  56,  57,  58,  58,  59,  60,  62,  62,  63,  64,  65,  66,
    67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77,  78,  80,  81,  82,  83,  85,  86,  87,  88,  89,  90,  91,
    93,  94,  95,  96,  97,  99,  100, 101, 102, 103, 105, 106, 107, 108, 110, 112, 114, 115, 116, 118, 120, 122, 124,
    126, 128, 130, 132, 134, 136, 138, 140, 143, 145, 147, 149, 152, 154, 156, 159, 161, 164, 166, 169, 171, 174, 176,
    178, 179, 181, 183, 185, 186, 188, 189, 190, 192, 194, 196, 198, 200, 202, 204, 206, 208, 210, 212, 214, 217, 219,
    221, 224, 227, 230, 232, 235, 237, 239, 242, 245, 248, 251,
};
static_assert(std::size(kToneMiddle) == 212 - 39, "entries 39 to 211");

constexpr std::array<uint8_t, 256> kTone = [] {
    std::array<uint8_t, 256> t{};
    for (int i = 0; i < 256; ++i) t[size_t(i)] = i < 39 ? 1 : i < 212 ? kToneMiddle[i - 39] : 254;
    return t;
}();

struct SRange {
    int lo, hi;
    int Clamp(int v) const noexcept { return v < lo ? lo : v > hi ? hi : v; }
};

// Packs one row of bits, most significant first.
inline void PackBits(const uint8_t* bits, int width, uint8_t* out) noexcept {
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        uint8_t b = 0;
        for (int k = 0; k < 8; ++k) b = uint8_t(b << 1 | bits[x + k]);
        *out++ = b;
    }
    if (x < width) {
        uint8_t b = 0;
        int k = 0;
        for (; x < width; ++x, ++k) b = uint8_t(b << 1 | bits[x]);
        *out = uint8_t(b << (8 - k));
    }
}

// Floyd-Steinberg shares as functions of the value: with lo, hi and the
// threshold fixed for the image, the error of a value v is fixed too, so the
// bit and the four shares come from tables of 256 entries and the chain that
// carries the right-hand share from pixel to pixel is a load, an add and a clamp.
struct SFloydTables {
    int32_t right[256], below[256], belowRight[256], belowLeft[256];
    uint8_t bit[256];
    SFloydTables(int threshold, int lo, int hi) {
        for (int v = 0; v < 256; ++v) {
            const int b = v > threshold;
            const int e = v - (b ? hi : lo);
            bit[v] = uint8_t(b);
            right[v] = e * 7 / 16;
            below[v] = e * 5 / 16;
            belowRight[v] = e / 16;
            belowLeft[v] = e * 3 / 16;
        }
    }
};

// Floyd-Steinberg over a row that has a next row. The next-row cells x-1, x,
// x+1 that pixel x touches are carried in registers: cell x-1 is final once
// pixel x has given its below-left share.
void RowFloydSteinberg(uint8_t* cur, uint8_t* nxt, uint8_t* bits, int width, const SFloydTables& t,
                       SRange r) noexcept {
    int v = cur[0];
    if (width == 1) {
        bits[0] = t.bit[v];
        nxt[0] = uint8_t(r.Clamp(nxt[0] + t.below[v]));
        return;
    }
    // Pixel 0 has no below-left neighbour.
    bits[0] = t.bit[v];
    int nPrev = r.Clamp(nxt[0] + t.below[v]);  // cell x-1 of the next row
    int nCur = r.Clamp(nxt[1] + t.belowRight[v]);  // cell x
    v = r.Clamp(cur[1] + t.right[v]);
    for (int x = 1; x < width - 1; ++x) {
        bits[x] = t.bit[v];
        const int sv = v;
        v = r.Clamp(cur[x + 1] + t.right[sv]);
        nxt[x - 1] = uint8_t(r.Clamp(nPrev + t.belowLeft[sv]));
        nPrev = r.Clamp(nCur + t.below[sv]);
        nCur = r.Clamp(nxt[x + 1] + t.belowRight[sv]);
    }
    const int x = width - 1;
    bits[x] = t.bit[v];
    nxt[x - 1] = uint8_t(r.Clamp(nPrev + t.belowLeft[v]));
    nxt[x] = uint8_t(r.Clamp(nCur + t.below[v]));
}

// Every kernel, one pixel at a time with the edge tests; n1 and n2 are the
// next rows (null when they do not exist).
void RowGeneric(int kernel, uint8_t* cur, uint8_t* n1, uint8_t* n2, uint8_t* bits, int width, int threshold,
                SRange r) noexcept {
    const auto add = [&](uint8_t* row, int x, int share) {
        if (row && x < width) row[x] = uint8_t(r.Clamp(row[x] + share));
    };
    for (int x = 0; x < width; ++x) {
        const int v = cur[x];
        const int bit = v > threshold;
        const int e = v - (bit ? r.hi : r.lo);
        bits[x] = uint8_t(bit);
        switch (kernel) {
        case keDither2FloydSteinberg:
            add(cur, x + 1, e * 7 / 16);
            add(n1, x, e * 5 / 16);
            add(n1, x + 1, e / 16);
            if (x >= 1) add(n1, x - 1, e * 3 / 16);
            break;
        case keDither2Burkes:
            add(cur, x + 1, (e * 8) >> 5);
            add(cur, x + 2, (e * 4) >> 5);
            add(n1, x, (e * 8) >> 5);
            add(n1, x + 2, (e * 2) >> 5);
            add(n1, x + 1, (e * 4) >> 5);
            if (x >= 1) add(n1, x - 1, (e * 4) >> 5);
            if (x >= 2) add(n1, x - 2, 0);  // re-clamped, no share
            break;
        case keDither2Stucki:
            add(cur, x + 1, 8 * e / 42);
            add(cur, x + 2, 4 * e / 42);
            add(n1, x, 8 * e / 42);
            add(n1, x + 2, 2 * e / 42);
            add(n1, x + 1, 4 * e / 42);
            if (x >= 2) add(n1, x - 1, 4 * e / 42);
            if (x >= 3) add(n1, x - 2, 2 * e / 42);
            add(n2, x, 4 * e / 42);
            add(n2, x + 2, 1 * e / 42);
            add(n2, x + 1, 2 * e / 42);
            if (x >= 2) add(n2, x - 1, 2 * e / 42);
            if (x >= 3) add(n2, x - 2, 1 * e / 42);
            break;
        default:
            break;
        }
    }
}

// Greys of one source row into `out`, through `view` (presented as Index8 for
// paletted sources, BGR otherwise).
CErrorAutoThrow LoadRow(const CRowIterator& view, int y, bool paletted, const uint8_t* greyOfIndex, int greyMode,
                        const uint8_t* tone, uint8_t* out) {
    const uint8_t* row = nullptr;
    QGDI_TRY(view.GetRow(row, y));
    const int w = view.GetWidth();
    if (paletted) {
        for (int x = 0; x < w; ++x) out[x] = greyOfIndex[row[x]];
    } else {
        switch (greyMode) {
        case keDither2GreyRed:
            for (int x = 0; x < w; ++x) out[x] = row[3 * x + 2];
            break;
        case keDither2GreyGreen:
            for (int x = 0; x < w; ++x) out[x] = row[3 * x + 1];
            break;
        case keDither2GreyBlue:
            for (int x = 0; x < w; ++x) out[x] = row[3 * x];
            break;
        default:  // pixels weigh red 30, green 59, blue 11
            for (int x = 0; x < w; ++x)
                out[x] = uint8_t((30 * row[3 * x + 2] + 59 * row[3 * x + 1] + 11 * row[3 * x]) / 100);
            break;
        }
        if (tone)
            for (int x = 0; x < w; ++x) out[x] = tone[out[x]];
    }
    return view.ReleaseRow(y);
}

}  // namespace

const uint8_t* Dither2ToneTable() noexcept { return kTone.data(); }

CErrorAutoThrow Dither2(CStatusControl* status, const CRowIterator& src, CRowIterator& dst, uint8_t kernel,
                        uint8_t greyMode, uint8_t tone) {
    if (!src.IsAttached()) return QERR(keQuorErrIteratorState);
    const int w = src.GetWidth(), h = src.GetHeight();
    const RGBQUAD* bw = QPalette_PaletteGetBW();
    if (!dst.IsAttached()) {
        QGDI_TRY(dst.CreateIndexed(w, h, 1, bw, 2));
    } else if (dst.GetPixelFormat() != keFormatIndex1 || dst.GetWidth() != w || dst.GetHeight() != h ||
               dst.GetPixelOffset() != 0) {
        return QERR(keQuorErrFormatNotSupported);
    } else {
        QGDI_TRY(dst.SetPalette(bw, 2));
    }
    if (w <= 0 || h <= 0) return CErrorAutoThrow();

    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        const CQPixelFormat pf(src.GetPixelFormat());
        // Indexed and 8-bit grey sources are read by index through their
        // palette; everything else is first reduced from 24-bit colour.
        const bool paletted = pf.IsIndexedColor() || pf.Get() == keFormatGrey;
        CRowIterator view;
        QGDI_TRY(view.Attach(src));
        if (paletted) {
            if (pf.Get() != keFormatIndex8 && pf.Get() != keFormatGrey)
                QGDI_TRY(view.SetPixelFormat(pf.Get() == keFormatIndex8A ? keFormatIndex8A : keFormatIndex8,
                                             keImageModifyReadOnly));
            if (pf.Get() == keFormatIndex8A) return QERR(keQuorErrFormatNotSupported);
        } else {
            QGDI_TRY(view.SetPixelFormat(keFormatBGR, keImageModifyReadOnly));
        }

        // Grey of each palette entry. Palette entries weigh byte 0 (blue) 30
        // and byte 2 (red) 11: the reverse of the pixel path, kept as the
        // files made with it expect.
        uint8_t greyOfIndex[256] = {};
        int lo = 255, hi = 0;
        const RGBQUAD* pal = paletted ? src.GetPalette() : QPalette_PaletteGetGreyscale();
        const int count = paletted ? (pal ? std::min(src.GetPaletteCount(), 256) : 0) : 256;
        for (int i = 0; i < count; ++i) {
            const auto* e = reinterpret_cast<const uint8_t*>(pal + i);
            int g = greyMode == keDither2GreyLuminance ? (30 * e[0] + 59 * e[1] + 11 * e[2]) / 100 : e[2];
            if (tone) g = kTone[size_t(g)];
            greyOfIndex[i] = uint8_t(g);
            lo = std::min(lo, g);
            hi = std::max(hi, g);
        }
        const bool empty = count == 0;
        const SRange range{empty ? 0 : lo, empty ? 0 : hi};
        const int threshold = (lo + hi) / 2;
        const SFloydTables floyd(threshold, range.lo, range.hi);
        const uint8_t* toneTable = tone && !paletted ? kTone.data() : nullptr;

        const int rows = kernel == keDither2Stucki ? 3 : 2;
        std::vector<uint8_t> work(size_t(w) * 3 + 16), bits(size_t(w) + 8);
        uint8_t* line[3] = {work.data(), work.data() + w, work.data() + 2 * w};
        for (int k = 0; k < rows && h - 1 - k >= 0; ++k)
            QGDI_TRY(LoadRow(view, h - 1 - k, paletted, greyOfIndex, greyMode, toneTable, line[k]));
        if (status) status->SetProgressRange(uint64_t(h));

        for (int y = h - 1, done = 1; y >= 0; --y, ++done) {
            uint8_t* n1 = y >= 1 ? line[1] : nullptr;
            uint8_t* n2 = rows == 3 && y >= 2 ? line[2] : nullptr;
            if (empty) std::fill(bits.begin(), bits.end(), 0);
            else if (kernel == keDither2FloydSteinberg && n1)
                RowFloydSteinberg(line[0], n1, bits.data(), w, floyd, range);
            else
                RowGeneric(kernel, line[0], n1, n2, bits.data(), w, threshold, range);
            uint8_t* out = nullptr;
            QGDI_TRY(dst.GetRow(out, y));
            PackBits(bits.data(), w, out);
            QGDI_TRY(dst.ReleaseRow(y));
            // The rows move up; the freed one takes the row `rows` above.
            std::rotate(line, line + 1, line + rows);
            if (y - rows >= 0) QGDI_TRY(LoadRow(view, y - rows, paletted, greyOfIndex, greyMode, toneTable, line[rows - 1]));
            if (status && status->SetProgress(uint64_t(done))) return QERR(keQuorErrCancelled);
        }
        return CErrorAutoThrow();
    });
}
