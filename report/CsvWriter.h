#pragma once

#include "ReportWriter.h"

// CSV with a header row. A run's rows carry a kind column: "reading" for each reading, then the
// summary's rows (mean, sd, min, max, count, failed).
class CsvWriter : public ReportWriter {
public:
    explicit CsvWriter(const Columns& columns) : ReportWriter(columns) {}

    QString ports(const QList<PortListing>& ports, const QString& source) const override;
    QString instrument(const InstrumentInfo& info) const override;
    QString header() const override;
    QString row(const Reading& reading) const override;
    QString summary(const ReadingStatistics& statistics) const override;
};
