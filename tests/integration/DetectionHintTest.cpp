// The host's hint to detection (ChromameterSetDetectionHint): families named are tried first, the rest
// follow in type order, a named port is scanned first; no hint, or the hint cleared, leaves the plain
// order exactly; bad arguments change nothing. With CHROMAMETER_DETECT_ONLY_HINTED
// (ChromameterSetDetectionHintEx) the families named are the only ones tried.
#include "DetectionHint.h"
#include "ChromameterDetector.h"
#include "ChromameterMinoltaApi.h"
#include "InstrumentFamilies.h"
#include "InstrumentModel.h"
#include "ScriptedInstrument.h"
#include "SimFamilies.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

namespace {

std::unique_ptr<InstrumentModel> startModel(const char* family) {
    auto model = CreateFamilyModel(QString::fromLatin1(family));
    EXPECT_NE(model, nullptr);
    if (model) {
        EXPECT_TRUE(model->start());
    }
    return model;
}

// Clears the hint at the end of a test, whatever it set.
struct HintScope {
    ~HintScope() { ChromameterSetDetectionHint(nullptr, 0, nullptr); }
};

void hint(std::initializer_list<int> families, const char* port = nullptr) {
    const std::vector<int> list(families);
    ChromameterSetDetectionHint(list.data(), int(list.size()), port);
}

void hintOnly(std::initializer_list<int> families, const char* port = nullptr) {
    const std::vector<int> list(families);
    ChromameterSetDetectionHintEx(list.data(), int(list.size()), port, CHROMAMETER_DETECT_ONLY_HINTED);
}

// What the instrument heard, with the line speed of each piece: the conversation as the line saw it.
QList<QPair<int, QByteArray>> heard(const SimInstrument& sim) {
    QList<QPair<int, QByteArray>> pieces;
    for (const ReceivedChunk& chunk : sim.record()) {
        if (!pieces.isEmpty() && pieces.last().first == chunk.baud)
            pieces.last().second += chunk.bytes;
        else
            pieces.append(qMakePair(chunk.baud, chunk.bytes));
    }
    return pieces;
}

// The same with the clock taken out: the analyser's zero-calibration command carries the date and
// time to the second.
QList<QPair<int, QByteArray>> heardUndated(const SimInstrument& sim) {
    QList<QPair<int, QByteArray>> pieces = heard(sim);
    const QRegularExpression stamp(QStringLiteral("ZRC,1,\\d{4},\\d\\d,\\d\\d,\\d\\d,\\d\\d,\\d\\d"));
    for (auto& piece : pieces)
        piece.second =
            QString::fromLatin1(piece.second).replace(stamp, QStringLiteral("ZRC,1,<date>")).toLatin1();
    return pieces;
}

int handshakeCommandBytes(const InstrumentFamily& family) {
    int bytes = 0;
    for (const LineExchange& exchange : family.answeredHandshake)
        bytes += exchange.commandBytes;
    return bytes;
}

// With each family attached in turn and named by `setHint`, detection connects to it, and its
// instrument hears its own handshake and nothing else, all at its own line speed (115200 for the
// Jingce colorimeter, though it is tried first).
void expectEachNamedFamilyHearsOnlyItsOwnHandshake(void (*setHint)(std::initializer_list<int>, const char*)) {
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        SCOPED_TRACE(family.name);
        auto model = startModel(family.name);
        CatalogueScope catalogue({model->portPath()});
        setHint({family.type}, nullptr);
        CChromameterDetector* detector = CChromameterDetector::GetInstance();
        EXPECT_EQ(detector->FindProlificComNumber(), 1);
        EXPECT_EQ(detector->m_nInstrumentType, family.type);
        const auto pieces = heard(*model);
        ASSERT_EQ(pieces.size(), 1);
        EXPECT_EQ(pieces.first().first, family.baud);
        EXPECT_EQ(pieces.first().second.size(), handshakeCommandBytes(family))
            << pieces.first().second.toStdString();
        detector->ReleaseMinolta();
        model->stop();
    }
}

} // namespace

