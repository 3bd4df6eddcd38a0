#pragma once

#include "InstrumentModel.h"

#include <QByteArray>

// A Photo Research instrument. Out of remote mode it listens only for the letters "PHOTO" (they come
// a character at a time, with no terminator) and greets with " REMOTE MODE". In remote mode it takes
// line commands: "M1" measures (the report comes measureDelayMs later), "D1" reports the result it
// holds; a lone "Q" leaves remote mode. Anything else, such as other instruments' probes on the same
// line, is ignored.
class PhotoResearchModel : public InstrumentModel {
public:
    PhotoResearchModel();
    ~PhotoResearchModel() override;

    // The report line for the current reading: "00000,<units>,<Lv>,<x>,<y>\r\n".
    QByteArray reportLine() const;
    // Whether the instrument is in remote mode (thread-safe snapshot).
    bool inRemoteMode() const;

protected:
    QByteArray terminators() const override;
    void onCommand(const QByteArray& bytes) override;

private:
    void takeByte(char c);
    void onLine(const QByteArray& line);

    // Touched only on the simulator thread, except m_remote which is read by inRemoteMode().
    QByteArray m_pending;
    bool m_remoteFlag = false;
    mutable std::mutex m_stateMutex;
};
