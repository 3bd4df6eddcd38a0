#include "SimFamilies.h"

#include "InstrumentModel.h"

// A model that is not part of this build leaves its family unavailable instead of breaking the
// build of everything else.
#if __has_include("SpectroModel.h")
#include "SpectroModel.h"
#define CHROMA_HAVE_SPECTRO_MODEL 1
#endif
#if __has_include("AnalyserModel.h")
#include "AnalyserModel.h"
#define CHROMA_HAVE_ANALYSER_MODEL 1
#endif
#if __has_include("LuminanceModel.h")
#include "LuminanceModel.h"
#define CHROMA_HAVE_LUMINANCE_MODEL 1
#endif
#if __has_include("PhotoResearchModel.h")
#include "PhotoResearchModel.h"
#define CHROMA_HAVE_PHOTORESEARCH_MODEL 1
#endif
#if __has_include("JingceModel.h")
#include "JingceModel.h"
#define CHROMA_HAVE_JINGCE_MODEL 1
#endif

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
#ifdef CHROMA_HAVE_SPECTRO_MODEL
    case 0:
        return std::unique_ptr<InstrumentModel>(new SpectroModel());
#endif
#ifdef CHROMA_HAVE_ANALYSER_MODEL
    case 1:
        return std::unique_ptr<InstrumentModel>(new AnalyserModel());
#endif
#ifdef CHROMA_HAVE_LUMINANCE_MODEL
    case 2:
        return std::unique_ptr<InstrumentModel>(new LuminanceModel());
#endif
#ifdef CHROMA_HAVE_PHOTORESEARCH_MODEL
    case 3:
        return std::unique_ptr<InstrumentModel>(new PhotoResearchModel());
#endif
#ifdef CHROMA_HAVE_JINGCE_MODEL
    case 4:
        return std::unique_ptr<InstrumentModel>(new JingceModel());
#endif
    default:
        return nullptr;
    }
}

bool modelBuiltIn(int type) {
    switch (type) {
#ifdef CHROMA_HAVE_SPECTRO_MODEL
    case 0:
#endif
#ifdef CHROMA_HAVE_ANALYSER_MODEL
    case 1:
#endif
#ifdef CHROMA_HAVE_LUMINANCE_MODEL
    case 2:
#endif
#ifdef CHROMA_HAVE_PHOTORESEARCH_MODEL
    case 3:
#endif
#ifdef CHROMA_HAVE_JINGCE_MODEL
    case 4:
#endif
        return true;
    default:
        return false;
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

bool SimFamilyAvailable(const QString& family) {
    return modelBuiltIn(SimFamilyType(family));
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
    if (!modelBuiltIn(type))
        return QStringLiteral("this build has no simulator model of the %1 (%2)")
            .arg(SimFamilyTitle(type), family);
    return QString();
}
