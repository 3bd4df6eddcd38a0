#include "QtGuiLeakSuppressions.h"

#include <QApplication>

#include <gtest/gtest.h>

// The patch window's tests run with a GUI application on Qt's offscreen platform: windows are drawn
// in memory, so they run without a display, and none ever appears on a developer's screen. Linked
// ahead of the support library, this main is the one the linker takes.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
