// Presentation of an iterator's pixels in another format or one channel
// alone, and the converted rows that serve it.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "qdibcore/Source/DibIterator.h"
#include "qdibcore/Source/PixelFormatTraits.h"
#include "qdibcore/Source/internal/RowIteratorState.h"
#include "qdibcore/Source/internal/pixel/RowConvert.h"

namespace {
using namespace qgdi::px;
using qgdi::iter::CRowBufferCache;
using qgdi::iter::SConvertedRow;
using qgdi::iter::SRowBuffer;

bool IsStorableFormat(EQPixelFormat format) noexcept { return format >= keFormatIndex1 && format <= keFormatLast; }
bool IsValidMode(EImageModifyMode mode) noexcept {
    return mode >= keImageModifyReadOnly && mode <= keImageModifyWriteOnly;
}

struct SChannelStep {
    QRowConvertFn read = nullptr;
    QRowConvertFn write = nullptr;
    int index = 0;
    EQPixelFormat presented = keFormatNone;
    QuorErrorCode error = keQuorErrSuccess;
};

template <class E>
SChannelStep SingleChannelMovers(int channels, int index, EQPixelFormat grey) {
    SChannelStep step;
    step.index = index;
    step.presented = grey;
    switch (channels) {
    case 2:
        step.read = &GetChannel<E, 2>;
        step.write = &MoveChannel<E, 2>;
        break;
    case 3:
        step.read = &GetChannel<E, 3>;
        step.write = &MoveChannel<E, 3>;
        break;
    case 4:
        step.read = &GetChannel<E, 4>;
        step.write = &MoveChannel<E, 4>;
        break;
    default: step.error = keQuorErrFormatNotSupported; break;
    }
    return step;
}

// The channel step that presents `channels` of `format`. No step (null
// converters, error 0) when the format already is what is asked for.
SChannelStep ChannelStepFor(EQPixelFormat format, EQChannelSet channels) {
    SChannelStep step;
    step.presented = format;
    const SQPixelFormatTraits* t = QGDI_FindPixelFormatTraits(format);
    if (channels == keChannelSetAll) return step;
    if (!t || t->channelCount == 0) {
        step.error = keQuorErrFormatNotSupported;
        return step;
    }
    const bool indexed = t->formatClass == keFormatClassIndexed;
    // An indexed pixel holds an index and, in Index8A, an alpha byte: only
    // the alpha is a channel of its own.
    const int pixelChannels = indexed ? (t->alpha ? 2 : 1) : t->channelCount;
    if (channels == keChannelSetAllButAlpha) {
        if (!t->alpha) return step;
        if (pixelChannels == 2) {
            const EQPixelFormat flat = indexed ? keFormatIndex8 : t->flat;
            step = t->bitsPerChannel == 8    ? SingleChannelMovers<uint8_t>(2, 0, flat)
                   : t->bitsPerChannel == 16 ? SingleChannelMovers<uint16_t>(2, 0, flat)
                                             : SingleChannelMovers<float>(2, 0, keFormatGrey_f32);
            return step;
        }
        step.presented = t->bitsPerChannel == 8    ? keFormatBGR
                         : t->bitsPerChannel == 16 ? keFormatBGR_u16
                                                   : keFormatBGR_f32;
        if (t->bitsPerChannel == 8) {
            step.read = &GetColourChannels<uint8_t>;
            step.write = &MoveColourChannels<uint8_t>;
        } else if (t->bitsPerChannel == 16) {
            step.read = &GetColourChannels<uint16_t>;
            step.write = &MoveColourChannels<uint16_t>;
        } else {
            step.read = &GetColourChannels<float>;
            step.write = &MoveColourChannels<float>;
        }
        return step;
    }
    const EQChannel channel = QGDI_ChannelSetToChannel(channels);
    if (channel == keChannelNone) {
        step.error = keQuorErrFailed;
        return step;
    }
    int index = -1;
    if (indexed) index = (t->alpha && channel == keChannelAlpha) ? 1 : -1;
    else
        for (int i = 0; i < t->channelCount; ++i)
            if (t->channels[i] == channel) index = i;
    if (index < 0) {
        step.error = keQuorErrFormatNotSupported;
        return step;
    }
    if (pixelChannels == 1) return step;  // a grey image's grey channel is the image
    if (t->bitsPerChannel == 8) return SingleChannelMovers<uint8_t>(pixelChannels, index, keFormatGrey);
    if (t->bitsPerChannel == 16) return SingleChannelMovers<uint16_t>(pixelChannels, index, keFormatGrey_u16);
    return SingleChannelMovers<float>(pixelChannels, index, keFormatGrey_f32);
}

// With two steps a row's buffer carries the target pixels between them
// after the presented span, so every user of a row has its own and the
// write-back needs no memory of its own.
size_t ScratchStart(size_t bytes) noexcept { return (bytes + 63) & ~size_t(63); }

}  // namespace

