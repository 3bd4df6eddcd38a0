#pragma once

#include "InstrumentModel.h"

#include <QByteArray>
#include <QList>

#include <mutex>

// A line-echo instrument: answers "ECHO:" and the command; "MEAS\n" is a measurement answered with
// "RESULT\n" after the measurement duration.
class EchoModel : public InstrumentModel {
public:
    explicit EchoModel(const QByteArray& terminators = "\n") : m_terminators(terminators) {}
    ~EchoModel() override { stop(); }

    QList<QByteArray> commands() const {
        std::lock_guard<std::mutex> lock(m_commandsMutex);
        return m_commands;
    }
    int measureDurationMs() const { return effectiveMeasureDelayMs(); }

protected:
    QByteArray terminators() const override { return m_terminators; }
    void onCommand(const QByteArray& command) override {
        if (command == "MEAS\n")
            answerMeasurement("RESULT\n", measureDelayMs());
        else
            answer("ECHO:" + command);
        // Noted after answering, so a test that sees the command also sees its answer scheduled.
        std::lock_guard<std::mutex> lock(m_commandsMutex);
        m_commands.append(command);
    }

private:
    const QByteArray m_terminators;
    mutable std::mutex m_commandsMutex;
    QList<QByteArray> m_commands;
};
