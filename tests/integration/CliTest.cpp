// The chromameter host and chromameter-sim as a user meets them: the built programs run as
// processes, on the built-in simulator or on a chromameter-sim instance, and are judged by their exit
// status, their JSON, CSV and table output and the SVG they draw.

#include "ProgramRun.h"
#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QProcess>
#include <QRectF>
#include <QTemporaryDir>
#include <QVector>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>

namespace {
const QString kCli = QStringLiteral(CHROMA_BINARY_DIR "/cli/chromameter");
const QString kSim = QStringLiteral(CHROMA_BINARY_DIR "/simulator/tool/chromameter-sim");

ProcessRun run(const QString& program, const QStringList& args, int timeoutMs = 90000) {
    ProgramRunOptions options;
    options.timeoutMs = timeoutMs;
    return RunProgram(program, args, options);
}

ProcessRun chromameter(const QStringList& args, int timeoutMs = 90000) {
    return run(kCli, args, timeoutMs);
}

QList<QByteArray> lines(const QByteArray& text) {
    QList<QByteArray> result;
    for (const QByteArray& line : text.split('\n')) {
        if (!line.trimmed().isEmpty())
            result.append(line);
    }
    return result;
}

QJsonObject json(const QByteArray& line) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << line.constData();
    EXPECT_TRUE(document.isObject()) << line.constData();
    return document.object();
}

// Reads lines from a running process until `count` lines of standard output have come.
bool waitForLines(QProcess& process, QByteArray* out, int count, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    while (lines(*out).size() < count && clock.elapsed() < timeoutMs) {
        process.waitForReadyRead(100);
        *out += process.readAllStandardOutput();
    }
    return lines(*out).size() >= count;
}

// A chromameter-sim process serving one instrument; its link path is the first line it prints.
class SimProcess {
public:
    explicit SimProcess(const QStringList& args) {
        m_process.start(kSim, args);
        m_process.waitForStarted(10000);
        QByteArray out;
        if (waitForLines(m_process, &out, 1, 10000))
            m_path = QString::fromUtf8(lines(out).first().trimmed());
    }
    ~SimProcess() {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    QString path() const { return m_path; }
    QProcess& process() { return m_process; }

private:
    QProcess m_process;
    QString m_path;
};

void expectConfiguredReading(const QString& family, int type, bool chromaticity) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), family, QStringLiteral("--sim-values"),
                     QStringLiteral("87.25,0.4476,0.4074,2856"), QStringLiteral("measure"),
                     QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitStatus, QProcess::NormalExit);
    EXPECT_EQ(result.exitCode, 0) << result.err.constData();
    const QList<QByteArray> output = lines(result.out);
    ASSERT_EQ(output.size(), 1) << result.out.constData();
    const QJsonObject reading = json(output.first());
    EXPECT_EQ(reading.value(QStringLiteral("family")).toString(), family);
    EXPECT_EQ(reading.value(QStringLiteral("type")).toInt(-1), type);
    EXPECT_EQ(reading.value(QStringLiteral("result")).toString(), QStringLiteral("0x00000000"));
    EXPECT_EQ(reading.value(QStringLiteral("n")).toInt(), 1);
    EXPECT_TRUE(
        reading.value(QStringLiteral("port")).toString().contains(QStringLiteral("/dev/cu.usbserial-SIM")));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 87.25);
    if (chromaticity) {
        EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("x")).toDouble(), 0.4476);
        EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("y")).toDouble(), 0.4074);
    } else {
        EXPECT_FALSE(reading.contains(QStringLiteral("x")));
        EXPECT_FALSE(reading.contains(QStringLiteral("y")));
    }
    // The colour temperature is read only when asked for.
    EXPECT_FALSE(reading.contains(QStringLiteral("Tcp")));
}

using Polygon = QVector<QPointF>;

// Even-odd rule: a point is inside when a ray from it crosses the outline an odd number of times.
bool inside(const Polygon& polygon, const QPointF& point) {
    bool in = false;
    for (int i = 0, j = polygon.size() - 1; i < polygon.size(); j = i++) {
        const QPointF& a = polygon[i];
        const QPointF& b = polygon[j];
        if ((a.y() > point.y()) != (b.y() > point.y()) &&
            point.x() < (b.x() - a.x()) * (point.y() - a.y()) / (b.y() - a.y()) + a.x())
            in = !in;
    }
    return in;
}

Polygon parsePoints(const QString& text) {
    Polygon polygon;
    for (const QString& pair : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList xy = pair.split(QLatin1Char(','));
        if (xy.size() == 2)
            polygon.append(QPointF(xy[0].toDouble(), xy[1].toDouble()));
    }
    return polygon;
}
} // namespace

