#include "Journal.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

namespace {
const char* const kFormat = "chromameter-characterisation-journal";
const int kVersion = 1;

QJsonArray idArray(const QVector<int>& ids) {
    QJsonArray array;
    for (int id : ids)
        array.append(id);
    return array;
}

QVector<int> idsOf(const QJsonArray& array) {
    QVector<int> ids;
    for (const QJsonValue& v : array)
        ids.append(v.toInt());
    return ids;
}

QJsonObject settingsObject(const RunSettings& s) {
    QJsonObject target;
    target["space"] = s.targetSpace;
    target["white"] = s.targetWhite;
    target["eotf"] = s.targetEotf;
    QJsonObject instrument;
    instrument["family"] = s.instrumentFamily;
    instrument["port"] = s.port;
    QJsonObject o;
    o["patches"] = s.patchSets;
    o["order"] = s.order;
    o["settle_ms"] = s.settleMs;
    o["retries"] = s.retries;
    o["white_every"] = s.whiteEvery;
    o["target"] = target;
    o["instrument"] = instrument;
    o["started"] = s.started.toUTC().toString(Qt::ISODateWithMs);
    return o;
}

RunSettings settingsOf(const QJsonObject& o) {
    RunSettings s;
    s.patchSets = o["patches"].toString();
    s.order = o["order"].toString("set");
    s.settleMs = o["settle_ms"].toInt(s.settleMs);
    s.retries = o["retries"].toInt(s.retries);
    s.whiteEvery = o["white_every"].toInt(0);
    const QJsonObject target = o["target"].toObject();
    s.targetSpace = target["space"].toString(s.targetSpace);
    s.targetWhite = target["white"].toString(s.targetWhite);
    s.targetEotf = target["eotf"].toString(s.targetEotf);
    const QJsonObject instrument = o["instrument"].toObject();
    s.instrumentFamily = instrument["family"].toString();
    s.port = instrument["port"].toString();
    s.started = QDateTime::fromString(o["started"].toString(), Qt::ISODateWithMs);
    return s;
}

QJsonObject patchObject(const Patch& p) {
    QJsonObject o;
    o["id"] = p.id;
    o["set"] = p.set;
    o["name"] = p.name;
    o["rgb"] = QJsonArray{p.r, p.g, p.b};
    return o;
}

Patch patchOf(const QJsonObject& o) {
    Patch p;
    p.id = o["id"].toInt();
    p.set = o["set"].toString();
    p.name = o["name"].toString();
    const QJsonArray rgb = o["rgb"].toArray();
    p.r = rgb.at(0).toDouble();
    p.g = rgb.at(1).toDouble();
    p.b = rgb.at(2).toDouble();
    return p;
}

QJsonObject readingObject(const PatchReading& r, qint64 epochMs, const QString& message) {
    QJsonObject o;
    o["kind"] = r.kind == PatchReading::Kind::DriftWhite ? "white" : "patch";
    o["id"] = r.patchId;
    o["time"] = double(epochMs);
    o["seconds"] = r.seconds;
    o["failed"] = r.failed;
    if (r.failed) {
        o["result"] = double(r.result);
        if (!message.isEmpty())
            o["error"] = message;
        return o;
    }
    o["colour"] = r.hasColour;
    o["Lv"] = r.Lv;
    if (r.hasColour) {
        o["x"] = r.x;
        o["y"] = r.y;
        o["X"] = r.X;
        o["Y"] = r.Y;
        o["Z"] = r.Z;
    }
    return o;
}

PatchReading readingOf(const QJsonObject& o) {
    PatchReading r;
    r.kind = o["kind"].toString() == "white" ? PatchReading::Kind::DriftWhite : PatchReading::Kind::Patch;
    r.patchId = o["id"].toInt();
    r.seconds = o["seconds"].toDouble();
    r.failed = o["failed"].toBool();
    r.result = quint32(o["result"].toDouble());
    r.hasColour = o["colour"].toBool(!r.failed);
    r.Lv = o["Lv"].toDouble();
    r.x = o["x"].toDouble();
    r.y = o["y"].toDouble();
    r.X = o["X"].toDouble();
    r.Y = o["Y"].toDouble(r.Lv);
    r.Z = o["Z"].toDouble();
    return r;
}

QByteArray line(const QJsonObject& o) {
    return QJsonDocument(o).toJson(QJsonDocument::Compact) + '\n';
}
} // namespace

