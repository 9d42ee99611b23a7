#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "qmm/ImageTiles.h"
#include "qmm/MemStats.h"
#include "qmm/qmm.h"

namespace {

CQMemStats& Stats() { return CQMemManager::GetMgr().GetStats(); }

TEST(MemManager, AllocLockWriteUnlockFree) {
    QMMHANDLE h = QMM_GlobalAlloc(GHND, 1000);
    ASSERT_NE(h, QMM_NULL);
    EXPECT_EQ(QMM_GlobalSize(h), 1000u);
    auto* p = static_cast<uint8_t*>(QMM_GlobalLock(h));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u);
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(p[i], 0) << i;
    std::memset(p, 0xAB, 1000);
    EXPECT_FALSE(QMM_GlobalUnlock(h));
    EXPECT_EQ(QMM_GlobalFree(h), QMM_NULL);
}

TEST(MemManager, LocksNestAndBlockFreeWhileLocked) {
    QMMHANDLE h = QMM_GlobalAlloc(GMEM_MOVEABLE, 16);
    ASSERT_NE(QMM_GlobalLock(h), nullptr);
    ASSERT_NE(QMM_GlobalLock(h), nullptr);
    EXPECT_EQ(_QMM_GlobalLockCount(h), 2);
    EXPECT_EQ(QMM_GlobalFree(h), h) << "a locked block is not freed";
    EXPECT_TRUE(QMM_GlobalUnlock(h));
    EXPECT_FALSE(QMM_GlobalUnlock(h));
    EXPECT_FALSE(QMM_GlobalUnlock(h)) << "unlocking an unlocked block is refused";
    EXPECT_EQ(QMM_GlobalFree(h), QMM_NULL);
}

// Handles that were freed, never existed or were forged are refused.
TEST(MemManager, InvalidHandlesAreRefused) {
    QMMHANDLE stale = QMM_GlobalAlloc(GMEM_FIXED, 8);
    ASSERT_EQ(QMM_GlobalFree(stale), QMM_NULL);
    QMMHANDLE reused = QMM_GlobalAlloc(GMEM_FIXED, 8);  // likely the same slot, new generation
    int dummy = 0;
    const QMMHANDLE bad[] = {QMM_NULL, stale, reinterpret_cast<QMMHANDLE>(&dummy),
                             reinterpret_cast<QMMHANDLE>(uintptr_t(0xFFFFFFFF))};
    for (QMMHANDLE h : bad) {
        EXPECT_EQ(QMM_GlobalLock(h), nullptr);
        EXPECT_FALSE(QMM_GlobalUnlock(h));
        EXPECT_EQ(QMM_GlobalSize(h), 0u);
        EXPECT_EQ(QMM_GlobalRealloc(h, 16, 0), QMM_NULL);
        EXPECT_FALSE(_QMM_IsValidHandle(h));
        EXPECT_EQ(QMM_AttachWinHandleEX(h, false), nullptr);
    }
    EXPECT_EQ(QMM_GlobalFree(stale), stale);
    EXPECT_TRUE(_QMM_IsValidHandle(reused));
    EXPECT_EQ(QMM_GlobalFree(reused), QMM_NULL);
}

TEST(MemManager, SizesThatCannotBeServed) {
    EXPECT_EQ(QMM_GlobalAlloc(GMEM_FIXED, 0), QMM_NULL);
    EXPECT_EQ(QMM_GlobalAlloc(GMEM_FIXED, QMM_MAX_BLOCK + 1), QMM_NULL);
    EXPECT_EQ(QMM_GlobalAlloc(GMEM_FIXED, ~size_t(0)), QMM_NULL);
}

TEST(MemManager, ReallocKeepsContentAndZeroesGrowth) {
    QMMHANDLE h = QMM_GlobalAlloc(GMEM_MOVEABLE, 10);
    auto* p = static_cast<uint8_t*>(QMM_GlobalLock(h));
    for (int i = 0; i < 10; ++i) p[i] = static_cast<uint8_t>(i + 1);
    EXPECT_EQ(QMM_GlobalRealloc(h, 5000, GMEM_ZEROINIT), QMM_NULL) << "a locked block cannot move";
    EXPECT_EQ(QMM_GlobalRealloc(h, 40, GMEM_ZEROINIT), h) << "growth within the capacity needs no move";
    QMM_GlobalUnlock(h);
    ASSERT_EQ(QMM_GlobalRealloc(h, 5000, GMEM_ZEROINIT), h);
    EXPECT_EQ(QMM_GlobalSize(h), 5000u);
    p = static_cast<uint8_t*>(QMM_GlobalLock(h));
    for (int i = 0; i < 10; ++i) EXPECT_EQ(p[i], i + 1);
    for (int i = 10; i < 5000; ++i) ASSERT_EQ(p[i], 0) << i;
    QMM_GlobalUnlock(h);
    QMM_GlobalFree(h);
}

