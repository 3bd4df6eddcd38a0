// chromameter-bench: how fast and how light the library is, on the simulator, beside the floor that
// the protocols' own waits impose. Prints one line per figure; see bench/RESULTS.md for a real run.

#include "AnalyserModel.h"
#include "BenchText.h"
#include "CharacterisationBench.h"
#include "ChromameterDetector.h"
#include "ChromameterMinoltaApi.h"
#include "HintedDetectionBench.h"
#include "InstrumentFamilies.h"
#include "InstrumentModel.h"
#include "JingceModel.h"
#include "PhotoResearchModel.h"
#include "ProcessProbe.h"
#include "ProtocolFloors.h"
#include "RemoteModel.h"
#include "SimFamilies.h"
#include "SpectroModel.h"
#include "TimingWatcher.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <memory>
#include <random>
#include <vector>

namespace {

struct Settings {
    // The conversation's figures are taken on each way the cable can deliver.
    std::vector<LineModel> lines{LineModel(LineModel::Instant), LineModel(LineModel::ByteWise),
                                 LineModel::realistic()};
    int detectionRuns = 3;
    int latencySamples = 100;
    // On the realistic lines: half as many, to keep the run short (about eleven minutes with the
    // hinted detection rows).
    int latencySamplesOnLine = 50;
    int waitSeconds = 30;
    std::vector<int> memoryCheckpoints{10, 100, 1000};
    // The luminance meter's tries on the realistic USB line (random phase, late packets), spread over
    // processes that run side by side: its detection alone takes about 5 s.
    int luminanceTries = 100;
    int luminanceProcesses = 4;
};

// The library talks to the Qt debug stream on every reply; a benchmark host keeps it quiet so the
// figures hold the library's work and not a terminal's.
void quietMessages(QtMsgType, const QMessageLogContext&, const QString&) {}

void pointDetectionAt(const QString& portPath) {
    const QByteArray name = portPath.toUtf8();
    const char* names[] = {name.constData()};
    const char* descriptions[] = {"USB-Serial Controller"};
    ChromameterSetPortCatalogue(names, descriptions, 1);
}

void pump(int ms) {
    QEventLoop loop;
    // Precise: a coarse timer may end a 30 s window 1.5 s early.
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

std::unique_ptr<IMinolta> newFacade() {
    IMinolta* created = nullptr;
    CreateChromameterMinolta(&created);
    return std::unique_ptr<IMinolta>(created);
}

bool connectTo(IMinolta* facade, const QString& portPath, int expectedType) {
    pointDetectionAt(portPath);
    return facade->Connect() == RESULT_OK &&
           CChromameterDetector::GetInstance()->m_nInstrumentType == expectedType;
}

// One measurement as a host makes it: start it, sleep in the event loop until the watcher hears.
bool measureOnce(IMinolta* facade, TimingWatcher& watcher, int timeoutMs) {
    QEventLoop loop;
    watcher.arm(&loop);
    if (facade->Measure(false) != RESULT_OK)
        return false;
    return watcher.wait(loop, timeoutMs);
}

// 1. Detection time of one family on one line beside the floor of the protocol's own waits.
void benchDetectionOf(const Settings& s, IMinolta* facade, int type, const LineModel& cable) {
    const QString family = SimFamilyName(type);
    std::vector<double> ms;
    int wrong = 0;
    for (int run = 0; run < s.detectionRuns; ++run) {
        std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
        if (model)
            model->setLine(cable);
        if (!model || !model->start()) {
            ++wrong;
            continue;
        }
        pointDetectionAt(model->portPath());
        QElapsedTimer timer;
        timer.start();
        const unsigned long rc = facade->Connect();
        ms.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (rc != RESULT_OK || CChromameterDetector::GetInstance()->m_nInstrumentType != type)
            ++wrong;
        facade->Disconnect();
    }
    const double median = BenchQuantile(ms, 0.5);
    const double floor = DetectionFloorMs(type, cable);
    const double ratio = median / floor;
    BenchLine(
        QStringLiteral("detection %1 (type %2) %3: median %4 ms, min %5 ms, floor %6 ms (%7), ratio %8 "
                       "[goal <= 1.10: %9]%10")
            .arg(family, -13)
            .arg(type)
            .arg(cable.name(), -8)
            .arg(median, 0, 'f', 1)
            .arg(BenchQuantile(ms, 0.0), 0, 'f', 1)
            .arg(floor, 0, 'f', 1)
            .arg(DetectionFloorText(type, cable))
            .arg(ratio, 0, 'f', 3)
            .arg(BenchGoal(ratio <= 1.10))
            .arg(wrong ? QStringLiteral(" (%1 runs did not detect the family!)").arg(wrong) : QString()));
}

void benchDetection(const Settings& s, IMinolta* facade) {
    BenchLine(QStringLiteral(
                  "## 1. Detection time (median of %1 runs; floor = failing budgets of the drivers "
                  "tried before + own handshake answered at once; on a realistic line each own exchange "
                  "found at the first slice end after its reply has crossed the line and been handed over "
                  "(USB: mean over the latency timer's phase), then the read that ends it)")
                  .arg(s.detectionRuns));
    for (const LineModel& cable : s.lines)
        for (int type = 0; type < 5; ++type)
            benchDetectionOf(s, facade, type, cable);
}

// 2. From the simulator's last result byte to OnMeasureFinished, per text-protocol family.
void benchLatencyOf(const Settings& s, IMinolta* facade, int type, const LineModel& cable) {
    const bool instant = cable.kind() == LineModel::Instant;
    const int samples = instant ? s.latencySamples : s.latencySamplesOnLine;
    const QString family = SimFamilyName(type);
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
    if (model)
        model->setLine(cable);
    if (!model || !model->start() || !connectTo(facade, model->portPath(), type)) {
        BenchLine(QStringLiteral("latency %1 %2: could not connect").arg(family, cable.name()));
        return;
    }
    TimingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    std::mt19937 random(unsigned(type) + 1);
    std::uniform_int_distribution<int> delay(30, 69);
    std::vector<double> ms, floor, lockedFloor;
    int failed = 0;
    QElapsedTimer wall;
    wall.start();
    for (int i = 0; i < samples; ++i) {
        const int instrumentMs = delay(random);
        model->setMeasureDelayMs(instrumentMs);
        if (!measureOnce(facade, watcher, 15000)) {
            ++failed;
            continue;
        }
        ms.push_back(double(watcher.finishedAtNs() - model->lastWriteSteadyNs()) / 1e6);
        // Where the result landed in the worker's reads, which began when it sent the command the
        // result answers (the last one the instrument received); on a real cable after the line time.
        const double firstMs = double(model->lastAnswerStartSteadyNs() - model->lastReceiveSteadyNs()) / 1e6;
        const double lastMs = double(model->lastWriteSteadyNs() - model->lastReceiveSteadyNs()) / 1e6;
        floor.push_back(WorkerReadFloorMs(firstMs, lastMs, MeasureReadWaitMs(type)));
        lockedFloor.push_back(LockedLatencyFloorMs(instrumentMs, MeasureReadWaitMs(type)));
    }
    facade->UnregisterWatcher(&watcher);
    facade->Disconnect();
    const double median = BenchQuantile(ms, 0.5), p95 = BenchQuantile(ms, 0.95);
    const double floorMedian = BenchQuantile(floor, 0.5), floorP95 = BenchQuantile(floor, 0.95);
    const double lockedMedian = BenchQuantile(lockedFloor, 0.5), lockedP95 = BenchQuantile(lockedFloor, 0.95);
    BenchLine(QStringLiteral("latency %1: median %2 ms, p95 %3 ms, min %4 ms, max %5 ms; floor median %6 ms, "
                             "p95 %7 ms, min %8 ms; ratio median %9, p95 %10 (%11 ok, %12 failed, %13 s)")
                  .arg(family + QLatin1Char(' ') + cable.name(), -22)
                  .arg(median, 0, 'f', 1)
                  .arg(p95, 0, 'f', 1)
                  .arg(BenchQuantile(ms, 0.0), 0, 'f', 1)
                  .arg(BenchQuantile(ms, 1.0), 0, 'f', 1)
                  .arg(floorMedian, 0, 'f', 1)
                  .arg(floorP95, 0, 'f', 1)
                  .arg(BenchQuantile(floor, 0.0), 0, 'f', 1)
                  .arg(median / floorMedian, 0, 'f', 3)
                  .arg(p95 / floorP95, 0, 'f', 3)
                  .arg(ms.size())
                  .arg(failed)
                  .arg(double(wall.elapsed()) / 1000.0, 0, 'f', 1));
    if (!instant)
        return;
    BenchLine(QStringLiteral("latency %1: floor with the command held behind the first read (wait between "
                             "reads %2 ms): median %3 ms, p95 %4 ms; ratio median %5, p95 %6")
                  .arg(family + QLatin1Char(' ') + cable.name(), -22)
                  .arg(MeasureReadWaitMs(type))
                  .arg(lockedMedian, 0, 'f', 1)
                  .arg(lockedP95, 0, 'f', 1)
                  .arg(median / lockedMedian, 0, 'f', 3)
                  .arg(p95 / lockedP95, 0, 'f', 3));
}

void benchLatency(const Settings& s, IMinolta* facade) {
    BenchLine(QStringLiteral(
                  "## 2. Completion-to-callback latency (%1 measurements per family, %2 on a realistic "
                  "line; instrument takes 30-69 ms, uniform, so results land at every phase of the read "
                  "slices; timed from the moment the result's last byte reaches the host; floor per sample: "
                  "the first slice end of the worker's reads after the result landed, then the empty read)")
                  .arg(s.latencySamples)
                  .arg(s.latencySamplesOnLine));
    for (const LineModel& cable : s.lines)
        for (int type : {0, 1, 3, 4})
            benchLatencyOf(s, facade, type, cable);
}

// 3. CPU the process spends while a measurement waits for a slow instrument. The instrument runs in
// a child process so that only the library and its host are counted.
void benchWaitCost(const Settings& s, IMinolta* facade) {
    BenchLine(QStringLiteral("## 3. Cost of waiting (analyser answering after %1 s; simulator in a child "
                             "process; host sleeping in its event loop)")
                  .arg(s.waitSeconds + 2));
    RemoteModel remote(QStringLiteral("analyser"), (s.waitSeconds + 2) * 1000);
    if (!remote.start() || !connectTo(facade, remote.portPath(), 1)) {
        BenchLine(QStringLiteral("wait cost: could not connect"));
        return;
    }
    TimingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    QEventLoop outcome;
    watcher.arm(&outcome);
    facade->Measure(false);
    QElapsedTimer wall;
    wall.start();
    const std::int64_t cpu0 = ProcessCpuMicros();
    pump(s.waitSeconds * 1000);
    const std::int64_t cpu = ProcessCpuMicros() - cpu0;
    const double wallUs = double(wall.nsecsElapsed()) / 1e3;
    const bool finished = watcher.wait(outcome, 20000);
    facade->UnregisterWatcher(&watcher);
    facade->Disconnect();
    const double percent = 100.0 * double(cpu) / wallUs;
    BenchLine(
        QStringLiteral("wait cost analyser: %1 ms CPU over %2 s wall = %3 % of one core [goal < 1 %: %4]; "
                       "measurement then %5")
            .arg(double(cpu) / 1000.0, 0, 'f', 1)
            .arg(wallUs / 1e6, 0, 'f', 1)
            .arg(percent, 0, 'f', 3)
            .arg(BenchGoal(percent < 1.0))
            .arg(finished ? QStringLiteral("finished") : QStringLiteral("did NOT finish")));
}

// 4. Resident memory and heap over many measurement cycles, in a process of its own (this program
// started with --memory) so that the other figures' objects do not blur it and it can run beside them.
// The analyser has the quickest complete cycle (measure, then the values from the driver's store).
// The allocator and Qt's event queues breathe by a few KiB between checkpoints; a leak of even 9 bytes
// a cycle over 900 cycles would stand out above this.
constexpr std::int64_t kHeapNoiseBytes = 8 * 1024;
constexpr std::int64_t kResidentNoiseBytes = 64 * 1024;

void benchMemory(const Settings& s, IMinolta* facade) {
    RemoteModel remote(QStringLiteral("analyser"), 0);
    if (!remote.start() || !connectTo(facade, remote.portPath(), 1)) {
        BenchLine(QStringLiteral("memory: could not connect"));
        return;
    }
    TimingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    int done = 0, failed = 0;
    std::vector<std::int64_t> rss, heap;
    QElapsedTimer wall;
    wall.start();
    for (int checkpoint : s.memoryCheckpoints) {
        for (; done < checkpoint; ++done) {
            SChromameterMeasureData data = {0, 0, 0, 0};
            if (!measureOnce(facade, watcher, 15000) || facade->ReadLvXy(data) != RESULT_OK)
                ++failed;
        }
        // Let the last worker thread end before counting.
        pump(50);
        rss.push_back(ResidentBytes());
        heap.push_back(HeapInUseBytes());
        BenchLine(QStringLiteral("memory after %1 cycles: resident %2 KiB, heap in use %3 KiB")
                      .arg(checkpoint, 5)
                      .arg(double(rss.back()) / 1024.0, 0, 'f', 1)
                      .arg(double(heap.back()) / 1024.0, 0, 'f', 1));
    }
    facade->UnregisterWatcher(&watcher);
    facade->Disconnect();
    const size_t n = s.memoryCheckpoints.size();
    if (n >= 2) {
        const double cycles = s.memoryCheckpoints[n - 1] - s.memoryCheckpoints[n - 2];
        const double heapGrowth = double(heap[n - 1] - heap[n - 2]) / cycles;
        const double rssGrowth = double(rss[n - 1] - rss[n - 2]) / cycles;
        BenchLine(
            QStringLiteral(
                "memory growth per cycle after warm-up (cycles %1 to %2): heap %3 B, resident %4 B "
                "[goal no growth, i.e. under %8 KiB heap and %9 KiB resident over those cycles: %5] (%6 "
                "failed cycles, %7 s)")
                .arg(s.memoryCheckpoints[n - 2])
                .arg(s.memoryCheckpoints[n - 1])
                .arg(heapGrowth, 0, 'f', 2)
                .arg(rssGrowth, 0, 'f', 2)
                .arg(BenchGoal(heap[n - 1] - heap[n - 2] < kHeapNoiseBytes &&
                               rss[n - 1] - rss[n - 2] < kResidentNoiseBytes))
                .arg(failed)
                .arg(double(wall.elapsed()) / 1000.0, 0, 'f', 1)
                .arg(kHeapNoiseBytes / 1024)
                .arg(kResidentNoiseBytes / 1024));
    }
}

// 5. Bytes on the wire for one reading (measure and read the values) beside the protocol's minimum.
struct WireMinimum {
    int toInstrument;
    int fromInstrument;
    QString what;
};

WireMinimum wireMinimum(int type, InstrumentModel* model) {
    switch (type) {
    case 0:
        return {8 + 12, 6 + int(static_cast<SpectroModel*>(model)->lvXyLine().size()),
                QStringLiteral("MEAS,1 + OK00; MEDR,2,0,2 + values")};
    case 1:
        return {6, int(static_cast<AnalyserModel*>(model)->measurementLine(0).size()),
                QStringLiteral("MES,1 + values")};
    case 2:
        return {3 * 100, 3 * 200, QStringLiteral("MEAS, one STSG, MSCG part 1 frames + one reply each")};
    case 3:
        return {3, int(static_cast<PhotoResearchModel*>(model)->reportLine().size()),
                QStringLiteral("M1 + report")};
    case 4:
        return {4, int(static_cast<JingceModel*>(model)->measurementLine(0).size()),
                QStringLiteral("MES + values")};
    default:
        return {-1, -1, QStringLiteral("no instrument family has type %1").arg(type)};
    }
}

// One family's reading on one line: its bytes beside the minimum, their line time, and how long the
// reading took (Measure to the watcher, then the read), on the third cycle.
void benchWireOf(IMinolta* facade, int type, const LineModel& cable) {
    const QString family = SimFamilyName(type);
    const QString name = family + QLatin1Char(' ') + cable.name();
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
    if (model)
        model->setLine(cable);
    if (!model || !model->start() || !connectTo(facade, model->portPath(), type)) {
        BenchLine(QStringLiteral("wire %1: could not connect").arg(name));
        return;
    }
    TimingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    qint64 toInstrument = 0, fromInstrument = 0;
    double readingMs = 0.0;
    // Long enough for late and repeated replies to have crossed the line: the luminance meter's
    // unread read-out answers take 0.6 s of line time.
    const int settleMs = cable.kind() == LineModel::Instant ? 400 : (type == 2 ? 1500 : 600);
    bool ok = true;
    for (int cycle = 0; cycle < 3; ++cycle) {
        // Replies the instrument repeats or sends late belong to the cycle that caused them; on a
        // realistic line they take their line time to come.
        pump(settleMs);
        model->clearRecord();
        const qint64 sent0 = model->bytesSent();
        QElapsedTimer reading;
        reading.start();
        ok = measureOnce(facade, watcher, 15000);
        if (type == 2) {
            ok = facade->ReadLastestData() > 0.0 && ok;
        } else {
            SChromameterMeasureData data = {0, 0, 0, 0};
            ok = facade->ReadLvXy(data) == RESULT_OK && ok;
        }
        readingMs = double(reading.nsecsElapsed()) / 1e6;
        pump(settleMs);
        toInstrument = model->received().size();
        fromInstrument = model->bytesSent() - sent0;
    }
    facade->UnregisterWatcher(&watcher);
    facade->Disconnect();
    const WireMinimum minimum = wireMinimum(type, model.get());
    const int baud = FamilyBaud(type);
    BenchLine(
        QStringLiteral("wire %1: %2 B to instrument + %3 B back = %4 B; minimum %5 + %6 = %7 B (%8); "
                       "ratio %9; %10 ms of line time at %11 baud; reading took %12 ms%13")
            .arg(name, -22)
            .arg(toInstrument)
            .arg(fromInstrument)
            .arg(toInstrument + fromInstrument)
            .arg(minimum.toInstrument)
            .arg(minimum.fromInstrument)
            .arg(minimum.toInstrument + minimum.fromInstrument)
            .arg(minimum.what)
            .arg(double(toInstrument + fromInstrument) / (minimum.toInstrument + minimum.fromInstrument), 0,
                 'f', 2)
            .arg(LineMs(int(toInstrument + fromInstrument), baud), 0, 'f', 1)
            .arg(baud)
            .arg(readingMs, 0, 'f', 1)
            .arg(ok ? QString() : QStringLiteral(" (the reading FAILED)")));
}

void benchWire(const Settings& s, IMinolta* facade) {
    BenchLine(QStringLiteral("## 5. Bytes on the wire per reading (Measure + ReadLvXy; luminance: Measure + "
                             "ReadLastestData), third cycle, with the time the reading took on each line"));
    for (int type = 0; type < 5; ++type)
        for (const LineModel& cable : s.lines)
            benchWireOf(facade, type, cable);
}

// 6. The luminance meter on the realistic USB line, whose latency timer runs at a random phase and
// whose packets come late at random: every try a fresh instrument and seed, detected, measured, read.
// One try per output line: "try SEED OK DETECTION_MS".
int luminanceTries(int tries) {
    std::unique_ptr<IMinolta> facade = newFacade();
    TimingWatcher watcher;
    facade->RegisterWatcher(&watcher);
    for (int i = 0; i < tries; ++i) {
        std::unique_ptr<InstrumentModel> model = CreateFamilyModel(QStringLiteral("luminance"));
        model->setLine(LineModel::realistic());
        if (!model->start()) {
            BenchLine(QStringLiteral("try 0 0 0"));
            continue;
        }
        pointDetectionAt(model->portPath());
        QElapsedTimer timer;
        timer.start();
        bool ok = connectTo(facade.get(), model->portPath(), 2);
        const double detectionMs = double(timer.nsecsElapsed()) / 1e6;
        ok = ok && measureOnce(facade.get(), watcher, 15000);
        ok = ok && facade->ReadLastestData() == model->reading().Lv;
        facade->Disconnect();
        BenchLine(QStringLiteral("try %1 %2 %3")
                      .arg(model->lineSeed())
                      .arg(ok ? 1 : 0)
                      .arg(detectionMs, 0, 'f', 1));
    }
    facade->UnregisterWatcher(&watcher);
    return 0;
}

void benchLuminanceTries(const Settings& s) {
    const LineModel cable = LineModel::realistic();
    BenchLine(
        QStringLiteral("## 6. Luminance meter on the %1 line (random timer phase, packets late at random, a "
                       "fresh seed each try): %2 tries of detection + Measure + ReadLastestData, %3 "
                       "processes side by side")
            .arg(cable.name())
            .arg(s.luminanceTries)
            .arg(s.luminanceProcesses));
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int p = 0; p < s.luminanceProcesses; ++p) {
        const int share =
            s.luminanceTries / s.luminanceProcesses + (p < s.luminanceTries % s.luminanceProcesses);
        processes.emplace_back(new QProcess);
        processes.back()->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        processes.back()->start(QCoreApplication::applicationFilePath(),
                                {QStringLiteral("--luminance-tries"), QString::number(share)});
    }
    std::vector<double> ms;
    int ok = 0, tried = 0;
    QStringList failedSeeds;
    for (auto& process : processes) {
        process->waitForFinished(-1);
        for (const QString& text :
             QString::fromUtf8(process->readAllStandardOutput()).split(QLatin1Char('\n'))) {
            const QStringList fields = text.split(QLatin1Char(' '));
            if (fields.size() != 4 || fields[0] != QLatin1String("try"))
                continue;
            ++tried;
            if (fields[2] == QLatin1String("1")) {
                ++ok;
                ms.push_back(fields[3].toDouble());
            } else {
                failedSeeds << fields[1];
            }
        }
    }
    const double floor = DetectionFloorMs(2, cable);
    const double median = BenchQuantile(ms, 0.5);
    BenchLine(QStringLiteral(
                  "luminance tries %1: %2 of %3 connected and measured%4; detection median %5 ms, p95 %6 ms, "
                  "max %7 ms, floor %8 ms (%9), ratio %10 [goal <= 1.10: %11]")
                  .arg(cable.name())
                  .arg(ok)
                  .arg(tried)
                  .arg(failedSeeds.isEmpty()
                           ? QString()
                           : QStringLiteral(" (failed seeds: %1)").arg(failedSeeds.join(',')))
                  .arg(median, 0, 'f', 1)
                  .arg(BenchQuantile(ms, 0.95), 0, 'f', 1)
                  .arg(BenchQuantile(ms, 1.0), 0, 'f', 1)
                  .arg(floor, 0, 'f', 1)
                  .arg(DetectionFloorText(2, cable))
                  .arg(median / floor, 0, 'f', 3)
                  .arg(BenchGoal(ok == s.luminanceTries && median / floor <= 1.10)));
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && QByteArray(argv[1]) == "--serve")
        return RemoteModel::Serve(QString::fromUtf8(argv[2]), QByteArray(argv[3]).toInt());
    const bool memoryProcess = argc >= 2 && QByteArray(argv[1]) == "--memory";
    const bool triesProcess = argc == 3 && QByteArray(argv[1]) == "--luminance-tries";

