#pragma once

// Shared pieces of the fault-matrix tests: the drivers' read budgets as the command channel spends
// them, a fixture that runs one cell through the host's facade on a simulated instrument, the parts
// of a cell that every family shares (and those the two colour drivers share), and model wrappers
// that pull the adapter at a chosen moment.

#include "AfterDelay.h"
#include "CpuTime.h"
#include "FaultCase.h"
#include "IMinolta.h"
#include "InstrumentFamilies.h"
#include "InstrumentModel.h"
#include "LineParams.h"
#include "MeasurementOutcome.h"
#include "PullOnCommand.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

// What a silent instrument costs each driver, in milliseconds. A reply read with `tries` and `waitMs`
// makes one port read (at most four 20 ms slices) and one sleep of `waitMs` per try while nothing
// arrives; the budgets are the drivers' own, from their protocol headers and the family table.
namespace FaultBudget {

// One read of the serial port that finds nothing.
constexpr int kPortReadMs = kPortEmptyReadMs;

// The longest a reply read waits when nothing arrives.
constexpr int silentReadMs(int tries, int waitMs) {
    return SilentReadMs({tries, waitMs});
}
// What it sleeps at the least (the port reads may be cut short; the sleeps are not).
constexpr int sleptMs(int tries, int waitMs) {
    return SilentReadSleptMs({tries, waitMs});
}

// Minolta spectroradiometer.
constexpr int kSpectroShortTries = SpectroBudgets::kHandshake.tries; // "STR,4", "RMTS,1"
constexpr int kSpectroShortWaitMs = SpectroBudgets::kHandshake.waitMs;
constexpr int kSpectroLongTries = SpectroBudgets::kLong.tries; // each read of "MEAS", "MEDR"
constexpr int kSpectroLongWaitMs = SpectroBudgets::kLong.waitMs;
constexpr int kSpectroDataReadAttempts = SpectroBudgets::kDataReadAttempts; // reads of one "MEDR"
constexpr int kSpectroDefaultLimit = SpectroBudgets::kDefaultLimit;         // reads of one "MEAS"
// Minolta colour analyser.
constexpr int kAnalyserComOnTries = AnalyserBudgets::kComOn.tries; // "COM,1"
constexpr int kAnalyserComOnWaitMs = AnalyserBudgets::kComOn.waitMs;
constexpr int kAnalyserConnectZeroTries = AnalyserBudgets::kConnectZero.tries;
constexpr int kAnalyserConnectZeroWaitMs = AnalyserBudgets::kConnectZero.waitMs;
constexpr int kAnalyserModeTries = AnalyserBudgets::kMode.tries; // each read of "MDS"
constexpr int kAnalyserModeWaitMs = AnalyserBudgets::kMode.waitMs;
constexpr int kAnalyserMeasureTries = AnalyserBudgets::kMeasure.tries;
constexpr int kAnalyserMeasureWaitMs = AnalyserBudgets::kMeasure.waitMs;
// Luminance meter.
constexpr int kLuminanceReplyTries = LuminanceBudgets::kReply.tries;
constexpr int kLuminanceReplyWaitMs = LuminanceBudgets::kReply.waitMs;
constexpr int kLuminanceStatusTries = LuminanceBudgets::kStatus.tries;
constexpr int kLuminanceStatusWaitMs = LuminanceBudgets::kStatus.waitMs;
constexpr int kLuminanceAfterPollingMs = LuminanceBudgets::kAfterPollingMs;
// Photo Research instrument.
constexpr int kPhotoAnswerTries = PhotoResearchBudgets::kAnswer.tries; // "PHOTO", "D1"
constexpr int kPhotoAnswerWaitMs = PhotoResearchBudgets::kAnswer.waitMs;
constexpr int kPhotoPollTries = PhotoResearchBudgets::kPoll.tries; // each poll after "M1"
constexpr int kPhotoPollWaitMs = PhotoResearchBudgets::kPoll.waitMs;
constexpr int kPhotoDefaultLimit = PhotoResearchBudgets::kDefaultLimit;
// Wuhan Jingce colorimeter.
constexpr int kJingceShortTries = JingceBudgets::kHandshake.tries; // "COM,0", "COM,1" in Connect
constexpr int kJingceShortWaitMs = JingceBudgets::kHandshake.waitMs;
constexpr int kJingceConnectZeroTries = JingceBudgets::kConnectZero.tries;
constexpr int kJingceConnectZeroWaitMs = JingceBudgets::kConnectZero.waitMs;
constexpr int kJingceModeTries = JingceBudgets::kMode.tries; // each read of "MDS"
constexpr int kJingceModeWaitMs = JingceBudgets::kMode.waitMs;
constexpr int kJingceMeasureTries = JingceBudgets::kMeasure.tries;
constexpr int kJingceMeasureWaitMs = JingceBudgets::kMeasure.waitMs;

// Each driver's trial in detection when the line stays silent (the family table says how many of
// its handshake's commands go unanswered).
constexpr int kSpectroSilentTrialMs = SilentTrialMs(kInstrumentFamilies[0]);
constexpr int kAnalyserSilentTrialMs = SilentTrialMs(kInstrumentFamilies[1]);
constexpr int kLuminanceSilentTrialMs = SilentTrialMs(kInstrumentFamilies[2]);
constexpr int kPhotoSilentTrialMs = SilentTrialMs(kInstrumentFamilies[3]);
constexpr int kJingceSilentTrialMs = SilentTrialMs(kInstrumentFamilies[4]);
// Detection on a line where nobody answers: every trial runs out.
constexpr int kSilentDetectionMs = SilentDetectionMs();
// What that detection sleeps at the least.
constexpr int kSilentDetectionSleptMs = SilentDetectionSleptMs();

// A reply that comes at once is taken within one port read, and the next port read finds the line
// quiet; a reply sent a byte at a time (the simulator's gap is 15 ms) takes its length in gaps more.
constexpr int kSplitGapMs = 15;
constexpr int answeredReadMs(int replyBytes = 0) {
    return 2 * kPortReadMs + replyBytes * kSplitGapMs;
}

// The simulator's overlong reply: several kilobytes, far beyond the reply buffer.
constexpr int kOverlongBytes = 5000;

// ThreadSanitizer makes every event-loop turn, timer and thread switch several times slower, and
// the port is read in 20 ms slices made of exactly those: the same budget takes more wall-clock time
// under it (about two and a half times on two loaded cores).
#if defined(__SANITIZE_THREAD__)
constexpr int kSlowdown = 3;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr int kSlowdown = 3;
#else
constexpr int kSlowdown = 1;
#endif
#else
constexpr int kSlowdown = 1;
#endif

// The most a call may take on a loaded two-core machine (sanitizers, parallel tests) when its
// budget is `budgetMs`: half as long again plus three seconds (times the slowdown above). Enough to
// tell a budget kept from a wait that was not cut short or a loop that did not end.
constexpr int allowedMs(int budgetMs) {
    return kSlowdown * (budgetMs + budgetMs / 2 + 3000);
}

} // namespace FaultBudget

