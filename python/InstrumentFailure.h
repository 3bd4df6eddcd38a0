#pragma once

#include <QString>

#include <stdexcept>

// A failure the Python module turns into one of chromameter's exceptions: what kind it is, the
// library's result code (0 when there is none) and the message.
class InstrumentFailure : public std::runtime_error {
public:
    enum class Kind { Instrument, NoInstrument, Timeout, Usage };

    InstrumentFailure(Kind kind, unsigned long code, const QString& message)
        : std::runtime_error(message.toStdString()), m_kind(kind), m_code(code) {}

    Kind kind() const { return m_kind; }
    unsigned long code() const { return m_code; }

private:
    Kind m_kind;
    unsigned long m_code;
};
