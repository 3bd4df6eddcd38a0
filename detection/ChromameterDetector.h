#pragma once

#include "ChromameterMinoltaApi.h"
#include "IMinolta.h"
#include "InstrumentLine.h"
#include "SerialPortCross.h"

#include <QObject>
#include <QString>

typedef unsigned int DWORD;

// Process-wide owner of the serial port and of the current instrument driver.
class CHROMAMETER_API CChromameterDetector : public QObject {
    Q_OBJECT

public:
    CChromameterDetector();
    ~CChromameterDetector() override;

    static CChromameterDetector* GetInstance();

    unsigned int Write(const void* lpBuf, unsigned int dwCount);
    bool DetectByNumber(int* port);
    int FindProlificComNumber();
    bool TryConnect(QString portName);
    void ReleaseMinolta();
    void ReleaseBuf(char** buf);

    int m_nInstrumentType;
    IMinolta* m_pMinolta;
    SerialPortCross m_port;
    // What the drivers are given: m_port, written through doWrite.
    CInstrumentLine m_line;

    static CChromameterDetector* m_pInstance;

    class CClear {
    public:
        virtual ~CClear();
    };
    static CClear m_clear;

signals:
    DWORD doWrite(const void* lpBuf, DWORD dwCount);
};