TEST(MemManager, AccessorsOwnTheirBlocks) {
    uint64_t liveBefore = Stats().GetLiveBlocks();
    {
        CQmmBinPtr ptr;
        ASSERT_TRUE(ptr.Alloc(256, GHND, QMM_HERE));
        EXPECT_EQ(ptr.Length(), 256u);
        CLockAccessor lock(ptr);
        auto* bytes = static_cast<uint8_t*>(lock.Lock(QMM_HERE));
        ASSERT_NE(bytes, nullptr);
        bytes[255] = 7;
        EXPECT_EQ(_QMM_GlobalLockCount(ptr.Handle()), 1);

        // Another view of the same block, not owning it.
        CQmmBinPtr view = CQmmBinPtr::Adopt(QMM_AttachWinHandleEX(ptr.Handle(), false));
        ASSERT_TRUE(view);
        void* out = nullptr;
        EXPECT_EQ(view->QueryInterface(IID_IBinAccessor, &out), S_OK);
        static_cast<IBinAccessor*>(out)->Release();
        CComQIPtr<IBinAccessor, &IID_IBinAccessor> qi(static_cast<IUnknown*>(view.p));
        EXPECT_EQ(qi.p, view.p);
        CLockAccessorEx lockEx(view.Handle());
        EXPECT_EQ(static_cast<uint8_t*>(lockEx.Lock(QMM_HERE))[255], 7);
        EXPECT_EQ(_QMM_GlobalLockCount(ptr.Handle()), 2);
    }
    EXPECT_EQ(Stats().GetLiveBlocks(), liveBefore) << "the owning accessor freed its block";
}

TEST(MemStats, CountsFromManyThreadsAddUp) {
    Stats().Reset();
    constexpr int kThreads = 8, kRows = 10000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < kRows; ++i) {
                Stats().LogIteratorGetRowEx(QMM_HERE);
                Stats().LogIteratorGetRowCopyBytesEx(3, QMM_HERE);
                Stats().LogIteratorReleaseRowEx(QMM_HERE);
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(Stats().GetCount(keIteratorGetRow), uint64_t(kThreads) * kRows);
    EXPECT_EQ(Stats().GetCount(keIteratorReleaseRow), uint64_t(kThreads) * kRows);
    EXPECT_EQ(Stats().GetAmount(keIteratorGetRowCopyBytes), uint64_t(kThreads) * kRows * 3);
    EXPECT_EQ(Stats().GetCount(static_cast<EQMemEvent>(-1)), 0u);
}

TEST(MemStats, ReportNamesEventsAndTracedSites) {
    Stats().Reset();
    Stats().EnableSiteTracing(true);
    Stats().LogNewDibEx(1234, "dib.cpp", 42);
    Stats().EnableSiteTracing(false);
    std::string report = Stats().Report();
    EXPECT_NE(report.find("NewDib"), std::string::npos);
    EXPECT_NE(report.find("dib.cpp:42"), std::string::npos);
    EXPECT_NE(report.find("1234"), std::string::npos);
}

TEST(ImageTiles, TilesAreCreatedOnDemandAndClipped) {
    CImageTileManager mgr(300, 200, 4, 128);
    EXPECT_EQ(mgr.GetTilesAcross(), 3);
    EXPECT_EQ(mgr.GetTilesDown(), 2);
    EXPECT_EQ(mgr.GetTileCount(), 0u);
    CImageTileObject* t = mgr.GetTileAt(299, 199);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->GetTileX(), 2);
    EXPECT_EQ(t->GetWidth(), 300 - 256);
    EXPECT_EQ(t->GetHeight(), 200 - 128);
    uint8_t* px = t->Lock(QMM_HERE);
    ASSERT_NE(px, nullptr);
    px[t->GetStride() * t->GetHeight() - 1] = 9;
    t->Unlock(QMM_HERE);
    EXPECT_EQ(mgr.GetTile(2, 1), t);
    EXPECT_EQ(mgr.GetTile(3, 0), nullptr);
    EXPECT_EQ(mgr.GetTileAt(-1, 0), nullptr);
    mgr.DiscardTile(2, 1);
    EXPECT_FALSE(mgr.HasTile(2, 1));
}

}  // namespace
