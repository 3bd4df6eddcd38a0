#include "CharacterisationBench.h"

#include "BenchText.h"

#include "CharacteriseRun.h"
#include "IMinolta.h"
#include "InstrumentModel.h"
#include "InstrumentSession.h"
#include "InterruptibleWait.h"
#include "PatchReading.h"
#include "PreparedRun.h"
#include "ProcessProbe.h"
#include "ReadingPatchMeter.h"
#include "ReadingTaker.h"
#include "SessionSettings.h"
#include "SimFamilies.h"
#include "SimulatorPatchDisplay.h"
#include "StatusConsole.h"
#include "TimingWatcher.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {
const QString kMemoryOption = QStringLiteral("--characterisation-memory");
// A reading that takes longer than this has failed, on any line.
const double kReadingTimeoutSec = 30.0;
// The allocator and Qt's event queues breathe by a few KiB between checkpoints.
constexpr qint64 kHeapNoiseBytes = 8 * 1024;
constexpr qint64 kResidentNoiseBytes = 64 * 1024;

double msSince(const QElapsedTimer& timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

// The simulator as `chromameter --simulate FAMILY --sim-line LINE --sim-display DISPLAY` starts it,
// found by detection; nothing written to the terminal.
struct BenchSession {
    StatusConsole console{false, [](const QByteArray&) {}, [](const QByteArray&) {}};
    std::unique_ptr<InstrumentSession> session;

    bool start(const QString& family, const LineModel& cable, const QString& display) {
        SessionSettings settings;
        settings.simulate = family;
        settings.simLine = cable.name();
        settings.simDisplay = display;
        session = std::make_unique<InstrumentSession>(settings, console);
        return session->prepare() == InstrumentSession::Ok && session->detect() == InstrumentSession::Ok &&
               session->simulator() && session->simulator()->display();
    }
};

// One reading as the library gives it to a host that does nothing else: Measure, the watcher, then
// the values (ReadLvXy; the luminance meter: ReadLastestData). Milliseconds, or -1 when it failed.
double libraryReadingMs(IMinolta* minolta, TimingWatcher& watcher, bool polled) {
    QElapsedTimer timer;
    timer.start();
    QEventLoop loop;
    watcher.arm(&loop);
    if (minolta->Measure(false) != RESULT_OK || !watcher.wait(loop, int(kReadingTimeoutSec * 1000)))
        return -1.0;
    if (polled) {
        if (minolta->ReadLastestData() < 0.0)
            return -1.0;
    } else {
        SChromameterMeasureData data = {0, 0, 0, 0};
        if (minolta->ReadLvXy(data) != RESULT_OK)
            return -1.0;
    }
    return msSince(timer);
}

// A run of `patchSets` prepared as the characterise command prepares it, its journal in `directory`.
bool prepareRun(const QString& patchSets, int settleMs, const QString& family, const QString& directory,
                PreparedRun* run, QString* error) {
    RunSettings settings;
    settings.patchSets = patchSets;
    settings.settleMs = settleMs;
    settings.instrumentFamily = family;
    settings.started = QDateTime::currentDateTimeUtc();
    return PrepareNewRun(settings, directory + QStringLiteral("/run.journal"), run, error) &&
           OpenJournal(run, error);
}
// The characterisation's run on a bench session's simulator, as the characterise command makes it:
// readings taken one at a time, patches shown on the simulated display, `settleMs` after each.
struct SimulatorRun {
    SimulatorRun(BenchSession& bench, PreparedRun& prepared, int settleMs)
        : taker(*bench.session, bench.console), meter(taker, bench.session->instrument(), kReadingTimeoutSec),
          display(bench.session->simulator()->display()), run(&display, &meter, prepared.journal.get()) {
        CharacteriseRun::Options options;
        options.settleMs = settleMs;
        run.SetOptions(options);
    }

    ReadingTaker taker;
    ReadingPatchMeter meter;
    SimulatorPatchDisplay display;
    CharacteriseRun run;
};
} // namespace

