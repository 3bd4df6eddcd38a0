// Public interface of the ChromameterMinolta instrument library.
//
// A host obtains one IMinolta* from the exported factory CreateChromameterMinolta and talks to the
// instrument only through it. The virtual-operation order of every class below is a binary contract
// with the host: never reorder, insert or remove a virtual function.
#pragma once

#include <QList>

// Result codes: 32-bit patterns carried in an unsigned long. Only RESULT_OK is success.
static const unsigned long RESULT_OK = 0x00000000UL;
static const unsigned long RESULT_FAIL = 0x80000008UL;
static const unsigned long RESULT_NOT_SUPPORTED = 0xE0830002UL;
static const unsigned long RESULT_NOT_AVAILABLE = 0xE0830003UL;
// A measurement or data read failed because the serial port was lost (the driver closed it).
static const unsigned long RESULT_PORT_LOST = 0xE0833000UL;

// The record filled by ReadLvXy: four consecutive single-precision floats.
struct SChromameterMeasureData {
    float x;
    float y;
    float Lv;
    float Tcp;
};

// Observer implemented by the host. The library calls these five operations, in this slot order.
class IMinoltaWatcher {
public:
    virtual void OnMeasureFinished() = 0;
    virtual void OnMeasureFailed(unsigned long code) = 0;
    virtual void OnConnected() = 0;
    virtual void OnDisconnected() = 0;
    virtual void OnZeroCalibrated(unsigned long code) = 0;

protected:
    ~IMinoltaWatcher() = default;
};

// Root of the instrument interfaces. No virtual destructor: objects are deleted through IMinolta.
class IMinoltaMethod {
public:
    virtual unsigned long Connect() = 0;
    virtual unsigned long Disconnect() = 0;
    virtual unsigned long Measure(bool) = 0;
    virtual double ReadLastestData() = 0;
    virtual unsigned long ReadLvXy(SChromameterMeasureData& data) = 0;
    virtual unsigned long ReadSpectralData(QList<float>& values, int& startNm, int& endNm) = 0;
    virtual unsigned long ReadMeasureData(double& value1, double& value2, double& value3, double& Lv,
                                          double& x, double& y, double& value7) = 0;

protected:
    ~IMinoltaMethod() = default;
};

// Primary interface of the colour-measuring drivers.
class IChromameter : public IMinoltaMethod {
public:
    virtual unsigned long MeasurementDataRead(char** reply, int a, int b, int c) = 0;

protected:
    ~IChromameter() = default;
};

// Primary interface of the luminance meter driver.
class ILuminanceMeter : public IMinoltaMethod {
public:
    virtual unsigned long Polling() = 0;

protected:
    ~ILuminanceMeter() = default;
};

// What the host sees.
class IMinolta : public IMinoltaMethod {
public:
    virtual ~IMinolta() {}
    virtual bool IsConnected() { return m_bConnected; }
    // Also true while a measurement is still running, whatever its outcome will be.
    virtual bool IsMeasureSucced() { return m_bMeasuring ? true : m_bMeasureSucceed; }
    virtual bool IsReaded() { return m_bReaded; }
    virtual unsigned long RegisterWatcher(IMinoltaWatcher* watcher) = 0;
    virtual unsigned long UnregisterWatcher(IMinoltaWatcher* watcher) = 0;

protected:
    bool m_bConnected = false;
    bool m_bMeasuring = false;
    bool m_bMeasureSucceed = false;
    int m_nType = -1;
    bool m_bReaded = false;
};

// Command channel used by the drivers.
class IMinoltaCmd {
public:
    virtual bool Send(const char* data, int length) = 0;
    virtual bool Read(char** reply, int& length, int tries, int waitMs) = 0;

protected:
    ~IMinoltaCmd() = default;
};
