#pragma once
// Effects: graphs of image operations, their builder and the operations.
#include "effects/Effect.h"
#include "effects/EffectBuilder.h"
#include "effects/IoBasic.h"
#include "effects/IoBlur.h"
#include "effects/IoColor.h"
#include "effects/IoDeformation.h"
#include "effects/IoFilters.h"
#include "effects/IoGenerate.h"
#include "effects/IoLighting.h"
#include "effects/IoRelief.h"
#include "effects/EffectGraphText.h"
