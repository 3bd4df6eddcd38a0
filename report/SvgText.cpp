#include "SvgText.h"

#include <cmath>

QString SvgNumber(double value) {
    QString text = QString::number(std::round(value * 100.0) / 100.0, 'f', 2);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text == QLatin1String("-0") ? QStringLiteral("0") : text;
}

QString EscapeXml(const QString& text) {
    QString out = text;
    out.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    out.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    out.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    out.replace(QLatin1Char('"'), QLatin1String("&quot;"));
    out.replace(QLatin1Char('\''), QLatin1String("&#39;"));
    return out;
}

double NiceTickStep(double span, int parts) {
    if (!(span > 0) || parts < 1)
        return 1;
    const double raw = span / parts;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    const double fraction = raw / power;
    const double nice = fraction <= 1 ? 1 : fraction <= 2 ? 2 : fraction <= 5 ? 5 : 10;
    return nice * power;
}

QString TickText(double value, double step) {
    const int decimals = step >= 1 ? 0 : int(std::ceil(-std::log10(step) - 1e-9));
    if (std::fabs(value) < step * 1e-6)
        value = 0; // no "-0.0" at the origin
    return QString::number(value, 'f', decimals);
}
