#include "CmErrorEncode.h"

#include <QByteArray>

#include <gtest/gtest.h>

namespace {
// Replies stand in a zero-filled reply buffer, so at least four bytes are always readable.
int64_t encode(const QByteArray& text) {
    QByteArray buffer(1024, '\0');
    buffer.replace(0, text.size(), text);
    return CM_ERROR_ENCODE(buffer.data());
}
} // namespace

TEST(ErrorEncode, SuccessStatusGivesZero) {
    EXPECT_EQ(encode("OK00"), 0);
    EXPECT_EQ(encode("OK00\r\n"), 0);
}

TEST(ErrorEncode, ErrorZeroGivesOneSoItCannotPassForSuccess) {
    EXPECT_EQ(encode("ER00\r\n"), 1);
}

TEST(ErrorEncode, EveryKnownErrorGivesItsTwoDigits) {
    const struct {
        const char* word;
        int64_t code;
    } table[] = {{"ER02", 2},  {"ER05", 5},  {"ER10", 10}, {"ER17", 17}, {"ER20", 20},
                 {"ER30", 30}, {"ER51", 51}, {"ER52", 52}, {"ER71", 71}, {"ER81", 81},
                 {"ER82", 82}, {"ER83", 83}, {"ER99", 99}};
    for (const auto& entry : table)
        EXPECT_EQ(encode(entry.word), entry.code) << entry.word;
}

TEST(ErrorEncode, CodeTableHoldsTheNumbersInStatusOrder) {
    const int64_t expected[15] = {0, 1, 2, 5, 10, 17, 20, 30, 51, 52, 71, 81, 82, 83, 99};
    for (int i = 0; i < 15; ++i)
        EXPECT_EQ(code[i], expected[i]) << i;
}

TEST(ErrorEncode, LowerCaseSuccessIsUnknown) {
    EXPECT_EQ(encode("ok00"), 100);
}

TEST(ErrorEncode, OtherOkWordsAreUnknown) {
    EXPECT_EQ(encode("OK01"), 100);
    EXPECT_EQ(encode("OK04"), 100);
    EXPECT_EQ(encode("OK02"), 100);
}

TEST(ErrorEncode, ErrorNumberOutsideTheTableIsUnknown) {
    EXPECT_EQ(encode("ER01"), 100);
    EXPECT_EQ(encode("ER11"), 100);
}

TEST(ErrorEncode, ShortErrorFollowedByNulIsUnknown) {
    char reply[4] = {'E', 'R', '1', '\0'};
    EXPECT_EQ(CM_ERROR_ENCODE(reply), 100);
}

TEST(ErrorEncode, EmptyReplyIsUnknown) {
    EXPECT_EQ(encode(QByteArray()), 100);
}

TEST(ErrorEncode, OnlyTheFirstFourBytesCount) {
    EXPECT_EQ(encode("ER10,extra text"), 10);
    EXPECT_EQ(encode("OK00,12"), 0);
    EXPECT_EQ(encode("OK0"), 100);
}

TEST(ErrorEncode, LeadingBlankIsNotTrimmed) {
    EXPECT_EQ(encode(" OK00"), 100);
    EXPECT_EQ(encode("\nER10"), 100);
}

TEST(ErrorEncode, ReplyIsLeftUnchanged) {
    char reply[8] = {'E', 'R', '1', '7', ',', '1', '\r', '\n'};
    const QByteArray before(reply, 8);
    EXPECT_EQ(CM_ERROR_ENCODE(reply), 17);
    EXPECT_EQ(QByteArray(reply, 8), before);
}
