#include "PortReport.h"
#include "ReportWriter.h"
#include "TableWriter.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <gtest/gtest.h>

namespace {
PortListing port(const QString& name, const QString& description, PortVerdict verdict,
                 const QString& path = QString()) {
    PortListing p;
    p.name = name;
    p.description = description;
    p.verdict = verdict;
    p.path = path;
    return p;
}

QList<PortListing> sample() {
    return {
        port(QStringLiteral("Bluetooth-Incoming-Port"), QStringLiteral("Incoming"), PortVerdict::Bluetooth),
        port(QStringLiteral("ttyUSB0"), QStringLiteral("FT232R USB UART"), PortVerdict::NotUsbSerial),
        port(QStringLiteral("cu.usbserial-A1"), QStringLiteral("USB-Serial"), PortVerdict::Candidate,
             QStringLiteral("/dev/cu.usbserial-A1"))};
}
} // namespace

TEST(CliPortReport, TableSaysForEveryPortWhetherDetectionTriesItAndWhyNot) {
    const QString text =
        ReportWriter::Create(OutputFormat::Table)->ports(sample(), QStringLiteral("the system's list"));
    const QStringList rows = text.split(QLatin1Char('\n'));
    EXPECT_TRUE(
        rows[0].startsWith(QStringLiteral("3 serial ports listed (the system's list); detection tries 1.")))
        << qPrintable(rows[0]);
    auto rowOf = [&rows](const char* name) {
        for (const QString& row : rows) {
            if (row.startsWith(QLatin1String(name)))
                return row;
        }
        return QString();
    };
    EXPECT_TRUE(rowOf("Bluetooth-Incoming-Port")
                    .endsWith(QStringLiteral("skipped: a Bluetooth port (by its name or description)")));
    EXPECT_TRUE(rowOf("ttyUSB0").contains(QStringLiteral("skipped: not a USB-serial")));
    EXPECT_TRUE(rowOf("cu.usbserial-A1").endsWith(QStringLiteral("tried, as /dev/cu.usbserial-A1")));
}

TEST(CliPortReport, TableColumnsLineUpWithWideCharacters) {
    const QList<PortListing> ports = {
        port(QStringLiteral("COM3"), QString::fromUtf8("蓝牙链接"), PortVerdict::Bluetooth),
        port(QStringLiteral("COM4"), QStringLiteral("USB"), PortVerdict::Candidate,
             QStringLiteral("/dev/COM4"))};
    const QStringList rows =
        ReportWriter::Create(OutputFormat::Table)->ports(ports, QStringLiteral("x")).split(QLatin1Char('\n'));
    int skipped = -1;
    int tried = -1;
    for (const QString& row : rows) {
        if (row.startsWith(QLatin1String("COM3")))
            skipped = TableWriter::DisplayWidth(row.left(row.indexOf(QStringLiteral("skipped"))));
        if (row.startsWith(QLatin1String("COM4")))
            tried = TableWriter::DisplayWidth(row.left(row.indexOf(QStringLiteral("tried"))));
    }
    EXPECT_GT(skipped, 0);
    EXPECT_EQ(skipped, tried);
    EXPECT_EQ(TableWriter::DisplayWidth(QString::fromUtf8("蓝牙")), 4);
    EXPECT_EQ(TableWriter::DisplayWidth(QStringLiteral("ab")), 2);
}

TEST(CliPortReport, JsonGivesOneObjectPerPortWithTheReasonKey) {
    const QStringList lines = ReportWriter::Create(OutputFormat::Json)
                                  ->ports(sample(), QString())
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 3);
    const QJsonObject bluetooth = QJsonDocument::fromJson(lines[0].toUtf8()).object();
    EXPECT_FALSE(bluetooth.value(QStringLiteral("tried")).toBool(true));
    EXPECT_EQ(bluetooth.value(QStringLiteral("reason")).toString(), QStringLiteral("bluetooth"));
    EXPECT_TRUE(bluetooth.value(QStringLiteral("path")).isNull());
    const QJsonObject usb = QJsonDocument::fromJson(lines[1].toUtf8()).object();
    EXPECT_EQ(usb.value(QStringLiteral("reason")).toString(), QStringLiteral("not-usb-serial"));
    const QJsonObject adapter = QJsonDocument::fromJson(lines[2].toUtf8()).object();
    EXPECT_TRUE(adapter.value(QStringLiteral("tried")).toBool(false));
    EXPECT_TRUE(adapter.value(QStringLiteral("reason")).isNull());
    EXPECT_EQ(adapter.value(QStringLiteral("path")).toString(), QStringLiteral("/dev/cu.usbserial-A1"));
}

TEST(CliPortReport, CsvHasAHeaderAndOneRowPerPort) {
    const QStringList lines = ReportWriter::Create(OutputFormat::Csv)
                                  ->ports(sample(), QString())
                                  .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], QStringLiteral("port,description,tried,path,reason,explanation"));
    EXPECT_TRUE(lines[2].startsWith(QStringLiteral("ttyUSB0,FT232R USB UART,no,,not-usb-serial,")));
    EXPECT_TRUE(lines[3].startsWith(QStringLiteral("cu.usbserial-A1,USB-Serial,yes,/dev/cu.usbserial-A1,,")));
}

TEST(CliPortReport, AnEmptyListSaysSo) {
    const QString text =
        ReportWriter::Create(OutputFormat::Table)->ports({}, QStringLiteral("the system's list"));
    EXPECT_EQ(text,
              QStringLiteral("0 serial ports listed (the system's list); detection tries none of them.\n"));
}

TEST(CliPortReport, ReasonsAreGivenOnlyForPortsDetectionSkips) {
    EXPECT_TRUE(PortReport::Reason(PortVerdict::Candidate).isEmpty());
    EXPECT_FALSE(PortReport::Reason(PortVerdict::Bluetooth).isEmpty());
    EXPECT_NE(PortReport::Reason(PortVerdict::Bluetooth), PortReport::Reason(PortVerdict::NotUsbSerial));
}
