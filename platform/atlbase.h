#pragma once
// The COM vocabulary the memory-manager handles use: interface ids, IUnknown and
// the ATL smart pointers CComPtr / CComQIPtr.
#include <cstring>
#include <memory>
#include <utility>

#include "platform/windef.h"

struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
using IID = GUID;
using REFIID = const IID&;

inline bool operator==(const GUID& a, const GUID& b) noexcept { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool InlineIsEqualGUID(REFIID a, REFIID b) noexcept { return a == b; }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline bool SUCCEEDED(HRESULT hr) noexcept { return hr >= 0; }
inline bool FAILED(HRESULT hr) noexcept { return hr < 0; }

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

template <class T>
class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(T* p) noexcept : p(p) {
        if (p) p->AddRef();
    }
    CComPtr(const CComPtr& o) noexcept : CComPtr(o.p) {}
    CComPtr(CComPtr&& o) noexcept : p(std::exchange(o.p, nullptr)) {}
    ~CComPtr() { Release(); }
    CComPtr& operator=(T* q) noexcept {
        if (q) q->AddRef();
        Release();
        p = q;
        return *this;
    }
    CComPtr& operator=(const CComPtr& o) noexcept { return *this = o.p; }
    CComPtr& operator=(CComPtr&& o) noexcept {
        if (this != std::addressof(o)) {
            Release();
            p = std::exchange(o.p, nullptr);
        }
        return *this;
    }
    void Release() noexcept {
        if (T* q = std::exchange(p, nullptr)) q->Release();
    }
    // Takes over a reference without adding one.
    void Attach(T* q) noexcept {
        Release();
        p = q;
    }
    T* Detach() noexcept { return std::exchange(p, nullptr); }
    T* operator->() const noexcept { return p; }
    operator T*() const noexcept { return p; }
    T** operator&() noexcept { return &p; }
    bool operator!() const noexcept { return p == nullptr; }

    T* p = nullptr;
};

// A CComPtr that asks the object for interface `piid` on assignment.
template <class T, const IID* piid>
class CComQIPtr : public CComPtr<T> {
public:
    CComQIPtr() noexcept = default;
    CComQIPtr(T* q) noexcept : CComPtr<T>(q) {}
    CComQIPtr(IUnknown* u) noexcept { Query(u); }
    CComQIPtr& operator=(T* q) noexcept {
        CComPtr<T>::operator=(q);
        return *this;
    }
    CComQIPtr& operator=(IUnknown* u) noexcept {
        this->Release();
        Query(u);
        return *this;
    }

private:
    void Query(IUnknown* u) noexcept {
        void* out = nullptr;
        if (u && SUCCEEDED(u->QueryInterface(*piid, &out))) this->p = static_cast<T*>(out);
    }
};
