#pragma once
// Diagnostics: logging.
#include "diagnostics/QgdiLog.h"
