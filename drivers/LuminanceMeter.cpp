#include "LuminanceMeter.h"

#include "DriverSupport.h"
#include "LuminanceFrames.h"
#include "MinoltaVistor.h"

#include <QByteArray>

#include <chrono>
#include <cstring>
#include <thread>

namespace {
using namespace LuminanceBudgets;

// Status replies read after each status request.
const int kStatusRepliesPerRequest = 2;
// Read-out parts sent without reading their answers (parts 2 to 4).
const int kStaleReadOutReplies = 3;

// Runs one of the constant command tables: DoExcute takes writable arrays, so the frames and their
// expected replies are copied into local ones first.
template <std::size_t N>
unsigned long runTable(CLuminanceMeter* meter, const char (&commands)[N][LUMINANCE_COMMAND_SIZE],
                       const char (&replies)[N][LUMINANCE_REPLY_SIZE]) {
    char commandCopies[N][LUMINANCE_COMMAND_SIZE];
    char replyCopies[N][LUMINANCE_REPLY_SIZE];
    std::memcpy(commandCopies, commands, sizeof commandCopies);
    std::memcpy(replyCopies, replies, sizeof replyCopies);
    return meter->DoExcute(commandCopies, replyCopies, int(N));
}
} // namespace

CLuminanceMeter::CLuminanceMeter(CInstrumentLine& line) : m_bStaleReplies(false), m_line(line) {
    m_bConnected = false;
    m_bMeasuring = false;
    m_bMeasureSucceed = false;
    m_bReaded = false;
    m_nType = 2;
}

CLuminanceMeter::~CLuminanceMeter() {}

void CLuminanceMeter::DrainStaleReplies() {
    if (!m_bStaleReplies)
        return;
    m_bStaleReplies = false;
    // The answers to read-out parts 2 to 4 may still be on their way: on the cable each command and
    // each reply frame takes its line time (a 200-byte frame about 0.2 s at 9600 baud). Take them
    // until all three frames have come, or until the line stays quiet for a reply's whole budget.
    int taken = 0;
    QByteArray stale;
    while (taken < kStaleReadOutReplies * LUMINANCE_REPLY_SIZE && DriverRead(m_line, kReply, &stale))
        taken += stale.size();
}

unsigned long CLuminanceMeter::DoExcute(char (*commands)[100], char (*replies)[200], int count) {
    if (count < 1)
        return RESULT_OK;
    DrainStaleReplies();
    for (int i = 0; i < count; ++i) {
        if (!DriverSend(m_line, commands[i], LUMINANCE_COMMAND_SIZE))
            return RESULT_FAIL;
        QByteArray reply;
        if (!DriverRead(m_line, kReply, &reply))
            return RESULT_FAIL;
        // Byte for byte, zero padding included; whatever follows the 200th byte is not looked at.
        if (!LuminanceReplyMatches(reply, replies[i]))
            return RESULT_FAIL;
    }
    return RESULT_OK;
}

unsigned long CLuminanceMeter::Connect() {
    const LuminanceFrameTables& tables = LuminanceTables();
    const unsigned long result = runTable(this, tables.connectCommands, tables.connectReplies);
    // The connected flag stays as it is: this instrument is known to be there only by its answers.
    if (result == RESULT_OK)
        CMinoltaVistor::GetInstance()->NotifyAll_Connected();
    return result;
}

unsigned long CLuminanceMeter::Disconnect() {
    const LuminanceFrameTables& tables = LuminanceTables();
    const unsigned long result = runTable(this, tables.disconnectCommands, tables.disconnectReplies);
    if (result == RESULT_OK)
        CMinoltaVistor::GetInstance()->NotifyAll_Disconnected();
    // The port is given up whether or not the instrument answered.
    DriverClosePort(m_line);
    return result;
}

unsigned long CLuminanceMeter::Measure(bool) {
    const LuminanceFrameTables& tables = LuminanceTables();
    if (runTable(this, tables.measureCommands, tables.measureReplies) == RESULT_OK) {
        CMinoltaVistor::GetInstance()->NotifyAll_MeasureFinished();
        return RESULT_OK;
    }
    CMinoltaVistor::GetInstance()->NotifyAll_MeasureFailed(RESULT_FAIL);
    return RESULT_FAIL;
}

