#pragma once

#include <QByteArray>

#include <functional>

// Conversations that the colour analyser and the Jingce colorimeter hold alike, over the detector's
// port. Each driver passes its own command bytes, budgets and reply decisions.

// Sends the display-mode command (NUL-terminated, sent with its length) and waits for the first
// reply: true if it holds "OK00" anywhere. No success boundary: "OK00" on the last read still counts.
bool ColourChangeDisplayMode(const char* command, int limitTimes, int tries, int waitMs);

// Sends a measure command once, then the reply-wait loop with the success boundary; `decide` parses
// the first reply that arrives and stores its values.
bool ColourMeasureExchange(const char* command, int length, int limitTimes, int tries, int waitMs,
                           const std::function<bool(const QByteArray&)>& decide);

// Builds the zero-calibration command from the current local date and time, sends it and, if it
// was sent, reads its reply. *sent tells whether the command went out; the result whether a reply
// arrived (then in *reply).
bool ColourDatedZeroCalibration(char terminator, int tries, int waitMs, bool* sent, QByteArray* reply);

// Sends the sign-off command and reads its reply: true if it begins with "OK00".
bool ColourSignOff(const char* command, int length, int tries, int waitMs);

// The driver state a measurement thread keeps up to date.
struct ColourMeasureFlags {
    bool* measuring;
    bool* succeed;
    bool* readed;
    bool* connected;
};
// Body of a measurement thread around the driver's exchanges: busy while they run; on success the
// values become readable and the watchers hear of it; on failure they are told RESULT_FAIL, or
// RESULT_PORT_LOST when the port is gone (then the port is closed and the driver disconnected).
// Returns RESULT_OK or RESULT_FAIL.
unsigned long ColourRunMeasurement(const ColourMeasureFlags& flags, const std::function<bool()>& exchanges);

// Runs `body` on a new detached thread. A thread that cannot be created is raised as a system error
// "thread constructor failed"; it is not turned into a result code.
void ColourStartDetached(std::function<void()> body);
