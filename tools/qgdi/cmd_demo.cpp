#include <cstdio>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "QuorRender/QuorRender.h"
#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

namespace {

// A few row operations applied to copies of the sample, so a first run shows
// the kernels at work as well as the file round trip.
bool WriteVariations(const std::string& dir, const CRowIterator& sample, const SQgdiWriteOptions& options) {
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
        if (!QgdiWriteImage(path, copy, error, note, options)) {
            std::fprintf(stderr, "qgdi demo: %s\n", error.c_str());
            ok = false;
            continue;
        }
        std::printf("wrote %s\n", path.c_str());
    }
    QGDI_SystemShutdown();
    return ok;
}

// The output folder, made with its parents when missing.
bool MakeFolder(const std::string& dir) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (!ec && std::filesystem::is_directory(dir, ec)) return true;
    std::fprintf(stderr, "qgdi demo: cannot create the folder %s%s%s\n", dir.c_str(),
                 ec ? ": " : " (a file is in the way)", ec ? ec.message().c_str() : "");
    return false;
}

}  // namespace

int QgdiCmdDemo(const std::vector<std::string>& args) {
    std::vector<std::string> folders;
    SQgdiWriteOptions options;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--compression" && i + 1 < args.size()) {
            if (!QgdiParseCompression(args[++i], options.pngCompression)) {
                std::fprintf(stderr, "qgdi demo: --compression takes 0 to 9, not '%s'\n", args[i].c_str());
                return 2;
            }
        } else {
            folders.push_back(args[i]);
        }
    }
    if (folders.size() > 1) {
        std::fprintf(stderr, "usage: qgdi demo [OUT_DIR] [--compression 0-9]\n");
        return 2;
    }
    const std::string dir = folders.empty() ? "." : folders[0];
    if (!MakeFolder(dir)) return 1;
    CRowIterator image;
    if (QgdiMakeSampleImage(image).IsError()) {
        std::fprintf(stderr, "qgdi demo: cannot make the sample image\n");
        return 1;
    }
    for (const char* name : {"qgdi-sample.png", "qgdi-sample.bmp"}) {
        const std::string path = dir + "/" + name;
        std::string error, note;
        if (!QgdiWriteImage(path, image, error, note, options)) {
            std::fprintf(stderr, "qgdi demo: %s\n", error.c_str());
            return 1;
        }
        std::printf("wrote %s\n", path.c_str());
    }
    if (!WriteVariations(dir, image, options)) return 1;
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