TEST(Cli, SimulatedSpectroradiometerPrintsTheConfiguredReadingAsJson) {
    expectConfiguredReading(QStringLiteral("spectro"), 0, true);
}

TEST(Cli, SimulatedColourAnalyserPrintsTheConfiguredReadingAsJson) {
    expectConfiguredReading(QStringLiteral("analyser"), 1, true);
}

TEST(Cli, SimulatedLuminanceMeterPrintsTheConfiguredLuminanceOnlyAsJson) {
    expectConfiguredReading(QStringLiteral("luminance"), 2, false);
}

TEST(Cli, SimulatedPhotoResearchPrintsTheConfiguredReadingAsJson) {
    expectConfiguredReading(QStringLiteral("photoresearch"), 3, true);
}

TEST(Cli, SimulatedJingcePrintsTheConfiguredReadingAsJson) {
    expectConfiguredReading(QStringLiteral("jingce"), 4, true);
}

TEST(Cli, DefaultSimulatedReadingIsTheD65WhiteOfTheSimulator) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("measure"),
                     QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 120.5);
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("x")).toDouble(), 0.3127);
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("y")).toDouble(), 0.329);
}

TEST(Cli, AnalyserJsonCarriesTheColourQuantitiesOfTheD65Reading) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("measure"),
                     QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Y")).toDouble(), 120.5);
    EXPECT_NEAR(reading.value(QStringLiteral("X")).toDouble(), 120.5 * 0.3127 / 0.329, 0.01);
    EXPECT_NEAR(reading.value(QStringLiteral("Z")).toDouble(), 120.5 * (1 - 0.3127 - 0.329) / 0.329, 0.01);
    EXPECT_NEAR(reading.value(QStringLiteral("u_prime")).toDouble(), 0.1978, 0.00005);
    EXPECT_NEAR(reading.value(QStringLiteral("v_prime")).toDouble(), 0.4683, 0.00005);
    EXPECT_NEAR(reading.value(QStringLiteral("CCT")).toDouble(), 6504, 3);
    EXPECT_NEAR(reading.value(QStringLiteral("Duv")).toDouble(), 0.0032, 0.0003);
    EXPECT_FALSE(reading.contains(QStringLiteral("delta_uv")));
    EXPECT_FALSE(reading.contains(QStringLiteral("delta_E2000")));
}

TEST(Cli, IlluminantAReadingHasItsCorrelatedColourTemperature) {
    const ProcessRun result = chromameter(
        {QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--sim-values"),
         QStringLiteral("87.25,0.4476,0.4074"), QStringLiteral("measure"), QStringLiteral("--format=json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_NEAR(reading.value(QStringLiteral("CCT")).toDouble(), 2856, 3);
    EXPECT_LT(std::fabs(reading.value(QStringLiteral("Duv")).toDouble()), 0.0005);
}

TEST(Cli, LuminanceMeterReadingsCarryNoColourQuantities) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("luminance"), QStringLiteral("measure"),
                     QStringLiteral("--format"), QStringLiteral("json"), QStringLiteral("--reference"),
                     QStringLiteral("first")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 120.5);
    for (const char* key : {"X", "Y", "Z", "u_prime", "v_prime", "CCT", "Duv", "delta_uv", "delta_E2000"})
        EXPECT_FALSE(reading.contains(QLatin1String(key))) << key;
    EXPECT_TRUE(result.err.contains("--reference has no effect")) << result.err.constData();
}

TEST(Cli, RunAgainstTheFirstReadingShowsNoDifferenceForItAndEndsWithASummary) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString svg = dir.filePath(QStringLiteral("plot.svg"));
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("spectro"), QStringLiteral("measure"),
                     QStringLiteral("--count"), QStringLiteral("5"), QStringLiteral("--reference"),
                     QStringLiteral("first"), QStringLiteral("--plot"), svg});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QList<QByteArray> output = lines(result.out);
    ASSERT_GE(output.size(), 7) << result.out.constData();
    const QString titles = QString::fromUtf8(output[1]);
    const int deltaEnd = titles.indexOf(QStringLiteral("Δu′v′")) + QStringLiteral("Δu′v′").size();
    ASSERT_GT(deltaEnd, 5) << qPrintable(titles);
    // The cell that ends where its title ends.
    const QString first = QString::fromUtf8(output[2]);
    EXPECT_EQ(first.left(deltaEnd).split(QLatin1Char(' '), Qt::SkipEmptyParts).last(),
              QStringLiteral("0.0000"))
        << qPrintable(first);
    EXPECT_TRUE(first.trimmed().startsWith(QStringLiteral("1 "))) << qPrintable(first);

    QStringList figures;
    for (int i = 7; i < output.size(); ++i)
        figures << QString::fromUtf8(output[i]).simplified().section(QLatin1Char(' '), 0, 0);
    EXPECT_EQ(figures, (QStringList{QStringLiteral("mean"), QStringLiteral("sd"), QStringLiteral("min"),
                                    QStringLiteral("max"), QStringLiteral("5")}))
        << result.out.constData();
    EXPECT_TRUE(output.last().startsWith("5 readings: 5 succeeded, 0 failed")) << output.last().constData();

    // The plot marks the reference where the first reading lies, beside the Planckian locus.
    QFile file(svg);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray picture = file.readAll();
    EXPECT_TRUE(picture.contains("id=\"planckian-locus\""));
    EXPECT_TRUE(picture.contains("id=\"reference\" data-x=\"0.3127\" data-y=\"0.329\""))
        << picture.constData();
}

