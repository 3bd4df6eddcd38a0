#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSerialPort>

// Sees the QSerialPort objects created while it lives, through Qt's object-creation hook (the one
// inspection tools use), so a test can watch the library's real port from outside: connect to its
// signals, ask its error state. One at a time.
class SerialPortSightings {
public:
    SerialPortSightings();
    ~SerialPortSightings();
    SerialPortSightings(const SerialPortSightings&) = delete;
    SerialPortSightings& operator=(const SerialPortSightings&) = delete;

    // The serial ports created so far that still exist, oldest first.
    QList<QSerialPort*> ports() const;
};
