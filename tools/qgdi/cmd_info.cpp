#include <cstdio>
#include <iostream>

#include "tools/qgdi/commands.h"
#include "tools/qgdi/image_io.h"
#include "tools/qgdi/sample_image.h"

int QgdiCmdInfo(const std::vector<std::string>& args) {
    bool full = false;
    std::string path;
    for (const std::string& a : args) {
        if (a == "--full") full = true;
        else if (path.empty()) path = a;
        else {
            std::fprintf(stderr, "qgdi info: too many arguments\n");
            return 2;
        }
    }
    std::unique_ptr<CRowIterator> image;
    if (path.empty()) {
        image = std::make_unique<CRowIterator>();
        if (QgdiMakeSampleImage(*image).IsError()) {
            std::fprintf(stderr, "qgdi info: cannot make the sample image\n");
            return 1;
        }
        path = "(built-in sample)";
    } else {
        std::string error;
        image = QgdiReadImage(path, error);
        if (!image) {
            std::fprintf(stderr, "qgdi info: %s\n", error.c_str());
            return 1;
        }
    }
    std::printf("%s: %d x %d, %ls, %d palette entries\n", path.c_str(), image->GetWidth(), image->GetHeight(),
                CQPixelFormat(image->GetPixelFormat()).GetFormatAsString(), image->GetPaletteCount());
    std::cout.flush();
    const CErrorAutoThrow r = image->StreamTextOut(std::cout,
                                                   full ? CRowIteratorBands::TextFull : CRowIteratorBands::TextCrc);
    return r.IsError() ? 1 : 0;
}
