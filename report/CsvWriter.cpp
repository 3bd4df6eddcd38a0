#include "CsvWriter.h"

#include "FieldText.h"
#include "NumberText.h"
#include "QuantityText.h"
#include "ReadingStatistics.h"
#include "ResultText.h"

#include <QStringList>

QString CsvWriter::ports(const QList<PortListing>& ports, const QString&) const {
    QString text = QStringLiteral("port,description,tried,path,reason,explanation\n");
    for (const PortListing& port : ports) {
        const bool tried = port.verdict == PortVerdict::Candidate;
        QStringList fields;
        fields << CsvField(port.name) << CsvField(port.description)
               << (tried ? QStringLiteral("yes") : QStringLiteral("no"))
               << CsvField(tried ? port.path : QString()) << PortReport::ReasonKey(port.verdict)
               << CsvField(PortReport::Explanation(port));
        text += fields.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    return text;
}

QString CsvWriter::instrument(const InstrumentInfo& info) const {
    return QStringLiteral("family,type,title,port\n%1,%2,%3,%4\n")
        .arg(CsvField(info.family))
        .arg(info.type)
        .arg(CsvField(info.title), CsvField(info.port));
}

QString CsvWriter::header() const {
    QStringList columns = {QStringLiteral("kind"),      QStringLiteral("n"),      QStringLiteral("time"),
                           QStringLiteral("elapsed_s"), QStringLiteral("family"), QStringLiteral("type"),
                           QStringLiteral("port"),      QStringLiteral("result")};
    for (Quantity q : m_columns.shown())
        columns << QuantityKey(q);
    if (m_columns.instrument().givesTcp)
        columns << QStringLiteral("Tcp");
    if (m_columns.showsMeasureData()) {
        for (int i : Columns::ExtraMeasureData())
            columns << QLatin1String(Columns::MeasureDataName(i));
    }
    columns << QStringLiteral("error");
    return columns.join(QLatin1Char(',')) + QLatin1Char('\n');
}

QString CsvWriter::row(const Reading& reading) const {
    const InstrumentInfo& instrument = m_columns.instrument();
    QStringList fields;
    fields << QStringLiteral("reading") << QString::number(reading.index) << CsvField(TimeText(reading.time))
           << ElapsedText(reading.elapsedSec) << CsvField(instrument.family)
           << QString::number(instrument.type) << CsvField(instrument.port) << ResultCodeHex(reading.result);
    const bool ok = reading.ok();
    auto number = [ok](double value) { return ok ? ShortestNumberText(value) : QString(); };
    for (Quantity q : m_columns.shown()) {
        const QuantityValue value = ValueOf(reading, q);
        if (value.state == QuantityValue::Number)
            fields << QuantityText(q, value.value);
        else if (value.state == QuantityValue::OutOfRange)
            fields << OutOfRangeText(reading);
        else
            fields << QString();
    }
    if (instrument.givesTcp)
        fields << number(reading.Tcp);
    if (m_columns.showsMeasureData()) {
        for (int i : Columns::ExtraMeasureData())
            fields << number(reading.measureData[i]);
    }
    fields << CsvField(ok ? QString() : reading.error);
    return fields.join(QLatin1Char(',')) + QLatin1Char('\n');
}

QString CsvWriter::summary(const ReadingStatistics& statistics) const {
    // Summary rows: kind mean, sd, min and max; count (how many values each figure is over, and in
    // n how many readings succeeded); failed (in n how many readings failed).
    const InstrumentInfo& instrument = m_columns.instrument();
    const QVector<Quantity>& shown = m_columns.shown();
    const int trailing = (instrument.givesTcp ? 1 : 0) + (m_columns.showsMeasureData() ? 4 : 0) + 1;
    auto rowOf = [&instrument, trailing](const QString& kind, const QString& n, const QStringList& values) {
        QStringList fields;
        fields << kind << n << QString() << QString() << CsvField(instrument.family)
               << QString::number(instrument.type) << CsvField(instrument.port) << QString() << values;
        for (int i = 0; i < trailing; ++i)
            fields << QString();
        return fields.join(QLatin1Char(',')) + QLatin1Char('\n');
    };
    QString text;
    for (int which = 0; which < ReadingStatistics::FigureCount; ++which) {
        QStringList values;
        for (Quantity q : shown)
            values << QuantityText(q, statistics.of(q).figure(which), true);
        text += rowOf(QLatin1String(ReadingStatistics::FigureName(which)), QString(), values);
    }
    QStringList counts;
    for (Quantity q : shown)
        counts << QString::number(statistics.of(q).count);
    text += rowOf(QStringLiteral("count"), QString::number(statistics.succeeded()), counts);
    QStringList empty;
    for (int i = 0; i < shown.size(); ++i)
        empty << QString();
    text += rowOf(QStringLiteral("failed"), QString::number(statistics.failed()), empty);
    return text;
}
