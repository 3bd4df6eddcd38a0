#include "LineModel.h"

#include <QStringList>

LineModel::LineModel(Kind kind, int usbPeriodMs, int usbJitterMs, quint32 seed)
    : m_kind(kind), m_usbPeriodMs(usbPeriodMs), m_usbJitterMs(usbJitterMs), m_seed(seed) {}

LineModel LineModel::realistic() {
    return LineModel(Usb, kDefaultUsbPeriodMs, kDefaultUsbJitterMs);
}

LineModel LineModel::withSeed(quint32 seed) const {
    LineModel line = *this;
    line.m_seed = seed;
    return line;
}

bool LineModel::parse(const QString& text, LineModel* line) {
    const QString name = text.trimmed().toLower();
    LineModel parsed;
    if (name == QLatin1String("instant")) {
        parsed = LineModel(Instant);
    } else if (name == QLatin1String("bytewise")) {
        parsed = LineModel(ByteWise);
    } else if (name == QLatin1String("usb") || name.startsWith(QLatin1String("usb:"))) {
        parsed = LineModel(Usb);
        const QStringList parts = name.split(QLatin1Char(':'));
        for (int i = 1; i < parts.size(); ++i) {
            const QString& part = parts[i];
            bool ok = false;
            if (i == 1 && !part.contains(QLatin1Char('='))) {
                const int period = part.toInt(&ok);
                // FTDI latency timers run from 1 to 255 ms.
                if (!ok || period < 1 || period > 255)
                    return false;
                parsed.m_usbPeriodMs = period;
            } else if (part.startsWith(QLatin1String("jitter="))) {
                const int jitter = part.mid(7).toInt(&ok);
                if (!ok || jitter < 0 || jitter > kMaxUsbJitterMs)
                    return false;
                parsed.m_usbJitterMs = jitter;
            } else if (part.startsWith(QLatin1String("seed="))) {
                const quint32 seed = part.mid(5).toUInt(&ok);
                if (!ok)
                    return false;
                parsed.m_seed = seed;
            } else {
                return false;
            }
        }
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
    case Usb: {
        QString text = QStringLiteral("usb:%1").arg(m_usbPeriodMs);
        if (m_usbJitterMs > 0)
            text += QStringLiteral(":jitter=%1").arg(m_usbJitterMs);
        if (m_seed != 0)
            text += QStringLiteral(":seed=%1").arg(m_seed);
        return text;
    }
    }
    return QString();
}

qint64 LineModel::byteTimeNs(int baud) {
    // A line whose speed cannot be read is taken at the library's usual 9600 baud.
    const qint64 rate = baud > 0 ? baud : 9600;
    return 10 * 1000000000LL / rate;
}
