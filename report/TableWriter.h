#pragma once

#include "ReportWriter.h"

// The output for people: aligned columns under a title line, a summary block under the table.
class TableWriter : public ReportWriter {
public:
    explicit TableWriter(const Columns& columns) : ReportWriter(columns) {}

    QString ports(const QList<PortListing>& ports, const QString& source) const override;
    QString instrument(const InstrumentInfo& info) const override;
    QString header() const override;
    QString row(const Reading& reading) const override;
    QString summary(const ReadingStatistics& statistics) const override;

    // Columns a text takes in a terminal: East Asian wide characters take two.
    static int DisplayWidth(const QString& text);
};
