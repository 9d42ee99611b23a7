#pragma once
// Layer styles: effect records and their renderer.
#include "layerstyles/LayerStyle.h"
#include "layerstyles/StyleRender.h"
