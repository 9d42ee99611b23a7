#include <atomic>
#include <new>

#include "qmm/qmm.h"

namespace {

class CBinAccessor final : public IBinAccessor {
public:
    CBinAccessor(QMMHANDLE h, bool owns) : m_handle(h), m_owns(owns) {}

    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (!object) return E_POINTER;
        if (riid == IID_IBinAccessor || riid == IID_IUnknown) {
            *object = static_cast<IBinAccessor*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return m_refs.fetch_add(1, std::memory_order_relaxed) + 1; }
    uint32_t Release() override {
        uint32_t left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

    QMMHANDLE GetHandle() override { return m_handle; }
    void* Lock(const char* file, int line) override { return _QMM_GlobalLock(m_handle, 0, QMM_FLAG_NONE, file, line); }
    bool Unlock(const char* file, int line) override {
        return _QMM_GlobalUnlock(m_handle, 0, QMM_FLAG_NONE, file, line);
    }
    size_t GetLength() override { return _QMM_GlobalSize(m_handle, __FILE__, __LINE__); }
    bool Resize(size_t bytes, const char* file, int line) override {
        return _QMM_GlobalRealloc(m_handle, bytes, GMEM_ZEROINIT, QMM_FLAG_NONE, file, line) != QMM_NULL;
    }

private:
    ~CBinAccessor() {
        if (m_owns) _QMM_GlobalFree(m_handle, __FILE__, __LINE__);
    }
    QMMHANDLE m_handle;
    bool m_owns;
    std::atomic<uint32_t> m_refs{1};
};

}  // namespace

IBinAccessor* _QMM_AllocEX(size_t bytes, uint32_t flags, const char* file, int line) {
    QMMHANDLE h = _QMM_GlobalAlloc(flags, bytes, QMM_FLAG_NONE, file, line);
    if (h == QMM_NULL) return nullptr;
    auto* acc = new (std::nothrow) CBinAccessor(h, true);
    if (!acc) _QMM_GlobalFree(h, file, line);
    return acc;
}

IBinAccessor* _QMM_AttachWinHandleEX(QMMHANDLE h, bool owns, const char* file, int line) {
    if (!_QMM_IsValidHandle(h)) {
        (void)_QMM_GlobalSize(h, file, line);  // counts the refusal
        return nullptr;
    }
    return new (std::nothrow) CBinAccessor(h, owns);
}

bool CQmmBinPtr::Alloc(size_t bytes, uint32_t flags, const char* file, int line) {
    CComPtr<IBinAccessor>::Attach(_QMM_AllocEX(bytes, flags, file, line));
    return p != nullptr;
}

CLockAccessorEx::~CLockAccessorEx() {
    while (m_locks > 0) Unlock(__FILE__, __LINE__);
}

void* CLockAccessorEx::Lock(const char* file, int line) {
    void* p = _QMM_GlobalLock(m_handle, 0, m_flags, file, line);
    if (p) {
        m_address = p;
        ++m_locks;
    }
    return p;
}

void CLockAccessorEx::Unlock(const char* file, int line) {
    if (m_locks == 0) return;
    _QMM_GlobalUnlock(m_handle, 0, m_flags, file, line);
    if (--m_locks == 0) m_address = nullptr;
}

size_t CLockAccessorEx::Length() const noexcept { return _QMM_GlobalSize(m_handle, __FILE__, __LINE__); }
