#include <atomic>
#include <cstring>
#include <mutex>

#include "platform/clipboard.h"
#include "platform/devicecontext.h"

VQClipboard::~VQClipboard() = default;

namespace {

class CMemoryClipboard final : public VQClipboard {
public:
    bool SetImage(const void* packed, size_t bytes) override {
        if (!packed || bytes == 0) return false;
        std::lock_guard lock(m_mutex);
        try {
            m_image.assign(static_cast<const uint8_t*>(packed), static_cast<const uint8_t*>(packed) + bytes);
        } catch (const std::bad_alloc&) {
            m_image.clear();
            return false;
        }
        return true;
    }
    bool GetImage(std::vector<uint8_t>& packed) override {
        std::lock_guard lock(m_mutex);
        if (m_image.empty()) return false;
        packed = m_image;
        return true;
    }
    bool HasImage() override {
        std::lock_guard lock(m_mutex);
        return !m_image.empty();
    }
    void Clear() override {
        std::lock_guard lock(m_mutex);
        m_image.clear();
    }

private:
    std::mutex m_mutex;
    std::vector<uint8_t> m_image;
};

CMemoryClipboard& BuiltIn() {
    static CMemoryClipboard* clipboard = new CMemoryClipboard;  // used from static destructors too
    return *clipboard;
}

std::atomic<VQClipboard*> g_clipboard{nullptr};

struct SDrawHook {
    std::mutex mutex;
    QPlatformDrawDIBFn hook = nullptr;
    void* context = nullptr;
};
SDrawHook& DrawHook() {
    static SDrawHook* hook = new SDrawHook;
    return *hook;
}

}  // namespace

VQClipboard* QPlatform_SetClipboard(VQClipboard* clipboard) noexcept {
    return g_clipboard.exchange(clipboard, std::memory_order_acq_rel);
}

VQClipboard& QPlatform_GetClipboard() noexcept {
    VQClipboard* c = g_clipboard.load(std::memory_order_acquire);
    return c ? *c : BuiltIn();
}

QPlatformDrawDIBFn QPlatform_SetDrawDIBHook(QPlatformDrawDIBFn hook, void* context) noexcept {
    SDrawHook& h = DrawHook();
    std::lock_guard lock(h.mutex);
    QPlatformDrawDIBFn old = h.hook;
    h.hook = hook;
    h.context = context;
    return old;
}

int QPlatform_DrawDIB(void* deviceContext, const RECT& destination, const BITMAPINFOHEADER* dib,
                      const RECT& source) noexcept {
    SDrawHook& h = DrawHook();
    QPlatformDrawDIBFn hook;
    void* context;
    {
        std::lock_guard lock(h.mutex);
        hook = h.hook;
        context = h.context;
    }
    if (!hook) return 120;
    return dib && hook(deviceContext, destination, dib, source, context) ? 0 : 101;
}