TEST(Cli, JsonRunEndsWithOneSummaryObject) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("jingce"), QStringLiteral("--sim-values"),
                     QStringLiteral("100,0.3457,0.3585"), QStringLiteral("measure"),
                     QStringLiteral("--count"), QStringLiteral("2"), QStringLiteral("--format"),
                     QStringLiteral("json"), QStringLiteral("--reference"), QStringLiteral("0.3127,0.329")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QList<QByteArray> output = lines(result.out);
    ASSERT_EQ(output.size(), 3) << result.out.constData();
    const QJsonObject reading = json(output[0]);
    EXPECT_NEAR(reading.value(QStringLiteral("CCT")).toDouble(), 5003, 3);
    EXPECT_GT(reading.value(QStringLiteral("delta_uv")).toDouble(), 0.01);
    EXPECT_GT(reading.value(QStringLiteral("delta_E2000")).toDouble(), 1);
    const QJsonObject summary = json(output[2]).value(QStringLiteral("summary")).toObject();
    EXPECT_EQ(summary.value(QStringLiteral("readings")).toInt(), 2);
    EXPECT_EQ(summary.value(QStringLiteral("failed")).toInt(), 0);
    const QJsonObject cct = summary.value(QStringLiteral("CCT")).toObject();
    EXPECT_EQ(cct.value(QStringLiteral("n")).toInt(), 2);
    EXPECT_NEAR(cct.value(QStringLiteral("mean")).toDouble(), reading.value(QStringLiteral("CCT")).toDouble(),
                0.01);
    EXPECT_NEAR(summary.value(QStringLiteral("delta_uv")).toObject().value(QStringLiteral("max")).toDouble(),
                reading.value(QStringLiteral("delta_uv")).toDouble(), 1e-6);
}

TEST(Cli, TcpOptionReadsTheAnalysersColourTemperature) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"),
                     QStringLiteral("--sim-values=87.25,0.4476,0.4074,2856"), QStringLiteral("measure"),
                     QStringLiteral("--tcp"), QStringLiteral("--format=json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Tcp")).toDouble(), 2856);
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 87.25);
}

TEST(Cli, TcpOptionReadsTheJingceColourTemperature) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("jingce"),
                     QStringLiteral("--sim-values=87.25,0.4476,0.4074,2856"), QStringLiteral("measure"),
                     QStringLiteral("--tcp"), QStringLiteral("--format=json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Tcp")).toDouble(), 2856);
    EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("x")).toDouble(), 0.4476);
}

TEST(Cli, SpectroradiometerJsonCarriesTheSevenValuesOfReadMeasureData) {
    const ProcessRun result = chromameter({QStringLiteral("--simulate"), QStringLiteral("spectro"),
                                           QStringLiteral("--sim-values=87.25,0.4476,0.4074"),
                                           QStringLiteral("measure"), QStringLiteral("--format=json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject data =
        json(lines(result.out).value(0)).value(QStringLiteral("measure_data")).toObject();
    EXPECT_EQ(data.size(), 7);
    for (const char* key : {"value1", "value2", "value3", "value7"})
        EXPECT_TRUE(data.value(QLatin1String(key)).isDouble()) << key;
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("Lv")).toDouble(), 87.25);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("x")).toDouble(), 0.4476);
    EXPECT_DOUBLE_EQ(data.value(QStringLiteral("y")).toDouble(), 0.4074);
}

