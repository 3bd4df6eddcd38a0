#include "IMinolta.h"
#include "InstrumentModel.h"
#include "InstrumentSession.h"
#include "ReadingTaker.h"
#include "StatusConsole.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

// The host side's one reading, on the real stack: the simulator on a pseudo-terminal, the plugin's
// detection, the Qt event loop of this thread kept running while the library works.

namespace {
SessionSettings simulated(const char* family, const char* fault = "") {
    SessionSettings settings;
    settings.simulate = QString::fromLatin1(family);
    settings.simFault = QString::fromLatin1(fault);
    settings.simLine = QStringLiteral("instant");
    return settings;
}

// A session with a simulated instrument found; the test's takers end before it does.
class CliReadingTaker : public ::testing::Test {
protected:
    void connectTo(const char* family, const char* fault = "") {
        session = std::make_unique<InstrumentSession>(simulated(family, fault), console);
        ASSERT_EQ(session->prepare(), InstrumentSession::Ok);
        ASSERT_EQ(session->detect(), InstrumentSession::Ok);
    }

    void TearDown() override {
        if (session)
            session->disconnect();
    }

    StatusConsole console{false, [](const QByteArray&) {}, [](const QByteArray&) {}};
    std::unique_ptr<InstrumentSession> session;
};
} // namespace

TEST_F(CliReadingTaker, ColourInstrumentReadingCarriesTheSimulatorsValues) {
    ASSERT_NO_FATAL_FAILURE(connectTo("analyser"));
    ReadingTaker taker(*session, console);
    Reading reading;
    EXPECT_TRUE(taker.take(&reading, 10.0));
    EXPECT_EQ(reading.result, RESULT_OK) << qPrintable(reading.error);
    EXPECT_NEAR(reading.Lv, 120.5, 1e-3);
    EXPECT_NEAR(reading.x, 0.3127, 1e-4);
    EXPECT_NEAR(reading.y, 0.3290, 1e-4);
    EXPECT_FALSE(taker.leftWorkBehind());
}

TEST_F(CliReadingTaker, SpectroradiometerReadingAsksForItsFurtherValuesOnlyWhenAllAreWanted) {
    ASSERT_NO_FATAL_FAILURE(connectTo("spectro"));
    ASSERT_TRUE(session->instrument().givesMeasureData);
    InstrumentModel* model = session->simulator();
    ReadingTaker taker(*session, console);

    model->clearRecord();
    Reading all;
    EXPECT_TRUE(taker.take(&all, 10.0));
    EXPECT_EQ(all.result, RESULT_OK) << qPrintable(all.error);
    EXPECT_EQ(model->countReceived("MEDR,2,0,0"), 1);
    EXPECT_NEAR(all.measureData[3], 120.5, 1e-3);

    model->clearRecord();
    Reading lvXy;
    EXPECT_TRUE(taker.take(&lvXy, 10.0, ReadingTaker::Values::LvXy));
    EXPECT_EQ(lvXy.result, RESULT_OK) << qPrintable(lvXy.error);
    EXPECT_EQ(model->countReceived("MEAS,1"), 1);
    EXPECT_EQ(model->countReceived("MEDR,2,0,0"), 0);
    EXPECT_NEAR(lvXy.Lv, 120.5, 1e-3);
    EXPECT_NEAR(lvXy.x, 0.3127, 1e-4);
    EXPECT_EQ(lvXy.measureData[3], 0.0);
}

TEST_F(CliReadingTaker, LuminanceMeterReadingComesFromItsReadOutThread) {
    ASSERT_NO_FATAL_FAILURE(connectTo("luminance"));
    ASSERT_TRUE(session->instrument().polledReading);
    ReadingTaker taker(*session, console);
    Reading reading;
    EXPECT_TRUE(taker.take(&reading, 10.0));
    EXPECT_EQ(reading.result, RESULT_OK) << qPrintable(reading.error);
    EXPECT_NEAR(reading.Lv, 120.5, 1e-3);
    EXPECT_FALSE(taker.leftWorkBehind());
}

