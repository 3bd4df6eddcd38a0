#include "FaultHarness.h"

#include "ChromameterDetector.h"
#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "InstrumentFamilies.h"
#include "LuminanceFrames.h"
#include "LuminanceMeter.h"
#include "Minolta.h"
#include "PhotoResearch.h"
#include "SimFamilies.h"

#include <QElapsedTimer>

#include <vector>

namespace {
// The instruments a cell has finished with: kept until the cell ends, so no adapter is pulled
// behind the library's back while it may still hold the port.
std::vector<std::unique_ptr<InstrumentModel>>& retired() {
    static std::vector<std::unique_ptr<InstrumentModel>> models;
    return models;
}
} // namespace

FaultCell::FaultCell() : m_family(QString::fromLatin1(kInstrumentFamilies[GetParam().type].name)) {}

void FaultCell::SetUp() {
    IMinolta* facade = nullptr;
    ASSERT_EQ(CreateChromameterMinolta(&facade), RESULT_OK);
    m_facade.reset(facade);
    m_facade->RegisterWatcher(&watcher);
}

void FaultCell::TearDown() {
    if (m_recovery && m_model && !HasFatalFailure() && !IsSkipped()) {
        SCOPED_TRACE("the cell's ending: a later Connect to a healthy " + m_family.toStdString() +
                     " instrument");
        expectHealthyAgain(*m_recovery);
    }
    // Let queued writes and closes of the last exchange run before the instrument goes away.
    pumpEvents(100);
    if (m_facade)
        m_facade->UnregisterWatcher(&watcher);
    m_facade.reset();
    m_model.reset();
    retired().clear();
}

InstrumentModel& FaultCell::start(std::unique_ptr<InstrumentModel> custom) {
    std::unique_ptr<InstrumentModel> model = custom ? std::move(custom) : CreateFamilyModel(m_family);
    if (model)
        model->setLine(GetParam().line);
    if (!model)
        ADD_FAILURE() << "no simulator model for " << m_family.toStdString() << ": "
                      << SimFamilyProblem(m_family).toStdString();
    else if (!model->start())
        ADD_FAILURE() << "the simulated instrument could not start";
    else
        ShowLine(*model);
    if (m_model)
        retired().push_back(std::move(m_model));
    m_model = std::move(model);
    return *m_model;
}

int FaultCell::familyType() const {
    return GetParam().type;
}

int FaultCell::familyBaud() const {
    const InstrumentFamily* family = InstrumentFamilyOf(familyType());
    return family ? family->baud : 0;
}

int FaultCell::lineMs(int bytes) const {
    const LineModel line = GetParam().line;
    if (line.kind() == LineModel::Instant)
        return 0;
    const qint64 ms = LineModel::byteTimeNs(familyBaud()) * bytes / 1000000;
    return int(ms) + (line.kind() == LineModel::Usb ? line.usbPeriodMs() : 0);
}

FaultCell::Timed FaultCell::connect() {
    CatalogueScope scope({m_model->portPath()});
    QElapsedTimer timer;
    timer.start();
    Timed timed;
    timed.result = m_facade->Connect();
    timed.ms = timer.elapsed();
    return timed;
}

void FaultCell::connectHealthy() {
    const Timed connected = connect();
    ASSERT_EQ(connected.result, RESULT_OK) << log().toStdString();
    ASSERT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, familyType());
}

FaultCell::Outcome FaultCell::measure(int timeoutMs) {
    return MeasurementOutcome::measure(*m_facade, false, watcher, timeoutMs);
}

IMinolta* FaultCell::driver() const {
    return CChromameterDetector::GetInstance()->m_pMinolta;
}

void FaultCell::waitForQuietLine(int quietMs, int timeoutMs) {
    qint64 lastCount = m_model->bytesSent();
    QElapsedTimer sinceChange;
    sinceChange.start();
    waitUntil(
        [&] {
            const qint64 now = m_model->bytesSent();
            if (now != lastCount) {
                lastCount = now;
                sinceChange.restart();
            }
            return sinceChange.elapsed() >= quietMs;
        },
        timeoutMs);
}

