#pragma once
// Images for the effect tests: PNG files read into 8-bit BGRA, synthetic
// images, and the premultiplied difference between two images.
#include <png.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qgdi.h"

namespace effects_test {

inline std::string DataPath(const std::string& name) {
    return std::string(QGDI_SOURCE_DIR) + "/tests/effects/data/" + name;
}

// A PNG as straight BGRA; null when it cannot be read.
inline std::unique_ptr<CRowIterator> LoadPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return nullptr;
    image.format = PNG_FORMAT_BGRA;
    std::vector<uint8_t> px(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, px.data(), 0, nullptr)) return nullptr;
    auto it = std::make_unique<CRowIterator>();
    if (it->Create(static_cast<int>(image.width), static_cast<int>(image.height), keFormatBGRA).IsError()) return nullptr;
    for (int y = 0; y < static_cast<int>(image.height); ++y) {
        uint8_t* row = it->GetRow(y, 0, static_cast<int>(image.width));
        std::copy(px.begin() + y * image.width * 4, px.begin() + (y + 1) * image.width * 4, row);
        it->ReleaseRow(y).Ignore();
    }
    return it;
}

// A BGRA image whose pixel (x, y) is f(x, y) as 0xAARRGGBB.
inline std::unique_ptr<CRowIterator> MakeBGRA(int w, int h, const std::function<uint32_t(int, int)>& f) {
    auto it = std::make_unique<CRowIterator>();
    if (it->Create(w, h, keFormatBGRA).IsError()) return nullptr;
    for (int y = 0; y < h; ++y) {
        uint8_t* row = it->GetRow(y, 0, w);
        for (int x = 0; x < w; ++x) {
            const uint32_t v = f(x, y);
            for (int c = 0; c < 4; ++c) row[4 * x + c] = static_cast<uint8_t>(v >> (8 * c));
        }
        it->ReleaseRow(y).Ignore();
    }
    return it;
}

inline uint32_t Pixel(const CRowIterator& it, int x, int y) {
    const uint8_t* row = it.GetRow(y, x, 1);
    const uint32_t v = uint32_t(row[0]) | uint32_t(row[1]) << 8 | uint32_t(row[2]) << 16 | uint32_t(row[3]) << 24;
    it.ReleaseRow(y).Ignore();
    return v;
}

// Mean absolute difference per channel (blue, green, red, alpha) of the
// premultiplied colours: colour under faint alpha counts as little as it shows.
inline std::array<double, 4> MeanPremultipliedDifference(const CRowIterator& a, const CRowIterator& b) {
    std::array<double, 4> sum{};
    const int w = std::min(a.GetWidth(), b.GetWidth()), h = std::min(a.GetHeight(), b.GetHeight());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint32_t p = Pixel(a, x, y), q = Pixel(b, x, y);
            const int pa = p >> 24, qa = q >> 24;
            for (int c = 0; c < 3; ++c)
                sum[c] += std::abs(int((p >> (8 * c)) & 255) * pa / 255.0 - int((q >> (8 * c)) & 255) * qa / 255.0);
            sum[3] += std::abs(pa - qa);
        }
    for (double& s : sum) s /= std::max(1, w * h);
    return sum;
}

// Runs the effect over the whole of src into a new BGRA image.
inline CErrorAutoThrow RunEffect(CIoEffect& effect, const CRowIterator& src, CRowIterator& out,
                                 const CRowIterator* background = nullptr, CStatusControl* status = nullptr) {
    const CColorRef clear(0, 0, 0, 0);
    if (!out.IsAttached()) out.Create(src.GetWidth(), src.GetHeight(), keFormatBGRA, &clear).Ignore();
    CIoData data;
    data.pDst = &out;
    data.pSrc = &src;
    data.pBackground = background;
    data.rcDst = {0, 0, src.GetWidth(), src.GetHeight()};
    data.pStatus = status;
    return effect.Run(data);
}

}  // namespace effects_test
