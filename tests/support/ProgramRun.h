#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <csignal>

// What a program run by a test did: whether it ended in time, how, and what it wrote.
struct ProcessRun {
    bool finished = false;
    int exitCode = -1;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    QByteArray out;
    QByteArray err;
};

struct ProgramRunOptions {
    QString workDir;             // empty: the test's own
    int timeoutMs = 90000;       // then the program is killed and the run counts as unfinished
    bool hasEnvironment = false; // run with `environment` instead of the test's own
    QProcessEnvironment environment;
    QByteArray stopMarker; // when given: `stopSignal` is sent once stderr shows it
    int stopSignal = SIGINT;
};

// Runs `program` to its end (or its time-out) and collects what it wrote.
ProcessRun RunProgram(const QString& program, const QStringList& args,
                      const ProgramRunOptions& options = ProgramRunOptions());
