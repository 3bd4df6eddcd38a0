#include "CommandPatchDisplay.h"

#include "InterruptibleWait.h"

#include <QDeadlineTimer>
#include <QProcess>

#include <cmath>

namespace {
// How often a running command is checked for its end and for Ctrl-C.
const int kPollMs = 20;
} // namespace

QString ExpandPatchCommand(const QString& commandTemplate, const Patch& patch) {
    auto unit = [](double v) { return QString::number(v, 'f', 4); };
    auto eight = [](double v) { return QString::number(std::lround(v * 255.0)); };
    QString command = commandTemplate;
    command.replace("{r}", unit(patch.r)).replace("{g}", unit(patch.g)).replace("{b}", unit(patch.b));
    command.replace("{R8}", eight(patch.r)).replace("{G8}", eight(patch.g)).replace("{B8}", eight(patch.b));
    return command;
}

CommandPatchDisplay::CommandPatchDisplay(const QString& commandTemplate, const std::atomic<bool>* interrupt,
                                         int timeoutMs)
    : template_(commandTemplate), interrupt_(interrupt), timeoutMs_(timeoutMs) {}

bool CommandPatchDisplay::Show(const Patch& patch, QString* error) {
    const QString command = ExpandPatchCommand(template_, patch);
    auto fail = [&](const QString& why) {
        if (error)
            *error = QString("show command \"%1\" for patch %2 %3").arg(command).arg(patch.id).arg(why);
        return false;
    };
    QProcess process;
    // Its output is the user's to see; only its exit status matters here.
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start("/bin/sh", {"-c", command});
    if (!process.waitForStarted(10000))
        return fail(QString("could not start (%1)").arg(process.errorString()));
    QDeadlineTimer deadline(timeoutMs_);
    while (process.state() != QProcess::NotRunning) {
        if (process.waitForFinished(0))
            break;
        if (deadline.hasExpired() || !InterruptibleWait(kPollMs, interrupt_)) {
            const bool timedOut = deadline.hasExpired();
            process.kill();
            process.waitForFinished(5000);
            return fail(timedOut ? QString("did not finish within %1 s").arg(timeoutMs_ / 1000.0)
                                 : QString("was interrupted"));
        }
    }
    if (process.exitStatus() != QProcess::NormalExit)
        return fail("crashed");
    if (process.exitCode() != 0)
        return fail(QString("failed with exit status %1").arg(process.exitCode()));
    return true;
}
