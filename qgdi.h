#pragma once
// The whole public interface of the graphics core, its memory manager and its
// error-code library. Each subsystem has an umbrella header of its own.
#include "platform/CpuDispatch.h"
#include "platform/platform.h"
#include "qerror/qerror.h"
#include "qmm/ImageTiles.h"
#include "qmm/MemStats.h"
#include "qmm/qmm.h"

#include "QuorRender/QuorRender.h"
#include "colour/colour.h"
#include "deformation/deformation.h"
#include "diagnostics/diagnostics.h"
#include "drawing/drawing.h"
#include "effects/effects.h"
#include "geometry/geometry.h"
#include "inpainting/inpainting.h"
#include "layerstyles/layerstyles.h"
#include "qdibcore/Source/qdibcore.h"
#include "segmentation/segmentation.h"

#define QGDI_VERSION_STRING "0.1.0"
