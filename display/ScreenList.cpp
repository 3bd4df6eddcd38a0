#include "ScreenList.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

QVector<ScreenInfo> ListScreens() {
    QVector<ScreenInfo> list;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return list;
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* primary = QGuiApplication::primaryScreen();
    for (int i = 0; i < screens.size(); ++i) {
        const QScreen* s = screens[i];
        ScreenInfo info;
        info.index = i;
        info.name = s->name();
        // Geometry is in device-independent pixels; the screen's own pixels are what a patch covers.
        info.pixelRatio = s->devicePixelRatio();
        info.size = QSize(int(std::lround(s->geometry().width() * info.pixelRatio)),
                          int(std::lround(s->geometry().height() * info.pixelRatio)));
        info.position = s->geometry().topLeft();
        info.physicalMm = s->physicalSize();
        info.refreshHz = s->refreshRate();
        info.primary = s == primary;
        list.append(info);
    }
    return list;
}

QString ScreenListText(const QVector<ScreenInfo>& screens) {
    QString text = QStringLiteral("%1  %2  %3  %4  %5  %6\n")
                       .arg(QStringLiteral("screen"), -6)
                       .arg(QStringLiteral("size (pixels)"), -13)
                       .arg(QStringLiteral("position"), -11)
                       .arg(QStringLiteral("size (mm)"), -9)
                       .arg(QStringLiteral("refresh"), -7)
                       .arg(QStringLiteral("name"));
    for (const ScreenInfo& s : screens) {
        const QString mm = s.physicalMm.width() > 0 && s.physicalMm.height() > 0
                               ? QStringLiteral("%1x%2")
                                     .arg(std::lround(s.physicalMm.width()))
                                     .arg(std::lround(s.physicalMm.height()))
                               : QStringLiteral("-");
        const QString hz = s.refreshHz > 0 ? QStringLiteral("%1 Hz").arg(s.refreshHz, 0, 'f', 0) : "-";
        QString name = s.name.isEmpty() ? QStringLiteral("(unnamed)") : s.name;
        if (s.pixelRatio != 1.0)
            name += QStringLiteral(", scale %1").arg(s.pixelRatio);
        if (s.primary)
            name += QStringLiteral(" (primary)");
        text += QStringLiteral("%1  %2  %3  %4  %5  %6\n")
                    .arg(s.index, -6)
                    .arg(QStringLiteral("%1x%2").arg(s.size.width()).arg(s.size.height()), -13)
                    .arg(QStringLiteral("%1,%2").arg(s.position.x()).arg(s.position.y()), -11)
                    .arg(mm, -9)
                    .arg(hz, -7)
                    .arg(name);
    }
    return text;
}

QString ScreenProblem(int index) {
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return QStringLiteral("the patch window needs a window system, and this process has none");
    const int count = QGuiApplication::screens().size();
    if (count == 0)
        return QStringLiteral("the window system has no screen for the patch window");
    if (index < 0 || index >= count)
        return QStringLiteral("there is no screen %1: screens run from 0 to %2 (chromameter screens "
                              "lists them)")
            .arg(index)
            .arg(count - 1);
    return QString();
}
