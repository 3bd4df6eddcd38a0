#pragma once

// The luminance meter's binary frames. A command is a 100-byte block: opcode, payload length twice,
// part number, part count, the payload words, then the byte sum of everything before it; a reply is
// judged over its first 200 bytes. The pieces below are inline because the instrument simulator
// builds and reads the very same frames without linking the driver library.

#include "ReadBudget.h"

#include <QByteArray>

#include <cstdint>
#include <cstring>
#include <initializer_list>

// How long the luminance meter's driver waits for each reply: an exchange's answer comes at once; a
// status reply may take a little longer.
namespace LuminanceBudgets {
constexpr ReadBudget kReply = {3, 100};
constexpr ReadBudget kStatus = {3, 200};
// Polling rounds before the read-out gives up waiting for a successful one, and the pause after each.
constexpr int kPollingAttempts = 2;
constexpr int kAfterPollingMs = 100;
} // namespace LuminanceBudgets

static const int LUMINANCE_COMMAND_SIZE = 100;
static const int LUMINANCE_REPLY_SIZE = 200;

// The handshake with its own instrument, on the line: three connect frames, each answered with a
// reply frame.
inline constexpr LineExchange kLuminanceHandshakeExchanges[] = {
    {LUMINANCE_COMMAND_SIZE, LUMINANCE_REPLY_SIZE},
    {LUMINANCE_COMMAND_SIZE, LUMINANCE_REPLY_SIZE},
    {LUMINANCE_COMMAND_SIZE, LUMINANCE_REPLY_SIZE}};
// Opcode, length, length again, part number, part count.
static const int LUMINANCE_COMMAND_HEADER_SIZE = 20;
// Room left for payload words once the header and the checksum are in.
static const int LUMINANCE_MAX_PAYLOAD_WORDS =
    (LUMINANCE_COMMAND_SIZE - LUMINANCE_COMMAND_HEADER_SIZE - 4) / 4;
// Where a reply's payload starts (after opcode, length, "OK  ", 0, length, part number, part count).
static const int LUMINANCE_REPLY_PAYLOAD_OFFSET = 28;
// The measurement state in a status reply, 16 bits little-endian.
static const int LUMINANCE_STATUS_OFFSET = 36;
static const unsigned LUMINANCE_STATUS_RUNNING = 559;
static const unsigned LUMINANCE_STATUS_FINISHED = 558;
// The luminance in the first read-out reply: a little-endian double on an odd boundary.
static const int LUMINANCE_READING_OFFSET = 46;

inline void LuminancePutWord(char* at, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        at[i] = char((value >> (8 * i)) & 0xFFu);
}

inline uint32_t LuminanceGetWord(const char* at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | uint32_t(uint8_t(at[i]));
    return value;
}

// The arithmetic sum of the bytes, each taken unsigned.
inline uint32_t LuminanceChecksum(const char* bytes, int count) {
    uint32_t sum = 0;
    for (int i = 0; i < count; ++i)
        sum += uint8_t(bytes[i]);
    return sum;
}

// Fills frame[0..99] with the command `opcode` (four capital letters), its part number and count and
// its payload words, followed by the checksum and zeros. Payload words beyond the frame's room are
// dropped (no tabled command comes near it).
inline void LuminanceBuildCommand(char* frame, const char* opcode, uint32_t part, uint32_t parts,
                                  std::initializer_list<uint32_t> payload) {
    std::memset(frame, 0, LUMINANCE_COMMAND_SIZE);
    std::memcpy(frame, opcode, 4);
    int words = int(payload.size());
    if (words > LUMINANCE_MAX_PAYLOAD_WORDS)
        words = LUMINANCE_MAX_PAYLOAD_WORDS;
    const uint32_t length = uint32_t(4 * words);
    LuminancePutWord(frame + 4, length);
    LuminancePutWord(frame + 8, length);
    LuminancePutWord(frame + 12, part);
    LuminancePutWord(frame + 16, parts);
    int at = LUMINANCE_COMMAND_HEADER_SIZE;
    for (uint32_t word : payload) {
        if (at >= LUMINANCE_COMMAND_HEADER_SIZE + int(length))
            break;
        LuminancePutWord(frame + at, word);
        at += 4;
    }
    LuminancePutWord(frame + at, LuminanceChecksum(frame, at));
}

