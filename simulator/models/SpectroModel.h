#pragma once

#include "InstrumentModel.h"

#include <QByteArray>

// A Minolta spectroradiometer at 9600 baud. Commands end in CR LF: "RMTS,1" / "RMTS,0" (remote mode
// on and off, answered "OK00"), "MEAS,1" (measure: "OK00" once the measurement is done,
// measureDelayMs later), "MEDR,2,0,2" (x, y and Lv), "MEDR,2,0,0" (twelve colorimetric values) and
// "MEDR,1,0,n" for n = 1 to 4 (the spectrum from 380 to 780 nm at 1 nm, a block of it each). Every
// answer ends in CR LF. The colour analysers' identity probe "STR,4" (ended by a CR alone) is refused
// with "ER00". Anything else, such as a line ended by a line feed alone, is ignored.
class SpectroModel : public InstrumentModel {
public:
    SpectroModel();
    ~SpectroModel() override;

    bool inRemoteMode() const;
    // How many "MEAS,1" commands arrived.
    int measurementCount() const;

    // The replies for the current reading, as the instrument sends them.
    QByteArray lvXyLine() const;
    QByteArray colorimetricLine() const;
    // Block 1 to 4 of the spectrum; an empty array for any other block.
    QByteArray spectralBlockLine(int block) const;

protected:
    QByteArray terminators() const override;
    void onCommand(const QByteArray& command) override;

private:
    mutable std::mutex m_stateMutex;
    bool m_remote = false;
    int m_measurements = 0;
};
