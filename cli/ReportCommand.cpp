#include "ReportCommand.h"

#include "CharacterisationOutputs.h"
#include "InstrumentSession.h"
#include "Journal.h"
#include "StatusConsole.h"
#include "Target.h"

ReportCommand::ReportCommand(const ReportCommandSettings& report, const CharacteriseCommandSettings& outputs,
                             StatusConsole& console)
    : m_report(report), m_outputs(outputs), m_console(console) {}

int ReportCommand::run() {
    JournalContents contents;
    QString error;
    if (!Journal::Load(m_report.journalPath, &contents, &error)) {
        m_console.line(QStringLiteral("chromameter: ") + error);
        return InstrumentSession::UsageError;
    }
    const RunSettings& s = contents.header.settings;
    const QString space = m_report.targetSpace.isEmpty() ? s.targetSpace : m_report.targetSpace;
    const QString white = m_report.targetWhite.isEmpty() ? s.targetWhite : m_report.targetWhite;
    const QString eotf = m_report.targetEotf.isEmpty() ? s.targetEotf : m_report.targetEotf;
    Target target;
    if (!Target::Parse(space, white, eotf, &target, &error)) {
        m_console.line(QStringLiteral("chromameter: the target: ") + error);
        return InstrumentSession::UsageError;
    }
    return WriteCharacterisationOutputs(contents, target, m_outputs.outputs(), m_console)
               ? InstrumentSession::Ok
               : InstrumentSession::Failed;
}
