#include "RunPlan.h"

#include <QHash>
#include <QSet>
#include <QStringList>

#include <algorithm>

QVector<int> IdsStillToMeasure(const JournalContents& contents) {
    QSet<int> read;
    for (const PatchReading& r : contents.readings) {
        if (r.kind == PatchReading::Kind::Patch)
            read.insert(r.patchId);
    }
    QVector<int> left;
    for (int id : contents.header.sequence) {
        if (!read.contains(id))
            left.append(id);
    }
    return left;
}

bool ParsePatchIds(const QString& text, const QVector<Patch>& patches, QVector<int>* ids, QString* error) {
    QSet<int> known;
    for (const Patch& p : patches)
        known.insert(p.id);
    QVector<int> result;
    auto fail = [&](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    for (const QString& raw : text.split(',', Qt::SkipEmptyParts)) {
        const QString item = raw.trimmed();
        const QStringList range = item.split('-');
        bool okFirst = false;
        bool okLast = true;
        const int first = range[0].trimmed().toInt(&okFirst);
        const int last = range.size() == 2 ? range[1].trimmed().toInt(&okLast) : first;
        if (range.size() > 2 || !okFirst || !okLast || last < first)
            return fail(QString("patch id \"%1\": expected a number or a range such as 3-7").arg(item));
        for (int id = first; id <= last; ++id) {
            if (!known.contains(id))
                return fail(QString("patch id %1: the run has patches 1 to %2").arg(id).arg(patches.size()));
            if (!result.contains(id))
                result.append(id);
        }
    }
    if (result.isEmpty())
        return fail("no patch ids given (--ids 3,7,12)");
    *ids = result;
    return true;
}

QVector<PatchReading> LatestPatchReadings(const QVector<PatchReading>& readings,
                                          const QVector<Patch>& patches) {
    QHash<int, PatchReading> latest;
    for (const PatchReading& r : readings) {
        if (r.kind == PatchReading::Kind::Patch)
            latest.insert(r.patchId, r);
    }
    QVector<PatchReading> result;
    for (const Patch& p : patches) {
        auto it = latest.constFind(p.id);
        if (it != latest.constEnd())
            result.append(it.value());
    }
    return result;
}

QVector<PatchReading> DriftWhiteReadings(const QVector<PatchReading>& readings) {
    QVector<PatchReading> whites;
    for (const PatchReading& r : readings) {
        if (r.kind == PatchReading::Kind::DriftWhite)
            whites.append(r);
    }
    std::stable_sort(whites.begin(), whites.end(),
                     [](const PatchReading& a, const PatchReading& b) { return a.seconds < b.seconds; });
    return whites;
}
