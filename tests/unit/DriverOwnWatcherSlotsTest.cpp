// Watchers are registered only through the facade: every driver's own registration slots refuse.
#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DetectorPort.h"
#include "LuminanceMeter.h"
#include "MinoltaVistor.h"
#include "PhotoResearch.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

void expectRefusesWatchers(IMinolta* driver) {
    RecordingWatcher watcher;
    EXPECT_EQ(driver->RegisterWatcher(&watcher), RESULT_NOT_SUPPORTED);
    EXPECT_TRUE(CMinoltaVistor::GetInstance()->m_watchers.isEmpty());
    CMinoltaVistor::GetInstance()->Register(&watcher);
    EXPECT_EQ(driver->UnregisterWatcher(&watcher), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(CMinoltaVistor::GetInstance()->m_watchers.size(), 1);
    CMinoltaVistor::GetInstance()->Unregister(&watcher);
}

} // namespace

TEST(DriverOwnWatcherSlots, SpectroradiometerRefusesAndRegistersNothing) {
    std::unique_ptr<IMinolta> driver(new CChromameterMinolta(detectorLine()));
    expectRefusesWatchers(driver.get());
}

TEST(DriverOwnWatcherSlots, ColourAnalyserRefusesAndRegistersNothing) {
    std::unique_ptr<IMinolta> driver(new CChromameterMinoltaCas40(detectorLine()));
    expectRefusesWatchers(driver.get());
}

TEST(DriverOwnWatcherSlots, LuminanceMeterRefusesAndRegistersNothing) {
    std::unique_ptr<IMinolta> driver(new CLuminanceMeter(detectorLine()));
    expectRefusesWatchers(driver.get());
}

TEST(DriverOwnWatcherSlots, PhotoResearchRefusesAndRegistersNothing) {
    std::unique_ptr<IMinolta> driver(new CPhotoResearch(detectorLine()));
    expectRefusesWatchers(driver.get());
}

TEST(DriverOwnWatcherSlots, JingceColorimeterRefusesAndRegistersNothing) {
    std::unique_ptr<IMinolta> driver(new CChromameterWuHanJingCe(detectorLine()));
    expectRefusesWatchers(driver.get());
}