// One cell of the fault matrix: a facade, a watcher registered through it, the Qt message stream
// captured, and the family's simulated instrument that detection is pointed at. The test's parameter
// is the family and how the cable delivers; every instrument the cell starts uses that line. A cell
// ends with a later Connect to a healthy instrument of the family (expectHealthyAgain) unless it
// says otherwise.
class FaultCell : public ::testing::TestWithParam<FaultCase> {
public:
    struct Timed {
        unsigned long result = RESULT_FAIL;
        qint64 ms = -1;
    };
    using Outcome = MeasurementOutcome;
    // How the instrument is made healthy for the later Connect.
    enum class Recovery {
        // The same instrument: its fault cleared and its own line speed set again. Only where it
        // heard nothing of the failed detection that it keeps: the text models hold the other
        // drivers' unterminated bytes (binary frames, "PHOTO") in their line buffer, and would take
        // them for the start of their next command.
        SameInstrument,
        // A new healthy instrument of the family on another adapter (the old one is dropped).
        FreshInstrument,
    };

protected:
    FaultCell();
    void SetUp() override;
    // The later Connect to a healthy instrument (unless the cell opted out or already failed fatally),
    // then the cell's instruments go.
    void TearDown() override;

    // How the cell's ending makes the instrument healthy again (a fresh one unless said here), or
    // that the cell checks a later Connect itself.
    void recoverWith(Recovery how) { m_recovery = how; }
    void noLaterConnectCheck() { m_recovery.reset(); }

