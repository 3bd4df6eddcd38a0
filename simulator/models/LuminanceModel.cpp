#include "LuminanceModel.h"

// The frames are built by the same inline code the driver uses, so both sides always agree.
#include "drivers/LuminanceFrames.h"

#include <cstring>

namespace {
// A host that never completes a frame must not make the buffer grow without end.
const int kPendingLimit = 8 * 1024;
} // namespace

LuminanceModel::LuminanceModel() {
    setRequiredBaud(9600);
}

LuminanceModel::~LuminanceModel() {
    stop();
}

bool LuminanceModel::inRemoteMode() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_remote;
}

int LuminanceModel::framesHeard() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_frames;
}

int LuminanceModel::bytesSkipped() const {
    std::lock_guard<std::mutex> lock(m_stateMutex);
    return m_skipped;
}

QByteArray LuminanceModel::terminators() const {
    // Binary frames carry no terminator: take the bytes as they come and frame them here.
    return QByteArray();
}

void LuminanceModel::onCommand(const QByteArray& bytes) {
    m_pending += bytes;
    int skipped = 0;
    for (;;) {
        const LuminanceParse parse = LuminanceParseCommand(m_pending.constData(), m_pending.size(), nullptr);
        if (parse == LuminanceParse::NeedMore)
            break;
        if (parse == LuminanceParse::NotFrame) {
            // Noise: look for a frame one byte further on.
            m_pending.remove(0, 1);
            ++skipped;
            continue;
        }
        const QByteArray frame = m_pending.left(LUMINANCE_COMMAND_SIZE);
        m_pending.remove(0, LUMINANCE_COMMAND_SIZE);
        onFrame(frame.constData());
    }
    if (m_pending.size() > kPendingLimit) {
        skipped += m_pending.size() - kPendingLimit;
        m_pending.remove(0, m_pending.size() - kPendingLimit);
    }
    if (skipped > 0) {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        m_skipped += skipped;
    }
}

void LuminanceModel::onFrame(const char* bytes) {
    LuminanceCommandFields frame;
    LuminanceParseCommand(bytes, LUMINANCE_COMMAND_SIZE, &frame);
    {
        std::lock_guard<std::mutex> lock(m_stateMutex);
        ++m_frames;
    }
    const QByteArray opcode(frame.opcode);
    const auto now = std::chrono::steady_clock::now();

    if (opcode == "INIG") {
        answer(LuminanceInigReply());
    } else if (opcode == "COMS") {
        {
            std::lock_guard<std::mutex> lock(m_stateMutex);
            m_remote = frame.payloadWords >= 2 && frame.payload[0] == 1 && frame.payload[1] == 1;
        }
        answer(LuminanceComsReply());
    } else if (opcode == "MEAS") {
        m_measuring = true;
        m_measureEnds = now + std::chrono::milliseconds(effectiveMeasureDelayMs());
        takeMeasurement();
        // The acknowledgement is the start of the measurement: where the adapter is to be pulled
        // during one, it goes now.
        answerMeasurement(LuminanceMeasReply(), 0);
    } else if (opcode == "STSG") {
        if (m_measuring && now >= m_measureEnds)
            m_measuring = false;
        const QByteArray status =
            LuminanceStatusReply(m_measuring ? LUMINANCE_STATUS_RUNNING : LUMINANCE_STATUS_FINISHED);
        answer(status);
        answer(status, kStatusRepeatMs);
    } else if (opcode == "MSCG") {
        if (frame.part <= 1)
            answer(LuminanceMscgReplyWithReading(measuredReading().Lv));
        else
            answer(LuminanceReply("MSCG", 128, 508, frame.part, frame.parts, {}));
    }
    // Other opcodes mean nothing to this instrument; it keeps quiet.
}