unsigned long CLuminanceMeter::Polling() {
    DrainStaleReplies();
    const char* command = LuminanceTables().pollingCommand;
    bool sent = false;
    bool lost = false;
    // Deliberately unbounded while the instrument is there: it decides when the measurement is over.
    // A lost adapter ends it (the read that found it gone has closed the port).
    do {
        sent = DriverSend(m_line, command, LUMINANCE_COMMAND_SIZE);
        for (int n = 0; n < kStatusRepliesPerRequest; ++n) {
            QByteArray reply;
            if (!DriverRead(m_line, kStatus, &reply)) {
                lost = !DriverPortConnected(m_line);
                break;
            }
            // Anything but a status reply still counts against the two.
            if (!LuminanceReplyHasOpcode(reply, "STSG"))
                continue;
            const unsigned status = LuminanceReplyStatus(reply);
            if (status == LUMINANCE_STATUS_RUNNING) {
                m_bMeasuring = true;
            } else if (status == LUMINANCE_STATUS_FINISHED) {
                m_bMeasuring = false;
                m_bMeasureSucceed = true;
            }
        }
    } while (!m_bMeasureSucceed && sent && !lost);
    return (sent && !lost) ? RESULT_OK : RESULT_FAIL;
}

double CLuminanceMeter::ReadLastestData() {
    for (int attempt = 0; attempt < kPollingAttempts; ++attempt) {
        m_bMeasuring = true;
        m_bMeasureSucceed = false;
        const unsigned long polled = Polling();
        std::this_thread::sleep_for(std::chrono::milliseconds(kAfterPollingMs));
        if (polled == RESULT_OK)
            break;
    }

    const LuminanceFrameTables& tables = LuminanceTables();
    bool failed = !DriverSend(m_line, tables.readCommands[0], LUMINANCE_COMMAND_SIZE);
    double reading = 0.0;
    QByteArray reply;
    if (!DriverRead(m_line, kReply, &reply)) {
        failed = true;
    } else if (!LuminanceReplyMatches(reply, tables.readFirstReply)) {
        // A reply too short to hold the reading brings none back.
        if (!LuminanceReplyReading(reply, &reading))
            reading = 0.0;
    }

    double result = -1.0;
    if (failed)
        return result;
    // The other three parts of the read-out are sent without reading their replies; whatever the
    // instrument answers to them is thrown away before the next exchange.
    m_bStaleReplies = true;
    if (!DriverSend(m_line, tables.readCommands[1], LUMINANCE_COMMAND_SIZE))
        return -1.0;
    if (!DriverSend(m_line, tables.readCommands[2], LUMINANCE_COMMAND_SIZE))
        return -1.0;
    if (DriverSend(m_line, tables.readCommands[3], LUMINANCE_COMMAND_SIZE))
        result = reading;
    return result;
}

unsigned long CLuminanceMeter::ReadLvXy(SChromameterMeasureData&) {
    // Luminance only: no chromaticity to give.
    return RESULT_FAIL;
}

unsigned long CLuminanceMeter::ReadSpectralData(QList<float>&, int&, int&) {
    return RESULT_FAIL;
}

unsigned long CLuminanceMeter::ReadMeasureData(double&, double&, double&, double&, double&, double&,
                                               double&) {
    return RESULT_NOT_AVAILABLE;
}

unsigned long CLuminanceMeter::RegisterWatcher(IMinoltaWatcher*) {
    // Watchers are kept by the registry, reached through the facade.
    return RESULT_NOT_SUPPORTED;
}

unsigned long CLuminanceMeter::UnregisterWatcher(IMinoltaWatcher*) {
    return RESULT_NOT_SUPPORTED;
}

unsigned long CLuminanceMeter::ZeroCalibrate() {
    return RESULT_NOT_AVAILABLE;
}
