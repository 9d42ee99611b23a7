#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"
#include "tools/qgdi/progress.h"

int QgdiCmdQuantize(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    int colours = 256;
    std::string dither = "none";
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--colors" && i + 1 < args.size()) {
            char* end = nullptr;
            const long n = std::strtol(args[++i].c_str(), &end, 10);
            if (!end || *end || n < 2 || n > 256) {
                std::fprintf(stderr, "qgdi quantize: --colors takes 2 to 256, not '%s'\n", args[i].c_str());
                return 2;
            }
            colours = int(n);
        } else if (args[i] == "--dither" && i + 1 < args.size()) {
            dither = args[++i];
            if (dither != "none" && dither != "fs" && dither != "ordered") {
                std::fprintf(stderr, "qgdi quantize: --dither takes none, fs or ordered, not '%s'\n", dither.c_str());
                return 2;
            }
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) {
        std::fprintf(stderr, "usage: qgdi quantize IN OUT --colors N [--dither none|fs|ordered]   (IN '-' is the built-in sample)\n");
        return 2;
    }
    const auto image = QgdiLoadInput("quantize", files[0]);
    if (!image) return 1;
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    RGBQUAD palette[256];
    int count = 0;
    CRowIterator out;
    {
        CToolProgress progress("quantize");
        CStatusControl* status = progress.Status();
        status->SetNumberOfSteps(2);
        CErrorAutoThrow r;
        {
            CStatusControl step(status);
            r = MakePalFromDIB(*image, palette, colours, count, &step);
        }
        if (!r.IsError()) {
            CStatusControl step(status);
            r = dither == "ordered" ? Odither(&step, *image, out, palette, count, keOrderedBayer8)
                                    : DitherDIB(&step, *image, out, palette, count,
                                                dither == "fs" ? keDitherFloydSteinberg : keDitherNone);
        }
        if (r.IsError()) {
            std::fprintf(stderr, "qgdi quantize: reduction failed: error %d\n", int(r.Ignore()));
            return 1;
        }
        progress.Done();
    }
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::string note;
    if (!QgdiWriteImage(files[1], out, error, note)) {
        std::fprintf(stderr, "qgdi quantize: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s: %d x %d, %d colours (%s), %.1f ms%s%s\n", files[1].c_str(), out.GetWidth(), out.GetHeight(), count,
                dither.c_str(), ms, note.empty() ? "" : ", ", note.c_str());
    return 0;
}
