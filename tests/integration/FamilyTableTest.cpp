// The host guide's table of what each instrument family supports (docs/host-guide.md, between the
// family-table markers) is checked here against the drivers themselves, so it cannot drift from the
// code.
//
// Every cell starts with a verdict that this test understands:
//   stub `CODE`     the call is one of the shared stubs and returns CODE
//   always `VALUE`  the call returns VALUE whatever the instrument says
//   yes ...         the call is implemented (not a stub); for the data reads: it serves the values
//                   of the last measurement
//   partly ...      (seven values) only Lv, x and y are served, the other four outputs are untouched
//   no ...          (colour temperature) the record's Tcp is left as the caller passed it
//   —               the call is not part of this family's interface
//
// The calls are made on driver objects whose port is gone (opened on a path that does not exist),
// so an implemented call fails at once instead of waiting out its read budget. A driver whose
// values must be served is primed as a finished measurement leaves it. Calls that would start a
// worker thread or poll without bound are not made; their cells are described from the driver and
// only parsed.

#include "ChromameterDetector.h"
#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DetectorPort.h"
#include "IMinolta.h"
#include "InstrumentFamilies.h"
#include "InstrumentModel.h"
#include "LuminanceMeter.h"
#include "PhotoResearch.h"
#include "SimFamilies.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <type_traits>

namespace {

const char kGuide[] = CHROMA_SOURCE_DIR "/docs/host-guide.md";

// The columns, in the guide's order, with the header text each must carry.
enum Column {
    Family,
    MeasureCol,
    LvXyCol,
    TcpCol,
    SevenValuesCol,
    SpectrumCol,
    ZeroCol,
    DataReadCol,
    LatestCol,
    WatcherCol,
    ColumnCount
};
const char* const kHeaders[ColumnCount] = {
    "Family",
    "Measure (`Measure`)",
    "`Lv`, `x`, `y` (`ReadLvXy`)",
    "Colour temperature (`Tcp` of `ReadLvXy`)",
    "Seven values (`ReadMeasureData`)",
    "Spectrum (`ReadSpectralData`)",
    "Zero calibration (the driver's `ZeroCalibrate`)",
    "`MeasurementDataRead`",
    "`ReadLastestData`",
    "The driver's own `RegisterWatcher`, `UnregisterWatcher`",
};

struct Cell {
    enum Kind { Stub, Always, Yes, Partly, No, Absent, Unknown } kind = Unknown;
    QString value; // the text in backticks after "stub" or "always"
    QString text;
};

Cell parseCell(const QString& raw) {
    Cell cell;
    cell.text = raw.trimmed();
    static const QRegularExpression coded(QStringLiteral("\\b(stub|always) `([^`]+)`"));
    const QRegularExpressionMatch match = coded.match(cell.text);
    if (cell.text == QStringLiteral("—")) {
        cell.kind = Cell::Absent;
    } else if (match.hasMatch()) {
        cell.kind = match.captured(1) == QLatin1String("stub") ? Cell::Stub : Cell::Always;
        cell.value = match.captured(2);
    } else if (cell.text.startsWith(QLatin1String("yes"))) {
        cell.kind = Cell::Yes;
    } else if (cell.text.startsWith(QLatin1String("partly"))) {
        cell.kind = Cell::Partly;
    } else if (cell.text.startsWith(QLatin1String("no"))) {
        cell.kind = Cell::No;
    }
    return cell;
}

struct Table {
    QStringList headers;
    QList<QStringList> rows;
    QString problem;
};

QStringList splitRow(const QString& line) {
    QString body = line.trimmed();
    if (body.startsWith(QLatin1Char('|')))
        body.remove(0, 1);
    if (body.endsWith(QLatin1Char('|')))
        body.chop(1);
    QStringList cells;
    for (const QString& cell : body.split(QLatin1Char('|')))
        cells << cell.trimmed();
    return cells;
}

Table readGuideTable() {
    Table table;
    QFile file(QString::fromUtf8(kGuide));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        table.problem = QStringLiteral("cannot read %1").arg(file.fileName());
        return table;
    }
    const QString text = QString::fromUtf8(file.readAll());
    const int begin = text.indexOf(QLatin1String("<!-- family-table:begin -->"));
    const int end = text.indexOf(QLatin1String("<!-- family-table:end -->"));
    if (begin < 0 || end < begin) {
        table.problem = QStringLiteral("the family-table markers are missing");
        return table;
    }
    bool separatorSeen = false;
    for (const QString& line : text.mid(begin, end - begin).split(QLatin1Char('\n'))) {
        if (!line.trimmed().startsWith(QLatin1Char('|')))
            continue;
        const QStringList cells = splitRow(line);
        if (table.headers.isEmpty()) {
            table.headers = cells;
        } else if (!separatorSeen) {
            separatorSeen = true; // |---|---|
        } else {
            table.rows << cells;
        }
    }
    return table;
}

