#pragma once
// Diagnostics: logging and profiling scopes.
#include "diagnostics/Profile.h"
#include "diagnostics/QgdiLog.h"
