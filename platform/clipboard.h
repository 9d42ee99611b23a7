#pragma once
// The clipboard as the library sees it: one image, a packed bitmap (40-byte
// header, palette, pixels). The host installs a back end that talks to the
// system clipboard; without one, the last image stays in process memory.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qgdi_export.h"

class QGDI_API VQClipboard {
public:
    virtual ~VQClipboard();
    // Replaces the clipboard's content; false when it cannot be taken.
    virtual bool SetImage(const void* packed, size_t bytes) = 0;
    // The current image; false when there is none.
    virtual bool GetImage(std::vector<uint8_t>& packed) = 0;
    virtual bool HasImage() = 0;
    virtual void Clear() = 0;
};

// Installs a back end (the caller keeps it alive); null restores the built-in
// one. Returns the previous back end (null for the built-in one).
QGDI_API VQClipboard* QPlatform_SetClipboard(VQClipboard* clipboard) noexcept;
QGDI_API VQClipboard& QPlatform_GetClipboard() noexcept;
