#pragma once

#include <QString>

// How the patches are shown, as `--show` names it.
struct ShowMethod {
    enum class Kind {
        Simulator, // the simulated instrument's virtual display
        Manual,    // a person sets each patch and presses Enter
        Command,   // a command run once a patch (a pattern generator, a script)
        Window,    // a patch window of our own: not available yet
    };
    Kind kind = Kind::Manual;
    QString command; // for Command: the template with {r} {g} {b} {R8} {G8} {B8}

    // "simulator", "manual" or "command:CMD". False with a message for anything else.
    static bool Parse(const QString& text, ShowMethod* method, QString* error = nullptr);
};
