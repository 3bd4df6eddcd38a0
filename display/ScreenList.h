#pragma once

#include <QPoint>
#include <QSize>
#include <QSizeF>
#include <QString>
#include <QVector>

// The screens of the window system, as `chromameter screens` lists them and `--screen N` picks one.
struct ScreenInfo {
    int index = 0;
    QString name;
    QSize size;        // in the window system's pixels
    QPoint position;   // of the top-left corner on the virtual desktop
    QSizeF physicalMm; // as the screen reports it (0 when unknown)
    double refreshHz = 0.0;
    double pixelRatio = 1.0;
    bool primary = false;
};

// Needs a GUI application; empty without one.
QVector<ScreenInfo> ListScreens();
// One line a screen, with a heading.
QString ScreenListText(const QVector<ScreenInfo>& screens);
// Why `index` cannot be used for the patch window (no GUI application, no such screen), or empty.
QString ScreenProblem(int index);
