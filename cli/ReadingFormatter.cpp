#include "ReadingFormatter.h"

#include "NumberText.h"
#include "ReadingStatistics.h"
#include "ResultText.h"

#include <QStringList>

namespace {
const char* const kMeasureDataNames[7] = {"value1", "value2", "value3", "Lv", "x", "y", "value7"};
// The values of ReadMeasureData that Lv, x and y do not already show.
const int kExtraMeasureData[4] = {0, 1, 2, 6};

QString jsonNumber(double value) {
    const QString text = ShortestNumberText(value);
    return text.isEmpty() ? QStringLiteral("null") : text;
}

QString right(const QString& text, int width) {
    return text.rightJustified(width, QLatin1Char(' '));
}

QString elapsedText(double seconds) {
    return QString::number(seconds, 'f', 3);
}

QString timeText(const QDateTime& time) {
    return time.isValid() ? time.toUTC().toString(Qt::ISODateWithMs) : QString();
}

// The table's width for each quantity: its widest value or title, and two spaces.
int columnWidth(Quantity quantity) {
    switch (quantity) {
    case Quantity::Lv:
        return 13;
    case Quantity::X:
    case Quantity::Y:
    case Quantity::Z:
        return 11;
    case Quantity::CCT:
        return 13; // "out of range"
    case Quantity::DeltaUv:
    case Quantity::DeltaE2000:
        return 10;
    default:
        break;
    }
    return 9;
}

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

const char* const kStatisticNames[4] = {"mean", "sd", "min", "max"};

double statistic(const ReadingStatistics::Summary& s, int which) {
    switch (which) {
    case 0:
        return s.mean;
    case 1:
        return s.sd;
    case 2:
        return s.min;
    default:
        return s.max;
    }
}
} // namespace

ReadingFormatter::ReadingFormatter(OutputFormat format, const InstrumentInfo& instrument,
                                   const QVector<Quantity>& quantities, bool hasReference)
    : m_format(format), m_instrument(instrument), m_hasReference(hasReference),
      m_showMeasureData(instrument.givesMeasureData && quantities.isEmpty()) {
    QVector<Quantity> wanted = quantities;
    if (wanted.isEmpty()) {
        wanted = {Quantity::Lv, Quantity::x, Quantity::y, Quantity::CCT, Quantity::Duv};
        if (hasReference)
            wanted << Quantity::DeltaUv;
    }
    const QVector<Quantity> possible = applicable();
    for (Quantity q : wanted) {
        if (possible.contains(q))
            m_columns << q;
    }
}

QVector<Quantity> ReadingFormatter::applicable() const {
    QVector<Quantity> list;
    for (Quantity q : AllQuantities()) {
        if (q != Quantity::Lv && !m_instrument.givesXy)
            continue;
        if (IsDifference(q) && !m_hasReference)
            continue;
        list << q;
    }
    return list;
}

QString ReadingFormatter::header() const {
    switch (m_format) {
    case OutputFormat::Json:
        return QString();
    case OutputFormat::Csv: {
        QStringList columns = {QStringLiteral("kind"),      QStringLiteral("n"),      QStringLiteral("time"),
                               QStringLiteral("elapsed_s"), QStringLiteral("family"), QStringLiteral("type"),
                               QStringLiteral("port"),      QStringLiteral("result")};
        for (Quantity q : m_columns)
            columns << QuantityKey(q);
        if (m_instrument.givesTcp)
            columns << QStringLiteral("Tcp");
        if (m_showMeasureData) {
            for (int i : kExtraMeasureData)
                columns << QLatin1String(kMeasureDataNames[i]);
        }
        columns << QStringLiteral("error");
        return columns.join(QLatin1Char(',')) + QLatin1Char('\n');
    }
    case OutputFormat::Table:
        break;
    }
    QString text = QStringLiteral("%1 (%2, type %3) on %4\n\n")
                       .arg(m_instrument.title, m_instrument.family)
                       .arg(m_instrument.type)
                       .arg(m_instrument.port);
    text += right(QStringLiteral("#"), 4) + right(QStringLiteral("elapsed"), 10);
    for (Quantity q : m_columns)
        text += right(QuantityTitle(q), columnWidth(q));
    if (m_instrument.givesTcp)
        text += right(QStringLiteral("Tcp (K)"), 9);
    if (m_showMeasureData) {
        for (int i : kExtraMeasureData)
            text += right(QLatin1String(kMeasureDataNames[i]), 12);
    }
    text += QStringLiteral("   result\n");
    return text;
}

