#include "qdibcore/Source/palettefunctions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/QPalette.h"
#include "qdibcore/Source/internal/ResultTry.h"

namespace {

constexpr RGBQUAD Rgb(int r, int g, int b) noexcept {
    return RGBQUAD{static_cast<BYTE>(b), static_cast<BYTE>(g), static_cast<BYTE>(r), 0};
}

constexpr RGBQUAD kBW[2] = {Rgb(0, 0, 0), Rgb(255, 255, 255)};

constexpr RGBQUAD kVGA16[16] = {
    Rgb(0, 0, 0),       Rgb(128, 0, 0),   Rgb(0, 128, 0),   Rgb(128, 128, 0), Rgb(0, 0, 128),   Rgb(128, 0, 128),
    Rgb(0, 128, 128),   Rgb(192, 192, 192), Rgb(128, 128, 128), Rgb(255, 0, 0), Rgb(0, 255, 0), Rgb(255, 255, 0),
    Rgb(0, 0, 255),     Rgb(255, 0, 255), Rgb(0, 255, 255), Rgb(255, 255, 255),
};

// Levels descend from white, so entry 0 is white and 215 would be black; the
// table keeps black only at 255 and white everywhere from 215 to 254.
constexpr std::array<RGBQUAD, 256> kNetscape = [] {
    constexpr int L[6] = {255, 204, 153, 102, 51, 0};
    std::array<RGBQUAD, 256> t{};
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b) t[size_t(36 * r + 6 * g + b)] = Rgb(L[r], L[g], L[b]);
    for (int i = 215; i < 255; ++i) t[size_t(i)] = Rgb(255, 255, 255);
    t[255] = Rgb(0, 0, 0);
    return t;
}();

// Red fastest: the index of a colour is r + 6g + 36b of its levels, which the
// fast cube dither computes directly.
constexpr std::array<RGBQUAD, 256> kQuick8 = [] {
    std::array<RGBQUAD, 256> t{};
    for (int b = 0; b < 6; ++b)
        for (int g = 0; g < 6; ++g)
            for (int r = 0; r < 6; ++r) t[size_t(r + 6 * g + 36 * b)] = Rgb(51 * r, 51 * g, 51 * b);
    return t;
}();

template <size_t N>
const RGBQUAD* Give(const RGBQUAD (&table)[N], int* count) noexcept {
    if (count) *count = int(N);
    return table;
}
const RGBQUAD* Give(const std::array<RGBQUAD, 256>& table, int* count) noexcept {
    if (count) *count = 256;
    return table.data();
}

CQPalette* Wrap(const RGBQUAD* entries, int count) { return new (std::nothrow) CQPalette(entries, count); }

}  // namespace

const RGBQUAD* QPalette_PaletteGetBW(int* count) noexcept { return Give(kBW, count); }
const RGBQUAD* QPalette_PaletteGetVGA16(int* count) noexcept { return Give(kVGA16, count); }
const RGBQUAD* QPalette_PaletteGetNetscape(int* count) noexcept { return Give(kNetscape, count); }
const RGBQUAD* QPalette_PaletteGetQuick8(int* count) noexcept { return Give(kQuick8, count); }

const RGBQUAD* QPalette_PaletteGetGreyscale(int* count) noexcept {
    static const std::array<RGBQUAD, 256> grey = [] {
        std::array<RGBQUAD, 256> t{};
        for (int i = 0; i < 256; ++i) t[size_t(i)] = Rgb(i, i, i);
        return t;
    }();
    return Give(grey, count);
}

CQPalette* QPalette_PaletteCreateBW() { return Wrap(kBW, 2); }
CQPalette* QPalette_PaletteCreateVGA16() { return Wrap(kVGA16, 16); }
CQPalette* QPalette_PaletteCreateNetscape() { return Wrap(kNetscape.data(), 256); }
CQPalette* QPalette_PaletteCreateQuick8() { return Wrap(kQuick8.data(), 256); }
CQPalette* QPalette_PaletteCreateGreyscale() { return Wrap(QPalette_PaletteGetGreyscale(), 256); }

void MakeGammaLUT(uint8_t lut[256], double gamma) noexcept {
    const double inv = 1.0 / std::clamp(gamma, 0.25, 5.0);
    for (int i = 0; i < 256; ++i) {
        const double v = std::pow(i / 255.0, inv) * 255.9999;
        lut[i] = static_cast<uint8_t>(std::clamp(static_cast<int>(v), 0, 255));
    }
}

void MakeGammaLUT(uint16_t lut[65536], double gamma) noexcept {
    const double inv = 1.0 / std::clamp(gamma, 0.25, 5.0);
    for (int i = 0; i < 65536; ++i) {
        const double v = std::pow(i / 65535.0, inv) * 65535.9999;
        lut[i] = static_cast<uint16_t>(std::clamp(static_cast<int>(v), 0, 65535));
    }
}

