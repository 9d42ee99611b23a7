#pragma once
// A growable byte buffer for the rows stages hand out. Memory is aligned for
// the widest vector loads the kernels make and never throws: a stage reports a
// failed allocation as false, like every other failure of a chain.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

class CQBuffer {
public:
    static constexpr size_t kAlignment = 64;

    CQBuffer() noexcept = default;
    ~CQBuffer() { Free(); }
    CQBuffer(const CQBuffer&) = delete;
    CQBuffer& operator=(const CQBuffer&) = delete;
    CQBuffer(CQBuffer&& other) noexcept
        : m_pData(other.m_pData), m_nSize(other.m_nSize), m_nCapacity(other.m_nCapacity) {
        other.m_pData = nullptr;
        other.m_nSize = other.m_nCapacity = 0;
    }
    CQBuffer& operator=(CQBuffer&& other) noexcept {
        if (this != &other) {
            Free();
            m_pData = other.m_pData;
            m_nSize = other.m_nSize;
            m_nCapacity = other.m_nCapacity;
            other.m_pData = nullptr;
            other.m_nSize = other.m_nCapacity = 0;
        }
        return *this;
    }

    // Makes the buffer at least `bytes` long; the first Size() bytes survive.
    // Capacity grows by half again so that a row growing one pixel at a time
    // does not reallocate on every call. False (and nothing changed) when
    // memory is short.
    bool Grow(size_t bytes) noexcept {
        if (bytes <= m_nCapacity) {
            if (bytes > m_nSize) m_nSize = bytes;
            return true;
        }
        size_t capacity = m_nCapacity + m_nCapacity / 2;
        if (capacity < bytes) capacity = bytes;
        // Rounded to the alignment, as aligned_alloc requires, plus one vector of
        // slack so that kernels may read a whole vector past the last element.
        const size_t rounded = (capacity + 2 * kAlignment - 1) / kAlignment * kAlignment;
        if (rounded < bytes) return false;  // wrapped around
        auto* data = static_cast<uint8_t*>(std::aligned_alloc(kAlignment, rounded));
        if (!data) return false;
        if (m_nSize) std::memcpy(data, m_pData, m_nSize);
        std::memset(data + m_nSize, 0, rounded - m_nSize);
        std::free(m_pData);
        m_pData = data;
        m_nCapacity = rounded - kAlignment;
        m_nSize = bytes;
        return true;
    }
    void Free() noexcept {
        std::free(m_pData);
        m_pData = nullptr;
        m_nSize = m_nCapacity = 0;
    }

    uint8_t* Data() noexcept { return m_pData; }
    const uint8_t* Data() const noexcept { return m_pData; }
    template <class T>
    T* As() noexcept {
        return reinterpret_cast<T*>(m_pData);
    }
    size_t Size() const noexcept { return m_nSize; }
    bool IsEmpty() const noexcept { return m_pData == nullptr; }

private:
    uint8_t* m_pData = nullptr;
    size_t m_nSize = 0;
    size_t m_nCapacity = 0;
};
