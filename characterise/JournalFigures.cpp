#include "JournalFigures.h"

#include "Target.h"

bool FiguresFromJournal(const JournalContents& contents, const FiguresSettings& settings,
                        CharacterisationFigures* figures, QString* error) {
    const RunSettings& s = contents.header.settings;
    Target target;
    QString reason;
    if (!Target::Parse(s.targetSpace, s.targetWhite, s.targetEotf, &target, &reason)) {
        if (error)
            *error = QStringLiteral("the run's target: ") + reason;
        return false;
    }
    *figures = ComputeFigures(contents.header.patches, contents.readings, target, settings);
    return true;
}