void FaultCell::expectHealthyAgain(Recovery how) {
    // A host is back in its event loop between a failure and its next Connect: whatever the last
    // exchange left queued for the port's thread runs there first.
    pumpEvents(200);
    if (how == Recovery::SameInstrument && m_model->isPlugged()) {
        m_model->setFault(SimFault::None);
        m_model->setRequiredBaud(familyBaud());
    } else {
        if (m_model->isPlugged())
            waitForQuietLine();
        start();
    }
    const size_t before = watcher.events().size();
    const Timed connected = connect();
    ASSERT_EQ(connected.result, RESULT_OK) << "a healthy instrument was not found again\n"
                                           << log().toStdString();
    EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, familyType());
    EXPECT_EQ(watcher.events().size(), before + 1);
    EXPECT_EQ(watcher.last(), "connected");

    const Outcome outcome = measure(15000);
    ASSERT_EQ(outcome.event, "finished") << "code " << outcome.code << "\n" << log().toStdString();

    const SimReading expected = m_model->reading();
    // A family without chromaticity serves its luminance as the latest value.
    if (!InstrumentFamilyCan(familyType(), CapColour)) {
        EXPECT_EQ(m_facade->ReadLastestData(), expected.Lv);
    } else {
        SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
        ASSERT_EQ(m_facade->ReadLvXy(data), RESULT_OK);
        EXPECT_NEAR(data.x, expected.x, 1e-4);
        EXPECT_NEAR(data.y, expected.y, 1e-4);
        EXPECT_NEAR(data.Lv, expected.Lv, 1e-3);
    }
}

FaultCell::Timed FaultCell::connectDespite(SimFault fault) {
    start().setFault(fault);
    return connect();
}

FaultCell::Timed FaultCell::connectAtTheWrongSpeed() {
    start().setRequiredBaud(familyBaud() == 9600 ? 115200 : 9600);
    return connect();
}

void FaultCell::expectSilentDetection(const Timed& connected) {
    using namespace FaultBudget;
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_GE(connected.ms, kSilentDetectionSleptMs);
    EXPECT_LE(connected.ms, allowedMs(kSilentDetectionMs));
    EXPECT_TRUE(watcher.events().empty());
    EXPECT_FALSE(host().IsConnected());
    expectBothSpeedsTriedInSilence();
}

void FaultCell::expectDetectionFailed(const Timed& connected, int budgetMs) {
    EXPECT_EQ(connected.result, RESULT_FAIL);
    EXPECT_LE(connected.ms, FaultBudget::allowedMs(budgetMs));
    EXPECT_TRUE(watcher.events().empty());
}

void FaultCell::expectDetectionEitherWay(const Timed& connected, int budgetMs, bool cutToBuffer) {
    EXPECT_LE(connected.ms, FaultBudget::allowedMs(budgetMs));
    if (connected.result == RESULT_OK) {
        EXPECT_EQ(CChromameterDetector::GetInstance()->m_nInstrumentType, familyType());
        if (cutToBuffer) {
            EXPECT_TRUE(logged("reply too long")) << log().toStdString();
        }
    } else {
        EXPECT_EQ(connected.result, RESULT_FAIL);
        EXPECT_TRUE(watcher.events().empty());
    }
}

FaultCell::Timed FaultCell::garbageAtConnect() {
    const Timed connected = connectDespite(SimFault::Garbage);
    expectDetectionFailed(connected);
    EXPECT_TRUE(loggedGarbage()) << log().toStdString();
    return connected;
}

FaultCell::Timed FaultCell::cutReplyAtConnect(const QString& halfReply) {
    const Timed connected = connectDespite(SimFault::Cut);
    expectDetectionFailed(connected);
    // On a packet line the half reply may be taken by two port reads; the channel joins them.
    EXPECT_TRUE(loggedReply(halfReply)) << log().toStdString();
    return connected;
}

void FaultCell::overlongReplyAtConnect() {
    // The pieces of the reply are joined and cut to the reply buffer, so its head (the status) is
    // kept; the rest is dropped with the reply. A read that takes the whole reply lasts as long as the
    // reply takes to cross the line: up to three of the family's exchanges get one.
    const Timed connected = connectDespite(SimFault::Overlong);
    EXPECT_TRUE(loggedPadding()) << log().toStdString();
    expectDetectionEitherWay(connected,
                             FaultBudget::kSilentDetectionMs + 3 * lineMs(FaultBudget::kOverlongBytes), true);
}

void FaultCell::replySplitAtConnect(int budgetMs) {
    const Timed connected = connectDespite(SimFault::SplitBytes);
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    expectDetectionEitherWay(connected, budgetMs, false);
}

void FaultCell::wrongLineSpeedAtConnect() {
    expectSilentDetection(connectAtTheWrongSpeed());
}

void FaultCell::faultAfterConnect(SimFault fault) {
    start();
    connectHealthy();
    ASSERT_TRUE(holdsFamilyDriver());
    m_model->setFault(fault);
    m_model->clearRecord();
    watcher.clear();
}

