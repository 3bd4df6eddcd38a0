#pragma once

#include "IMinolta.h"

// Size of every reply buffer handed out by CChromameterCommand::Read.
static const int CHROMAMETER_REPLY_SIZE = 1024;

// Stateless command channel: writes through the detector's doWrite signal, reads from its port.
class CChromameterCommand : public IMinoltaCmd {
public:
    CChromameterCommand() {}
    ~CChromameterCommand() {}

    bool Send(const char* data, int length) override;
    // *reply always receives a new zero-filled CHROMAMETER_REPLY_SIZE-byte buffer owned by the caller
    // (release with delete[] or CChromameterDetector::ReleaseBuf).
    bool Read(char** reply, int& length, int tries, int waitMs) override;
};