    // Starts the family's model, or `custom` in its place, and makes it the cell's instrument.
    InstrumentModel& start(std::unique_ptr<InstrumentModel> custom = nullptr);
    InstrumentModel& model() { return *m_model; }
    const QString& family() const { return m_family; }
    int familyType() const;
    // The line speed the family's instrument talks at.
    int familyBaud() const;

    // Connect through the facade with detection pointed at the instrument; timed.
    Timed connect();
    // Connect, asserting that the family was found (a healthy start before a fault is set).
    void connectHealthy();
    // Measure through the facade and run the host's event loop until a watcher hears the outcome or
    // timeoutMs passes; timed from the call. The luminance meter measures within the call.
    Outcome measure(int timeoutMs);
    // Calls `read` and times it.
    template <class F> static qint64 timed(F&& read) {
        QElapsedTimer timer;
        timer.start();
        read();
        return timer.elapsed();
    }
    IMinolta& host() { return *m_facade; }
    // The driver detection holds (for its own knobs, such as the number of reads of a measurement).
    IMinolta* driver() const;

    // What `bytes` sent back add on the cell's line: nothing on the instant one; their line time at
    // the family's speed (and a latency period) on a realistic one. Short replies fit the margins of
    // the budgets; an overlong reply (5000 bytes: about 5.2 s at 9600 baud) does not.
    int lineMs(int bytes) const;

    // Waits until the instrument has said nothing for quietMs (a reply still trickling out).
    void waitForQuietLine(int quietMs = 300, int timeoutMs = 15000);

    // The later Connect to a healthy instrument: restored as asked, Connect finds the family, one
    // measurement finishes and its reading reads back. Every cell ends with it (see TearDown).
    void expectHealthyAgain(Recovery how);

    // What a family's detection sends, counted by the cells: the command and how often it went.
    using Sent = std::vector<std::pair<QByteArray, int>>;
    // What the cells that every family shares expect of this family, where the family table has no
    // say: the trial's commands on a silent line and on garbage, and how the instrument is made
    // healthy after a silent detection and after one at the wrong line speed.
    struct FamilyFaultFacts {
        Sent sentInSilence;
        Sent sentDespiteGarbage;
        Recovery afterSilence;
        Recovery afterWrongSpeed;
    };
    const FamilyFaultFacts& facts() const;
    // Each command of `sent` arrived as often as it says.
    void expectSent(const Sent& sent);

    // --- What every family's cells share ----------------------------------------------------------

    // The family's instrument started with `fault` present, then Connect.
    Timed connectDespite(SimFault fault);
    // The family's instrument started at the other line speed of detection, then Connect.
    Timed connectAtTheWrongSpeed();
    // The family's instrument, pulled when `trigger` arrives, then Connect (which must have fired it).
    template <class Model> Timed connectPulledOn(const QByteArray& trigger) {
        auto* pulled = new PullOnCommand<Model>(trigger);
        start(std::unique_ptr<InstrumentModel>(pulled));
        const Timed connected = connect();
        EXPECT_TRUE(pulled->fired());
        return connected;
    }
    // Detection on a line where nothing came back: a failure after every trial ran out (and no sooner
    // than their sleeps), nobody told, nothing connected, both line speeds opened in silence.
    void expectSilentDetection(const Timed& connected);
    // Detection failed within `budgetMs` of trials, and nobody was told.
    void expectDetectionFailed(const Timed& connected, int budgetMs = FaultBudget::kSilentDetectionMs);
    // A reply that may or may not have kept its head: within `budgetMs`, either this family was found
    // (a reply cut to its buffer, when `cutToBuffer`, says so in the log) or detection failed and
    // nobody was told.
    void expectDetectionEitherWay(const Timed& connected, int budgetMs, bool cutToBuffer);
    // The cells of detection that end the same for every family: garbage refused, the garbage
    // logged; a cut reply refused, its half logged as `halfReply`; an overlong reply kept in its
    // buffer; a reply split into single bytes within `budgetMs`; the wrong line speed like silence.
    Timed garbageAtConnect();
    Timed cutReplyAtConnect(const QString& halfReply);
    void overlongReplyAtConnect();
    void replySplitAtConnect(int budgetMs);
    void wrongLineSpeedAtConnect();