bool FaultCell::holdsFamilyDriver() const {
    IMinolta* held = driver();
    switch (familyType()) {
    case 0:
        return dynamic_cast<CChromameterMinolta*>(held) != nullptr;
    case 1:
        return dynamic_cast<CChromameterMinoltaCas40*>(held) != nullptr;
    case 2:
        return dynamic_cast<CLuminanceMeter*>(held) != nullptr;
    case 3:
        return dynamic_cast<CPhotoResearch*>(held) != nullptr;
    case 4:
        return dynamic_cast<CChromameterWuHanJingCe*>(held) != nullptr;
    default:
        ADD_FAILURE() << "no instrument family has type " << familyType();
        return false;
    }
}

FaultCell::Outcome FaultCell::measureWithin(int budgetMs) {
    const Outcome outcome = measure(FaultBudget::allowedMs(budgetMs));
    EXPECT_LE(outcome.ms, FaultBudget::allowedMs(budgetMs));
    return outcome;
}

void FaultCell::expectFailed(const Outcome& outcome, unsigned long code) {
    EXPECT_EQ(outcome.event, "failed");
    EXPECT_EQ(outcome.code, code);
}

bool FaultCell::finishedOrFailed(const Outcome& outcome) {
    if (outcome.event == "finished") {
        EXPECT_EQ(outcome.code, RESULT_OK);
        return true;
    }
    expectFailed(outcome);
    return false;
}

unsigned long FaultCell::readLvXy(SChromameterMeasureData* data, qint64* ms) {
    unsigned long result = RESULT_OK;
    *ms = timed([&] { result = m_facade->ReadLvXy(*data); });
    return result;
}

double FaultCell::readOut(qint64* ms) {
    double value = 0.0;
    *ms = timed([&] { value = m_facade->ReadLastestData(); });
    return value;
}

void FaultCell::expectNothingToRead() {
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, -1.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_FAIL);
    EXPECT_LE(ms, FaultBudget::allowedMs(0));
    EXPECT_EQ(data.Tcp, -1.0f);
}

namespace {
QByteArray luminanceFrame(const char* command) {
    return QByteArray(command, LUMINANCE_COMMAND_SIZE);
}
} // namespace

const FaultCell::FamilyFaultFacts& FaultCell::facts() const {
    using R = Recovery;
    static const FamilyFaultFacts kFacts[] = {
        // Minolta spectroradiometer: an unanswered probe does not stop it from asking for remote mode;
        // a probe answered without "ER00" is another instrument's answer, so remote mode is not asked.
        {{{"STR,4\r", 1}, {"RMTS,1\r\n", 1}}, {{"RMTS,1\r\n", 0}}, R::FreshInstrument, R::SameInstrument},
        // Minolta colour analyser: without an answer to "COM,1" it goes no further; something that
        // answered it makes the zero calibration go out, whose status then fails.
        {{{"COM,1\n", 1}, {"ZRC,1,", 0}}, {{"ZRC,1,", 1}}, R::FreshInstrument, R::FreshInstrument},
        // Luminance meter: the first unanswered frame ends the trial, and so does a reply that
        // differs from its expected frame. The same instrument skips what it heard as noise.
        {{{luminanceFrame(LuminanceTables().connectCommands[0]), 1}, {"COMS", 0}},
         {{luminanceFrame(LuminanceTables().connectCommands[0]), 1}, {"COMS", 0}},
         R::SameInstrument,
         R::SameInstrument},
        // Photo Research instrument: the same instrument listens for "PHOTO" after any noise.
        {{{"PHOTO", 1}}, {}, R::FreshInstrument, R::SameInstrument},
        // Wuhan Jingce colorimeter: an unanswered "COM,0" does not stop the handshake, an unanswered
        // "COM,1" does; "COM,1" only has to be answered, the zero calibration's answer must begin
        // with "OK00".
        {{{"COM,0\r", 1}, {"COM,1\r", 1}, {"ZRC,1,", 0}},
         {{"ZRC,1,", 1}},
         R::FreshInstrument,
         R::FreshInstrument},
    };
    static_assert(int(sizeof kFacts / sizeof kFacts[0]) == kInstrumentFamilyCount,
                  "fault facts for every family");
    return kFacts[familyType()];
}

void FaultCell::expectSent(const Sent& sent) {
    for (const auto& command : sent)
        EXPECT_EQ(m_model->countReceived(command.first), command.second) << command.first.toStdString();
}

ColourFaultCell::ColourFaultCell() {
    // The measure command's answer for the default reading: 49 bytes from the analyser, 25 from the
    // Jingce colorimeter.
    if (familyType() == 1)
        m_conversation = {"MES,1\n", 49, FaultBudget::kAnalyserModeWaitMs,
                          FaultBudget::kAnalyserMeasureWaitMs};
    else
        m_conversation = {"MES\r", 25, FaultBudget::kJingceModeWaitMs, FaultBudget::kJingceMeasureWaitMs};
}

