#include "PatchSets.h"

#include "CgatsPatchFile.h"
#include "ColorCheckerPatches.h"

#include <QRegularExpression>
#include <QStringList>

namespace {
const int kDefaultGreyLevels = 11;
const int kDefaultSaturationSteps = 5;
const int kDefaultRampLevels = 10;
// A run of thousands of patches is a typing slip, not a plan.
const int kMaxLevels = 1024;

struct NamedColour {
    const char* name;
    double r, g, b;
};
const NamedColour kSixColours[] = {{"red", 1, 0, 0},  {"green", 0, 1, 0},   {"blue", 0, 0, 1},
                                   {"cyan", 0, 1, 1}, {"magenta", 1, 0, 1}, {"yellow", 1, 1, 0}};

int nextId(const QVector<Patch>& patches) {
    return patches.isEmpty() ? 1 : patches.last().id + 1;
}

void add(QVector<Patch>* patches, const QString& set, const QString& name, double r, double g, double b) {
    Patch patch;
    patch.id = nextId(*patches);
    patch.set = set;
    patch.name = name;
    patch.r = r;
    patch.g = g;
    patch.b = b;
    patches->append(patch);
}

QString percent(double level) {
    return QString("%1 %").arg(QString::number(level * 100.0, 'f', 1).remove(QRegularExpression("\\.0$")));
}

// "name" alone gives the default count; "name:N" gives N, which must lie in [minimum, kMaxLevels].
bool countOf(const QString& item, const QString& name, int defaultCount, int minimum, int* count,
             QString* error) {
    if (item == name) {
        *count = defaultCount;
        return true;
    }
    bool ok = false;
    const int n = item.mid(name.size() + 1).trimmed().toInt(&ok);
    if (!ok || n < minimum || n > kMaxLevels) {
        *error = QString("patch set \"%1\": the count must be a whole number from %2 to %3")
                     .arg(item)
                     .arg(minimum)
                     .arg(kMaxLevels);
        return false;
    }
    *count = n;
    return true;
}

bool isSetStart(const QString& text) {
    static const QRegularExpression start(
        "^(grey|gray|primaries|saturations|ramps|colorchecker)\\b|^(file|rgb):",
        QRegularExpression::CaseInsensitiveOption);
    return start.match(text.trimmed()).hasMatch();
}

// Commas separate the sets, but an rgb: list (and a file name) holds commas of its own: a comma
// starts a new set only where the text after it starts like one.
QStringList splitSets(const QString& sets) {
    QStringList items;
    for (const QString& piece : sets.split(',')) {
        if (items.isEmpty() || isSetStart(piece))
            items.append(piece);
        else
            items.last() += "," + piece;
    }
    return items;
}

bool addRgbList(const QString& list, QVector<Patch>* patches, QString* error) {
    const QStringList triples = list.split(';');
    int index = 0;
    for (const QString& triple : triples) {
        ++index;
        if (triple.trimmed().isEmpty() && index == triples.size() && index > 1)
            break; // a trailing ';'
        const QStringList values = triple.split(',');
        double rgb[3] = {0, 0, 0};
        bool valid = values.size() == 3;
        for (int c = 0; valid && c < 3; ++c) {
            bool ok = false;
            rgb[c] = values[c].trimmed().toDouble(&ok);
            valid = ok && rgb[c] >= 0.0 && rgb[c] <= 1.0;
        }
        if (!valid) {
            *error = QString("patch set rgb: entry %1 \"%2\" is not three numbers from 0 to 1 (R,G,B)")
                         .arg(index)
                         .arg(triple.trimmed());
            return false;
        }
        add(patches, "rgb", QString(), rgb[0], rgb[1], rgb[2]);
    }
    return true;
}
} // namespace

void AddGreyPatches(int levels, QVector<Patch>* patches) {
    for (int i = 0; i < levels; ++i) {
        const double v = levels > 1 ? double(i) / (levels - 1) : 1.0;
        add(patches, "grey", "grey " + percent(v), v, v, v);
    }
}

void AddPrimaryPatches(QVector<Patch>* patches) {
    for (const NamedColour& c : kSixColours)
        add(patches, "primaries", c.name, c.r, c.g, c.b);
}

void AddSaturationPatches(int steps, QVector<Patch>* patches) {
    for (const NamedColour& c : kSixColours) {
        for (int i = 1; i <= steps; ++i) {
            const double s = double(i) / steps;
            // From white (s = 0) toward the full colour (s = 1): only the channels the colour lacks move.
            auto channel = [s](double full) { return 1.0 - s * (1.0 - full); };
            add(patches, "saturations", QString("%1 %2").arg(c.name, percent(s)), channel(c.r), channel(c.g),
                channel(c.b));
        }
    }
}

void AddRampPatches(int levels, QVector<Patch>* patches) {
    const NamedColour ramps[] = {kSixColours[0], kSixColours[1], kSixColours[2]};
    for (const NamedColour& c : ramps) {
        for (int i = 1; i <= levels; ++i) {
            const double v = double(i) / levels;
            add(patches, "ramps", QString("%1 %2").arg(c.name, percent(v)), c.r * v, c.g * v, c.b * v);
        }
    }
}

bool ParsePatchSets(const QString& sets, const PatchSetTarget& target, QVector<Patch>* patches,
                    QString* error) {
    QString message;
    QVector<Patch> result;
    if (sets.trimmed().isEmpty())
        message = "no patch sets given";
    for (const QString& raw : splitSets(sets)) {
        if (!message.isEmpty())
            break;
        const QString item = raw.trimmed();
        const QString lower = item.toLower();
        int count = 0;
        if (lower == "grey" || lower == "gray" || lower.startsWith("grey:") || lower.startsWith("gray:")) {
            if (countOf(lower, lower.left(4), kDefaultGreyLevels, 2, &count, &message))
                AddGreyPatches(count, &result);
        } else if (lower == "primaries") {
            AddPrimaryPatches(&result);
        } else if (lower == "saturations" || lower.startsWith("saturations:")) {
            if (countOf(lower, "saturations", kDefaultSaturationSteps, 1, &count, &message))
                AddSaturationPatches(count, &result);
        } else if (lower == "ramps" || lower.startsWith("ramps:")) {
            if (countOf(lower, "ramps", kDefaultRampLevels, 1, &count, &message))
                AddRampPatches(count, &result);
        } else if (lower == "colorchecker") {
            AddColorCheckerPatches(target, &result, &message);
        } else if (lower.startsWith("file:")) {
            const QString path = item.mid(5).trimmed();
            if (path.isEmpty())
                message = "patch set file: needs a path (file:PATH)";
            else
                AddCgatsFilePatches(path, &result, &message);
        } else if (lower.startsWith("rgb:")) {
            addRgbList(item.mid(4), &result, &message);
        } else {
            message = QString("unknown patch set \"%1\" (expected grey:N, primaries, saturations:N, ramps:N, "
                              "colorchecker, file:PATH or rgb:R,G,B;...)")
                          .arg(item);
        }
    }
    if (!message.isEmpty()) {
        if (error)
            *error = message;
        return false;
    }
    *patches = result;
    return true;
}
