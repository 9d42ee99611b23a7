// RIFF "PAL " files from arbitrary bytes: accepted with a count of 16 or 256,
// or refused with one of the reader's codes; nothing is written beyond the
// caller's 256 entries; what is accepted writes and reads back unchanged.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qgdi.h"

namespace {
std::wstring Scratch(const char* tag) {
    const std::string s = "/tmp/qgdi_fuzz_" + std::string(tag) + "_" + std::to_string(getpid());
    return std::wstring(s.begin(), s.end());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::wstring path = Scratch("riff"), again = Scratch("riff2");
    const std::string narrow(path.begin(), path.end());
    std::FILE* f = std::fopen(narrow.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    RGBQUAD buffer[258];
    std::memset(buffer, 0, sizeof buffer);
    buffer[0] = buffer[257] = RGBQUAD{0xCD, 0xCD, 0xCD, 0xCD};
    uint16_t count = 7;
    const CErrorAutoThrow r = OpenMSPalFile(path.c_str(), buffer + 1, &count);
    if (buffer[0].rgbBlue != 0xCD || buffer[257].rgbRed != 0xCD) std::abort();
    const int code = r.Ignore();
    if (code != 0 && code != 102 && code != 202 && code != 312 && code != 528) std::abort();
    if (code == 0) {
        if (count != 16 && count != 256) std::abort();
        for (int i = 0; i < 256; ++i)
            if (buffer[1 + i].rgbReserved != 0) std::abort();
        CRowIterator image;
        if (image.CreateIndexed(1, 1, 8, buffer + 1, count).IsError()) return 0;
        if (SaveDIBMSPal(again.c_str(), image).IsError()) std::abort();
        RGBQUAD back[256];
        uint16_t n = 0;
        if (OpenMSPalFile(again.c_str(), back, &n).IsError() || n != count ||
            std::memcmp(back, buffer + 1, sizeof(RGBQUAD) * n) != 0)
            std::abort();
    }
    return 0;
}
