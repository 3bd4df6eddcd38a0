#pragma once

#include "DriverWorkers.h"
#include "ReadBudget.h"

#include <QByteArray>

#include <functional>

#include <cstdint>

class CInstrumentLine;
struct SChromameterMeasureData;

// Small pieces of conversation every driver shares, on the line the driver was given. Each exchange
// goes through a fresh CChromameterCommand, so writes travel through the line's write (the detector's
// doWrite signal) and reads come from its port, exactly as a driver doing it by hand.

// Sends `length` bytes of `command`. False only if the channel reports a short write.
bool DriverSend(CInstrumentLine& line, const char* command, int length);
// Reads one reply within `budget` (its tries x waitMs before the first byte). On success
// *reply holds the bytes received (at most one reply buffer's worth) and the result is true.
bool DriverRead(CInstrumentLine& line, ReadBudget budget, QByteArray* reply);
// DriverSend then, if it succeeded, DriverRead.
bool DriverSendAndRead(CInstrumentLine& line, const char* command, int length, ReadBudget budget,
                       QByteArray* reply);
// The status word of a text reply as CM_ERROR_ENCODE numbers it; a reply shorter than four bytes is
// looked at with NUL padding, as it stands in a zero-filled reply buffer.
int64_t DriverReplyStatus(const QByteArray& reply);
// Whether the line's port still counts as connected (a vanished device makes this false).
bool DriverPortConnected(CInstrumentLine& line);
// Closes the line's port.
void DriverClosePort(CInstrumentLine& line);
// What Measure makes of its worker's start: RESULT_OK when it runs. One that could not be created is
// raised to a caller on the host's side as std::system_error ("thread constructor failed"); asked from
// inside a worker (a watcher measuring from a notification) it is a failed measurement instead, told
// to the watchers (RESULT_FAIL) like any other. Call this holding no lock a watcher's call could need.
// One refused while the workers are being stopped starts nothing and tells nobody (the watcher asking
// was just told of the failure that stop made).
unsigned long DriverMeasurementStarted(CDriverWorkers::Started started);

// The driver state a measurement worker keeps up to date.
struct DriverMeasureFlags {
    bool* measuring;
    bool* succeed;
    bool* readed;
    bool* connected;
};
// Runs a measurement worker's exchanges and tells the watchers the outcome: busy while they run; on
// success the values become readable and the watchers hear of it; on failure they are told
// RESULT_FAIL, or RESULT_PORT_LOST when the port is gone (then the port is closed and the driver
// disconnected). Returns RESULT_OK or RESULT_FAIL.
unsigned long DriverRunMeasurement(CInstrumentLine& line, const DriverMeasureFlags& flags,
                                   const std::function<bool()>& exchanges);

// ReadLvXy from the values a measurement stored: only while the measurement is valid and its data
// ready, the record receives x, y, Lv and Tcp narrowed to single precision (RESULT_OK); otherwise
// RESULT_FAIL and the record is left as it was.
unsigned long DriverCopyStoredLvXy(bool succeed, bool readed, double x, double y, double Lv, double Tcp,
                                   SChromameterMeasureData& data);
