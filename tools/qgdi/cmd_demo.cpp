#include <cstdio>
#include <iostream>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

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
