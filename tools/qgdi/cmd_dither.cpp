#include <cstdio>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/job.h"
#include "tools/qgdi/progress.h"

int QgdiCmdDither(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    uint8_t kernel = keDither2FloydSteinberg;
    bool tone = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--kernel" && i + 1 < args.size()) {
            const std::string& k = args[++i];
            if (k == "fs") kernel = keDither2FloydSteinberg;
            else if (k == "burkes") kernel = keDither2Burkes;
            else if (k == "stucki") kernel = keDither2Stucki;
            else if (k == "none") kernel = keDither2Threshold;
            else {
                std::fprintf(stderr, "qgdi dither: --kernel takes fs, burkes, stucki or none, not '%s'\n", k.c_str());
                return 2;
            }
        } else if (args[i] == "--tone") {
            tone = true;
        } else {
            files.push_back(args[i]);
        }
    }
    if (files.size() != 2) {
        std::fprintf(stderr, "usage: qgdi dither IN OUT [--kernel fs|burkes|stucki] [--tone]   (IN '-' is the built-in sample)\n");
        return 2;
    }
    const auto image = QgdiLoadInput("dither", files[0]);
    if (!image) return 1;
    std::string error;
    CRowIterator out;
    {
        CToolProgress progress("dither");
        const CErrorAutoThrow r = Dither2(progress.Status(), *image, out, kernel, keDither2GreyLuminance, tone ? 1 : 0);
        if (r.IsError()) {
            std::fprintf(stderr, "qgdi dither: error %d\n", int(r.Ignore()));
            return 1;
        }
        progress.Done();
    }
    std::string note;
    if (!QgdiWriteImage(files[1], out, error, note)) {
        std::fprintf(stderr, "qgdi dither: %s\n", error.c_str());
        return 1;
    }
    std::printf("%s: %d x %d, 1 bit%s%s\n", files[1].c_str(), out.GetWidth(), out.GetHeight(), note.empty() ? "" : ", ",
                note.c_str());
    return 0;
}
