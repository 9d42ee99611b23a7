// The binary iterator stream from arbitrary bytes: a refused stream leaves the
// iterator detached; an accepted one writes out again identically.
#include <cstdlib>
#include <sstream>
#include <string>

#include "qgdi.h"

namespace {
// CRC-32 (IEEE, reflected), as the stream's trailer holds it.
uint32_t Crc32(const char* p, size_t n) {
    uint32_t crc = ~0u;
    for (size_t i = 0; i < n; ++i) {
        crc ^= static_cast<uint8_t>(p[i]);
        for (int k = 0; k < 8; ++k) crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
    }
    return ~crc;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    // Half the inputs get a valid trailer, so that mutations reach the body's checks.
    if (size >= 8 && (data[size - 1] & 1)) {
        const uint32_t crc = Crc32(bytes.data() + 4, size - 8);
        for (int i = 0; i < 4; ++i) bytes[size - 4 + size_t(i)] = static_cast<char>(crc >> (8 * i));
    }
    std::istringstream in(bytes);
    CRowIterator it;
    if (it.StreamIn(in).IsError()) {
        if (it.IsAttached()) std::abort();
        return 0;
    }
    std::ostringstream out;
    if (it.StreamBinOut(out).IsError()) std::abort();
    const std::string again = out.str();
    if (bytes.compare(0, again.size(), again) != 0) std::abort();  // what was read is written back unchanged
    std::ostringstream text;
    it.StreamTextOut(text, CRowIteratorBands::TextFull).Ignore();
    return 0;
}
