#pragma once
// Nearest and exact palette entries for a colour. The nearest-colour search
// takes an optional lookup cache: a 4096-slot hash of recent answers, and per
// 64x64x64 colour bucket the list of entries that can be nearest to any colour
// of the bucket, sorted by a lower bound of their distance, so a search walks
// only a few candidates and stops early.
#include <cstdint>

#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qgdi_export.h"

struct tagColorLookupCache;
using LPCOLORLOOKUPCACHE = tagColorLookupCache*;

// A cache for palettes of up to `maxEntries` entries (1..256; other values
// mean 256). Null when memory is short. A cache serves one palette at a time:
// it notices a different palette pointer, count or stride by itself, and
// LockColorLookupCache notices entries changed in place since the last use.
QGDI_API tagColorLookupCache* CreateColorLookupCache(int maxEntries = 256);
QGDI_API void FreeColorLookupCache(tagColorLookupCache* cache) noexcept;
// Pins the cache to the calling thread between the two calls; a cache is used
// by one thread at a time.
QGDI_API void LockColorLookupCache(tagColorLookupCache* cache) noexcept;
QGDI_API void UnlockColorLookupCache(tagColorLookupCache* cache) noexcept;

// Index of the entry nearest to (red, green, blue) by squared RGB distance,
// ties to the lower index. Entry i is at palette + i·stride, blue first.
// Channel values above 255 count as 255. A count below 1 gives 0.
QGDI_API uint16_t LocateNearestColor(uint32_t red, uint32_t green, uint32_t blue, const uint8_t* palette, int count,
                                     int stride, tagColorLookupCache* cache) noexcept;
// The same without a cache, never answering `exclude` (0 when nothing else is left).
QGDI_API uint16_t LocateNearestColorExclude(uint32_t red, uint32_t green, uint32_t blue, const uint8_t* palette,
                                            int count, int stride, int exclude) noexcept;
// First palette entry of the image equal to the colour; -1 when none (or a
// null pointer, or an image without palette).
QGDI_API int LocateColorInPal(const CRowIterator& image, const uint8_t* red, const uint8_t* green,
                              const uint8_t* blue) noexcept;
// Entries for a pair of colours (a foreground and a background, say) that must
// stay apart: each gets its exact entry when there is one, else its nearest,
// and when both land on one entry the second takes the nearest other entry.
// True when both were exact. Indices are -1 for an image without palette.
QGDI_API bool LocateColorPairInPal(const CRowIterator& image, const RGBQUAD& first, const RGBQUAD& second,
                                   int& firstIndex, int& secondIndex) noexcept;
