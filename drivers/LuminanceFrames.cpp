#include "LuminanceFrames.h"

namespace {
LuminanceFrameTables buildTables() {
    LuminanceFrameTables t;
    // Connect: reset twice, then into remote mode.
    LuminanceBuildCommand(t.connectCommands[0], "INIG", 1, 1, {0});
    LuminanceBuildCommand(t.connectCommands[1], "INIG", 1, 1, {0});
    LuminanceBuildCommand(t.connectCommands[2], "COMS", 1, 1, {1, 1});
    // Disconnect: reset, then remote mode off in two steps.
    LuminanceBuildCommand(t.disconnectCommands[0], "INIG", 1, 1, {0});
    LuminanceBuildCommand(t.disconnectCommands[1], "COMS", 1, 1, {2, 0});
    LuminanceBuildCommand(t.disconnectCommands[2], "COMS", 1, 1, {1, 0});
    LuminanceBuildCommand(t.measureCommands[0], "MEAS", 1, 1, {0, 1});
    LuminanceBuildCommand(t.pollingCommand, "STSG", 1, 1, {1});
    // The read-out comes in four parts; only the first carries a payload.
    LuminanceBuildCommand(t.readCommands[0], "MSCG", 1, 1, {0});
    LuminanceBuildCommand(t.readCommands[1], "MSCG", 2, 4, {});
    LuminanceBuildCommand(t.readCommands[2], "MSCG", 3, 4, {});
    LuminanceBuildCommand(t.readCommands[3], "MSCG", 4, 4, {});

    const QByteArray inig = LuminanceInigReply();
    const QByteArray coms = LuminanceComsReply();
    const QByteArray meas = LuminanceMeasReply();
    const QByteArray mscg = LuminanceMscgReply();
    std::memcpy(t.connectReplies[0], inig.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.connectReplies[1], inig.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.connectReplies[2], coms.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.disconnectReplies[0], inig.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.disconnectReplies[1], coms.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.disconnectReplies[2], coms.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.measureReplies[0], meas.constData(), LUMINANCE_REPLY_SIZE);
    std::memcpy(t.readFirstReply, mscg.constData(), LUMINANCE_REPLY_SIZE);
    return t;
}
} // namespace

const LuminanceFrameTables& LuminanceTables() {
    static const LuminanceFrameTables tables = buildTables();
    return tables;
}
