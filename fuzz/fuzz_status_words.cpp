// The four-character status that starts every text reply ("OK00", "ERnn"), as CM_ERROR_ENCODE and
// the drivers' padded view of a short reply (DriverReplyStatus) number it.

#include "CmErrorEncode.h"
#include "DriverSupport.h"
#include "FuzzCheck.h"

namespace {

bool inTable(int64_t value) {
    for (int64_t entry : code)
        if (entry == value)
            return true;
    return false;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// What any four status bytes must give, derived from their text rather than from a second table.
void checkWord(const char* word, int64_t result) {
    FUZZ_CHECK(result == 100 || inTable(result));
    const bool ok00 = std::memcmp(word, "OK00", 4) == 0;
    // Only "OK00" is success.
    FUZZ_CHECK((result == 0) == ok00);
    if (ok00 || result == 100)
        return;
    // Any other known code is an "ER" status followed by its own two digits, "ER00" reading 1.
    FUZZ_CHECK(word[0] == 'E' && word[1] == 'R' && isDigit(word[2]) && isDigit(word[3]));
    const int64_t number = 10 * (word[2] - '0') + (word[3] - '0');
    FUZZ_CHECK(result == (number == 0 ? 1 : number));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The padded word the drivers look at: the reply's first four bytes, NULs where it is shorter.
    char padded[4] = {0, 0, 0, 0};
    std::memcpy(padded, data, size < 4 ? size : 4);

    // Exactly four bytes on the heap: the encoder must not look past them.
    std::vector<char> word(padded, padded + 4);
    const int64_t result = CM_ERROR_ENCODE(word.data());
    checkWord(padded, result);
    // It reads the text, it does not change it.
    FUZZ_CHECK(std::memcmp(word.data(), padded, 4) == 0);

    // A whole reply counts by its first four bytes only.
    if (size >= 4) {
        std::vector<char> whole = FuzzExactCopy(data, size);
        FUZZ_CHECK(CM_ERROR_ENCODE(whole.data()) == result);
    }

    // The drivers' view of a reply of any length, as it stands in the zero-filled reply buffer.
    const QByteArray reply = FuzzReply(data, size);
    FUZZ_CHECK(DriverReplyStatus(reply) == result);
    return 0;
}
