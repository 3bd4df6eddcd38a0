#include "SpectroModel.h"

#include <cmath>

namespace {
const QByteArray kOk("OK00\r\n");
// What the instrument says to a command it does not know.
const QByteArray kRefused("ER00\r\n");
const QByteArray kSpectralPrefix("MEDR,1,0,");

// Radiance of the 555 nm luminous efficacy: Le = Lv / 683 for this purpose.
constexpr double kEfficacy = 683.0;
// Distance from the Planckian locus and dominant wavelength that the instrument reports beside the
// colour temperature; fixed values of a display white.
constexpr double kDuv = 0.0032;
constexpr double kDominantNm = 477.0;

QByteArray value(double v) {
    return QByteArray::number(v, 'g', 6);
}

// Relative spectral power of a display white: three primaries over a low floor, peak about 1.
double whiteShape(double nm) {
    auto band = [nm](double centre, double width) {
        const double d = (nm - centre) / width;
        return std::exp(-d * d);
    };
    return 0.002 + 0.75 * band(450.0, 12.0) + 1.0 * band(540.0, 22.0) + 0.8 * band(615.0, 14.0);
}
} // namespace

SpectroModel::SpectroModel() {
    setRequiredBaud(9600);
}

SpectroModel::~SpectroModel() {
    stop();
}

bool SpectroModel::inRemoteMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_remote;
}

int SpectroModel::measurementCount() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_measurements;
}

QByteArray SpectroModel::lvXyLine() const {
    const SimReading r = measuredReading();
    return "OK00," + value(r.x) + "," + value(r.y) + "," + value(r.Lv) + "\r\n";
}

QByteArray SpectroModel::colorimetricLine() const {
    const SimReading r = measuredReading();
    // Le, Lv, X, Y, Z, x, y, u', v', Tcp, duv, dominant wavelength.
    const double Y = r.Lv;
    const double X = r.y != 0.0 ? r.x / r.y * Y : 0.0;
    const double Z = r.y != 0.0 ? (1.0 - r.x - r.y) / r.y * Y : 0.0;
    const double d = -2.0 * r.x + 12.0 * r.y + 3.0;
    const double u = d != 0.0 ? 4.0 * r.x / d : 0.0;
    const double v = d != 0.0 ? 9.0 * r.y / d : 0.0;
    const double values[12] = {r.Lv / kEfficacy, r.Lv, X, Y, Z, r.x, r.y, u, v, r.Tcp, kDuv, kDominantNm};
    QByteArray line("OK00");
    for (double each : values)
        line += "," + value(each);
    return line + "\r\n";
}

QByteArray SpectroModel::spectralBlockLine(int block) const {
    if (block < 1 || block > 4)
        return QByteArray();
    // 100 wavelengths a block from 380 nm, the last block also carrying 780 nm.
    const int first = 380 + (block - 1) * 100;
    const int last = block == 4 ? 780 : first + 99;
    const double scale = measuredReading().Lv * 1e-4;
    QByteArray line("OK00");
    for (int nm = first; nm <= last; ++nm)
        line += "," + QByteArray::number(scale * whiteShape(nm), 'g', 4);
    return line + "\r\n";
}

QByteArray SpectroModel::terminators() const {
    // Commands end in CR (the LF after it is a blank line to the framing); a line that ends in LF
    // alone is another family's and is recognised by that.
    return QByteArray("\r\n");
}

void SpectroModel::onCommand(const QByteArray& command) {
    if (!command.endsWith('\r'))
        return;
    const QByteArray line = command.left(command.size() - 1);
    if (line == "STR,4") {
        answer(kRefused);
    } else if (line == "RMTS,1" || line == "RMTS,0") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_remote = line == "RMTS,1";
        }
        answer(kOk);
    } else if (line == "MEAS,1") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            ++m_measurements;
        }
        takeMeasurement();
        answerMeasurement(kOk, measureDelayMs());
    } else if (line == "MEDR,2,0,2") {
        answer(lvXyLine());
    } else if (line == "MEDR,2,0,0") {
        answer(colorimetricLine());
    } else if (line.startsWith(kSpectralPrefix)) {
        bool ok = false;
        const int block = line.mid(kSpectralPrefix.size()).toInt(&ok);
        if (ok)
            answer(spectralBlockLine(block));
    }
    // Anything else is not this instrument's command: it keeps quiet.
}