// The row whose first cell names the family by its simulator name in backticks.
QStringList rowOf(const Table& table, const QString& family) {
    const QString tag = QStringLiteral("`%1`").arg(family);
    for (const QStringList& row : table.rows) {
        if (!row.isEmpty() && row.first().contains(tag))
            return row;
    }
    return QStringList();
}

// What the test can do with one family's driver. Empty functions are calls not made (see above).
struct Probe {
    std::function<unsigned long()> measure;
    std::function<unsigned long(SChromameterMeasureData&)> readLvXyPrimed;
    std::function<unsigned long(double*)> readMeasureDataPrimed;
    std::function<unsigned long()> readSpectralData;
    std::function<unsigned long()> zeroCalibrate;
    std::function<unsigned long()> measurementDataRead; // empty when the class has no such call
    bool hasMeasurementDataRead = false;
    std::function<double()> readLastestData;
    std::function<unsigned long()> registerWatcher;
    std::function<unsigned long()> unregisterWatcher;
    // What a primed driver serves.
    float lv = 0, x = 0, y = 0, tcp = 0;
};

// The values a finished measurement leaves in each driver, and the flags that let it serve them.
class PrimedSpectro : public CChromameterMinolta {
public:
    using CChromameterMinolta::CChromameterMinolta;
    void prime() {
        m_bMeasureSucceed = m_bReaded = true;
        m_dLv = 120.5;
        m_dX = 0.3127;
        m_dY = 0.329;
    }
};
// The two colour drivers keep the same state under the same names.
template <class ColourDriver> class PrimedColour : public ColourDriver {
public:
    using ColourDriver::ColourDriver;
    void prime() {
        this->m_bMeasureSucceed = this->m_bReaded = true;
        this->m_dLv = 120.5;
        this->m_dX = 0.3127;
        this->m_dY = 0.329;
        this->m_dTcp = 6504;
    }
};
using PrimedAnalyser = PrimedColour<CChromameterMinoltaCas40>;
using PrimedJingce = PrimedColour<CChromameterWuHanJingCe>;
class PrimedLuminance : public CLuminanceMeter {
public:
    using CLuminanceMeter::CLuminanceMeter;
    void prime() { m_bMeasureSucceed = m_bReaded = true; }
};
class PrimedPhotoResearch : public CPhotoResearch {
public:
    using CPhotoResearch::CPhotoResearch;
    void prime() {
        m_bMeasureSucceed = m_bReaded = true;
        m_dLv = 120.5;
        m_dX = 0.3127;
        m_dY = 0.329;
    }
};

class NullWatcher : public IMinoltaWatcher {
public:
    void OnMeasureFinished() override {}
    void OnMeasureFailed(unsigned long) override {}
    void OnConnected() override {}
    void OnDisconnected() override {}
    void OnZeroCalibrated(unsigned long) override {}
};

