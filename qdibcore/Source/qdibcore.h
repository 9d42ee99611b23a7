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
