#include "PythonOutputs.h"

#include "CharacterisationOutputs.h"
#include "CharacterisationWriter.h"
#include "InstrumentFailure.h"
#include "StatusConsole.h"

#include <QFile>
#include <QStringList>
#include <QTextStream>

namespace {
[[noreturn]] void fail(const QString& message) {
    throw InstrumentFailure(InstrumentFailure::Kind::Usage, 0, message);
}

QString figuresText(const CharacterisationFigures& figures, OutputFormat format) {
    QString text;
    QTextStream out(&text);
    MakeCharacterisationWriter(format)->Write(figures, out);
    out.flush();
    return text;
}

void writeFile(const QString& path, const QString& text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0)
        fail(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
}
} // namespace

QString WritePythonOutputs(const JournalContents& contents, const Target& target,
                           const PythonOutputs& outputs) {
    // The figures printed go nowhere (they are returned); a failed output's message is the error's.
    QStringList problems;
    StatusConsole console(
        false,
        [&problems](const QByteArray& bytes) {
            QString text = QString::fromUtf8(bytes).trimmed();
            if (text.startsWith(QStringLiteral("chromameter: ")))
                text = text.mid(13);
            if (!text.isEmpty())
                problems.append(text);
        },
        [](const QByteArray&) {});
    CharacterisationOutputSettings settings = outputs.settings;
    settings.format = OutputFormat::Json;
    CharacterisationFigures figures;
    const bool ok = WriteCharacterisationOutputs(contents, target, settings, console, &figures);
    const QString json = figuresText(figures, OutputFormat::Json);
    if (!outputs.jsonPath.isEmpty())
        writeFile(outputs.jsonPath, json);
    if (!outputs.csvPath.isEmpty())
        writeFile(outputs.csvPath, figuresText(figures, OutputFormat::Csv));
    if (!outputs.tablePath.isEmpty())
        writeFile(outputs.tablePath, figuresText(figures, OutputFormat::Table));
    if (!ok)
        fail(problems.isEmpty() ? QStringLiteral("an output could not be written")
                                : problems.join(QStringLiteral("; ")));
    return json;
}

QString PythonReport(const QString& journalPath, const QString& targetSpace, const QString& targetWhite,
                     const QString& targetEotf, const PythonOutputs& outputs) {
    JournalContents contents;
    QString error;
    if (!Journal::Load(journalPath, &contents, &error))
        fail(error);
    const RunSettings& s = contents.header.settings;
    Target target;
    if (!Target::Parse(targetSpace.isEmpty() ? s.targetSpace : targetSpace,
                       targetWhite.isEmpty() ? s.targetWhite : targetWhite,
                       targetEotf.isEmpty() ? s.targetEotf : targetEotf, &target, &error))
        fail(QStringLiteral("the target: ") + error);
    return WritePythonOutputs(contents, target, outputs);
}