inline QByteArray LuminanceCommand(const char* opcode, uint32_t part, uint32_t parts,
                                   std::initializer_list<uint32_t> payload) {
    char frame[LUMINANCE_COMMAND_SIZE];
    LuminanceBuildCommand(frame, opcode, part, parts, payload);
    return QByteArray(frame, LUMINANCE_COMMAND_SIZE);
}

// Fills frame[0..199] with a reply: opcode, length, "OK  ", 0, second length, part number, part count,
// the payload words from offset 28, then zeros.
inline void LuminanceBuildReply(char* frame, const char* opcode, uint32_t length, uint32_t secondLength,
                                uint32_t part, uint32_t parts, std::initializer_list<uint32_t> payload) {
    std::memset(frame, 0, LUMINANCE_REPLY_SIZE);
    std::memcpy(frame, opcode, 4);
    LuminancePutWord(frame + 4, length);
    std::memcpy(frame + 8, "OK  ", 4);
    LuminancePutWord(frame + 12, 0);
    LuminancePutWord(frame + 16, secondLength);
    LuminancePutWord(frame + 20, part);
    LuminancePutWord(frame + 24, parts);
    int at = LUMINANCE_REPLY_PAYLOAD_OFFSET;
    for (uint32_t word : payload) {
        if (at + 4 > LUMINANCE_REPLY_SIZE)
            break;
        LuminancePutWord(frame + at, word);
        at += 4;
    }
}

inline QByteArray LuminanceReply(const char* opcode, uint32_t length, uint32_t secondLength, uint32_t part,
                                 uint32_t parts, std::initializer_list<uint32_t> payload) {
    char frame[LUMINANCE_REPLY_SIZE];
    LuminanceBuildReply(frame, opcode, length, secondLength, part, parts, payload);
    return QByteArray(frame, LUMINANCE_REPLY_SIZE);
}

// The replies the instrument gives when all is well.
inline QByteArray LuminanceInigReply() {
    return LuminanceReply("INIG", 52, 52, 1, 1, {});
}
inline QByteArray LuminanceComsReply() {
    return LuminanceReply("COMS", 4, 4, 1, 1, {1});
}
inline QByteArray LuminanceMeasReply() {
    return LuminanceReply("MEAS", 4, 4, 1, 1, {});
}
// The first read-out reply as the driver expects it: it carries no reading.
inline QByteArray LuminanceMscgReply() {
    return LuminanceReply("MSCG", 128, 508, 1, 0, {});
}
// A status reply; the driver looks only at its opcode and the value at offset 36.
inline QByteArray LuminanceStatusReply(unsigned status) {
    return LuminanceReply("STSG", 8, 8, 1, 1, {1, 0, status & 0xFFFFu});
}
// The first read-out reply with `luminance` stored at offset 46.
inline QByteArray LuminanceMscgReplyWithReading(double luminance) {
    uint64_t bits = 0;
    std::memcpy(&bits, &luminance, sizeof bits);
    char bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = char((bits >> (8 * i)) & 0xFFu);
    QByteArray frame = LuminanceMscgReply();
    frame.replace(LUMINANCE_READING_OFFSET, 8, bytes, 8);
    return frame;
}

// Whether a reply begins with the four letters of `opcode`.
inline bool LuminanceReplyHasOpcode(const QByteArray& reply, const char* opcode) {
    return reply.size() >= 4 && std::memcmp(reply.constData(), opcode, 4) == 0;
}

// Whether the first 200 bytes of a reply equal the expected frame. The reply is judged as it stands
// in a zero-filled reply buffer: bytes it lacks count as zeros, bytes past the 200th are not looked at.
inline bool LuminanceReplyMatches(const QByteArray& reply, const char* expected) {
    const int n = reply.size() < LUMINANCE_REPLY_SIZE ? reply.size() : LUMINANCE_REPLY_SIZE;
    if (n > 0 && std::memcmp(reply.constData(), expected, size_t(n)) != 0)
        return false;
    for (int i = n; i < LUMINANCE_REPLY_SIZE; ++i)
        if (expected[i] != 0)
            return false;
    return true;
}