// ---- Per-thread buffers --------------------------------------------------------

namespace qgdi::iter {

void CRowBufferCache::Free(SRowBuffer buffer) noexcept { std::free(buffer.data); }

CRowBufferCache::SSlot& CRowBufferCache::Mine() noexcept {
    // Constant-initialised, so that reading it is a plain thread-local load.
    static std::atomic<unsigned> drawn{0};
    static thread_local unsigned mine = 0;
    if (mine == 0) [[unlikely]]
        mine = drawn.fetch_add(1, std::memory_order_relaxed) + 1;
    return m_slots[mine % kSlots];
}

namespace {
std::atomic<int> g_bufferFailures{0};

// True when an injected failure is due; takes it.
bool InjectedFailure() noexcept {
    int left = g_bufferFailures.load(std::memory_order_relaxed);
    while (left > 0)
        if (g_bufferFailures.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return true;
    return false;
}
}  // namespace

void SetRowBufferFailures(int count) noexcept {
    g_bufferFailures.store(count > 0 ? count : 0, std::memory_order_relaxed);
}

SRowBuffer CRowBufferCache::Take(size_t bytes) noexcept {
    SSlot& slot = Mine();
    {
        std::lock_guard guard(slot.lock);
        SRowBuffer* best = nullptr;
        for (SRowBuffer& b : slot.kept)
            if (b.data && b.capacity >= bytes && (!best || b.capacity < best->capacity)) best = &b;
        if (best) return std::exchange(*best, SRowBuffer{});
    }
    // Whole cache lines, so that a buffer also serves slightly longer spans later.
    const size_t rounded = std::max<size_t>((bytes + 63) & ~size_t(63), 64);
    if (rounded > UINT32_MAX || InjectedFailure()) return {};
    SRowBuffer b;
    b.data = static_cast<uint8_t*>(std::aligned_alloc(64, rounded));
    b.capacity = b.data ? static_cast<uint32_t>(rounded) : 0;
    return b;
}

void CRowBufferCache::Give(SRowBuffer buffer) noexcept {
    if (!buffer.data) return;
    SSlot& slot = Mine();
    {
        std::lock_guard guard(slot.lock);
        SRowBuffer* smallest = &slot.kept[0];
        for (SRowBuffer& b : slot.kept) {
            if (!b.data) {
                b = buffer;
                return;
            }
            if (b.capacity < smallest->capacity) smallest = &b;
        }
        if (smallest->capacity < buffer.capacity) std::swap(*smallest, buffer);
    }
    Free(buffer);
}

void CRowBufferCache::Clear() noexcept {
    for (SSlot& slot : m_slots)
        for (SRowBuffer& b : slot.kept) Free(std::exchange(b, SRowBuffer{}));
}

}  // namespace qgdi::iter

void SQPresentation::FreeTable() noexcept {
    for (size_t y = 0; y < rows; ++y) std::free(table[y].buffer);
    table.reset();
    rows = 0;
    buffers.reset();
}

bool SQPresentation::AnyHeld() const noexcept {
    for (size_t y = 0; y < rows; ++y)
        if (table[y].Phase() != SConvertedRow::kePhaseEmpty) return true;
    return false;
}

CErrorAutoThrow CRowIteratorBands::RebuildPresentation() const {
    SState& s = *m_state;
    SQPresentation& p = s.pres;
    if (!p.custom) {
        p.convertRead = p.convertWrite = nullptr;
        if (p.target != s.native) {
            p.convertRead = FindConverter(s.native, p.target);
            p.convertWrite = FindConverter(p.target, s.native);
            if (!p.convertRead) return QERR(keQuorErrFormatNotSupported);
        }
    }
    const SChannelStep step = ChannelStepFor(p.target, p.channels);
    if (step.error != keQuorErrSuccess) return QERR(step.error);
    p.channelRead = step.read;
    p.channelWrite = step.write;
    p.channelIndex = step.index;
    p.format = step.presented;
    const bool converting = p.convertRead || p.channelRead;
    p.FreeTable();
    p.converting = false;
    if (converting) {
        p.rows = size_t(s.Height());
        p.table.reset(new (std::nothrow) SConvertedRow[p.rows]);
        p.buffers.reset(new (std::nothrow) CRowBufferCache);
        if (!p.table || !p.buffers) {
            p.FreeTable();
            return QERR(keQuorErrOutOfMemory);
        }
        p.converting = true;
    }
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::SetPixelFormat(EQPixelFormat format, EImageModifyMode mode) const {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!IsValidMode(mode) || s.pres.AnyHeld()) return QERR(keQuorErrFailed);
    if (format == keFormatNone) format = s.native;
    if (!IsStorableFormat(format)) return QERR(keQuorErrFailed);
    if (format != s.native && !FindConverter(s.native, format)) return QERR(keQuorErrFormatNotSupported);
    // A channel access chosen for the old format may not exist in the new one.
    if (ChannelStepFor(format, s.pres.channels).error != keQuorErrSuccess) return QERR(keQuorErrFormatNotSupported);
    if (s.pres.mode != mode) QGDI_IteratorStats().LogIteratorModeChangeEx(QMM_HERE);
    if (s.pres.target != format || s.pres.custom) QGDI_IteratorStats().LogIteratorPixelFormatChangeEx(QMM_HERE);
    s.pres.mode = mode;
    s.pres.target = format;
    s.pres.custom = false;
    return RebuildPresentation();
}

CErrorAutoThrow CRowIteratorBands::SetChannelAccess(EQChannelSet channels, EImageModifyMode mode) const {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!IsValidMode(mode) || s.pres.AnyHeld()) return QERR(keQuorErrFailed);
    if (channels < keChannelSetBlue || channels > keChannelSetSixth) return QERR(keQuorErrFailed);
    const SChannelStep step = ChannelStepFor(s.pres.target, channels);
    if (step.error != keQuorErrSuccess) return QERR(step.error);
    if (s.pres.mode != mode) QGDI_IteratorStats().LogIteratorModeChangeEx(QMM_HERE);
    if (s.pres.channels != channels) QGDI_IteratorStats().LogIteratorChannelAccessChangeEx(QMM_HERE);
    s.pres.mode = mode;
    s.pres.channels = channels;
    return RebuildPresentation();
}

