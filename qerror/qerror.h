#pragma once
#include <exception>
#include <string>

#include "qerror/QuorErrorCode.h"
#include "qerror/qerror_export.h"

// The exception of the error-code library: a code plus where it was raised.
class QERROR_API CQException : public std::exception {
public:
    CQException(QuorErrorCode code, const wchar_t* text = nullptr, bool logged = false, const wchar_t* file = nullptr,
                int line = 0);
    CQException(const CQException& other);
    CQException& operator=(const CQException& other);
    virtual ~CQException();

    QuorErrorCode GetErrorCode() const noexcept { return m_code; }
    const std::wstring& GetText() const noexcept { return m_text; }
    const std::wstring& GetFile() const noexcept { return m_file; }
    int GetLine() const noexcept { return m_line; }
    bool WasLogged() const noexcept { return m_logged; }
    const char* what() const noexcept override;

private:
    QuorErrorCode m_code;
    std::wstring m_text;
    bool m_logged;
    std::wstring m_file;
    int m_line;
    std::string m_what;
};

// Result of a fallible operation. An error that nobody looks at is a bug, so a
// result holding an error that was never examined throws CQException when it is
// destroyed (unless the stack is already unwinding, which would terminate the
// host). Every query (IsError, !, ==, !=, the conversion) counts as examining it.
// Copies and moves hand the duty to examine over to the new object.
class [[nodiscard]] QERROR_API CErrorAutoThrow {
public:
    CErrorAutoThrow() noexcept = default;
    CErrorAutoThrow(QuorErrorCode code, const wchar_t* file = nullptr, const wchar_t* function = nullptr, int line = 0);
    explicit CErrorAutoThrow(const CQException& ex);
    CErrorAutoThrow(const CErrorAutoThrow& other) noexcept;
    CErrorAutoThrow(CErrorAutoThrow&& other) noexcept;
    CErrorAutoThrow& operator=(const CErrorAutoThrow& other) noexcept;
    CErrorAutoThrow& operator=(CErrorAutoThrow&& other) noexcept;
    CErrorAutoThrow& operator=(QuorErrorCode code);
    ~CErrorAutoThrow() noexcept(false);

    bool IsError() const noexcept {
        m_examined = true;
        return m_code != keQuorErrSuccess;
    }
    bool operator!() const noexcept {
        m_examined = true;
        return m_code == keQuorErrSuccess;
    }
    bool operator==(QuorErrorCode code) const noexcept {
        m_examined = true;
        return m_code == code;
    }
    bool operator!=(QuorErrorCode code) const noexcept {
        m_examined = true;
        return m_code != code;
    }
    operator QuorErrorCode() const noexcept {
        m_examined = true;
        return m_code;
    }

    // The code without marking the result examined (diagnostics, tests).
    QuorErrorCode PeekCode() const noexcept { return m_code; }
    // Marks the result examined and returns the code; for callers that
    // deliberately drop an error (cleanup paths).
    QuorErrorCode Ignore() const noexcept {
        m_examined = true;
        return m_code;
    }

private:
    QuorErrorCode m_code = keQuorErrSuccess;
    mutable bool m_examined = true;
};

// Called once for every error result the library creates: the one place to set
// a breakpoint or attach a logger. Returns the previous hook.
using QErrTrapFn = void (*)(QuorErrorCode code, const wchar_t* file, const wchar_t* function, int line);
QERROR_API QErrTrapFn QErr_SetTrap(QErrTrapFn trap) noexcept;

// Creates an error result carrying the caller's location.
#define QERR_WIDEN2(x) L##x
#define QERR_WIDEN(x) QERR_WIDEN2(x)
#define QERR(code) CErrorAutoThrow((code), QERR_WIDEN(__FILE__), nullptr, __LINE__)
