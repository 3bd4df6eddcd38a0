#pragma once

#include <QString>

// Why a window cannot be opened here, before Qt is asked to (Qt ends the process when it finds no
// display): on X11 and Wayland systems, no DISPLAY, WAYLAND_DISPLAY or QT_QPA_PLATFORM in the
// environment. Empty when a window system may be there (and always on macOS and Windows).
QString WindowSystemProblem();