QString ReadingFormatter::row(const Reading& reading) const {
    switch (m_format) {
    case OutputFormat::Json:
        return jsonRow(reading);
    case OutputFormat::Csv:
        return csvRow(reading);
    case OutputFormat::Table:
        break;
    }
    return tableRow(reading);
}

QString ReadingFormatter::tableRow(const Reading& reading) const {
    QString text = right(QString::number(reading.index), 4) +
                   right(QString::number(reading.elapsedSec, 'f', 2) + QStringLiteral(" s"), 10);
    if (!reading.ok()) {
        return text + QStringLiteral("   %1  %2\n").arg(ResultCodeHex(reading.result), reading.error);
    }
    for (Quantity q : m_columns) {
        const QuantityValue value = ValueOf(reading, q);
        QString cell;
        if (value.state == QuantityValue::Number)
            cell = QuantityText(q, value.value);
        else if (value.state == QuantityValue::OutOfRange)
            cell = q == Quantity::CCT ? OutOfRangeText(reading) : QStringLiteral("-");
        text += right(cell, columnWidth(q));
    }
    if (m_instrument.givesTcp)
        text += right(ShortestNumberText(reading.Tcp), 9);
    if (m_showMeasureData) {
        for (int i : kExtraMeasureData)
            text += right(ShortestNumberText(reading.measureData[i]), 12);
    }
    return text + QStringLiteral("   ") + ResultCodeHex(reading.result) + QLatin1Char('\n');
}

QString ReadingFormatter::jsonRow(const Reading& reading) const {
    QStringList fields;
    fields << QStringLiteral("\"n\":%1").arg(reading.index)
           << QStringLiteral("\"time\":%1").arg(JsonString(timeText(reading.time)))
           << QStringLiteral("\"elapsed_s\":%1").arg(elapsedText(reading.elapsedSec))
           << QStringLiteral("\"family\":%1").arg(JsonString(m_instrument.family))
           << QStringLiteral("\"type\":%1").arg(m_instrument.type)
           << QStringLiteral("\"port\":%1").arg(JsonString(m_instrument.port))
           << QStringLiteral("\"result\":%1").arg(JsonString(ResultCodeHex(reading.result)));
    if (!reading.ok()) {
        fields << QStringLiteral("\"error\":%1").arg(JsonString(reading.error));
    } else {
        // JSON carries every quantity that applies, whatever the table shows.
        for (Quantity q : applicable()) {
            const QuantityValue value = ValueOf(reading, q);
            if (value.state == QuantityValue::Number)
                fields << QStringLiteral("\"%1\":%2").arg(QuantityKey(q), QuantityJson(q, value.value));
            else if (value.state == QuantityValue::OutOfRange)
                fields << QStringLiteral("\"%1\":null").arg(QuantityKey(q));
        }
        const QString note = reading.hasColour ? cctNote(reading) : QString();
        if (!note.isEmpty())
            fields << QStringLiteral("\"CCT_note\":%1").arg(JsonString(note));
        if (m_instrument.givesTcp)
            fields << QStringLiteral("\"Tcp\":%1").arg(jsonNumber(reading.Tcp));
        if (m_instrument.givesMeasureData) {
            QStringList values;
            for (int i = 0; i < 7; ++i) {
                values << QStringLiteral("\"%1\":%2")
                              .arg(QLatin1String(kMeasureDataNames[i]), jsonNumber(reading.measureData[i]));
            }
            fields << QStringLiteral("\"measure_data\":{%1}").arg(values.join(QLatin1Char(',')));
        }
    }
    return QLatin1Char('{') + fields.join(QLatin1Char(',')) + QStringLiteral("}\n");
}

QString ReadingFormatter::csvRow(const Reading& reading) const {
    QStringList fields;
    fields << QStringLiteral("reading") << QString::number(reading.index) << CsvField(timeText(reading.time))
           << elapsedText(reading.elapsedSec) << CsvField(m_instrument.family)
           << QString::number(m_instrument.type) << CsvField(m_instrument.port)
           << ResultCodeHex(reading.result);
    const bool ok = reading.ok();
    auto number = [ok](double value) { return ok ? ShortestNumberText(value) : QString(); };
    for (Quantity q : m_columns) {
        const QuantityValue value = ValueOf(reading, q);
        if (value.state == QuantityValue::Number)
            fields << QuantityText(q, value.value);
        else if (value.state == QuantityValue::OutOfRange)
            fields << OutOfRangeText(reading);
        else
            fields << QString();
    }
    if (m_instrument.givesTcp)
        fields << number(reading.Tcp);
    if (m_showMeasureData) {
        for (int i : kExtraMeasureData)
            fields << number(reading.measureData[i]);
    }
    fields << CsvField(ok ? QString() : reading.error);
    return fields.join(QLatin1Char(',')) + QLatin1Char('\n');
}

