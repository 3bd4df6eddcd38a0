#pragma once

// The host side of a conversation with a simulated instrument, with nothing of the library in
// between: a plain QSerialPort, and everything it heard with when, and every error it raised.

#include "SimInstrument.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QSerialPort>
#include <QString>

#include <gtest/gtest.h>

#include <map>

// The host side of a conversation: a plain QSerialPort and everything it heard, with when.
class SerialHost {
public:
    struct Chunk {
        qint64 atMs;
        QByteArray bytes;
    };

    SerialHost() {
        m_clock.start();
        QObject::connect(&port, &QSerialPort::readyRead, [this] {
            m_chunks.append(Chunk{m_clock.elapsed(), port.readAll()});
        });
        QObject::connect(&port, &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError error) {
            if (error == QSerialPort::NoError)
                return;
            if (m_firstError == QSerialPort::NoError)
                m_firstError = error;
            ++m_errorCounts[error];
        });
    }

    bool open(const QString& path, qint32 baud) {
        port.setPortName(path);
        if (!port.open(QIODevice::ReadWrite))
            return false;
        return port.setBaudRate(baud);
    }

    void send(const QByteArray& bytes) {
        port.write(bytes);
        port.waitForBytesWritten(100);
    }

    QByteArray heard() const {
        QByteArray all;
        for (const Chunk& chunk : m_chunks)
            all += chunk.bytes;
        return all;
    }
    bool waitHeard(int size, int timeoutMs = 2000) {
        return waitUntil([&] { return heard().size() >= size; }, timeoutMs);
    }
    const QList<Chunk>& chunks() const { return m_chunks; }
    qint64 nowMs() const { return m_clock.elapsed(); }

    int errorCount() const {
        int n = 0;
        for (const auto& entry : m_errorCounts)
            n += entry.second;
        return n;
    }
    int errorCount(QSerialPort::SerialPortError error) const {
        auto it = m_errorCounts.find(error);
        return it == m_errorCounts.end() ? 0 : it->second;
    }
    QSerialPort::SerialPortError firstError() const { return m_firstError; }
    void forgetErrors() {
        m_errorCounts.clear();
        m_firstError = QSerialPort::NoError;
    }

    QSerialPort port;

private:
    QElapsedTimer m_clock;
    QList<Chunk> m_chunks;
    std::map<QSerialPort::SerialPortError, int> m_errorCounts;
    QSerialPort::SerialPortError m_firstError = QSerialPort::NoError;
};

// Starts `sim` and opens the host's port on it at 9600 baud.
::testing::AssertionResult plugIn(SimInstrument& sim, SerialHost& host);

// The same, then the adapter pulled while the host holds the port open.
::testing::AssertionResult pulledWhileOpen(SimInstrument& sim, SerialHost& host);

// The temporary folder a simulator's link lies in (<tmp>/dev/cu.usbserial-SIM<n>).
QString simLinkFolder(const QString& link);
