#include "JsonWriter.h"

#include "FieldText.h"
#include "QuantityText.h"
#include "ReadingStatistics.h"
#include "ResultText.h"

#include <QStringList>

namespace {
QString cctNote(const Reading& reading) {
    switch (reading.colour.cct.status) {
    case CctResult::OffLocus:
        return QStringLiteral("more than %1 off the Planckian locus").arg(kDuvLimit);
    case CctResult::OutOfRange:
        return QStringLiteral("outside %1 K to %2 K").arg(kCctMinKelvin).arg(kCctMaxKelvin);
    case CctResult::Ok:
        break;
    }
    return QString();
}
} // namespace

QString JsonWriter::ports(const QList<PortListing>& ports, const QString&) const {
    QString text;
    for (const PortListing& port : ports) {
        const bool tried = port.verdict == PortVerdict::Candidate;
        text += QStringLiteral("{\"port\":%1,\"description\":%2,\"tried\":%3,\"path\":%4,\"reason\":%5,"
                               "\"explanation\":%6}\n")
                    .arg(JsonString(port.name), JsonString(port.description),
                         tried ? QStringLiteral("true") : QStringLiteral("false"),
                         tried ? JsonString(port.path) : QStringLiteral("null"),
                         tried ? QStringLiteral("null") : JsonString(PortReport::ReasonKey(port.verdict)),
                         JsonString(PortReport::Explanation(port)));
    }
    return text;
}

QString JsonWriter::instrument(const InstrumentInfo& info) const {
    return QStringLiteral("{\"family\":%1,\"type\":%2,\"title\":%3,\"port\":%4,\"result\":\"0x00000000\"}\n")
        .arg(JsonString(info.family))
        .arg(info.type)
        .arg(JsonString(info.title), JsonString(info.port));
}

QString JsonWriter::header() const {
    return QString();
}

QString JsonWriter::row(const Reading& reading) const {
    const InstrumentInfo& instrument = m_columns.instrument();
    QStringList fields;
    fields << QStringLiteral("\"n\":%1").arg(reading.index)
           << QStringLiteral("\"time\":%1").arg(JsonString(TimeText(reading.time)))
           << QStringLiteral("\"elapsed_s\":%1").arg(ElapsedText(reading.elapsedSec))
           << QStringLiteral("\"family\":%1").arg(JsonString(instrument.family))
           << QStringLiteral("\"type\":%1").arg(instrument.type)
           << QStringLiteral("\"port\":%1").arg(JsonString(instrument.port))
           << QStringLiteral("\"result\":%1").arg(JsonString(ResultCodeHex(reading.result)));
    if (!reading.ok()) {
        fields << QStringLiteral("\"error\":%1").arg(JsonString(reading.error));
    } else {
        // JSON carries every quantity that applies, whatever the table shows.
        for (Quantity q : m_columns.applicable()) {
            const QuantityValue value = ValueOf(reading, q);
            if (value.state == QuantityValue::Number)
                fields << QStringLiteral("\"%1\":%2").arg(QuantityKey(q), QuantityJson(q, value.value));
            else if (value.state == QuantityValue::OutOfRange)
                fields << QStringLiteral("\"%1\":null").arg(QuantityKey(q));
        }
        const QString note = reading.hasColour ? cctNote(reading) : QString();
        if (!note.isEmpty())
            fields << QStringLiteral("\"CCT_note\":%1").arg(JsonString(note));
        if (instrument.givesTcp)
            fields << QStringLiteral("\"Tcp\":%1").arg(JsonNumber(reading.Tcp));
        if (instrument.givesMeasureData) {
            QStringList values;
            for (int i = 0; i < 7; ++i) {
                values << QStringLiteral("\"%1\":%2")
                              .arg(QLatin1String(Columns::MeasureDataName(i)),
                                   JsonNumber(reading.measureData[i]));
            }
            fields << QStringLiteral("\"measure_data\":{%1}").arg(values.join(QLatin1Char(',')));
        }
    }
    return QLatin1Char('{') + fields.join(QLatin1Char(',')) + QStringLiteral("}\n");
}

QString JsonWriter::summary(const ReadingStatistics& statistics) const {
    QStringList fields;
    fields << QStringLiteral("\"readings\":%1").arg(statistics.readings())
           << QStringLiteral("\"succeeded\":%1").arg(statistics.succeeded())
           << QStringLiteral("\"failed\":%1").arg(statistics.failed());
    for (Quantity q : m_columns.applicable()) {
        const ReadingStatistics::Summary s = statistics.of(q);
        QStringList figures;
        figures << QStringLiteral("\"n\":%1").arg(s.count);
        for (int which = 0; which < ReadingStatistics::FigureCount; ++which) {
            figures << QStringLiteral("\"%1\":%2")
                           .arg(QLatin1String(ReadingStatistics::FigureName(which)),
                                QuantityJson(q, s.figure(which), true));
        }
        fields << QStringLiteral("\"%1\":{%2}").arg(QuantityKey(q), figures.join(QLatin1Char(',')));
    }
    return QStringLiteral("{\"summary\":{%1}}\n").arg(fields.join(QLatin1Char(',')));
}
