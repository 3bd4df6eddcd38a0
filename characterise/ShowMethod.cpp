#include "ShowMethod.h"

bool ShowMethod::Parse(const QString& text, ShowMethod* method, QString* error) {
    const QString trimmed = text.trimmed();
    const QString name = trimmed.toLower();
    ShowMethod result;
    QString message;
    if (name == "simulator") {
        result.kind = Kind::Simulator;
    } else if (name == "manual") {
        result.kind = Kind::Manual;
    } else if (name.startsWith("command:")) {
        result.kind = Kind::Command;
        result.command = trimmed.mid(8).trimmed();
        if (result.command.isEmpty())
            message = "--show command: needs a command (command:CMD, with {r} {g} {b} or {R8} {G8} {B8})";
    } else if (name == "window") {
        message = "--show window is not available yet: use manual, command:CMD or simulator";
    } else {
        message = QString("--show \"%1\": expected simulator, manual or command:CMD").arg(text);
    }
    if (!message.isEmpty()) {
        if (error)
            *error = message;
        return false;
    }
    *method = result;
    return true;
}
