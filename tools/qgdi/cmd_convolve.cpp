#include <cstdio>
#include <sstream>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/filter_options.h"

namespace {

// "a,b,c;d,e,f": rows separated by ';', values by ','; all rows as long.
bool ParseKernel(const std::string& text, SConvolveKernel& k) {
    std::stringstream rows(text);
    std::string row;
    k.aValues.clear();
    k.nRows = 0;
    k.nColumns = -1;
    while (std::getline(rows, row, ';')) {
        std::stringstream cells(row);
        std::string cell;
        int columns = 0;
        while (std::getline(cells, cell, ',')) {
            double v;
            if (!QgdiParseNumber(cell, v)) return false;
            k.aValues.push_back(v);
            ++columns;
        }
        if (k.nColumns >= 0 && columns != k.nColumns) return false;
        k.nColumns = columns;
        ++k.nRows;
    }
    return k.nRows > 0 && k.nColumns > 0;
}

}  // namespace

int QgdiCmdConvolve(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi convolve IN OUT (--matrix NAME | --kernel 'a,b,c;d,e,f;...' [--divisor D] [--bias B])\n"
        "       [--edge wrap|clamp|constant] [--all-channels]   (qgdi convolve --list names the matrices)\n";
    SQgdiFilterArgs a;
    if (!QgdiSplitFilterArgs("convolve", usage, args, {"--matrix", "--kernel", "--divisor", "--bias", "--edge"},
                             {"--list", "--all-channels"}, a))
        return 2;
    if (a.flags.count("--list")) {
        for (int i = 0; i < keFilterMatrixCount; ++i) std::printf("%s\n", QGDI_GetFilterMatrixName(i));
        return 0;
    }
    if (a.files.size() != 2 || a.Has("--matrix") == a.Has("--kernel")) {
        std::fputs(usage, stderr);
        return 2;
    }
    SConvolveKernel kernel;
    std::string what;
    if (a.Has("--matrix")) {
        const std::string& name = a.values["--matrix"].back();
        const int m = QGDI_ParseFilterMatrix(name.c_str());
        if (m < 0) {
            std::fprintf(stderr, "qgdi convolve: unknown matrix '%s' (qgdi convolve --list)\n", name.c_str());
            return 2;
        }
        QGDI_GetFilterMatrix(static_cast<EQFilterMatrix>(m), kernel);
        what = "matrix " + name;
    } else {
        if (!ParseKernel(a.values["--kernel"].back(), kernel)) {
            std::fprintf(stderr, "qgdi convolve: --kernel takes rows of numbers, 'a,b;c,d'\n");
            return 2;
        }
        if (!a.Number("convolve", "--divisor", kernel.fDivisor) || !a.Number("convolve", "--bias", kernel.fBias))
            return 2;
        if (!kernel.IsValid()) {
            std::fprintf(stderr, "qgdi convolve: the kernel is not usable (zero divisor, too large or too heavy)\n");
            return 2;
        }
        what = std::to_string(kernel.nColumns) + " x " + std::to_string(kernel.nRows) + " kernel";
    }
    EEdgeMode edge = keEdgeClamp;
    if (!QgdiParseEdge("convolve", a, edge)) return 2;
    const auto image = QgdiLoadInput("convolve", a.files[0]);
    if (!image) return 1;
    CImageConvolve op(kernel);
    op.SetEdgeMode(edge);
    // Alpha is left alone unless asked: a signed kernel on mid grey would make it half transparent.
    op.SetChannels(a.flags.count("--all-channels") ? keChannelSetAll : keChannelSetAllButAlpha);
    CRowIterator out;
    return QgdiRunFilter(
        "convolve", a.files[1], out, [&](CStatusControl* status) { return op.Convolve(*image, out, status); },
        "cannot convolve", what);
}
