// Text dump and binary stream of the row iterator.
//
// Binary form, little-endian:
//   "QRIT", version 1, format, width, height, palette count (32-bit each),
//   the palette entries (4 bytes each), solid flag (1 byte), solid colour
//   (RGBA, 4 bytes), the rows top first, each packed from its first bit
//   ((bits per pixel x width + 7) / 8 bytes), then the CRC-32 of everything
//   after the magic word.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <istream>
#include <mutex>
#include <ostream>
#include <vector>

#include "diagnostics/QgdiLog.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/ResultTry.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/RowSpanCopy.h"

namespace {

constexpr char kMagic[4] = {'Q', 'R', 'I', 'T'};
constexpr uint32_t kVersion = 1;

std::mutex& DumpLock() {
    static std::mutex* m = new std::mutex;  // dumps may run from static destructors
    return *m;
}

int StreamFlagsSlot() {
    static const int slot = std::ios_base::xalloc();
    return slot;
}

const char* FormatWord(EQPixelFormat format) noexcept {
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    return t ? t->shortName : "Unknown";
}

void Indent(std::ostream& out, int level) {
    for (int i = 0; i < level; ++i) out << '\t';
}

// Visits the presented rows packed from their first bit.
template <class Fn>
CErrorAutoThrow ForEachPackedRow(const CRowIteratorBands& it, Fn fn) {
    const size_t bytes = QGDI_SpanBytes(it.GetBPP(), it.GetWidth(), 0);
    std::vector<uint8_t> packed(bytes), scratch;
    const SQSpanFormat target = QGDI_SpanFormatOf(it, 0);
    for (int y = 0; y < it.GetHeight(); ++y) {
        const uint8_t* row = nullptr;
        int offset = 0;
        QGDI_TRY(it.GetRow(row, y, 0, -1, &offset));
        std::fill(packed.begin(), packed.end(), 0);
        QGDI_ConvertSpan(packed.data(), target, row, QGDI_SpanFormatOf(it, offset), it.GetWidth(), scratch);
        it.ReleaseRow(y).Ignore();
        fn(packed.data(), bytes);
    }
    return CErrorAutoThrow();
}

class CCrcWriter {
public:
    explicit CCrcWriter(std::ostream& out) : m_out(out) {}
    void Bytes(const void* p, size_t n) {
        m_out.write(static_cast<const char*>(p), static_cast<std::streamsize>(n));
        m_crc = QGDI_Crc32(p, n, m_crc);
    }
    void U32(uint32_t v) {
        const uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
        Bytes(b, 4);
    }
    uint32_t Crc() const noexcept { return m_crc; }

private:
    std::ostream& m_out;
    uint32_t m_crc = 0;
};

class CCrcReader {
public:
    explicit CCrcReader(std::istream& in) : m_in(in) {}
    bool Bytes(void* p, size_t n) {
        m_in.read(static_cast<char*>(p), static_cast<std::streamsize>(n));
        if (static_cast<size_t>(m_in.gcount()) != n) return false;
        m_crc = QGDI_Crc32(p, n, m_crc);
        return true;
    }
    bool U32(uint32_t& v) {
        uint8_t b[4];
        if (!Bytes(b, 4)) return false;
        v = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        return true;
    }
    uint32_t Crc() const noexcept { return m_crc; }

private:
    std::istream& m_in;
    uint32_t m_crc = 0;
};

// Bytes left in a seekable stream; SIZE_MAX when it cannot tell.
size_t Remaining(std::istream& in) {
    const std::streampos here = in.tellg();
    if (here == std::streampos(-1)) return SIZE_MAX;
    in.seekg(0, std::ios_base::end);
    const std::streampos end = in.tellg();
    in.seekg(here);
    if (end == std::streampos(-1) || end < here) {
        in.clear();
        return SIZE_MAX;
    }
    return static_cast<size_t>(end - here);
}

}  // namespace

const char* CRowIteratorBands::DumpTag() const noexcept { return "RowIterator"; }

void CRowIteratorBands::DumpExtraFields(std::ostream&) const {}

void CRowIteratorBands::SetStreamFlags(std::ios_base& stream, uint32_t flags) {
    stream.iword(StreamFlagsSlot()) = static_cast<long>(flags);
}

uint32_t CRowIteratorBands::GetStreamFlags(std::ios_base& stream) {
    const long v = stream.iword(StreamFlagsSlot());
    return v ? static_cast<uint32_t>(v) : static_cast<uint32_t>(Binary);
}

CErrorAutoThrow CRowIteratorBands::StreamOut(std::ostream& out, uint32_t flags) const {
    if (flags & Binary) return StreamBinOut(out);
    return StreamTextOut(out, flags);
}

