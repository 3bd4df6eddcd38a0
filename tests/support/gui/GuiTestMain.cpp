#include <QApplication>

#include <gtest/gtest.h>

// Qt's offscreen platform keeps its screen objects until the process ends; that is Qt's own, not a
// leak of ours, and LeakSanitizer would otherwise fail every window test at exit.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\nleak:QScreen::QScreen\nleak:QOffscreenIntegration\n";
}

// The patch window's tests run with a GUI application on Qt's offscreen platform: windows are drawn
// in memory, so they run without a display, and none ever appears on a developer's screen. Linked
// ahead of the support library, this main is the one the linker takes.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
