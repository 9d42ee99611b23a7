// qgdi blur as a user runs it: a Gaussian or a box at the source's size,
// refusals with usage errors and no file behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"

namespace {

namespace fs = std::filesystem;

TEST(BlurCommand, BlursAtTheSourceSizeAndRefusesBadArguments) {
    const fs::path dir = fs::path(::testing::TempDir()) / "qgdi-blur-command";
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::string out = (dir / "out.png").string();
    std::string error;
    ASSERT_EQ(QgdiCmdBlur({"-", out, "--sigma", "4", "--sigma-y", "0.5"}), 0);
    auto img = QgdiReadImage(out, error);
    ASSERT_TRUE(img) << error;
    ASSERT_EQ(QgdiCmdBlur({out, (dir / "box.png").string(), "--box", "3", "--edge", "wrap"}), 0);
    auto box = QgdiReadImage((dir / "box.png").string(), error);
    ASSERT_TRUE(box) << error;
    EXPECT_EQ(box->GetWidth(), img->GetWidth());
    EXPECT_EQ(box->GetHeight(), img->GetHeight());
    const std::vector<std::vector<std::string>> refused = {
        {"-", out},                                  // neither
        {"-", out, "--sigma", "2", "--box", "1"},   // both
        {"-", out, "--sigma", "-1"},                 // negative
        {"-", out, "--sigma", "abc"},
        {"-", out, "--box", "1.5"},                  // not whole
        {"-", out, "--sigma", "1", "--edge", "mirror"},
    };
    for (const auto& args : refused) EXPECT_EQ(QgdiCmdBlur(args), 2) << args.back();
    EXPECT_EQ(QgdiCmdBlur({"-", (dir / "huge.png").string(), "--sigma", "1e9"}), 1);
    for (const auto& entry : fs::directory_iterator(dir))
        EXPECT_EQ(entry.path().string().find("partial"), std::string::npos) << entry.path();
    fs::remove_all(dir);
}

}  // namespace
