#pragma once

#include "EndlessStream.h"
#include "SimInstrument.h"

#include <mutex>

// An instrument that follows rules: "on receiving this command, answer these bytes after this delay
// (or nothing)". Received bytes collect in a buffer; whenever a rule's command appears in it, the
// buffer is consumed up to the end of that command and the rule's reply is scheduled. Rules are tried
// in the order they were added; a rule with a use count stops matching when used up.
class ScriptedInstrument : public SimInstrument {
public:
    ScriptedInstrument();
    ~ScriptedInstrument() override;

    // Answer `command` with `reply` after delayMs; times < 0 means for ever. An empty reply answers
    // nothing (but still consumes the command).
    void on(const QByteArray& command, const QByteArray& reply, int delayMs = 0, int times = -1);
    // Answer with several pieces (for replies arriving in chunks).
    void onPieces(const QByteArray& command, const QList<ReplyPiece>& pieces, int times = -1);
    // Pull the adapter `delayMs` after `command` arrives.
    void unplugOn(const QByteArray& command, int delayMs = 0);
    // From the moment `command` arrives, send without end (a GPS receiver's sentences at 9600 baud,
    // EndlessStream), whatever is heard afterwards and at whatever line speed.
    void streamOn(const QByteArray& command);
    // Start sending without end now, `pieceBytes` every `intervalMs` (by default at 9600-baud pace).
    void streamNow(int pieceBytes = EndlessStream::kPieceBytes,
                   int intervalMs = EndlessStream::kPieceIntervalMs);
    bool streaming() const;
    // Answer only while the line runs at this speed (0: any speed). Others are silently ignored.
    void setRequiredBaud(int baud);
    void clearRules();

protected:
    void onReceived(const QByteArray& bytes) override;

private:
    struct Rule {
        QByteArray command;
        QList<ReplyPiece> pieces;
        int times;
        int unplugDelayMs; // -1: no unplug
        bool stream;
    };
    std::mutex m_mutex;
    QList<Rule> m_rules;
    QByteArray m_pending;
    int m_requiredBaud = 0;
    EndlessStream m_stream;
};
