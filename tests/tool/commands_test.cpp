// The tool's commands as a user runs them: output folders and PNG compression.
#include <gtest/gtest.h>

#include <filesystem>
#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

namespace {

namespace fs = std::filesystem;

// A fresh folder under the test's temporary directory, gone afterwards.
class ToolCommands : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = fs::path(::testing::TempDir()) /
                 ("qgdi-tool-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(m_root);
    }
    void TearDown() override { fs::remove_all(m_root); }

    fs::path m_root;
};

TEST_F(ToolCommands, DemoMakesItsFolderWithParents) {
    const fs::path dir = m_root / "a" / "b" / "out";
    ASSERT_EQ(QgdiCmdDemo({dir.string()}), 0);
    for (const char* name : {"qgdi-sample.png", "qgdi-sample.bmp", "qgdi-hue.png", "qgdi-turbulence.png"})
        EXPECT_TRUE(fs::is_regular_file(dir / name)) << name;
    // An existing folder is used as it is.
    EXPECT_EQ(QgdiCmdDemo({dir.string(), "--compression", "0"}), 0);
}

TEST_F(ToolCommands, DemoRefusesAFileInThePlaceOfItsFolder) {
    fs::create_directories(m_root);
    const fs::path file = m_root / "taken";
    std::ofstream(file) << "x";
    EXPECT_EQ(QgdiCmdDemo({file.string()}), 1);
    EXPECT_EQ(QgdiCmdDemo({(file / "below").string()}), 1);
}

TEST_F(ToolCommands, CompressionArgumentIsCheckedBeforeAnythingIsWritten) {
    const fs::path dir = m_root / "never";
    for (const char* bad : {"10", "-1", "x", "", "3.5", "09"}) {
        EXPECT_EQ(QgdiCmdDemo({dir.string(), "--compression", bad}), 2) << bad;
        EXPECT_EQ(QgdiCmdConvert({"-", (dir / "s.png").string(), "--compression", bad}), 2) << bad;
        int level = -7;
        EXPECT_FALSE(QgdiParseCompression(bad, level)) << bad;
        EXPECT_EQ(level, -7);
    }
    EXPECT_FALSE(fs::exists(dir));
    for (int level = kQgdiPngCompressionMin; level <= kQgdiPngCompressionMax; ++level) {
        int parsed = -1;
        EXPECT_TRUE(QgdiParseCompression(std::to_string(level), parsed));
        EXPECT_EQ(parsed, level);
    }
}

// Every level gives the same pixels back; the level only trades time for size.
TEST_F(ToolCommands, EveryCompressionLevelKeepsThePixels) {
    CRowIterator sample;
    ASSERT_FALSE(QgdiMakeSampleImage(sample, 200, 120).IsError());
    std::vector<size_t> sizes;
    for (int level = kQgdiPngCompressionMin; level <= kQgdiPngCompressionMax; ++level) {
        std::vector<uint8_t> file;
        std::string error;
        ASSERT_TRUE(QgdiWritePng(sample, file, error, level)) << error;
        std::unique_ptr<CRowIterator> back = QgdiReadPng(file.data(), file.size(), error);
        ASSERT_TRUE(back) << error;
        EXPECT_TRUE(back->IsEquivalent(sample)) << "level " << level;
        sizes.push_back(file.size());
    }
    // Level 0 only stores: larger than the raw pixels. Level 9 packs hardest.
    EXPECT_GT(sizes[0], size_t(200) * 120 * 4);
    EXPECT_LT(sizes[9], sizes[1]);
    EXPECT_LT(sizes[kQgdiPngCompressionDefault], sizes[0] / 4);
    std::vector<uint8_t> file;
    std::string error;
    for (int bad : {-1, 10}) {
        EXPECT_FALSE(QgdiWritePng(sample, file, error, bad));
        EXPECT_FALSE(error.empty());
    }
}

TEST_F(ToolCommands, ConvertWritesAtTheLevelAsked) {
    fs::create_directories(m_root);
    const fs::path stored = m_root / "stored.png", packed = m_root / "packed.png";
    ASSERT_EQ(QgdiCmdConvert({"-", stored.string(), "--compression", "0"}), 0);
    ASSERT_EQ(QgdiCmdConvert({"--compression", "9", "-", packed.string()}), 0);
    EXPECT_GT(fs::file_size(stored), 4 * fs::file_size(packed));
    std::string error;
    std::unique_ptr<CRowIterator> a = QgdiReadImage(stored.string(), error), b = QgdiReadImage(packed.string(), error);
    ASSERT_TRUE(a && b) << error;
    EXPECT_TRUE(a->IsEquivalent(*b));
}

}  // namespace

