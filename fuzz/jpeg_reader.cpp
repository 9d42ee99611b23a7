// The tool's JPEG reader on arbitrary bytes: an accepted image is readable
// whole and can be written again.
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/qgdi/image_io.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    std::unique_ptr<CRowIterator> image = QgdiReadJpeg(data, size, error);
    if (!image) {
        if (error.empty()) std::abort();
        return 0;
    }
    std::vector<uint8_t> file;
    if (!QgdiWriteJpeg(*image, file, 75, error)) std::abort();
    std::unique_ptr<CRowIterator> back = QgdiReadJpeg(file.data(), file.size(), error);
    if (!back || !back->IsSameSizeAs(*image) || back->GetPixelFormat() != image->GetPixelFormat()) std::abort();
    return 0;
}
