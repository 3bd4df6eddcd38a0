#pragma once

#include "CliOptions.h"
#include "Reading.h"

#include <QString>

// Writes readings as a table for people, as JSON (one object per line: the reading, the family, the
// type and the result code in hex) or as CSV with a header. The columns follow what the instrument
// gives: no x and y for the luminance meter, Tcp only when it is read, the further values of
// ReadMeasureData for the spectroradiometer.
class ReadingFormatter {
public:
    ReadingFormatter(OutputFormat format, const InstrumentInfo& instrument);

    // What comes before the first reading (with its line end), possibly nothing.
    QString header() const;
    // One reading, with its line end.
    QString row(const Reading& reading) const;

    // Text made safe for JSON and CSV.
    static QString JsonString(const QString& text);
    static QString CsvField(const QString& text);

private:
    QString tableRow(const Reading& reading) const;
    QString jsonRow(const Reading& reading) const;
    QString csvRow(const Reading& reading) const;

    OutputFormat m_format;
    InstrumentInfo m_instrument;
};