    // A healthy Connect to the family's driver, then `fault` set; the instrument's record and the
    // watcher's calls start afresh.
    void faultAfterConnect(SimFault fault);
    // Measures, giving the outcome `budgetMs` (with the margin) and checking it came within that.
    Outcome measureWithin(int budgetMs);
    // The watchers heard a failure with `code`.
    void expectFailed(const Outcome& outcome, unsigned long code = RESULT_FAIL);
    // Either outcome will do: a success, or the plain failure. True if it finished.
    bool finishedOrFailed(const Outcome& outcome);
    // The host's reads, timed.
    unsigned long readLvXy(SChromameterMeasureData* data, qint64* ms);
    double readOut(qint64* ms);
    // A read after a failed measurement serves nothing, at once: there is nothing valid to serve.
    void expectNothingToRead();

    // Whether a diagnostic line holding `text` was logged.
    bool logged(const QString& text) const { return m_messages.contains(text); }
    int loggedCount(const QString& text) const { return m_messages.count(text); }
    // Whether the reads of one reply handed out exactly `text` ("接收" and the reply): in one read, or
    // on a realistic line in several reads one after another.
    bool loggedReply(const QString& text) const;
    // The port's diagnostics of what arrived: a piece of random non-protocol bytes; a piece of the
    // padding ('X') of a reply several kilobytes long; pieces of one byte each; a loss of the device.
    bool loggedGarbage() const;
    bool loggedPadding() const;
    int loggedSingleBytes() const;
    bool loggedDeviceLoss() const;
    // The port opened at both line speeds of detection, and nothing at all came back.
    void expectBothSpeedsTriedInSilence() const;
    QString log() const;

    RecordingWatcher watcher;

private:
    bool holdsFamilyDriver() const;

    QString m_family;
    std::optional<Recovery> m_recovery = Recovery::FreshInstrument;
    MessageCapture m_messages;
    std::unique_ptr<InstrumentModel> m_model;
    std::unique_ptr<IMinolta> m_facade;
};

// The cells the two colour drivers share: the same conversation ("MDS" sets the display mode, the
// measure command reads the values within the measurement), only its line end and budgets differ.
class ColourFaultCell : public FaultCell {
protected:
    struct Conversation {
        QByteArray measure;       // the measure command
        int measurementLineBytes; // the measure command's answer for the default reading
        int modeWaitMs;           // the wait of one try of a display-mode read
        int measureWaitMs;        // the wait of one try of a measurement read
    };
    ColourFaultCell();
    const Conversation& conversation() const { return m_conversation; }

    // The display mode's answer spoiled by `fault`: the measurement fails at once without measuring,
    // and nothing is left to read.
    void failsAtTheDisplayModeAnswer(SimFault fault);
    // Replies split into single bytes: either outcome, within the budget their bytes take.
    void replySplitWhileMeasuring();
    // The adapter pulled as the measure command arrives: the lost port's code, disconnected.
    void pulledDuringMeasurement();
    // The values are read within the measurement: pulled after it, the host's read still serves them
    // from memory, and the next measurement reports the loss.
    void pulledBeforeTheRead();

private:
    Conversation m_conversation;
};
