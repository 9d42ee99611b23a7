#pragma once
// What every whole-image filter shares: the format checks, the destination,
// straight alpha premultiplied around the filter, the channel set, and the
// chain pulled row by row into the destination with progress and
// cancellation. A filter only supplies its stages.
#include <functional>
#include <memory>

#include "QuorRender/SeqOp.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"

class CStatusControl;

namespace qgdi::filter {

struct SChainContext {
    EQPixelFormat eWorking = keFormatNone;  // the format the filter's stages see
    int nWidth = 0, nHeight = 0;
    // A new head reading the source in the working format, for stages that
    // also need the unfiltered rows; owned by the caller.
    std::function<VSeqOp*()> fnHead;
};

// Puts the filter's stages after `tail` (whose ownership it takes) and
// returns the new tail, or null when a stage cannot be made.
using FChainBuilder = std::function<VSeqOp*(VSeqOp* tail, const SChainContext&)>;

struct SChainOptions {
    EQChannelSet eChannels = keChannelSetAll;
    bool bPremultiply = true;  // filter straight alpha premultiplied
    bool bSixteenBit = true;   // 16-bit formats accepted beside 8-bit ones
};

// 110 for a detached source, 120 for formats other than 8- (and 16-) bit
// grey and colour, 101 when an attached destination differs in size, 102
// when memory is short or the chain does not start, 100 when cancelled.
CErrorAutoThrow RunChain(const CRowIterator& source, CRowIterator& destination, const SChainOptions& options,
                         const FChainBuilder& build, CStatusControl* status);

// Appends `stage` to `tail`, which it takes ownership of.
inline VSeqOp* Append(VSeqOp* tail, VSeqOp* stage) {
    stage->SetSrc(tail, 0, true);
    return stage;
}

}  // namespace qgdi::filter
