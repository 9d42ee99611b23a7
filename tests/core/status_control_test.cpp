#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/timer.h"
#include "platform/uithread.h"
#include "qdibcore/Source/StatusControl.h"

namespace {

// A clock the test moves by hand.
std::atomic<double> g_now{0.0};
double TestClock() { return g_now.load(); }

class StatusTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_now = 1.0;
        m_previous = QPlatform_SetClock(&TestClock);
        s_reports.clear();
    }
    void TearDown() override { QPlatform_SetClock(m_previous); }

    static bool RecordSDK(uint32_t percent, void* c1, void* c2) {
        s_reports.push_back(percent);
        return !(c1 == c2 && c1 != nullptr);  // equal non-null contexts mean "cancel"
    }

    QPlatformClockFn m_previous = nullptr;
    static inline std::vector<uint32_t> s_reports;
};

TEST_F(StatusTest, RootResetDefaults) {
    CStatusControl s;
    EXPECT_TRUE(s.IsRoot());
    EXPECT_EQ(s.GetParent(), &s);
    EXPECT_EQ(s.GetChild(), &s);
    EXPECT_EQ(s.GetStatusWidth(), 100);
    EXPECT_EQ(s.GetProgressRange(), 100u);
    EXPECT_EQ(s.GetTotalSteps(), 1);
    EXPECT_TRUE(s.DoStatus());
    EXPECT_TRUE(s.CompleteStatus());
    EXPECT_FALSE(s.PumpStatusMessages());
    EXPECT_TRUE(s.IsEscTextShown());
    EXPECT_EQ(s.GetCurrentStatusLocation(), 0u);
}

// Step boundaries move by whole percents: 100 over 3 steps is 0, 33, 66, 100.
TEST_F(StatusTest, StepArithmetic) {
    CStatusControl s;
    s.SetNumberOfSteps(3);
    EXPECT_EQ(s.GetStatusWidth(), 33);
    std::vector<uint32_t> bases;
    for (int i = 0; i < 3; ++i) {
        s.SetProgressRange(0);  // location then stays at the base reached
        s.SetProgressRange(1);
        s.SetProgress(0);
        bases.push_back(s.GetCurrentStatusLocation());
        s.NextStep();
    }
    s.SetProgress(0);
    bases.push_back(s.GetCurrentStatusLocation());
    EXPECT_EQ(bases, (std::vector<uint32_t>{0, 33, 66, 100}));

    CStatusControl t;
    t.SetNumberOfSteps(4);
    t.SetStep(2);
    t.SetProgress(0);
    EXPECT_EQ(t.GetCurrentStatusLocation(), 50u);
    t.NextStep(2);  // to step 3
    EXPECT_EQ(t.GetCurrentStep(), 3);
    t.SetProgress(0);
    EXPECT_EQ(t.GetCurrentStatusLocation(), 75u);
}

TEST_F(StatusTest, ZeroStepsAndZeroRange) {
    CStatusControl s;
    s.SetNumberOfSteps(0);
    EXPECT_EQ(s.GetTotalSteps(), 1);
    EXPECT_EQ(s.GetStatusWidth(), 100);
    s.SetProgress(40);
    EXPECT_EQ(s.GetCurrentStatusLocation(), 40u);
    s.SetProgressRange(0);
    s.SetProgress(90);
    EXPECT_EQ(s.GetCurrentStatusLocation(), 40u) << "a zero range leaves the location";
    s.SetProgressRange(10);
    s.SetProgress(1000);
    EXPECT_EQ(s.GetCurrentStatusLocation(), 100u) << "clamped to 100";
}

TEST_F(StatusTest, NestedStatusMapsIntoParentStep) {
    CStatusControl root;
    root.SetNumberOfSteps(4);
    root.NextStep();  // step 1: 25..50
    {
        CStatusControl child(&root);
        EXPECT_EQ(root.GetChild(), &child);
        EXPECT_EQ(child.GetParent(), &root);
        EXPECT_EQ(child.GetStatusWidth(), 25);
        child.SetProgressRange(10);
        child.SetProgress(6);
        EXPECT_EQ(child.GetCurrentStatusLocation(), 25u + 25 * 6 / 10);
        {
            CStatusControl grandchild(&child);
            EXPECT_EQ(root.GetChild(), &grandchild);
            EXPECT_EQ(grandchild.GetParent(), &root);
        }
        EXPECT_EQ(child.GetCurrentStep(), 1) << "closing a nested status advances its parent";
    }
    EXPECT_EQ(root.GetCurrentStep(), 2);
    EXPECT_EQ(root.GetDirectChild(), nullptr);
    root.SetProgressRange(1);
    root.SetProgress(0);
    EXPECT_EQ(root.GetCurrentStatusLocation(), 50u);
}

