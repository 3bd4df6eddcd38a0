#include "ReportWriter.h"

#include "CsvWriter.h"
#include "JsonWriter.h"
#include "TableWriter.h"

ReportWriter::~ReportWriter() = default;

std::unique_ptr<ReportWriter> ReportWriter::Create(OutputFormat format, const Columns& columns) {
    switch (format) {
    case OutputFormat::Json:
        return std::make_unique<JsonWriter>(columns);
    case OutputFormat::Csv:
        return std::make_unique<CsvWriter>(columns);
    case OutputFormat::Table:
        break;
    }
    return std::make_unique<TableWriter>(columns);
}
