#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/qgdi/commands.h"

namespace {

TEST(CmdPath, ExitCodesAndOutline) {
    const auto out = std::filesystem::temp_directory_path() / "qgdi_cmd_path_test.svg";
    struct {
        std::vector<std::string> args;
        int code;
    } cases[] = {
        {{"M0 0 h10 v10 h-10 z", "--out", out.string()}, 0},
        {{"M0 0 h10 v10 h-10 z", "--dash", "2,1", "--scale", "4"}, 0},
        {{"M0 0 h10 v10 h-10 z", "--intersect", "M5 5 h10 v10 h-10 z"}, 0},
        {{}, 2},
        {{"M0 0 h10", "--scale", "0"}, 2},
        {{"M0 0 h10", "--dash", "a,b"}, 2},
        {{"M0 0 h10", "--dash", "-1,2"}, 1},
        {{"M0 0 L"}, 1},
        {{"/no/such/file.svg"}, 1},
    };
    for (const auto& c : cases) EXPECT_EQ(QgdiCmdPath(c.args), c.code) << (c.args.empty() ? "" : c.args[0]);
    std::ifstream in(out);
    std::stringstream ss;
    ss << in.rdbuf();
    EXPECT_NE(ss.str().find("d=\"M0 0L10 0L10 10L0 10L0 0Z\""), std::string::npos) << ss.str();
    std::filesystem::remove(out);
}

}  // namespace
