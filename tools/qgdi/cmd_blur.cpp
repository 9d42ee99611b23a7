#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/progress.h"
#include "tools/qgdi/sample_image.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnInterrupt(int) { g_interrupted = 1; }
int AbortCheck(CStatusControl*) { return g_interrupted; }

bool ParseNumber(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && !*end && !text.empty();
}

std::string TemporaryName(const std::string& out) {
    const size_t slash = out.find_last_of('/'), dot = out.find_last_of('.');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return hasExt ? out.substr(0, dot) + ".qgdi-partial" + out.substr(dot) : out + ".qgdi-partial";
}

}  // namespace

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
            if (!ParseNumber(args[++i], *target) || !(*target >= 0)) {
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
    std::unique_ptr<CRowIterator> image;
    std::string error;
    if (files[0] == "-") {
        image = std::make_unique<CRowIterator>();
        if (QgdiMakeSampleImage(*image).IsError()) error = "cannot make the sample image";
    } else {
        image = QgdiReadImage(files[0], error);
    }
    if (!image || !error.empty()) {
        std::fprintf(stderr, "qgdi blur: %s\n", error.c_str());
        return 1;
    }
    CImageBlur blur;
    if (box) blur.SetBox(static_cast<int>(bx), static_cast<int>(by));
    else blur.SetGaussian(sx, sy);
    blur.SetEdgeMode(edge);
    CRowIterator out;
    const auto previous = std::signal(SIGINT, &OnInterrupt);
    CErrorAutoThrow r;
    {
        CToolProgress progress("blur");
        progress.Status()->SetAbortCheckCallback(&AbortCheck);
        r = blur.Blur(*image, out, progress.Status());
        if (!r.IsError()) progress.Done();
    }
    const QuorErrorCode code = r.Ignore();
    if (code == keQuorErrCancelled || g_interrupted) {
        std::signal(SIGINT, previous);
        std::fprintf(stderr, "qgdi blur: cancelled; %s was not written\n", files[1].c_str());
        return 130;
    }
    if (code != keQuorErrSuccess) {
        std::signal(SIGINT, previous);
        std::fprintf(stderr, "qgdi blur: cannot blur (error %d: %s)\n", static_cast<int>(code), QuorErrorText(code));
        return 1;
    }
    std::string note;
    const std::string partial = TemporaryName(files[1]);
    const bool written = QgdiWriteImage(partial, out, error, note);
    if (!written || g_interrupted || std::rename(partial.c_str(), files[1].c_str()) != 0) {
        std::remove(partial.c_str());
        std::signal(SIGINT, previous);
        if (g_interrupted) {
            std::fprintf(stderr, "qgdi blur: cancelled; %s was not written\n", files[1].c_str());
            return 130;
        }
        std::fprintf(stderr, "qgdi blur: %s\n", written ? ("cannot write " + files[1]).c_str() : error.c_str());
        return 1;
    }
    std::signal(SIGINT, previous);
    if (box) std::printf("%s: box %g x %g%s%s\n", files[1].c_str(), 2 * bx + 1, 2 * by + 1, note.empty() ? "" : ", ", note.c_str());
    else std::printf("%s: Gaussian %g x %g%s%s\n", files[1].c_str(), sx, sy, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
