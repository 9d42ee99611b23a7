// The tool's PNG reader on arbitrary bytes: an accepted image is readable
// whole and survives being written and read again unchanged.
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/qgdi/image_io.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    std::unique_ptr<CRowIterator> image = QgdiReadPng(data, size, error);
    if (!image) {
        if (error.empty()) std::abort();
        return 0;
    }
    std::vector<uint8_t> file;
    if (!QgdiWritePng(*image, file, error)) std::abort();
    std::unique_ptr<CRowIterator> back = QgdiReadPng(file.data(), file.size(), error);
    if (!back || !back->IsEquivalent(*image)) std::abort();
    return 0;
}
