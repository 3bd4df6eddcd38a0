#include "ResultText.h"

#include "IMinolta.h"

QString ResultCodeHex(unsigned long code) {
    return QStringLiteral("0x%1")
        .arg(qulonglong(code & 0xFFFFFFFFUL), 8, 16, QLatin1Char('0'))
        .toUpper()
        .replace(QLatin1String("0X"), QLatin1String("0x"));
}

QString ResultCodeMeaning(unsigned long code) {
    switch (code) {
    case RESULT_OK:
        return QStringLiteral("success");
    case RESULT_FAIL:
        return QStringLiteral(
            "the instrument failed: no reply, a reply that could not be used, or nothing measured");
    case RESULT_PORT_LOST:
        return QStringLiteral("the serial port was lost: the adapter was unplugged or the device vanished");
    case RESULT_NOT_SUPPORTED:
        return QStringLiteral("this instrument does not support the operation");
    case RESULT_NOT_AVAILABLE:
        return QStringLiteral("the operation is not available on this instrument");
    default:
        return QStringLiteral("an unknown result code");
    }
}
