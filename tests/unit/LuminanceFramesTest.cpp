#include "LuminanceFrames.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// One command as the protocol lays it out: the fields and the checksum the instrument expects.
struct TabledCommand {
    const char* what;
    const char* frame; // the driver's frame
    const char* opcode;
    uint32_t length;
    uint32_t part;
    uint32_t parts;
    std::vector<uint32_t> payload;
    uint32_t checksum;
};

std::vector<TabledCommand> tabledCommands() {
    const LuminanceFrameTables& t = LuminanceTables();
    return {
        {"connect 1", t.connectCommands[0], "INIG", 4, 1, 1, {0}, 0x131},
        {"connect 2", t.connectCommands[1], "INIG", 4, 1, 1, {0}, 0x131},
        {"connect 3", t.connectCommands[2], "COMS", 8, 1, 1, {1, 1}, 0x146},
        {"disconnect 1", t.disconnectCommands[0], "INIG", 4, 1, 1, {0}, 0x131},
        {"disconnect 2", t.disconnectCommands[1], "COMS", 8, 1, 1, {2, 0}, 0x146},
        {"disconnect 3", t.disconnectCommands[2], "COMS", 8, 1, 1, {1, 0}, 0x145},
        {"measure", t.measureCommands[0], "MEAS", 8, 1, 1, {0, 1}, 0x139},
        {"polling", t.pollingCommand, "STSG", 4, 1, 1, {1}, 0x14C},
        {"read-out 1", t.readCommands[0], "MSCG", 4, 1, 1, {0}, 0x134},
        {"read-out 2", t.readCommands[1], "MSCG", 0, 2, 4, {}, 0x130},
        {"read-out 3", t.readCommands[2], "MSCG", 0, 3, 4, {}, 0x131},
        {"read-out 4", t.readCommands[3], "MSCG", 0, 4, 4, {}, 0x132},
    };
}

uint32_t wordAt(const char* frame, int offset) {
    const auto* b = reinterpret_cast<const unsigned char*>(frame + offset);
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

QByteArray withDouble(QByteArray frame, int offset, double value) {
    unsigned char bytes[8];
    std::memcpy(bytes, &value, 8);
    // Stored little-endian whatever the machine's order.
    const uint16_t probe = 1;
    const bool little = *reinterpret_cast<const unsigned char*>(&probe) == 1;
    for (int i = 0; i < 8; ++i)
        frame[offset + i] = char(bytes[little ? i : 7 - i]);
    return frame;
}

} // namespace

TEST(LuminanceFrames, ResetExampleSumsLettersAndNumbers) {
    const QByteArray frame = LuminanceCommand("INIG", 1, 1, {0});
    EXPECT_EQ(LuminanceChecksum(frame.constData(), 4), 0x127u);
    EXPECT_EQ(LuminanceChecksum(frame.constData() + 4, 20), 10u);
    EXPECT_EQ(wordAt(frame.constData(), 24), 0x131u);
}

TEST(LuminanceFrames, EveryTabledCommandRebuiltFromItsFieldsHasTheListedChecksum) {
    for (const TabledCommand& c : tabledCommands()) {
        SCOPED_TRACE(c.what);
        const char* f = c.frame;
        EXPECT_EQ(QByteArray(f, 4), QByteArray(c.opcode));
        EXPECT_EQ(wordAt(f, 4), c.length);
        EXPECT_EQ(wordAt(f, 8), c.length);
        EXPECT_EQ(wordAt(f, 12), c.part);
        EXPECT_EQ(wordAt(f, 16), c.parts);
        ASSERT_EQ(c.length, 4 * c.payload.size());
        for (size_t i = 0; i < c.payload.size(); ++i)
            EXPECT_EQ(wordAt(f, 20 + 4 * int(i)), c.payload[i]);
        const int sumAt = 20 + int(c.length);
        EXPECT_EQ(wordAt(f, sumAt), c.checksum);
        EXPECT_EQ(LuminanceChecksum(f, sumAt), c.checksum);
        for (int i = sumAt + 4; i < LUMINANCE_COMMAND_SIZE; ++i)
            ASSERT_EQ(f[i], 0) << "byte " << i;
    }
}

