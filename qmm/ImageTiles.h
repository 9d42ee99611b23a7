#pragma once
// Images held as a grid of square tiles, each tile one memory block created on
// first use. The tile is the unit a later pager would move to disk.
#include <cstdint>
#include <mutex>
#include <vector>

#include "qmm/qmm.h"

class QMM_API CImageTileObject {
public:
    CImageTileObject(int tileX, int tileY, int width, int height, int bytesPerPixel);
    ~CImageTileObject();
    CImageTileObject(const CImageTileObject&) = delete;
    CImageTileObject& operator=(const CImageTileObject&) = delete;

    bool IsValid() const noexcept { return m_handle != QMM_NULL; }
    int GetTileX() const noexcept { return m_tileX; }
    int GetTileY() const noexcept { return m_tileY; }
    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }
    size_t GetStride() const noexcept { return m_stride; }
    QMMHANDLE GetHandle() const noexcept { return m_handle; }

    // Pixels of the tile, row by row; null when the block cannot be locked.
    uint8_t* Lock(const char* file, int line);
    void Unlock(const char* file, int line);

private:
    int m_tileX, m_tileY, m_width, m_height;
    size_t m_stride;
    QMMHANDLE m_handle;
};

class QMM_API CImageTileManager {
public:
    // An image of width x height pixels cut into tiles of tileSize x tileSize.
    CImageTileManager(int width, int height, int bytesPerPixel, int tileSize = 256);
    ~CImageTileManager();
    CImageTileManager(const CImageTileManager&) = delete;
    CImageTileManager& operator=(const CImageTileManager&) = delete;

    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }
    int GetTileSize() const noexcept { return m_tileSize; }
    int GetTilesAcross() const noexcept { return m_across; }
    int GetTilesDown() const noexcept { return m_down; }
    // The tile at (tileX, tileY), created (zeroed) on first use; null outside the
    // grid or when memory is short. The manager keeps ownership.
    CImageTileObject* GetTile(int tileX, int tileY);
    // The tile holding pixel (x, y).
    CImageTileObject* GetTileAt(int x, int y) {
        return m_tileSize > 0 && x >= 0 && y >= 0 ? GetTile(x / m_tileSize, y / m_tileSize) : nullptr;
    }
    bool HasTile(int tileX, int tileY) const;
    // Frees a tile; its pixels read as zero when it is created again.
    void DiscardTile(int tileX, int tileY);
    size_t GetTileCount() const;

private:
    int m_width, m_height, m_bpp, m_tileSize, m_across, m_down;
    mutable std::mutex m_mutex;
    std::vector<CImageTileObject*> m_tiles;
};
