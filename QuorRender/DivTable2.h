#pragma once
// Lookup tables shared by the row kernels. They are built once at start-up
// (QGDI_RowOpsStartup) and only read afterwards, so workers never race on
// them; a host that already holds them can hand them in instead.
#include <cstdint>

#include "qgdi_export.h"

// Identifiers of the tables a start-up provider can supply.
enum EInstanceDataID : int32_t {
    keInstanceDataMask64K = 0,     // GetMask64KLUT
    keInstanceDataAlphaRatio = 1,  // GetAlphaRatioTable
    keInstanceDataSqrt256 = 2,     // GetSqrt256Table
    keInstanceDataDissolve = 3,    // GetDissolveTable
};

// Returns the caller's table for an identifier, or null to let the library build it.
using QInstanceDataProviderFn = const void* (*)(EInstanceDataID id);

// Builds (or takes from `provider`) the four tables; true when all four exist.
// Tables from the provider are used as they are and never freed by the library.
QGDI_API bool QGDI_RowOpsStartup(QInstanceDataProviderFn provider = nullptr);
// Frees the tables the library built and every cache of the row kernels.
QGDI_API void QGDI_RowOpsShutdown();

constexpr int kMask64KSize = 65026;  // 255 x 255 + 1
constexpr int kDissolveSize = 128;

// [a][b]: 0 for a = 0; min(255, 255 b / a) for a in 1..254; b for a = 255.
// Built on first use; start-up builds it before any worker runs.
QGDI_API const uint8_t (*GetDiv255thsTable())[256];
// [a][b] = a / b in 16.16 fixed point, rounded, for b in 1..255; column 0 is 0.
QGDI_API const uint32_t (*GetAlphaRatioTable())[256];
// [row][column] of a reproducible dissolve pattern, values 0..253.
QGDI_API const uint8_t (*GetDissolveTable())[kDissolveSize];
// [x * y] = (x * y + 128) / 255 for two bytes x and y.
QGDI_API const uint8_t* GetMask64KLUT();
// [i] = truncate(sqrt(i / 255) * 255).
QGDI_API const uint8_t* GetSqrt256Table();

// Registers a cache of a row kernel to be freed by QGDI_RowOpsShutdown.
using QRowOpCacheFreeFn = void (*)();
QGDI_API void QGDI_RegisterRowOpCache(QRowOpCacheFreeFn freeFn);