CErrorAutoThrow CRowIteratorBands::SetChannelAccess(EQChannel channel, EImageModifyMode mode) const {
    if (channel == keChannelNone) return SetChannelAccess(keChannelSetAll, mode);
    const EQChannelSet set = QGDI_ChannelToChannelSet(channel);
    if (set == keChannelSetNone) return IsAttached() ? QERR(keQuorErrFailed) : QERR(keQuorErrIteratorState);
    return SetChannelAccess(set, mode);
}

CErrorAutoThrow CRowIteratorBands::SetConversion(EQPixelFormat format, QRowConvertFn read, QRowConvertFn write,
                                                 EImageModifyMode mode) const {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!read || !IsStorableFormat(format) || !IsValidMode(mode) || s.pres.AnyHeld()) return QERR(keQuorErrFailed);
    if (ChannelStepFor(format, s.pres.channels).error != keQuorErrSuccess) return QERR(keQuorErrFormatNotSupported);
    QGDI_IteratorStats().LogIteratorPixelFormatChangeEx(QMM_HERE);
    if (s.pres.mode != mode) QGDI_IteratorStats().LogIteratorModeChangeEx(QMM_HERE);
    s.pres.mode = mode;
    s.pres.target = format;
    s.pres.custom = true;
    s.pres.convertRead = read;
    s.pres.convertWrite = write;
    return RebuildPresentation();
}

