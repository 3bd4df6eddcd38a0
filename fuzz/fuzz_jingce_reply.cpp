// The Jingce colorimeter's replies: the blank-and-semicolon reply of the luminance-and-chromaticity
// mode ("OK00 3127;3290;120.5") and the comma reply of the colour-temperature mode (field 4).

#include "FuzzCheck.h"
#include "drivers/ColourTextProtocol.h"
#include "transport/ReplyText.h"

#include <QString>
#include <QStringList>

namespace {

const double kUntouched = -12345.5;

// The second blank-separated part of the text, found by hand: between the first blank and the next
// one (or the end). False when the text holds no blank.
bool secondPart(const QString& text, QString* part) {
    const int first = text.indexOf(QLatin1Char(' '));
    if (first < 0)
        return false;
    const int second = text.indexOf(QLatin1Char(' '), first + 1);
    *part = second < 0 ? text.mid(first + 1) : text.mid(first + 1, second - first - 1);
    return true;
}

void checkLvxy(const QString& text) {
    double x = kUntouched, y = kUntouched, Lv = kUntouched;
    const bool parsed = JingceParseLvxy(text, &x, &y, &Lv);

    QString part;
    const bool hasPart = secondPart(text, &part);
    const bool expected = hasPart && part.count(QLatin1Char(';')) >= 2;
    FUZZ_CHECK(parsed == expected);
    if (!parsed) {
        FUZZ_CHECK(x == kUntouched && y == kUntouched && Lv == kUntouched);
        return;
    }
    // The first three pieces; anything after the third is ignored. Chromaticity comes scaled by
    // 10000 and is divided in single precision, the luminance is taken as it is.
    const QStringList pieces = part.split(QLatin1Char(';'));
    FUZZ_CHECK(FuzzSameValue(x, double(pieces.at(0).toFloat() / 10000.0f)));
    FUZZ_CHECK(FuzzSameValue(y, double(pieces.at(1).toFloat() / 10000.0f)));
    FUZZ_CHECK(FuzzSameValue(Lv, double(pieces.at(2).toFloat())));
    for (double value : {x, y, Lv})
        FUZZ_CHECK(FuzzSameValue(double(float(value)), value));
}

void checkTcp(const QString& text) {
    double Tcp = kUntouched;
    const bool parsed = JingceParseTcp(text, &Tcp);
    const QStringList fields = ColourCutFields(text);
    FUZZ_CHECK(parsed == (fields.size() >= COLOUR_MIN_REPLY_FIELDS));
    if (parsed)
        FUZZ_CHECK(FuzzSameValue(Tcp, double(fields.at(4).toFloat())));
    else
        FUZZ_CHECK(Tcp == kUntouched);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray reply = FuzzReply(data, size);
    // As the driver hands it over: the text up to the first NUL.
    const QString text = QString::fromLatin1(ReplyText(reply));
    checkLvxy(text);
    checkTcp(text);
    // And as raw text that still holds NUL bytes and everything after them.
    const QString whole = QString::fromLatin1(reply);
    checkLvxy(whole);
    checkTcp(whole);
    return 0;
}
