#include "ProgressText.h"

#include <cmath>

QString DurationText(double seconds) {
    const qint64 s = qint64(std::llround(std::max(seconds, 0.0)));
    if (s < 60)
        return QString("%1 s").arg(s);
    if (s < 3600)
        return QString("%1 min %2 s").arg(s / 60).arg(s % 60, 2, 10, QChar('0'));
    return QString("%1 h %2 min").arg(s / 3600).arg((s % 3600) / 60, 2, 10, QChar('0'));
}

QString ProgressLine(const CharacteriseRun::Progress& progress) {
    const Patch& p = progress.patch;
    const PatchReading& r = progress.reading;
    const QString values = QString("%1 %2 %3").arg(p.r, 0, 'f', 4).arg(p.g, 0, 'f', 4).arg(p.b, 0, 'f', 4);
    QString what;
    if (r.kind == PatchReading::Kind::DriftWhite) {
        what = progress.index == 0
                   ? QString("white (drift), before patch 1 of %1").arg(progress.total)
                   : QString("white (drift), after patch %1 of %2").arg(progress.index).arg(progress.total);
    } else {
        what = QString("patch %1 of %2 (id %3%4, %5)")
                   .arg(progress.index)
                   .arg(progress.total)
                   .arg(p.id)
                   .arg(p.name.isEmpty() ? QString() : ", " + p.name)
                   .arg(values);
    }
    QString reading;
    if (r.failed) {
        reading = "failed" + (progress.message.isEmpty() ? QString() : ": " + progress.message);
    } else {
        reading = QString("Lv %1").arg(r.Lv, 0, 'g', 5);
        if (r.hasColour)
            reading += QString(" x %1 y %2").arg(r.x, 0, 'f', 4).arg(r.y, 0, 'f', 4);
    }
    QString line = what + ": " + reading;
    if (progress.secondsLeft >= 0.0)
        line += ", about " + DurationText(progress.secondsLeft) + " left";
    return line;
}