TEST(LuminanceFrames, ChangingAnyByteMovesTheChecksumByTheSameAmount) {
    for (const TabledCommand& c : tabledCommands()) {
        SCOPED_TRACE(c.what);
        const int sumAt = 20 + int(c.length);
        for (int at = 0; at < sumAt; ++at) {
            for (int delta : {1, 0x25, -1}) {
                QByteArray changed(c.frame, LUMINANCE_COMMAND_SIZE);
                const int before = uint8_t(changed[at]);
                const int after = before + delta;
                if (after < 0 || after > 0xFF)
                    continue;
                changed[at] = char(after);
                const int64_t moved =
                    int64_t(LuminanceChecksum(changed.constData(), sumAt)) - int64_t(c.checksum);
                ASSERT_EQ(moved, delta) << "byte " << at;
            }
        }
    }
}

TEST(LuminanceFrames, ChangingAPayloadFieldMovesTheBuiltChecksumByTheSameAmount) {
    // Remote mode off differs from on by one payload word: the checksums differ by the same step.
    const QByteArray a = LuminanceCommand("COMS", 1, 1, {1, 0});
    const QByteArray b = LuminanceCommand("COMS", 1, 1, {1, 7});
    EXPECT_EQ(wordAt(b.constData(), 28) - wordAt(a.constData(), 28), 7u);
    const QByteArray p2 = LuminanceCommand("MSCG", 2, 4, {});
    const QByteArray p4 = LuminanceCommand("MSCG", 4, 4, {});
    EXPECT_EQ(wordAt(p4.constData(), 20) - wordAt(p2.constData(), 20), 2u);
}

TEST(LuminanceFrames, BuilderKeepsPayloadInsideTheFrame) {
    QByteArray frame(LUMINANCE_COMMAND_SIZE + 8, '\x55');
    LuminanceBuildCommand(frame.data(), "ABCD", 1, 1, {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                                       13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24});
    // 19 words fit beside the header and the checksum; the rest are dropped, nothing is written past
    // the hundredth byte.
    EXPECT_EQ(wordAt(frame.constData(), 4), uint32_t(4 * LUMINANCE_MAX_PAYLOAD_WORDS));
    EXPECT_EQ(wordAt(frame.constData(), 96), LuminanceChecksum(frame.constData(), 96));
    EXPECT_EQ(frame.mid(LUMINANCE_COMMAND_SIZE), QByteArray(8, '\x55'));
}

