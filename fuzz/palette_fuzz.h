#pragma once
// What both palette-file targets check: the bytes go to a scratch file (the
// readers take a path); an answer is a palette of 16 or 256 entries or one of
// the reader's codes; nothing is written outside the caller's 256 entries;
// an accepted palette writes and reads back unchanged.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

#include "qgdi.h"

namespace qgdi::fuzz {

using PaletteReader = CErrorAutoThrow (*)(const wchar_t*, RGBQUAD*, uint16_t*);
using PaletteWriter = CErrorAutoThrow (*)(const wchar_t*, const CRowIterator&);

inline std::wstring Scratch(const char* tag) {
    const std::string s = "/tmp/qgdi_fuzz_" + std::string(tag) + "_" + std::to_string(getpid());
    return std::wstring(s.begin(), s.end());
}

// `validate` sees the accepted entries (reader-specific rules).
template <class Validate>
void CheckPaletteFile(const char* tag, const uint8_t* data, size_t size, PaletteReader read, PaletteWriter write,
                      std::initializer_list<int> codes, Validate&& validate) {
    const std::wstring path = Scratch(tag), again = Scratch((std::string(tag) + "2").c_str());
    const std::string narrow(path.begin(), path.end());
    std::FILE* f = std::fopen(narrow.c_str(), "wb");
    if (!f) return;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    RGBQUAD buffer[258];
    std::memset(buffer, 0, sizeof buffer);
    buffer[0] = buffer[257] = RGBQUAD{0xCD, 0xCD, 0xCD, 0xCD};
    uint16_t count = 7;
    const CErrorAutoThrow r = read(path.c_str(), buffer + 1, &count);
    // Guards either side of the caller's 256 entries stay untouched.
    if (buffer[0].rgbBlue != 0xCD || buffer[257].rgbRed != 0xCD) std::abort();
    const int code = r.Ignore();
    bool known = code == 0;
    for (int c : codes) known |= code == c;
    if (!known) std::abort();
    if (code != 0) return;
    if (count != 16 && count != 256) std::abort();
    validate(buffer + 1);
    CRowIterator image;
    if (image.CreateIndexed(1, 1, 8, buffer + 1, count).IsError()) return;
    if (write(again.c_str(), image).IsError()) std::abort();
    RGBQUAD back[256];
    uint16_t n = 0;
    if (read(again.c_str(), back, &n).IsError() || n != count || std::memcmp(back, buffer + 1, sizeof(RGBQUAD) * n) != 0)
        std::abort();
}

}  // namespace qgdi::fuzz
