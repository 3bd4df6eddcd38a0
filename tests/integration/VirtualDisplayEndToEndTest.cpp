// Family models in front of a virtual display, measured through the library as a host does it: the
// instrument reports the light of the patch on the display, in its own family's format. And the
// display's control channel, from another thread and from another process.

#include "AnalyserModel.h"
#include "Colorimetry.h"
#include "DisplayControl.h"
#include "DisplayControlServer.h"
#include "HostFixture.h"
#include "JingceModel.h"
#include "LuminanceModel.h"
#include "PhotoResearchModel.h"
#include "SpectroModel.h"
#include "VirtualDisplay.h"

#include <QElapsedTimer>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace {

const QString kSim = QStringLiteral(CHROMA_BINARY_DIR "/simulator/tool/chromameter-sim");

// The reply formats carry four decimals of x, y and Lv (the analyser and Jingce), five significant
// digits of Lv (Photo Research), or six (the spectroradiometer); the facade hands floats over.
const double kFourDecimals = 0.00005 + 1e-6;

template <class Model> class OnVirtualDisplay : public HostFixture<Model> {
protected:
    void SetUp() override {
        display = VirtualDisplay::FromText(QStringLiteral("srgb-ideal,peak=100"));
        ASSERT_NE(display, nullptr);
        this->model.attachDisplay(display);
        HostFixture<Model>::SetUp();
        ASSERT_NO_FATAL_FAILURE(this->createFacade());
        ASSERT_EQ(this->facade->Connect(), RESULT_OK);
    }

    // Lv, x, y of a measurement read as a host reads them.
    SChromameterMeasureData measureLvXy(bool tcp = false) {
        SChromameterMeasureData data = {-1, -1, -1, -1};
        EXPECT_EQ(this->measure(tcp), QStringLiteral("finished"));
        EXPECT_EQ(this->facade->ReadLvXy(data), RESULT_OK);
        return data;
    }

    // Checks a reading against the light of patch r, g, b fully shown: Lv within lvTolerance, x and
    // y within xyTolerance.
    void expectLightOf(const SChromameterMeasureData& data, double r, double g, double b, double lvTolerance,
                       double xyTolerance = kFourDecimals) {
        const Xyz light = display->SteadyLight(r, g, b);
        EXPECT_NEAR(data.Lv, light.Y, lvTolerance);
        EXPECT_NEAR(data.x, display->x(light), xyTolerance);
        EXPECT_NEAR(data.y, display->y(light), xyTolerance);
    }

    std::shared_ptr<VirtualDisplay> display;
};

using AnalyserOnVirtualDisplay = OnVirtualDisplay<AnalyserModel>;
using JingceOnVirtualDisplay = OnVirtualDisplay<JingceModel>;
using SpectroOnVirtualDisplay = OnVirtualDisplay<SpectroModel>;
using PhotoResearchOnVirtualDisplay = OnVirtualDisplay<PhotoResearchModel>;
using LuminanceOnVirtualDisplay = OnVirtualDisplay<LuminanceModel>;

const auto kLines = ::testing::Values(LineModel::realistic());

} // namespace

INSTANTIATE_TEST_SUITE_P(Lines, AnalyserOnVirtualDisplay, kLines, LineName);
INSTANTIATE_TEST_SUITE_P(Lines, JingceOnVirtualDisplay, kLines, LineName);
INSTANTIATE_TEST_SUITE_P(Lines, SpectroOnVirtualDisplay, kLines, LineName);
INSTANTIATE_TEST_SUITE_P(Lines, PhotoResearchOnVirtualDisplay, kLines, LineName);
INSTANTIATE_TEST_SUITE_P(Lines, LuminanceOnVirtualDisplay, kLines, LineName);