CErrorAutoThrow CRowIteratorBands::OverridePixelFormat(EQPixelFormat format) {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    if (!IsStorableFormat(format) || GetBPP(format) != s.nativeBpp || s.pres.AnyHeld()) return QERR(keQuorErrFailed);
    if (format == s.native) return CErrorAutoThrow();
    const bool followed = !s.pres.custom && s.pres.target == s.native;
    s.native = format;
    if (CQPixelFormat(format).IsGreyscale()) {
        std::memcpy(s.palette, CDibIterator::sm_aoGreyPalette, sizeof(RGBQUAD) * 256);
        s.paletteCount = 256;
    }
    s.writablePalette = CQPixelFormat(format).IsIndexedColor() && (!s.storage->header || s.storage->paletteSlots > 0);
    if (followed) s.pres.target = format;
    if (ChannelStepFor(s.pres.target, s.pres.channels).error != keQuorErrSuccess) s.pres.channels = keChannelSetAll;
    QGDI_IteratorStats().LogIteratorPixelFormatChangeEx(QMM_HERE);
    if (RebuildPresentation().IsError()) {
        // The new native format has no converter to the old target: present it as it is.
        s.pres.target = format;
        s.pres.custom = false;
        s.pres.channels = keChannelSetAll;
        return RebuildPresentation();
    }
    return CErrorAutoThrow();
}

// ---- Converted rows ----------------------------------------------------------
//
// Any number of threads may take and release converted rows at once. A row's
// entry is claimed under its own lock, converted outside it, then published;
// a second user of the same span waits for the conversion, a user of another
// span is refused at once. Buffers come from the calling thread's slot.

