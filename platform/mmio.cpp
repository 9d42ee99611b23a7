#include "platform/mmio.h"

#include <cstdio>
#include <new>

#include "platform/fileio.h"

struct QMmioFile {
    std::FILE* file = nullptr;
    bool writable = false;
};

namespace {

bool ReadDword(std::FILE* f, DWORD& v) {
    uint8_t b[4];
    if (std::fread(b, 1, 4, f) != 4) return false;
    v = DWORD{b[0]} | (DWORD{b[1]} << 8) | (DWORD{b[2]} << 16) | (DWORD{b[3]} << 24);
    return true;
}

bool WriteDword(std::FILE* f, DWORD v) {
    const uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    return std::fwrite(b, 1, 4, f) == 4;
}

}  // namespace

HMMIO mmioOpenW(const wchar_t* path, MMIOINFO*, DWORD flags) noexcept {
    if (!path) return nullptr;
    const bool create = (flags & MMIO_CREATE) != 0;
    const bool writable = (flags & (MMIO_WRITE | MMIO_READWRITE)) != 0;
    const char* mode = create ? (writable ? "w+b" : "wb") : writable ? "r+b" : "rb";
    std::FILE* f = nullptr;
    try {
        f = std::fopen(QPlatform_NarrowPath(path).c_str(), mode);
    } catch (...) {
        return nullptr;
    }
    if (!f) return nullptr;
    HMMIO h = new (std::nothrow) QMmioFile{f, writable || create};
    if (!h) std::fclose(f);
    return h;
}

MMRESULT mmioClose(HMMIO h, UINT) noexcept {
    if (!h) return MMSYSERR_INVALPARAM;
    const int rc = std::fclose(h->file);
    delete h;
    return rc == 0 ? MMSYSERR_NOERROR : MMIOERR_CANNOTCLOSE;
}

LONG mmioRead(HMMIO h, char* buffer, LONG count) noexcept {
    if (!h || count < 0 || (!buffer && count)) return -1;
    const size_t n = std::fread(buffer, 1, static_cast<size_t>(count), h->file);
    if (n < static_cast<size_t>(count) && std::ferror(h->file)) return -1;
    return static_cast<LONG>(n);
}

LONG mmioWrite(HMMIO h, const char* buffer, LONG count) noexcept {
    if (!h || !h->writable || count < 0 || (!buffer && count)) return -1;
    const size_t n = std::fwrite(buffer, 1, static_cast<size_t>(count), h->file);
    return n == static_cast<size_t>(count) ? count : -1;
}

LONG mmioSeek(HMMIO h, LONG offset, int origin) noexcept {
    if (!h) return -1;
    const int whence = origin == SEEK_CUR_MM ? SEEK_CUR : origin == SEEK_END_MM ? SEEK_END : SEEK_SET;
    if (std::fseek(h->file, offset, whence) != 0) return -1;
    const long pos = std::ftell(h->file);
    return pos < 0 || pos > 0x7FFFFFFF ? -1 : static_cast<LONG>(pos);
}

MMRESULT mmioDescend(HMMIO h, MMCKINFO* ck, const MMCKINFO* parent, UINT flags) noexcept {
    if (!h || !ck) return MMSYSERR_INVALPARAM;
    // A chunk's end is computed in 64 bits: a declared size near 4 GiB must not wrap.
    const int64_t end = parent ? int64_t{parent->dwDataOffset} + parent->cksize : INT64_MAX;
    for (;;) {
        const long pos = std::ftell(h->file);
        if (pos < 0 || pos + 8 > end) return MMIOERR_CHUNKNOTFOUND;
        MMCKINFO found{};
        if (!ReadDword(h->file, found.ckid) || !ReadDword(h->file, found.cksize)) return MMIOERR_CHUNKNOTFOUND;
        found.dwDataOffset = static_cast<DWORD>(pos + 8);
        const bool isForm = found.ckid == FOURCC_RIFF || found.ckid == FOURCC_LIST;
        if (isForm && found.cksize >= 4 && !ReadDword(h->file, found.fccType)) return MMIOERR_CHUNKNOTFOUND;
        bool match = true;
        if (flags & MMIO_FINDRIFF) match = found.ckid == FOURCC_RIFF && found.fccType == ck->fccType;
        else if (flags & MMIO_FINDLIST) match = found.ckid == FOURCC_LIST && found.fccType == ck->fccType;
        else if (flags & MMIO_FINDCHUNK) match = found.ckid == ck->ckid;
        if (match) {
            *ck = found;
            return MMSYSERR_NOERROR;
        }
        const int64_t next = int64_t{found.dwDataOffset} + found.cksize + (found.cksize & 1);
        if (next > end || next > 0x7FFFFFFF || std::fseek(h->file, static_cast<long>(next), SEEK_SET) != 0)
            return MMIOERR_CHUNKNOTFOUND;
    }
}

MMRESULT mmioAscend(HMMIO h, MMCKINFO* ck, UINT) noexcept {
    if (!h || !ck) return MMSYSERR_INVALPARAM;
    if (ck->dwFlags & MMIO_DIRTY) {
        const long pos = std::ftell(h->file);
        if (pos < 0 || pos < static_cast<long>(ck->dwDataOffset)) return MMIOERR_CANNOTSEEK;
        const DWORD size = static_cast<DWORD>(pos - static_cast<long>(ck->dwDataOffset));
        if (size & 1) {
            if (std::fputc(0, h->file) == EOF) return MMIOERR_CANNOTWRITE;
        }
        if (size != ck->cksize) {
            if (std::fseek(h->file, static_cast<long>(ck->dwDataOffset) - 4, SEEK_SET) != 0) return MMIOERR_CANNOTSEEK;
            if (!WriteDword(h->file, size)) return MMIOERR_CANNOTWRITE;
            ck->cksize = size;
        }
        ck->dwFlags &= ~MMIO_DIRTY;
    }
    const int64_t next = int64_t{ck->dwDataOffset} + ck->cksize + (ck->cksize & 1);
    if (next > 0x7FFFFFFF || std::fseek(h->file, static_cast<long>(next), SEEK_SET) != 0) return MMIOERR_CANNOTSEEK;
    return MMSYSERR_NOERROR;
}

MMRESULT mmioCreateChunk(HMMIO h, MMCKINFO* ck, UINT flags) noexcept {
    if (!h || !ck || !h->writable) return MMSYSERR_INVALPARAM;
    const long pos = std::ftell(h->file);
    if (pos < 0) return MMIOERR_CANNOTSEEK;
    if (flags & MMIO_CREATERIFF) ck->ckid = FOURCC_RIFF;
    if (flags & MMIO_CREATELIST) ck->ckid = FOURCC_LIST;
    const bool isForm = (flags & (MMIO_CREATERIFF | MMIO_CREATELIST)) != 0;
    if (!WriteDword(h->file, ck->ckid) || !WriteDword(h->file, ck->cksize)) return MMIOERR_CANNOTWRITE;
    if (isForm && !WriteDword(h->file, ck->fccType)) return MMIOERR_CANNOTWRITE;
    ck->dwDataOffset = static_cast<DWORD>(pos + 8);
    ck->dwFlags = MMIO_DIRTY;
    return MMSYSERR_NOERROR;
}