CharacterisationBench::Settings CharacterisationBench::ForRun(bool quick) {
    Settings settings;
    if (quick) {
        // A smoke run for development; its figures are not the recorded ones.
        settings.patches = QStringLiteral("grey:2");
        settings.luminancePatches = QStringLiteral("grey:2");
        settings.floorReadings = 2;
        settings.luminanceFloorReadings = 1;
        settings.memoryCheckpoints = {5, 10, 20};
        settings.lines = {LineModel(LineModel::Instant), LineModel::realistic()};
    }
    return settings;
}

CharacterisationBench::CharacterisationBench(const Settings& settings, LineWriter line)
    : m_settings(settings), m_line(std::move(line)) {}

int CharacterisationBench::Main(const QStringList& arguments, const LineWriter& line) {
    const bool quick = arguments.contains(QStringLiteral("--quick"));
    CharacterisationBench bench(ForRun(quick), line);
    if (arguments.contains(kMemoryOption)) {
        bench.RunMemory();
        return 0;
    }
    const int only = arguments.indexOf(QStringLiteral("--only"));
    if (only < 0)
        return -1;
    if (arguments.value(only + 1) != QLatin1String("characterisation")) {
        line(QStringLiteral("chromameter-bench: --only takes \"characterisation\""));
        return 2;
    }
    line(QStringLiteral("# chromameter-bench --only characterisation"));
    line(QStringLiteral("date: %1").arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODate)));
    line(QStringLiteral("machine: %1").arg(MachineText()));
    QElapsedTimer total;
    total.start();
    bench.Run(QCoreApplication::applicationFilePath(), quick);
    line(QStringLiteral("load average at the end: %1; whole run %2 s")
             .arg(LoadAverageText())
             .arg(double(total.elapsed()) / 1000.0, 0, 'f', 1));
    return 0;
}

void CharacterisationBench::Run(const QString& program, bool quick) {
    // The long run takes a minute or two of mostly waiting: it runs in its own process meanwhile, so
    // that the other rows' objects do not blur its memory.
    QProcess memory;
    memory.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList memoryArguments{kMemoryOption};
    if (quick)
        memoryArguments << QStringLiteral("--quick");
    memory.start(program, memoryArguments);

    m_line(QStringLiteral(
               "## 7. Characterisation: time a patch takes through the run (show on the virtual display "
               "%1, settle %2 ms, measure through the host's reading meter, journal) beside its floor: "
               "the settle plus the library's own time for the reading on the same line (Measure, the "
               "watcher, ReadLvXy; luminance: ReadLastestData; median of %3 readings, %4 for the "
               "luminance meter, each after a settle-long pause, after one left out)")
               .arg(m_settings.display)
               .arg(m_settings.settleMs)
               .arg(m_settings.floorReadings)
               .arg(m_settings.luminanceFloorReadings));
    for (const LineModel& cable : m_settings.lines)
        for (int type = 0; type < 5; ++type)
            RunFamily(SimFamilyName(type), cable);

    m_line(QStringLiteral("## 8. Memory over a long characterisation (%1, instant line, settle 0, "
                          "journal to a temporary file; own process beside the others)")
               .arg(m_settings.memoryFamily));
    memory.waitForFinished(-1);
    const QString memoryLines = QString::fromUtf8(memory.readAllStandardOutput()).trimmed();
    m_line(memoryLines.isEmpty() ? QStringLiteral("characterisation memory: the process printed nothing")
                                 : memoryLines);
}

