#include "LineModel.h"

LineModel::LineModel(Kind kind, int usbPeriodMs) : m_kind(kind), m_usbPeriodMs(usbPeriodMs) {}

LineModel LineModel::realistic() {
    return LineModel(Usb, kDefaultUsbPeriodMs);
}

bool LineModel::parse(const QString& text, LineModel* line) {
    const QString name = text.trimmed().toLower();
    LineModel parsed;
    if (name == QLatin1String("instant")) {
        parsed = LineModel(Instant);
    } else if (name == QLatin1String("bytewise")) {
        parsed = LineModel(ByteWise);
    } else if (name == QLatin1String("usb")) {
        parsed = LineModel(Usb);
    } else if (name.startsWith(QLatin1String("usb:"))) {
        bool ok = false;
        const int period = name.mid(4).toInt(&ok);
        // FTDI latency timers run from 1 to 255 ms.
        if (!ok || period < 1 || period > 255)
            return false;
        parsed = LineModel(Usb, period);
    } else {
        return false;
    }
    if (line)
        *line = parsed;
    return true;
}

QString LineModel::name() const {
    switch (m_kind) {
    case Instant:
        return QStringLiteral("instant");
    case ByteWise:
        return QStringLiteral("bytewise");
    case Usb:
        return QStringLiteral("usb:%1").arg(m_usbPeriodMs);
    }
    return QString();
}

qint64 LineModel::byteTimeNs(int baud) {
    // A line whose speed cannot be read is taken at the library's usual 9600 baud.
    const qint64 rate = baud > 0 ? baud : 9600;
    return 10 * 1000000000LL / rate;
}
