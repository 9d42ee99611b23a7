#pragma once
// Scratch memory of the calling thread, for rows a kernel cannot work on in
// place (rows converted to an intermediate format, packed indices widened to
// bytes, spans moved onto a byte boundary). Each thread keeps one arena that
// grows to the largest need it has met, so an apply loop allocates on its
// first row per thread and never again; taking memory never throws, and a
// failure is a null pointer that the caller turns into a result code.
#include <cstddef>
#include <cstdint>

namespace qgdi::rowop {

struct SScratchArena;
struct SScratchOverflow;

// Memory taken through a frame belongs to it until it ends. Frames nest the
// way calls do (a converted kernel inside a widened one inside a shifted
// span), inner ones ending first. A take that does not fit while outer frames
// still hold arena memory gets a block of its own, freed with the frame; the
// arena then grows to the whole need the next time it is empty.
class CScratchFrame {
public:
    CScratchFrame() noexcept;
    ~CScratchFrame();
    CScratchFrame(const CScratchFrame&) = delete;
    CScratchFrame& operator=(const CScratchFrame&) = delete;

    // `bytes` of uninitialised memory aligned to 64 bytes, or null.
    uint8_t* Take(size_t bytes) noexcept;

private:
    SScratchArena* m_pArena;
    size_t m_nMark;
    SScratchOverflow* m_pOverflow = nullptr;
};

// Test hook: the next `count` takes on any thread fail (0: none fail).
void SetScratchFailures(int count) noexcept;
// Bytes the calling thread's arena holds.
size_t ScratchCapacity() noexcept;
// Frees the calling thread's arena when no frame holds part of it.
void ReleaseScratch() noexcept;

}  // namespace qgdi::rowop