TEST(Cli, SimulatedJingceIsDetectedAsTypeFour) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("jingce"), QStringLiteral("detect"),
                     QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QJsonObject found = json(lines(result.out).value(0));
    EXPECT_EQ(found.value(QStringLiteral("type")).toInt(-1), 4);
    EXPECT_EQ(found.value(QStringLiteral("family")).toString(), QStringLiteral("jingce"));
    EXPECT_TRUE(
        found.value(QStringLiteral("port")).toString().contains(QStringLiteral("/dev/cu.usbserial-SIM")));
}

TEST(Cli, DetectPrintsFamilyTypeAndPortAsATable) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("detect")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QString text = QString::fromUtf8(result.out);
    EXPECT_TRUE(text.contains(QStringLiteral("family: analyser"))) << qPrintable(text);
    EXPECT_TRUE(text.contains(QStringLiteral("type:   1"))) << qPrintable(text);
    EXPECT_TRUE(text.contains(QStringLiteral("port:   /"))) << qPrintable(text);
}

TEST(Cli, PortsExplainsBluetoothAndTtyUsbEntriesOfTheCatalogue) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString catalogue = dir.filePath(QStringLiteral("ports.txt"));
    QFile file(catalogue);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Bluetooth-Incoming-Port\tIncoming\n"
               "ttyUSB0\tFT232R USB UART\n"
               "cu.usbserial-A1\tUSB-Serial Controller\n");
    file.close();

    const ProcessRun asJson = chromameter({QStringLiteral("ports"), QStringLiteral("--catalogue"), catalogue,
                                           QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(asJson.exitCode, 0) << asJson.err.constData();
    const QList<QByteArray> entries = lines(asJson.out);
    ASSERT_EQ(entries.size(), 3);
    const QJsonObject bluetooth = json(entries[0]);
    EXPECT_EQ(bluetooth.value(QStringLiteral("port")).toString(), QStringLiteral("Bluetooth-Incoming-Port"));
    EXPECT_FALSE(bluetooth.value(QStringLiteral("tried")).toBool(true));
    EXPECT_EQ(bluetooth.value(QStringLiteral("reason")).toString(), QStringLiteral("bluetooth"));
    const QJsonObject usb = json(entries[1]);
    EXPECT_EQ(usb.value(QStringLiteral("port")).toString(), QStringLiteral("ttyUSB0"));
    EXPECT_FALSE(usb.value(QStringLiteral("tried")).toBool(true));
    EXPECT_EQ(usb.value(QStringLiteral("reason")).toString(), QStringLiteral("not-usb-serial"));
    const QJsonObject adapter = json(entries[2]);
    EXPECT_TRUE(adapter.value(QStringLiteral("tried")).toBool(false));
    EXPECT_EQ(adapter.value(QStringLiteral("path")).toString(), QStringLiteral("/dev/cu.usbserial-A1"));

    const ProcessRun asTable =
        chromameter({QStringLiteral("ports"), QStringLiteral("--catalogue"), catalogue});
    ASSERT_EQ(asTable.exitCode, 0);
    const QString table = QString::fromUtf8(asTable.out);
    EXPECT_TRUE(table.contains(QStringLiteral("detection tries 1"))) << qPrintable(table);
    for (const QString& line : table.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("Bluetooth-Incoming-Port"))) {
            EXPECT_TRUE(line.contains(QStringLiteral("skipped: a Bluetooth port"))) << qPrintable(line);
        } else if (line.startsWith(QLatin1String("ttyUSB0"))) {
            EXPECT_TRUE(line.contains(QStringLiteral("skipped: not a USB-serial"))) << qPrintable(line);
        } else if (line.startsWith(QLatin1String("cu.usbserial-A1"))) {
            EXPECT_TRUE(line.contains(QStringLiteral("tried, as /dev/cu.usbserial-A1"))) << qPrintable(line);
        }
    }
}

TEST(Cli, PortNamingAPortDetectionSkipsExitsThreeWithTheReason) {
    const ProcessRun result =
        chromameter({QStringLiteral("--port"), QStringLiteral("ttyUSB0"), QStringLiteral("detect")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.err.contains("no instrument found")) << result.err.constData();
    EXPECT_TRUE(result.err.contains("detection does not try ttyUSB0")) << result.err.constData();
}

TEST(Cli, SilentInstrumentIsNotFoundAndExitsThree) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("photoresearch"),
                     QStringLiteral("--sim-fault"), QStringLiteral("silent"), QStringLiteral("measure")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.err.contains("no instrument found")) << result.err.constData();
    EXPECT_TRUE(result.out.isEmpty());
}

