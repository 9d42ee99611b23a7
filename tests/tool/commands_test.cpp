// The tool's commands as a user runs them: output folders and PNG compression.
#include <gtest/gtest.h>

#include <filesystem>
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
