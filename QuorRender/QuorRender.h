#pragma once
// Row operations, shared tables, sequential stages and resampling.
#include "QuorRender/DivTable2.h"
#include "QuorRender/RowOp.h"
#include "QuorRender/RowOpCopy.h"
