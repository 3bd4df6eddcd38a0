#pragma once

#include <QByteArray>
#include <QList>

// Text protocol of the Minolta spectroradiometer: pieces that need no port, so that they can be
// checked and fuzzed on their own. Every reply starts with a four-character status ("OK00", "ERnn").

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
