// The record of the last connection a host keeps in the user's cache folder (host/LastConnection).
#include "LastConnection.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
// Sets an environment variable for the scope of a test and restores it.
class EnvScope {
public:
    EnvScope(const char* name, const QByteArray& value)
        : m_name(name), m_had(qEnvironmentVariableIsSet(name)), m_old(qgetenv(name)) {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }
    ~EnvScope() {
        if (m_had)
            qputenv(m_name, m_old);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    bool m_had;
    QByteArray m_old;
};
} // namespace

TEST(LastConnectionRecord, WrittenRecordReadsBack) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.path() + QStringLiteral("/deeper/chromameter/last-connection");
    LastConnection last;
    last.family = QStringLiteral("photoresearch");
    last.port = QStringLiteral("/dev/cu.usbserial-A1");
    QString error;
    ASSERT_TRUE(LastConnection::Write(path, last, &error)) << error.toStdString();
    LastConnection read;
    QString note;
    ASSERT_TRUE(LastConnection::Read(path, &read, &note)) << note.toStdString();
    EXPECT_TRUE(note.isEmpty());
    EXPECT_EQ(read.family, last.family);
    EXPECT_EQ(read.port, last.port);
}

TEST(LastConnectionRecord, FamilyAloneIsARecord) {
    LastConnection last;
    QString problem;
    ASSERT_TRUE(LastConnection::FromText(QStringLiteral("family jingce\n"), &last, &problem));
    EXPECT_EQ(last.family, QStringLiteral("jingce"));
    EXPECT_TRUE(last.port.isEmpty());
    EXPECT_EQ(last.toText(), QStringLiteral("family jingce\n"));
}

TEST(LastConnectionRecord, MissingFileIsNoRecordAndNoNote) {
    QTemporaryDir dir;
    LastConnection last;
    QString note = QStringLiteral("stale");
    EXPECT_FALSE(LastConnection::Read(dir.path() + QStringLiteral("/none"), &last, &note));
    EXPECT_TRUE(note.isEmpty());
}

TEST(LastConnectionRecord, CorruptOrUnknownRecordIsRefusedWithAReason) {
    LastConnection last;
    QString problem;
    EXPECT_FALSE(LastConnection::FromText(QStringLiteral("family colorimeter\n"), &last, &problem));
    EXPECT_TRUE(problem.contains(QStringLiteral("unknown family"))) << problem.toStdString();
    EXPECT_FALSE(LastConnection::FromText(QStringLiteral("port /dev/cu.usbserial-A1\n"), &last, &problem));
    EXPECT_TRUE(problem.contains(QStringLiteral("no family"))) << problem.toStdString();
    EXPECT_FALSE(LastConnection::FromText(QStringLiteral("family spectro\nspeed 9600\n"), &last, &problem));
    EXPECT_TRUE(problem.contains(QStringLiteral("speed 9600"))) << problem.toStdString();

    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/big");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(5000, 'x'));
    file.close();
    QString note;
    EXPECT_FALSE(LastConnection::Read(path, &last, &note));
    EXPECT_TRUE(note.contains(QStringLiteral("too large"))) << note.toStdString();
}

TEST(LastConnectionRecord, DefaultPathIsUnderTheCacheFolder) {
    {
        EnvScope cache("XDG_CACHE_HOME", "/somewhere/cache");
        EXPECT_EQ(LastConnection::DefaultPath(),
                  QStringLiteral("/somewhere/cache/chromameter/last-connection"));
    }
    {
        // Unset, or not an absolute path (which the XDG rules say to ignore): the home folder's.
        EnvScope cache("XDG_CACHE_HOME", "relative/cache");
#if defined(__APPLE__)
        const QString expected =
            QDir::homePath() + QStringLiteral("/Library/Caches/chromameter/last-connection");
#else
        const QString expected = QDir::homePath() + QStringLiteral("/.cache/chromameter/last-connection");
#endif
        EXPECT_EQ(LastConnection::DefaultPath(), expected);
        EnvScope unset("XDG_CACHE_HOME", QByteArray());
        EXPECT_EQ(LastConnection::DefaultPath(), expected);
    }
}
