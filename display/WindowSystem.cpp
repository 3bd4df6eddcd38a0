#include "WindowSystem.h"

#include <QtGlobal>

QString WindowSystemProblem() {
#if defined(Q_OS_UNIX) && !defined(Q_OS_MACOS)
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return QStringLiteral("neither DISPLAY nor WAYLAND_DISPLAY is set (QT_QPA_PLATFORM=offscreen "
                              "draws windows without a screen)");
#endif
    return QString();
}
