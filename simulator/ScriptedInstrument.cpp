#include "ScriptedInstrument.h"

namespace {
// A host that sends bytes no rule knows must not make the buffer grow without end; commands are
// short, so the most recent stretch is all a rule can still match.
constexpr int kPendingLimit = 8 * 1024;
} // namespace

ScriptedInstrument::ScriptedInstrument() = default;

ScriptedInstrument::~ScriptedInstrument() {
    // The stream hands its pieces to this instrument, and the thread calls onReceived(), which uses
    // the rules below: both must end before they do.
    m_stream.stop();
    stop();
}

void ScriptedInstrument::on(const QByteArray& command, const QByteArray& reply, int delayMs, int times) {
    QList<ReplyPiece> pieces;
    if (!reply.isEmpty())
        pieces.append(ReplyPiece{delayMs, reply});
    onPieces(command, pieces, times);
}

void ScriptedInstrument::onPieces(const QByteArray& command, const QList<ReplyPiece>& pieces, int times) {
    if (command.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.append(Rule{command, pieces, times, -1, false});
}

void ScriptedInstrument::unplugOn(const QByteArray& command, int delayMs) {
    if (command.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.append(Rule{command, {}, -1, delayMs < 0 ? 0 : delayMs, false});
}

void ScriptedInstrument::streamOn(const QByteArray& command) {
    if (command.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.append(Rule{command, {}, 1, -1, true});
}

void ScriptedInstrument::streamNow(int pieceBytes, int intervalMs) {
    m_stream.start([this](const QByteArray& piece) { reply(piece); }, pieceBytes, intervalMs);
}

bool ScriptedInstrument::streaming() const {
    return m_stream.running();
}

void ScriptedInstrument::setRequiredBaud(int baud) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requiredBaud = baud;
}

void ScriptedInstrument::clearRules() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.clear();
    m_pending.clear();
}

void ScriptedInstrument::onReceived(const QByteArray& bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    // At another line speed the instrument hears noise: the bytes stay in the record only.
    if (m_requiredBaud != 0 && lineBaud() != m_requiredBaud)
        return;
    m_pending += bytes;
    if (m_pending.size() > kPendingLimit)
        m_pending.remove(0, m_pending.size() - kPendingLimit);

    for (;;) {
        // The command that ends first is the one the instrument has heard first; among commands
        // ending at the same byte the earlier rule wins.
        int best = -1;
        int bestEnd = 0;
        for (int i = 0; i < m_rules.size(); ++i) {
            const Rule& rule = m_rules[i];
            if (rule.times == 0)
                continue;
            const int at = m_pending.indexOf(rule.command);
            if (at < 0)
                continue;
            const int end = at + rule.command.size();
            if (best < 0 || end < bestEnd) {
                best = i;
                bestEnd = end;
            }
        }
        if (best < 0)
            return;
        m_pending.remove(0, bestEnd);
        Rule& rule = m_rules[best];
        if (rule.times > 0)
            --rule.times;
        if (rule.stream)
            streamNow();
        else if (rule.unplugDelayMs >= 0)
            unplugAfter(rule.unplugDelayMs);
        else if (!rule.pieces.isEmpty())
            replyPieces(rule.pieces);
    }
}
