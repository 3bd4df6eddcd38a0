#include "ColourTextProtocol.h"

#include "ReplyText.h"

namespace {
// The reply as the drivers read it as text: ASCII up to its first NUL.
QString replyString(const QByteArray& reply) {
    return QString::fromLatin1(ReplyText(reply));
}
} // namespace

bool ColourReplyContains(const QByteArray& reply, const char* word) {
    return replyString(reply).contains(QLatin1String(word), Qt::CaseSensitive);
}

QStringList ColourCutFields(const QString& text) {
    QStringList fields;
    QString rest = text;
    while (!rest.isEmpty()) {
        const int comma = rest.indexOf(QLatin1Char(','));
        if (comma < 0) {
            fields.append(rest);
            break;
        }
        fields.append(rest.left(comma));
        rest = rest.mid(comma + 1);
    }
    return fields;
}

bool ColourFieldValue(const QString& text, int index, double* value) {
    const QStringList fields = ColourCutFields(text);
    if (fields.size() < COLOUR_MIN_REPLY_FIELDS || index < 0 || index >= fields.size())
        return false;
    // The instrument's values are single precision; they are kept as doubles from there on.
    *value = static_cast<double>(fields.at(index).toFloat());
    return true;
}

bool Cas40ParseLvxy(const QString& text, double* x, double* y, double* Lv) {
    const QStringList fields = ColourCutFields(text);
    if (fields.size() < COLOUR_MIN_REPLY_FIELDS)
        return false;
    *x = static_cast<double>(fields.at(3).toFloat());
    *y = static_cast<double>(fields.at(4).toFloat());
    *Lv = static_cast<double>(fields.at(5).toFloat());
    return true;
}

bool Cas40ParseTcp(const QString& text, double* Tcp) {
    return ColourFieldValue(text, 3, Tcp);
}

bool JingceParseLvxy(const QString& text, double* x, double* y, double* Lv) {
    const QStringList parts = text.split(QLatin1Char(' '), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.size() < 2)
        return false;
    const QStringList pieces = parts.at(1).split(QLatin1Char(';'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (pieces.size() < 3)
        return false;
    // Chromaticity comes scaled by 10000; the division stays in single precision.
    *x = static_cast<double>(pieces.at(0).toFloat() / 10000.0f);
    *y = static_cast<double>(pieces.at(1).toFloat() / 10000.0f);
    *Lv = static_cast<double>(pieces.at(2).toFloat());
    return true;
}

bool JingceParseTcp(const QString& text, double* Tcp) {
    return ColourFieldValue(text, 4, Tcp);
}

bool ColourDecideMeasureReply(const QByteArray& reply, const std::function<bool(const QString&)>& parse,
                              std::initializer_list<double*> values, bool ok04IsSuccess,
                              const std::function<void()>& zeroCalibrate) {
    const bool reading = ColourReplyContains(reply, "OK00");
    if (reading && parse(replyString(reply)))
        return true;
    // No reading came back: a value read earlier must not pass for this measurement's.
    for (double* value : values)
        *value = 0.0;
    if (reading)
        return false;
    if (ok04IsSuccess && ColourReplyContains(reply, "OK04"))
        return true;
    if (ColourReplyContains(reply, "OK02")) {
        zeroCalibrate();
        return true;
    }
    return false;
}

QByteArray ColourZeroCalibrationCommand(const QDateTime& when, char terminator) {
    // The instrument stamps its zero calibration with the host's local time, 24-hour, zero-padded.
    QByteArray command =
        QStringLiteral("ZRC,1,%1").arg(when.toString(QStringLiteral("yyyy,MM,dd,hh,mm,ss"))).toUtf8();
    command.append(terminator);
    return command;
}

bool ColourReplyLoop(int limitTimes, bool boundary, const ColourReplyLoopSteps& steps) {
    int counter = limitTimes;
    while (counter != 0) {
        --counter;
        QByteArray reply;
        if (!steps.read(&reply)) {
            if (steps.portConnected())
                continue;
            return false;
        }
        const bool decision = steps.decide(reply);
        return boundary ? (decision && counter > 0) : decision;
    }
    return false;
}
