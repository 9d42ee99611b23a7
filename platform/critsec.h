#pragma once
// Windows critical sections: recursive locks owned by a thread.
#include <mutex>

struct CRITICAL_SECTION {
    std::recursive_mutex mutex;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

// The storage is the object itself, so initialisation and deletion have nothing to do;
// they exist because callers pair them with Enter and Leave.
inline void InitializeCriticalSection(CRITICAL_SECTION*) noexcept {}
inline void DeleteCriticalSection(CRITICAL_SECTION*) noexcept {}
inline void EnterCriticalSection(CRITICAL_SECTION* cs) { cs->mutex.lock(); }
inline void LeaveCriticalSection(CRITICAL_SECTION* cs) { cs->mutex.unlock(); }
inline bool TryEnterCriticalSection(CRITICAL_SECTION* cs) { return cs->mutex.try_lock(); }

// Scoped Enter/Leave.
class CCriticalSectionLock {
public:
    explicit CCriticalSectionLock(CRITICAL_SECTION* cs) : m_cs(cs) {
        if (m_cs) EnterCriticalSection(m_cs);
    }
    ~CCriticalSectionLock() {
        if (m_cs) LeaveCriticalSection(m_cs);
    }
    CCriticalSectionLock(const CCriticalSectionLock&) = delete;
    CCriticalSectionLock& operator=(const CCriticalSectionLock&) = delete;

private:
    CRITICAL_SECTION* m_cs;
};
