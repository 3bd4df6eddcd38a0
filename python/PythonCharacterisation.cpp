#include "PythonCharacterisation.h"

#include "CallablePatchDisplay.h"
#include "CharacteriseRun.h"
#include "CommandPatchDisplay.h"
#include "InstrumentFailure.h"
#include "InstrumentModel.h"
#include "PreparedRun.h"
#include "PythonInstrument.h"
#include "ReadingPatchMeter.h"
#include "SignalWatch.h"
#include "SimulatorPatchDisplay.h"
#include "Target.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <atomic>
#include <memory>

namespace {
[[noreturn]] void fail(InstrumentFailure::Kind kind, const QString& message, unsigned long code = 0) {
    throw InstrumentFailure(kind, code, message);
}

std::unique_ptr<PatchDisplay> makeDisplay(const PythonCharacterisation& c, PythonInstrument& instrument,
                                          const std::atomic<bool>* interrupt) {
    if (c.showCallable)
        return std::make_unique<CallablePatchDisplay>(c.showCallable);
    if (c.show == QStringLiteral("simulator")) {
        InstrumentModel* model = instrument.session().simulator();
        if (!model || !model->display())
            fail(InstrumentFailure::Kind::Usage,
                 QStringLiteral("show=\"simulator\" needs the simulator's virtual display: "
                                "Instrument(simulate=FAMILY, sim_display=DISPLAY)"));
        return std::make_unique<SimulatorPatchDisplay>(model->display());
    }
    if (c.show.startsWith(QStringLiteral("command:")))
        return std::make_unique<CommandPatchDisplay>(c.show.mid(8), interrupt);
    // The patch window needs a QApplication, and the process already runs the QCoreApplication the
    // instruments need: Qt allows one application object, made once.
    if (c.show == QStringLiteral("window"))
        fail(InstrumentFailure::Kind::Usage,
             QStringLiteral("show=\"window\" is not available from Python: the module runs a "
                            "QCoreApplication, which cannot show windows; show the patches with a "
                            "callable of your own toolkit"));
    fail(InstrumentFailure::Kind::Usage,
         QStringLiteral(
             "show must be \"simulator\", \"command:CMD\" or a callable taking (r, g, b), not \"%1\"")
             .arg(c.show));
}
} // namespace

QString PythonCharacterisation::run(PythonInstrument& instrument) {
    instrument.checkUsable();
    QTemporaryDir scratch;
    QString path = journalPath;
    if (path.isEmpty()) {
        if (!scratch.isValid())
            fail(InstrumentFailure::Kind::Usage,
                 QStringLiteral("cannot make a temporary folder for the journal"));
        path = QDir(scratch.path()).filePath(QStringLiteral("characterisation.jsonl"));
    }
    PreparedRun prepared;
    QString error;
    if (resume) {
        if (!PrepareResume(path, &prepared, &error))
            fail(InstrumentFailure::Kind::Usage, error);
    } else {
        if (QFile::exists(path))
            fail(InstrumentFailure::Kind::Usage,
                 QStringLiteral("the journal %1 exists already: resume it (resume=True) or save elsewhere")
                     .arg(path));
        if (!PrepareNewRun(settings, path, &prepared, &error))
            fail(InstrumentFailure::Kind::Usage, error);
    }

    std::atomic<bool> interrupted{false};
    const std::unique_ptr<PatchDisplay> display = makeDisplay(*this, instrument, &interrupted);
    const InstrumentInfo& info = instrument.info();
    if (prepared.mode == PreparedRun::Mode::New) {
        RunSettings& s = prepared.header.settings;
        s.instrumentFamily = info.family;
        s.port = info.port;
        s.started = QDateTime::currentDateTimeUtc();
    }
    if (!OpenJournal(&prepared, &error))
        fail(InstrumentFailure::Kind::Instrument, error, 0x80000008UL);

    ReadingPatchMeter meter(instrument.taker(), info, timeoutSec);
    CharacteriseRun run(display.get(), &meter, prepared.journal.get());
    CharacteriseRun::Options options;
    options.settleMs = prepared.header.settings.settleMs;
    options.retries = prepared.header.settings.retries;
    options.whiteEvery = prepared.header.settings.whiteEvery;
    run.SetOptions(options);
    run.SetClockOrigin(prepared.clockOriginMs);
    run.SetInterruptFlag(&interrupted);
    CharacteriseRun::Outcome outcome;
    {
        SignalWatch watch([&interrupted, &instrument] {
            interrupted = true;
            instrument.taker().interrupt();
        });
        outcome = run.Run(prepared.header.patches, prepared.ids, &error);
    }
    prepared.journal.reset();
    const auto* callable = dynamic_cast<const CallablePatchDisplay*>(display.get());
    if (interrupted || (callable && callable->raised()))
        return QString();
    if (outcome == CharacteriseRun::Outcome::Failed)
        fail(InstrumentFailure::Kind::Instrument,
             QStringLiteral("the run ended: %1 (every reading so far is kept in %2)").arg(error, path),
             0x80000008UL);

    JournalContents contents;
    if (!Journal::Load(path, &contents, &error))
        fail(InstrumentFailure::Kind::Instrument, error, 0x80000008UL);
    const RunSettings& s = contents.header.settings;
    Target target;
    if (!Target::Parse(s.targetSpace, s.targetWhite, s.targetEotf, &target, &error))
        fail(InstrumentFailure::Kind::Usage, QStringLiteral("the run's target: ") + error);
    return WritePythonOutputs(contents, target, outputs);
}