void CharacterisationBench::RunFamily(const QString& family, const LineModel& cable) {
    const QString name = family + QLatin1Char(' ') + cable.name();
    BenchSession bench;
    if (!bench.start(family, cable, m_settings.display)) {
        m_line(QStringLiteral("characterisation %1: could not connect").arg(name));
        return;
    }
    InstrumentSession& session = *bench.session;
    const bool polled = session.instrument().polledReading;

    // The floor: the library alone, each reading after a pause as long as the run's settle.
    TimingWatcher watcher;
    session.minolta()->RegisterWatcher(&watcher);
    std::vector<double> readingMs;
    int floorFailed = 0;
    const int floorReadings = polled ? m_settings.luminanceFloorReadings : m_settings.floorReadings;
    // The first reading after detection is left out: the luminance meter's reading starts by taking
    // the unread answers of the previous read-out off the line, and the first one has none.
    for (int i = 0; i <= floorReadings; ++i) {
        InterruptibleWait(m_settings.settleMs, nullptr);
        const double ms = libraryReadingMs(session.minolta(), watcher, polled);
        if (ms < 0)
            ++floorFailed;
        else if (i > 0)
            readingMs.push_back(ms);
    }
    session.minolta()->UnregisterWatcher(&watcher);

    // The run, as the characterise command makes it.
    QTemporaryDir directory;
    PreparedRun prepared;
    QString error;
    const QString patchSets = polled ? m_settings.luminancePatches : m_settings.patches;
    if (!directory.isValid() ||
        !prepareRun(patchSets, m_settings.settleMs, family, directory.path(), &prepared, &error)) {
        m_line(QStringLiteral("characterisation %1: the run could not be prepared: %2").arg(name, error));
        return;
    }
    SimulatorRun simulatorRun(bench, prepared, m_settings.settleMs);
    CharacteriseRun& run = simulatorRun.run;
    std::vector<double> patchMs;
    int failed = 0;
    QElapsedTimer clock;
    double lastMs = 0.0;
    run.SetProgressCallback([&](const CharacteriseRun::Progress& progress) {
        const double now = msSince(clock);
        patchMs.push_back(now - lastMs);
        lastMs = now;
        if (progress.reading.failed)
            ++failed;
    });
    clock.start();
    const CharacteriseRun::Outcome outcome = run.Run(prepared.header.patches, prepared.ids, &error);
    const double runSec = msSince(clock) / 1000.0;
    prepared.journal.reset();
    session.disconnect();

    const double reading = BenchQuantile(readingMs, 0.5);
    const double floor = m_settings.settleMs + reading;
    const double median = BenchQuantile(patchMs, 0.5);
    const double ratio = floor > 0 ? median / floor : 0.0;
    QString trouble;
    if (outcome != CharacteriseRun::Outcome::Finished)
        trouble += QStringLiteral(" (the run did NOT finish: %1)").arg(error);
    if (failed > 0)
        trouble += QStringLiteral(" (%1 patches FAILED)").arg(failed);
    if (floorFailed > 0)
        trouble += QStringLiteral(" (%1 library readings FAILED)").arg(floorFailed);
    m_line(QStringLiteral("characterisation %1: %2 patches (%3): per patch median %4 ms, min %5 ms, max %6 "
                          "ms; floor %7 ms (settle %8 + reading %9, min %10); over the floor %11 ms; "
                          "ratio %12 [goal <= 1.10: %13]; run %14 s%15")
               .arg(name, -22)
               .arg(patchMs.size())
               .arg(patchSets)
               .arg(median, 0, 'f', 1)
               .arg(BenchQuantile(patchMs, 0.0), 0, 'f', 1)
               .arg(BenchQuantile(patchMs, 1.0), 0, 'f', 1)
               .arg(floor, 0, 'f', 1)
               .arg(m_settings.settleMs)
               .arg(reading, 0, 'f', 1)
               .arg(BenchQuantile(readingMs, 0.0), 0, 'f', 1)
               .arg(median - floor, 0, 'f', 1)
               .arg(ratio, 0, 'f', 3)
               .arg(BenchGoal(ratio <= 1.10 && trouble.isEmpty()))
               .arg(runSec, 0, 'f', 1)
               .arg(trouble));
}