TEST_P(AnalyserOnVirtualDisplay, ReportsTheLightOfTheShownPatch) {
    display->Show(1, 0, 0);
    const SChromameterMeasureData red = measureLvXy();
    // sRGB red: 21.26 % of white's luminance at 0.64, 0.33.
    EXPECT_NEAR(red.Lv, 21.26, 0.01);
    EXPECT_NEAR(red.x, 0.64, kFourDecimals);
    EXPECT_NEAR(red.y, 0.33, kFourDecimals);
    expectLightOf(red, 1, 0, 0, kFourDecimals);

    display->Show(0.5, 0.5, 0.5);
    const SChromameterMeasureData grey = measureLvXy();
    EXPECT_NEAR(grey.x, 0.3127, kFourDecimals);
    expectLightOf(grey, 0.5, 0.5, 0.5, kFourDecimals);
}

TEST_P(AnalyserOnVirtualDisplay, ColourTemperatureIsThatOfTheDisplaysChromaticity) {
    display->Show(1, 1, 1);
    const SChromameterMeasureData data = measureLvXy(true);
    EXPECT_NEAR(data.Lv, 100.0, kFourDecimals);
    const CctResult cct = CctFromXy(0.3127, 0.3290);
    ASSERT_TRUE(cct.ok());
    EXPECT_NEAR(data.Tcp, cct.cct, 0.5 + 1e-3);
}

TEST_P(AnalyserOnVirtualDisplay, BlackGivesZeroLuminanceAtTheWhitesChromaticity) {
    display->Show(0, 0, 0);
    const SChromameterMeasureData data = measureLvXy();
    EXPECT_EQ(data.Lv, 0.0f);
    EXPECT_NEAR(data.x, 0.3127, kFourDecimals);
    EXPECT_NEAR(data.y, 0.3290, kFourDecimals);
}

TEST_P(AnalyserOnVirtualDisplay, APatchStillAppearingMixesWithTheOneBefore) {
    // A slow display: a measurement right after the change sees much of the old white; one taken
    // after the response time sees the black alone.
    display = VirtualDisplay::FromText(QStringLiteral("srgb-ideal,peak=100,response=400"));
    model.attachDisplay(display);
    display->Show(0, 0, 0);
    const SChromameterMeasureData early = measureLvXy();
    EXPECT_GT(early.Lv, 10.0f);
    pumpEvents(450);
    const SChromameterMeasureData settled = measureLvXy();
    EXPECT_EQ(settled.Lv, 0.0f);
}

TEST_P(AnalyserOnVirtualDisplay, WithoutTheDisplayTheConfiguredReadingIsBack) {
    display->Show(0, 1, 0);
    EXPECT_NEAR(measureLvXy().x, 0.30, kFourDecimals);
    model.attachDisplay(nullptr);
    const SChromameterMeasureData data = measureLvXy();
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
}

TEST_P(JingceOnVirtualDisplay, ReportsTheLightOfTheShownPatch) {
    display->Show(0, 0, 1);
    // Chromaticity travels as whole ten-thousandths.
    expectLightOf(measureLvXy(), 0, 0, 1, kFourDecimals);
}

TEST_P(SpectroOnVirtualDisplay, ReportsTheLightOfTheShownPatch) {
    display->Show(0, 1, 0);
    const Xyz green = display->SteadyLight(0, 1, 0);
    expectLightOf(measureLvXy(), 0, 1, 0, green.Y * 1e-5, 1e-5);
    double v1 = 0, v2 = 0, v3 = 0, lv = 0, x = 0, y = 0, v7 = 0;
    ASSERT_EQ(facade->ReadMeasureData(v1, v2, v3, lv, x, y, v7), RESULT_OK);
    EXPECT_NEAR(lv, green.Y, green.Y * 1e-5);
}

TEST_P(PhotoResearchOnVirtualDisplay, ReportsTheLightOfTheShownPatch) {
    display->Show(1, 0, 1);
    expectLightOf(measureLvXy(), 1, 0, 1, display->SteadyLight(1, 0, 1).Y * 1e-4);
}

TEST_P(LuminanceOnVirtualDisplay, ReportsTheLuminanceOfTheShownPatchAndNothingElse) {
    display->Show(0.5, 0.5, 0.5);
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_NEAR(facade->ReadLastestData(), display->SteadyLight(0.5, 0.5, 0.5).Y, 1e-9);
    SChromameterMeasureData data = {0.5f, 0.5f, 0.5f, 0.5f};
    EXPECT_EQ(facade->ReadLvXy(data), RESULT_FAIL);

    display->Show(0, 0, 0);
    ASSERT_EQ(facade->Measure(false), RESULT_OK);
    EXPECT_EQ(facade->ReadLastestData(), 0.0);
}

