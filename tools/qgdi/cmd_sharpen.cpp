#include <cstdio>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/filter_options.h"

int QgdiCmdSharpen(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi sharpen IN OUT --amount A --radius R [--threshold T] [--edge wrap|clamp|constant]\n"
        "       (amount 1 adds the detail once; radius: the blur's deviation in pixels; threshold in 8-bit levels)\n";
    SQgdiFilterArgs a;
    if (!QgdiSplitFilterArgs("sharpen", usage, args, {"--amount", "--radius", "--threshold", "--edge"}, {}, a))
        return 2;
    double amount = -1, radius = -1, threshold = 0;
    if (!a.Number("sharpen", "--amount", amount) || !a.Number("sharpen", "--radius", radius) ||
        !a.Number("sharpen", "--threshold", threshold))
        return 2;
    if (a.files.size() != 2 || amount < 0 || radius < 0) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (amount > CImageUnsharp::kfMaxAmount || threshold < 0 || radius > qgdi::filter::kfMaxSigma) {
        std::fprintf(stderr, "qgdi sharpen: amount within 0..%g, radius within 0..%g, threshold at least 0\n",
                     CImageUnsharp::kfMaxAmount, qgdi::filter::kfMaxSigma);
        return 2;
    }
    EEdgeMode edge = keEdgeClamp;
    if (!QgdiParseEdge("sharpen", a, edge)) return 2;
    const auto image = QgdiLoadInput("sharpen", a.files[0]);
    if (!image) return 1;
    CImageUnsharp op(amount, radius, threshold);
    op.SetEdgeMode(edge);
    CRowIterator out;
    char what[96];
    std::snprintf(what, sizeof what, "unsharp mask, amount %g, radius %g, threshold %g", amount, radius, threshold);
    return QgdiRunFilter(
        "sharpen", a.files[1], out, [&](CStatusControl* status) { return op.Apply(*image, out, status); },
        "cannot sharpen", what);
}
