#pragma once

#include "Patch.h"
#include "PatchReading.h"
#include "RunSettings.h"

#include <QFile>
#include <QString>
#include <QVector>

// What a journal starts with: the run's settings, the resolved patch list and the measuring sequence
// (patch ids in the order they are measured).
struct JournalHeader {
    RunSettings settings;
    QVector<Patch> patches;
    QVector<int> sequence;
};

// A journal read back: its header and every reading in the order it was written (a resumed or
// retaken run appends to the same file, so later readings of an id supersede earlier ones).
struct JournalContents {
    JournalHeader header;
    QVector<PatchReading> readings;
    qint64 firstReadingMs = 0; // the run's clock starts at its first reading (ms since the epoch; 0: none)
    bool tornTail = false;     // the last line was cut short (a crash while writing it) and is ignored
};

// A characterisation's journal: one JSON object a line, the header first, then one line a reading,
// each line flushed to the disk as it is written, so that a crash or Ctrl-C leaves everything
// measured so far readable. Reading back ignores a torn last line.
class Journal {
public:
    Journal() = default;
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Starts a new journal at `path` with its header. Refuses an existing file: a run is never
    // overwritten by another (resume or retake it instead).
    bool Create(const QString& path, const JournalHeader& header, QString* error);
    // Opens an existing journal to add readings to it (`mode` "resume" or "retake", `ids` the
    // patches this session measures); a torn last line is cut off first so the next line starts clean.
    bool Continue(const QString& path, const QString& mode, const QVector<int>& ids, QString* error);
    // Writes one reading (`message` says why it failed, when it did) and puts it on the disk.
    bool Append(const PatchReading& reading, qint64 epochMs, const QString& message, QString* error);

    bool IsOpen() const { return file_.isOpen(); }
    QString Path() const { return file_.fileName(); }

    static bool Load(const QString& path, JournalContents* contents, QString* error);

private:
    bool writeLine(const QByteArray& json, QString* error);
    QFile file_;
};
