#pragma once

#include "InstrumentModel.h"

#include <QByteArray>

#include <chrono>

// A luminance meter at 9600 baud speaking 100-byte binary command frames. "INIG" (reset) and "COMS"
// (remote mode on with [1, 1], off with [2, 0] / [1, 0]) are answered with their fixed replies; "MEAS"
// starts a measurement that runs for measureDelayMs; "STSG" answers 559 while it runs and 558 once it
// is over (or when none was started); the first "MSCG" part answers the read-out header carrying the
// measured luminance (the configured one, or a virtual display's) at offset 46, and parts 2 to 4 answer the
// rest of the read-out. Bytes that do not form a frame with a correct checksum, such as other instruments'
// text probes, are skipped.
class LuminanceModel : public InstrumentModel {
public:
    LuminanceModel();
    ~LuminanceModel() override;

    // Whether the last "COMS" switched remote mode on (thread-safe snapshot).
    bool inRemoteMode() const;
    // Frames received and understood so far, and bytes skipped as noise.
    int framesHeard() const;
    int bytesSkipped() const;
    // How long the model waits before saying the status a second time: the host reads two status
    // replies per request.
    static const int kStatusRepeatMs = 150;

protected:
    QByteArray terminators() const override;
    void onCommand(const QByteArray& bytes) override;

private:
    void onFrame(const char* frame);

    // The simulator thread's own: the bytes not yet framed and when the running measurement ends.
    QByteArray m_pending;
    bool m_measuring = false;
    std::chrono::steady_clock::time_point m_measureEnds;

    mutable std::mutex m_stateMutex;
    bool m_remote = false;
    int m_frames = 0;
    int m_skipped = 0;
};
