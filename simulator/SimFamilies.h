#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class InstrumentModel;
class VirtualDisplay;

// The five instrument families the simulator emulates, by the names and type numbers hosts and tools
// use for them: spectro 0, analyser 1, luminance 2, photoresearch 3, jingce 4. The type number is the
// one the library's detection records for the family.

// The family names in type order.
QStringList SimFamilyNames();
// The family's type number, or -1 for a name that is no family (names are matched as given).
int SimFamilyType(const QString& family);
// The family name of a type number, or an empty string.
QString SimFamilyName(int type);
// What the family is, for people: "Minolta colour analyser" and the like; empty for an unknown type.
QString SimFamilyTitle(int type);
// A new, not yet started model of the family (default reading, no fault); null when the name is no
// family (SimFamilyProblem() then says why). With a display, the model measures its light (see
// InstrumentModel::attachDisplay; VirtualDisplay::FromText makes one from a --sim-display text).
std::unique_ptr<InstrumentModel> CreateFamilyModel(const QString& family,
                                                   std::shared_ptr<VirtualDisplay> display = nullptr);
// Why CreateFamilyModel() gives nothing for this name, in a sentence; empty when it gives a model.
QString SimFamilyProblem(const QString& family);