TEST_F(CliReadingTaker, GoingAwayWaitsForAReadOutThatWasGivenUpOn) {
    ASSERT_NO_FATAL_FAILURE(connectTo("luminance", "slow"));
    auto taker = std::make_unique<ReadingTaker>(*session, console);
    Reading reading;
    QElapsedTimer clock;
    clock.start();
    // The slow meter reports "still running" for about a second; the reading is given up on long
    // before, and its read-out thread is still in the library.
    EXPECT_FALSE(taker->take(&reading, 0.05));
    EXPECT_EQ(reading.result, RESULT_FAIL);
    EXPECT_TRUE(reading.error.contains(QStringLiteral("no result within"))) << qPrintable(reading.error);
    ASSERT_TRUE(taker->leftWorkBehind());
    EXPECT_LT(clock.elapsed(), 500);
    // Destroying the taker joins that thread: it returns once the read-out has ended, and nothing
    // of it is left to call back into the object afterwards.
    taker.reset();
    EXPECT_GE(clock.elapsed(), 700);
    pumpEvents(100);
}

TEST_F(CliReadingTaker, AReadingAfterOneGivenUpOnWaitsForThatReadOutAndThenSucceeds) {
    ASSERT_NO_FATAL_FAILURE(connectTo("luminance", "slow"));
    ReadingTaker taker(*session, console);
    Reading givenUp;
    EXPECT_FALSE(taker.take(&givenUp, 0.05));
    ASSERT_EQ(givenUp.result, RESULT_FAIL);
    // The next reading starts only once the first read-out has ended, so the two conversations do
    // not meet on the line.
    Reading next;
    EXPECT_TRUE(taker.take(&next, 10.0));
    EXPECT_EQ(next.result, RESULT_OK) << qPrintable(next.error);
    EXPECT_NEAR(next.Lv, 120.5, 1e-3);
}

TEST_F(CliReadingTaker, AColourReadingAfterOneGivenUpOnIsANewMeasurementNotTheGivenUpOnesOutcome) {
    ASSERT_NO_FATAL_FAILURE(connectTo("analyser", "slow"));
    ReadingTaker taker(*session, console);
    // How long one whole (slow) measurement takes here.
    QElapsedTimer clock;
    clock.start();
    Reading whole;
    ASSERT_TRUE(taker.take(&whole, 10.0));
    ASSERT_EQ(whole.result, RESULT_OK) << qPrintable(whole.error);
    const qint64 measureMs = clock.elapsed();
    Reading givenUp;
    EXPECT_FALSE(taker.take(&givenUp, 0.05));
    ASSERT_EQ(givenUp.result, RESULT_FAIL);
    // The first measurement's outcome comes first and is not this reading's: this one takes the
    // rest of the first and a whole measurement of its own.
    clock.restart();
    Reading next;
    EXPECT_TRUE(taker.take(&next, 10.0));
    EXPECT_EQ(next.result, RESULT_OK) << qPrintable(next.error);
    EXPECT_GT(clock.elapsed(), measureMs + measureMs / 2);
}

TEST_F(CliReadingTaker, InterruptGivesUpOnTheReadingAtOnceAndTheNextReadingSucceeds) {
    ASSERT_NO_FATAL_FAILURE(connectTo("analyser", "slow"));
    ReadingTaker taker(*session, console);
    QTimer::singleShot(100, &taker, [&taker] { taker.interrupt(); });
    QElapsedTimer clock;
    clock.start();
    Reading reading;
    EXPECT_FALSE(taker.take(&reading, 30.0));
    EXPECT_LT(clock.elapsed(), 500);
    EXPECT_EQ(reading.result, RESULT_FAIL);
    EXPECT_EQ(reading.error, QStringLiteral("interrupted"));
    EXPECT_TRUE(taker.leftWorkBehind());
    // The instrument measures again afterwards (once the interrupted measurement has ended).
    Reading next;
    EXPECT_TRUE(taker.take(&next, 10.0));
    EXPECT_EQ(next.result, RESULT_OK) << qPrintable(next.error);
}
