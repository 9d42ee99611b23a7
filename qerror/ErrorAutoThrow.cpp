#include <atomic>
#include <cwchar>

#include "qerror/qerror.h"

namespace {
std::atomic<QErrTrapFn> g_trap{nullptr};

void Trap(QuorErrorCode code, const wchar_t* file, const wchar_t* function, int line) noexcept {
    if (code == keQuorErrSuccess) return;
    if (QErrTrapFn fn = g_trap.load(std::memory_order_acquire)) fn(code, file, function, line);
}

std::string Narrow(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t c : text) out.push_back(c >= 0 && c < 0x80 ? static_cast<char>(c) : '?');
    return out;
}
}  // namespace

const char* QuorErrorText(QuorErrorCode code) noexcept {
    switch (code) {
    case keQuorErrSuccess: return "success";
    case keQuorErrCancelled: return "cancelled";
    case keQuorErrFailed: return "failed or bad argument";
    case keQuorErrOutOfMemory: return "out of memory";
    case keQuorErrIteratorState: return "iterator in the wrong attach state";
    case keQuorErrFormatNotSupported: return "pixel format not supported";
    case keQuorErrInpaintFormat: return "format not convertible to the inpainting image type";
    case keQuorErrPaletteOpen: return "palette file could not be opened";
    case keQuorErrPaletteRead: return "palette file could not be read";
    }
    return "error";
}

QErrTrapFn QErr_SetTrap(QErrTrapFn trap) noexcept { return g_trap.exchange(trap, std::memory_order_acq_rel); }

CQException::CQException(QuorErrorCode code, const wchar_t* text, bool logged, const wchar_t* file, int line)
    : m_code(code), m_text(text ? text : L""), m_logged(logged), m_file(file ? file : L""), m_line(line) {
    m_what = "QuorErrorCode " + std::to_string(static_cast<int>(code)) + " (" + QuorErrorText(code) + ")";
    if (!m_text.empty()) m_what += ": " + Narrow(m_text);
    if (!m_file.empty()) m_what += " at " + Narrow(m_file) + ":" + std::to_string(line);
}

CQException::CQException(const CQException& other) = default;
CQException& CQException::operator=(const CQException& other) = default;
CQException::~CQException() = default;

const char* CQException::what() const noexcept { return m_what.c_str(); }

CErrorAutoThrow::CErrorAutoThrow(QuorErrorCode code, const wchar_t* file, const wchar_t* function, int line)
    : m_code(code), m_examined(code == keQuorErrSuccess) {
    Trap(code, file, function, line);
}

CErrorAutoThrow::CErrorAutoThrow(const CQException& ex)
    : m_code(ex.GetErrorCode()), m_examined(ex.GetErrorCode() == keQuorErrSuccess) {}

CErrorAutoThrow::CErrorAutoThrow(const CErrorAutoThrow& other) noexcept
    : m_code(other.m_code), m_examined(other.m_examined) {
    other.m_examined = true;
}

CErrorAutoThrow::CErrorAutoThrow(CErrorAutoThrow&& other) noexcept
    : m_code(other.m_code), m_examined(other.m_examined) {
    other.m_examined = true;
}

CErrorAutoThrow& CErrorAutoThrow::operator=(const CErrorAutoThrow& other) noexcept {
    if (this != &other) {
        m_code = other.m_code;
        m_examined = other.m_examined;
        other.m_examined = true;
    }
    return *this;
}

CErrorAutoThrow& CErrorAutoThrow::operator=(CErrorAutoThrow&& other) noexcept { return *this = other; }

CErrorAutoThrow& CErrorAutoThrow::operator=(QuorErrorCode code) {
    m_code = code;
    m_examined = code == keQuorErrSuccess;
    Trap(code, nullptr, nullptr, 0);
    return *this;
}

CErrorAutoThrow::~CErrorAutoThrow() noexcept(false) {
    // Throwing while another exception unwinds would call std::terminate.
    if (!m_examined && m_code != keQuorErrSuccess && std::uncaught_exceptions() == 0)
        throw CQException(m_code, L"result never examined", false, nullptr, 0);
}
