// The process-wide list of the host's watchers.
#include "Minolta.h"
#include "MinoltaVistor.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Appends "<name>:<event>" to a shared journal, so the order across watchers shows.
class JournalWatcher : public IMinoltaWatcher {
public:
    JournalWatcher(std::string name, std::vector<std::string>* journal)
        : m_name(std::move(name)), m_journal(journal) {}
    void OnMeasureFinished() override { note("finished"); }
    void OnMeasureFailed(unsigned long code) override { note("failed" + std::to_string(code)); }
    void OnConnected() override { note("connected"); }
    void OnDisconnected() override { note("disconnected"); }
    void OnZeroCalibrated(unsigned long code) override { note("zero" + std::to_string(code)); }

private:
    void note(const std::string& event) { m_journal->push_back(m_name + ":" + event); }
    std::string m_name;
    std::vector<std::string>* m_journal;
};

// Every case leaves the registry empty, so no entry outlives the watcher it points to.
class WatcherRegistry : public ::testing::Test {
protected:
    void TearDown() override {
        if (CMinoltaVistor::m_pInstance)
            CMinoltaVistor::m_pInstance->m_watchers.clear();
    }
};

} // namespace

TEST_F(WatcherRegistry, SingletonIsCreatedOnFirstUseAndKept) {
    EXPECT_EQ(CMinoltaVistor::m_pInstance, nullptr);
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    ASSERT_NE(registry, nullptr);
    EXPECT_EQ(CMinoltaVistor::GetInstance(), registry);
    EXPECT_TRUE(registry->m_watchers.isEmpty());
}

TEST_F(WatcherRegistry, RegisteringTwiceLeavesOneEntryAndUnregisteringOnceRemovesIt) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher watcher;
    registry->Register(&watcher);
    registry->Register(&watcher);
    EXPECT_EQ(registry->m_watchers.size(), 1);
    registry->Unregister(&watcher);
    EXPECT_TRUE(registry->m_watchers.isEmpty());
    registry->NotifyAll_MeasureFailed(RESULT_FAIL);
    EXPECT_EQ(watcher.count(QStringLiteral("failed")), 0);
}

TEST_F(WatcherRegistry, UnregisteringAnAbsentWatcherIsIgnored) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher registered, absent;
    registry->Register(&registered);
    registry->Unregister(&absent);
    ASSERT_EQ(registry->m_watchers.size(), 1);
    EXPECT_EQ(registry->m_watchers.first(), &registered);
}

TEST_F(WatcherRegistry, MeasureFailedWithoutWatchersDoesNothingAndReturnsZero) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    ASSERT_TRUE(registry->m_watchers.isEmpty());
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_FAIL), 0);
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_PORT_LOST), 0);
    EXPECT_TRUE(registry->m_watchers.isEmpty());
}

TEST_F(WatcherRegistry, MeasureFailedReachesEveryWatcherWithTheCodeAndReturnsZero) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher a, b;
    registry->Register(&a);
    registry->Register(&b);
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_PORT_LOST), 0);
    for (RecordingWatcher* w : {&a, &b}) {
        const auto events = w->events();
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0].name, QStringLiteral("failed"));
        EXPECT_EQ(events[0].code, RESULT_PORT_LOST);
    }
}

TEST_F(WatcherRegistry, WatchersAreNotifiedInRegistrationOrder) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    std::vector<std::string> journal;
    JournalWatcher second("second", &journal), first("first", &journal), third("third", &journal);
    registry->Register(&first);
    registry->Register(&second);
    registry->Register(&third);
    registry->NotifyAll_MeasureFailed(RESULT_FAIL);
    registry->NotifyAll_MeasureFinished();
    registry->NotifyAll_Connected();
    registry->NotifyAll_Disconnected();
    registry->NotifyAll_ZeroCalibrated(0);
    const std::string fail = "failed" + std::to_string(RESULT_FAIL);
    const std::vector<std::string> expected = {
        "first:" + fail,   "second:" + fail,     "third:" + fail,       "first:finished",
        "second:finished", "third:finished",     "first:connected",     "second:connected",
        "third:connected", "first:disconnected", "second:disconnected", "third:disconnected",
        "first:zero0",     "second:zero0",       "third:zero0"};
    EXPECT_EQ(journal, expected);
}

TEST_F(WatcherRegistry, WatcherUnregisteringItselfDuringNotificationShortensTheWalk) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher first, quitter, skipped, last;
    quitter.onEvent = [&](const QString&) { registry->Unregister(&quitter); };
    for (RecordingWatcher* w : {&first, &quitter, &skipped, &last})
        registry->Register(w);
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_FAIL), 0);
    EXPECT_EQ(first.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(quitter.count(QStringLiteral("failed")), 1);
    // The list moved up under the walk: the entry after the one that left is passed over.
    EXPECT_EQ(skipped.count(QStringLiteral("failed")), 0);
    EXPECT_EQ(last.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(registry->m_watchers.size(), 3);
    // The next broadcast reaches everyone still registered.
    registry->NotifyAll_MeasureFailed(RESULT_FAIL);
    EXPECT_EQ(skipped.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(quitter.count(QStringLiteral("failed")), 1);
}

TEST_F(WatcherRegistry, LastWatcherUnregisteringItselfEndsTheWalk) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher first, quitter;
    quitter.onEvent = [&](const QString&) { registry->Unregister(&quitter); };
    registry->Register(&first);
    registry->Register(&quitter);
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_FAIL), 0);
    EXPECT_EQ(first.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(quitter.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(registry->m_watchers.size(), 1);
}

TEST_F(WatcherRegistry, NullWatcherIsKeptButNeverCalled) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    RecordingWatcher watcher;
    registry->Register(nullptr);
    registry->Register(&watcher);
    EXPECT_EQ(registry->m_watchers.size(), 2);
    EXPECT_EQ(registry->NotifyAll_MeasureFailed(RESULT_FAIL), 0);
    registry->NotifyAll_Connected();
    EXPECT_EQ(watcher.count(QStringLiteral("failed")), 1);
    EXPECT_EQ(watcher.count(QStringLiteral("connected")), 1);
    registry->Unregister(nullptr);
    EXPECT_EQ(registry->m_watchers.size(), 1);
}

TEST_F(WatcherRegistry, FacadeRegistersOnceAndAnswersOneEitherWay) {
    IMinolta* facade = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&facade), RESULT_OK);
    RecordingWatcher watcher;
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    EXPECT_EQ(facade->RegisterWatcher(&watcher), 1ul);
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    ASSERT_EQ(registry->m_watchers.size(), 1);
    EXPECT_EQ(registry->m_watchers.first(), &watcher);
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    EXPECT_TRUE(registry->m_watchers.isEmpty());
    EXPECT_EQ(facade->UnregisterWatcher(&watcher), 1ul);
    delete facade;
}

TEST_F(WatcherRegistry, WatchersRegisteredThroughOneFacadeServeAll) {
    IMinolta* a = nullptr;
    IMinolta* b = nullptr;
    CreateChromameterMinolta(&a);
    CreateChromameterMinolta(&b);
    RecordingWatcher watcher;
    a->RegisterWatcher(&watcher);
    // Deleting the facade leaves the registry as it is.
    delete a;
    EXPECT_EQ(CMinoltaVistor::GetInstance()->m_watchers.size(), 1);
    b->UnregisterWatcher(&watcher);
    EXPECT_TRUE(CMinoltaVistor::GetInstance()->m_watchers.isEmpty());
    delete b;
}
