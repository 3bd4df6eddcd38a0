#pragma once

#include <QByteArray>

#include <atomic>
#include <mutex>

// A family model that pulls its adapter when an armed trigger arrives: the command that carries the
// trigger (and anything after it in the same stretch of bytes) is not answered, and the adapter is
// gone `delayMs` later. Bytes before the trigger are handled as usual.
template <class Model> class PullOnCommand : public Model {
public:
    explicit PullOnCommand(const QByteArray& trigger, int delayMs = 0, bool armed = true)
        : m_trigger(trigger), m_delayMs(delayMs), m_armed(armed) {}
    ~PullOnCommand() override { this->stop(); }
    void arm() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tail.clear();
        m_armed = true;
    }
    bool fired() const { return m_fired.load(); }

protected:
    void onReceived(const QByteArray& bytes) override {
        QByteArray before = bytes;
        bool pull = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_armed && !m_fired.load()) {
                // The trigger may straddle two stretches of bytes (one-byte writes, for instance).
                const QByteArray seen = m_tail + bytes;
                const int at = seen.indexOf(m_trigger);
                if (at >= 0) {
                    pull = true;
                    m_fired = true;
                    const int inBytes = at - m_tail.size();
                    before = inBytes > 0 ? bytes.left(inBytes) : QByteArray();
                } else {
                    m_tail = seen.right(m_trigger.size() - 1);
                }
            }
        }
        if (!before.isEmpty())
            Model::onReceived(before);
        if (pull)
            this->unplugAfter(m_delayMs);
    }

private:
    std::mutex m_mutex;
    QByteArray m_trigger;
    QByteArray m_tail;
    int m_delayMs;
    bool m_armed;
    std::atomic<bool> m_fired{false};
};