// Builds the probe of one driver class. `safeMeasure`, `safeZero` and `safeLatest` say whether that
// call returns promptly on a driver without an instrument (no worker thread, no unbounded poll).
template <class Primed> Probe makeProbe(bool safeMeasure, bool safeZero, bool safeLatest) {
    // Two objects: a fresh one for the calls that act on the instrument, a primed one for the reads
    // of stored values. Both live as long as the probe's functions.
    auto fresh = std::make_shared<Primed>(detectorLine());
    auto primed = std::make_shared<Primed>(detectorLine());
    primed->prime();
    auto watcher = std::make_shared<NullWatcher>();
    Probe probe;
    probe.lv = 120.5f;
    probe.x = 0.3127f;
    probe.y = 0.329f;
    probe.tcp = 6504.0f;
    if (safeMeasure)
        probe.measure = [fresh] { return fresh->Measure(false); };
    probe.readLvXyPrimed = [primed](SChromameterMeasureData& data) { return primed->ReadLvXy(data); };
    probe.readMeasureDataPrimed = [primed](double* v) {
        return primed->ReadMeasureData(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
    };
    probe.readSpectralData = [primed] {
        QList<float> values;
        int start = 0, end = 0;
        return primed->ReadSpectralData(values, start, end);
    };
    if (safeZero)
        probe.zeroCalibrate = [fresh] { return fresh->ZeroCalibrate(); };
    if constexpr (std::is_base_of<IChromameter, Primed>::value) {
        probe.hasMeasurementDataRead = true;
        probe.measurementDataRead = [fresh] {
            char* reply = nullptr;
            const unsigned long result =
                static_cast<IChromameter*>(fresh.get())->MeasurementDataRead(&reply, 2, 0, 2);
            CChromameterDetector::GetInstance()->ReleaseBuf(&reply);
            return result;
        };
    }
    if (safeLatest)
        probe.readLastestData = [fresh] { return fresh->ReadLastestData(); };
    probe.registerWatcher = [fresh, watcher] { return fresh->RegisterWatcher(watcher.get()); };
    probe.unregisterWatcher = [fresh, watcher] { return fresh->UnregisterWatcher(watcher.get()); };
    return probe;
}

bool isStubCode(unsigned long code) {
    return code == RESULT_NOT_SUPPORTED || code == RESULT_NOT_AVAILABLE;
}

unsigned long codeOf(const QString& text) {
    return std::strtoul(text.toLatin1().constData(), nullptr, 0);
}

std::string hex(unsigned long code) {
    return (QStringLiteral("0x") + QString::number(code, 16).toUpper().rightJustified(8, QLatin1Char('0')))
        .toStdString();
}

// Compares one cell that concerns a call returning a result code.
void checkResultCell(const QString& where, const Cell& cell, const std::function<unsigned long()>& call) {
    SCOPED_TRACE(where.toStdString() + ": \"" + cell.text.toStdString() + "\"");
    switch (cell.kind) {
    case Cell::Stub:
        ASSERT_TRUE(call) << "the guide calls this a stub, but the test has no way to call it";
        EXPECT_TRUE(isStubCode(codeOf(cell.value))) << "a stub answers 0xE0830002 or 0xE0830003";
        EXPECT_EQ(hex(call()), hex(codeOf(cell.value)));
        break;
    case Cell::Always:
        ASSERT_TRUE(call) << "the guide gives a constant answer, but the test has no way to call it";
        EXPECT_EQ(hex(call()), hex(codeOf(cell.value)));
        break;
    case Cell::Yes:
    case Cell::Partly:
        // Implemented: whatever it answers without an instrument, it is not a stub's code.
        if (call) {
            EXPECT_FALSE(isStubCode(call())) << "the driver answers with a stub's code";
        }
        break;
    default:
        ADD_FAILURE() << "a cell of this column starts with yes, partly, stub `CODE` or always `CODE`";
    }
}

// A port whose device is gone: every read fails at once instead of waiting out its budget. The name
// is this process's own: Qt locks a port by its name before opening it, and a lock held by a test
// running alongside would make the open fail for another reason than a missing device.
void loseThePort() {
    SerialPortCross& port = CChromameterDetector::GetInstance()->m_port;
    const QString name = QStringLiteral("/nonexistent-chromameter/dev/cu.usbserial-GONE%1")
                             .arg(QCoreApplication::applicationPid());
    port.Open(name, QSerialPort::Baud9600, QSerialPort::NoParity, QSerialPort::Data8, QSerialPort::OneStop,
              QSerialPort::NoFlowControl);
    ASSERT_FALSE(port.IsOpen());
    ASSERT_FALSE(port.IsPortConnect()) << "the test needs a port that reads as lost";
}

void checkRow(const QString& family, const Probe& probe) {
    const Table table = readGuideTable();
    ASSERT_TRUE(table.problem.isEmpty()) << table.problem.toStdString();
    const QStringList row = rowOf(table, family);
    ASSERT_EQ(row.size(), int(ColumnCount)) << "the guide's row of `" << family.toStdString() << "`";
    MessageCapture quiet; // the drivers' diagnostics are not this test's concern
    loseThePort();
    if (::testing::Test::HasFatalFailure())
        return;
    auto cell = [&](Column column) { return parseCell(row[column]); };
    auto where = [&](Column column) {
        return family + QStringLiteral(" / ") + QString::fromUtf8(kHeaders[column]);
    };

    checkResultCell(where(MeasureCol), cell(MeasureCol), probe.measure);

    // Lv, x, y: served from the last measurement when implemented.
    {
        const Cell c = cell(LvXyCol);
        SCOPED_TRACE(where(LvXyCol).toStdString());
        SChromameterMeasureData data = {-7.0f, -7.0f, -7.0f, -7.0f};
        const unsigned long result = probe.readLvXyPrimed(data);
        if (c.kind == Cell::Yes) {
            EXPECT_EQ(hex(result), hex(RESULT_OK));
            EXPECT_EQ(data.Lv, probe.lv);
            EXPECT_EQ(data.x, probe.x);
            EXPECT_EQ(data.y, probe.y);
        } else {
            checkResultCell(where(LvXyCol), c, [&] { return result; });
            EXPECT_EQ(data.Lv, -7.0f) << "a read that fails leaves the record as it was";
        }
    }
    // Colour temperature: the record's Tcp after the same read.
    {
        const Cell c = cell(TcpCol);
        SCOPED_TRACE(where(TcpCol).toStdString() + ": \"" + c.text.toStdString() + "\"");
        SChromameterMeasureData data = {-7.0f, -7.0f, -7.0f, -7.0f};
        probe.readLvXyPrimed(data);
        if (c.kind == Cell::Yes)
            EXPECT_EQ(data.Tcp, probe.tcp) << "the guide says this family delivers Tcp";
        else if (c.kind == Cell::No)
            EXPECT_EQ(data.Tcp, -7.0f) << "the guide says this family leaves Tcp as passed";
        else
            ADD_FAILURE() << "a colour-temperature cell starts with yes or no";
    }
    // Seven values.
    {
        const Cell c = cell(SevenValuesCol);
        SCOPED_TRACE(where(SevenValuesCol).toStdString() + ": \"" + c.text.toStdString() + "\"");
        double v[7] = {-7, -7, -7, -7, -7, -7, -7};
        const unsigned long result = probe.readMeasureDataPrimed(v);
        if (c.kind == Cell::Partly) {
            EXPECT_EQ(hex(result), hex(RESULT_OK));
            EXPECT_EQ(v[3], double(probe.lv)) << "Lv";
            EXPECT_NEAR(v[4], probe.x, 1e-6) << "x";
            EXPECT_NEAR(v[5], probe.y, 1e-6) << "y";
            for (int i : {0, 1, 2, 6})
                EXPECT_EQ(v[i], -7.0) << "output " << i + 1 << " is left untouched";
        } else {
            checkResultCell(where(SevenValuesCol), c, [&] { return result; });
        }
    }
    checkResultCell(where(SpectrumCol), cell(SpectrumCol), probe.readSpectralData);
    checkResultCell(where(ZeroCol), cell(ZeroCol), probe.zeroCalibrate);
    {
        const Cell c = cell(DataReadCol);
        if (c.kind == Cell::Absent) {
            EXPECT_FALSE(probe.hasMeasurementDataRead)
                << where(DataReadCol).toStdString() << ": the class has MeasurementDataRead";
        } else {
            EXPECT_TRUE(probe.hasMeasurementDataRead)
                << where(DataReadCol).toStdString() << ": the class has no MeasurementDataRead";
            checkResultCell(where(DataReadCol), c, probe.measurementDataRead);
        }
    }
    {
        const Cell c = cell(LatestCol);
        SCOPED_TRACE(where(LatestCol).toStdString() + ": \"" + c.text.toStdString() + "\"");
        if (c.kind == Cell::Always) {
            ASSERT_TRUE(probe.readLastestData);
            EXPECT_EQ(probe.readLastestData(), c.value.toDouble());
        } else {
            EXPECT_EQ(c.kind, Cell::Yes) << "a cell of this column starts with yes or always `VALUE`";
        }
    }
    checkResultCell(where(WatcherCol) + QStringLiteral(" (register)"), cell(WatcherCol),
                    probe.registerWatcher);
    checkResultCell(where(WatcherCol) + QStringLiteral(" (unregister)"), cell(WatcherCol),
                    probe.unregisterWatcher);
}

} // namespace