namespace {

// A host on its own: a facade and a watcher, detection pointed at one port.
class DisplayControlEndToEnd : public ::testing::Test {
protected:
    void TearDown() override {
        pumpEvents(100);
        CMinoltaVistor::GetInstance()->Unregister(&watcher);
    }

    // Connects to the instrument at `port`, measures once, and gives what the host reads.
    SChromameterMeasureData measureAt(const QString& port) {
        SChromameterMeasureData data = {-1, -1, -1, -1};
        CatalogueScope scope({port});
        IMinolta* created = nullptr;
        EXPECT_EQ(CreateChromameterMinolta(&created), RESULT_OK);
        facade.reset(created);
        facade->RegisterWatcher(&watcher);
        EXPECT_EQ(facade->Connect(), RESULT_OK);
        watcher.clear();
        EXPECT_EQ(MeasurementOutcome::measure(*facade, false, watcher, 15000).event,
                  QStringLiteral("finished"));
        EXPECT_EQ(facade->ReadLvXy(data), RESULT_OK);
        return data;
    }

    RecordingWatcher watcher;
    std::unique_ptr<IMinolta> facade;
};

// Reads the first `count` lines a process prints, waiting at most timeoutMs.
QStringList firstLines(QProcess& process, int count, int timeoutMs) {
    QByteArray out;
    QElapsedTimer clock;
    clock.start();
    while (out.count('\n') < count && clock.elapsed() < timeoutMs) {
        process.waitForReadyRead(100);
        out += process.readAllStandardOutput();
    }
    QStringList lines = QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return lines.mid(0, count);
}

} // namespace

TEST_F(DisplayControlEndToEnd, APatchShownFromAnotherThreadIsUpWhenTheAnswerComesAndIsMeasured) {
    std::shared_ptr<VirtualDisplay> display = VirtualDisplay::FromText(QStringLiteral("wide-lcd"));
    AnalyserModel model;
    model.attachDisplay(display);
    model.setLine(LineModel::realistic());
    ASSERT_TRUE(model.start());

    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    DisplayControlServer server(display);
    QString error;
    ASSERT_TRUE(server.listen(folder.filePath(QStringLiteral("display")), &error)) << qPrintable(error);

    std::atomic<bool> done{false};
    std::atomic<bool> sent{false};
    std::atomic<bool> shownWhenAnswered{false};
    std::thread client([&] {
        sent = SendDisplayShow(server.path(), 1, 0, 0, 5000);
        double r = 0, g = 0, b = 0;
        display->Shown(&r, &g, &b);
        shownWhenAnswered = r == 1.0 && g == 0.0 && b == 0.0;
        done = true;
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 10000));
    client.join();
    EXPECT_TRUE(sent);
    EXPECT_TRUE(shownWhenAnswered);
    EXPECT_EQ(server.patchesShown(), 1);

    const SChromameterMeasureData data = measureAt(model.portPath());
    const Xyz red = display->SteadyLight(1, 0, 0);
    EXPECT_NEAR(data.Lv, red.Y, kFourDecimals);
    // The LCD's black glows through: its red is a little short of the primary.
    EXPECT_NEAR(data.x, red.X / (red.X + red.Y + red.Z), kFourDecimals);
    EXPECT_NEAR(data.y, red.Y / (red.X + red.Y + red.Z), kFourDecimals);
    EXPECT_LT(data.x, 0.68);
}

