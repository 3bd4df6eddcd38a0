#pragma once

#include "CliOptions.h"
#include "Quantity.h"
#include "Reading.h"

#include <QString>
#include <QVector>

class ReadingStatistics;

// Writes readings as a table for people, as JSON (one object per line: the reading with every
// quantity that applies, the family, the type and the result code in hex) or as CSV with a header.
// The table and CSV show the chosen quantities (by default Lv, x, y, CCT and Duv, and Δu′v′ with a
// reference) as far as the instrument gives them: none but Lv for the luminance meter. Tcp follows
// when it is read; by default the spectroradiometer's further values of ReadMeasureData too.
class ReadingFormatter {
public:
    // `quantities` empty: the default columns.
    ReadingFormatter(OutputFormat format, const InstrumentInfo& instrument,
                     const QVector<Quantity>& quantities = QVector<Quantity>(), bool hasReference = false);

    // What comes before the first reading (with its line end), possibly nothing.
    QString header() const;
    // One reading, with its line end.
    QString row(const Reading& reading) const;
    // The run's summary: a block under the table, rows of their own kind in CSV, one JSON object.
    QString summary(const ReadingStatistics& statistics) const;

    // The columns of the table and CSV.
    const QVector<Quantity>& columns() const { return m_columns; }

    // Text made safe for JSON and CSV.
    static QString JsonString(const QString& text);
    static QString CsvField(const QString& text);

private:
    QString tableRow(const Reading& reading) const;
    QString jsonRow(const Reading& reading) const;
    QString csvRow(const Reading& reading) const;
    QString tableSummary(const ReadingStatistics& statistics) const;
    QString jsonSummary(const ReadingStatistics& statistics) const;
    QString csvSummary(const ReadingStatistics& statistics) const;
    // The quantities that apply to this instrument and run, in output order.
    QVector<Quantity> applicable() const;

    OutputFormat m_format;
    InstrumentInfo m_instrument;
    bool m_hasReference;
    bool m_showMeasureData;
    QVector<Quantity> m_columns;
};
