#pragma once

#include <QString>

// The family and port of the last successful connection, kept in the user's cache folder so that
// the next session hints detection with them and connects at once. A simulator's port changes every
// run: for it only the family is kept (port empty).
class LastConnection {
public:
    QString family; // a family name of the table ("jingce")
    QString port;   // the path detection opened; empty: any port

    // <cache>/chromameter/last-connection, where <cache> is $XDG_CACHE_HOME, else ~/Library/Caches
    // on macOS and ~/.cache elsewhere.
    static QString DefaultPath();

    // Reads the file at `path`. False when there is none (*note empty) or when it cannot be used
    // (*note says why: unreadable, corrupt, an unknown family).
    static bool Read(const QString& path, LastConnection* out, QString* note);
    // Writes it, creating the folder. False with *error when that fails.
    static bool Write(const QString& path, const LastConnection& last, QString* error);

    // Its text: "family NAME" and, when known, "port PATH", one a line.
    QString toText() const;
    static bool FromText(const QString& text, LastConnection* out, QString* problem);
};
