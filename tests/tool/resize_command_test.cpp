// qgdi resize as a user runs it: sizes from --size or --scale, filters by
// name, and refusals that leave no file behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"

namespace {

namespace fs = std::filesystem;

TEST(ResizeCommand, WritesTheRequestedSize) {
    const fs::path dir = fs::path(::testing::TempDir()) / "qgdi-resize-command";
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::string out = (dir / "out.png").string(), bmp = (dir / "out.bmp").string();
    ASSERT_EQ(QgdiCmdResize({"-", out, "--size", "37x21", "--filter", "lanczos"}), 0);
    std::string error;
    auto img = QgdiReadImage(out, error);
    ASSERT_TRUE(img) << error;
    EXPECT_EQ(img->GetWidth(), 37);
    EXPECT_EQ(img->GetHeight(), 21);
    ASSERT_EQ(QgdiCmdResize({out, bmp, "--scale", "2", "--filter", "nearest"}), 0);
    img = QgdiReadImage(bmp, error);
    ASSERT_TRUE(img) << error;
    EXPECT_EQ(img->GetWidth(), 74);
    const std::vector<std::vector<std::string>> refused = {
        {"-", out},                                   // no size
        {"-", out, "--size", "3x3", "--scale", "2"},  // both
        {"-", out, "--size", "0x3"},                  // empty
        {"-", out, "--scale", "-1"},                  // negative
        {"-", out, "--size", "3x3", "--filter", "sinc"},
    };
    for (const auto& args : refused) EXPECT_EQ(QgdiCmdResize(args), 2) << args.back();
    EXPECT_EQ(QgdiCmdResize({"-", (dir / "huge.png").string(), "--scale", "1e9"}), 1);
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_EQ(entry.path().string().find("partial"), std::string::npos) << entry.path();
    fs::remove_all(dir);
}

}  // namespace