TEST(Cli, AdapterPulledDuringAMeasurementExitsOneWithThePortLostCode) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--sim-fault"),
                     QStringLiteral("unplug"), QStringLiteral("measure"), QStringLiteral("--format"),
                     QStringLiteral("json")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitStatus, QProcess::NormalExit);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("0xE0833000")) << result.err.constData();
    EXPECT_TRUE(result.err.contains("serial port was lost")) << result.err.constData();
    const QJsonObject reading = json(lines(result.out).value(0));
    EXPECT_EQ(reading.value(QStringLiteral("result")).toString(), QStringLiteral("0xE0833000"));
    EXPECT_FALSE(reading.contains(QStringLiteral("Lv")));
}

TEST(Cli, SlowCompletionBeyondTheTimeoutExitsOneWithTheCode) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("spectro"), QStringLiteral("--sim-fault"),
                     QStringLiteral("slow"), QStringLiteral("measure"), QStringLiteral("--timeout"),
                     QStringLiteral("0.3")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("0x80000008")) << result.err.constData();
    EXPECT_TRUE(result.err.contains("--timeout")) << result.err.constData();
}

TEST(Cli, CsvHasAHeaderAndOneRowPerReadingThenTheSummaryRows) {
    const ProcessRun result = chromameter(
        {QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("measure"),
         QStringLiteral("--count"), QStringLiteral("3"), QStringLiteral("--format"), QStringLiteral("csv")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QList<QByteArray> rows = lines(result.out);
    ASSERT_GE(rows.size(), 4) << result.out.constData();
    const QList<QByteArray> header = rows[0].split(',');
    const int kind = header.indexOf("kind");
    const int n = header.indexOf("n");
    const int resultColumn = header.indexOf("result");
    const int lv = header.indexOf("Lv");
    const int x = header.indexOf("x");
    const int y = header.indexOf("y");
    const int type = header.indexOf("type");
    const int cct = header.indexOf("CCT");
    ASSERT_GE(kind, 0);
    ASSERT_GE(n, 0);
    ASSERT_GE(resultColumn, 0);
    ASSERT_GE(lv, 0);
    ASSERT_GE(x, 0);
    ASSERT_GE(y, 0);
    ASSERT_GE(type, 0);
    ASSERT_GE(cct, 0);
    QList<QByteArray> kinds;
    for (int i = 1; i < rows.size(); ++i) {
        const QList<QByteArray> fields = rows[i].split(',');
        ASSERT_EQ(fields.size(), header.size()) << rows[i].constData();
        kinds.append(fields[kind]);
        if (fields[kind] != "reading")
            continue;
        EXPECT_EQ(fields[n].toInt(), i);
        EXPECT_EQ(fields[type], QByteArray("1"));
        EXPECT_EQ(fields[resultColumn], QByteArray("0x00000000"));
        EXPECT_DOUBLE_EQ(fields[lv].toDouble(), 120.5);
        EXPECT_DOUBLE_EQ(fields[x].toDouble(), 0.3127);
        EXPECT_DOUBLE_EQ(fields[y].toDouble(), 0.329);
        EXPECT_NEAR(fields[cct].toDouble(), 6504, 3);
    }
    EXPECT_EQ(kinds, (QList<QByteArray>{"reading", "reading", "reading", "mean", "sd", "min", "max", "count",
                                        "failed"}));
}

TEST(Cli, DemoCommandPrintsThreeReadingsAsATable) {
    const ProcessRun result =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("measure"),
                     QStringLiteral("--count"), QStringLiteral("3")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QList<QByteArray> output = lines(result.out);
    // The instrument, the column titles, three readings, and the summary: four figures and the count.
    ASSERT_EQ(output.size(), 10) << result.out.constData();
    EXPECT_TRUE(output[0].contains("(analyser, type 1)"));
    EXPECT_EQ(output[1].simplified(), QByteArray("# elapsed Lv (cd/m²) x y CCT (K) Duv result"));
    for (int i = 1; i <= 3; ++i) {
        const QList<QByteArray> cells = output[1 + i].simplified().split(' ');
        ASSERT_EQ(cells.size(), 9) << output[1 + i].constData();
        EXPECT_EQ(cells[0].toInt(), i);
        EXPECT_EQ(cells[3], QByteArray("120.5"));
        EXPECT_EQ(cells[4], QByteArray("0.3127"));
        EXPECT_EQ(cells[5], QByteArray("0.3290"));
        EXPECT_NEAR(cells[6].toDouble(), 6504, 3);
        EXPECT_NEAR(cells[7].toDouble(), 0.0032, 0.0003);
        EXPECT_EQ(cells.last(), QByteArray("0x00000000"));
    }
    EXPECT_TRUE(output[5].simplified().startsWith("mean 120.5 0.3127 0.3290")) << output[5].constData();
    EXPECT_TRUE(output[9].startsWith("3 readings: 3 succeeded, 0 failed")) << output[9].constData();
}

TEST(Cli, PlotPutsEveryReadingWhereItBelongs) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString svg = dir.filePath(QStringLiteral("plot.svg"));
    const ProcessRun result = chromameter({QStringLiteral("--simulate"), QStringLiteral("photoresearch"),
                                           QStringLiteral("--sim-values"), QStringLiteral("80,0.4476,0.4074"),
                                           QStringLiteral("measure"), QStringLiteral("--count"),
                                           QStringLiteral("2"), QStringLiteral("--plot"), svg});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();

    QFile file(svg);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    QString root;
    QRectF xyFrame;
    double xMax = 0, yMax = 0;
    QRectF lvFrame;
    double tMin = 0, tMax = 0, lvMin = 0, lvMax = 0;
    Polygon locus;
    QList<QPointF> xyMarks;
    QList<QPointF> lvMarks;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes a = xml.attributes();
        auto number = [&a](const char* name) { return a.value(QLatin1String(name)).toDouble(); };
        if (root.isEmpty())
            root = xml.name().toString();
        const QString id = a.value(QStringLiteral("id")).toString();
        const QString cls = a.value(QStringLiteral("class")).toString();
        if (id == QLatin1String("xy-frame")) {
            xyFrame = QRectF(number("x"), number("y"), number("width"), number("height"));
            xMax = number("data-x-max");
            yMax = number("data-y-max");
        } else if (id == QLatin1String("lv-frame")) {
            lvFrame = QRectF(number("x"), number("y"), number("width"), number("height"));
            tMin = number("data-t-min");
            tMax = number("data-t-max");
            lvMin = number("data-lv-min");
            lvMax = number("data-lv-max");
        } else if (id == QLatin1String("spectral-locus")) {
            locus = parsePoints(a.value(QStringLiteral("points")).toString());
        } else if (cls == QLatin1String("reading")) {
            xyMarks.append(QPointF(number("cx"), number("cy")));
            EXPECT_DOUBLE_EQ(number("data-x"), 0.4476);
            EXPECT_DOUBLE_EQ(number("data-y"), 0.4074);
        } else if (cls == QLatin1String("lv-reading")) {
            lvMarks.append(QPointF(number("cx"), number("cy")));
            EXPECT_DOUBLE_EQ(number("data-lv"), 80);
        }
    }
    ASSERT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
    EXPECT_EQ(root, QStringLiteral("svg"));
    ASSERT_GT(xyFrame.width(), 0);
    ASSERT_GT(xMax, 0);
    ASSERT_GT(yMax, 0);
    // 380 nm to 700 nm in 5 nm steps.
    EXPECT_EQ(locus.size(), 65);
    ASSERT_EQ(xyMarks.size(), 2);
    ASSERT_EQ(lvMarks.size(), 2);
    for (const QPointF& mark : xyMarks) {
        // Back from the picture to chromaticity: the frame spans 0..xMax and yMax..0.
        const double x = (mark.x() - xyFrame.left()) / xyFrame.width() * xMax;
        const double y = (xyFrame.bottom() - mark.y()) / xyFrame.height() * yMax;
        EXPECT_NEAR(x, 0.4476, 0.002);
        EXPECT_NEAR(y, 0.4074, 0.002);
        EXPECT_TRUE(inside(locus, mark)) << "a real colour lies inside the spectral locus";
    }
    for (const QPointF& mark : lvMarks) {
        const double lv = lvMin + (lvFrame.bottom() - mark.y()) / lvFrame.height() * (lvMax - lvMin);
        EXPECT_NEAR(lv, 80, 0.5);
        EXPECT_GE(mark.x(), lvFrame.left());
        EXPECT_LE(mark.x(), lvFrame.right());
    }
    EXPECT_LT(lvMarks[0].x(), lvMarks[1].x()) << "the second reading comes later";
    EXPECT_LE(tMin, 0);
    EXPECT_GT(tMax, 0);
}

