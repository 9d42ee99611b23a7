#pragma once
// Scratch files, wide paths and small images for the palette tests.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "qgdi.h"

namespace palette_test {

// A scratch folder per test program, removed at exit.
inline const std::filesystem::path& ScratchDir() {
    static const struct SDir {
        std::filesystem::path path;
        SDir() {
            path = std::filesystem::temp_directory_path() / ("qgdi_palette_" + std::to_string(getpid()));
            std::filesystem::create_directories(path);
        }
        ~SDir() {
            std::error_code ec;
            std::filesystem::remove_all(path, ec);
        }
    } dir;
    return dir.path;
}

inline std::wstring Wide(const std::filesystem::path& p) {
    const std::string s = p.string();
    return std::wstring(s.begin(), s.end());
}

inline std::filesystem::path WriteBytes(const std::string& name, const std::string& bytes) {
    const auto path = ScratchDir() / name;
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
    return path;
}

inline std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline std::filesystem::path TestData(const std::string& relative) {
    return std::filesystem::path(QGDI_TESTDATA_DIR) / relative;
}

// An 8-bit paletted image carrying `palette`.
inline CRowIterator PalettedImage(const RGBQUAD* palette, int count, int width = 1, int height = 1) {
    CRowIterator it;
    EXPECT_FALSE(it.CreateIndexed(width, height, 8, palette, count).IsError());
    return it;
}

inline bool SameRgb(const RGBQUAD& a, const RGBQUAD& b) {
    return a.rgbRed == b.rgbRed && a.rgbGreen == b.rgbGreen && a.rgbBlue == b.rgbBlue;
}

}  // namespace palette_test
