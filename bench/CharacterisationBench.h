#pragma once

#include "LineModel.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

// The characterisation rows of chromameter-bench: the time a patch takes through the real run (the
// run engine over the host's reading meter and the simulator's virtual display, as `chromameter
// --simulate FAMILY characterise` runs it) beside its floor, the settle time plus the library's own
// time for the same reading on the same line; and the memory of a long run.
class CharacterisationBench {
public:
    using LineWriter = std::function<void(const QString&)>;

    struct Settings {
        // The USB line both with its timer alone and as the realistic line has it (random phase,
        // packets late at random).
        std::vector<LineModel> lines{LineModel(LineModel::Instant), LineModel(LineModel::ByteWise),
                                     LineModel(LineModel::Usb), LineModel::realistic()};
        QString display = QStringLiteral("srgb-ideal");
        int settleMs = 200;
        // The luminance meter takes 2.5 to 4 s a reading on a cable: it gets the shorter set.
        QString patches = QStringLiteral("grey:5");
        QString luminancePatches = QStringLiteral("grey:3");
        // Readings the library takes alone (its floor), each after a settle-long pause as in the run.
        int floorReadings = 5;
        int luminanceFloorReadings = 3;
        // The long run: the family with the quickest reading, on the instant line, no settle.
        QString memoryFamily = QStringLiteral("photoresearch");
        std::vector<int> memoryCheckpoints{50, 250, 500};
    };

    // The recorded figures, or a short smoke run.
    static Settings ForRun(bool quick);

    CharacterisationBench(const Settings& settings, LineWriter line);

    // Handles the arguments that ask for these rows alone: "--only characterisation" (the rows, with
    // the long run in a process of its own beside them) and "--characterisation-memory" (that
    // process). Returns the exit status, or -1 when the arguments ask for something else.
    static int Main(const QStringList& arguments, const LineWriter& line);

    // The timing rows of every family on every line, and the long run in a child process.
    void Run(const QString& program, bool quick);
    // The timing row of one family on one line.
    void RunFamily(const QString& family, const LineModel& cable);
    // The long run in this process.
    void RunMemory();

private:
    Settings m_settings;
    LineWriter m_line;
};
