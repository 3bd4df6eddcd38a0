#pragma once

#include "IMinolta.h"

// Size of every reply buffer handed out by CChromameterCommand::Read.
static const int CHROMAMETER_REPLY_SIZE = 1024;

// Stateless command channel: writes through the detector's doWrite signal, reads from its port.
class CChromameterCommand : public IMinoltaCmd {
public:
    CChromameterCommand() {}
    ~CChromameterCommand() {}

    // Off the port's thread the write is queued to that thread; Send then returns once it has run, or
    // after at most 100 ms if that thread is busy (the write still runs later, in order). On the
    // port's own thread the write happens inside the call. The result is that of the detector's Write.
    bool Send(const char* data, int length) override;
    // *reply always receives a new zero-filled CHROMAMETER_REPLY_SIZE-byte buffer owned by the caller
    // (release with delete[] or CChromameterDetector::ReleaseBuf).
    bool Read(char** reply, int& length, int tries, int waitMs) override;
};
