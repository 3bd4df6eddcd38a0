#pragma once

#include <QByteArray>
#include <QString>

// The control channel of a chromameter-sim that serves a virtual display: a local socket on which a
// client sends one line "show R G B" (device values 0..1) and reads back "ok" once the display shows
// the patch, or "error <reason>". One command per line; a client may send several on one connection.

// The line that asks for a patch, newline included.
QByteArray DisplayShowLine(double r, double g, double b);
// Reads such a line (with or without its newline). False with a sentence in *error when it is not one.
bool ParseDisplayShowLine(const QByteArray& line, double rgb[3], QString* error = nullptr);
// Reads R, G, B given as text, each a number from 0 to 1. False with a sentence in *error.
bool ParseDisplayValues(const QString& r, const QString& g, const QString& b, double rgb[3],
                        QString* error = nullptr);
// Asks the display listening at `path` to show r, g, b and waits for its acknowledgement (at most
// timeoutMs). Blocking; needs no event loop. False with a sentence in *error.
bool SendDisplayShow(const QString& path, double r, double g, double b, int timeoutMs,
                     QString* error = nullptr);