// The 16-bit little-endian measurement state at offset 36; bytes the reply lacks count as zeros.
inline unsigned LuminanceReplyStatus(const QByteArray& reply) {
    unsigned value = 0;
    for (int i = 1; i >= 0; --i) {
        const int at = LUMINANCE_STATUS_OFFSET + i;
        value = (value << 8) | (at < reply.size() ? unsigned(uint8_t(reply[at])) : 0u);
    }
    return value;
}

// The double at offset 46, copied out byte by byte. False if the reply ends before it.
inline bool LuminanceReplyReading(const QByteArray& reply, double* value) {
    if (reply.size() < LUMINANCE_READING_OFFSET + 8)
        return false;
    uint64_t bits = 0;
    for (int i = 7; i >= 0; --i)
        bits = (bits << 8) | uint64_t(uint8_t(reply[LUMINANCE_READING_OFFSET + i]));
    std::memcpy(value, &bits, sizeof bits);
    return true;
}

// A command frame as the instrument reads it.
struct LuminanceCommandFields {
    char opcode[5];
    uint32_t length;
    uint32_t part;
    uint32_t parts;
    uint32_t payload[LUMINANCE_MAX_PAYLOAD_WORDS];
    int payloadWords;
};

enum class LuminanceParse {
    Frame,    // a whole, well-formed frame starts here
    NeedMore, // what is here so far could begin a frame
    NotFrame, // no frame starts here
};

// Looks for a command frame at the start of bytes[0..size): four capital letters, the length twice
// (a whole number of words that fits), and, once all 100 bytes are there, the right checksum.
inline LuminanceParse LuminanceParseCommand(const char* bytes, int size, LuminanceCommandFields* out) {
    for (int i = 0; i < 4 && i < size; ++i)
        if (bytes[i] < 'A' || bytes[i] > 'Z')
            return LuminanceParse::NotFrame;
    if (size < 12)
        return LuminanceParse::NeedMore;
    const uint32_t length = LuminanceGetWord(bytes + 4);
    if (length != LuminanceGetWord(bytes + 8) || length % 4 != 0 ||
        length > uint32_t(4 * LUMINANCE_MAX_PAYLOAD_WORDS))
        return LuminanceParse::NotFrame;
    if (size < LUMINANCE_COMMAND_SIZE)
        return LuminanceParse::NeedMore;
    const int sumAt = LUMINANCE_COMMAND_HEADER_SIZE + int(length);
    if (LuminanceGetWord(bytes + sumAt) != LuminanceChecksum(bytes, sumAt))
        return LuminanceParse::NotFrame;
    if (out) {
        std::memcpy(out->opcode, bytes, 4);
        out->opcode[4] = '\0';
        out->length = length;
        out->part = LuminanceGetWord(bytes + 12);
        out->parts = LuminanceGetWord(bytes + 16);
        out->payloadWords = int(length / 4);
        for (int i = 0; i < out->payloadWords; ++i)
            out->payload[i] = LuminanceGetWord(bytes + LUMINANCE_COMMAND_HEADER_SIZE + 4 * i);
    }
    return LuminanceParse::Frame;
}

// The frames each operation of the driver sends, in order, with the replies it expects, built once
// from their fields. They live for the whole run, so a write queued to the port's thread can never
// outlive its bytes.
struct LuminanceFrameTables {
    char connectCommands[3][LUMINANCE_COMMAND_SIZE];
    char connectReplies[3][LUMINANCE_REPLY_SIZE];
    char disconnectCommands[3][LUMINANCE_COMMAND_SIZE];
    char disconnectReplies[3][LUMINANCE_REPLY_SIZE];
    char measureCommands[1][LUMINANCE_COMMAND_SIZE];
    char measureReplies[1][LUMINANCE_REPLY_SIZE];
    char pollingCommand[LUMINANCE_COMMAND_SIZE];
    // Frame 1 asks for the reading; frames 2 to 4 are sent without waiting for their replies.
    char readCommands[4][LUMINANCE_COMMAND_SIZE];
    char readFirstReply[LUMINANCE_REPLY_SIZE];
};

// The driver's tables (built on first use, thread-safe).
const LuminanceFrameTables& LuminanceTables();
