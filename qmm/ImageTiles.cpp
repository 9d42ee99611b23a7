#include "qmm/ImageTiles.h"

#include <algorithm>
#include <new>

CImageTileObject::CImageTileObject(int tileX, int tileY, int width, int height, int bytesPerPixel)
    : m_tileX(tileX),
      m_tileY(tileY),
      m_width(width),
      m_height(height),
      m_stride(static_cast<size_t>(std::max(0, width)) * static_cast<size_t>(std::max(0, bytesPerPixel))),
      m_handle(QMM_NULL) {
    if (width > 0 && height > 0 && bytesPerPixel > 0)
        m_handle = _QMM_GlobalAlloc(GHND, m_stride * static_cast<size_t>(height), QMM_FLAG_IMAGE, __FILE__, __LINE__);
}

CImageTileObject::~CImageTileObject() {
    if (m_handle != QMM_NULL) {
        while (_QMM_GlobalLockCount(m_handle) > 0) _QMM_GlobalUnlock(m_handle, 0, QMM_FLAG_IMAGE, __FILE__, __LINE__);
        _QMM_GlobalFree(m_handle, __FILE__, __LINE__);
    }
}

uint8_t* CImageTileObject::Lock(const char* file, int line) {
    return static_cast<uint8_t*>(_QMM_GlobalLock(m_handle, 0, QMM_FLAG_IMAGE, file, line));
}

void CImageTileObject::Unlock(const char* file, int line) {
    _QMM_GlobalUnlock(m_handle, 0, QMM_FLAG_IMAGE, file, line);
}

CImageTileManager::CImageTileManager(int width, int height, int bytesPerPixel, int tileSize)
    : m_width(std::max(0, width)),
      m_height(std::max(0, height)),
      m_bpp(std::max(0, bytesPerPixel)),
      m_tileSize(std::max(1, tileSize)),
      m_across((m_width + m_tileSize - 1) / m_tileSize),
      m_down((m_height + m_tileSize - 1) / m_tileSize) {
    m_tiles.assign(static_cast<size_t>(m_across) * static_cast<size_t>(m_down), nullptr);
}

CImageTileManager::~CImageTileManager() {
    for (CImageTileObject* t : m_tiles) delete t;
}

CImageTileObject* CImageTileManager::GetTile(int tileX, int tileY) {
    if (tileX < 0 || tileY < 0 || tileX >= m_across || tileY >= m_down) return nullptr;
    std::lock_guard lock(m_mutex);
    CImageTileObject*& slot = m_tiles[static_cast<size_t>(tileY) * m_across + tileX];
    if (!slot) {
        int w = std::min(m_tileSize, m_width - tileX * m_tileSize);
        int h = std::min(m_tileSize, m_height - tileY * m_tileSize);
        auto* tile = new (std::nothrow) CImageTileObject(tileX, tileY, w, h, m_bpp);
        if (!tile || !tile->IsValid()) {
            delete tile;
            return nullptr;
        }
        slot = tile;
    }
    return slot;
}

bool CImageTileManager::HasTile(int tileX, int tileY) const {
    if (tileX < 0 || tileY < 0 || tileX >= m_across || tileY >= m_down) return false;
    std::lock_guard lock(m_mutex);
    return m_tiles[static_cast<size_t>(tileY) * m_across + tileX] != nullptr;
}

void CImageTileManager::DiscardTile(int tileX, int tileY) {
    if (tileX < 0 || tileY < 0 || tileX >= m_across || tileY >= m_down) return;
    std::lock_guard lock(m_mutex);
    CImageTileObject*& slot = m_tiles[static_cast<size_t>(tileY) * m_across + tileX];
    delete slot;
    slot = nullptr;
}

size_t CImageTileManager::GetTileCount() const {
    std::lock_guard lock(m_mutex);
    return static_cast<size_t>(std::count_if(m_tiles.begin(), m_tiles.end(), [](auto* t) { return t != nullptr; }));
}
