// The luminance meter's binary frames: a reply compared over its first 200 bytes with each expected
// frame, the opcode and the 16-bit status of a polling reply, the double at offset 46 of the first
// read-out reply, and a command frame as the simulated instrument takes it apart.

#include "FuzzCheck.h"
#include "drivers/LuminanceFrames.h"

namespace {

// The reply as it lies in the zero-filled reply buffer, cut or padded to the 200 compared bytes.
QByteArray comparedBytes(const QByteArray& reply) {
    QByteArray bytes = reply.left(LUMINANCE_REPLY_SIZE);
    bytes.append(QByteArray(LUMINANCE_REPLY_SIZE - bytes.size(), '\0'));
    return bytes;
}

void checkReply(const QByteArray& reply) {
    const QByteArray compared = comparedBytes(reply);
    const LuminanceFrameTables& tables = LuminanceTables();
    const char* expected[] = {tables.connectReplies[0], tables.connectReplies[2], tables.disconnectReplies[2],
                              tables.measureReplies[0], tables.readFirstReply};
    for (const char* frame : expected) {
        const bool matches = LuminanceReplyMatches(reply, frame);
        FUZZ_CHECK(matches == (std::memcmp(compared.constData(), frame, LUMINANCE_REPLY_SIZE) == 0));
    }

    FUZZ_CHECK(LuminanceReplyHasOpcode(reply, "STSG") == reply.startsWith("STSG"));
    const unsigned status = LuminanceReplyStatus(reply);
    FUZZ_CHECK(status <= 0xFFFFu);
    FUZZ_CHECK(status == (unsigned(uint8_t(compared[LUMINANCE_STATUS_OFFSET])) |
                          (unsigned(uint8_t(compared[LUMINANCE_STATUS_OFFSET + 1])) << 8)));

    // The reading is the eight bytes from offset 46, little-endian, whatever their alignment.
    double reading = -7.25;
    const bool found = LuminanceReplyReading(reply, &reading);
    FUZZ_CHECK(found == (reply.size() >= LUMINANCE_READING_OFFSET + 8));
    if (found) {
        uint64_t bits = 0;
        for (int i = 0; i < 8; ++i)
            bits |= uint64_t(uint8_t(reply[LUMINANCE_READING_OFFSET + i])) << (8 * i);
        uint64_t readingBits = 0;
        std::memcpy(&readingBits, &reading, sizeof readingBits);
        FUZZ_CHECK(readingBits == bits);
    } else {
        FUZZ_CHECK(reading == -7.25);
    }
}

// The classification of the first bytes of a stream, worked out independently.
LuminanceParse expectedParse(const uint8_t* bytes, int size) {
    for (int i = 0; i < 4 && i < size; ++i)
        if (bytes[i] < 'A' || bytes[i] > 'Z')
            return LuminanceParse::NotFrame;
    if (size < 12)
        return LuminanceParse::NeedMore;
    const uint32_t length = LuminanceGetWord(reinterpret_cast<const char*>(bytes) + 4);
    if (length != LuminanceGetWord(reinterpret_cast<const char*>(bytes) + 8) || length % 4 != 0 ||
        length > 76)
        return LuminanceParse::NotFrame;
    if (size < LUMINANCE_COMMAND_SIZE)
        return LuminanceParse::NeedMore;
    uint32_t sum = 0;
    for (uint32_t i = 0; i < 20 + length; ++i)
        sum += bytes[i];
    return LuminanceGetWord(reinterpret_cast<const char*>(bytes) + 20 + length) == sum
               ? LuminanceParse::Frame
               : LuminanceParse::NotFrame;
}

void checkCommand(const uint8_t* data, size_t size) {
    // Exactly sized, so the parser's reads are held to what it was given.
    const std::vector<char> bytes = FuzzExactCopy(data, size);
    const int n = size > 4096 ? 4096 : int(size);
    LuminanceCommandFields fields;
    std::memset(&fields, 0xA5, sizeof fields);
    const LuminanceParse verdict = LuminanceParseCommand(bytes.data(), n, &fields);
    FUZZ_CHECK(verdict == expectedParse(data, n));
    FUZZ_CHECK(LuminanceParseCommand(bytes.data(), n, nullptr) == verdict);
    if (verdict != LuminanceParse::Frame)
        return;

    FUZZ_CHECK(fields.opcode[4] == '\0' && std::memcmp(fields.opcode, data, 4) == 0);
    FUZZ_CHECK(fields.length % 4 == 0 && int(fields.length) <= 4 * LUMINANCE_MAX_PAYLOAD_WORDS);
    FUZZ_CHECK(fields.payloadWords == int(fields.length / 4));
    FUZZ_CHECK(fields.part == LuminanceGetWord(bytes.data() + 12));
    FUZZ_CHECK(fields.parts == LuminanceGetWord(bytes.data() + 16));
    for (int i = 0; i < fields.payloadWords; ++i)
        FUZZ_CHECK(fields.payload[i] == LuminanceGetWord(bytes.data() + 20 + 4 * i));
    // Every shorter stretch of a frame could still become one.
    for (int k = 0; k < LUMINANCE_COMMAND_SIZE; ++k)
        FUZZ_CHECK(LuminanceParseCommand(bytes.data(), k, nullptr) == LuminanceParse::NeedMore);
}

// A command built from fields reads back as those fields, with the checksum in place.
void checkBuiltCommand(const uint8_t* data, size_t size) {
    if (size < 20)
        return;
    char opcode[4];
    for (int i = 0; i < 4; ++i)
        opcode[i] = char('A' + data[i] % 26);
    const char* raw = reinterpret_cast<const char*>(data);
    const uint32_t part = LuminanceGetWord(raw + 4);
    const uint32_t parts = LuminanceGetWord(raw + 8);
    const uint32_t w0 = LuminanceGetWord(raw + 12);
    const uint32_t w1 = LuminanceGetWord(raw + 16);
    const int words = data[0] % 3;
    QByteArray frame;
    if (words == 0)
        frame = LuminanceCommand(opcode, part, parts, {});
    else if (words == 1)
        frame = LuminanceCommand(opcode, part, parts, {w0});
    else
        frame = LuminanceCommand(opcode, part, parts, {w0, w1});
    FUZZ_CHECK(frame.size() == LUMINANCE_COMMAND_SIZE);
    LuminanceCommandFields fields;
    FUZZ_CHECK(LuminanceParseCommand(frame.constData(), frame.size(), &fields) == LuminanceParse::Frame);
    FUZZ_CHECK(std::memcmp(fields.opcode, opcode, 4) == 0);
    FUZZ_CHECK(fields.part == part && fields.parts == parts && fields.payloadWords == words);
    if (words >= 1)
        FUZZ_CHECK(fields.payload[0] == w0);
    if (words == 2)
        FUZZ_CHECK(fields.payload[1] == w1);
    // Zeros after the checksum, to the end of the block.
    for (int i = 24 + 4 * words; i < LUMINANCE_COMMAND_SIZE; ++i)
        FUZZ_CHECK(frame[i] == '\0');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkReply(FuzzReply(data, size));
    checkCommand(data, size);
    checkBuiltCommand(data, size);
    // Words and sums round-trip whatever the bytes.
    if (size >= 4) {
        char word[4];
        LuminancePutWord(word, LuminanceGetWord(reinterpret_cast<const char*>(data)));
        FUZZ_CHECK(std::memcmp(word, data, 4) == 0);
    }
    const uint32_t sum =
        LuminanceChecksum(reinterpret_cast<const char*>(data), int(size > 4096 ? 4096 : size));
    FUZZ_CHECK(sum <= 255u * 4096u);
    return 0;
}
