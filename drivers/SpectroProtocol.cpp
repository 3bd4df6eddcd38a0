#include "SpectroProtocol.h"

#include "ReplyText.h"

#include <QString>

#include <cstdio>
#include <cstring>

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Length of the run of decimal digits at text[i].
int digitsAt(const char* text, int i) {
    int n = 0;
    while (isDigit(text[i + n]))
        ++n;
    return n;
}

} // namespace

QByteArray SpectroMedrCommand(int kind, int zero, int block) {
    char text[20];
    std::memset(text, 0, sizeof text);
    std::snprintf(text, sizeof text, "MEDR,%d,%d,%d\r\n", kind, zero, block);
    return QByteArray(text, int(std::strlen(text)));
}

bool SpectroIsMeasureCompletion(const QByteArray& reply) {
    return (reply.size() == 6 || reply.size() == 10) && reply.startsWith(QByteArray("OK00\r\n", 6));
}

double SpectroAtof(const char* text) {
    if (!text)
        return 0.0;
    int i = 0;
    while (isSpace(text[i]))
        ++i;
    const int start = i;
    if (text[i] == '+' || text[i] == '-')
        ++i;
    const int whole = digitsAt(text, i);
    i += whole;
    int fraction = 0;
    if (text[i] == '.') {
        fraction = digitsAt(text, i + 1);
        if (whole > 0 || fraction > 0)
            i += 1 + fraction;
    }
    if (whole == 0 && fraction == 0)
        return 0.0;
    // An exponent counts only when at least one digit follows it, as strtod reads it.
    if (text[i] == 'e' || text[i] == 'E') {
        int j = i + 1;
        if (text[j] == '+' || text[j] == '-')
            ++j;
        const int exponent = digitsAt(text, j);
        if (exponent > 0)
            i = j + exponent;
    }
    bool ok = false;
    const double value = QByteArray(text + start, i - start).toDouble(&ok);
    return ok ? value : 0.0;
}

QList<double> SpectroReplyValues(const QByteArray& reply) {
    QList<double> values;
    const QByteArray text = ReplyText(reply);
    bool status = true;
    for (const QByteArray& token : text.split(',')) {
        if (token.isEmpty())
            continue;
        if (status) {
            status = false;
            continue;
        }
        values.append(SpectroAtof(token.constData()));
    }
    return values;
}

void SpectroAppendSpectralBlock(const QByteArray& reply, QList<float>& values) {
    QString rest = QString::fromLatin1(ReplyText(reply));
    const int status = rest.indexOf(QLatin1Char(','));
    if (status < 0)
        return;
    rest = rest.mid(status + 1);
    int comma = rest.indexOf(QLatin1Char(','));
    while (comma >= 1) {
        values.append(rest.left(comma).toFloat());
        rest = rest.mid(comma + 1);
        comma = rest.indexOf(QLatin1Char(','));
    }
    if (!rest.isEmpty())
        values.append(rest.toFloat());
}

bool SpectroParseLvXy(const QByteArray& reply, SpectroLvXy* values) {
    const QList<double> v = SpectroReplyValues(reply);
    if (v.size() < 3)
        return false;
    *values = {v[0], v[1], v[2]};
    return true;
}

bool SpectroParseMeasureData(const QByteArray& reply, SpectroMeasureData* values) {
    const QList<double> v = SpectroReplyValues(reply);
    if (v.size() < 12)
        return false;
    *values = {v[2], v[3], v[4], v[1], v[5], v[6], v[11]};
    return true;
}
