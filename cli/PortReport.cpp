#include "PortReport.h"

#include "ReadingFormatter.h"

#include <QStringList>
#include <QVector>

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

int PortReport::DisplayWidth(const QString& text) {
    int width = 0;
    const QVector<uint> codes = text.toUcs4();
    for (uint c : codes) {
        const bool wide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
                          (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
                          (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
                          (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x20000 && c <= 0x3FFFD);
        width += wide ? 2 : 1;
    }
    return width;
}

QString PortReport::Format(const QList<PortListing>& ports, OutputFormat format, const QString& source) {
    QString text;
    if (format == OutputFormat::Json) {
        for (const PortListing& port : ports) {
            const bool tried = port.verdict == PortVerdict::Candidate;
            text += QStringLiteral("{\"port\":%1,\"description\":%2,\"tried\":%3,\"path\":%4,\"reason\":%5,"
                                   "\"explanation\":%6}\n")
                        .arg(ReadingFormatter::JsonString(port.name),
                             ReadingFormatter::JsonString(port.description),
                             tried ? QStringLiteral("true") : QStringLiteral("false"),
                             tried ? ReadingFormatter::JsonString(port.path) : QStringLiteral("null"),
                             tried ? QStringLiteral("null")
                                   : ReadingFormatter::JsonString(ReasonKey(port.verdict)),
                             ReadingFormatter::JsonString(Explanation(port)));
        }
        return text;
    }
    if (format == OutputFormat::Csv) {
        text = QStringLiteral("port,description,tried,path,reason,explanation\n");
        for (const PortListing& port : ports) {
            const bool tried = port.verdict == PortVerdict::Candidate;
            QStringList fields;
            fields << ReadingFormatter::CsvField(port.name) << ReadingFormatter::CsvField(port.description)
                   << (tried ? QStringLiteral("yes") : QStringLiteral("no"))
                   << ReadingFormatter::CsvField(tried ? port.path : QString()) << ReasonKey(port.verdict)
                   << ReadingFormatter::CsvField(Explanation(port));
            text += fields.join(QLatin1Char(',')) + QLatin1Char('\n');
        }
        return text;
    }

    int tried = 0;
    for (const PortListing& port : ports)
        tried += port.verdict == PortVerdict::Candidate ? 1 : 0;
    text = QStringLiteral("%1 serial port%2 listed (%3); detection tries %4.\n")
               .arg(ports.size())
               .arg(ports.size() == 1 ? QString() : QStringLiteral("s"))
               .arg(source)
               .arg(tried == 0 ? QStringLiteral("none of them") : QString::number(tried));
    if (ports.isEmpty())
        return text;
    int nameWidth = 4;
    int descriptionWidth = 11;
    for (const PortListing& port : ports) {
        nameWidth = qMax(nameWidth, DisplayWidth(port.name));
        descriptionWidth = qMax(descriptionWidth, DisplayWidth(port.description));
    }
    auto cell = [](const QString& value, int width) {
        return value + QString(width + 2 - DisplayWidth(value), QLatin1Char(' '));
    };
    text += QLatin1Char('\n') + cell(QStringLiteral("PORT"), nameWidth) +
            cell(QStringLiteral("DESCRIPTION"), descriptionWidth) + QStringLiteral("DETECTION\n");
    for (const PortListing& port : ports)
        text += cell(port.name, nameWidth) + cell(port.description, descriptionWidth) + Explanation(port) +
                QLatin1Char('\n');
    return text;
}
