#include "ProgramRun.h"

#include <QElapsedTimer>

#include <signal.h>
#include <sys/types.h>

ProcessRun RunProgram(const QString& program, const QStringList& args, const ProgramRunOptions& options) {
    QProcess process;
    if (!options.workDir.isEmpty())
        process.setWorkingDirectory(options.workDir);
    if (options.hasEnvironment)
        process.setProcessEnvironment(options.environment);
    process.start(program, args);
    ProcessRun result;
    if (!process.waitForStarted(10000))
        return result;
    if (!options.stopMarker.isEmpty()) {
        // Stderr is read as it comes so the marker is seen as soon as the program prints it.
        QElapsedTimer clock;
        clock.start();
        while (!result.err.contains(options.stopMarker) && clock.elapsed() < 60000 &&
               process.state() != QProcess::NotRunning) {
            process.waitForReadyRead(50);
            result.err += process.readAllStandardError();
        }
        ::kill(pid_t(process.processId()), options.stopSignal);
    }
    result.finished = process.waitForFinished(options.timeoutMs);
    if (!result.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    result.exitCode = process.exitCode();
    result.exitStatus = process.exitStatus();
    result.out = process.readAllStandardOutput();
    result.err += process.readAllStandardError();
    return result;
}
