#pragma once
// Handing a failed result up to the caller. Errors are made in one place (QERR and
// the error library's trap); everything above that only passes them on, through
// QGDI_TRY, and exceptions stop at the first function that returns a result.
#include <new>
#include <utility>

#include "qerror/qerror.h"

namespace qgdi::result {

// The error being passed on. It converts to CErrorAutoThrow and to nothing else,
// so QGDI_TRY in a function returning bool or a bare code fails to compile
// instead of turning the error into `true` or a number.
class CPropagated {
public:
    explicit CPropagated(CErrorAutoThrow&& r) noexcept : m_result(std::move(r)) {}
    operator CErrorAutoThrow() && noexcept { return std::move(m_result); }

private:
    CErrorAutoThrow m_result;
};

// Looks at the code without examining the result: the caller we return to
// inherits the duty to examine the error, and if it drops the error the result
// still throws when destroyed. IsError() here would mark it examined and let a
// careless caller lose it silently.
inline bool Failed(const CErrorAutoThrow& r) noexcept { return r.PeekCode() != keQuorErrSuccess; }

// The boundary between code that fails by exception (CGenMatrix, the standard
// containers) and a function that returns a result: runs `fn`, which returns a
// CErrorAutoThrow, and turns what it throws into a code. A shape error or a
// singular matrix is a bad argument (101), std::bad_alloc is out of memory
// (102), and a CQException keeps its own code.
template <class Fn>
CErrorAutoThrow FromExceptions(Fn&& fn) noexcept {
    try {
        return std::forward<Fn>(fn)();
    } catch (const std::bad_alloc&) {
        return QERR(keQuorErrOutOfMemory);
    } catch (const CQException& ex) {
        return QERR(ex.GetErrorCode());
    } catch (...) {
        return QERR(keQuorErrFailed);
    }
}

}  // namespace qgdi::result

// Evaluates `expr` (a CErrorAutoThrow) once; if it holds an error, returns it
// unchanged from the enclosing function, which must return CErrorAutoThrow. The
// error is not made again, so the trap has seen it once, where it arose.
#define QGDI_TRY(expr)                                                                       \
    do {                                                                                     \
        if (CErrorAutoThrow qgdiTryResult_ = (expr); ::qgdi::result::Failed(qgdiTryResult_)) \
            return ::qgdi::result::CPropagated(std::move(qgdiTryResult_));                   \
    } while (false)
