#include "SimFamilies.h"

#include "InstrumentModel.h"
#include "drivers/InstrumentFamilies.h"

#include "AnalyserModel.h"
#include "JingceModel.h"
#include "LuminanceModel.h"
#include "PhotoResearchModel.h"
#include "SpectroModel.h"

namespace {
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
    for (const InstrumentFamily& family : kInstrumentFamilies)
        names.append(QLatin1String(family.name));
    return names;
}

int SimFamilyType(const QString& family) {
    for (const InstrumentFamily& row : kInstrumentFamilies) {
        if (family == QLatin1String(row.name))
            return row.type;
    }
    return -1;
}

QString SimFamilyName(int type) {
    const InstrumentFamily* family = InstrumentFamilyOf(type);
    return family ? QLatin1String(family->name) : QString();
}

QString SimFamilyTitle(int type) {
    const InstrumentFamily* family = InstrumentFamilyOf(type);
    return family ? QLatin1String(family->title) : QString();
}

std::unique_ptr<InstrumentModel> CreateFamilyModel(const QString& family,
                                                   std::shared_ptr<VirtualDisplay> display) {
    std::unique_ptr<InstrumentModel> model = createModel(SimFamilyType(family));
    if (model && display)
        model->attachDisplay(std::move(display));
    return model;
}

QString SimFamilyProblem(const QString& family) {
    const int type = SimFamilyType(family);
    if (type < 0) {
        return QStringLiteral("\"%1\" is not an instrument family; the families are %2")
            .arg(family, SimFamilyNames().join(QStringLiteral(", ")));
    }
    return QString();
}