TEST(DetectionHint, NamedFamilyIsTheOnlyOneItsInstrumentHears) {
    HintScope scope;
    expectEachNamedFamilyHearsOnlyItsOwnHandshake(hint);
}

TEST(DetectionHint, WrongFamilyFirstThenThePlainOrderFindsTheInstrument) {
    HintScope scope;
    auto model = startModel("analyser");
    CatalogueScope catalogue({model->portPath()});
    hint({4});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    // The Jingce colorimeter's trial at 115200, then the port back at 9600 for the spectroradiometer
    // and the analyser, which answers.
    const auto pieces = heard(*model);
    ASSERT_EQ(pieces.size(), 2);
    EXPECT_EQ(pieces[0].first, 115200);
    EXPECT_TRUE(pieces[0].second.startsWith("COM,0\r")) << pieces[0].second.toStdString();
    EXPECT_EQ(pieces[1].first, 9600);
    EXPECT_TRUE(pieces[1].second.startsWith("STR,4\r")) << pieces[1].second.toStdString();
    EXPECT_TRUE(pieces[1].second.contains("COM,1\n"));
    EXPECT_TRUE(detector->m_port.IsOpen());
}

TEST(DetectionHint, ClearedHintGivesThePlainOrderByteForByte) {
    HintScope scope;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    QList<QPair<int, QByteArray>> plain;
    {
        auto model = startModel("analyser");
        CatalogueScope catalogue({model->portPath()});
        EXPECT_EQ(detector->FindProlificComNumber(), 1);
        EXPECT_EQ(detector->m_nInstrumentType, 1);
        plain = heardUndated(*model);
        detector->ReleaseMinolta();
        model->stop();
    }
    hint({1, 4}, "/dev/cu.usbserial-ELSEWHERE");
    ChromameterSetDetectionHint(nullptr, 0, nullptr);
    auto model = startModel("analyser");
    CatalogueScope catalogue({model->portPath()});
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    ASSERT_FALSE(plain.isEmpty());
    EXPECT_EQ(heardUndated(*model), plain);
    // The spectroradiometer was tried before it, at 9600.
    EXPECT_EQ(plain.size(), 1);
    EXPECT_TRUE(plain.first().second.startsWith("STR,4\r"));
    EXPECT_TRUE(plain.first().second.contains("ZRC,1,<date>\n"));
}

TEST(DetectionHint, BadArgumentsAreLoggedAndChangeNothing) {
    HintScope scope;
    hint({4, 1}, "/dev/cu.usbserial-KEPT");
    MessageCapture log;
    hint({2, 5});
    hint({-1});
    ChromameterSetDetectionHint(nullptr, 2, nullptr);
    ChromameterSetDetectionHint(nullptr, -1, "/dev/cu.usbserial-OTHER");
    EXPECT_EQ(log.count(QStringLiteral("detection hint not changed")), 4)
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("family 5 is not one of 0 to 4")));
    const DetectionHint kept = DetectionHintSnapshot();
    EXPECT_EQ(kept.families, QVector<int>({4, 1}));
    EXPECT_EQ(kept.port, QStringLiteral("/dev/cu.usbserial-KEPT"));
}

TEST(DetectionHint, NamedPortIsScannedFirst) {
    HintScope scope;
    auto first = startModel("analyser");
    auto second = startModel("analyser");
    CatalogueScope catalogue({first->portPath(), second->portPath()});
    const QByteArray secondPath = second->portPath().toUtf8();
    hint({1}, secondPath.constData());
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    EXPECT_TRUE(second->received().startsWith("COM,1\n"));
    pumpEvents(100);
    EXPECT_TRUE(first->received().isEmpty());
}

