#pragma once

#include "SimInstrument.h"

#include <memory>
#include <mutex>

class VirtualDisplay;

// The reading a model reports. Defaults are a D65-like white.
struct SimReading {
    double Lv = 120.5;
    double x = 0.3127;
    double y = 0.3290;
    double Tcp = 6504;
};

// Ways a model can misbehave, for fault tests and the chromameter-sim tool.
enum class SimFault {
    None,
    Silent,              // answers nothing at all
    Garbage,             // answers every command with random non-protocol bytes
    Overlong,            // answers every command with several kilobytes
    Cut,                 // answers with only the first half of each reply
    SplitBytes,          // answers one byte at a time with gaps between them
    UnplugDuringMeasure, // the adapter is pulled when a measurement is started
    SlowCompletion,      // a measurement takes far longer than usual (setMeasureDelayMs x 20)
};

// Parses "silent", "garbage", "overlong", "cut", "split", "unplug", "slow", "none". False if unknown.
bool parseSimFault(const QString& name, SimFault* fault);

struct Xyz;

// What an instrument reads of a display's light: Lv, x, y and the correlated colour temperature
// (0 where the colour is too far from any white to have one). Black keeps the display's white point.
SimReading SimReadingOfLight(const VirtualDisplay& display, const Xyz& light);

// Base of the realistic family models: frames the incoming bytes into commands, answers through a
// fault filter, and carries the configured reading (or a virtual display to measure instead) and the
// measurement duration.
// Like every SimInstrument, a concrete model calls stop() first in its own destructor: onCommand()
// runs on the simulator thread until then.
class InstrumentModel : public SimInstrument {
public:
    InstrumentModel();
    ~InstrumentModel() override;

    void setReading(const SimReading& reading);
    SimReading reading() const;
    void setFault(SimFault fault);
    SimFault fault() const;
    // How long a measurement takes on the instrument (default 50 ms).
    void setMeasureDelayMs(int ms);
    int measureDelayMs() const;
    // The only line speed at which the model hears anything (0: any).
    void setRequiredBaud(int baud);
    // A display in front of the instrument: from now on every measurement reads its light instead of
    // the configured reading. Null takes it away again. Any thread.
    void attachDisplay(std::shared_ptr<VirtualDisplay> display);
    std::shared_ptr<VirtualDisplay> display() const;
    // The reading of the last measurement: with a display, what it saw at the end of that measurement
    // (the display's light now when none was made yet); without, the configured reading.
    SimReading measuredReading() const;

protected:
    void onReceived(const QByteArray& bytes) override;
    // Bytes that end a command: a command ends at the first occurrence of any one of them and is
    // handed to onCommand() with that one byte. Terminator bytes with nothing before them (blank
    // lines) are skipped, so a model whose commands end in CR LF may return "\r\n" (it gets "CMD\r"
    // and the LF is dropped) or just "\n" (it gets "CMD\r\n"). An empty result hands over every
    // stretch of bytes as it comes, for binary protocols that frame themselves (the model then keeps
    // its own buffer).
    virtual QByteArray terminators() const = 0;
    // One complete command (terminator included), on the simulator thread.
    virtual void onCommand(const QByteArray& command) = 0;
    // Answers through the fault filter, after delayMs. Garbage keeps the reply's length and trailing
    // CR/LF; Overlong pads the reply with 'X' before its trailing CR/LF to 5000 bytes; Cut sends the
    // first half; SplitBytes sends one byte every 15 ms.
    void answer(const QByteArray& bytes, int delayMs = 0);
    // Answers a measurement's result: like answer(), and where the fault is UnplugDuringMeasure the
    // adapter is pulled instead; SlowCompletion stretches the delay. Pass the plain delay (for
    // example measureDelayMs()), not effectiveMeasureDelayMs(), or the stretch applies twice.
    void answerMeasurement(const QByteArray& bytes, int delayMs);
    // The measurement duration after the SlowCompletion fault is applied.
    int effectiveMeasureDelayMs() const;
    // A measurement starts now: with a display, its light at the end of the measurement time
    // (effectiveMeasureDelayMs() from now) becomes measuredReading(). Without one, nothing changes.
    void takeMeasurement();

private:
    mutable std::mutex m_mutex;
    SimReading m_reading;
    SimFault m_fault = SimFault::None;
    int m_measureDelayMs = 50;
    int m_requiredBaud = 0;
    std::shared_ptr<VirtualDisplay> m_display;
    bool m_hasMeasured = false;
    SimReading m_measured;
    QByteArray m_buffer;
};
