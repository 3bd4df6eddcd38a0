#pragma once

#include "IMinolta.h"

#include <QMutex>

class CInstrumentLine;

// Minolta spectroradiometer: ASCII commands ended by CR LF ("RMTS", "MEAS", "MEDR"), replies that
// begin with a four-character status. Talks through the detector's already-open port at 9600 baud.
//
// The declaration order of the virtual operations below is the order of the slots that a host sees
// through IChromameter; do not reorder.
class CChromameterMinolta : public IChromameter, public IMinolta {
public:
    // The driver talks on `line` (the detector's), which must outlive it.
    explicit CChromameterMinolta(CInstrumentLine& line);

    unsigned long Connect() override;
    unsigned long Disconnect() override;
    // Starts a measurement on a worker thread and returns 0 at once; the flag has no
    // meaning for this instrument.
    unsigned long Measure(bool flag) override;
    // Always -1.0: hosts poll it only to make the driver fetch the values (see ReadLvXy).
    double ReadLastestData() override;
    unsigned long ReadLvXy(SChromameterMeasureData& data) override;
    unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) override;
    unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv, double& x,
                                  double& y, double& value7) override;
    // One "MEDR,kind,zero,block" exchange. On 0 with an accepted reply, *reply receives a new
    // zero-filled 1024-byte buffer holding the whole reply (the caller frees it with delete[] or
    // CChromameterDetector::ReleaseBuf). After ten empty reads the result is 0 with no buffer stored.
    unsigned long MeasurementDataRead(char** reply, int kind, int zero, int block) override;
    ~CChromameterMinolta() override;
    // Watchers are kept by CMinoltaVistor, reached through the facade; the driver refuses them.
    unsigned long RegisterWatcher(IMinoltaWatcher* watcher) override;
    unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) override;
    // Bound on the reply reads of one measurement (default 30), stored as given.
    virtual void SetLimitTimes(int times);
    // The instrument has no zero calibration.
    virtual unsigned long ZeroCalibrate();

    // Body of the measurement worker thread; `self` is the driver. Its result is not read by anyone.
    static unsigned long MeasureThread(void* self);

protected:
    int m_nReserved;
    QMutex m_mutex; // serialises the starting of measurement threads
    double m_dLv;
    double m_dX;
    double m_dY;
    double m_dMeasure1;
    double m_dMeasure2;
    double m_dMeasure3;
    double m_dMeasure7;
    int m_nLimitTimes;

private:
    CInstrumentLine& m_line;
};
