#pragma once

#include "transport/PortFilter.h"

#include <QList>
#include <QString>

// One serial port as the port list gives it, with the library's verdict on it.
struct PortListing {
    QString name;
    QString description;
    PortVerdict verdict = PortVerdict::NotUsbSerial;
    QString path; // what detection opens, for a port it tries
};

// What a host tells its user about a listed port: whether detection tries it, and why not.
class PortReport {
public:
    // "tried, as /dev/cu.usbserial-A1", "skipped: a Bluetooth port ...", ...
    static QString Explanation(const PortListing& port);
    // Why detection passes over a port, as the end of a sentence; empty for a port it tries.
    static QString Reason(PortVerdict verdict);
    // "bluetooth", "not-usb-serial", or an empty string for a port detection tries.
    static QString ReasonKey(PortVerdict verdict);
};
