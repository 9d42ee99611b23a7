#pragma once
// Vector drawing: paths, curves and their combination.
#include "drawing/Arc.h"
#include "drawing/Bezier.h"
#include "drawing/Curve.h"
#include "drawing/PathBlender.h"
#include "drawing/PathBoolean.h"
#include "drawing/PathBuffer.h"
#include "drawing/PathData.h"
#include "drawing/PathIterator.h"
#include "drawing/PathLinked.h"
#include "drawing/PathReceiver.h"
#include "drawing/QPath.h"
#include "drawing/Refed.h"