TEST(Cli, TraceShowsTheLibraryDiagnosticsAndTheSerialTraffic) {
    const ProcessRun result = chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"),
                                           QStringLiteral("--trace"), QStringLiteral("detect")});
    ASSERT_EQ(result.exitCode, 0) << result.err.constData();
    const QString err = QString::fromUtf8(result.err);
    EXPECT_TRUE(err.contains(QStringLiteral("library: 串口打开成功!"))) << qPrintable(err);
    EXPECT_TRUE(err.contains(QStringLiteral("host -> instrument (9600 baud) COM,1\\n"))) << qPrintable(err);
    EXPECT_TRUE(err.contains(QStringLiteral("instrument -> host"))) << qPrintable(err);
    // Without --trace the library's diagnostics stay out of sight.
    const ProcessRun quiet =
        chromameter({QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("detect")});
    EXPECT_FALSE(quiet.err.contains("library:")) << quiet.err.constData();
}

TEST(Cli, UsageErrorsExitTwo) {
    const QList<QStringList> cases = {
        {},
        {QStringLiteral("frobnicate")},
        {QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("0")},
        {QStringLiteral("measure"), QStringLiteral("--count"), QStringLiteral("2"),
         QStringLiteral("--continuous")},
        {QStringLiteral("measure"), QStringLiteral("--format"), QStringLiteral("xml")},
        {QStringLiteral("ports"), QStringLiteral("--count"), QStringLiteral("2")},
        {QStringLiteral("--simulate"), QStringLiteral("toaster"), QStringLiteral("measure")},
        {QStringLiteral("--sim-values"), QStringLiteral("1,0.3,0.3"), QStringLiteral("measure")},
        {QStringLiteral("--simulate"), QStringLiteral("analyser"), QStringLiteral("--sim-values"),
         QStringLiteral("bright"), QStringLiteral("measure")},
        {QStringLiteral("measure"), QStringLiteral("--bogus")},
        {QStringLiteral("measure"), QStringLiteral("--timeout")},
    };
    for (const QStringList& args : cases) {
        const ProcessRun result = chromameter(args, 20000);
        ASSERT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, 2) << qPrintable(args.join(QLatin1Char(' ')));
        EXPECT_TRUE(result.err.contains("Try 'chromameter --help'"))
            << qPrintable(args.join(QLatin1Char(' ')));
        EXPECT_TRUE(result.out.isEmpty());
    }
}

