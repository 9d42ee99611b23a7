#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "diagnostics/Profile.h"

namespace {

// Each test starts from zeroed counters with profiling on, and leaves it off.
class Profile : public ::testing::Test {
protected:
    void SetUp() override {
        QGDI_ProfileEnable(true);
        QGDI_ProfileReset();
    }
    void TearDown() override {
        QGDI_ProfileEnable(false);
        QGDI_ProfileReset();
    }
    static const SProfileEntry* Find(const std::vector<SProfileEntry>& table, const std::string& name) {
        for (const SProfileEntry& e : table)
            if (e.name == name) return &e;
        return nullptr;
    }
};

void Spin(std::chrono::microseconds d) {
    const auto end = std::chrono::steady_clock::now() + d;
    while (std::chrono::steady_clock::now() < end) {
    }
}

void Hit() { QGDI_PROFILE_SCOPE("test hits"); }

TEST_F(Profile, HitsAreExactAcrossLiveAndFinishedThreads) {
    constexpr int kThreads = 6, kHits = 20000;
    std::vector<std::thread> finished;
    for (int t = 0; t < kThreads / 2; ++t)
        finished.emplace_back([] {
            for (int i = 0; i < kHits; ++i) Hit();
        });
    for (auto& t : finished) t.join();  // their counters are folded at exit
    std::atomic<int> done{0};
    std::atomic<bool> release{false};
    std::vector<std::thread> live;
    for (int t = 0; t < kThreads / 2; ++t)
        live.emplace_back([&] {
            for (int i = 0; i < kHits; ++i) Hit();
            done.fetch_add(1);
            while (!release.load()) std::this_thread::yield();
        });
    while (done.load() < kThreads / 2) std::this_thread::yield();
    const auto table = QGDI_ProfileSnapshot();  // while the last three still hold their counters
    release.store(true);
    for (auto& t : live) t.join();
    const SProfileEntry* e = Find(table, "test hits");
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->hits, uint64_t{kThreads} * kHits);
    EXPECT_EQ(e->threads, kThreads);
    EXPECT_LE(e->minimum, e->maximum);
    EXPECT_LE(e->maximum, e->total);
    // After every thread ended the counts are unchanged.
    EXPECT_EQ(Find(QGDI_ProfileSnapshot(), "test hits")->hits, uint64_t{kThreads} * kHits);
}

TEST_F(Profile, NestedTimeIsTakenFromTheOuterScopesSelfTime) {
    for (int i = 0; i < 3; ++i) {
        QGDI_PROFILE_SCOPE("test outer");
        Spin(std::chrono::microseconds(200));
        for (int j = 0; j < 2; ++j) {
            QGDI_PROFILE_SCOPE("test inner");
            Spin(std::chrono::microseconds(300));
        }
    }
    const auto table = QGDI_ProfileSnapshot();
    const SProfileEntry *outer = Find(table, "test outer"), *inner = Find(table, "test inner");
    ASSERT_TRUE(outer && inner);
    EXPECT_EQ(outer->hits, 3u);
    EXPECT_EQ(inner->hits, 6u);
    EXPECT_NEAR(outer->self + inner->total, outer->total, outer->total * 1e-9);
    EXPECT_DOUBLE_EQ(inner->self, inner->total);
    EXPECT_GE(inner->minimum, 0.99 * 300e3);  // the clock's calibration: the time spun
    EXPECT_LT(inner->minimum, 1e9);
    EXPECT_EQ(table.front().name, "test outer");  // longest first
}

TEST_F(Profile, OffCountsNothingAndScopesOpenedOffStayUncounted) {
    QGDI_ProfileEnable(false);
    Hit();
    {
        QGDI_PROFILE_SCOPE("test hits");
        QGDI_ProfileEnable(true);
    }
    EXPECT_EQ(Find(QGDI_ProfileSnapshot(), "test hits"), nullptr);
    {
        QGDI_PROFILE_SCOPE("test hits");
        QGDI_ProfileEnable(false);  // opened on: counted when it closes
    }
    EXPECT_EQ(Find(QGDI_ProfileSnapshot(), "test hits")->hits, 1u);
}

TEST_F(Profile, UnbalancedUseIsHarmless) {
    static constinit CProfileSite a("test a"), b("test b"), c("test c"), timer("test timer");
    // Closed out of order: b outlives a, c opens after a closed.
    auto sa = std::make_unique<CProfileScope>(a);
    auto sb = std::make_unique<CProfileScope>(b);
    sa.reset();
    auto sc = std::make_unique<CProfileScope>(c);
    sb.reset();
    sc.reset();
    // Opened on one thread, closed on another; and a scope left open on a
    // thread that then ends.
    auto moved = std::make_unique<CProfileScope>(a);
    std::thread([&] { moved.reset(); }).join();
    CProfileScope* leaked = nullptr;
    std::thread([&] { leaked = new CProfileScope(b); }).join();
    delete leaked;
    // Deeper than the nesting stack.
    std::vector<std::unique_ptr<CProfileScope>> deep;
    for (int i = 0; i < 200; ++i) deep.push_back(std::make_unique<CProfileScope>(c));
    while (!deep.empty()) deep.pop_back();
    // Timers: a stray Stop counts nothing, a second Start restarts.
    CProfileTimer t(timer);
    t.Stop();
    t.Start();
    t.Start();
    t.Stop();
    t.Stop();
    const auto table = QGDI_ProfileSnapshot();
    const struct {
        const char* name;
        uint64_t hits;
    } expected[] = {{"test a", 2}, {"test b", 2}, {"test c", 201}, {"test timer", 1}};
    for (const auto& x : expected) {
        const SProfileEntry* e = Find(table, x.name);
        ASSERT_NE(e, nullptr) << x.name;
        EXPECT_EQ(e->hits, x.hits) << x.name;
        EXPECT_LE(e->self, e->total + 1e-9) << x.name;
    }
}

TEST_F(Profile, SitesOfOneNameAreMergedAndResetZeroes) {
    { QGDI_PROFILE_SCOPE("test shared"); }
    { QGDI_PROFILE_SCOPE("test shared"); }
    EXPECT_EQ(Find(QGDI_ProfileSnapshot(), "test shared")->hits, 2u);
    QGDI_ProfileReset();
    EXPECT_TRUE(QGDI_ProfileSnapshot().empty());
}

TEST_F(Profile, TableIsPrintedThroughTheLog) {
    Hit();
    Hit();
    std::vector<std::string> lines;
    QGDI_SetLogSink([](EQLogLevel, const char* line, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(line);
    }, &lines);
    const EQLogLevel before = QGDI_GetLogLevel();
    QGDI_SetLogLevel(keLogInfo);
    QGDI_ProfileReport(keLogInfo);
    QGDI_SetLogLevel(before);
    QGDI_SetLogSink(nullptr, nullptr);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("[MOXx64]\t[INFO]\tProfile\tscope\thits\ttotal ms", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1].rfind("[MOXx64]\t[INFO]\tProfile\ttest hits\t2\t", 0), 0u) << lines[1];
}

}  // namespace
