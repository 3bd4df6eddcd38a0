#include "PortFilter.h"

#include <QStringList>

PortVerdict ClassifyPort(const QString& portName, const QString& description) {
    if (description.contains(QString::fromUtf8("蓝牙")) ||
        description.contains(QLatin1String("bluetooth"), Qt::CaseInsensitive) ||
        portName.contains(QLatin1String("bluetooth"), Qt::CaseInsensitive))
        return PortVerdict::Bluetooth;
    static const char* const kPatterns[] = {"COM", "tty.usbserial", "cu.usbserial", "tty.usbmodem",
                                            "cu.usbmodem"};
    for (const char* pattern : kPatterns) {
        if (portName.contains(QLatin1String(pattern)))
            return PortVerdict::Candidate;
    }
    return PortVerdict::NotUsbSerial;
}

QString CandidatePortPath(const QString& portName) {
    return portName.contains(QLatin1String("/dev/")) ? portName : QStringLiteral("/dev/") + portName;
}
