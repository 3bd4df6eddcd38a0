#include "LastConnection.h"

#include "drivers/InstrumentFamilies.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>

namespace {
bool isFamilyName(const QString& name) {
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        if (name == QLatin1String(family.name))
            return true;
    }
    return false;
}
} // namespace

QString LastConnection::DefaultPath() {
    QString cache = QString::fromLocal8Bit(qgetenv("XDG_CACHE_HOME"));
    if (cache.isEmpty() || !QDir::isAbsolutePath(cache)) {
#if defined(__APPLE__)
        cache = QDir::homePath() + QStringLiteral("/Library/Caches");
#else
        cache = QDir::homePath() + QStringLiteral("/.cache");
#endif
    }
    return cache + QStringLiteral("/chromameter/last-connection");
}

QString LastConnection::toText() const {
    QString text = QStringLiteral("family %1\n").arg(family);
    if (!port.isEmpty())
        text += QStringLiteral("port %1\n").arg(port);
    return text;
}

bool LastConnection::FromText(const QString& text, LastConnection* out, QString* problem) {
    LastConnection last;
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.isEmpty())
            continue;
        const int space = line.indexOf(QLatin1Char(' '));
        const QString key = space < 0 ? line : line.left(space);
        const QString value = space < 0 ? QString() : line.mid(space + 1).trimmed();
        if (key == QLatin1String("family") && last.family.isEmpty() && !value.isEmpty()) {
            last.family = value;
        } else if (key == QLatin1String("port") && last.port.isEmpty() && !value.isEmpty()) {
            last.port = value;
        } else {
            *problem = QStringLiteral("unexpected line \"%1\"").arg(line.left(60));
            return false;
        }
    }
    if (last.family.isEmpty()) {
        *problem = QStringLiteral("no family named");
        return false;
    }
    if (!isFamilyName(last.family)) {
        *problem = QStringLiteral("unknown family \"%1\"").arg(last.family.left(60));
        return false;
    }
    *out = last;
    return true;
}

bool LastConnection::Read(const QString& path, LastConnection* out, QString* note) {
    note->clear();
    QFile file(path);
    if (!file.exists())
        return false;
    if (!file.open(QIODevice::ReadOnly)) {
        *note = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    // A file of this kind is a few dozen bytes: anything large is not ours.
    const QByteArray bytes = file.read(4097);
    if (bytes.size() > 4096) {
        *note = QStringLiteral("%1 is not a connection record (too large)").arg(path);
        return false;
    }
    QString problem;
    if (!FromText(QString::fromUtf8(bytes), out, &problem)) {
        *note = QStringLiteral("%1 is not a connection record (%2)").arg(path, problem);
        return false;
    }
    return true;
}

bool LastConnection::Write(const QString& path, const LastConnection& last, QString* error) {
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        *error = QStringLiteral("cannot create the folder of %1").arg(path);
        return false;
    }
    // Written whole or not at all: a run cut short never leaves half a record for the next one.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(last.toText().toUtf8()) < 0 || !file.commit()) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}
