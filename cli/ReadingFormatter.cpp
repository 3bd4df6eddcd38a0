#include "ReadingFormatter.h"

#include "NumberText.h"
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
} // namespace

ReadingFormatter::ReadingFormatter(OutputFormat format, const InstrumentInfo& instrument)
    : m_format(format), m_instrument(instrument) {}

QString ReadingFormatter::header() const {
    switch (m_format) {
    case OutputFormat::Json:
        return QString();
    case OutputFormat::Csv: {
        QStringList columns = {QStringLiteral("n"),      QStringLiteral("time"), QStringLiteral("elapsed_s"),
                               QStringLiteral("family"), QStringLiteral("type"), QStringLiteral("port"),
                               QStringLiteral("result"), QStringLiteral("Lv")};
        if (m_instrument.givesXy)
            columns << QStringLiteral("x") << QStringLiteral("y");
        if (m_instrument.givesTcp)
            columns << QStringLiteral("Tcp");
        if (m_instrument.givesMeasureData) {
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
    text += right(QStringLiteral("#"), 4) + right(QStringLiteral("elapsed"), 10) +
            right(QStringLiteral("Lv (cd/m²)"), 13);
    if (m_instrument.givesXy)
        text += right(QStringLiteral("x"), 9) + right(QStringLiteral("y"), 9);
    if (m_instrument.givesTcp)
        text += right(QStringLiteral("Tcp (K)"), 9);
    if (m_instrument.givesMeasureData) {
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
    text += right(ShortestNumberText(reading.Lv), 13);
    // Chromaticity to the four decimals instruments give it, aligned on the point.
    if (m_instrument.givesXy)
        text += right(QString::number(reading.x, 'f', 4), 9) + right(QString::number(reading.y, 'f', 4), 9);
    if (m_instrument.givesTcp)
        text += right(ShortestNumberText(reading.Tcp), 9);
    if (m_instrument.givesMeasureData) {
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
        fields << QStringLiteral("\"Lv\":%1").arg(jsonNumber(reading.Lv));
        if (m_instrument.givesXy) {
            fields << QStringLiteral("\"x\":%1").arg(jsonNumber(reading.x))
                   << QStringLiteral("\"y\":%1").arg(jsonNumber(reading.y));
        }
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
    fields << QString::number(reading.index) << CsvField(timeText(reading.time))
           << elapsedText(reading.elapsedSec) << CsvField(m_instrument.family)
           << QString::number(m_instrument.type) << CsvField(m_instrument.port)
           << ResultCodeHex(reading.result);
    const bool ok = reading.ok();
    auto number = [ok](double value) { return ok ? ShortestNumberText(value) : QString(); };
    fields << number(reading.Lv);
    if (m_instrument.givesXy)
        fields << number(reading.x) << number(reading.y);
    if (m_instrument.givesTcp)
        fields << number(reading.Tcp);
    if (m_instrument.givesMeasureData) {
        for (int i : kExtraMeasureData)
            fields << number(reading.measureData[i]);
    }
    fields << CsvField(ok ? QString() : reading.error);
    return fields.join(QLatin1Char(',')) + QLatin1Char('\n');
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
