#pragma once
// A palette as an object: up to 256 entries with their count, nearest-colour
// search through a lookup cache of its own, and file input and output. The
// palette objects handed out by QPalette_PaletteCreate... are reference
// counted (count 1 at creation, deleted by the last Release).
#include <atomic>
#include <cstdint>
#include <string>

#include "platform/windef.h"
#include "qdibcore/Source/RowIteratorBands.h"
#include "qerror/qerror.h"
#include "qgdi_export.h"

struct tagColorLookupCache;

class QGDI_API CQPalette {
public:
    static constexpr int kMaxEntries = 256;
    enum EFileKind : int32_t { keFileText = 0, keFileRiff = 1 };

    CQPalette() noexcept;
    // Entries beyond 256 are dropped.
    CQPalette(const RGBQUAD* entries, int count) noexcept;
    CQPalette(const CQPalette& other) noexcept;
    CQPalette& operator=(const CQPalette& other) noexcept;
    ~CQPalette();

    int GetCount() const noexcept { return m_count; }
    const RGBQUAD* GetEntries() const noexcept { return m_entries; }
    RGBQUAD GetEntry(int i) const noexcept { return i >= 0 && i < m_count ? m_entries[i] : RGBQUAD{0, 0, 0, 0}; }
    // 101 for a count outside 0..256 or null entries with a nonzero count.
    CErrorAutoThrow SetEntries(const RGBQUAD* entries, int count);
    CErrorAutoThrow SetEntry(int i, const RGBQUAD& entry);
    // New entries are black.
    CErrorAutoThrow SetCount(int count);

    // First entry equal in red, green and blue, -1 when none.
    int FindExact(uint8_t red, uint8_t green, uint8_t blue) const noexcept;
    // Nearest entry (squared RGB distance, ties to the lower index) through the
    // palette's own cache; 0 for an empty palette. Not for concurrent callers.
    int FindNearest(uint8_t red, uint8_t green, uint8_t blue) const noexcept;

    // The palette of an image / onto an indexed image.
    CErrorAutoThrow FromImage(const CRowIterator& image);
    CErrorAutoThrow ToImage(CRowIterator& image) const;

    // Reads either file form (told apart by the first bytes); writes the chosen one.
    CErrorAutoThrow Load(const wchar_t* path);
    CErrorAutoThrow Save(const wchar_t* path, EFileKind kind) const;

    bool operator==(const CQPalette& other) const noexcept;
    bool operator!=(const CQPalette& other) const noexcept { return !(*this == other); }

    uint32_t AddRef() const noexcept;
    uint32_t Release() const noexcept;

private:
    void Invalidate() noexcept;
    RGBQUAD m_entries[kMaxEntries];
    int m_count = 0;
    mutable tagColorLookupCache* m_cache = nullptr;
    mutable std::atomic<uint32_t> m_refs{1};
};