TEST(Cli, HelpAndVersionExitZero) {
    const ProcessRun help = chromameter({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* word : {"ports", "detect", "measure", "--simulate", "--sim-values", "--port", "--trace",
                             "--count", "--continuous", "--interval", "--tcp", "--format", "--timeout",
                             "--plot", "--reference", "--quantities"})
        EXPECT_TRUE(help.out.contains(word)) << word;
    const ProcessRun version = chromameter({QStringLiteral("--version")});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.out.startsWith("chromameter ")) << version.out.constData();
}

TEST(Cli, InterruptDuringContinuousMeasuringDisconnectsTheInstrumentBeforeExit) {
    SimProcess sim({QStringLiteral("analyser"), QStringLiteral("--values"), QStringLiteral("95,0.31,0.32")});
    ASSERT_FALSE(sim.path().isEmpty());

    QProcess host;
    host.start(kCli, {QStringLiteral("--port"), sim.path(), QStringLiteral("measure"),
                      QStringLiteral("--continuous"), QStringLiteral("--interval"), QStringLiteral("0.05"),
                      QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_TRUE(host.waitForStarted(10000));
    QByteArray out;
    ASSERT_TRUE(waitForLines(host, &out, 2, 60000)) << out.constData();
    ::kill(pid_t(host.processId()), SIGINT);
    ASSERT_TRUE(host.waitForFinished(30000));
    out += host.readAllStandardOutput();
    const QByteArray err = host.readAllStandardError();
    EXPECT_EQ(host.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(host.exitCode(), 0) << err.constData();
    EXPECT_TRUE(err.contains("the instrument is disconnected")) << err.constData();
    // Every reading, then the summary of the run as the last line.
    const QList<QByteArray> output = lines(out);
    ASSERT_GE(output.size(), 3) << out.constData();
    for (int i = 0; i + 1 < output.size(); ++i) {
        const QJsonObject reading = json(output[i]);
        EXPECT_EQ(reading.value(QStringLiteral("result")).toString(), QStringLiteral("0x00000000"));
        EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 95);
    }
    const QJsonObject summary = json(output.last()).value(QStringLiteral("summary")).toObject();
    EXPECT_EQ(summary.value(QStringLiteral("readings")).toInt(), output.size() - 1);
    EXPECT_EQ(summary.value(QStringLiteral("failed")).toInt(), 0);
    EXPECT_DOUBLE_EQ(summary.value(QStringLiteral("Lv")).toObject().value(QStringLiteral("mean")).toDouble(),
                     95);

    // The instrument heard the analyser's sign-off, "COM,0", as the last thing.
    QByteArray log;
    QElapsedTimer clock;
    clock.start();
    while (!log.contains("COM,0\\n") && clock.elapsed() < 5000) {
        sim.process().waitForReadyRead(100);
        log += sim.process().readAllStandardError();
    }
    ASSERT_TRUE(log.contains("COM,0\\n")) << log.constData();
    EXPECT_FALSE(log.mid(log.lastIndexOf("COM,0\\n")).contains("MES,1")) << log.constData();

    ::kill(pid_t(sim.process().processId()), SIGINT);
    ASSERT_TRUE(sim.process().waitForFinished(10000));
    EXPECT_EQ(sim.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(sim.process().exitCode(), 0);
}

TEST(Cli, SimulatorToolUnplugFaultMakesAHostMeasurementExitOne) {
    SimProcess sim({QStringLiteral("jingce"), QStringLiteral("--fault"), QStringLiteral("unplug"),
                    QStringLiteral("--quiet")});
    ASSERT_FALSE(sim.path().isEmpty());
    ASSERT_TRUE(QFile::exists(sim.path()));
    const ProcessRun result = chromameter({QStringLiteral("--port"), sim.path(), QStringLiteral("measure")});
    ASSERT_TRUE(result.finished);
    EXPECT_EQ(result.exitCode, 1) << result.err.constData();
    EXPECT_TRUE(result.err.contains("0xE0833000")) << result.err.constData();
    // The pulled adapter's link is gone.
    EXPECT_FALSE(QFile::exists(sim.path()));
}

TEST(Cli, SimulatorToolRefusesAnUnknownFamilyOrFault) {
    const ProcessRun family = run(kSim, {QStringLiteral("toaster")}, 20000);
    EXPECT_EQ(family.exitCode, 2);
    EXPECT_TRUE(family.err.contains("not an instrument family")) << family.err.constData();
    const ProcessRun fault =
        run(kSim, {QStringLiteral("analyser"), QStringLiteral("--fault"), QStringLiteral("smoke")}, 20000);
    EXPECT_EQ(fault.exitCode, 2);
    EXPECT_TRUE(fault.err.contains("unknown fault mode")) << fault.err.constData();
    const ProcessRun help = run(kSim, {QStringLiteral("--help")}, 20000);
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("--fault")) << help.out.constData();
}

TEST(Cli, SimulatorToolServesARealisticLineByDefaultAndTakesAnotherOnRequest) {
    SimProcess usb({QStringLiteral("luminance"), QStringLiteral("--quiet")});
    ASSERT_FALSE(usb.path().isEmpty());
    const ProcessRun onUsb = chromameter({QStringLiteral("--port"), usb.path(), QStringLiteral("measure")});
    EXPECT_EQ(onUsb.exitCode, 0) << onUsb.err.constData();
    SimProcess byteWise({QStringLiteral("luminance"), QStringLiteral("--line"), QStringLiteral("bytewise"),
                         QStringLiteral("--quiet")});
    ASSERT_FALSE(byteWise.path().isEmpty());
    const ProcessRun onByteWise =
        chromameter({QStringLiteral("--port"), byteWise.path(), QStringLiteral("measure")});
    EXPECT_EQ(onByteWise.exitCode, 0) << onByteWise.err.constData();
    const ProcessRun bad =
        run(kSim, {QStringLiteral("analyser"), QStringLiteral("--line"), QStringLiteral("carrier-pigeon")},
            20000);
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains("unknown line model")) << bad.err.constData();
    const ProcessRun help = run(kSim, {QStringLiteral("--help")}, 20000);
    EXPECT_TRUE(help.out.contains("--line")) << help.out.constData();
}

TEST(Cli, SimulateMeasuresOnEveryLineModel) {
    for (const char* line : {"usb", "usb:1", "bytewise", "instant"}) {
        const ProcessRun result =
            chromameter({QStringLiteral("--simulate"), QStringLiteral("spectro"),
                         QStringLiteral("--sim-line"), QString::fromLatin1(line), QStringLiteral("measure"),
                         QStringLiteral("--format"), QStringLiteral("json")});
        ASSERT_EQ(result.exitCode, 0) << line << ": " << result.err.constData();
        const QJsonObject reading = json(lines(result.out).value(0));
        EXPECT_DOUBLE_EQ(reading.value(QStringLiteral("Lv")).toDouble(), 120.5) << line;
    }
}
