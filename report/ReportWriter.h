#pragma once

#include "Columns.h"
#include "OutputFormat.h"
#include "PortReport.h"
#include "Reading.h"

#include <QList>
#include <QString>

#include <memory>

class ReadingStatistics;

// Writes what a host reports in one output format: the port list, the instrument found, and a run
// of readings (what comes before them, one per reading, the summary). Every text ends with its line
// end; a part a format does without is an empty string. One writer per format, chosen once.
class ReportWriter {
public:
    // The writer of `format`; `columns` say which values the readings show.
    static std::unique_ptr<ReportWriter> Create(OutputFormat format, const Columns& columns = Columns());

    explicit ReportWriter(const Columns& columns) : m_columns(columns) {}
    virtual ~ReportWriter();

    // Every listed port, whether detection would try it, and why not. `source` says where the list
    // came from (the table shows it).
    virtual QString ports(const QList<PortListing>& ports, const QString& source) const = 0;
    // The instrument detection found.
    virtual QString instrument(const InstrumentInfo& info) const = 0;
    // What comes before the first reading.
    virtual QString header() const = 0;
    // One reading.
    virtual QString row(const Reading& reading) const = 0;
    // The run's summary: mean, sd, min and max of every column, and how many readings failed.
    virtual QString summary(const ReadingStatistics& statistics) const = 0;

    const Columns& columns() const { return m_columns; }

protected:
    Columns m_columns;
};