void CharacterisationBench::RunMemory() {
    const QString family = m_settings.memoryFamily;
    BenchSession bench;
    if (!bench.start(family, LineModel(LineModel::Instant), m_settings.display)) {
        m_line(QStringLiteral("characterisation memory: could not connect"));
        return;
    }
    InstrumentSession& session = *bench.session;
    const int patches = m_settings.memoryCheckpoints.back();
    QTemporaryDir directory;
    PreparedRun prepared;
    QString error;
    if (!directory.isValid() ||
        !prepareRun(QStringLiteral("grey:%1").arg(patches), 0, family, directory.path(), &prepared, &error)) {
        m_line(QStringLiteral("characterisation memory: the run could not be prepared: %1").arg(error));
        return;
    }
    SimulatorRun simulatorRun(bench, prepared, 0);
    CharacteriseRun& run = simulatorRun.run;
    std::vector<qint64> heap, resident, kept;
    int failed = 0;
    size_t next = 0;
    QElapsedTimer clock;
    clock.start();
    InstrumentModel* model = session.simulator();
    run.SetProgressCallback([&](const CharacteriseRun::Progress& progress) {
        if (progress.reading.failed)
            ++failed;
        // The in-process simulator keeps a record of every byte it received, for tests: its growth
        // is the simulator's, not the run's.
        model->clearRecord();
        if (next >= m_settings.memoryCheckpoints.size() ||
            progress.index != m_settings.memoryCheckpoints[next])
            return;
        ++next;
        // Let the last worker thread end before counting.
        InterruptibleWait(50, nullptr);
        resident.push_back(ResidentBytes());
        heap.push_back(HeapInUseBytes());
        kept.push_back(qint64(run.Readings().capacity()) * qint64(sizeof(PatchReading)));
        m_line(QStringLiteral("characterisation memory after %1 patches: resident %2 KiB, heap in use %3 KiB "
                              "(readings kept %4 KiB), journal %5 KiB")
                   .arg(progress.index, 4)
                   .arg(double(resident.back()) / 1024.0, 0, 'f', 1)
                   .arg(double(heap.back()) / 1024.0, 0, 'f', 1)
                   .arg(double(kept.back()) / 1024.0, 0, 'f', 1)
                   .arg(double(QFileInfo(prepared.journalPath).size()) / 1024.0, 0, 'f', 1));
    });
    const CharacteriseRun::Outcome outcome = run.Run(prepared.header.patches, prepared.ids, &error);
    const double runSec = double(clock.elapsed()) / 1000.0;
    prepared.journal.reset();
    session.disconnect();
    const size_t n = heap.size();
    if (n < 2 || outcome != CharacteriseRun::Outcome::Finished) {
        m_line(QStringLiteral("characterisation memory: the run did NOT finish: %1").arg(error));
        return;
    }
    // The run keeps every reading it took (CharacteriseRun::Readings), in a vector whose capacity grows
    // by doubling: that is the run's data, not a leak; everything else must stay flat.
    const int from = m_settings.memoryCheckpoints[n - 2], to = m_settings.memoryCheckpoints[n - 1];
    const qint64 keptGrowth = kept[n - 1] - kept[n - 2];
    const qint64 heapGrowth = heap[n - 1] - heap[n - 2];
    const qint64 residentGrowth = resident[n - 1] - resident[n - 2];
    const qint64 otherHeap = heapGrowth - keptGrowth;
    m_line(
        QStringLiteral("characterisation memory growth (patches %1 to %2): heap %3 KiB, of which the "
                       "readings kept %4 KiB (%5 B each, the vector's capacity); the rest %6 B a patch; "
                       "resident %7 KiB [goal flat beyond the readings kept, i.e. under %8 KiB heap and "
                       "%9 KiB resident over those patches: %10] (%11 failed patches, %12 s, %13 ms a "
                       "patch)")
            .arg(from)
            .arg(to)
            .arg(double(heapGrowth) / 1024.0, 0, 'f', 1)
            .arg(double(keptGrowth) / 1024.0, 0, 'f', 1)
            .arg(sizeof(PatchReading))
            .arg(double(otherHeap) / (to - from), 0, 'f', 2)
            .arg(double(residentGrowth) / 1024.0, 0, 'f', 1)
            .arg(kHeapNoiseBytes / 1024)
            .arg(double(keptGrowth + kResidentNoiseBytes) / 1024.0, 0, 'f', 1)
            .arg(BenchGoal(otherHeap < kHeapNoiseBytes && residentGrowth < keptGrowth + kResidentNoiseBytes))
            .arg(failed)
            .arg(runSec, 0, 'f', 1)
            .arg(runSec * 1000.0 / patches, 0, 'f', 1));
}
