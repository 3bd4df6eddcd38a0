#pragma once

#include "LineModel.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

class PtyLink;

// One stretch of bytes the instrument received, with when (ms since start()) and at which line speed.
struct ReceivedChunk {
    qint64 atMs;
    int baud;
    QByteArray bytes;
};

// A reply piece: written `delayMs` after the previous piece of the same reply (or after the trigger).
struct ReplyPiece {
    int delayMs;
    QByteArray bytes;
};

// Base of every simulated instrument: a pseudo-terminal link served by its own thread.
// The thread reads what the library writes, records it, and hands it to onReceived(); replies are
// scheduled with reply() and written by the same thread when due. All public members are thread-safe.
//
// onReceived() runs on the simulator thread until stop() returns, so every concrete subclass calls
// stop() first thing in its own destructor, before its members (and its override) are gone; the
// base destructor's stop() comes too late for that. stop() must not be called from onReceived().
class SimInstrument {
public:
    SimInstrument();
    virtual ~SimInstrument();
    SimInstrument(const SimInstrument&) = delete;
    SimInstrument& operator=(const SimInstrument&) = delete;

    // Creates the link and starts the thread. False if the pseudo-terminal could not be made.
    bool start();
    // Stops the thread and removes the link. Called by the destructor too. Idempotent.
    void stop();
    // The path to give the library (a link holding "/dev/" and a macOS USB-serial name).
    QString portPath() const;
    // Pulls the adapter now: the device is closed and the link removed.
    void unplug();
    bool isPlugged() const;
    // Line speed the library has set on the port, in baud.
    int lineBaud() const;
    // How the cable delivers: every byte in both directions takes its line time, and replies reach
    // the library as the chosen adapter hands them over. Instant (no line time) until set. Any thread.
    void setLine(const LineModel& line);
    LineModel line() const;
    // The seed the line's random draws started from at the last start() or setLine() (the line's own,
    // or the fresh one drawn for it): the line's name with it, "usb:16:jitter=8:seed=N", replays them.
    quint32 lineSeed() const;

    // Everything received since start() or the last clearRecord(), in order.
    QByteArray received() const;
    QList<ReceivedChunk> record() const;
    void clearRecord();
    // How many times `needle` occurs in received().
    int countReceived(const QByteArray& needle) const;
    // Milliseconds since start().
    qint64 elapsedMs() const;
    // Bytes written to the library so far.
    qint64 bytesSent() const;
    // When the last byte so far went to the library: std::chrono::steady_clock nanoseconds since its
    // epoch, 0 before the first write. Lets a host time its reaction to a reply against the wire.
    qint64 lastWriteSteadyNs() const;
    // When bytes from the library last arrived (before their line time), on the same clock; 0 before
    // any. With lastWriteSteadyNs() it tells where an answer landed after its command was sent.
    qint64 lastReceiveSteadyNs() const;
    // When the first bytes written after the last ones received went to the library (the head of
    // the answer to the last command), on the same clock; 0 before any.
    qint64 lastAnswerStartSteadyNs() const;

protected:
    // Called on the simulator thread with each stretch of bytes as it arrives.
    virtual void onReceived(const QByteArray& bytes) = 0;
    // Schedules bytes to be written to the library after delayMs (relative to now). Any thread.
    void reply(const QByteArray& bytes, int delayMs = 0);
    // Schedules several pieces, each delayed relative to the previous one.
    void replyPieces(const QList<ReplyPiece>& pieces);
    // Drops every reply not yet written.
    void cancelReplies();
    // Schedules an unplug after delayMs.
    void unplugAfter(int delayMs);

private:
    void run();

    struct Impl;
    std::unique_ptr<Impl> d;
};
