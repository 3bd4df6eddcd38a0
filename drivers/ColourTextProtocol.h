#pragma once

#include "ReadBudget.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <initializer_list>

// The text protocol that the colour analyser and the Jingce colorimeter share ("COM", "ZRC", "MDS",
// "MES" commands answered by "OK00" / "ERnn" replies), as free functions that need no port.

// How long the colour analyser waits for each reply.
namespace AnalyserBudgets {
constexpr ReadBudget kComOn = {20, 50};
// The zero calibration run while entering remote mode, and one asked for later.
constexpr ReadBudget kConnectZero = {300, 100};
constexpr ReadBudget kZero = {100, 100};
constexpr ReadBudget kComOff = {5, 100};
// Each read of "MDS" and of "MES,1".
constexpr ReadBudget kMode = {1000, 30};
constexpr ReadBudget kMeasure = {1000, 30};
// Reads of one "MDS" or "MES" exchange until SetLimitTimes says otherwise.
constexpr int kDefaultLimit = 10;
} // namespace AnalyserBudgets

// The colour analyser's handshake with its own instrument, on the line: "COM,1\n", then the dated
// zero calibration "ZRC,1,yyyy,MM,dd,hh,mm,ss\n", each answered with "OK00\r\n".
inline constexpr LineExchange kAnalyserHandshakeExchanges[] = {{6, 6}, {26, 6}};

// How long the Jingce colorimeter waits for each reply.
namespace JingceBudgets {
// "COM,0" and then "COM,1", the handshake.
constexpr ReadBudget kHandshake = {3, 100};
constexpr ReadBudget kConnectZero = {100, 100};
constexpr ReadBudget kZero = {100, 100};
// "COM,0" of the sign-off.
constexpr ReadBudget kSignOff = {5, 100};
constexpr ReadBudget kMode = {100, 100};
constexpr ReadBudget kMeasure = {500, 250};
constexpr int kDefaultLimit = 10;
} // namespace JingceBudgets

// The Jingce colorimeter's handshake with its own instrument, on the line: "COM,0\r" and "COM,1\r",
// then the dated zero calibration "ZRC,1,yyyy,MM,dd,hh,mm,ss\r", each answered with "OK00\r\n".
inline constexpr LineExchange kJingceHandshakeExchanges[] = {{6, 6}, {6, 6}, {26, 6}};

// A reply field list is usable only with more than seven fields.
static const int COLOUR_MIN_REPLY_FIELDS = 8;

// Whether the reply holds `word` ("OK00", "OK04", "OK02") anywhere, case-sensitively.
bool ColourReplyContains(const QByteArray& reply, const char* word);

// Cuts a reply into fields at every comma. An empty field between two commas counts; a trailing
// comma adds no empty field; the line end stays part of the last field.
QStringList ColourCutFields(const QString& text);
// Field `index` of a comma-separated reply through single precision. False (value untouched) when
// the reply has fewer than eight fields. A field that does not convert gives 0.
bool ColourFieldValue(const QString& text, int index, double* value);

// Colour analyser, luminance-and-chromaticity mode: x, y, Lv are fields 3, 4, 5.
bool Cas40ParseLvxy(const QString& text, double* x, double* y, double* Lv);
// Colour analyser, colour-temperature mode: Tcp is field 3.
bool Cas40ParseTcp(const QString& text, double* Tcp);

// Jingce, luminance-and-chromaticity mode: "OK00 3127;3290;120.5": the second blank-separated part
// holds x and y scaled by 10000 and Lv, separated by semicolons; pieces after the third are ignored.
// False (values untouched) with fewer than two parts or fewer than three pieces.
bool JingceParseLvxy(const QString& text, double* x, double* y, double* Lv);
// Jingce, colour-temperature mode: Tcp is field 4 of the comma-separated reply.
bool JingceParseTcp(const QString& text, double* Tcp);

// The decision on the reply to a measure command, once it has arrived. A reply holding "OK00" is
// handed to `parse`, which stores the values it finds and answers whether it found them; when it
// finds none, every one of `values` is set to 0 and the decision is failure. Any other reply sets
// `values` to 0 first; then "OK04" is success where `ok04IsSuccess` (the luminance-and-chromaticity
// exchange only); else "OK02" calls `zeroCalibrate` (the instrument asks for one) and is success;
// anything else is failure.
bool ColourDecideMeasureReply(const QByteArray& reply, const std::function<bool(const QString&)>& parse,
                              std::initializer_list<double*> values, bool ok04IsSuccess,
                              const std::function<void()>& zeroCalibrate);

// The dated zero-calibration command "ZRC,1,yyyy,MM,dd,hh,mm,ss" followed by `terminator`.
QByteArray ColourZeroCalibrationCommand(const QDateTime& when, char terminator);

// The reply-wait loop of the measurement and display-mode exchanges, once the command has been sent.
// A counter starting at `limitTimes` is tested before each read (0 ends the loop in failure) and
// then decremented. A failed read is followed by another one while the port is still connected; the
// first reply that arrives decides. With `boundary` a decision of success counts only if the
// counter, after its decrement for the deciding read, is still above 0. A negative limit never
// reaches 0, so it reads on without bound.
struct ColourReplyLoopSteps {
    // One read of the channel; true with the reply when something arrived.
    std::function<bool(QByteArray*)> read;
    std::function<bool()> portConnected;
    // The reply's decision: true for success.
    std::function<bool(const QByteArray&)> decide;
};
bool ColourReplyLoop(int limitTimes, bool boundary, const ColourReplyLoopSteps& steps);
