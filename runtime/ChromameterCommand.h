#pragma once

#include "IMinolta.h"
#include "ReplyText.h"

class CInstrumentLine;

// Command channel over the line a driver was given: writes go through the line's write (the
// detector's doWrite signal), reads come from its port. It keeps nothing between exchanges.
class CChromameterCommand : public IMinoltaCmd {
public:
    explicit CChromameterCommand(CInstrumentLine& line) : m_line(line) {}
    ~CChromameterCommand() {}

    // Off the port's thread the write is queued to that thread; Send then returns once it has run, or
    // after at most 100 ms if that thread is busy (the write still runs later, in order). On the
    // port's own thread the write happens inside the call. The result is that of the line's Write.
    bool Send(const char* data, int length) override;
    // *reply always receives a new zero-filled CHROMAMETER_REPLY_SIZE-byte buffer owned by the caller
    // (release with delete[] or CChromameterDetector::ReleaseBuf).
    bool Read(char** reply, int& length, int tries, int waitMs) override;

private:
    CInstrumentLine& m_line;
};