TEST(DetectionHint, PortMissingFromTheListIsLoggedAndIgnored) {
    HintScope scope;
    auto model = startModel("analyser");
    CatalogueScope catalogue({model->portPath()});
    hint({1}, "/dev/cu.usbserial-NOT-THERE");
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 1);
    EXPECT_TRUE(log.contains(QStringLiteral("port /dev/cu.usbserial-NOT-THERE is not in the list, ignored")))
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(model->received().startsWith("COM,1\n"));
}

TEST(DetectionHint, HintSetDuringADetectionAppliesFromTheNextOne) {
    HintScope scope;
    auto model = startModel("analyser");
    CatalogueScope catalogue({model->portPath()});
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    // Set from another thread while the spectroradiometer's trial runs.
    std::thread setter([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        hint({1});
    });
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    setter.join();
    EXPECT_TRUE(model->received().startsWith("STR,4\r")) << model->received().toStdString();

    auto next = startModel("analyser");
    CatalogueScope nextCatalogue({next->portPath()});
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_TRUE(next->received().startsWith("COM,1\n")) << next->received().toStdString();
    EXPECT_FALSE(next->received().contains("STR,4"));
}

TEST(DetectionHint, OnlyHintNamingTheAttachedFamilyConnectsAndNoOtherFamilyIsHeard) {
    HintScope scope;
    expectEachNamedFamilyHearsOnlyItsOwnHandshake(hintOnly);
}

TEST(DetectionHint, OnlyHintTriesTheNamedFamiliesInTheHostsOrder) {
    HintScope scope;
    // The analyser named before the spectroradiometer that is attached: against the type order.
    auto model = startModel("spectro");
    CatalogueScope catalogue({model->portPath()});
    hintOnly({1, 0});
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    EXPECT_EQ(detector->FindProlificComNumber(), 1);
    EXPECT_EQ(detector->m_nInstrumentType, 0);
    EXPECT_TRUE(log.contains(QStringLiteral("detection hint: only analyser, spectro tried")))
        << log.lines().join('\n').toStdString();
    EXPECT_EQ(log.count(QStringLiteral("detection tries ")), 2) << log.lines().join('\n').toStdString();
    const auto pieces = heard(*model);
    ASSERT_EQ(pieces.size(), 1);
    EXPECT_EQ(pieces.first().first, 9600);
    EXPECT_TRUE(pieces.first().second.startsWith("COM,1\n")) << pieces.first().second.toStdString();
    EXPECT_TRUE(pieces.first().second.contains("STR,4\r"));
}

TEST(DetectionHint, OnlyHintNamingAnAbsentFamilyFailsWithinThatFamilysBudget) {
    HintScope scope;
    // The analyser attached, the Jingce colorimeter alone named: in the plain order, or with a plain
    // hint, detection would go on to the analyser and find it.
    auto model = startModel("analyser");
    CatalogueScope catalogue({model->portPath()});
    hintOnly({4});
    MessageCapture log;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(detector->FindProlificComNumber(), -1);
    const qint64 elapsedMs = clock.elapsed();
    EXPECT_EQ(detector->m_nInstrumentType, -1);
    EXPECT_EQ(log.count(QStringLiteral("detection tries ")), 1) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("detection tries jingce (type 4) at 115200 baud")));
    pumpEvents(100);
    // The Jingce colorimeter's handshake at 115200 and nothing at any other speed.
    const auto pieces = heard(*model);
    ASSERT_EQ(pieces.size(), 1);
    EXPECT_EQ(pieces.first().first, 115200);
    EXPECT_TRUE(pieces.first().second.startsWith("COM,0\r")) << pieces.first().second.toStdString();
    EXPECT_FALSE(pieces.first().second.contains("STR,4"));
    const InstrumentFamily& jingce = *InstrumentFamilyOf(4);
    std::printf("only the jingce named, analyser attached: detection failed in %lld ms (jingce's failing "
                "budget %d ms, a silent full scan %d ms)\n",
                static_cast<long long>(elapsedMs), SilentTrialMs(jingce), SilentDetectionMs());
    RecordProperty("only_hint_wrong_family_ms", int(elapsedMs));
    // It sleeps its budget at the least, and on a busy machine takes longer, but nowhere near the
    // other four families' trials.
    EXPECT_GE(elapsedMs, SilentTrialSleptMs(jingce));
    EXPECT_LT(elapsedMs, SilentDetectionMs());
}