TEST_F(DisplayControlEndToEnd, ARequestThatIsNoPatchIsRefusedAndTheDisplayKeepsItsPatch) {
    std::shared_ptr<VirtualDisplay> display = VirtualDisplay::FromText(QStringLiteral("srgb-ideal"));
    QTemporaryDir folder;
    DisplayControlServer server(display);
    ASSERT_TRUE(server.listen(folder.filePath(QStringLiteral("display"))));
    // Nobody listens here.
    QString missing;
    EXPECT_FALSE(SendDisplayShow(folder.filePath(QStringLiteral("nobody")), 0, 0, 0, 1000, &missing));
    EXPECT_TRUE(missing.contains(QStringLiteral("no virtual display")));

    // The client checks its values before sending; a raw line out of range is refused by the server.
    std::atomic<bool> done{false};
    QByteArray answer;
    std::thread client([&] {
        QLocalSocket socket;
        socket.connectToServer(server.path());
        if (socket.waitForConnected(2000)) {
            socket.write("show 0.5 2 0\n");
            socket.waitForBytesWritten(2000);
            while (!answer.contains('\n') && socket.waitForReadyRead(2000))
                answer += socket.readAll();
        }
        done = true;
    });
    EXPECT_TRUE(waitUntil([&] { return done.load(); }, 10000));
    client.join();
    EXPECT_TRUE(answer.startsWith("error ")) << answer.constData();
    EXPECT_EQ(server.patchesShown(), 0);
    double r = 0, g = 0, b = 0;
    display->Shown(&r, &g, &b);
    EXPECT_EQ(g, 1.0);
}

TEST_F(DisplayControlEndToEnd, ChromameterSimShowsWhatAnotherChromameterSimAsksAndMeasuresIt) {
    QProcess sim;
    sim.start(kSim, {QStringLiteral("analyser"), QStringLiteral("--sim-display"),
                     QStringLiteral("srgb-ideal,peak=100"), QStringLiteral("--quiet")});
    ASSERT_TRUE(sim.waitForStarted(10000));
    const QStringList lines = firstLines(sim, 2, 10000);
    ASSERT_EQ(lines.size(), 2);
    const QString port = lines[0];
    const QString control = lines[1];
    EXPECT_TRUE(port.contains(QStringLiteral("/dev/cu.usbserial-SIM")));

    QProcess show;
    show.start(kSim, {QStringLiteral("show"), control, QStringLiteral("0"), QStringLiteral("1"),
                      QStringLiteral("0")});
    ASSERT_TRUE(show.waitForFinished(10000));
    EXPECT_EQ(show.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(show.exitCode(), 0) << show.readAllStandardError().constData();

    const SChromameterMeasureData data = measureAt(port);
    EXPECT_NEAR(data.Lv, 71.52, 0.01);
    EXPECT_NEAR(data.x, 0.30, kFourDecimals);
    EXPECT_NEAR(data.y, 0.60, kFourDecimals);

    // Values outside 0..1 are the user's mistake: a usage error, nothing sent.
    QProcess wrong;
    wrong.start(kSim, {QStringLiteral("show"), control, QStringLiteral("0"), QStringLiteral("1.5"),
                       QStringLiteral("0")});
    ASSERT_TRUE(wrong.waitForFinished(10000));
    EXPECT_EQ(wrong.exitCode(), 2);

    facade.reset();
    sim.terminate();
    ASSERT_TRUE(sim.waitForFinished(10000));
    EXPECT_EQ(sim.exitCode(), 0);
    // The control socket went with the simulator.
    QProcess late;
    late.start(kSim, {QStringLiteral("show"), control, QStringLiteral("1"), QStringLiteral("1"),
                      QStringLiteral("1"), QStringLiteral("--timeout"), QStringLiteral("1000")});
    ASSERT_TRUE(late.waitForFinished(10000));
    EXPECT_EQ(late.exitCode(), 1);
}

TEST_P(SpectroOnVirtualDisplay, BlackGivesZeroLuminanceAtTheWhitesChromaticity) {
    display->Show(0, 0, 0);
    expectLightOf(measureLvXy(), 0, 0, 0, 0.0, 1e-5);
}

TEST_P(PhotoResearchOnVirtualDisplay, BlackGivesZeroLuminanceAtTheWhitesChromaticity) {
    display->Show(0, 0, 0);
    expectLightOf(measureLvXy(), 0, 0, 0, 0.0);
}

TEST_P(JingceOnVirtualDisplay, BlackGivesZeroLuminanceAtTheWhitesChromaticity) {
    display->Show(0, 0, 0);
    expectLightOf(measureLvXy(), 0, 0, 0, 0.0);
}
