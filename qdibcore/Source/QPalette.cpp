#include "qdibcore/Source/QPalette.h"

#include <cstdio>
#include <cstring>

#include "platform/fileio.h"
#include "qdibcore/Source/PixelFormat.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/locatecolorinpal.h"
#include "qdibcore/Source/palettefunctions.h"

CQPalette::CQPalette() noexcept { std::memset(m_entries, 0, sizeof m_entries); }

CQPalette::CQPalette(const RGBQUAD* entries, int count) noexcept : CQPalette() {
    if (!entries || count <= 0) return;
    m_count = count > kMaxEntries ? kMaxEntries : count;
    std::memcpy(m_entries, entries, sizeof(RGBQUAD) * size_t(m_count));
}

CQPalette::CQPalette(const CQPalette& other) noexcept : CQPalette(other.m_entries, other.m_count) {}

CQPalette& CQPalette::operator=(const CQPalette& other) noexcept {
    if (this != &other) {
        std::memcpy(m_entries, other.m_entries, sizeof m_entries);
        m_count = other.m_count;
        Invalidate();
    }
    return *this;
}

CQPalette::~CQPalette() { FreeColorLookupCache(m_cache); }

void CQPalette::Invalidate() noexcept {
    FreeColorLookupCache(m_cache);
    m_cache = nullptr;
}

CErrorAutoThrow CQPalette::SetEntries(const RGBQUAD* entries, int count) {
    if (count < 0 || count > kMaxEntries || (!entries && count > 0)) return QERR(keQuorErrFailed);
    if (count) std::memcpy(m_entries, entries, sizeof(RGBQUAD) * size_t(count));
    m_count = count;
    Invalidate();
    return CErrorAutoThrow();
}

CErrorAutoThrow CQPalette::SetEntry(int i, const RGBQUAD& entry) {
    if (i < 0 || i >= m_count) return QERR(keQuorErrFailed);
    m_entries[i] = entry;
    Invalidate();
    return CErrorAutoThrow();
}

CErrorAutoThrow CQPalette::SetCount(int count) {
    if (count < 0 || count > kMaxEntries) return QERR(keQuorErrFailed);
    for (int i = m_count; i < count; ++i) m_entries[i] = RGBQUAD{0, 0, 0, 0};
    m_count = count;
    Invalidate();
    return CErrorAutoThrow();
}

int CQPalette::FindExact(uint8_t red, uint8_t green, uint8_t blue) const noexcept {
    for (int i = 0; i < m_count; ++i)
        if (m_entries[i].rgbRed == red && m_entries[i].rgbGreen == green && m_entries[i].rgbBlue == blue) return i;
    return -1;
}

int CQPalette::FindNearest(uint8_t red, uint8_t green, uint8_t blue) const noexcept {
    if (!m_cache) m_cache = CreateColorLookupCache(m_count);
    return LocateNearestColor(red, green, blue, reinterpret_cast<const uint8_t*>(m_entries), m_count, 4, m_cache);
}

CErrorAutoThrow CQPalette::FromImage(const CRowIterator& image) {
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    return SetEntries(image.GetPalette(), image.GetPalette() ? image.GetPaletteCount() : 0);
}

CErrorAutoThrow CQPalette::ToImage(CRowIterator& image) const {
    if (!image.IsAttached()) return QERR(keQuorErrIteratorState);
    if (!CQPixelFormat(image.GetNativeFormat()).IsIndexedColor()) return QERR(keQuorErrFormatNotSupported);
    return image.SetPalette(m_entries, m_count);
}

CErrorAutoThrow CQPalette::Load(const wchar_t* path) {
    if (!path) return QERR(keQuorErrFailed);
    char magic[4] = {};
    {
        CFile file;
        if (!file.Open(path, CFile::modeRead | CFile::typeBinary)) return QERR(keQuorErrPaletteOpen);
        try {
            file.Read(magic, 4);
        } catch (const CQException& ex) {
            return QERR(ex.GetErrorCode());
        }
    }
    RGBQUAD entries[kMaxEntries];
    std::memcpy(entries, m_entries, sizeof entries);
    uint16_t count = 0;
    const bool riff = std::memcmp(magic, "RIFF", 4) == 0;
    QGDI_TRY(riff ? OpenMSPalFile(path, entries, &count) : OpenPalFile(path, entries, &count));
    return SetEntries(entries, count);
}

CErrorAutoThrow CQPalette::Save(const wchar_t* path, EFileKind kind) const {
    // The file writers take a paletted image: a one-pixel one carries the palette.
    CRowIterator carrier;
    if (m_count != 16 && m_count != 256) return QERR(keQuorErrFailed);
    QGDI_TRY(carrier.CreateIndexed(1, 1, 8, m_entries, m_count));
    return kind == keFileRiff ? SaveDIBMSPal(path, carrier) : SaveDIBPal(path, carrier);
}

bool CQPalette::operator==(const CQPalette& other) const noexcept {
    return m_count == other.m_count && std::memcmp(m_entries, other.m_entries, sizeof(RGBQUAD) * size_t(m_count)) == 0;
}

uint32_t CQPalette::AddRef() const noexcept { return m_refs.fetch_add(1, std::memory_order_relaxed) + 1; }

uint32_t CQPalette::Release() const noexcept {
    const uint32_t left = m_refs.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}
