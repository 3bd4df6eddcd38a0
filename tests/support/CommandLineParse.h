#pragma once

// Parsing a chromameter command line in the command-line tests, as the program would.

#include "CommandLine.h"

#include <gtest/gtest.h>

// The command line `chromameter ARGS...` as the program parses it.
inline CommandLine::Result parseCommandLine(const QStringList& args) {
    return CommandLine::Parse(QStringList{"chromameter"} + args);
}

// The error of a command line that must be refused (the test fails if it is accepted).
inline QString commandLineError(const QStringList& args) {
    const CommandLine::Result r = parseCommandLine(args);
    EXPECT_FALSE(r.ok());
    return r.error;
}
