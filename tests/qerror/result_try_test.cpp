#include <gtest/gtest.h>

#include "qdibcore/Source/internal/ResultTry.h"

namespace {

int g_calls;
int g_trapped;

CErrorAutoThrow Step(QuorErrorCode code) {
    ++g_calls;
    return code == keQuorErrSuccess ? CErrorAutoThrow() : QERR(code);
}

// Three steps; stops at the first that fails.
CErrorAutoThrow Sequence(QuorErrorCode first, QuorErrorCode second, int& reached) {
    reached = 0;
    QGDI_TRY(Step(first));
    reached = 1;
    QGDI_TRY(Step(second));
    reached = 2;
    return Step(keQuorErrSuccess);
}

// Passes on a result the function already holds in a variable.
CErrorAutoThrow FromVariable(QuorErrorCode code) {
    CErrorAutoThrow r = Step(code);
    QGDI_TRY(r);
    return CErrorAutoThrow();
}

// Two levels of propagation: the error still reaches the top unexamined.
CErrorAutoThrow Nested(QuorErrorCode code) {
    int reached = 0;
    QGDI_TRY(Sequence(keQuorErrSuccess, code, reached));
    return CErrorAutoThrow();
}

class ResultTry : public ::testing::Test {
protected:
    void SetUp() override {
        g_calls = g_trapped = 0;
        m_old = QErr_SetTrap([](QuorErrorCode, const wchar_t*, const wchar_t*, int) { ++g_trapped; });
    }
    void TearDown() override { QErr_SetTrap(m_old); }

private:
    QErrTrapFn m_old = nullptr;
};

TEST_F(ResultTry, StopsAtTheFirstErrorAndEvaluatesEachStepOnce) {
    struct SCase {
        QuorErrorCode first, second, result;
        int reached, calls;
    };
    const SCase cases[] = {
        {keQuorErrSuccess, keQuorErrSuccess, keQuorErrSuccess, 2, 3},
        {keQuorErrOutOfMemory, keQuorErrSuccess, keQuorErrOutOfMemory, 0, 1},
        {keQuorErrSuccess, keQuorErrCancelled, keQuorErrCancelled, 1, 2},
        {keQuorErrFailed, keQuorErrCancelled, keQuorErrFailed, 0, 1},
    };
    for (const SCase& c : cases) {
        g_calls = g_trapped = 0;
        int reached = -1;
        CErrorAutoThrow r = Sequence(c.first, c.second, reached);
        EXPECT_EQ(r.PeekCode(), c.result);
        EXPECT_EQ(reached, c.reached);
        EXPECT_EQ(g_calls, c.calls);
        // Passing an error on does not make it again: the trap saw it once, where it arose.
        EXPECT_EQ(g_trapped, c.result == keQuorErrSuccess ? 0 : 1);
        r.Ignore();
    }
}

// The duty to examine travels with the error: a caller that drops a
// propagated error still gets the exception, however deep it came from.
TEST_F(ResultTry, PropagatedErrorIsStillUnexamined) {
    int reached = 0;
    EXPECT_THROW({ CErrorAutoThrow dropped = Sequence(keQuorErrFailed, keQuorErrSuccess, reached); }, CQException);
    EXPECT_THROW({ CErrorAutoThrow dropped = FromVariable(keQuorErrIteratorState); }, CQException);
    EXPECT_THROW({ CErrorAutoThrow dropped = Nested(keQuorErrOutOfMemory); }, CQException);
    try {
        CErrorAutoThrow dropped = Nested(keQuorErrPaletteRead);
    } catch (const CQException& ex) {
        EXPECT_EQ(ex.GetErrorCode(), keQuorErrPaletteRead);
    }
    EXPECT_EQ(g_trapped, 4);
}

TEST_F(ResultTry, ExaminedErrorReachesTheCaller) {
    CErrorAutoThrow r = FromVariable(keQuorErrFormatNotSupported);
    EXPECT_TRUE(r == keQuorErrFormatNotSupported);
    EXPECT_FALSE(Nested(keQuorErrSuccess).IsError());
}

}  // namespace