namespace {

// Every pixel of an image as BGRA bytes, row after row.
std::vector<uint8_t> Pixels(const CRowIterator& image) {
    EXPECT_FALSE(image.SetPixelFormat(keFormatBGRA, keImageModifyReadOnly).IsError());
    std::vector<uint8_t> out;
    for (int y = 0; y < image.GetHeight(); ++y) {
        const uint8_t* row = nullptr;
        if (image.GetRow(row, y).IsError() || !row) return {};
        out.insert(out.end(), row, row + size_t(image.GetWidth()) * 4);
        (void)image.ReleaseRow(y);
    }
    return out;
}

// Blending the sample under a top of opacity 0 gives the sample back; a
// placed, weakened multiply changes only the covered rectangle; bad
// modes and files stop with 1 before anything is written.
TEST_F(ToolCommands, BlendPlacesTheTopImageInAnyMode) {
    fs::create_directories(m_root);
    CRowIterator sample, top;
    ASSERT_FALSE(QgdiMakeSampleImage(sample, 64, 48).IsError());
    ASSERT_FALSE(QgdiMakeSampleImage(top, 16, 8).IsError());
    const std::string bottom = (m_root / "bottom.png").string(), topFile = (m_root / "top.png").string();
    std::string error, note;
    ASSERT_TRUE(QgdiWriteImage(bottom, sample, error, note));
    ASSERT_TRUE(QgdiWriteImage(topFile, top, error, note));
    const std::string out = (m_root / "out.png").string();

    ASSERT_EQ(QgdiCmdBlend({bottom, bottom, out, "--opacity", "0"}), 0);
    const std::vector<uint8_t> original = Pixels(*QgdiReadImage(bottom, error));
    ASSERT_EQ(original.size(), 64u * 48 * 4);
    EXPECT_EQ(Pixels(*QgdiReadImage(out, error)), original);

    ASSERT_EQ(QgdiCmdBlend({bottom, topFile, out, "--mode", "multiply", "--opacity", "180", "--at", "40,30"}), 0);
    const std::vector<uint8_t> placed = Pixels(*QgdiReadImage(out, error));
    int changedOutside = 0, changedInside = 0;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) {
            const bool inside = x >= 40 && x < 56 && y >= 30 && y < 38;
            const size_t at = (size_t(y) * 64 + x) * 4;
            const bool changed = !std::equal(&placed[at], &placed[at] + 4, &original[at]);
            (inside ? changedInside : changedOutside) += changed;
        }
    EXPECT_EQ(changedOutside, 0);
    EXPECT_GT(changedInside, 16 * 8 / 2);

    ASSERT_EQ(QgdiCmdBlend({bottom, topFile, out, "--mode", "xor", "--at", "-8,-4"}), 0);
    EXPECT_EQ(QgdiCmdBlend({"--list"}), 0);
    // every layer mode in one sheet: 26 tiles of the smaller image's size, six to a row
    const std::string sheet = (m_root / "sheet.png").string();
    ASSERT_EQ(QgdiCmdBlend({bottom, "-", sheet, "--sheet"}), 0);
    const std::unique_ptr<CRowIterator> tiles = QgdiReadImage(sheet, error);
    ASSERT_TRUE(tiles);
    EXPECT_EQ(tiles->GetWidth(), 6 * 64);
    EXPECT_EQ(tiles->GetHeight(), 5 * 48);
    const std::string never = (m_root / "never.png").string();
    EXPECT_EQ(QgdiCmdBlend({bottom, topFile, never, "--mode", "no-such-mode"}), 1);
    EXPECT_EQ(QgdiCmdBlend({bottom, (m_root / "missing.png").string(), never}), 1);
    EXPECT_EQ(QgdiCmdBlend({bottom, topFile, never, "--opacity", "256"}), 1);
    EXPECT_EQ(QgdiCmdBlend({bottom, topFile, never, "--at", "3"}), 1);
    EXPECT_EQ(QgdiCmdBlend({bottom, topFile}), 2);
    EXPECT_FALSE(fs::exists(never));
}

}  // namespace
