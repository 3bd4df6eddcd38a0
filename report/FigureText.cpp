#include "FigureText.h"

#include "NumberText.h"

#include <cmath>

QString FigureJson(double value, int decimals) {
    if (!std::isfinite(value))
        return QStringLiteral("null");
    const double scale = std::pow(10.0, decimals);
    const double rounded = std::round(value * scale) / scale;
    const QString text = ShortestNumberText(rounded == 0 ? 0.0 : rounded);
    return text.isEmpty() ? QStringLiteral("null") : text;
}

QString FigureText(double value, int decimals) {
    if (!std::isfinite(value))
        return QString();
    QString text = QString::number(value, 'f', decimals);
    // No "-0.00" for a figure that rounds to nothing.
    if (text.startsWith(QLatin1Char('-')) && text.toDouble() == 0)
        text.remove(0, 1);
    return text;
}

QString PercentText(double fraction) {
    return FigureText(100.0 * fraction, 1) + QStringLiteral(" %");
}

QString SpaceTitle(const QString& space) {
    if (space == QLatin1String("srgb"))
        return QStringLiteral("sRGB");
    if (space == QLatin1String("p3"))
        return QStringLiteral("DCI-P3");
    if (space == QLatin1String("bt2020"))
        return QStringLiteral("BT.2020");
    return space;
}
