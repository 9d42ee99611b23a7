#pragma once
// Coordinate maps: for every pixel of a destination rectangle, the position in
// the source image it is resampled from, in units of 1/256 source pixel.
// Destination and source pixels sit at integer positions, so the identity map
// gives (x·256, y·256).
//
// Use: Realize with the source size, read back the destination size (or
// GetResultRect), then ask for coordinates rectangle by rectangle or row by row.
// A realised map holds no per-call state: several threads may ask for
// coordinates of different rows at once.
#include "geometry/QRect.h"
#include "platform/windef.h"
#include "qgdi_export.h"

class QGDI_API CCoordinator {
public:
    CCoordinator() noexcept = default;
    CCoordinator(const CCoordinator&) = default;
    CCoordinator& operator=(const CCoordinator&) = default;
    virtual ~CCoordinator();

    // Prepares the map for a source of width x height and sets the destination
    // size; the base takes the source size as it is. False when the map cannot
    // serve that source (an empty size, a singular matrix).
    virtual bool Realize(int width, int height);

    // Source coordinates of every pixel of rect, row by row (rect width x
    // height points). With bbox, also the bounding box of those coordinates,
    // right and bottom exclusive (max + 1), in the same 1/256 units.
    virtual void GetCoordinates(POINT* out, const RECT& rect, RECT* bbox);
    // Source coordinates of the pixels (x, y) to (x + count − 1, y).
    virtual void GetCoordinates(POINT* out, int y, int x, int count) = 0;
    // The bounding box GetCoordinates would report for rect, without computing
    // every point; false when the map has no such shortcut.
    virtual bool GetBBox(RECT* bbox, const RECT& rect);

    virtual void SetWidth(int width) { m_nWidth = width; }
    virtual int GetWidth() const { return m_nWidth; }
    virtual void SetHeight(int height) { m_nHeight = height; }
    virtual int GetHeight() const { return m_nHeight; }

    // Where the realised destination stands inside `in`: `in` itself when the
    // sizes agree, otherwise centred (offsets truncated toward zero).
    virtual void GetResultRect(const RECT& in, RECT& out);

protected:
    int m_nWidth = 0;
    int m_nHeight = 0;
};

// Integer rectangle covering rc, with the geometry tolerance: left and top
// become floor(v + 1e-6), right and bottom ceil(v − 1e-6), so edges that miss
// an integer by rounding noise do not grow the rectangle by a pixel.
QGDI_API void QGDI_CastRect(const SQRECT& rc, RECT& out) noexcept;
