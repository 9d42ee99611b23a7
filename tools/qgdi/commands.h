#pragma once
#include <string>
#include <vector>

// One subcommand of the tool. Each command lives in its own file and adds
// itself to the table in commands.cpp.
struct SQgdiCommand {
    const char* name;
    const char* usage;
    const char* summary;
    int (*run)(const std::vector<std::string>& args);
};

const std::vector<SQgdiCommand>& QgdiCommands();
const char* QgdiDefaultCommand();

int QgdiCmdFormats(const std::vector<std::string>& args);
int QgdiCmdInfo(const std::vector<std::string>& args);
int QgdiCmdConvert(const std::vector<std::string>& args);
int QgdiCmdDemo(const std::vector<std::string>& args);
int QgdiCmdBlend(const std::vector<std::string>& args);
int QgdiCmdPath(const std::vector<std::string>& args);
int QgdiCmdQuantize(const std::vector<std::string>& args);
int QgdiCmdDither(const std::vector<std::string>& args);
int QgdiCmdPalette(const std::vector<std::string>& args);
int QgdiCmdResize(const std::vector<std::string>& args);
int QgdiCmdBlur(const std::vector<std::string>& args);
int QgdiCmdDraw(const std::vector<std::string>& args);
int QgdiCmdInpaint(const std::vector<std::string>& args);
int QgdiCmdFill(const std::vector<std::string>& args);
int QgdiCmdWarp(const std::vector<std::string>& args);
int QgdiCmdStyle(const std::vector<std::string>& args);
int QgdiCmdConvolve(const std::vector<std::string>& args);
int QgdiCmdSharpen(const std::vector<std::string>& args);
int QgdiCmdMorph(const std::vector<std::string>& args);
int QgdiCmdDistort(const std::vector<std::string>& args);
int QgdiCmdEffect(const std::vector<std::string>& args);
int QgdiCmdSelect(const std::vector<std::string>& args);
