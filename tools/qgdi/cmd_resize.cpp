#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"


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
            if (!QgdiParseSize(args[++i], width, height)) {
                std::fprintf(stderr, "qgdi resize: --size takes WxH with both at least 1, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else if (a == "--scale" && hasValue) {
            if (!QgdiParseNumber(args[++i], scale) || !(scale > 0)) {
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
    const auto image = QgdiLoadInput("resize", files[0]);
    if (!image) return 1;
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
    CQgdiJob job("resize", files[1]);
    const std::string failure = "cannot resize " + std::to_string(image->GetWidth()) + " x " +
                                std::to_string(image->GetHeight()) + " to " + std::to_string(width) + " x " +
                                std::to_string(height);
    std::string note;
    if (const int code = job.Run(
            [&](CStatusControl* status) { return resize.Resize(*image, width, height, out, status); }, failure))
        return code;
    if (const int code = job.Write(out, note)) return code;
    std::printf("%s: %d x %d %s, %s%s%s\n", files[1].c_str(), width, height,
                QGDI_FindPixelFormatTraits(out.GetPixelFormat())->shortName, QGDI_GetResampleModeName(mode),
                note.empty() ? "" : ", ", note.c_str());
    return 0;
}
