#pragma once

#include "CliOptions.h"
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

// The answer of "chromameter ports": every listed port, whether detection would try it, and why not.
class PortReport {
public:
    // `source` says where the list came from; the table shows it, JSON and CSV leave it out.
    static QString Format(const QList<PortListing>& ports, OutputFormat format, const QString& source);
    // "tried, as /dev/cu.usbserial-A1", "skipped: a Bluetooth port ...", ...
    static QString Explanation(const PortListing& port);
    // Why detection passes over a port, as the end of a sentence; empty for a port it tries.
    static QString Reason(PortVerdict verdict);
    // Columns a text takes in a terminal: East Asian wide characters take two.
    static int DisplayWidth(const QString& text);
    // "bluetooth", "not-usb-serial", or an empty string for a port detection tries.
    static QString ReasonKey(PortVerdict verdict);
};
