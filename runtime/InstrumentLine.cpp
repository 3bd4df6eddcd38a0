#include "InstrumentLine.h"

#include <utility>

CInstrumentLine::CInstrumentLine(SerialPortCross& port, WriteFunction write)
    : m_port(port), m_write(std::move(write)) {}

unsigned int CInstrumentLine::Write(const void* lpBuf, unsigned int dwCount) const {
    return m_write(lpBuf, dwCount);
}

SerialPortCross& CInstrumentLine::Port() const {
    return m_port;
}
