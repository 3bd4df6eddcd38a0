#pragma once

#include "ReadBudget.h"

#include <QByteArray>

// How long the driver waits for each reply: the greeting and a stored result come at once; a
// measurement is polled once a second, the limit's number of times at most.
namespace PhotoResearchBudgets {
// "PHOTO" and "D1".
constexpr ReadBudget kAnswer = {3, 100};
// Each poll after "M1".
constexpr ReadBudget kPoll = {1, 1000};
constexpr int kDefaultLimit = 10;
} // namespace PhotoResearchBudgets

// What the Photo Research instrument says when it enters remote mode; only these first 12 bytes of
// its answer to "PHOTO" count, whatever follows them.
extern const char PHOTORESEARCH_GREETING[];
static const int PHOTORESEARCH_GREETING_LENGTH = 12;

// The handshake with its own instrument, on the line: "PHOTO" answered with the greeting and its
// line end.
inline constexpr LineExchange kPhotoResearchHandshakeExchanges[] = {{5, PHOTORESEARCH_GREETING_LENGTH + 2}};

// Whether a reply to "PHOTO" begins with the remote-mode greeting, leading blank included.
bool PhotoResearchIsRemoteModeGreeting(const QByteArray& reply);

// Whether `command` is one that the instrument answers with a measurement report ("M1\n" or "D1\n"),
// compared as whole strings. Null is not such a command.
bool PhotoResearchIsReportCommand(const char* command);

// A measurement report taken apart by position: status, an unexamined field, Lv, x, y.
struct PhotoResearchReport {
    // 0 when the status was "00000" and every value was found, otherwise 0x80000008.
    unsigned long result;
    // How many of Lv, x, y were converted before the report gave out: 0, 1 (Lv only) or 3. A report
    // cut after its luminance field has already yielded Lv, and the driver keeps it.
    int valuesTaken;
    // Converted at single precision and widened; a field that is not a number gives 0.
    double Lv;
    double x;
    double y;
};

// Parses the NUL-terminated report text. The status field must be exactly "00000"; the second field
// is skipped unread; Lv and x each need a comma after them; y is everything that remains (line end
// included, which the conversion ignores as surrounding blank).
PhotoResearchReport PhotoResearchParseReport(const char* reply);
