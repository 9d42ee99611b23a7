// BMP files and packed bitmaps from arbitrary bytes: whatever is accepted
// must be readable whole; nothing may be read or written outside the input.
#include <cstring>

#include "qgdi.h"

namespace {
void ReadAll(const CRowIterator& it) {
    CRowIterator copy;
    copy.CreateFromCopy(it, nullptr, keFormatBGRA).Ignore();
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* row = QGDI_GetPixelRow(&it, y);
        if (row) QGDI_ReleasePixelRow(&it, y);
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // As a file.
    CDibIterator file;
    if (!QGDI_ReadBmp(data, size, file).IsError()) ReadAll(file);
    // As a packed bitmap handed over directly.
    if (size == 0) return 0;
    CQmmBinPtr block = CQmmBinPtr::Adopt(QMM_AllocEX(size, GMEM_MOVEABLE));
    if (!block) return 0;
    {
        CLockAccessor lock(block);
        void* p = lock.Lock(QMM_HERE);
        if (!p) return 0;
        std::memcpy(p, data, size);
    }
    CDibIterator packed;
    if (!packed.Attach(block.p).IsError()) ReadAll(packed);
    return 0;
}
