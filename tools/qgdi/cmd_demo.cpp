#include <cstdio>
#include <iostream>

#include "QuorRender/QuorRender.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

namespace {

// A few row operations applied to copies of the sample, so a first run shows
// the kernels at work as well as the file round trip.
bool WriteVariations(const std::string& dir, const CRowIterator& sample) {
    if (QGDI_SystemStartup().IsError()) return false;
    const CRowOpDefRowHSLAdjust hueShift(120, 0, 0);
    const CRowOpDefRowInvert invert;
    const CRowOpDefRowNoise noise(0.25, false, true, 7);
    const CRowOpDefRowTurbulence clouds(0.01, 0.02, 4, 3, true);
    struct SVariation {
        const char* name;
        const CRowOpDef* def;
    };
    const SVariation variations[] = {
        {"hue", &hueShift}, {"invert", &invert}, {"noise", &noise}, {"turbulence", &clouds}};
    bool ok = true;
    for (const SVariation& v : variations) {
        CRowIterator copy;
        if (copy.CreateFromCopy(sample).IsError() || !PixelIterator_ApplyRowOp(*v.def, copy)) {
            ok = false;
            continue;
        }
        const std::string path = dir + "/qgdi-" + v.name + ".png";
        std::string error, note;
        if (!QgdiWriteImage(path, copy, error, note)) {
            std::fprintf(stderr, "qgdi demo: %s\n", error.c_str());
            ok = false;
            continue;
        }
        std::printf("wrote %s\n", path.c_str());
    }
    QGDI_SystemShutdown();
    return ok;
}

}  // namespace

int QgdiCmdDemo(const std::vector<std::string>& args) {
    if (args.size() > 1) {
        std::fprintf(stderr, "usage: qgdi demo [OUT_DIR]\n");
        return 2;
    }
    const std::string dir = args.empty() ? "." : args[0];
    CRowIterator image;
    if (QgdiMakeSampleImage(image).IsError()) {
        std::fprintf(stderr, "qgdi demo: cannot make the sample image\n");
        return 1;
    }
    for (const char* name : {"qgdi-sample.png", "qgdi-sample.bmp"}) {
        const std::string path = dir + "/" + name;
        std::string error, note;
        if (!QgdiWriteImage(path, image, error, note)) {
            std::fprintf(stderr, "qgdi demo: %s\n", error.c_str());
            return 1;
        }
        std::printf("wrote %s\n", path.c_str());
    }
    if (!WriteVariations(dir, image)) return 1;
    // The same pixels read back from the bitmap file, as the library sees them.
    std::string error;
    std::unique_ptr<CRowIterator> back = QgdiReadImage(dir + "/qgdi-sample.bmp", error);
    if (!back) {
        std::fprintf(stderr, "qgdi demo: %s\n", error.c_str());
        return 1;
    }
    std::printf("read back: %s\n", back->IsEquivalent(image) ? "identical" : "DIFFERENT");
    std::cout.flush();
    return back->StreamTextOut(std::cout, CRowIteratorBands::TextCrc).IsError() ? 1 : 0;
}
