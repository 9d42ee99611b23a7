#pragma once
// Files as the editor's modules open them: by wide path, through an MFC-style
// CFile (text palettes) and DeleteFileW. Paths are wide strings on every
// platform; here they are handed to the C library as UTF-8.
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/windef.h"
#include "qgdi_export.h"

// UTF-8 form of a wide path (UTF-32 or UTF-16 code units); invalid units become U+FFFD.
QGDI_API std::string QPlatform_NarrowPath(const wchar_t* path);

// Deletes a file; FALSE when it cannot be deleted (or the path is null).
QGDI_API BOOL DeleteFileW(const wchar_t* path) noexcept;

// A binary file. Open reports failure by its result; Read and Write throw
// CQException (code 202 for a failed read, 101 for a failed write) when the
// system refuses, as callers expect of an MFC file. Read returns fewer bytes
// than asked at the end of the file.
class QGDI_API CFile {
public:
    enum OpenFlags : UINT {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareDenyWrite = 0x0020,
        modeCreate = 0x1000,
        typeBinary = 0x8000,
    };

    CFile() noexcept = default;
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // modeCreate truncates or creates; without it the file must exist.
    bool Open(const wchar_t* path, UINT flags) noexcept;
    UINT Read(void* buffer, UINT count);
    void Write(const void* buffer, UINT count);
    void Close() noexcept;
    bool IsOpen() const noexcept { return m_file != nullptr; }

private:
    std::FILE* m_file = nullptr;
};
