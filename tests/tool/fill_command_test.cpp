// qgdi fill as a user runs it: each kind into an image of the asked size with
// the stops' colours where they belong; refusals with usage errors.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"

namespace {

namespace fs = std::filesystem;

uint32_t PixelAt(const CRowIterator& image, int x, int y) {
    CRowIterator bgra;
    EXPECT_FALSE(bgra.CreateFromCopy(image, nullptr, keFormatBGRA).IsError());
    const uint8_t* row = nullptr;
    EXPECT_FALSE(bgra.GetRow(row, y).IsError());
    uint32_t p;
    std::memcpy(&p, row + 4 * x, 4);
    bgra.ReleaseRow(y).Ignore();
    return p;
}

TEST(FillCommand, PaintsEachKindAndRefusesBadArguments) {
    const fs::path dir = fs::path(::testing::TempDir()) / "qgdi-fill-command";
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::string out = (dir / "out.png").string();
    struct Case {
        std::vector<std::string> args;
        int x, y;
        uint32_t bgra;
    } cases[] = {
        {{"--linear", "0,0,64,0", "--stops", "0:ff0000,1:0000ff"}, 0, 5, 0xFFFD0002u},
        {{"--radial", "32,16,10", "--stops", "0:00ff00,1:000000"}, 32, 16, 0xFF00ED00u},  // t = 0.0707
        {{"--solid", "102030"}, 63, 31, 0xFF102030u},
        {{"--checker", "8"}, 9, 1, 0xFFCCCCCCu},
        {{"--conic", "32,16", "--stops", "0:ffffff,1:ffffff", "--shape", "ellipse", "--background", "000000"},
         32,
         16,
         0xFFFFFFFFu},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args = {out, "--size", "64x32"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        ASSERT_EQ(QgdiCmdFill(args), 0) << c.args[0];
        std::string error;
        auto image = QgdiReadImage(out, error);
        ASSERT_TRUE(image) << error;
        EXPECT_EQ(image->GetWidth(), 64);
        EXPECT_EQ(image->GetHeight(), 32);
        EXPECT_EQ(PixelAt(*image, c.x, c.y), c.bgra) << c.args[0];
    }
    const std::vector<std::vector<std::string>> refused = {
        {out, "--size", "64x32"},                      // no fill
        {out, "--linear", "0,0,1,1"},                  // no size
        {out, "--size", "64x32", "--radial", "1,2"},   // too few numbers
        {out, "--size", "64x32", "--solid", "12345"},  // not a colour
        {out, "--size", "64x32", "--linear", "0,0,9,9", "--stops", "0.5"},
        {out, "--size", "64x32", "--linear", "0,0,9,9", "--spread", "mirror"},
    };
    for (const auto& args : refused) EXPECT_EQ(QgdiCmdFill(args), 2) << args.back();
    EXPECT_EQ(QgdiCmdFill({out, "--size", "8x8", "--linear", "3,3,3,3"}), 1);  // degenerate
    fs::remove_all(dir);
}

}  // namespace