TEST(FamilyTable, GuideHasOneRowPerFamilyUnderTheExpectedColumns) {
    const Table table = readGuideTable();
    ASSERT_TRUE(table.problem.isEmpty()) << table.problem.toStdString();
    ASSERT_EQ(table.headers.size(), int(ColumnCount));
    for (int i = 0; i < ColumnCount; ++i)
        EXPECT_EQ(table.headers[i].toStdString(), kHeaders[i]) << "column " << i + 1;
    EXPECT_EQ(table.rows.size(), kInstrumentFamilyCount);
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        const QStringList row = rowOf(table, QString::fromLatin1(family.name));
        ASSERT_FALSE(row.isEmpty()) << family.name;
        // The type number the detector records, in brackets after the name, and the line speed.
        EXPECT_TRUE(row.first().contains(QStringLiteral("(type %1)").arg(family.type)))
            << row.first().toStdString();
        EXPECT_TRUE(row.first().contains(QStringLiteral(", %1 baud").arg(family.baud)))
            << row.first().toStdString();
        for (int column = 1; column < row.size(); ++column)
            EXPECT_NE(parseCell(row[column]).kind, Cell::Unknown)
                << family.name << " / " << kHeaders[column] << ": \"" << row[column].toStdString() << "\"";
    }
}

