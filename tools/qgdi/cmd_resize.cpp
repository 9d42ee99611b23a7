#include <algorithm>
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

// "WxH" with both parts whole numbers of at least 1.
bool ParseSize(const std::string& text, int& w, int& h) {
    char x = 0;
    char rest = 0;
    return std::sscanf(text.c_str(), "%d%c%d%c", &w, &x, &h, &rest) == 3 && (x == 'x' || x == 'X') && w > 0 && h > 0;
}

// The output goes to a file beside OUT with the same extension (so that the
// writer picks the same type) and is renamed over OUT only once complete.
std::string TemporaryName(const std::string& out) {
    const size_t slash = out.find_last_of('/'), dot = out.find_last_of('.');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return hasExt ? out.substr(0, dot) + ".qgdi-partial" + out.substr(dot) : out + ".qgdi-partial";
}

}  // namespace

int QgdiCmdResize(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    int width = 0, height = 0;
    double scale = 0;
    EQResampleMode mode = keResampleBicubic;
    const char* usage =
        "usage: qgdi resize IN OUT (--size WxH | --scale F) "
        "[--filter nearest|bilinear|bicubic|area|lanczos|mitchell] [--linear] [--threads N]   (IN '-' is the built-in "
        "sample)\n";
    int threads = 0;
    bool linear = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--size" && hasValue) {
            if (!ParseSize(args[++i], width, height)) {
                std::fprintf(stderr, "qgdi resize: --size takes WxH with both at least 1, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else if (a == "--scale" && hasValue) {
            char* end = nullptr;
            scale = std::strtod(args[++i].c_str(), &end);
            if (!end || *end || !(scale > 0)) {
                std::fprintf(stderr, "qgdi resize: --scale takes a number above 0, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else if (a == "--filter" && hasValue) {
            const int m = QGDI_ParseResampleMode(args[++i].c_str());
            if (m < 0) {
                std::fprintf(stderr, "qgdi resize: unknown filter '%s'\n%s", args[i].c_str(), usage);
                return 2;
            }
            mode = static_cast<EQResampleMode>(m);
        } else if (a == "--linear") {
            linear = true;
        } else if (a == "--threads" && hasValue) {
            threads = std::atoi(args[++i].c_str());
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2 || (width > 0) == (scale > 0)) {
        std::fputs(usage, stderr);
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
        std::fprintf(stderr, "qgdi resize: %s\n", error.c_str());
        return 1;
    }
    if (scale > 0) {
        const double w = image->GetWidth() * scale + 0.5, h = image->GetHeight() * scale + 0.5;
        if (w >= 2147483647.0 || h >= 2147483647.0) {
            std::fprintf(stderr, "qgdi resize: --scale %g makes an image too large\n", scale);
            return 1;
        }
        width = std::max(1, static_cast<int>(w));
        height = std::max(1, static_cast<int>(h));
    }

    CImageResize resize(mode);
    resize.SetThreadCount(threads);
    resize.SetLinearLight(linear);
    CRowIterator out;
    const auto previous = std::signal(SIGINT, &OnInterrupt);
    CErrorAutoThrow r;
    {
        CToolProgress progress("resize");
        progress.Status()->SetAbortCheckCallback(&AbortCheck);
        r = resize.Resize(*image, width, height, out, progress.Status());
        if (!r.IsError()) progress.Done();
    }
    const QuorErrorCode code = r.Ignore();
    if (code == keQuorErrCancelled || g_interrupted) {
        std::signal(SIGINT, previous);
        std::fprintf(stderr, "qgdi resize: cancelled; %s was not written\n", files[1].c_str());
        return 130;
    }
    if (code != keQuorErrSuccess) {
        std::signal(SIGINT, previous);
        std::fprintf(stderr, "qgdi resize: cannot resize %d x %d to %d x %d (error %d: %s)\n", image->GetWidth(),
                     image->GetHeight(), width, height, static_cast<int>(code), QuorErrorText(code));
        return 1;
    }
    std::string note;
    const std::string partial = TemporaryName(files[1]);
    const bool written = QgdiWriteImage(partial, out, error, note);
    // An interrupt while the file was written leaves nothing behind either.
    if (!written || g_interrupted || std::rename(partial.c_str(), files[1].c_str()) != 0) {
        std::remove(partial.c_str());
        std::signal(SIGINT, previous);
        if (g_interrupted) {
            std::fprintf(stderr, "qgdi resize: cancelled; %s was not written\n", files[1].c_str());
            return 130;
        }
        std::fprintf(stderr, "qgdi resize: %s\n", written ? ("cannot write " + files[1]).c_str() : error.c_str());
        return 1;
    }
    std::signal(SIGINT, previous);
    std::printf("%s: %d x %d %s, %s%s%s\n", files[1].c_str(), width, height,
                QGDI_FindPixelFormatTraits(out.GetPixelFormat())->shortName, QGDI_GetResampleModeName(mode),
                note.empty() ? "" : ", ", note.c_str());
    return 0;
}
