// Effect graph text: whatever the parser accepts gives a graph that either
// fails to resolve with 101 or runs on a small image without fault; a
// rejected text names its line.
#include <cstdlib>
#include <string>

#include "qgdi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 14) return 0;
    const std::string text(reinterpret_cast<const char*>(data), size);
    CIoEffect effect;
    std::string error;
    if (!QGDI_ParseEffectGraph(text, effect, &error)) {
        if (error.rfind("line ", 0) != 0) std::abort();
        return 0;
    }
    // Bound the work: a few nodes on a tiny image.
    if (effect.GetNodeCount() > 24) return 0;
    CRowIterator src, bg, dst;
    const CColorRef grey(120, 140, 160, 200);
    if (src.Create(9, 7, keFormatBGRA, &grey).IsError() || bg.Create(9, 7, keFormatBGR, &grey).IsError() ||
        dst.Create(9, 7, keFormatBGRA).IsError())
        return 0;
    CIoData run;
    run.pDst = &dst;
    run.pSrc = &src;
    run.pBackground = &bg;
    run.rcDst = {0, 0, 9, 7};
    const QuorErrorCode code = effect.Run(run).Ignore();
    if (code != keQuorErrSuccess && code != keQuorErrFailed && code != keQuorErrOutOfMemory) std::abort();
    if (code == keQuorErrSuccess && !effect.IsValidEffect()) std::abort();
    static_cast<void>(effect.Dump());
    return 0;
}