TEST(FamilyTable, CapabilitiesOfTheFamilyTableAgreeWithTheGuide) {
    const Table table = readGuideTable();
    ASSERT_TRUE(table.problem.isEmpty()) << table.problem.toStdString();
    const struct {
        unsigned capability;
        Column column;
    } checks[] = {
        {CapColour, LvXyCol},       {CapColourTemperature, TcpCol}, {CapMeasureData, SevenValuesCol},
        {CapSpectrum, SpectrumCol}, {CapZeroCalibration, ZeroCol},  {CapPolledReading, LatestCol}};
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        const QStringList row = rowOf(table, QString::fromLatin1(family.name));
        ASSERT_EQ(row.size(), int(ColumnCount)) << family.name;
        for (const auto& check : checks) {
            const bool guideSaysYes = parseCell(row[check.column]).kind == Cell::Yes;
            EXPECT_EQ(InstrumentFamilyCan(family.type, check.capability), guideSaysYes)
                << family.name << " / " << kHeaders[check.column];
        }
        // A polled reading is taken during Measure itself, on the caller's thread.
        EXPECT_EQ(InstrumentFamilyCan(family.type, CapPolledReading),
                  row[MeasureCol].contains(QStringLiteral("on the caller's thread")))
            << family.name << " / " << kHeaders[MeasureCol];
    }
}

