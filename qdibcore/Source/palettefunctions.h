#pragma once
// Palettes of paletted images: the built-in palettes, palette files in the
// text and the RIFF form, gamma tables, and counting and widening palettes.
// A palette is an array of RGBQUAD (blue, green, red, reserved).
#include <cstdint>

#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

class CQPalette;
class CStatusControl;

// ---- Built-in palettes ----------------------------------------------------
// Static tables valid for the life of the process; `count` (optional) receives
// the number of entries: BW 2, VGA16 16, the others 256.
QGDI_API const RGBQUAD* QPalette_PaletteGetBW(int* count = nullptr) noexcept;
QGDI_API const RGBQUAD* QPalette_PaletteGetVGA16(int* count = nullptr) noexcept;
// The 6x6x6 cube from white down to black with entry 215 white, 216..254 white, 255 black.
QGDI_API const RGBQUAD* QPalette_PaletteGetNetscape(int* count = nullptr) noexcept;
// The 6x6x6 cube with red fastest (entry r + 6g + 36b is 51·(r, g, b)), 216..255 black.
QGDI_API const RGBQUAD* QPalette_PaletteGetQuick8(int* count = nullptr) noexcept;
// Entry i is (i, i, i); built on first request into a table shared by all callers.
QGDI_API const RGBQUAD* QPalette_PaletteGetGreyscale(int* count = nullptr) noexcept;
// The same wrapped in a new palette object (reference count 1: Release() it); null when memory is short.
QGDI_API CQPalette* QPalette_PaletteCreateBW();
QGDI_API CQPalette* QPalette_PaletteCreateVGA16();
QGDI_API CQPalette* QPalette_PaletteCreateNetscape();
QGDI_API CQPalette* QPalette_PaletteCreateQuick8();
QGDI_API CQPalette* QPalette_PaletteCreateGreyscale();

// ---- Palette files --------------------------------------------------------
// Text palette ("QUOR-PAL", "0100", the count, one "R G B" line per entry, CR LF
// line ends). `palette` has room for 256 entries; `count` receives 16 or 256.
// 101 null argument, 201 cannot open, 312 malformed, 528 wrong count,
// 529 wrong version, 202 read failure.
QGDI_API CErrorAutoThrow OpenPalFile(const wchar_t* path, RGBQUAD* palette, uint16_t* count);
// Writes the palette of a paletted image of 16 or 256 entries (101 otherwise);
// a failed write deletes the partial file.
QGDI_API CErrorAutoThrow SaveDIBPal(const wchar_t* path, const CRowIterator& image);
// RIFF "PAL " palette. Entries beyond those in the file keep their values;
// `count` receives 16 for files of up to 16 entries, 256 otherwise. 201 cannot
// open, 312 no form or data chunk, 102 no memory, 202 short read, 528 bad count.
QGDI_API CErrorAutoThrow OpenMSPalFile(const wchar_t* path, RGBQUAD* palette, uint16_t* count);
// 101 not a palette of 16 or 256 entries; 240 open, 252 and 263 chunk
// creation, 272 short write, 279 close failures.
QGDI_API CErrorAutoThrow SaveDIBMSPal(const wchar_t* path, const CRowIterator& image);

// ---- Tables and counts ----------------------------------------------------
// lut[i] = trunc((i / max)^(1 / gamma) · (max + 0.9999)), gamma clamped to 0.25 .. 5.
QGDI_API void MakeGammaLUT(uint8_t lut[256], double gamma) noexcept;
QGDI_API void MakeGammaLUT(uint16_t lut[65536], double gamma) noexcept;
// Distinct palette indices used by an indexed image, distinct colours (with
// alpha where the format has it) used by any other. 110 when not attached.
QGDI_API CErrorAutoThrow CountColorsUsed(const CRowIterator& image, int& count, CStatusControl* status = nullptr);
// Gives an indexed image room for `colours` palette entries: the pixels move
// to a deeper indexed format when its bits cannot address them, the indices
// are kept, and new entries are black. 101 for colours outside 1..256 or an
// image that is not indexed.
QGDI_API CErrorAutoThrow IncreaseMaxColors(CRowIterator& image, int colours);