CErrorAutoThrow CRowIteratorBands::GetConvertedRow(const uint8_t*& row, int y, int x, int count, int* pixelOffset,
                                                   bool modifiable) const {
    SState& s = *m_state;
    SQPresentation& p = s.pres;
    const size_t firstBit = (size_t(s.pixelOffset) + size_t(x)) * size_t(s.nativeBpp);
    const size_t offset = firstBit / 8;
    const size_t bytes = QGDI_SpanBytes(GetBPP(p.format), count, 0);
    if (offset > UINT32_MAX || bytes > UINT32_MAX) return QERR(keQuorErrFailed);
    SConvertedRow& e = p.table[size_t(y)];
    for (std::unique_lock lock(e.lock);; lock.lock()) {
        const SConvertedRow::EPhase phase = e.Phase();
        if (phase == SConvertedRow::kePhaseEmpty) {
            e.offset = static_cast<uint32_t>(offset);
            e.bytes = static_cast<uint32_t>(bytes);
            e.x = x;
            e.count = count;
            e.refs = 1;
            e.writable = modifiable;
            e.Publish(SConvertedRow::kePhaseFilling);
            break;
        }
        if (phase != SConvertedRow::kePhaseDraining) {
            // A row is shared only by users of the same span.
            if (e.offset != offset || e.bytes != bytes || e.x != x || e.count != count) {
                lock.unlock();
                return QERR(keQuorErrFailed);
            }
            if (phase == SConvertedRow::kePhaseHeld) {
                ++e.refs;
                e.writable |= modifiable;
                row = e.buffer;
                lock.unlock();
                if (pixelOffset) *pixelOffset = 0;
                QGDI_IteratorStats().LogIteratorGetRowEx(QMM_HERE);
                return CErrorAutoThrow();
            }
        }
        // Another thread is converting the row or writing it back.
        lock.unlock();
        std::this_thread::yield();
    }

    // Filling: this thread alone writes the entry until it publishes.
    const bool twoSteps = p.convertRead && p.channelRead;
    const size_t need = twoSteps ? ScratchStart(bytes) + QGDI_SpanBytes(GetBPP(p.target), count, 0) : bytes;
    const SRowBuffer buffer = p.buffers->Take(need);
    if (!buffer.data) {
        e.Publish(SConvertedRow::kePhaseEmpty);
        return QERR(keQuorErrOutOfMemory);
    }
    const int nativeOffset = s.nativeBpp < 8 ? static_cast<int>((firstBit % 8) / s.nativeBpp) : 0;
    const uint8_t* native = s.NativeRow(y) + offset;
    SQRowConvertContext ctx = s.Context();
    ctx.srcPixelOffset = nativeOffset;
    if (p.mode == keImageModifyWriteOnly) {
        std::memset(buffer.data, 0, bytes);
    } else if (twoSteps) {
        uint8_t* scratch = buffer.data + ScratchStart(bytes);
        p.convertRead(scratch, native, count, ctx);
        ctx.srcPixelOffset = 0;
        p.channelRead(buffer.data, scratch, count, ctx);
    } else if (p.convertRead) {
        p.convertRead(buffer.data, native, count, ctx);
    } else {
        p.channelRead(buffer.data, native, count, ctx);
    }
    e.buffer = buffer.data;
    e.capacity = buffer.capacity;
    e.Publish(SConvertedRow::kePhaseHeld);
    row = buffer.data;
    if (pixelOffset) *pixelOffset = 0;
    QGDI_IteratorStats().LogIteratorGetRowEx(QMM_HERE);
    QGDI_IteratorStats().LogIteratorGetRowCopyBytesEx(bytes, QMM_HERE);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::ReleaseConvertedRow(int y) const {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    SQPresentation& p = s.pres;
    if (!p.converting || y < 0 || y >= s.Height()) return CErrorAutoThrow();
    SConvertedRow& e = p.table[size_t(y)];
    {
        std::lock_guard guard(e.lock);
        // Releasing a row that is not held (or still being converted for
        // someone else) does nothing.
        if (e.Phase() != SConvertedRow::kePhaseHeld || --e.refs > 0) return CErrorAutoThrow();
        e.Publish(SConvertedRow::kePhaseDraining);
    }
    // Draining: this thread alone touches the entry until it publishes.
    const bool writeBack = e.writable && p.mode != keImageModifyReadOnly &&
                           (p.channelRead ? (p.channelWrite && (!p.convertRead || p.convertWrite))
                                          : p.convertWrite != nullptr);
    if (writeBack) {
        uint8_t* native = s.NativeRow(y) + e.offset;
        SQRowConvertContext ctx = s.Context();
        const size_t firstBit = (size_t(s.pixelOffset) + size_t(e.x)) * size_t(s.nativeBpp);
        const int nativeOffset = s.nativeBpp < 8 ? static_cast<int>((firstBit % 8) / s.nativeBpp) : 0;
        if (p.convertRead && p.channelRead) {
            // The other channels come from the current pixels.
            uint8_t* scratch = e.buffer + ScratchStart(e.bytes);
            ctx.srcPixelOffset = nativeOffset;
            p.convertRead(scratch, native, e.count, ctx);
            ctx.srcPixelOffset = 0;
            p.channelWrite(scratch, e.buffer, e.count, ctx);
            ctx.dstPixelOffset = nativeOffset;
            p.convertWrite(native, scratch, e.count, ctx);
        } else if (p.convertRead) {
            ctx.dstPixelOffset = nativeOffset;
            p.convertWrite(native, e.buffer, e.count, ctx);
        } else {
            p.channelWrite(native, e.buffer, e.count, ctx);
        }
        s.solid.store(false, std::memory_order_relaxed);
        QGDI_IteratorStats().LogIteratorReleaseRowCopyBytesEx(e.bytes, QMM_HERE);
    }
    // The buffer serves this thread's next row, so that a row loop allocates once.
    p.buffers->Give(SRowBuffer{e.buffer, e.capacity});
    e.buffer = nullptr;
    e.capacity = 0;
    e.Publish(SConvertedRow::kePhaseEmpty);
    return CErrorAutoThrow();
}

CErrorAutoThrow CRowIteratorBands::ReleaseAllRows() const {
    SState& s = *m_state;
    if (!s.storage) return QERR(keQuorErrIteratorState);
    SQPresentation& p = s.pres;
    if (p.converting)
        for (size_t y = 0; y < p.rows; ++y) {
            SConvertedRow& e = p.table[y];
            if (e.Phase() == SConvertedRow::kePhaseEmpty) continue;
            bool held = false;
            {
                std::lock_guard guard(e.lock);
                held = e.Phase() == SConvertedRow::kePhaseHeld;
                if (held) e.refs = 1;
            }
            if (held) ReleaseConvertedRow(static_cast<int>(y)).Ignore();
        }
    QGDI_IteratorStats().LogIteratorReleaseAllRowsEx(QMM_HERE);
    return CErrorAutoThrow();
}
