#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diagnostics/QgdiLog.h"

namespace {

std::vector<std::string> g_lines;
void Collect(EQLogLevel, const char* line, void*) { g_lines.emplace_back(line); }

TEST(Log, LinesAreTabSeparatedWithPrefixAndLevel) {
    g_lines.clear();
    EQLogLevel before = QGDI_GetLogLevel();
    QGDI_SetLogSink(&Collect, nullptr);
    QGDI_SetLogLevel(keLogInfo);
    QGDI_Log(keLogDebug, "hidden %d", 1);
    QGDI_Log(keLogInfo, "shown %d\t%s", 2, "x");
    std::string big(3000, 'z');
    QGDI_Log(keLogError, "%s", big.c_str());
    QGDI_SetLogSink(nullptr, nullptr);
    QGDI_SetLogLevel(before);
    ASSERT_EQ(g_lines.size(), 2u);
    EXPECT_EQ(g_lines[0], "[MOXx64]\t[INFO]\tshown 2\tx");
    EXPECT_EQ(g_lines[1].size(), std::string("[MOXx64]\t[ERROR]\t").size() + 3000);
    EXPECT_STREQ(QGDI_LogLevelTag(keLogDebug), "[DEBUG]");
}

}  // namespace
