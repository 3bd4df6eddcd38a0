#pragma once

#include <functional>

class SerialPortCross;

// The serial line a driver talks on: the port it reads from, asks about and closes, and the way its
// writes reach that port's thread. The detector owns both and hands its line to every driver it
// builds, so nothing below the detector needs to know where the port lives.
class CInstrumentLine {
public:
    // Delivers a write to the port's thread and returns what the sender is told of it.
    using WriteFunction = std::function<unsigned int(const void* lpBuf, unsigned int dwCount)>;

    CInstrumentLine(SerialPortCross& port, WriteFunction write);

    unsigned int Write(const void* lpBuf, unsigned int dwCount) const;
    SerialPortCross& Port() const;

private:
    SerialPortCross& m_port;
    WriteFunction m_write;
};
