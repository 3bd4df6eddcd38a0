#include "TableWriter.h"

#include "NumberText.h"
#include "QuantityText.h"
#include "ReadingStatistics.h"
#include "ResultText.h"

#include <QVector>

namespace {
QString right(const QString& text, int width) {
    return text.rightJustified(width, QLatin1Char(' '));
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
} // namespace

int TableWriter::DisplayWidth(const QString& text) {
    int width = 0;
    const QVector<uint> codes = text.toUcs4();
    for (uint c : codes) {
        const bool wide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
                          (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
                          (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
                          (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x20000 && c <= 0x3FFFD);
        width += wide ? 2 : 1;
    }
    return width;
}

QString TableWriter::ports(const QList<PortListing>& ports, const QString& source) const {
    int tried = 0;
    for (const PortListing& port : ports)
        tried += port.verdict == PortVerdict::Candidate ? 1 : 0;
    QString text = QStringLiteral("%1 serial port%2 listed (%3); detection tries %4.\n")
                       .arg(ports.size())
                       .arg(ports.size() == 1 ? QString() : QStringLiteral("s"))
                       .arg(source)
                       .arg(tried == 0 ? QStringLiteral("none of them") : QString::number(tried));
    if (ports.isEmpty())
        return text;
    int nameWidth = 4;
    int descriptionWidth = 11;
    for (const PortListing& port : ports) {
        nameWidth = qMax(nameWidth, DisplayWidth(port.name));
        descriptionWidth = qMax(descriptionWidth, DisplayWidth(port.description));
    }
    auto cell = [](const QString& value, int width) {
        return value + QString(width + 2 - DisplayWidth(value), QLatin1Char(' '));
    };
    text += QLatin1Char('\n') + cell(QStringLiteral("PORT"), nameWidth) +
            cell(QStringLiteral("DESCRIPTION"), descriptionWidth) + QStringLiteral("DETECTION\n");
    for (const PortListing& port : ports)
        text += cell(port.name, nameWidth) + cell(port.description, descriptionWidth) +
                PortReport::Explanation(port) + QLatin1Char('\n');
    return text;
}

QString TableWriter::instrument(const InstrumentInfo& info) const {
    return QStringLiteral("family: %1\ntype:   %2\ntitle:  %3\nport:   %4\n")
        .arg(info.family)
        .arg(info.type)
        .arg(info.title, info.port);
}

QString TableWriter::header() const {
    const InstrumentInfo& instrument = m_columns.instrument();
    QString text = QStringLiteral("%1 (%2, type %3) on %4\n\n")
                       .arg(instrument.title, instrument.family)
                       .arg(instrument.type)
                       .arg(instrument.port);
    text += right(QStringLiteral("#"), 4) + right(QStringLiteral("elapsed"), 10);
    for (Quantity q : m_columns.shown())
        text += right(QuantityTitle(q), columnWidth(q));
    if (instrument.givesTcp)
        text += right(QStringLiteral("Tcp (K)"), 9);
    if (m_columns.showsMeasureData()) {
        for (int i : Columns::ExtraMeasureData())
            text += right(QLatin1String(Columns::MeasureDataName(i)), 12);
    }
    text += QStringLiteral("   result\n");
    return text;
}

QString TableWriter::row(const Reading& reading) const {
    QString text = right(QString::number(reading.index), 4) +
                   right(QString::number(reading.elapsedSec, 'f', 2) + QStringLiteral(" s"), 10);
    if (!reading.ok()) {
        return text + QStringLiteral("   %1  %2\n").arg(ResultCodeHex(reading.result), reading.error);
    }
    for (Quantity q : m_columns.shown()) {
        const QuantityValue value = ValueOf(reading, q);
        QString cell;
        if (value.state == QuantityValue::Number)
            cell = QuantityText(q, value.value);
        else if (value.state == QuantityValue::OutOfRange)
            cell = q == Quantity::CCT ? OutOfRangeText(reading) : QStringLiteral("-");
        text += right(cell, columnWidth(q));
    }
    if (m_columns.instrument().givesTcp)
        text += right(ShortestNumberText(reading.Tcp), 9);
    if (m_columns.showsMeasureData()) {
        for (int i : Columns::ExtraMeasureData())
            text += right(ShortestNumberText(reading.measureData[i]), 12);
    }
    return text + QStringLiteral("   ") + ResultCodeHex(reading.result) + QLatin1Char('\n');
}

QString TableWriter::summary(const ReadingStatistics& statistics) const {
    QString text = QStringLiteral("\n");
    // With no reading to go by, only the count.
    for (int which = 0; which < ReadingStatistics::FigureCount && statistics.succeeded() > 0; ++which) {
        QString line = right(QLatin1String(ReadingStatistics::FigureName(which)), 14);
        for (Quantity q : m_columns.shown())
            line += right(QuantityText(q, statistics.of(q).figure(which), true), columnWidth(q));
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
