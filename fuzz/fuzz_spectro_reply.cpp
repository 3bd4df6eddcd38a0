// The spectroradiometer's replies: the completion of a measurement, the value lists of the "MEDR"
// colorimetric replies (atof after the status), the spectral blocks, and the "MEDR" command built
// from three integers.

#include "FuzzCheck.h"
#include "drivers/SpectroProtocol.h"

#include <QList>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

// The number of tokens strtok would find at commas: the non-empty pieces.
int nonEmptyTokens(const QByteArray& text) {
    int n = 0;
    for (const QByteArray& token : text.split(','))
        if (!token.isEmpty())
            ++n;
    return n;
}

// Where the C library reads a plain decimal number (no hexadecimal, infinity or NaN spellings) to a
// finite value without range error, the conversion must agree with it.
void checkAtof(const char* text) {
    const double value = SpectroAtof(text);
    FUZZ_CHECK(!std::isnan(value));
    char* end = nullptr;
    errno = 0;
    const double reference = std::strtod(text, &end);
    const bool rangeError = errno != 0;
    if (end == text) {
        FUZZ_CHECK(value == 0.0);
        return;
    }
    const std::string taken(text, size_t(end - text));
    if (taken.find_first_of("xXiInN") != std::string::npos || rangeError || !std::isfinite(reference))
        return;
    FUZZ_CHECK(value == reference);
}

void checkCompletion(const uint8_t* data, size_t size) {
    const QByteArray reply(reinterpret_cast<const char*>(data), int(size));
    const bool completion = SpectroIsMeasureCompletion(reply);
    FUZZ_CHECK(completion == ((size == 6 || size == 10) && std::memcmp(data, "OK00\r\n", 6) == 0));
}

void checkValues(const QByteArray& reply) {
    const QByteArray text = FuzzTextPart(reply);
    const QList<double> values = SpectroReplyValues(reply);
    // The status token is skipped; every later token is one value.
    const int tokens = nonEmptyTokens(text);
    FUZZ_CHECK(values.size() == (tokens > 0 ? tokens - 1 : 0));
    for (double value : values)
        FUZZ_CHECK(!std::isnan(value));
}

void checkSpectralBlock(const QByteArray& reply) {
    const QByteArray text = FuzzTextPart(reply);
    QList<float> values;
    values << 1.5f << -2.5f;
    SpectroAppendSpectralBlock(reply, values);
    // Appends only: what the list held stays in front.
    FUZZ_CHECK(values.size() >= 2 && values.at(0) == 1.5f && values.at(1) == -2.5f);
    // The status's comma opens the values; each later comma can close one value and the rest is
    // one more, so there are never more values than commas.
    const int appended = values.size() - 2;
    FUZZ_CHECK(appended <= text.count(','));
}

void checkCommand(const uint8_t* data, size_t size) {
    int numbers[3] = {0, 0, 0};
    std::memcpy(numbers, data, size < sizeof numbers ? size : sizeof numbers);
    const QByteArray command = SpectroMedrCommand(numbers[0], numbers[1], numbers[2]);
    // Cut to the instrument's 20-byte command buffer, never beyond it.
    FUZZ_CHECK(command.size() <= 19);
    FUZZ_CHECK(command.startsWith("MEDR,"));
    FUZZ_CHECK(!command.contains('\0'));
    char full[64];
    const int n = std::snprintf(full, sizeof full, "MEDR,%d,%d,%d\r\n", numbers[0], numbers[1], numbers[2]);
    if (n <= 19)
        FUZZ_CHECK(command == QByteArray(full, n));
    else
        FUZZ_CHECK(command == QByteArray(full, 19));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkCompletion(data, size);

    const QByteArray reply = FuzzReply(data, size);
    checkValues(reply);
    checkSpectralBlock(reply);

    // The conversion on its own, over an exactly sized terminated copy.
    const std::vector<char> text = FuzzCString(data, size);
    checkAtof(text.data());

    checkCommand(data, size);
    return 0;
}
