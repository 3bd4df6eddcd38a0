#pragma once

#include <QDateTime>
#include <QString>

// Values as the machine-readable outputs (JSON, CSV) write them.

// Text as a JSON string, quotes included.
QString JsonString(const QString& text);
// Text as one CSV field: quoted only when it holds a separator, a quote or a line end.
QString CsvField(const QString& text);
// A number as JSON gives it (the shortest text that reads back the same), or null.
QString JsonNumber(double value);
// A moment in UTC with milliseconds (ISO 8601), or empty for none.
QString TimeText(const QDateTime& time);
// Seconds since the start of a run, to the millisecond.
QString ElapsedText(double seconds);
