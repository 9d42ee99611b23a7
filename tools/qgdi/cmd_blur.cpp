#include <cstdio>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"


int QgdiCmdBlur(const std::vector<std::string>& args) {
    const char* usage =
        "usage: qgdi blur IN OUT (--sigma S [--sigma-y S] | --box R [--box-y R]) [--edge wrap|clamp|constant]   "
        "(IN '-' is the built-in sample)\n";
    std::vector<std::string> files;
    double sx = -1, sy = -1, bx = -1, by = -1;
    EEdgeMode edge = keEdgeClamp;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        double* target = a == "--sigma" ? &sx : a == "--sigma-y" ? &sy : a == "--box" ? &bx : a == "--box-y" ? &by : nullptr;
        if (target && hasValue) {
            if (!QgdiParseNumber(args[++i], *target) || !(*target >= 0)) {
                std::fprintf(stderr, "qgdi blur: %s takes a number of at least 0, not '%s'\n", a.c_str(),
                             args[i].c_str());
                return 2;
            }
        } else if (a == "--edge" && hasValue) {
            const std::string m = args[++i];
            if (m == "wrap") edge = keEdgeWrap;
            else if (m == "clamp") edge = keEdgeClamp;
            else if (m == "constant") edge = keEdgeConstant;
            else {
                std::fprintf(stderr, "qgdi blur: unknown edge mode '%s'\n%s", m.c_str(), usage);
                return 2;
            }
        } else {
            files.push_back(a);
        }
    }
    const bool box = bx >= 0;
    if (files.size() != 2 || box == (sx >= 0) || (box && sy >= 0) || (!box && by >= 0)) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (sy < 0) sy = sx;
    if (by < 0) by = bx;
    if (box && (bx != static_cast<int>(bx) || by != static_cast<int>(by) || bx > qgdi::filter::kiMaxBoxRadius ||
                by > qgdi::filter::kiMaxBoxRadius)) {
        std::fprintf(stderr, "qgdi blur: --box takes a whole radius up to %d\n", qgdi::filter::kiMaxBoxRadius);
        return 2;
    }
    const auto image = QgdiLoadInput("blur", files[0]);
    if (!image) return 1;
    CImageBlur blur;
    if (box) blur.SetBox(static_cast<int>(bx), static_cast<int>(by));
    else blur.SetGaussian(sx, sy);
    blur.SetEdgeMode(edge);
    CRowIterator out;
    CQgdiJob job("blur", files[1]);
    std::string note;
    if (const int code = job.Run([&](CStatusControl* status) { return blur.Blur(*image, out, status); }, "cannot blur"))
        return code;
    if (const int code = job.Write(out, note)) return code;
    if (box) std::printf("%s: box %g x %g%s%s\n", files[1].c_str(), 2 * bx + 1, 2 * by + 1, note.empty() ? "" : ", ", note.c_str());
    else std::printf("%s: Gaussian %g x %g%s%s\n", files[1].c_str(), sx, sy, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
