#pragma once

// Qt's offscreen platform keeps its screen objects until the process ends: Qt's own, not a leak of
// ours, yet LeakSanitizer would fail every run that showed a window. Included once, by the main()
// of each program that may create a GUI application; nothing of it exists without AddressSanitizer.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libqoffscreen.so\nleak:QScreen::QScreen\nleak:QOffscreenIntegration\n";
}
#endif