// Reports go out at most every 0.3 s and only when the percent changed.
TEST_F(StatusTest, ReportsAreThrottled) {
    CStatusControl s;
    s.SetSDKCallback(&RecordSDK, nullptr, nullptr);
    s.SetProgress(10);  // t = 1.0: reported
    g_now = 1.1;
    s.SetProgress(20);  // too soon
    g_now = 1.35;
    s.SetProgress(20);  // reported: 0.35 s later and 10 -> 20
    g_now = 1.7;
    s.SetProgress(20);  // same percent: time is stored, nothing reported
    g_now = 1.9;
    s.SetProgress(30);  // only 0.2 s after the stored time
    g_now = 2.0;
    s.SetProgress(30);
    EXPECT_EQ(s_reports, (std::vector<uint32_t>{10, 20, 30}));
}

TEST_F(StatusTest, SDKCallbackCancels) {
    CStatusControl s;
    int token = 0;
    s.SetSDKCallback(&RecordSDK, &token, &token);
    EXPECT_TRUE(s.SetProgress(50));
    EXPECT_TRUE(s.IsAborted());
    EXPECT_TRUE(s.AbortCheck());
}

TEST_F(StatusTest, UpdateCallbackOnlyOnMainThread) {
    static std::atomic<int> calls;
    calls = 0;
    QPlatform_ClearMainUIThread();
    CStatusControl::CreateCS();  // the calling thread becomes the main UI thread
    ASSERT_TRUE(QPlatform_IsMainUIThread());
    CStatusControl s;
    s.SetUpdateStatusCallback([](CStatusControl*) {
        ++calls;
        return 1;
    });
    std::thread([&] { s.SetProgress(10); }).join();
    EXPECT_EQ(calls, 0);
    g_now = 2.0;
    s.SetProgress(20);
    EXPECT_EQ(calls, 1);
    s.SetDoStatus(false);
    g_now = 3.0;
    s.SetProgress(30);
    EXPECT_EQ(calls, 1) << "do status off";
    s.SetDoStatus(true);
    s.SetUpdateStatusCallback([](CStatusControl*) { return 0; });
    g_now = 4.0;
    EXPECT_TRUE(s.SetProgress(40)) << "a zero answer cancels";
    CStatusControl::DeleteCS();
    QPlatform_ClearMainUIThread();
}

TEST_F(StatusTest, CancellationSpreadsUpAndDown) {
    CStatusControl root;
    CStatusControl child(&root);
    CStatusControl grandchild(&child);
    EXPECT_FALSE(grandchild.AbortCheck());
    child.SetAbortRequested(true);
    EXPECT_TRUE(child.AbortRequested());
    EXPECT_TRUE(child.AbortCheck());
    EXPECT_TRUE(root.IsAborted());
    EXPECT_TRUE(grandchild.IsAborted());
    EXPECT_TRUE(root.AbortCheck());

    // A nested status opened under a cancelled one starts cancelled.
    CStatusControl late(&grandchild);
    EXPECT_TRUE(late.IsAborted());
}

TEST_F(StatusTest, AbortCallbackCancelsFromRoot) {
    CStatusControl root;
    CStatusControl child(&root);
    root.SetAbortCheckCallback([](CStatusControl*) { return 1; });
    EXPECT_TRUE(root.SetProgress(1));
    EXPECT_TRUE(child.IsAborted());
}

