#pragma once

#include "CliOptions.h"

#include <QString>
#include <QStringList>

// Reads chromameter's command line: global options, one command, and that command's options, in any
// order ("--name value" or "--name=value"). Checks everything that can be checked without an
// instrument, so a bad command line is a usage error before anything is opened.
class CommandLine {
public:
    // args[0] is the program name. On failure `error` says what is wrong, in one sentence.
    struct Result {
        CliOptions options;
        QString error;
        bool ok() const { return error.isEmpty(); }
    };
    static Result Parse(const QStringList& args);

    static QString UsageText();
    static QString VersionText();
};
