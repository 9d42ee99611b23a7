#include "tools/qgdi/commands.h"

const std::vector<SQgdiCommand>& QgdiCommands() {
    static const std::vector<SQgdiCommand> commands = {
        {"formats", "formats", "table of the pixel formats and their properties", &QgdiCmdFormats},
    };
    return commands;
}

const char* QgdiDefaultCommand() { return "formats"; }
