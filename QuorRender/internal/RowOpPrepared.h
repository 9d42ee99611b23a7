#pragma once
// Prepared blocks of the kinds whose kernels would otherwise rebuild state on
// every call (colours converted to the row's format, coverage tables), and
// how a kernel reaches its block. Blocks are made by the definitions'
// Prepare when an operation is bound and are never written afterwards.
// They are plain data declared here, outside any kernel source, so that every
// compilation of a kernel reads the one layout the binding wrote; their
// destructors are defined out of line for the same reason (an inline one would
// be compiled into every kernel pass, and the linker could keep a wide one).
#include <cstdint>
#include <memory>
#include <optional>

#include "QuorRender/RowOp.h"

namespace qgdi::rowop {

// The block of kernel (D, S) of `def`: the bound operation's when it was
// made for this definition and these formats, else one made into `local`
// (a kernel called directly, without a binding, still gives the same pixels).
template <class Block, EQPixelFormat D, EQPixelFormat S>
const Block& PreparedFor(const CRowOpDef& def, const CRowOpData& data, std::optional<Block>& local) {
    if (const CRowOpPrepared* p = data.pPrepared; p && p->IsFor(def, D, S)) [[likely]]
        return static_cast<const Block&>(*p);
    return local.emplace(def, D, S);
}

template <class Block>
std::shared_ptr<const CRowOpPrepared> MakePrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src) {
    return std::make_shared<const Block>(def, dst, src);
}

// Solid fills: the colour as whole destination pixels (the index for indexed
// rows) repeated over 192 bytes, a multiple of every pixel size up to 16 bytes.
// Fills of more bytes than `streamAbove` (0: none) store around the cache.
struct SFillPrepared final : CRowOpPrepared {
    static constexpr size_t kPatternBytes = 4 * 48;
    alignas(64) uint8_t pattern[kPatternBytes];
    size_t streamAbove;
    SFillPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SFillPrepared() override;
};

// Source-over of a solid colour through a mask: the colour (straight, stored
// order b, g, r, a) in the destination's channel scale, as integers for 8-
// and 16-bit rows and as floats in 0..1, and its alpha per mask byte.
struct SSolidOverPrepared final : CRowOpPrepared {
    int32_t colour[4];
    float colourF[4];
    uint32_t alpha;        // colour alpha x opacity, 0..255
    uint8_t alphaOf[256];  // colour alpha x coverage m x opacity, 0..255
    SSolidOverPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SSolidOverPrepared() override;
};

// A tint towards a colour: the colour as one destination pixel.
struct SBlendSolidPrepared final : CRowOpPrepared {
    alignas(16) uint8_t pixel[16];
    SBlendSolidPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SBlendSolidPrepared() override;
};

// Coverage of each mask byte under the opacity, m x opacity / 255.
struct SCoveragePrepared final : CRowOpPrepared {
    uint8_t coverageOf[256];
    SCoveragePrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SCoveragePrepared() override;
};

// A constant into a set of channels: which elements of the pixel the set
// names, and the constant in the channel scale (integer for 8- and 16-bit
// rows, float otherwise).
struct SChannelConstantPrepared final : CRowOpPrepared {
    bool member[4];
    int32_t value;
    float valueF;
    SChannelConstantPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SChannelConstantPrepared() override;
};

// d = scale d + offset on a set of channels: 8-bit rows in 20.12 fixed point
// (k = scale x 4096, o = offset x 255 x 4096 + 2048 to round), wider ones in
// float with the offset in the channel scale (+ 0.5 to round integers).
struct SChannelLinearPrepared final : CRowOpPrepared {
    bool member[4];
    int32_t k, o;
    float kF, oF;
    SChannelLinearPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SChannelLinearPrepared() override;
};

// Blend modes: the coverage in the destination's scale and, with active blend
// ranges, their nine tables.
struct SBlendMoxPrepared final : CRowOpPrepared {
    uint32_t opacity8;  // 0..255
    uint32_t coverage;  // the opacity in the channels' scale (x 257 at 16 bits)
    bool ranges;
    bool preserveAlpha;
    uint32_t skipSrcGrey, skipDstGrey;
    alignas(64) uint8_t rangeBytes[9][256];
    bool rangeFull[9];  // the table is 255 throughout: its reads can be skipped
    SBlendMoxPrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SBlendMoxPrepared() override;
};

// Compositing operators: the opacity in the channels' scale.
struct SCompositePrepared final : CRowOpPrepared {
    uint32_t opacity;  // 0..255, or 0..65535 for 16-bit rows
    float opacityF;    // 0..1
    SCompositePrepared(const CRowOpDef& def, EQPixelFormat dst, EQPixelFormat src);
    ~SCompositePrepared() override;
};

}  // namespace qgdi::rowop