void ColourFaultCell::failsAtTheDisplayModeAnswer(SimFault fault) {
    faultAfterConnect(fault);
    expectFailed(measureWithin(FaultBudget::answeredReadMs()));
    EXPECT_EQ(model().countReceived(m_conversation.measure), 0);
    expectNothingToRead();
}

void ColourFaultCell::replySplitWhileMeasuring() {
    using namespace FaultBudget;
    faultAfterConnect(SimFault::SplitBytes);
    const Outcome outcome =
        measureWithin(answeredReadMs(6) + answeredReadMs(m_conversation.measurementLineBytes));
    EXPECT_GE(loggedSingleBytes(), 4) << log().toStdString();
    // Joined, the bytes make the display mode's "OK00" and the values; a gap stretched past the
    // pause between replies would spoil them.
    if (!finishedOrFailed(outcome))
        expectNothingToRead();
}

void ColourFaultCell::pulledDuringMeasurement() {
    using namespace FaultBudget;
    faultAfterConnect(SimFault::UnplugDuringMeasure);
    expectFailed(measureWithin(answeredReadMs() + silentReadMs(1, m_conversation.measureWaitMs)),
                 RESULT_PORT_LOST);
    EXPECT_EQ(model().countReceived(m_conversation.measure), 1);
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
    expectNothingToRead();
}

void ColourFaultCell::pulledBeforeTheRead() {
    using namespace FaultBudget;
    start();
    connectHealthy();
    ASSERT_EQ(measure(15000).event, "finished");
    model().unplug();
    pumpEvents(100);
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    qint64 ms = 0;
    EXPECT_EQ(readLvXy(&data, &ms), RESULT_OK);
    EXPECT_LE(ms, allowedMs(0));
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);

    expectFailed(measureWithin(silentReadMs(1, m_conversation.modeWaitMs)), RESULT_PORT_LOST);
    EXPECT_FALSE(host().IsConnected());
    EXPECT_TRUE(loggedDeviceLoss()) << log().toStdString();
}

bool FaultCell::loggedReply(const QString& text) const {
    const QString read = QString::fromUtf8("接收");
    if (!text.startsWith(read))
        return false;
    const QString wanted = text.mid(read.size());
    QStringList reads;
    for (const QString& line : m_messages.lines())
        if (line.startsWith(read))
            reads.append(line.mid(read.size()));
    for (int first = 0; first < reads.size(); ++first) {
        QString joined;
        for (int i = first; i < reads.size() && wanted.startsWith(joined); ++i) {
            joined += reads[i];
            if (joined == wanted)
                return true;
        }
    }
    return false;
}

namespace {
const QString kArrived = QStringLiteral("ready ");
// The simulator's garbage is drawn from these printable bytes only.
const QString kGarbageAlphabet = QStringLiteral("#$%&*/<=>?@^_`|~!");
} // namespace

bool FaultCell::loggedGarbage() const {
    for (const QString& line : m_messages.lines())
        if (line.startsWith(kArrived) && line.size() > kArrived.size() &&
            kGarbageAlphabet.contains(line.at(kArrived.size())))
            return true;
    return false;
}

bool FaultCell::loggedPadding() const {
    // Longer than any reply of the protocols, counted over the pieces as they arrived (a realistic
    // line hands a reply over in pieces of a few bytes). The log shows a piece up to its first NUL
    // byte, which for a binary frame is its head, so the padding shows in the pieces after it.
    int padding = 0;
    for (const QString& line : m_messages.lines())
        if (line.startsWith(kArrived))
            padding += line.count(QLatin1Char('X'));
    return padding >= 256;
}

int FaultCell::loggedSingleBytes() const {
    int n = 0;
    for (const QString& line : m_messages.lines())
        if (line.startsWith(kArrived) && line.size() == kArrived.size() + 1)
            ++n;
    return n;
}

bool FaultCell::loggedDeviceLoss() const {
    return logged(QStringLiteral("Resource error occurred.")) || logged(QStringLiteral(" error occurred."));
}

void FaultCell::expectBothSpeedsTriedInSilence() const {
    EXPECT_EQ(loggedCount(QStringLiteral("串口打开成功!")), 2) << log().toStdString();
    EXPECT_FALSE(logged(kArrived)) << log().toStdString();
}

QString FaultCell::log() const {
    const QStringList lines = m_messages.lines();
    // The tail is what explains a failure; a flood of repeats would only bury it.
    const int from = lines.size() > 60 ? lines.size() - 60 : 0;
    return QStringLiteral("last diagnostics:\n  ") + lines.mid(from).join(QStringLiteral("\n  "));
}
