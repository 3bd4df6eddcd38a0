#include "ChromameterCommand.h"

#include "ChromameterDetector.h"

#include <cstring>
#include <unistd.h>

bool CChromameterCommand::Send(const char* data, int length) {
    CChromameterDetector* detector = CChromameterDetector::GetInstance();
    return detector->Write(data, unsigned(length)) == unsigned(length);
}

bool CChromameterCommand::Read(char** reply, int& length, int tries, int waitMs) {
    // Allocated first, so the caller frees it on every path.
    *reply = new char[CHROMAMETER_REPLY_SIZE];
    std::memset(*reply, 0, CHROMAMETER_REPLY_SIZE);
    SerialPortCross& port = CChromameterDetector::GetInstance()->m_port;
    int total = 0;
    for (;;) {
        // The last byte always stays NUL, so the reply is a terminated string however long it was.
        const unsigned room = unsigned(CHROMAMETER_REPLY_SIZE - 1 - total);
        unsigned received = 0;
        const unsigned n = port.Read(*reply + total, 100, room, &received);
        total += int(n);
        if (total == 0) {
            if (!port.IsPortConnect()) {
                // The adapter is gone: stop waiting at once.
                port.Close();
                length = total;
                return false;
            }
            --tries;
            usleep(useconds_t(waitMs) * 1000);
        }
        // Bytes still flowing keep the exchange going, also those dropped because the buffer is full:
        // the whole reply is taken, and nothing of it is left for the next exchange.
        if (received != 0)
            continue;
        if (total != 0 || tries < 1) {
            length = total;
            return total != 0;
        }
    }
}