QString ReadingFormatter::summary(const ReadingStatistics& statistics) const {
    switch (m_format) {
    case OutputFormat::Json:
        return jsonSummary(statistics);
    case OutputFormat::Csv:
        return csvSummary(statistics);
    case OutputFormat::Table:
        break;
    }
    return tableSummary(statistics);
}

QString ReadingFormatter::tableSummary(const ReadingStatistics& statistics) const {
    QString text = QStringLiteral("\n");
    // With no reading to go by, only the count.
    for (int which = 0; which < 4 && statistics.succeeded() > 0; ++which) {
        QString line = right(QLatin1String(kStatisticNames[which]), 14);
        for (Quantity q : m_columns)
            line += right(QuantityText(q, statistic(statistics.of(q), which), true), columnWidth(q));
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        text += line + QLatin1Char('\n');
    }
    text += QStringLiteral("%1 reading%2: %3 succeeded, %4 failed\n")
                .arg(statistics.readings())
                .arg(statistics.readings() == 1 ? QString() : QStringLiteral("s"))
                .arg(statistics.succeeded())
                .arg(statistics.failed());
    return text;
}

QString ReadingFormatter::jsonSummary(const ReadingStatistics& statistics) const {
    QStringList fields;
    fields << QStringLiteral("\"readings\":%1").arg(statistics.readings())
           << QStringLiteral("\"succeeded\":%1").arg(statistics.succeeded())
           << QStringLiteral("\"failed\":%1").arg(statistics.failed());
    for (Quantity q : applicable()) {
        const ReadingStatistics::Summary s = statistics.of(q);
        QStringList figures;
        figures << QStringLiteral("\"n\":%1").arg(s.count);
        for (int which = 0; which < 4; ++which) {
            figures << QStringLiteral("\"%1\":%2")
                           .arg(QLatin1String(kStatisticNames[which]),
                                QuantityJson(q, statistic(s, which), true));
        }
        fields << QStringLiteral("\"%1\":{%2}").arg(QuantityKey(q), figures.join(QLatin1Char(',')));
    }
    return QStringLiteral("{\"summary\":{%1}}\n").arg(fields.join(QLatin1Char(',')));
}

QString ReadingFormatter::csvSummary(const ReadingStatistics& statistics) const {
    // Summary rows: kind mean, sd, min and max; count (how many values each figure is over, and in
    // n how many readings succeeded); failed (in n how many readings failed).
    const int trailing = (m_instrument.givesTcp ? 1 : 0) + (m_showMeasureData ? 4 : 0) + 1;
    auto rowOf = [this, trailing](const QString& kind, const QString& n, const QStringList& values) {
        QStringList fields;
        fields << kind << n << QString() << QString() << CsvField(m_instrument.family)
               << QString::number(m_instrument.type) << CsvField(m_instrument.port) << QString() << values;
        for (int i = 0; i < trailing; ++i)
            fields << QString();
        return fields.join(QLatin1Char(',')) + QLatin1Char('\n');
    };
    QString text;
    for (int which = 0; which < 4; ++which) {
        QStringList values;
        for (Quantity q : m_columns)
            values << QuantityText(q, statistic(statistics.of(q), which), true);
        text += rowOf(QLatin1String(kStatisticNames[which]), QString(), values);
    }
    QStringList counts;
    for (Quantity q : m_columns)
        counts << QString::number(statistics.of(q).count);
    text += rowOf(QStringLiteral("count"), QString::number(statistics.succeeded()), counts);
    QStringList empty;
    for (int i = 0; i < m_columns.size(); ++i)
        empty << QString();
    text += rowOf(QStringLiteral("failed"), QString::number(statistics.failed()), empty);
    return text;
}

QString ReadingFormatter::JsonString(const QString& text) {
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            out += QLatin1String("\\\"");
            break;
        case '\\':
            out += QLatin1String("\\\\");
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        case '\t':
            out += QLatin1String("\\t");
            break;
        default:
            if (c.unicode() < 0x20)
                out += QStringLiteral("\\u%1").arg(uint(c.unicode()), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    return out + QLatin1Char('"');
}

QString ReadingFormatter::CsvField(const QString& text) {
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
        !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}
