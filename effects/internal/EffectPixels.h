#pragma once
// What every effect operation shares: its images held whole as premultiplied
// BGRA bytes (the form compositing, filtering and lighting are defined on),
// the moves between them and the graph's straight BGRA node images, and a
// row loop that runs in parallel and reports progress and cancellation.
#include <cstdint>
#include <type_traits>
#include <vector>

#include "QuorRender/IoSeqOp.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"

class CStatusControl;

namespace qgdi::effects {

// Premultiplied BGRA, rows packed without padding.
struct SPixels {
    int width = 0, height = 0;
    std::vector<uint8_t> bytes;
    uint8_t* Row(int y) noexcept { return bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(width) * 4; }
    const uint8_t* Row(int y) const noexcept {
        return bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(width) * 4;
    }
    // The pixel at (x, y), or transparent black outside.
    uint32_t At(int x, int y) const noexcept;
};

// Premultiplied BGRA of a whole image (8-bit BGRA straight or premultiplied);
// a null image gives transparent pixels of width x height. 120 for other
// formats, 102 when memory runs out.
CErrorAutoThrow ReadPixels(const CRowIterator* image, int width, int height, SPixels& out);
// Rectangle rc of premultiplied pixels (same coordinates as the image's)
// written into an 8-bit BGRA image, straight or premultiplied as it is.
CErrorAutoThrow WritePixels(CRowIterator& image, const RECT& rc, const SPixels& pixels);

// The input of a node as premultiplied pixels the size of its destination:
// what its producer wrote outside its rectangle reads as transparent.
CErrorAutoThrow ReadInput(const CIoData& data, int index, SPixels& out);

// The destination a node may write (rcDst clipped to the image); 101 when
// nothing is left or there is no destination.
CErrorAutoThrow DestinationRect(const CIoData& data, RECT& rc);

// Runs body(y) for y in [top, bottom) on all cores, in bands. Only the
// calling thread talks to the status; false when it asked to stop (some rows
// may then be left undone).
template <class Body>
bool ForRows(int top, int bottom, CStatusControl* status, Body&& body);

inline uint8_t Premultiply(uint8_t c, uint8_t a) noexcept {
    const uint32_t t = uint32_t(c) * a + 128;
    return uint8_t((t + (t >> 8)) >> 8);
}

// round(255 x 2^16 / a): unpremultiplying is then a multiply and a shift.
struct SReciprocals {
    uint32_t r[256];
    constexpr SReciprocals() : r{} {
        for (uint32_t a = 1; a < 256; ++a) r[a] = (255u * 65536u + a / 2) / a;
    }
};
inline constexpr SReciprocals kReciprocal;

// c * 255 / a rounded, saturated (0 for a = 0).
inline uint8_t Unpremultiply(uint8_t c, uint8_t a) noexcept {
    const uint32_t v = (uint32_t(c) * kReciprocal.r[a] + 32768u) >> 16;
    return uint8_t(v > 255 ? 255 : v);
}

// Straight pixels of input 0 through kernel(pixels, count) in place over
// the node's rectangle, written straight into the destination: for the
// operations defined on straight colour, which then skip premultiplying.
// Colour under zero alpha reads as black. Both images 8-bit BGRA (120 otherwise).
CErrorAutoThrow MapStraightImpl(const CIoData& data, void (*fn)(void*, uint8_t*, int), void* context);
template <class Kernel>
CErrorAutoThrow MapStraight(const CIoData& data, Kernel&& kernel) {
    return MapStraightImpl(
        data, [](void* c, uint8_t* px, int n) { (*static_cast<std::remove_reference_t<Kernel>*>(c))(px, n); },
        const_cast<void*>(static_cast<const void*>(&kernel)));
}

bool ForRowsImpl(int top, int bottom, CStatusControl* status, void (*fn)(void*, int), void* context);

template <class Body>
bool ForRows(int top, int bottom, CStatusControl* status, Body&& body) {
    return ForRowsImpl(
        top, bottom, status, [](void* c, int y) { (*static_cast<std::remove_reference_t<Body>*>(c))(y); },
        const_cast<void*>(static_cast<const void*>(&body)));
}

}  // namespace qgdi::effects

class CRowOpDef;

namespace qgdi::effects {

// Runs a row operation over rc of premultiplied pixels (bound for BGRxA
// against BGRxA; without src for kinds that read no source). false when cancelled.
bool RunRowOp(const CRowOpDef& def, SPixels& dst, const SPixels* src, const RECT& rc, CStatusControl* status);

// The usual ending of an operation: 100 when cancelled, otherwise the
// pixels written into the destination's rectangle.
CErrorAutoThrow Finish(bool completed, const CIoData& data, const RECT& rc, const SPixels& pixels);

}  // namespace qgdi::effects
