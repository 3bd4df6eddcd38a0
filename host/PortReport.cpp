#include "PortReport.h"

QString PortReport::ReasonKey(PortVerdict verdict) {
    switch (verdict) {
    case PortVerdict::Candidate:
        return QString();
    case PortVerdict::Bluetooth:
        return QStringLiteral("bluetooth");
    case PortVerdict::NotUsbSerial:
        return QStringLiteral("not-usb-serial");
    }
    return QString();
}

QString PortReport::Reason(PortVerdict verdict) {
    switch (verdict) {
    case PortVerdict::Candidate:
        return QString();
    case PortVerdict::Bluetooth:
        return QStringLiteral("a Bluetooth port (by its name or description)");
    case PortVerdict::NotUsbSerial:
        return QStringLiteral("not a USB-serial adapter's name that detection knows");
    }
    return QString();
}

QString PortReport::Explanation(const PortListing& port) {
    if (port.verdict == PortVerdict::Candidate)
        return QStringLiteral("tried, as %1").arg(port.path);
    return QStringLiteral("skipped: ") + Reason(port.verdict);
}