TEST(FamilyTable, SpectroradiometerRowMatchesItsDriver) {
    // Measure starts a worker thread; the others return promptly without an instrument.
    checkRow(QStringLiteral("spectro"), makeProbe<PrimedSpectro>(false, true, true));
}

TEST(FamilyTable, ColourAnalyserRowMatchesItsDriver) {
    checkRow(QStringLiteral("analyser"), makeProbe<PrimedAnalyser>(false, true, true));
}

TEST(FamilyTable, LuminanceMeterRowMatchesItsDriver) {
    // ReadLastestData polls until the instrument reports a finished measurement: not called here.
    checkRow(QStringLiteral("luminance"), makeProbe<PrimedLuminance>(true, true, false));
}

TEST(FamilyTable, PhotoResearchRowMatchesItsDriver) {
    // Measure refuses at once while the driver is not connected.
    checkRow(QStringLiteral("photoresearch"), makeProbe<PrimedPhotoResearch>(true, true, true));
}

TEST(FamilyTable, JingceRowMatchesItsDriver) {
    // Measure and ZeroCalibrate start worker threads.
    checkRow(QStringLiteral("jingce"), makeProbe<PrimedJingce>(false, false, true));
}

namespace {
// A family's driver, built by its type number as detection builds it.
std::unique_ptr<IMinolta> newDriver(int type) {
    switch (type) {
    case 0:
        return std::make_unique<CChromameterMinolta>(detectorLine());
    case 1:
        return std::make_unique<CChromameterMinoltaCas40>(detectorLine());
    case 2:
        return std::make_unique<CLuminanceMeter>(detectorLine());
    case 3:
        return std::make_unique<CPhotoResearch>(detectorLine());
    case 4:
        return std::make_unique<CChromameterWuHanJingCe>(detectorLine());
    default:
        return nullptr;
    }
}

class FamilyHandshake : public ::testing::TestWithParam<InstrumentFamily> {};
} // namespace

// A row in a test's description: its name, not its bytes.
static void PrintTo(const InstrumentFamily& family, std::ostream* os) {
    *os << family.name;
}

INSTANTIATE_TEST_SUITE_P(Families, FamilyHandshake, ::testing::ValuesIn(kInstrumentFamilies),
                         [](const ::testing::TestParamInfo<InstrumentFamily>& info) {
                             return std::string(info.param.name);
                         });

// The benchmark's detection floors count the line time of each family's answered handshake as the
// table gives it: those are the bytes the driver and its instrument really exchange in Connect.
TEST_P(FamilyHandshake, AnsweredHandshakeOfTheRowIsWhatDriverAndInstrumentExchange) {
    const InstrumentFamily& family = GetParam();
    std::unique_ptr<InstrumentModel> sim = CreateFamilyModel(QString::fromLatin1(family.name));
    ASSERT_TRUE(sim);
    ASSERT_TRUE(sim->start());
    ASSERT_TRUE(openDetectorPort(sim->portPath(), family.baud));
    std::unique_ptr<IMinolta> driver = newDriver(family.type);
    ASSERT_TRUE(driver);
    ASSERT_EQ(driver->Connect(), RESULT_OK);

    int commandBytes = 0, replyBytes = 0;
    for (const LineExchange& exchange : family.answeredHandshake) {
        commandBytes += exchange.commandBytes;
        replyBytes += exchange.replyBytes;
    }
    int heard = 0;
    for (const ReceivedChunk& chunk : sim->record())
        heard += chunk.bytes.size();
    EXPECT_GT(family.answeredHandshake.count, 0);
    EXPECT_EQ(heard, commandBytes);
    EXPECT_EQ(sim->bytesSent(), replyBytes);
    detectorPort().Close();
}
