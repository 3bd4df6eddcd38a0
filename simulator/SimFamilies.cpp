#include "SimFamilies.h"

#include "InstrumentModel.h"

#include "AnalyserModel.h"
#include "JingceModel.h"
#include "LuminanceModel.h"
#include "PhotoResearchModel.h"
#include "SpectroModel.h"

namespace {
struct FamilyEntry {
    const char* name;
    const char* title;
};

// Indexed by type number: the order in which detection tries the families.
const FamilyEntry kFamilies[] = {
    {"spectro", "Minolta spectroradiometer"}, {"analyser", "Minolta colour analyser"},
    {"luminance", "luminance meter"},         {"photoresearch", "Photo Research instrument"},
    {"jingce", "Wuhan Jingce colorimeter"},
};
const int kFamilyCount = int(sizeof kFamilies / sizeof kFamilies[0]);

std::unique_ptr<InstrumentModel> createModel(int type) {
    switch (type) {
    case 0:
        return std::unique_ptr<InstrumentModel>(new SpectroModel());
    case 1:
        return std::unique_ptr<InstrumentModel>(new AnalyserModel());
    case 2:
        return std::unique_ptr<InstrumentModel>(new LuminanceModel());
    case 3:
        return std::unique_ptr<InstrumentModel>(new PhotoResearchModel());
    case 4:
        return std::unique_ptr<InstrumentModel>(new JingceModel());
    default:
        return nullptr;
    }
}
} // namespace

QStringList SimFamilyNames() {
    QStringList names;
    for (const FamilyEntry& entry : kFamilies)
        names.append(QLatin1String(entry.name));
    return names;
}

int SimFamilyType(const QString& family) {
    for (int type = 0; type < kFamilyCount; ++type) {
        if (family == QLatin1String(kFamilies[type].name))
            return type;
    }
    return -1;
}

QString SimFamilyName(int type) {
    return type >= 0 && type < kFamilyCount ? QLatin1String(kFamilies[type].name) : QString();
}

QString SimFamilyTitle(int type) {
    return type >= 0 && type < kFamilyCount ? QLatin1String(kFamilies[type].title) : QString();
}

std::unique_ptr<InstrumentModel> CreateFamilyModel(const QString& family) {
    return createModel(SimFamilyType(family));
}

QString SimFamilyProblem(const QString& family) {
    const int type = SimFamilyType(family);
    if (type < 0) {
        return QStringLiteral("\"%1\" is not an instrument family; the families are %2")
            .arg(family, SimFamilyNames().join(QStringLiteral(", ")));
    }
    return QString();
}