TEST(DetectionHint, ClearingTheOnlyHintRestoresThePlainOrder) {
    HintScope scope;
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    for (int clearWithEx = 0; clearWithEx < 2; ++clearWithEx) {
        SCOPED_TRACE(clearWithEx ? "cleared with ChromameterSetDetectionHintEx"
                                 : "cleared with ChromameterSetDetectionHint");
        hintOnly({4}, "/dev/cu.usbserial-ELSEWHERE");
        if (clearWithEx)
            ChromameterSetDetectionHintEx(nullptr, 0, nullptr, 0);
        else
            ChromameterSetDetectionHint(nullptr, 0, nullptr);
        const DetectionHint cleared = DetectionHintSnapshot();
        EXPECT_FALSE(cleared.only);
        EXPECT_TRUE(cleared.families.isEmpty());
        EXPECT_TRUE(cleared.port.isEmpty());
        auto model = startModel("analyser");
        CatalogueScope catalogue({model->portPath()});
        EXPECT_EQ(detector->FindProlificComNumber(), 1);
        EXPECT_EQ(detector->m_nInstrumentType, 1);
        // The spectroradiometer, then the analyser, all at 9600: nothing of the Jingce's trial.
        const auto pieces = heard(*model);
        ASSERT_EQ(pieces.size(), 1);
        EXPECT_EQ(pieces.first().first, 9600);
        EXPECT_TRUE(pieces.first().second.startsWith("STR,4\r")) << pieces.first().second.toStdString();
        EXPECT_TRUE(pieces.first().second.contains("COM,1\n"));
        detector->ReleaseMinolta();
        model->stop();
    }
}

TEST(DetectionHint, BadFlagsAndArgumentsOfTheOnlyHintAreLoggedAndChangeNothing) {
    HintScope scope;
    hintOnly({4, 1}, "/dev/cu.usbserial-KEPT");
    MessageCapture log;
    const int analyser[] = {1};
    ChromameterSetDetectionHintEx(analyser, 1, nullptr, 0x2u);
    ChromameterSetDetectionHintEx(analyser, 1, nullptr, CHROMAMETER_DETECT_ONLY_HINTED | 0x80000000u);
    ChromameterSetDetectionHintEx(nullptr, 0, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    ChromameterSetDetectionHintEx(analyser, 0, "/dev/cu.usbserial-OTHER", CHROMAMETER_DETECT_ONLY_HINTED);
    ChromameterSetDetectionHintEx(nullptr, 1, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    ChromameterSetDetectionHintEx(analyser, -1, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    const int outside[] = {2, 5};
    ChromameterSetDetectionHintEx(outside, 2, nullptr, CHROMAMETER_DETECT_ONLY_HINTED);
    EXPECT_EQ(log.count(QStringLiteral("detection hint not changed")), 7)
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("unknown flags 0x2")));
    EXPECT_TRUE(log.contains(QStringLiteral("unknown flags 0x80000000")));
    EXPECT_TRUE(log.contains(QStringLiteral("no family named")));
    EXPECT_TRUE(log.contains(QStringLiteral("family 5 is not one of 0 to 4")));
    const DetectionHint kept = DetectionHintSnapshot();
    EXPECT_EQ(kept.families, QVector<int>({4, 1}));
    EXPECT_EQ(kept.port, QStringLiteral("/dev/cu.usbserial-KEPT"));
    EXPECT_TRUE(kept.only);
    // The plain call leaves the only-hint off.
    hint({1});
    EXPECT_FALSE(DetectionHintSnapshot().only);
}
