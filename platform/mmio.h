#pragma once
// Buffered RIFF file input and output in the shape of the Windows multimedia
// file services: open by wide path, descend into and ascend out of chunks,
// create chunks whose sizes are patched on ascent, read and write bytes.
#include <cstdint>

#include "platform/windef.h"
#include "qgdi_export.h"

using FOURCC = DWORD;
using MMRESULT = UINT;
struct QMmioFile;
using HMMIO = QMmioFile*;

constexpr FOURCC mmioFOURCC(char a, char b, char c, char d) noexcept {
    return static_cast<FOURCC>(static_cast<uint8_t>(a)) | (static_cast<FOURCC>(static_cast<uint8_t>(b)) << 8) |
           (static_cast<FOURCC>(static_cast<uint8_t>(c)) << 16) | (static_cast<FOURCC>(static_cast<uint8_t>(d)) << 24);
}
inline constexpr FOURCC FOURCC_RIFF = mmioFOURCC('R', 'I', 'F', 'F');
inline constexpr FOURCC FOURCC_LIST = mmioFOURCC('L', 'I', 'S', 'T');

// Open flags.
inline constexpr DWORD MMIO_READ = 0x00000000;
inline constexpr DWORD MMIO_WRITE = 0x00000001;
inline constexpr DWORD MMIO_READWRITE = 0x00000002;
inline constexpr DWORD MMIO_DENYWRITE = 0x00000020;
inline constexpr DWORD MMIO_CREATE = 0x00001000;
inline constexpr DWORD MMIO_ALLOCBUF = 0x00010000;
// Descend and create flags.
inline constexpr UINT MMIO_FINDCHUNK = 0x0010;
inline constexpr UINT MMIO_FINDRIFF = 0x0020;
inline constexpr UINT MMIO_FINDLIST = 0x0040;
inline constexpr UINT MMIO_CREATERIFF = 0x0020;
inline constexpr UINT MMIO_CREATELIST = 0x0040;
// Chunk flag: created by mmioCreateChunk, its size is checked on ascent.
inline constexpr DWORD MMIO_DIRTY = 0x10000000;
// Seek origins.
inline constexpr int SEEK_SET_MM = 0, SEEK_CUR_MM = 1, SEEK_END_MM = 2;

// Results.
inline constexpr MMRESULT MMSYSERR_NOERROR = 0;
inline constexpr MMRESULT MMSYSERR_INVALPARAM = 11;
inline constexpr MMRESULT MMIOERR_CANNOTOPEN = 259;
inline constexpr MMRESULT MMIOERR_CANNOTCLOSE = 260;
inline constexpr MMRESULT MMIOERR_CANNOTREAD = 261;
inline constexpr MMRESULT MMIOERR_CANNOTWRITE = 262;
inline constexpr MMRESULT MMIOERR_CANNOTSEEK = 263;
inline constexpr MMRESULT MMIOERR_CHUNKNOTFOUND = 265;

struct MMCKINFO {
    FOURCC ckid;
    DWORD cksize;
    FOURCC fccType;      // form or list type of RIFF and LIST chunks
    DWORD dwDataOffset;  // file offset of the chunk's data (after the size field)
    DWORD dwFlags;
};

// Unused options of the original interface; accepted and ignored.
struct MMIOINFO {
    DWORD dwFlags;
};

// Null when the file cannot be opened.
QGDI_API HMMIO mmioOpenW(const wchar_t* path, MMIOINFO* info, DWORD flags) noexcept;
QGDI_API MMRESULT mmioClose(HMMIO h, UINT flags) noexcept;
// Bytes transferred (fewer at the end of the file), -1 on error.
QGDI_API LONG mmioRead(HMMIO h, char* buffer, LONG count) noexcept;
QGDI_API LONG mmioWrite(HMMIO h, const char* buffer, LONG count) noexcept;
// New position, -1 on error.
QGDI_API LONG mmioSeek(HMMIO h, LONG offset, int origin) noexcept;
// Searches from the current position (inside `parent` when given) for the
// chunk `ck` names (MMIO_FINDRIFF/FINDLIST: a RIFF/LIST of type ck->fccType;
// MMIO_FINDCHUNK: id ck->ckid; no flag: the next chunk) and enters its data.
QGDI_API MMRESULT mmioDescend(HMMIO h, MMCKINFO* ck, const MMCKINFO* parent, UINT flags) noexcept;
// Leaves the chunk: a created one gets its true size and an even length.
QGDI_API MMRESULT mmioAscend(HMMIO h, MMCKINFO* ck, UINT flags) noexcept;
// Writes the header of a new chunk at the current position and enters it.
QGDI_API MMRESULT mmioCreateChunk(HMMIO h, MMCKINFO* ck, UINT flags) noexcept;
