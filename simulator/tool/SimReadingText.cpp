#include "SimReadingText.h"

#include <QStringList>

#include <cmath>

bool ParseSimReading(const QString& text, SimReading* reading, QString* error) {
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() < 3 || parts.size() > 4) {
        if (error)
            *error = QStringLiteral("expected Lv,x,y or Lv,x,y,Tcp, got \"%1\"").arg(text);
        return false;
    }
    static const char* const kNames[] = {"Lv", "x", "y", "Tcp"};
    double values[4] = {0, 0, 0, SimReading().Tcp};
    for (int i = 0; i < parts.size(); ++i) {
        bool ok = false;
        values[i] = parts[i].trimmed().toDouble(&ok);
        if (!ok || !std::isfinite(values[i])) {
            if (error)
                *error = QStringLiteral("%1 is not a number: \"%2\"").arg(QLatin1String(kNames[i]), parts[i]);
            return false;
        }
    }
    if (values[0] < 0 || values[3] < 0) {
        if (error)
            *error = QStringLiteral("Lv and Tcp cannot be negative");
        return false;
    }
    if (values[1] < 0 || values[1] > 1 || values[2] < 0 || values[2] > 1) {
        if (error)
            *error = QStringLiteral("x and y are chromaticity coordinates between 0 and 1");
        return false;
    }
    if (reading) {
        reading->Lv = values[0];
        reading->x = values[1];
        reading->y = values[2];
        reading->Tcp = values[3];
    }
    return true;
}
