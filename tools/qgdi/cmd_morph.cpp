#include <cstdio>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/filter_options.h"

int QgdiCmdMorph(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi morph IN OUT dilate|erode|median --radius R [--radius-y R] [--round] [--edge wrap|clamp|constant]\n";
    SQgdiFilterArgs a;
    if (!QgdiSplitFilterArgs("morph", usage, args, {"--radius", "--radius-y", "--edge"}, {"--round"}, a)) return 2;
    double rx = -1, ry = -1;
    if (!a.Number("morph", "--radius", rx) || !a.Number("morph", "--radius-y", ry)) return 2;
    if (ry < 0) ry = rx;
    const std::string op = a.files.size() == 3 ? a.files[2] : "";
    const bool median = op == "median";
    if (a.files.size() != 3 || (op != "dilate" && op != "erode" && !median) || rx < 0 || (median && ry != rx)) {
        std::fputs(usage, stderr);
        return 2;
    }
    const int limit = median ? qgdi::filter::kiMaxMedianRadius : qgdi::filter::kiMaxMorphRadius;
    if (rx != static_cast<int>(rx) || ry != static_cast<int>(ry) || rx > limit || ry > limit) {
        std::fprintf(stderr, "qgdi morph: radii are whole numbers up to %d\n", limit);
        return 2;
    }
    EEdgeMode edge = keEdgeClamp;
    if (!QgdiParseEdge("morph", a, edge)) return 2;
    const auto image = QgdiLoadInput("morph", a.files[0]);
    if (!image) return 1;
    const bool round = a.flags.count("--round") != 0;
    CImageMorphology morph(op == "dilate", round ? keMorphRound : keMorphSquare, static_cast<int>(rx),
                           static_cast<int>(ry));
    morph.SetEdgeMode(edge);
    CImageMedian med(static_cast<int>(rx));
    med.SetEdgeMode(edge);
    CRowIterator out;
    char what[96];
    if (median) std::snprintf(what, sizeof what, "median, radius %g", rx);
    else std::snprintf(what, sizeof what, "%s, %s %g x %g", op.c_str(), round ? "round" : "square", rx, ry);
    return QgdiRunFilter(
        "morph", a.files[1], out,
        [&](CStatusControl* status) { return median ? med.Apply(*image, out, status) : morph.Apply(*image, out, status); },
        "cannot filter", what);
}
