#include "TestSupport.h"

#include "ChromameterDetector.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include <gtest/gtest.h>

#include <vector>

int processThreadCount() {
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

QDateTime nowToTheSecond() {
    QDateTime now = QDateTime::currentDateTime();
    now.setTime(QTime(now.time().hour(), now.time().minute(), now.time().second()));
    return now;
}

void expectStampBetween(const QByteArray& stamp, const QDateTime& before, const QDateTime& after) {
    ASSERT_EQ(stamp.size(), 19) << stamp.constData();
    const QDateTime when =
        QDateTime::fromString(QString::fromLatin1(stamp), QStringLiteral("yyyy,MM,dd,hh,mm,ss"));
    ASSERT_TRUE(when.isValid()) << stamp.constData();
    EXPECT_LE(before, when) << stamp.constData();
    EXPECT_LE(when, after) << stamp.constData();
}

CatalogueScope::CatalogueScope(const QStringList& names, const QStringList& descriptions) {
    std::vector<QByteArray> n, d;
    for (int i = 0; i < names.size(); ++i) {
        n.push_back(names[i].toUtf8());
        d.push_back(i < descriptions.size() ? descriptions[i].toUtf8() : QByteArray("USB-Serial Controller"));
    }
    std::vector<const char*> np, dp;
    for (size_t i = 0; i < n.size(); ++i) {
        np.push_back(n[i].constData());
        dp.push_back(d[i].constData());
    }
    ChromameterSetPortCatalogue(np.data(), dp.data(), int(n.size()));
}

CatalogueScope::~CatalogueScope() {
    ChromameterSetPortCatalogue(nullptr, nullptr, -1);
}

namespace {
std::mutex g_captureMutex;
QStringList g_captured;
QtMessageHandler g_previous = nullptr;
int g_captureDepth = 0;

void captureHandler(QtMsgType, const QMessageLogContext&, const QString& msg) {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    g_captured.append(msg);
}
} // namespace

MessageCapture::MessageCapture() {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    if (g_captureDepth++ == 0) {
        g_captured.clear();
        g_previous = qInstallMessageHandler(captureHandler);
    }
}

MessageCapture::~MessageCapture() {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    if (--g_captureDepth == 0)
        qInstallMessageHandler(g_previous);
}

QStringList MessageCapture::lines() const {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    return g_captured;
}

bool MessageCapture::contains(const QString& text) const {
    return count(text) > 0;
}

int MessageCapture::count(const QString& text) const {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    int n = 0;
    for (const QString& line : g_captured)
        if (line.contains(text))
            ++n;
    return n;
}

void MessageCapture::clear() {
    std::lock_guard<std::mutex> lock(g_captureMutex);
    g_captured.clear();
}

void RecordingWatcher::OnMeasureFinished() {
    add("finished", 0);
}
void RecordingWatcher::OnMeasureFailed(unsigned long code) {
    add("failed", code);
}
void RecordingWatcher::OnConnected() {
    add("connected", 0);
}
void RecordingWatcher::OnDisconnected() {
    add("disconnected", 0);
}
void RecordingWatcher::OnZeroCalibrated(unsigned long code) {
    add("zerocalibrated", code);
}

void RecordingWatcher::add(const QString& name, unsigned long code) {
    // The callback is taken under the lock and called from a copy: once the event is recorded, a
    // test that saw it may go on and destroy the watcher while this (worker) thread still returns.
    std::function<void(const QString&)> callback;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(Event{name, code, std::this_thread::get_id()});
        callback = onEvent;
    }
    if (callback)
        callback(name);
}

std::vector<RecordingWatcher::Event> RecordingWatcher::events() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

int RecordingWatcher::count(const QString& name) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    int n = 0;
    for (const Event& e : m_events)
        if (e.name == name)
            ++n;
    return n;
}

QString RecordingWatcher::last() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_events.empty() ? QString() : m_events.back().name;
}

void RecordingWatcher::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
}

void expectDefaultReadingMeasured(IMinolta& host, const RecordingWatcher& watcher) {
    EXPECT_EQ(host.Measure(false), RESULT_OK);
    ASSERT_TRUE(waitUntil([&] { return watcher.count(QStringLiteral("finished")) == 1; }, 10000));
    SChromameterMeasureData data = {0.0f, 0.0f, 0.0f, 0.0f};
    ASSERT_EQ(host.ReadLvXy(data), RESULT_OK);
    EXPECT_FLOAT_EQ(data.Lv, 120.5f);
    EXPECT_FLOAT_EQ(data.x, 0.3127f);
    EXPECT_FLOAT_EQ(data.y, 0.3290f);
}
