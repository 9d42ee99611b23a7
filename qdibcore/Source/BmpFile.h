#pragma once
// BMP files. Reading turns every variant a file may use (core, OS/2, V3, V4
// and V5 headers, bit-field masks, RLE4 and RLE8, top-down rows, short
// palettes) into the one packed form the iterators attach to: a 40-byte
// header, the palette and bottom-up rows, indexed (1, 4, 8 bits), BGR or
// BGRA. Malformed files are refused with 101; valid features the library
// does not read (embedded JPEG or PNG, Huffman or 24-bit RLE, 64-bit pixels)
// with 120. Nothing outside the given bytes is read.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qdibcore/Source/DibIterator.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"
#include "qmm/qmm.h"

// The packed bitmap of a BMP file held in memory.
QGDI_API CErrorAutoThrow QGDI_BmpToPackedDIB(const void* file, size_t bytes, CQmmBinPtr& dib);
// Reads a BMP file held in memory and attaches `it` (detached) to its bitmap.
QGDI_API CErrorAutoThrow QGDI_ReadBmp(const void* file, size_t bytes, CDibIterator& it);
QGDI_API CErrorAutoThrow QGDI_ReadBmpFile(const char* path, CDibIterator& it);

// The BMP file of a packed bitmap as CopyToDIB makes it (1, 4, 8, 24 or 32
// bits; 32-bit pixels are written with an alpha mask). 120 for other bit counts.
QGDI_API CErrorAutoThrow QGDI_PackedDIBToBmp(IBinAccessor* dib, std::vector<uint8_t>& file);
// The BMP file of an image's presented pixels (Index1/4/8, Grey, BGR, BGRA; 120 otherwise).
QGDI_API CErrorAutoThrow QGDI_WriteBmp(const CRowIterator& it, std::vector<uint8_t>& file);
QGDI_API CErrorAutoThrow QGDI_WriteBmpFile(const CRowIterator& it, const char* path);
