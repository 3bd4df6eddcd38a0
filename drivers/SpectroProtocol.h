#pragma once

#include "ReadBudget.h"

#include <QByteArray>
#include <QList>

// Text protocol of the Minolta spectroradiometer: pieces that need no port, so that they can be
// checked and fuzzed on their own. Every reply starts with a four-character status ("OK00", "ERnn").

// How long the driver waits for each reply.
namespace SpectroBudgets {
// "STR,4" and "RMTS,1", the handshake.
constexpr ReadBudget kHandshake = {3, 100};
// "RMTS,0", the sign-off.
constexpr ReadBudget kRemoteOff = {5, 100};
// Each read of "MEAS,1" and of "MEDR".
constexpr ReadBudget kLong = {10, 1000};
// Reads of one "MEDR" exchange before giving up on the instrument.
constexpr int kDataReadAttempts = 10;
// Reads of one "MEAS,1" until SetLimitTimes says otherwise.
constexpr int kDefaultLimit = 30;
} // namespace SpectroBudgets

// The handshake with its own instrument, on the line: "STR,4\r" refused with "ER00\r\n", then
// "RMTS,1\r\n" answered with "OK00\r\n".
inline constexpr LineExchange kSpectroHandshakeExchanges[] = {{6, 6}, {8, 6}};

// The "MEDR" arguments: colorimetric values or a block of the spectrum.
constexpr int SPECTRO_MEDR_COLORIMETRIC = 2;
constexpr int SPECTRO_MEDR_SPECTRAL = 1;
// The colorimetric replies: "MEDR,2,0,2" carries x, y, Lv; "MEDR,2,0,0" the seven values.
constexpr int SPECTRO_MEDR_LVXY_BLOCK = 2;
constexpr int SPECTRO_MEDR_MEASURE_DATA_BLOCK = 0;
// The spectrum comes in blocks 1 to 4 of "MEDR,1,0,n" and spans 380 to 780 nm.
constexpr int SPECTRO_SPECTRAL_BLOCKS = 4;
constexpr int SPECTRO_SPECTRUM_START_NM = 380;
constexpr int SPECTRO_SPECTRUM_END_NM = 780;

// The "MEDR" command with its three integer arguments, as sent: "MEDR,a,b,c\r\n". Formatted into a
// 20-byte buffer as the instrument's command buffer is, so an absurdly long text is cut, never overrun.
QByteArray SpectroMedrCommand(int kind, int zero, int block);

// Whether `reply` (the exact bytes of one read) is the end of a measurement: six or ten bytes long,
// beginning with "OK00\r\n". The instrument's intermediate answers (such as "OK00,003\r\n") are not.
bool SpectroIsMeasureCompletion(const QByteArray& reply);

// atof in the C locale: leading white space skipped, then the longest decimal number at the start of
// `text` (sign, digits, point, exponent); 0 when there is none. The host's locale never changes how
// an instrument's decimal point is read.
double SpectroAtof(const char* text);

// The values of a colorimetric reply, in order: the reply (up to its first NUL) is cut into tokens
// at commas, the first token (the status) is skipped and every later one goes through SpectroAtof.
// As with strtok, empty tokens are not tokens; a reply without a comma has no values.
QList<double> SpectroReplyValues(const QByteArray& reply);

// Appends the values of one spectral block reply to `values`: the text after the status and its
// comma is split at commas and each field converted to single precision (0 when it is not a number,
// white space around it ignored). An empty field ends the split: the whole remaining text is then
// converted as one last value. A reply without a comma carries no values.
void SpectroAppendSpectralBlock(const QByteArray& reply, QList<float>& values);

// The values of a "MEDR,2,0,2" reply: value 0 is x, value 1 is y, value 2 is Lv. False (the record
// untouched) when the reply carries fewer than three values.
struct SpectroLvXy {
    double x;
    double y;
    double Lv;
};
bool SpectroParseLvXy(const QByteArray& reply, SpectroLvXy* values);

// The seven outputs of ReadMeasureData from a "MEDR,2,0,0" reply: values 2, 3, 4 are the first
// three, value 1 is Lv, values 5 and 6 are x and y, value 11 is the seventh. False (the record
// untouched) when the reply carries fewer than twelve values.
struct SpectroMeasureData {
    double value1;
    double value2;
    double value3;
    double Lv;
    double x;
    double y;
    double value7;
};
bool SpectroParseMeasureData(const QByteArray& reply, SpectroMeasureData* values);
