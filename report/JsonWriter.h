#pragma once

#include "ReportWriter.h"

// One JSON object per line: a port, the instrument, or a reading with every quantity that applies
// (whatever the table shows), the family, the type and the result code in hex; the summary is one
// last object with "summary".
class JsonWriter : public ReportWriter {
public:
    explicit JsonWriter(const Columns& columns) : ReportWriter(columns) {}

    QString ports(const QList<PortListing>& ports, const QString& source) const override;
    QString instrument(const InstrumentInfo& info) const override;
    QString header() const override;
    QString row(const Reading& reading) const override;
    QString summary(const ReadingStatistics& statistics) const override;
};
