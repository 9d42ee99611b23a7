#pragma once
#include <cstdint>

#include "qerror/qerror_export.h"

// Result codes shared by the editor's libraries. Callers compare against the
// numbers, so the values are fixed; codes not named here (a palette file's
// 312 or 528, say) are still valid QuorErrorCode values.
enum QuorErrorCode : int32_t {
    keQuorErrSuccess = 0,
    keQuorErrCancelled = 100,
    keQuorErrFailed = 101,
    keQuorErrOutOfMemory = 102,
    keQuorErrIteratorState = 110,
    keQuorErrFormatNotSupported = 120,
    keQuorErrInpaintFormat = 162,
    keQuorErrPaletteOpen = 201,
    keQuorErrPaletteRead = 202,
};

// A short English description of a code ("cancelled", "out of memory" ...).
QERROR_API const char* QuorErrorText(QuorErrorCode code) noexcept;
