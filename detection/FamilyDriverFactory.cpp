#include "FamilyDriverFactory.h"

#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "InstrumentFamilies.h"
#include "LuminanceMeter.h"
#include "PhotoResearch.h"

#include <QDebug>

namespace {
template <class Driver> IMinolta* make(CInstrumentLine& line) {
    return new Driver(line);
}

struct FamilyDriver {
    int type;
    IMinolta* (*create)(CInstrumentLine&);
};

// One row per row of the family table, at the same index.
constexpr FamilyDriver kFamilyDrivers[] = {
    {0, &make<CChromameterMinolta>}, {1, &make<CChromameterMinoltaCas40>}, {2, &make<CLuminanceMeter>},
    {3, &make<CPhotoResearch>},      {4, &make<CChromameterWuHanJingCe>},
};

constexpr bool driversFollowTheFamilyTable() {
    if (int(sizeof kFamilyDrivers / sizeof kFamilyDrivers[0]) != kInstrumentFamilyCount)
        return false;
    for (int i = 0; i < kInstrumentFamilyCount; ++i) {
        if (kFamilyDrivers[i].type != kInstrumentFamilies[i].type)
            return false;
    }
    return true;
}
static_assert(driversFollowTheFamilyTable(),
              "every family of the table needs its driver, in the table's order");
} // namespace

IMinolta* CreateFamilyDriver(int type, CInstrumentLine& line) {
    if (!InstrumentFamilyOf(type)) {
        qDebug().noquote() << QStringLiteral("no instrument family has type %1: no driver made").arg(type);
        return nullptr;
    }
    return kFamilyDrivers[type].create(line);
}
