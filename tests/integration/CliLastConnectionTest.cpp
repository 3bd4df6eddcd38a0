// chromameter remembers the last connection in the user's cache folder and hints detection with it;
// --no-remember, --family, and what a stale or corrupt record does.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {
const QString kCli = QStringLiteral(CHROMA_BINARY_DIR "/cli/chromameter");

struct CliRun {
    bool finished = false;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// chromameter with its cache folder in `cache`.
CliRun chromameter(const QString& cache, const QStringList& args) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CACHE_HOME"), cache);
    process.setProcessEnvironment(env);
    process.start(kCli, args);
    CliRun run;
    if (!process.waitForStarted(10000))
        return run;
    run.finished = process.waitForFinished(90000);
    if (!run.finished) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.exitCode = process.exitCode();
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

QString recordPath(const QTemporaryDir& cache) {
    return cache.path() + QStringLiteral("/chromameter/last-connection");
}

// The connect time --trace reports ("connect on PORT: found in N ms"), or -1.
int connectMs(const QByteArray& err) {
    const QRegularExpression found(QStringLiteral("session: connect on \\S+: found in (\\d+) ms"));
    const QRegularExpressionMatch match = found.match(QString::fromUtf8(err));
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

// The families the library tried, in order, as --trace shows them.
QStringList familiesTried(const QByteArray& err) {
    QStringList families;
    const QRegularExpression trying(QStringLiteral("detection tries (\\w+) \\(type"));
    auto it = trying.globalMatch(QString::fromUtf8(err));
    while (it.hasNext())
        families << it.next().captured(1);
    return families;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}
} // namespace

TEST(CliLastConnection, SecondRunConnectsAtLeastFiveTimesFaster) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    const QStringList args = {QStringLiteral("--simulate"), QStringLiteral("jingce"),
                              QStringLiteral("--trace"), QStringLiteral("measure")};
    const CliRun first = chromameter(cache.path(), args);
    ASSERT_TRUE(first.finished);
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(familiesTried(first.err),
              QStringList({"spectro", "analyser", "luminance", "photoresearch", "jingce"}));
    // A simulator's port is new every run: only the family is kept.
    EXPECT_EQ(readAll(recordPath(cache)), QByteArray("family jingce\n"));

    const CliRun second = chromameter(cache.path(), args);
    ASSERT_TRUE(second.finished);
    ASSERT_EQ(second.exitCode, 0) << second.err.toStdString();
    EXPECT_EQ(familiesTried(second.err), QStringList({"jingce"}));
    const int firstMs = connectMs(first.err);
    const int secondMs = connectMs(second.err);
    ASSERT_GT(firstMs, 0) << first.err.toStdString();
    ASSERT_GT(secondMs, 0) << second.err.toStdString();
    EXPECT_GE(firstMs, 5 * secondMs) << firstMs << " ms then " << secondMs << " ms";
    RecordProperty("first_connect_ms", firstMs);
    RecordProperty("second_connect_ms", secondMs);
}

TEST(CliLastConnection, NoRememberNeitherReadsNorWritesTheRecord) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    const CliRun plain = chromameter(cache.path(), {"--simulate", "analyser", "--no-remember", "detect"});
    ASSERT_EQ(plain.exitCode, 0) << plain.err.toStdString();
    EXPECT_FALSE(QFile::exists(recordPath(cache)));

    writeFile(recordPath(cache), "family analyser\n");
    const CliRun hinted =
        chromameter(cache.path(), {"--simulate", "analyser", "--no-remember", "--trace", "detect"});
    ASSERT_EQ(hinted.exitCode, 0) << hinted.err.toStdString();
    // The record was not read: the plain order, the spectroradiometer first.
    EXPECT_EQ(familiesTried(hinted.err), QStringList({"spectro", "analyser"}));
}

TEST(CliLastConnection, CorruptRecordIsNotedAndIgnored) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    writeFile(recordPath(cache), QByteArray("\x01\x02 not a record\nfamily ", 22));
    const CliRun run = chromameter(cache.path(), {"--simulate", "analyser", "--trace", "detect"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("is not a connection record")) << run.err.toStdString();
    EXPECT_EQ(familiesTried(run.err), QStringList({"spectro", "analyser"}));
    // This run's connection replaces it.
    EXPECT_EQ(readAll(recordPath(cache)), QByteArray("family analyser\n"));
}

TEST(CliLastConnection, StaleRecordOfAnotherFamilyCostsOnlyThatFamilysTrial) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    writeFile(recordPath(cache), "family spectro\nport /dev/cu.usbserial-UNPLUGGED\n");
    const CliRun run = chromameter(cache.path(), {"--simulate", "analyser", "--trace", "detect"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("port /dev/cu.usbserial-UNPLUGGED is not listed now"))
        << run.err.toStdString();
    EXPECT_EQ(familiesTried(run.err), QStringList({"spectro", "analyser"}));
    EXPECT_EQ(readAll(recordPath(cache)), QByteArray("family analyser\n"));
}

TEST(CliLastConnection, FamilyThatDoesNotAnswerIsNamedWithThePortAndNoOtherIsTried) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    // The spectroradiometer named, an analyser attached: the analyser, next in the plain order,
    // would answer if it were asked.
    const CliRun run =
        chromameter(cache.path(), {"--simulate", "analyser", "--family", "spectro", "--trace", "measure"});
    ASSERT_TRUE(run.finished);
    EXPECT_EQ(run.exitCode, 3) << run.err.toStdString();
    EXPECT_TRUE(QString::fromUtf8(run.err).contains(QRegularExpression(QStringLiteral(
        "no instrument found: the spectro family did not answer on \\S+/dev/cu\\.usbserial-SIM"))))
        << run.err.toStdString();
    EXPECT_EQ(familiesTried(run.err), QStringList({"spectro"}));
    // The simulator never heard the analyser's handshake.
    EXPECT_FALSE(run.err.contains("host -> instrument (9600 baud) COM,1")) << run.err.toStdString();
    EXPECT_TRUE(run.out.isEmpty()) << run.out.toStdString();
    EXPECT_FALSE(QFile::exists(recordPath(cache)));
}

TEST(CliLastConnection, FamilyThatAnswersConnectsAtOnce) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    const CliRun run = chromameter(
        cache.path(), {"--simulate", "photoresearch", "--family", "photoresearch", "--trace", "measure"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(familiesTried(run.err), QStringList({"photoresearch"}));
    EXPECT_TRUE(run.out.contains("photoresearch")) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains("120.5")) << run.out.toStdString();
}

TEST(CliLastConnection, UnknownFamilyIsAUsageError) {
    QTemporaryDir cache;
    ASSERT_TRUE(cache.isValid());
    const CliRun run =
        chromameter(cache.path(), {"--simulate", "analyser", "--family", "colorimeter", "detect"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains("colorimeter")) << run.err.toStdString();
}