    QCoreApplication app(argc, argv);
    qInstallMessageHandler(quietMessages);
    if (const int status = CharacterisationBench::Main(app.arguments(), BenchLine); status >= 0)
        return status;
    Settings settings;
    if (app.arguments().contains(QStringLiteral("--quick"))) {
        // A smoke run for development; its figures are not the recorded ones.
        settings.detectionRuns = 1;
        settings.latencySamples = 10;
        settings.latencySamplesOnLine = 5;
        settings.waitSeconds = 5;
        settings.memoryCheckpoints = {10, 20, 40};
        settings.luminanceTries = 4;
        settings.luminanceProcesses = 2;
    }
    if (triesProcess)
        return luminanceTries(QByteArray(argv[2]).toInt());
    // The rows the realistic USB line changes, alone: the conversation's figures on that line and the
    // luminance meter's tries. The cost of waiting and the memory cycles do not depend on the line.
    const bool usbOnly = app.arguments().contains(QStringLiteral("--usb-only"));
    if (usbOnly)
        settings.lines = {LineModel::realistic()};
    // Detection with a host's hint alone, on every line model.
    if (app.arguments().contains(QStringLiteral("--hint-only"))) {
        BenchLine(QStringLiteral("# chromameter-bench --hint-only"));
        BenchLine(QStringLiteral("date: %1").arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)));
        BenchLine(QStringLiteral("machine: %1").arg(MachineText()));
        std::unique_ptr<IMinolta> facade = newFacade();
        BenchHintedDetection(settings.lines, settings.detectionRuns, facade.get());
        ChromameterSetPortCatalogue(nullptr, nullptr, -1);
        BenchLine(QStringLiteral("load average at the end: %1").arg(LoadAverageText()));
        return 0;
    }
    if (memoryProcess) {
        std::unique_ptr<IMinolta> facade = newFacade();
        benchMemory(settings, facade.get());
        return 0;
    }

    // The memory cycles take minutes of mostly waiting: they run in their own process meanwhile.
    QProcess memory;
    memory.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList memoryArguments{QStringLiteral("--memory")};
    if (app.arguments().contains(QStringLiteral("--quick")))
        memoryArguments << QStringLiteral("--quick");
    if (!usbOnly)
        memory.start(QCoreApplication::applicationFilePath(), memoryArguments);

    QElapsedTimer total;
    total.start();
    BenchLine(QStringLiteral("# chromameter-bench"));
    BenchLine(QStringLiteral("date: %1").arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)));
    BenchLine(QStringLiteral("command: %1").arg(app.arguments().join(QLatin1Char(' '))));
    BenchLine(QStringLiteral("machine: %1").arg(MachineText()));

    std::unique_ptr<IMinolta> facade = newFacade();
    benchDetection(settings, facade.get());
    BenchHintedDetection(settings.lines, settings.detectionRuns, facade.get());
    benchLatency(settings, facade.get());
    if (!usbOnly)
        benchWaitCost(settings, facade.get());
    benchWire(settings, facade.get());
    benchLuminanceTries(settings);

    if (!usbOnly) {
        BenchLine(QStringLiteral(
            "## 4. Memory over measurement cycles (analyser; Measure + ReadLvXy per cycle; own "
            "process beside the others; simulator in a child process)"));
        memory.waitForFinished(-1);
        const QString memoryLines = QString::fromUtf8(memory.readAllStandardOutput()).trimmed();
        BenchLine(memoryLines.isEmpty() ? QStringLiteral("memory: the memory process printed nothing")
                                        : memoryLines);
        const bool quick = app.arguments().contains(QStringLiteral("--quick"));
        CharacterisationBench(CharacterisationBench::ForRun(quick), BenchLine)
            .Run(app.applicationFilePath(), quick);
    }

    ChromameterSetPortCatalogue(nullptr, nullptr, -1);
    BenchLine(QStringLiteral("load average at the end: %1; whole run %2 s")
                  .arg(LoadAverageText())
                  .arg(double(total.elapsed()) / 1000.0, 0, 'f', 1));
    return 0;
}
