// The two palette file forms: the text form read strictly byte by byte with
// CR LF line ends, and the RIFF "PAL " form holding a logical palette.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "platform/fileio.h"
#include "platform/mmio.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/palettefunctions.h"
#include "qmm/qmm.h"

namespace {

constexpr QuorErrorCode keMalformed = static_cast<QuorErrorCode>(312);
constexpr QuorErrorCode keBadCount = static_cast<QuorErrorCode>(528);
constexpr QuorErrorCode keBadVersion = static_cast<QuorErrorCode>(529);
constexpr QuorErrorCode keRiffOpen = static_cast<QuorErrorCode>(240);
constexpr QuorErrorCode keRiffForm = static_cast<QuorErrorCode>(252);
constexpr QuorErrorCode keRiffData = static_cast<QuorErrorCode>(263);
constexpr QuorErrorCode keRiffWrite = static_cast<QuorErrorCode>(272);
constexpr QuorErrorCode keRiffClose = static_cast<QuorErrorCode>(279);

constexpr FOURCC kFormPal = mmioFOURCC('P', 'A', 'L', ' ');
constexpr FOURCC kChunkData = mmioFOURCC('d', 'a', 't', 'a');

// A read that ends early is not a malformed palette but a failed read (202).
struct SShortRead {};

void ReadExactly(CFile& file, char* buffer, UINT count) {
    if (file.Read(buffer, count) != count) throw SShortRead{};
}

// strtod of the characters, truncated toward zero and clamped to 0..255.
int ParseLevel(const char* text, int length) {
    char buffer[8] = {};
    std::memcpy(buffer, text, size_t(length));
    const double v = std::strtod(buffer, nullptr);
    if (!(v > 0)) return 0;
    return v >= 255 ? 255 : static_cast<int>(v);
}

// One number of an entry line: one to three characters ended by `end`. The
// reader takes two bytes, then a third and a fourth only while `end` has not
// appeared; false when it never does.
bool ReadNumber(CFile& file, char end, int& value) {
    char text[4];
    ReadExactly(file, text, 2);
    int length = 2;
    const auto ended = [&] { return std::memchr(text, end, size_t(length)) != nullptr; };
    while (!ended()) {
        if (length == 4) return false;
        ReadExactly(file, text + length, 1);
        ++length;
    }
    int digits = 0;
    while (digits < length && text[digits] != end) ++digits;
    value = ParseLevel(text, digits);
    return true;
}

bool IsPalettedForFile(const CRowIterator& image) {
    if (!image.IsAttached() || !CQPixelFormat(image.GetPixelFormat()).IsIndexedColor() || !image.GetPalette())
        return false;
    const int n = image.GetPaletteCount();
    return n == 16 || n == 256;
}

}  // namespace

CErrorAutoThrow OpenPalFile(const wchar_t* path, RGBQUAD* palette, uint16_t* count) {
    if (!path || !palette || !count) return QERR(keQuorErrFailed);
    CFile file;
    if (!file.Open(path, CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary)) return QERR(keQuorErrPaletteOpen);
    try {
        char header[10];
        ReadExactly(file, header, 10);
        if (strncasecmp(header, "QUOR-PAL", 8) != 0 || header[8] != '\r' || header[9] != '\n')
            return QERR(keMalformed);
        char version[6];
        ReadExactly(file, version, 6);
        if (std::memcmp(version, "0100", 4) != 0 || version[4] != '\r' || version[5] != '\n')
            return QERR(keBadVersion);
        char countText[6] = {};
        ReadExactly(file, countText, 3);
        if (countText[2] == '\r') {
            ReadExactly(file, countText + 3, 1);
            if (countText[3] != '\n') return QERR(keMalformed);
            countText[2] = 0;
        } else {
            ReadExactly(file, countText + 3, 2);
            if (countText[3] != '\r' || countText[4] != '\n') return QERR(keMalformed);
            countText[3] = 0;
        }
        const double parsed = std::strtod(countText, nullptr);
        const int n = parsed > 0 && parsed < 1000 ? static_cast<int>(parsed) : 0;
        if (n != 16 && n != 256) return QERR(keBadCount);
        *count = static_cast<uint16_t>(n);
        for (int i = 0; i < n; ++i) {
            int red = 0, green = 0, blue = 0;
            if (!ReadNumber(file, ' ', red) || !ReadNumber(file, ' ', green) || !ReadNumber(file, '\r', blue)) {
                *count = 0;
                return QERR(keMalformed);
            }
            char lf;
            ReadExactly(file, &lf, 1);
            palette[i] = RGBQUAD{BYTE(blue), BYTE(green), BYTE(red), 0};
        }
        return CErrorAutoThrow();
    } catch (const CQException& ex) {
        return QERR(ex.GetErrorCode());
    } catch (...) {
        return QERR(keQuorErrPaletteRead);
    }
}

CErrorAutoThrow SaveDIBPal(const wchar_t* path, const CRowIterator& image) {
    if (!path || !IsPalettedForFile(image)) return QERR(keQuorErrFailed);
    const int n = image.GetPaletteCount();
    const RGBQUAD* pal = image.GetPalette();
    CFile file;
    if (!file.Open(path, CFile::modeCreate | CFile::modeWrite | CFile::typeBinary))
        return QERR(keQuorErrPaletteOpen);
    try {
        file.Write(n == 256 ? "QUOR-PAL\r\n0100\r\n256\r\n" : "QUOR-PAL\r\n0100\r\n16\r\n", n == 256 ? 21 : 20);
        for (int i = 0; i < n; ++i) {
            char line[16];
            const int len = std::snprintf(line, sizeof line, "%d %d %d\r\n", pal[i].rgbRed, pal[i].rgbGreen,
                                          pal[i].rgbBlue);
            file.Write(line, UINT(len));
        }
        file.Close();
        return CErrorAutoThrow();
    } catch (const CQException& ex) {
        file.Close();
        DeleteFileW(path);
        return QERR(ex.GetErrorCode());
    }
}

