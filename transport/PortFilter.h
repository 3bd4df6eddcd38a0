#pragma once

#include <QString>

// Which serial ports detection tries, and why it passes over the others.
enum class PortVerdict {
    Candidate,    // tried
    Bluetooth,    // a Bluetooth port, by its description or its name
    NotUsbSerial, // a name that is no USB-serial device the library knows
};

PortVerdict ClassifyPort(const QString& portName, const QString& description);
// The path detection opens for a candidate: the name itself if it holds "/dev/", else "/dev/" + name.
QString CandidatePortPath(const QString& portName);
