#include "CharacterisationOutputs.h"

#include "CharacterisationPage.h"
#include "CharacterisationWriter.h"
#include "Cti3File.h"
#include "DisplayProfile.h"
#include "Figures.h"
#include "SimFamilies.h"
#include "StatusConsole.h"

#include <QTextStream>

namespace {
// "Minolta colour analyser (analyser) on /dev/cu.usbserial-1420", from what the journal recorded.
QString instrumentText(const RunSettings& s) {
    if (s.instrumentFamily.isEmpty())
        return QString();
    const QString title = SimFamilyTitle(SimFamilyType(s.instrumentFamily));
    QString text =
        title.isEmpty() ? s.instrumentFamily : QStringLiteral("%1 (%2)").arg(title, s.instrumentFamily);
    if (!s.port.isEmpty())
        text += QStringLiteral(" on ") + s.port;
    return text;
}
} // namespace

bool WriteCharacterisationOutputs(const JournalContents& contents, const Target& target,
                                  const CharacterisationOutputSettings& settings, StatusConsole& console,
                                  CharacterisationFigures* computed) {
    FiguresSettings figuresSettings;
    figuresSettings.normaliseDrift = settings.normaliseDrift;
    const CharacterisationFigures figures =
        ComputeFigures(contents.header.patches, contents.readings, target, figuresSettings);
    if (computed)
        *computed = figures;
    QString text;
    QTextStream out(&text);
    MakeCharacterisationWriter(settings.format)->Write(figures, out);
    out.flush();
    console.print(text);

    const RunSettings& run = contents.header.settings;
    bool ok = true;
    QString error;
    if (!settings.ti3Path.isEmpty() && !WriteCti3(figures, settings.ti3Path, &error)) {
        console.line(QStringLiteral("chromameter: --ti3 %1: %2").arg(settings.ti3Path, error));
        ok = false;
    }
    if (!settings.reportPath.isEmpty()) {
        ReportHeader header;
        header.instrument = instrumentText(run);
        header.displayName = settings.displayName;
        header.date = run.started;
        header.patchSets = run.patchSets;
        if (!CharacterisationPage(figures, header).write(settings.reportPath, &error)) {
            console.line(QStringLiteral("chromameter: --report %1: %2").arg(settings.reportPath, error));
            ok = false;
        }
    }
    if (!settings.iccPath.isEmpty()) {
        DisplayProfileSettings profileSettings;
        profileSettings.version = settings.iccVersion;
        profileSettings.displayName = settings.displayName;
        profileSettings.date = run.started;
        const DisplayProfile profile(figures, profileSettings);
        if (!profile.write(settings.iccPath, &error)) {
            console.line(QStringLiteral("chromameter: --icc %1: %2").arg(settings.iccPath, error));
            ok = false;
        }
    }
    return ok;
}
