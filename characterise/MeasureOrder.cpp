#include "MeasureOrder.h"

#include <QRandomGenerator>

#include <random>

bool MeasureOrder::Parse(const QString& text, MeasureOrder* order, QString* error) {
    const QString name = text.trimmed().toLower();
    MeasureOrder result;
    if (name == "set" || name.isEmpty()) {
        result.shuffle = false;
    } else if (name == "shuffle") {
        result.shuffle = true;
        result.seed = QRandomGenerator::global()->generate();
    } else if (name.startsWith("shuffle:")) {
        bool ok = false;
        result.shuffle = true;
        result.seed = name.mid(8).toUInt(&ok);
        if (!ok) {
            if (error)
                *error =
                    QString("order \"%1\": the seed must be a whole number from 0 to 4294967295").arg(text);
            return false;
        }
    } else {
        if (error)
            *error = QString("order \"%1\": expected set, shuffle or shuffle:SEED").arg(text);
        return false;
    }
    *order = result;
    return true;
}

QString MeasureOrder::Text() const {
    return shuffle ? QString("shuffle:%1").arg(seed) : QString("set");
}

QVector<int> MeasuringSequence(const QVector<Patch>& patches, const MeasureOrder& order) {
    QVector<int> ids;
    ids.reserve(patches.size());
    for (const Patch& patch : patches)
        ids.append(patch.id);
    if (!order.shuffle)
        return ids;
    std::mt19937 random(order.seed);
    for (int i = ids.size() - 1; i > 0; --i) {
        // An unbiased index in 0..i by rejection (std::uniform_int_distribution differs between
        // standard libraries, which would break a resume on another build).
        const quint32 range = quint32(i) + 1;
        const quint32 limit = quint32(0xFFFFFFFFu - (0xFFFFFFFFu % range + 1) % range);
        quint32 draw = 0;
        do {
            draw = quint32(random());
        } while (draw > limit);
        std::swap(ids[i], ids[int(draw % range)]);
    }
    return ids;
}