CErrorAutoThrow CRowIteratorBands::StreamTextOut(std::ostream& out, uint32_t flags, int level) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    const SState& s = *m_state;
    const bool full = (flags & TextFull) != 0;
    uint32_t paletteCrc = QGDI_Crc32(s.palette, sizeof(RGBQUAD) * size_t(s.paletteCount));
    uint32_t bitmapCrc = 0;
    std::string bitmap;
    char hex[4];
    QGDI_TRY(ForEachPackedRow(*this, [&](const uint8_t* row, size_t bytes) {
        bitmapCrc = QGDI_Crc32(row, bytes, bitmapCrc);
        if (!full) return;
        bitmap += '\n';
        bitmap.append(size_t(level + 1), '\t');
        for (size_t i = 0; i < bytes; ++i) {
            std::snprintf(hex, sizeof hex, "%02X", row[i]);
            bitmap += hex;
        }
    }));
    char crc[16];
    std::lock_guard lock(DumpLock());
    Indent(out, level);
    const RECT& rc = s.rect;
    out << '<' << DumpTag() << " Format=" << FormatWord(s.pres.format) << " Width=" << s.Width()
        << " Height=" << s.Height() << " PixelOffset=" << GetPixelOffset() << " Rect=<Left=" << rc.left
        << " Top=" << rc.top << " Right=" << rc.right << " Bottom=" << rc.bottom << '>';
    DumpExtraFields(out);
    out << '\n';
    Indent(out, level);
    std::snprintf(crc, sizeof crc, "%08X", paletteCrc);
    out << "PaletteCount=" << s.paletteCount << " PaletteCRC=" << crc << '\n';
    Indent(out, level);
    out << "Palette=<";
    if (full)
        for (int i = 0; i < s.paletteCount; ++i) {
            char entry[12];
            std::snprintf(entry, sizeof entry, "%s%02X%02X%02X", i ? " " : "", s.palette[i].rgbRed,
                          s.palette[i].rgbGreen, s.palette[i].rgbBlue);
            out << entry;
        }
    std::snprintf(crc, sizeof crc, "%08X", bitmapCrc);
    out << "> BitmapCRC=" << crc << '\n';
    Indent(out, level);
    out << "Bitmap=<" << bitmap << (full ? "\n" : "");
    if (full) Indent(out, level);
    out << ">>\n";
    return out ? CErrorAutoThrow() : QERR(keQuorErrFailed);
}

CErrorAutoThrow CRowIteratorBands::StreamBinOut(std::ostream& out) const {
    if (!IsAttached()) return QERR(keQuorErrIteratorState);
    const SState& s = *m_state;
    out.write(kMagic, 4);
    CCrcWriter w(out);
    w.U32(kVersion);
    w.U32(static_cast<uint32_t>(s.pres.format));
    w.U32(static_cast<uint32_t>(s.Width()));
    w.U32(static_cast<uint32_t>(s.Height()));
    w.U32(static_cast<uint32_t>(s.paletteCount));
    w.Bytes(s.palette, sizeof(RGBQUAD) * size_t(s.paletteCount));
    const uint8_t solid = s.solid.load(std::memory_order_relaxed) ? 1 : 0;
    w.Bytes(&solid, 1);
    w.U32(s.solidColour.GetRGBA());
    QGDI_TRY(ForEachPackedRow(*this, [&](const uint8_t* row, size_t bytes) { w.Bytes(row, bytes); }));
    const uint32_t crc = w.Crc();
    const uint8_t b[4] = {uint8_t(crc), uint8_t(crc >> 8), uint8_t(crc >> 16), uint8_t(crc >> 24)};
    out.write(reinterpret_cast<const char*>(b), 4);
    return out ? CErrorAutoThrow() : QERR(keQuorErrFailed);
}

