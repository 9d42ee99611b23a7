#pragma once
// The editor's memory manager: movable blocks reached through validated
// handles, locked for access, with statistics of every use.
#include <cstddef>
#include <cstdint>

#include "platform/atlbase.h"
#include "qmm/qmm_export.h"

// A handle encodes a slot index and the slot's generation, so a handle whose
// block was freed (stale) or that never came from this library (foreign) is
// recognised and refused instead of being dereferenced.
struct QmmHandle__;
using QMMHANDLE = QmmHandle__*;
inline constexpr QMMHANDLE QMM_NULL = nullptr;

// Flags of the Global* family (the first flag word).
constexpr uint32_t GMEM_FIXED = 0x0000;
constexpr uint32_t GMEM_MOVEABLE = 0x0002;
constexpr uint32_t GMEM_ZEROINIT = 0x0040;
constexpr uint32_t GHND = GMEM_MOVEABLE | GMEM_ZEROINIT;
// Flags of the memory manager (the second flag word).
constexpr uint32_t QMM_FLAG_NONE = 0x0000;
constexpr uint32_t QMM_FLAG_IMAGE = 0x0001;     // block holds pixels (counted apart in the report)
constexpr uint32_t QMM_FLAG_READONLY = 0x0002;  // lock for reading only (accounting)

// Blocks larger than this are refused rather than attempted.
constexpr size_t QMM_MAX_BLOCK = size_t(1) << 38;

// Allocates a block; QMM_NULL when the size is 0, too large, or memory is short.
QMM_API QMMHANDLE _QMM_GlobalAlloc(uint32_t flags, size_t bytes, uint32_t qmmFlags, const char* file, int line);
// Resizes an unlocked block (or shrinks a locked one in place); returns the
// handle, or QMM_NULL leaving the block as it was.
QMM_API QMMHANDLE _QMM_GlobalRealloc(QMMHANDLE h, size_t bytes, uint32_t flags, uint32_t qmmFlags, const char* file,
                                     int line);
// Frees an unlocked block: QMM_NULL on success, the handle itself when refused.
QMM_API QMMHANDLE _QMM_GlobalFree(QMMHANDLE h, const char* file, int line);
// Size in bytes; 0 for an invalid handle.
QMM_API size_t _QMM_GlobalSize(QMMHANDLE h, const char* file, int line);
// Address of the block, counting one more lock; null for an invalid handle.
QMM_API void* _QMM_GlobalLock(QMMHANDLE h, uint32_t flags, uint32_t qmmFlags, const char* file, int line);
// Counts one lock less; true while the block stays locked.
QMM_API bool _QMM_GlobalUnlock(QMMHANDLE h, uint32_t flags, uint32_t qmmFlags, const char* file, int line);
// Current lock count; -1 for an invalid handle.
QMM_API int _QMM_GlobalLockCount(QMMHANDLE h) noexcept;
QMM_API bool _QMM_IsValidHandle(QMMHANDLE h) noexcept;

#define QMM_GlobalAlloc(flags, bytes) _QMM_GlobalAlloc((flags), (bytes), QMM_FLAG_NONE, __FILE__, __LINE__)
#define QMM_GlobalRealloc(h, bytes, flags) _QMM_GlobalRealloc((h), (bytes), (flags), QMM_FLAG_NONE, __FILE__, __LINE__)
#define QMM_GlobalFree(h) _QMM_GlobalFree((h), __FILE__, __LINE__)
#define QMM_GlobalSize(h) _QMM_GlobalSize((h), __FILE__, __LINE__)
#define QMM_GlobalLock(h) _QMM_GlobalLock((h), 0, QMM_FLAG_NONE, __FILE__, __LINE__)
#define QMM_GlobalUnlock(h) _QMM_GlobalUnlock((h), 0, QMM_FLAG_NONE, __FILE__, __LINE__)

// A block as a reference-counted COM object.
inline constexpr IID IID_IBinAccessor = {0x6d3c1f50, 0x8a2e, 0x4b71, {0x9c, 0x2d, 0x51, 0x0e, 0x7a, 0x33, 0xc4, 0x18}};

struct IBinAccessor : IUnknown {
    virtual QMMHANDLE GetHandle() = 0;
    virtual void* Lock(const char* file, int line) = 0;
    virtual bool Unlock(const char* file, int line) = 0;
    virtual size_t GetLength() = 0;
    virtual bool Resize(size_t bytes, const char* file, int line) = 0;

protected:
    ~IBinAccessor() = default;
};

// A new block wrapped in an accessor holding one reference; null on failure.
QMM_API IBinAccessor* _QMM_AllocEX(size_t bytes, uint32_t flags, const char* file, int line);
// Wraps an existing block; with `owns` the accessor frees it at its last release.
QMM_API IBinAccessor* _QMM_AttachWinHandleEX(QMMHANDLE h, bool owns, const char* file, int line);

#define QMM_AllocEX(bytes, flags) _QMM_AllocEX((bytes), (flags), __FILE__, __LINE__)
#define QMM_AttachWinHandleEX(h, owns) _QMM_AttachWinHandleEX((h), (owns), __FILE__, __LINE__)

// Owning pointer to an accessor.
class QMM_API CQmmBinPtr : public CComPtr<IBinAccessor> {
public:
    CQmmBinPtr() noexcept = default;
    CQmmBinPtr(IBinAccessor* p) noexcept : CComPtr<IBinAccessor>(p) {}
    // Takes over the reference a factory returned.
    static CQmmBinPtr Adopt(IBinAccessor* p) noexcept {
        CQmmBinPtr r;
        r.Attach(p);
        return r;
    }
    bool Alloc(size_t bytes, uint32_t flags, const char* file, int line);
    QMMHANDLE Handle() const noexcept { return p ? p->GetHandle() : QMM_NULL; }
    size_t Length() const noexcept { return p ? p->GetLength() : 0; }
};

// Scoped lock of a block: Lock() returns the address (null on failure) and the
// destructor undoes every Lock() not yet undone.
class QMM_API CLockAccessorEx {
public:
    explicit CLockAccessorEx(QMMHANDLE h, uint32_t qmmFlags = QMM_FLAG_NONE) noexcept
        : m_handle(h), m_flags(qmmFlags) {}
    ~CLockAccessorEx();
    CLockAccessorEx(const CLockAccessorEx&) = delete;
    CLockAccessorEx& operator=(const CLockAccessorEx&) = delete;

    void* Lock(const char* file, int line);
    void Unlock(const char* file, int line);
    void* Address() const noexcept { return m_address; }
    size_t Length() const noexcept;
    bool IsLocked() const noexcept { return m_locks > 0; }

private:
    QMMHANDLE m_handle;
    uint32_t m_flags;
    void* m_address = nullptr;
    int m_locks = 0;
};

// The same for the block behind an accessor (which must outlive the lock).
class QMM_API CLockAccessor : public CLockAccessorEx {
public:
    explicit CLockAccessor(IBinAccessor* accessor) noexcept
        : CLockAccessorEx(accessor ? accessor->GetHandle() : QMM_NULL) {}
};

#define QMM_HERE __FILE__, __LINE__
