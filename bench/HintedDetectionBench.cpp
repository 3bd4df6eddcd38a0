#include "HintedDetectionBench.h"

#include "BenchText.h"

#include "ChromameterDetector.h"
#include "ChromameterMinoltaApi.h"
#include "InstrumentFamilies.h"
#include "InstrumentModel.h"
#include "ProtocolFloors.h"
#include "SimFamilies.h"

#include <QElapsedTimer>
#include <QString>

#include <algorithm>
#include <memory>

namespace {

// The median of `runs` detections of the family `type` on a fresh simulator on `cable`, with `hint`
// set (empty: none) under `flags`. *missed counts the runs whose outcome was not the expected one:
// the family found, unless only hinted families are tried and it is not one of them.
double detectionMs(IMinolta* facade, int type, const LineModel& cable, const std::vector<int>& hint, int runs,
                   int* missed, unsigned int flags = 0) {
    ChromameterSetDetectionHintEx(hint.data(), int(hint.size()), nullptr, flags);
    const bool expectFound =
        !(flags & CHROMAMETER_DETECT_ONLY_HINTED) || std::find(hint.begin(), hint.end(), type) != hint.end();
    std::vector<double> ms;
    for (int run = 0; run < runs; ++run) {
        std::unique_ptr<InstrumentModel> model = CreateFamilyModel(SimFamilyName(type));
        if (model)
            model->setLine(cable);
        if (!model || !model->start()) {
            ++*missed;
            continue;
        }
        const QByteArray name = model->portPath().toUtf8();
        const char* names[] = {name.constData()};
        const char* descriptions[] = {"USB-Serial Controller"};
        ChromameterSetPortCatalogue(names, descriptions, 1);
        QElapsedTimer timer;
        timer.start();
        const unsigned long rc = facade->Connect();
        ms.push_back(double(timer.nsecsElapsed()) / 1e6);
        const bool found = rc == RESULT_OK && CChromameterDetector::GetInstance()->m_nInstrumentType == type;
        if (found != expectFound)
            ++*missed;
        facade->Disconnect();
    }
    ChromameterSetDetectionHint(nullptr, 0, nullptr);
    return BenchQuantile(ms, 0.5);
}

// The family's own handshake answered at once on `cable`: its detection floor without the trials
// of the families before it.
double ownHandshakeFloorMs(int type, const LineModel& cable) {
    double ms = DetectionFloorMs(type, cable);
    for (int before = 0; before < type; ++before)
        ms -= SilentTrialMs(kInstrumentFamilies[before]);
    return ms;
}

QString missedText(int missed) {
    return missed ? QStringLiteral(" (%1 runs did not detect the family!)").arg(missed) : QString();
}

} // namespace

void BenchHintedDetection(const std::vector<LineModel>& lines, int runs, IMinolta* facade) {
    BenchLine(
        QStringLiteral("## 1b. Detection with a hint (median of %1 runs). Right hint: the attached family "
                       "named; floor = its own handshake answered at once on the line. Wrong hint: the "
                       "Jingce colorimeter named, the analyser attached; bound = the plain detection "
                       "measured in the same run + the Jingce trial's failing budget. Only the Jingce "
                       "colorimeter tried, the analyser attached: bound = the Jingce trial's failing "
                       "budget")
            .arg(runs));
    for (const LineModel& cable : lines) {
        for (const InstrumentFamily& family : kInstrumentFamilies) {
            int missed = 0;
            const double ms = detectionMs(facade, family.type, cable, {family.type}, runs, &missed);
            const double floor = ownHandshakeFloorMs(family.type, cable);
            const double ratio = ms / floor;
            BenchLine(
                QStringLiteral("detection, right hint %1 (type %2) %3: median %4 ms, floor %5 ms, ratio %6 "
                               "[goal <= 1.10: %7]%8")
                    .arg(QLatin1String(family.name), -13)
                    .arg(family.type)
                    .arg(cable.name(), -8)
                    .arg(ms, 0, 'f', 1)
                    .arg(floor, 0, 'f', 1)
                    .arg(ratio, 0, 'f', 3)
                    .arg(BenchGoal(ratio <= 1.10))
                    .arg(missedText(missed)));
        }
        const int attached = 1;
        const InstrumentFamily& hinted = kInstrumentFamilies[4];
        int missed = 0;
        const double plain = detectionMs(facade, attached, cable, {}, runs, &missed);
        const double wrong = detectionMs(facade, attached, cable, {hinted.type}, runs, &missed);
        const double bound = plain + SilentTrialMs(hinted);
        const double ratio = wrong / bound;
        BenchLine(
            QStringLiteral("detection, wrong hint %1 with analyser attached %2: median %3 ms, plain %4 ms + "
                           "%5 failing budget %6 ms = %7 ms, ratio %8 [goal <= 1.10: %9]%10")
                .arg(QLatin1String(hinted.name))
                .arg(cable.name(), -8)
                .arg(wrong, 0, 'f', 1)
                .arg(plain, 0, 'f', 1)
                .arg(QLatin1String(hinted.name))
                .arg(SilentTrialMs(hinted))
                .arg(bound, 0, 'f', 1)
                .arg(ratio, 0, 'f', 3)
                .arg(BenchGoal(ratio <= 1.10))
                .arg(missedText(missed)));

        int connected = 0;
        const double only = detectionMs(facade, attached, cable, {hinted.type}, runs, &connected,
                                        CHROMAMETER_DETECT_ONLY_HINTED);
        const double onlyRatio = only / SilentTrialMs(hinted);
        BenchLine(QStringLiteral(
                      "detection, only %1 tried with analyser attached %2: median %3 ms, %4 failing budget "
                      "%5 ms, ratio %6 [goal <= 1.10: %7]%8")
                      .arg(QLatin1String(hinted.name))
                      .arg(cable.name(), -8)
                      .arg(only, 0, 'f', 1)
                      .arg(QLatin1String(hinted.name))
                      .arg(SilentTrialMs(hinted))
                      .arg(onlyRatio, 0, 'f', 3)
                      .arg(BenchGoal(onlyRatio <= 1.10))
                      .arg(connected
                               ? QStringLiteral(" (%1 runs connected to another family!)").arg(connected)
                               : QString()));
    }
}