CErrorAutoThrow CRowIteratorBands::StreamIn(std::istream& in) {
    if (IsAttached()) return QERR(keQuorErrIteratorState);
    char magic[4];
    in.read(magic, 4);
    if (in.gcount() != 4 || std::memcmp(magic, kMagic, 4) != 0) return QERR(keQuorErrFailed);
    CCrcReader rd(in);
    uint32_t version, format, width, height, paletteCount;
    if (!rd.U32(version) || !rd.U32(format) || !rd.U32(width) || !rd.U32(height) || !rd.U32(paletteCount))
        return QERR(keQuorErrFailed);
    const auto pf = static_cast<EQPixelFormat>(static_cast<int32_t>(format));
    if (version != kVersion || pf < keFormatIndex1 || pf > keFormatLast || width == 0 || height == 0 ||
        width > INT32_MAX || height > INT32_MAX || paletteCount > 256)
        return QERR(keQuorErrFailed);
    RGBQUAD palette[256];
    uint8_t solid;
    uint32_t solidColour;
    if (!rd.Bytes(palette, sizeof(RGBQUAD) * paletteCount) || !rd.Bytes(&solid, 1) || !rd.U32(solidColour) || solid > 1)
        return QERR(keQuorErrFailed);
    const int bpp = GetBPP(pf);
    const size_t rowBytes = QGDI_SpanBytes(bpp, static_cast<int>(width), 0);
    // Refuse a size the stream cannot hold before allocating for it.
    const size_t remaining = Remaining(in);
    if (remaining != SIZE_MAX && (rowBytes == 0 || height > (remaining - std::min<size_t>(remaining, 4)) / rowBytes))
        return QERR(keQuorErrFailed);
    // The palette must be what the format carries: any for indexed formats, the
    // grey ramp for grey ones (with the zero fourth bytes the iterator writes,
    // since it keeps its own ramp), none for the others.
    const CQPixelFormat kind(pf);
    const auto zeroReserved = [&] {
        return std::all_of(palette, palette + paletteCount, [](const RGBQUAD& q) { return q.rgbReserved == 0; });
    };
    if (kind.IsGreyscale() ? !CQPixelFormat::IsGreyPalette(palette, static_cast<int>(paletteCount)) || !zeroReserved()
                           : (!kind.IsIndexedColor() && paletteCount != 0))
        return QERR(keQuorErrFailed);
    QGDI_TRY(Create(static_cast<int>(width), static_cast<int>(height), pf, nullptr, paletteCount ? palette : nullptr,
                    static_cast<int>(paletteCount)));
    // An indexed image may come without a palette.
    if (kind.IsIndexedColor()) m_state->paletteCount = static_cast<int>(paletteCount);
    const SState& s = *m_state;
    std::vector<uint8_t> scratch;
    std::vector<uint8_t> row;
    try {
        row.resize(rowBytes);
    } catch (const std::bad_alloc&) {
        Reset();
        return QERR(keQuorErrOutOfMemory);
    }
    const SQSpanFormat packed{pf, s.palette, s.paletteCount, 0};
    // The bits after the last pixel of a packed row are written as zero; anything else is not our stream.
    const int usedBits = static_cast<int>((size_t(bpp) * width) % 8);
    const uint8_t padMask = static_cast<uint8_t>(usedBits ? 0xFFu >> usedBits : 0u);
    for (uint32_t y = 0; y < height; ++y) {
        if (!rd.Bytes(row.data(), rowBytes) || (row[rowBytes - 1] & padMask)) {
            Reset();
            return QERR(keQuorErrFailed);
        }
        SQSpanFormat native = packed;
        native.pixelOffset = s.pixelOffset;
        QGDI_ConvertSpan(s.NativeRow(static_cast<int>(y)), native, row.data(), packed, static_cast<int>(width),
                         scratch);
    }
    const uint32_t computed = rd.Crc();
    uint8_t b[4];
    in.read(reinterpret_cast<char*>(b), 4);
    const uint32_t stored = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    if (in.gcount() != 4 || stored != computed) {
        Reset();
        return QERR(keQuorErrFailed);
    }
    // The colour is kept even when the flag is clear, so that the stream writes back unchanged.
    m_state->solid.store(solid != 0, std::memory_order_relaxed);
    m_state->solidColour = CColorRef::FromRGBA(solidColour);
    QGDI_Log(keLogDebug, "STREAMED ITERATOR IN:  <%d x %d>\n", static_cast<int>(width), static_cast<int>(height));
    return CErrorAutoThrow();
}

std::ostream& operator<<(std::ostream& out, const CRowIteratorBands& iterator) {
    if (iterator.StreamOut(out, CRowIteratorBands::GetStreamFlags(out)).IsError()) out.setstate(std::ios_base::failbit);
    return out;
}

std::istream& operator>>(std::istream& in, CRowIteratorBands& iterator) {
    iterator.Reset();
    if (iterator.StreamIn(in).IsError()) in.setstate(std::ios_base::failbit);
    return in;
}

CErrorAutoThrow WriteSerializeRowIterator(const CRowIteratorBands* iterator, std::ostream& out, uint32_t flags,
                                          int level) {
    const bool present = iterator && iterator->IsAttached();
    Indent(out, level);
    out << (present ? "FULL" : "NULL") << '\n';
    if (!present) return out ? CErrorAutoThrow() : QERR(keQuorErrFailed);
    if (flags & CRowIteratorBands::Binary) return iterator->StreamBinOut(out);
    return iterator->StreamTextOut(out, flags, level);
}