TEST_F(StatusTest, ExclusiveAbort) {
    CStatusControl s;
    EXPECT_TRUE(s.SetExclusiveAbort(true));
    EXPECT_FALSE(s.SetExclusiveAbort(true));
    s.SetAbortRequested(true);
    EXPECT_FALSE(s.AbortCheck()) << "shared checks are masked";
    EXPECT_FALSE(s.IsAborted());
    EXPECT_TRUE(s.ExclusiveAbortCheck());
    EXPECT_TRUE(s.IsAborted());
    EXPECT_FALSE(s.AbortCheck()) << "still masked after the latch";
    EXPECT_TRUE(s.SetExclusiveAbort(false));
    EXPECT_TRUE(s.AbortCheck());

    // With an SDK callback the mask does not apply.
    CStatusControl t;
    t.SetSDKCallback(&RecordSDK, nullptr, nullptr);
    t.SetExclusiveAbort(true);
    t.SetAbortRequested(true);
    EXPECT_TRUE(t.AbortCheck());
}

class CRecordingThread : public VCoreThread {
public:
    void PostStatusMessage(uint32_t message, CStatusControl* status) override {
        std::lock_guard lock(mutex);
        messages.push_back(message);
        if (message == QGDI_STATUS_MSG_TEXT && status->GetText()) texts.push_back(status->GetText());
    }
    bool CheckAbort() override { return cancel.load(); }

    std::mutex mutex;
    std::vector<uint32_t> messages;
    std::vector<std::wstring> texts;
    std::atomic<bool> cancel{false};
};

TEST_F(StatusTest, ThreadSinkReceivesProgressFromWorkers) {
    CRecordingThread sink;
    CStatusControl s;
    s.SetClearVThread(&sink);
    s.SetProgressRange(4000);
    std::vector<std::thread> workers;
    std::atomic<int> next{0};
    for (int t = 0; t < 4; ++t)
        workers.emplace_back([&] {
            for (int i; (i = next.fetch_add(1)) < 4000;) {
                if (i % 100 == 0) g_now = g_now.load() + 0.31;
                EXPECT_FALSE(s.SetProgress(static_cast<uint64_t>(i)));
            }
        });
    for (auto& w : workers) w.join();
    ASSERT_FALSE(sink.messages.empty());
    for (uint32_t m : sink.messages) EXPECT_EQ(m, QGDI_STATUS_MSG_PROGRESS);

    s.SetText(L"row %d of %ls", 7, L"image");
    ASSERT_EQ(sink.texts.size(), 1u);
    EXPECT_EQ(sink.texts[0], L"row 7 of image");

    sink.cancel = true;
    EXPECT_TRUE(s.IncrementProgress());
}

TEST_F(StatusTest, TextCallbacksAndEscToggle) {
    static std::vector<std::wstring> texts;
    static std::vector<int> toggling;
    texts.clear();
    toggling.clear();
    CStatusControl s;
    s.SetUpdateTextCallback([](CStatusControl* st, const wchar_t* text) {
        texts.push_back(text ? text : L"<null>");
        toggling.push_back(st->IsEscTextToggling());
    });
    s.SetText(L"%d%%", 50);
    s.ToggleEscText(false);
    EXPECT_FALSE(s.IsEscTextShown());
    EXPECT_FALSE(s.IsEscTextToggling());
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"50%", L"<null>"}));
    EXPECT_EQ(toggling, (std::vector<int>{0, 1}));

    s.SetSDKCallback(&RecordSDK, nullptr, nullptr);
    s.SetText(L"ignored");
    s.ToggleEscText(true);
    EXPECT_EQ(texts.size(), 2u) << "an SDK host gets no text";
}

TEST_F(StatusTest, NestedInheritsCallbacksAndCopyAssigns) {
    CStatusControl root;
    root.SetSDKCallback(&RecordSDK, nullptr, nullptr);
    root.SetGetDWZPInterruptCallback([](CStatusControl*) { return 5; });
    root.SetPumpStatusMessages(true);
    CStatusControl child(&root);
    EXPECT_EQ(child.GetSDKCallback(), &RecordSDK);
    EXPECT_TRUE(child.DWZPInterruptExist());
    EXPECT_EQ(child.GetDWZPInterrupt(), 5);
    EXPECT_TRUE(child.PumpStatusMessages());

    CStatusControl copy;
    copy = root;
    EXPECT_TRUE(copy.IsRoot()) << "a copied root is its own root";
    EXPECT_EQ(copy.GetSDKCallback(), &RecordSDK);
    copy.Reset(true);
    EXPECT_EQ(copy.GetSDKCallback(), nullptr);

    CStatusControl orphan;
    orphan.SetParent(nullptr);
    EXPECT_TRUE(orphan.IsRoot());
}

}  // namespace
