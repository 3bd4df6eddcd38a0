#pragma once

#include <QString>

// How the patches are shown, as `--show` names it.
struct ShowMethod {
    enum class Kind {
        Simulator, // the simulated instrument's virtual display
        Manual,    // a person sets each patch and presses Enter
        Command,   // a command run once a patch (a pattern generator, a script)
        Window,    // a full-screen patch window of our own
    };
    Kind kind = Kind::Manual;
    QString command; // for Command: the template with {r} {g} {b} {R8} {G8} {B8}
    // For Window: the screen's index, the patch area's share of the screen's area in percent (100:
    // the whole screen) and the background's grey level (0..1).
    int screen = 0;
    double patchPercent = 10.0;
    double background = 0.0;

    // "simulator", "manual", "command:CMD" or "window". False with a message for anything else.
    // Only the kind and the command are set; the window's settings stay as they were.
    static bool Parse(const QString& text, ShowMethod* method, QString* error = nullptr);
    // --patch-size: a percentage above 0 up to 100, or "full" (100).
    static bool ParsePatchSize(const QString& text, double* percent, QString* error = nullptr);
    // --background: a grey level from 0 to 1.
    static bool ParseBackground(const QString& text, double* level, QString* error = nullptr);
};
