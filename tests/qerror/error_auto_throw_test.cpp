#include <gtest/gtest.h>

#include <stdexcept>

#include "qerror/qerror.h"

namespace {

CErrorAutoThrow Make(QuorErrorCode code) { return CErrorAutoThrow(code); }

TEST(ErrorAutoThrow, SuccessNeverThrows) {
    EXPECT_NO_THROW({ CErrorAutoThrow ok; });
    EXPECT_NO_THROW({ (void)Make(keQuorErrSuccess); });
}

TEST(ErrorAutoThrow, UnexaminedErrorThrowsOnDestruction) {
    try {
        { CErrorAutoThrow e(keQuorErrOutOfMemory); }
        FAIL() << "no exception";
    } catch (const CQException& ex) {
        EXPECT_EQ(ex.GetErrorCode(), keQuorErrOutOfMemory);
    }
}

// Each way of looking at the result counts as examining it.
TEST(ErrorAutoThrow, EveryQueryExamines) {
    using Query = bool (*)(const CErrorAutoThrow&);
    const Query queries[] = {
        [](const CErrorAutoThrow& e) { return e.IsError(); },
        [](const CErrorAutoThrow& e) { return !e; },
        [](const CErrorAutoThrow& e) { return e == keQuorErrFailed; },
        [](const CErrorAutoThrow& e) { return e != keQuorErrFailed; },
        [](const CErrorAutoThrow& e) { return static_cast<QuorErrorCode>(e) == keQuorErrFailed; },
        [](const CErrorAutoThrow& e) { return e.Ignore() == keQuorErrFailed; },
    };
    for (Query q : queries) {
        EXPECT_NO_THROW({
            CErrorAutoThrow e(keQuorErrFailed);
            (void)q(e);
        });
    }
}

TEST(ErrorAutoThrow, PeekDoesNotExamine) {
    EXPECT_THROW(
        {
            CErrorAutoThrow e(keQuorErrFailed);
            EXPECT_EQ(e.PeekCode(), keQuorErrFailed);
        },
        CQException);
}

// A copy takes over the duty to examine: only the copy throws.
TEST(ErrorAutoThrow, CopyAndMoveHandOverTheDuty) {
    int thrown = 0;
    try {
        CErrorAutoThrow outer(keQuorErrSuccess);
        {
            CErrorAutoThrow a(keQuorErrIteratorState);
            outer = a;
        }
        (void)0;
    } catch (const CQException& ex) {
        ++thrown;
        EXPECT_EQ(ex.GetErrorCode(), keQuorErrIteratorState);
    }
    EXPECT_EQ(thrown, 1);

    EXPECT_NO_THROW({
        CErrorAutoThrow a(keQuorErrCancelled);
        CErrorAutoThrow b(std::move(a));
        EXPECT_TRUE(b == keQuorErrCancelled);
    });
}

TEST(ErrorAutoThrow, AssignmentFromCode) {
    CErrorAutoThrow e;
    e = keQuorErrFormatNotSupported;
    EXPECT_TRUE(e.IsError());
    EXPECT_EQ(static_cast<QuorErrorCode>(e), 120);
    e = keQuorErrSuccess;
    EXPECT_FALSE(e.IsError());
}

TEST(ErrorAutoThrow, FromException) {
    CQException ex(keQuorErrPaletteOpen, L"cannot open", true, L"pal.cpp", 12);
    CErrorAutoThrow e(ex);
    EXPECT_TRUE(e == keQuorErrPaletteOpen);
    EXPECT_EQ(ex.GetLine(), 12);
    EXPECT_TRUE(ex.WasLogged());
    EXPECT_NE(std::string(ex.what()).find("201"), std::string::npos);
    EXPECT_NE(std::string(ex.what()).find("pal.cpp:12"), std::string::npos);
}

// Throwing from a destructor during unwinding would terminate the host.
TEST(ErrorAutoThrow, NoThrowWhileUnwinding) {
    try {
        CErrorAutoThrow unexamined(keQuorErrFailed);
        throw std::runtime_error("first");
    } catch (const std::runtime_error& ex) {
        EXPECT_STREQ(ex.what(), "first");
    }
}

TEST(ErrorAutoThrow, TrapSeesEveryError) {
    static int trapped;
    static int lastLine;
    trapped = 0;
    QErrTrapFn old = QErr_SetTrap([](QuorErrorCode, const wchar_t*, const wchar_t*, int line) {
        ++trapped;
        lastLine = line;
    });
    { CErrorAutoThrow ok; }
    {
        auto e = QERR(keQuorErrFailed);
        (void)e.IsError();
    }
    CErrorAutoThrow f;
    f = keQuorErrOutOfMemory;
    (void)f.IsError();
    QErr_SetTrap(old);
    EXPECT_EQ(trapped, 2);
    EXPECT_EQ(lastLine, 0);
}

}  // namespace