CErrorAutoThrow CountColorsUsed(const CRowIterator& image, int& count, CStatusControl*) {
    count = 0;
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    const CQPixelFormat pf(image.GetPixelFormat());
    const int w = image.GetWidth(), h = image.GetHeight();
    return qgdi::result::FromExceptions([&]() -> CErrorAutoThrow {
        if (pf.IsIndexedColor()) {
            // Indices come unpacked as bytes through an Index8 view of the same pixels.
            CRowIterator view;
            QGDI_TRY(view.Attach(image));
            QGDI_TRY(view.SetPixelFormat(pf.Get() == keFormatIndex8A ? keFormatIndex8A : keFormatIndex8,
                                         keImageModifyReadOnly));
            const int step = pf.Get() == keFormatIndex8A ? 2 : 1;
            bool used[256] = {};
            for (int y = 0; y < h; ++y) {
                const uint8_t* row = nullptr;
                QGDI_TRY(view.GetRow(row, y));
                for (int x = 0; x < w; ++x) used[row[x * step]] = true;
                view.ReleaseRow(y).Ignore();
            }
            count = static_cast<int>(std::count(std::begin(used), std::end(used), true));
            return CErrorAutoThrow();
        }
        CRowIterator view;
        QGDI_TRY(view.Attach(image));
        const bool alpha = pf.IsAlphaChannelPresent();
        QGDI_TRY(view.SetPixelFormat(keFormatBGRA, keImageModifyReadOnly));
        if (!alpha) {
            std::vector<uint64_t> bits(size_t(1) << 18, 0);  // one bit per 24-bit colour
            for (int y = 0; y < h; ++y) {
                const uint8_t* row = nullptr;
                QGDI_TRY(view.GetRow(row, y));
                for (int x = 0; x < w; ++x) {
                    const uint32_t c = row[4 * x] | uint32_t(row[4 * x + 1]) << 8 | uint32_t(row[4 * x + 2]) << 16;
                    bits[c >> 6] |= uint64_t{1} << (c & 63);
                }
                view.ReleaseRow(y).Ignore();
            }
            size_t n = 0;
            for (uint64_t b : bits) n += size_t(__builtin_popcountll(b));
            count = static_cast<int>(n);
            return CErrorAutoThrow();
        }
        std::vector<uint32_t> colours;
        colours.reserve(size_t(w) * size_t(h));
        for (int y = 0; y < h; ++y) {
            const uint8_t* row = nullptr;
            QGDI_TRY(view.GetRow(row, y));
            for (int x = 0; x < w; ++x) {
                uint32_t c;
                std::memcpy(&c, row + 4 * x, 4);
                colours.push_back(c);
            }
            view.ReleaseRow(y).Ignore();
        }
        std::sort(colours.begin(), colours.end());
        count = static_cast<int>(std::unique(colours.begin(), colours.end()) - colours.begin());
        return CErrorAutoThrow();
    });
}

CErrorAutoThrow IncreaseMaxColors(CRowIterator& image, int colours) {
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    const EQPixelFormat format = image.GetNativeFormat();
    if (colours < 1 || colours > 256 || !CQPixelFormat(format).IsIndexedColor()) return QERR(keQuorErrFailed);
    RGBQUAD palette[256] = {};
    const int old = std::min(image.GetPaletteCount(), 256);
    if (old > 0) std::memcpy(palette, image.GetPalette(), sizeof(RGBQUAD) * size_t(old));
    const int count = std::max(old, colours);
    const int bits = CQPixelFormat(format).GetBitsPerPixel();
    const int needBits = colours <= 2 ? 1 : colours <= 16 ? 4 : 8;
    if (format == keFormatIndex8A || needBits <= bits) return image.SetPalette(palette, count);
    // Deeper pixels: the indices are copied through an Index8 view of the old image.
    CRowIterator deeper;
    QGDI_TRY(deeper.CreateIndexed(image.GetWidth(), image.GetHeight(), needBits, palette, count));
    CRowIterator view;
    QGDI_TRY(view.Attach(image));
    QGDI_TRY(view.SetPixelFormat(keFormatIndex8, keImageModifyReadOnly));
    QGDI_TRY(deeper.SetPixelFormat(keFormatIndex8, keImageModifyWriteOnly));
    for (int y = 0; y < image.GetHeight(); ++y) {
        const uint8_t* src = nullptr;
        uint8_t* dst = nullptr;
        QGDI_TRY(view.GetRow(src, y));
        if (CErrorAutoThrow r = deeper.GetRow(dst, y); r.IsError()) {
            view.ReleaseRow(y).Ignore();
            return r;
        }
        std::memcpy(dst, src, size_t(image.GetWidth()));
        deeper.ReleaseRow(y).Ignore();
        view.ReleaseRow(y).Ignore();
    }
    view.Detach().Ignore();
    QGDI_TRY(deeper.SetPixelFormat(deeper.GetNativeFormat(), keImageModifyReadWrite));
    QGDI_TRY(image.Detach());
    return image.Consume(deeper);
}
