#include "ShowMethod.h"

#include <cmath>

namespace {
bool fail(const QString& message, QString* error) {
    if (error)
        *error = message;
    return false;
}
} // namespace

bool ShowMethod::Parse(const QString& text, ShowMethod* method, QString* error) {
    const QString trimmed = text.trimmed();
    const QString name = trimmed.toLower();
    ShowMethod result = *method;
    result.command.clear();
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
        result.kind = Kind::Window;
    } else {
        message = QString("--show \"%1\": expected window, simulator, manual or command:CMD").arg(text);
    }
    if (!message.isEmpty()) {
        if (error)
            *error = message;
        return false;
    }
    *method = result;
    return true;
}

bool ShowMethod::ParsePatchSize(const QString& text, double* percent, QString* error) {
    const QString trimmed = text.trimmed();
    if (trimmed.compare("full", Qt::CaseInsensitive) == 0) {
        *percent = 100.0;
        return true;
    }
    bool ok = false;
    const double value = QString(trimmed).remove('%').toDouble(&ok);
    if (!ok || !std::isfinite(value) || value <= 0.0 || value > 100.0)
        return fail(QString("--patch-size is a percentage of the screen's area above 0 up to 100, or "
                            "full, not \"%1\"")
                        .arg(text),
                    error);
    *percent = value;
    return true;
}

bool ShowMethod::ParseBackground(const QString& text, double* level, QString* error) {
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0.0 || value > 1.0)
        return fail(QString("--background is a grey level from 0 (black) to 1 (white), not \"%1\"").arg(text),
                    error);
    *level = value;
    return true;
}
