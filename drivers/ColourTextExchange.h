#pragma once

#include "DriverSupport.h"
#include "ReadBudget.h"

#include <QByteArray>
#include <QString>

#include <functional>

class CInstrumentLine;
class QMutex;

// Conversations that the colour analyser and the Jingce colorimeter hold alike, over the
// driver's line. Each driver passes its own command bytes, budgets and reply decisions.

// Sends the display-mode command (NUL-terminated, sent with its length) and waits for the first
// reply: true if it holds "OK00" anywhere. No success boundary: "OK00" on the last read still counts.
bool ColourChangeDisplayMode(CInstrumentLine& line, const char* command, int limitTimes, ReadBudget budget);

// A command of the family (sent without its NUL) and the read budget of each reply read.
struct ColourCommand {
    const char* bytes;
    int length;
    ReadBudget budget;
};

// Sends a measure command once, then the reply-wait loop with the success boundary; `decide` parses
// the first reply that arrives and stores its values.
bool ColourMeasureExchange(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                           const std::function<bool(const QByteArray&)>& decide);

// The two measurement exchanges: ColourMeasureExchange with ColourDecideMeasureReply deciding, the
// family's parser storing the values. "OK04" counts only for luminance and chromaticity; "OK02" calls
// `zeroCalibrate`, the driver's own zero calibration.
bool ColourMeasureLvxy(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                       bool (*parse)(const QString&, double*, double*, double*), double* x, double* y,
                       double* Lv, const std::function<void()>& zeroCalibrate);
bool ColourMeasureTcp(CInstrumentLine& line, const ColourCommand& measure, int limitTimes,
                      bool (*parse)(const QString&, double*), double* Tcp,
                      const std::function<void()>& zeroCalibrate);

// Builds the zero-calibration command from the current local date and time, sends it and, if it
// was sent, reads its reply. *sent tells whether the command went out; the result whether a reply
// arrived (then in *reply).
bool ColourDatedZeroCalibration(CInstrumentLine& line, char terminator, ReadBudget budget, bool* sent,
                                QByteArray* reply);

// Disconnect of the colour drivers: an "OK00" answer to the sign-off disconnects the driver and tells
// the watchers (RESULT_OK); any other outcome is RESULT_FAIL. The port is closed in every case and
// the driver ends disconnected.
unsigned long ColourSignOffAndRelease(CInstrumentLine& line, const ColourCommand& signOff, bool* connected);

// Measure of the colour drivers: under `mutex`, clears the measurement-valid flag, records whether the
// colour temperature is wanted and starts `thread` as a driver worker. RESULT_OK at once, the outcome
// reaching the watchers; a worker that could not start is a failed measurement (DriverMeasurementStarted).
unsigned long ColourStartMeasurement(QMutex* mutex, bool* succeed, bool* measureTcp, bool withTcp,
                                     std::function<void()> thread);

// The exchanges of a measurement thread, run by DriverRunMeasurement through the driver's own
// ChangeDisplayMode, DoMeasureLvxy and DoMeasureTcp: the luminance-and-chromaticity display mode and
// measurement; then, when *withTcp is set by that time, the colour-temperature mode and measurement.
template <class Driver>
unsigned long ColourMeasureSequence(CInstrumentLine& line, Driver* driver, const DriverMeasureFlags& flags,
                                    const bool* withTcp, const char* modeLvxy, const char* modeTcp) {
    return DriverRunMeasurement(line, flags, [=] {
        if (!driver->ChangeDisplayMode(modeLvxy) || !driver->DoMeasureLvxy())
            return false;
        // The instrument stays in the colour-temperature mode afterwards.
        return !*withTcp || (driver->ChangeDisplayMode(modeTcp) && driver->DoMeasureTcp());
    });
}
