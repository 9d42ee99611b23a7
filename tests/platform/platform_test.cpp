#include <gtest/gtest.h>

#include <thread>

#include "platform/platform.h"

namespace {

TEST(Rect, IntersectOffsetEqualSet) {
    struct SCase {
        RECT a, b, expected;
        BOOL nonEmpty;
    };
    const SCase cases[] = {
        {{0, 0, 10, 10}, {5, 5, 20, 20}, {5, 5, 10, 10}, TRUE},
        {{0, 0, 10, 10}, {10, 0, 20, 10}, {0, 0, 0, 0}, FALSE},  // touching edges do not overlap
        {{0, 0, 10, 10}, {2, 3, 4, 5}, {2, 3, 4, 5}, TRUE},
        {{-5, -5, 0, 0}, {-10, -1, 10, 10}, {-5, -1, 0, 0}, TRUE},
        {{0, 0, 0, 10}, {0, 0, 10, 10}, {0, 0, 0, 0}, FALSE},
    };
    for (const SCase& c : cases) {
        RECT r{1, 2, 3, 4};
        EXPECT_EQ(IntersectRect(&r, &c.a, &c.b), c.nonEmpty);
        EXPECT_TRUE(EqualRect(&r, &c.expected));
    }
    RECT r;
    SetRect(&r, 1, 2, 3, 4);
    OffsetRect(&r, 10, -2);
    const RECT expected{11, 0, 13, 2};
    EXPECT_TRUE(EqualRect(&r, &expected));
    EXPECT_FALSE(IntersectRect(nullptr, &r, &r));
    EXPECT_FALSE(EqualRect(&r, nullptr));
}

TEST(MfcGeometry, PointSizeRect) {
    CRect rc(CPoint(2, 3), CSize(10, 20));
    EXPECT_EQ(rc.Width(), 10);
    EXPECT_EQ(rc.Height(), 20);
    EXPECT_EQ(rc.BottomRight(), CPoint(12, 23));
    EXPECT_EQ(rc.CenterPoint(), CPoint(7, 13));
    EXPECT_TRUE(rc.PtInRect(CPoint(2, 3)));
    EXPECT_FALSE(rc.PtInRect(CPoint(12, 3)));
    CRect other(5, 5, 100, 100);
    EXPECT_EQ(rc & other, CRect(5, 5, 12, 23));
    EXPECT_EQ(rc | other, CRect(2, 3, 100, 100));
    CRect inverted(10, 10, 0, 0);
    inverted.NormalizeRect();
    EXPECT_EQ(inverted, CRect(0, 0, 10, 10));
    EXPECT_EQ(CPoint(5, 5) - CPoint(2, 1), CSize(3, 4));
}

TEST(Platform, CriticalSectionIsRecursive) {
    CRITICAL_SECTION cs;
    InitializeCriticalSection(&cs);
    EnterCriticalSection(&cs);
    EXPECT_TRUE(TryEnterCriticalSection(&cs));
    LeaveCriticalSection(&cs);
    bool otherGotIt = true;
    std::thread([&] { otherGotIt = TryEnterCriticalSection(&cs); }).join();
    EXPECT_FALSE(otherGotIt);
    LeaveCriticalSection(&cs);
    DeleteCriticalSection(&cs);
}

TEST(Platform, MainThreadRegistration) {
    QPlatform_ClearMainUIThread();
    EXPECT_FALSE(QPlatform_HasMainUIThread());
    std::thread([] { QPlatform_SetMainUIThread(); }).join();
    QPlatform_SetDefaultMainUIThread();  // an explicit registration wins
    EXPECT_FALSE(QPlatform_IsMainUIThread());
    QPlatform_ClearMainUIThread();
    QPlatform_SetDefaultMainUIThread();
    EXPECT_TRUE(QPlatform_IsMainUIThread());
    QPlatform_ClearMainUIThread();
}

TEST(Platform, ClockIsReplaceable) {
    double t0 = QPlatform_GetTimeSeconds();
    EXPECT_GE(QPlatform_GetTimeSeconds(), t0);
    QPlatformClockFn old = QPlatform_SetClock([] { return 42.0; });
    EXPECT_EQ(old, nullptr);
    EXPECT_EQ(QPlatform_GetTimeSeconds(), 42.0);
    QPlatform_SetClock(nullptr);
    EXPECT_NE(QPlatform_GetTimeSeconds(), 42.0);
}

}  // namespace
