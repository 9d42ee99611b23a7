#pragma once
// Image model: pixel formats, status, iterators.
#include "qdibcore/Source/BmpFile.h"
#include "qdibcore/Source/ColorRef.h"
#include "qdibcore/Source/DibIterator.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/QuorType.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qdibcore/Source/RowIteratorFunctions.h"
#include "qdibcore/Source/StatusControl.h"
// Palettes, palette files, colour reduction and dithering.
#include "qdibcore/Source/Dith2.h"
#include "qdibcore/Source/DitherDIB.h"
#include "qdibcore/Source/PaletteFromDIB.h"
#include "qdibcore/Source/QPalette.h"
#include "qdibcore/Source/locatecolorinpal.h"
#include "qdibcore/Source/palettefunctions.h"
