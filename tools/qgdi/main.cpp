// qgdi: the command-line face of the graphics core.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "qgdi.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"

namespace {

const SQgdiCommand* FindCommand(const char* name) {
    for (const SQgdiCommand& c : QgdiCommands())
        if (std::strcmp(c.name, name) == 0) return &c;
    return nullptr;
}

void PrintHelp() {
    std::printf("qgdi %s - graphics core of a raster image editor\n\n", QGDI_VERSION_STRING);
    std::printf("usage: qgdi [--help | --version | COMMAND [ARGS...]]\n\ncommands:\n");
    for (const SQgdiCommand& c : QgdiCommands()) {
        if (std::strlen(c.usage) > 34) std::printf("  %s\n  %-34s %s\n", c.usage, "", c.summary);
        else std::printf("  %-34s %s\n", c.usage, c.summary);
    }
    std::printf("\n--compression sets the zlib level of PNG files written (0 stores, 9 packs hardest; default %d).\n",
                kQgdiPngCompressionDefault);
    std::printf("\nWith no command qgdi runs '%s'.\n", QgdiDefaultCommand());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h" || args[0] == "help")) {
        PrintHelp();
        return 0;
    }
    if (!args.empty() && (args[0] == "--version" || args[0] == "-V")) {
        std::printf("qgdi %s\n", QGDI_VERSION_STRING);
        return 0;
    }
    const char* name = args.empty() ? QgdiDefaultCommand() : args[0].c_str();
    const SQgdiCommand* command = FindCommand(name);
    if (!command) {
        std::fprintf(stderr, "qgdi: unknown command '%s' (try qgdi --help)\n", name);
        return 2;
    }
    if (!args.empty()) args.erase(args.begin());
    int code = 1;
    try {
        code = command->run(args);
    } catch (const CQException& e) {
        std::fprintf(stderr, "qgdi: %s\n", e.what());
    }
    // QGDI_PROFILE=1: the table of timed scopes, through the log even when it is otherwise silent.
    if (QGDI_ProfileIsEnabled()) {
        if (QGDI_GetLogLevel() > keLogInfo) QGDI_SetLogLevel(keLogInfo);
        QGDI_ProfileReport(keLogInfo);
    }
    return code;
}