CErrorAutoThrow OpenMSPalFile(const wchar_t* path, RGBQUAD* palette, uint16_t* count) {
    if (!path || !palette || !count) return QERR(keQuorErrFailed);
    HMMIO h = mmioOpenW(path, nullptr, MMIO_READ | MMIO_ALLOCBUF);
    if (!h) return QERR(keQuorErrPaletteOpen);
    // The file is closed on every path out.
    struct SCloser {
        HMMIO h;
        ~SCloser() { mmioClose(h, 0); }
    } closer{h};
    const LONG fileSize = mmioSeek(h, 0, SEEK_END_MM);
    if (fileSize < 0 || mmioSeek(h, 0, SEEK_SET_MM) != 0) return QERR(keQuorErrPaletteRead);
    MMCKINFO form{};
    form.fccType = kFormPal;
    if (mmioDescend(h, &form, nullptr, MMIO_FINDRIFF) != MMSYSERR_NOERROR) return QERR(keMalformed);
    MMCKINFO data{};
    data.ckid = kChunkData;
    if (mmioDescend(h, &data, &form, MMIO_FINDCHUNK) != MMSYSERR_NOERROR) return QERR(keMalformed);
    // A chunk that claims more than the file holds would be a short read;
    // refusing it first spares a block of up to 4 GiB.
    if (int64_t{data.dwDataOffset} + data.cksize > fileSize) return QERR(keQuorErrPaletteRead);
    CQmmBinPtr block = CQmmBinPtr::Adopt(QMM_AllocEX(data.cksize, GMEM_MOVEABLE));
    if (!block) return QERR(keQuorErrOutOfMemory);
    CLockAccessor lock(block);
    auto* bytes = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
    if (!bytes) return QERR(keQuorErrOutOfMemory);
    if (mmioRead(h, reinterpret_cast<char*>(bytes), LONG(data.cksize)) != LONG(data.cksize))
        return QERR(keQuorErrPaletteRead);
    const uint32_t entries = data.cksize >= 4 ? uint32_t(bytes[2]) | uint32_t(bytes[3]) << 8 : 0;
    if (entries < 1 || entries > 256 || data.cksize % 4 != 0 || data.cksize < 4 + 4 * entries)
        return QERR(keBadCount);
    for (uint32_t i = 0; i < entries; ++i) {
        const uint8_t* e = bytes + 4 + 4 * i;
        palette[i] = RGBQUAD{e[2], e[1], e[0], 0};
    }
    *count = entries <= 16 ? 16 : 256;
    return CErrorAutoThrow();
}

CErrorAutoThrow SaveDIBMSPal(const wchar_t* path, const CRowIterator& image) {
    if (!path || !IsPalettedForFile(image)) return QERR(keQuorErrFailed);
    const int n = image.GetPaletteCount();
    const RGBQUAD* pal = image.GetPalette();
    // The logical palette (version, count, entries) plus four bytes more, which
    // files of this form carry after it.
    const DWORD bytesTotal = DWORD(4 * (n + 2));
    CQmmBinPtr block = CQmmBinPtr::Adopt(QMM_AllocEX(bytesTotal, GMEM_MOVEABLE | GMEM_ZEROINIT));
    if (!block) return QERR(keQuorErrOutOfMemory);
    CLockAccessor lock(block);
    auto* bytes = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
    if (!bytes) return QERR(keQuorErrOutOfMemory);
    std::memset(bytes, 0, bytesTotal);
    bytes[0] = 0x00;
    bytes[1] = 0x03;
    bytes[2] = uint8_t(n & 0xFF);
    bytes[3] = uint8_t(n >> 8);
    for (int i = 0; i < n; ++i) {
        uint8_t* e = bytes + 4 + 4 * i;
        e[0] = pal[i].rgbRed;
        e[1] = pal[i].rgbGreen;
        e[2] = pal[i].rgbBlue;
        e[3] = pal[i].rgbReserved;
    }
    HMMIO h = mmioOpenW(path, nullptr, MMIO_CREATE | MMIO_WRITE | MMIO_ALLOCBUF);
    if (!h) return QERR(keRiffOpen);
    MMCKINFO form{};
    form.fccType = kFormPal;
    form.cksize = bytesTotal + 12;
    QuorErrorCode code = keQuorErrSuccess;
    MMCKINFO data{};
    data.ckid = kChunkData;
    data.cksize = bytesTotal;
    if (mmioCreateChunk(h, &form, MMIO_CREATERIFF) != MMSYSERR_NOERROR) code = keRiffForm;
    else if (mmioCreateChunk(h, &data, 0) != MMSYSERR_NOERROR) code = keRiffData;
    else if (mmioWrite(h, reinterpret_cast<const char*>(bytes), LONG(bytesTotal)) != LONG(bytesTotal))
        code = keRiffWrite;
    else if (mmioAscend(h, &data, 0) != MMSYSERR_NOERROR || mmioAscend(h, &form, 0) != MMSYSERR_NOERROR)
        code = keRiffWrite;
    const MMRESULT closed = mmioClose(h, 0);
    if (code == keQuorErrSuccess && closed != MMSYSERR_NOERROR) code = keRiffClose;
    return code == keQuorErrSuccess ? CErrorAutoThrow() : QERR(code);
}