TEST(LuminanceFrames, ExpectedRepliesCarryTheirTabledFields) {
    const LuminanceFrameTables& t = LuminanceTables();
    struct Row {
        const char* what;
        const char* frame;
        const char* opcode;
        uint32_t length, second, part, parts;
        uint32_t at28;
    } rows[] = {
        {"reset", t.connectReplies[0], "INIG", 52, 52, 1, 1, 0},
        {"remote", t.connectReplies[2], "COMS", 4, 4, 1, 1, 1},
        {"measure", t.measureReplies[0], "MEAS", 4, 4, 1, 1, 0},
        {"read-out", t.readFirstReply, "MSCG", 128, 508, 1, 0, 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(QByteArray(r.frame, 4), QByteArray(r.opcode));
        EXPECT_EQ(wordAt(r.frame, 4), r.length);
        EXPECT_EQ(QByteArray(r.frame + 8, 4), QByteArray("OK  "));
        EXPECT_EQ(wordAt(r.frame, 12), 0u);
        EXPECT_EQ(wordAt(r.frame, 16), r.second);
        EXPECT_EQ(wordAt(r.frame, 20), r.part);
        EXPECT_EQ(wordAt(r.frame, 24), r.parts);
        EXPECT_EQ(wordAt(r.frame, 28), r.at28);
        for (int i = 32; i < LUMINANCE_REPLY_SIZE; ++i)
            ASSERT_EQ(r.frame[i], 0) << "byte " << i;
    }
    // Both resets and the disconnect's reset expect the same reply; so do the three remote-mode frames.
    EXPECT_EQ(std::memcmp(t.connectReplies[0], t.connectReplies[1], LUMINANCE_REPLY_SIZE), 0);
    EXPECT_EQ(std::memcmp(t.connectReplies[0], t.disconnectReplies[0], LUMINANCE_REPLY_SIZE), 0);
    EXPECT_EQ(std::memcmp(t.connectReplies[2], t.disconnectReplies[1], LUMINANCE_REPLY_SIZE), 0);
    EXPECT_EQ(std::memcmp(t.connectReplies[2], t.disconnectReplies[2], LUMINANCE_REPLY_SIZE), 0);
}

TEST(LuminanceFrames, EveryReplyStartsWithALetterSoItIsNeverDroppedAsEmpty) {
    for (const QByteArray& reply : {LuminanceInigReply(), LuminanceComsReply(), LuminanceMeasReply(),
                                    LuminanceMscgReply(), LuminanceStatusReply(559)})
        EXPECT_NE(reply[0], '\0');
}

TEST(LuminanceFrames, ReplyEqualToExpectedFrameMatches) {
    EXPECT_TRUE(LuminanceReplyMatches(LuminanceInigReply(), LuminanceTables().connectReplies[0]));
}

TEST(LuminanceFrames, ReplyLongerThanTwoHundredBytesIsJudgedOnItsFirstTwoHundred) {
    const QByteArray longer = LuminanceInigReply() + QByteArray(60, 'Z');
    EXPECT_TRUE(LuminanceReplyMatches(longer, LuminanceTables().connectReplies[0]));
}

TEST(LuminanceFrames, ReplyDifferingInOneByteDoesNotMatch) {
    const char* expected = LuminanceTables().connectReplies[0];
    for (int at : {0, 4, 8, 27, 28, 150, 199}) {
        QByteArray reply = LuminanceInigReply();
        reply[at] = char(reply[at] + 1);
        EXPECT_FALSE(LuminanceReplyMatches(reply, expected)) << "byte " << at;
    }
}

TEST(LuminanceFrames, ShortReplyIsJudgedAsItStandsInAZeroFilledBuffer) {
    const char* expected = LuminanceTables().connectReplies[2];
    // The missing tail of the remote-mode reply is all zeros: a reply cut after its last non-zero
    // byte still equals the frame in the buffer.
    EXPECT_TRUE(LuminanceReplyMatches(LuminanceComsReply().left(29), expected));
    // Cut before the payload word 1 at offset 28, it no longer does.
    EXPECT_FALSE(LuminanceReplyMatches(LuminanceComsReply().left(28), expected));
    EXPECT_FALSE(LuminanceReplyMatches(QByteArray(), expected));
}

TEST(LuminanceFrames, ReadingIsTheLittleEndianDoubleAtOffsetFortySix) {
    const QByteArray reply = withDouble(LuminanceMscgReply(), 46, 123.25);
    double value = -7.0;
    ASSERT_TRUE(LuminanceReplyReading(reply, &value));
    EXPECT_EQ(value, 123.25);
    EXPECT_EQ(LuminanceMscgReplyWithReading(123.25), reply);
}

TEST(LuminanceFrames, ReadingIsCopiedOutOfAnUnalignedPlace) {
    // The same bytes one place further into a buffer: still read byte by byte.
    QByteArray shifted = QByteArray(1, 'x') + withDouble(LuminanceMscgReply(), 46, -0.5);
    const QByteArray view = shifted.mid(1);
    double value = 0.0;
    ASSERT_TRUE(LuminanceReplyReading(view, &value));
    EXPECT_EQ(value, -0.5);
}

TEST(LuminanceFrames, ExpectedReadOutReplyCarriesZero) {
    double value = -1.0;
    ASSERT_TRUE(LuminanceReplyReading(LuminanceMscgReply(), &value));
    EXPECT_EQ(value, 0.0);
}

TEST(LuminanceFrames, ReplyEndingBeforeTheReadingCarriesNone) {
    double value = 5.0;
    EXPECT_FALSE(LuminanceReplyReading(LuminanceMscgReplyWithReading(1.0).left(53), &value));
    EXPECT_EQ(value, 5.0);
    EXPECT_TRUE(LuminanceReplyReading(LuminanceMscgReplyWithReading(1.0).left(54), &value));
    EXPECT_EQ(value, 1.0);
}

TEST(LuminanceFrames, StatusIsTheSixteenBitValueAtOffsetThirtySix) {
    EXPECT_EQ(LuminanceReplyStatus(LuminanceStatusReply(559)), 559u);
    EXPECT_EQ(LuminanceReplyStatus(LuminanceStatusReply(558)), 558u);
    QByteArray reply = LuminanceStatusReply(558);
    // Only 16 bits count: a high word beside it changes nothing.
    reply[38] = '\x01';
    EXPECT_EQ(LuminanceReplyStatus(reply), 558u);
    // Missing bytes read as the zeros of the reply buffer.
    EXPECT_EQ(LuminanceReplyStatus(reply.left(37)), 558u & 0xFFu);
    EXPECT_EQ(LuminanceReplyStatus(reply.left(36)), 0u);
}

TEST(LuminanceFrames, StatusReplyHasTheDocumentedForm) {
    const QByteArray r = LuminanceStatusReply(559);
    EXPECT_EQ(r.left(4), QByteArray("STSG"));
    EXPECT_EQ(wordAt(r.constData(), 4), 8u);
    EXPECT_EQ(r.mid(8, 4), QByteArray("OK  "));
    EXPECT_EQ(wordAt(r.constData(), 16), 8u);
    EXPECT_EQ(wordAt(r.constData(), 20), 1u);
    EXPECT_EQ(wordAt(r.constData(), 24), 1u);
    EXPECT_EQ(wordAt(r.constData(), 28), 1u);
    EXPECT_EQ(wordAt(r.constData(), 32), 0u);
}

TEST(LuminanceFrames, OpcodeIsTheFirstFourBytes) {
    EXPECT_TRUE(LuminanceReplyHasOpcode(LuminanceStatusReply(558), "STSG"));
    EXPECT_FALSE(LuminanceReplyHasOpcode(LuminanceMeasReply(), "STSG"));
    EXPECT_FALSE(LuminanceReplyHasOpcode(QByteArray("STS"), "STSG"));
}

TEST(LuminanceFrames, ParserReadsBackEveryTabledCommand) {
    for (const TabledCommand& c : tabledCommands()) {
        SCOPED_TRACE(c.what);
        LuminanceCommandFields fields;
        ASSERT_EQ(LuminanceParseCommand(c.frame, LUMINANCE_COMMAND_SIZE, &fields), LuminanceParse::Frame);
        EXPECT_STREQ(fields.opcode, c.opcode);
        EXPECT_EQ(fields.length, c.length);
        EXPECT_EQ(fields.part, c.part);
        EXPECT_EQ(fields.parts, c.parts);
        ASSERT_EQ(fields.payloadWords, int(c.payload.size()));
        for (size_t i = 0; i < c.payload.size(); ++i)
            EXPECT_EQ(fields.payload[i], c.payload[i]);
    }
}

TEST(LuminanceFrames, ParserWaitsForTheRestOfAFrame) {
    const char* f = LuminanceTables().connectCommands[0];
    EXPECT_EQ(LuminanceParseCommand(f, 0, nullptr), LuminanceParse::NeedMore);
    EXPECT_EQ(LuminanceParseCommand(f, 3, nullptr), LuminanceParse::NeedMore);
    EXPECT_EQ(LuminanceParseCommand(f, 50, nullptr), LuminanceParse::NeedMore);
    EXPECT_EQ(LuminanceParseCommand(f, 99, nullptr), LuminanceParse::NeedMore);
}

TEST(LuminanceFrames, ParserRefusesTextAndDamagedFrames) {
    EXPECT_EQ(LuminanceParseCommand("COM,1\n", 6, nullptr), LuminanceParse::NotFrame);
    EXPECT_EQ(LuminanceParseCommand("RMTS,1\r\nMEAS", 12, nullptr), LuminanceParse::NotFrame);
    EXPECT_EQ(LuminanceParseCommand("inig", 4, nullptr), LuminanceParse::NotFrame);
    QByteArray damaged(LuminanceTables().connectCommands[2], LUMINANCE_COMMAND_SIZE);
    damaged[22] = char(damaged[22] + 1);
    EXPECT_EQ(LuminanceParseCommand(damaged.constData(), damaged.size(), nullptr), LuminanceParse::NotFrame);
    QByteArray unequal(LuminanceTables().connectCommands[2], LUMINANCE_COMMAND_SIZE);
    unequal[8] = 4;
    EXPECT_EQ(LuminanceParseCommand(unequal.constData(), unequal.size(), nullptr), LuminanceParse::NotFrame);
}