bool Journal::writeLine(const QByteArray& json, QString* error) {
    // One write of the whole line: a crash leaves at most this line torn, never an earlier one.
    const qint64 written = file_.write(json);
    bool ok = written == json.size() && file_.flush();
    // Put it on the disk, not only in the system's cache: a power cut should not lose a reading.
    if (ok)
        ok = ::fsync(file_.handle()) == 0;
    if (!ok && error)
        *error = QString("journal \"%1\": could not write (%2)").arg(file_.fileName(), file_.errorString());
    return ok;
}

bool Journal::Create(const QString& path, const JournalHeader& header, QString* error) {
    file_.close();
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered)) {
        if (error)
            *error = QFile::exists(path)
                         ? QString("journal \"%1\" exists already: resume or retake it, or save elsewhere")
                               .arg(path)
                         : QString("journal \"%1\": could not create (%2)").arg(path, file_.errorString());
        return false;
    }
    QJsonObject o;
    o["kind"] = "header";
    o["format"] = kFormat;
    o["version"] = kVersion;
    o["settings"] = settingsObject(header.settings);
    QJsonArray patches;
    for (const Patch& p : header.patches)
        patches.append(patchObject(p));
    o["patches"] = patches;
    o["sequence"] = idArray(header.sequence);
    if (!writeLine(line(o), error)) {
        file_.close();
        return false;
    }
    return true;
}

bool Journal::Continue(const QString& path, const QString& mode, const QVector<int>& ids, QString* error) {
    JournalContents contents;
    if (!Load(path, &contents, error))
        return false;
    file_.close();
    file_.setFileName(path);
    if (!file_.open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        if (error)
            *error = QString("journal \"%1\": could not open (%2)").arg(path, file_.errorString());
        return false;
    }
    const QByteArray all = file_.readAll();
    if (!all.endsWith('\n')) {
        // Cut the torn line a crash left, so what follows starts on a line of its own.
        file_.resize(all.lastIndexOf('\n') + 1);
    }
    file_.seek(file_.size());
    QJsonObject o;
    o["kind"] = "session";
    o["mode"] = mode;
    o["ids"] = idArray(ids);
    o["time"] = double(QDateTime::currentMSecsSinceEpoch());
    if (!writeLine(line(o), error)) {
        file_.close();
        return false;
    }
    return true;
}

bool Journal::Append(const PatchReading& reading, qint64 epochMs, const QString& message, QString* error) {
    if (!file_.isOpen()) {
        if (error)
            *error = "journal: not open";
        return false;
    }
    return writeLine(line(readingObject(reading, epochMs, message)), error);
}

bool Journal::Load(const QString& path, JournalContents* contents, QString* error) {
    auto fail = [&](const QString& why) {
        if (error)
            *error = QString("journal \"%1\": %2").arg(path, why);
        return false;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.exists() ? file.errorString() : QString("no such file"));
    const QByteArray all = file.readAll();
    QList<QByteArray> lines = all.split('\n');
    JournalContents result;
    // Whatever follows the last newline was being written when the run stopped.
    const QByteArray tail = lines.takeLast();
    result.tornTail = !tail.trimmed().isEmpty();

    bool haveHeader = false;
    for (int i = 0; i < lines.size(); ++i) {
        if (lines[i].trimmed().isEmpty())
            continue;
        QJsonParseError parseError;
        const QJsonDocument doc = QJsonDocument::fromJson(lines[i], &parseError);
        if (!doc.isObject())
            return fail(
                QString("line %1 is not a JSON object (%2)").arg(i + 1).arg(parseError.errorString()));
        const QJsonObject o = doc.object();
        const QString kind = o["kind"].toString();
        if (!haveHeader) {
            if (kind != "header" || o["format"].toString() != kFormat)
                return fail("not a characterisation journal (its first line is no journal header)");
            if (o["version"].toInt() > kVersion)
                return fail(
                    QString("written by a newer version (journal version %1)").arg(o["version"].toInt()));
            result.header.settings = settingsOf(o["settings"].toObject());
            for (const QJsonValue& p : o["patches"].toArray())
                result.header.patches.append(patchOf(p.toObject()));
            result.header.sequence = idsOf(o["sequence"].toArray());
            haveHeader = true;
        } else if (kind == "patch" || kind == "white") {
            result.readings.append(readingOf(o));
            if (result.firstReadingMs == 0)
                result.firstReadingMs = qint64(o["time"].toDouble());
        }
        // Session lines and kinds a later version adds carry nothing a reading needs.
    }
    if (!haveHeader)
        return fail("not a characterisation journal (it has no header)");
    *contents = result;
    return true;
}
