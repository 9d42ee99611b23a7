#include "platform/fileio.h"

#include <cstdio>

#include "qerror/qerror.h"

std::string QPlatform_NarrowPath(const wchar_t* path) {
    std::string out;
    if (!path) return out;
    for (const wchar_t* p = path; *p; ++p) {
        uint32_t c = static_cast<uint32_t>(*p);
        if constexpr (sizeof(wchar_t) == 2) {
            // Surrogate pairs of UTF-16 wide strings.
            if (c >= 0xD800 && c < 0xDC00 && p[1] >= 0xDC00 && p[1] < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint32_t>(p[1]) - 0xDC00);
                ++p;
            }
        }
        if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

BOOL DeleteFileW(const wchar_t* path) noexcept {
    if (!path) return FALSE;
    try {
        return std::remove(QPlatform_NarrowPath(path).c_str()) == 0 ? TRUE : FALSE;
    } catch (...) {
        return FALSE;
    }
}

CFile::~CFile() { Close(); }

bool CFile::Open(const wchar_t* path, UINT flags) noexcept {
    Close();
    if (!path) return false;
    const char* mode = (flags & modeCreate) ? ((flags & modeReadWrite) ? "w+b" : "wb")
                       : (flags & (modeWrite | modeReadWrite)) ? "r+b"
                                                               : "rb";
    try {
        m_file = std::fopen(QPlatform_NarrowPath(path).c_str(), mode);
    } catch (...) {
        m_file = nullptr;
    }
    return m_file != nullptr;
}

UINT CFile::Read(void* buffer, UINT count) {
    if (!m_file) throw CQException(keQuorErrPaletteRead);
    const size_t n = std::fread(buffer, 1, count, m_file);
    if (n < count && std::ferror(m_file)) throw CQException(keQuorErrPaletteRead);
    return static_cast<UINT>(n);
}

void CFile::Write(const void* buffer, UINT count) {
    if (!m_file || std::fwrite(buffer, 1, count, m_file) != count) throw CQException(keQuorErrFailed);
}

void CFile::Close() noexcept {
    if (m_file) std::fclose(m_file);
    m_file = nullptr;
}
