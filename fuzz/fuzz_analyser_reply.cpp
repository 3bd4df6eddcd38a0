// The colour analyser's replies: the text view of a reply, the status looked for anywhere in it, the
// cut into comma fields and the values taken from fields 3 to 5 (or 3 alone for the colour
// temperature), exactly as the driver's measurement exchange applies them.

#include "FuzzCheck.h"
#include "drivers/ColourTextProtocol.h"
#include "transport/ReplyText.h"

#include <QString>
#include <QStringList>

namespace {

const double kUntouched = -12345.5;

// The cut must give back the text: fields joined by commas are the text, less one trailing comma.
void checkFields(const QString& text) {
    const QStringList fields = ColourCutFields(text);
    const int commas = text.count(QLatin1Char(','));
    const bool trailingComma = text.endsWith(QLatin1Char(','));
    if (text.isEmpty()) {
        FUZZ_CHECK(fields.isEmpty());
        return;
    }
    FUZZ_CHECK(fields.size() == commas + 1 - (trailingComma ? 1 : 0));
    for (const QString& field : fields)
        FUZZ_CHECK(!field.contains(QLatin1Char(',')));
    FUZZ_CHECK(fields.join(QLatin1Char(',')) == (trailingComma ? text.left(text.size() - 1) : text));
}

// A value parsed from a field is that field through single precision, so it narrows back exactly.
void checkValue(double value, const QStringList& fields, int index) {
    FUZZ_CHECK(FuzzSameValue(value, double(fields.at(index).toFloat())));
    FUZZ_CHECK(FuzzSameValue(double(float(value)), value));
}

void checkParsers(const QString& text, int index) {
    const QStringList fields = ColourCutFields(text);
    const bool usable = fields.size() >= COLOUR_MIN_REPLY_FIELDS;

    double x = kUntouched, y = kUntouched, Lv = kUntouched;
    const bool lvxy = Cas40ParseLvxy(text, &x, &y, &Lv);
    FUZZ_CHECK(lvxy == usable);
    if (lvxy) {
        checkValue(x, fields, 3);
        checkValue(y, fields, 4);
        checkValue(Lv, fields, 5);
    } else {
        // A reply too short leaves the stored values to the caller.
        FUZZ_CHECK(x == kUntouched && y == kUntouched && Lv == kUntouched);
    }

    double Tcp = kUntouched;
    const bool tcp = Cas40ParseTcp(text, &Tcp);
    FUZZ_CHECK(tcp == usable);
    if (tcp)
        checkValue(Tcp, fields, 3);
    else
        FUZZ_CHECK(Tcp == kUntouched);

    double value = kUntouched;
    const bool found = ColourFieldValue(text, index, &value);
    FUZZ_CHECK(found == (usable && index >= 0 && index < fields.size()));
    if (found)
        checkValue(value, fields, index);
    else
        FUZZ_CHECK(value == kUntouched);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray reply = FuzzReply(data, size);
    const QByteArray textPart = FuzzTextPart(reply);

    // The driver reads a reply as ASCII text up to its first NUL.
    const QString text = QString::fromLatin1(ReplyText(reply));
    FUZZ_CHECK(text.size() == textPart.size());
    FUZZ_CHECK(text == QString::fromLatin1(textPart));

    for (const char* word : {"OK00", "OK04", "OK02"})
        FUZZ_CHECK(ColourReplyContains(reply, word) == textPart.contains(word));

    // Which field ColourFieldValue is asked for comes from the input too, out-of-range ones included.
    const int index = size > 0 ? int(data[0] % 24) - 4 : 3;
    checkFields(text);
    checkParsers(text, index);
    // The text functions must also stand text that still holds its NUL bytes.
    const QString whole = QString::fromLatin1(reply);
    checkFields(whole);
    checkParsers(whole, index);
    return 0;
}
