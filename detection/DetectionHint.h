#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QVector>

// What a host told detection to expect (ChromameterSetDetectionHint, ChromameterSetDetectionHintEx):
// families to try first, in its order, and a port to scan first; with `only`, the families named are
// the only ones tried. Empty: the plain order.
struct DetectionHint {
    QVector<int> families;
    QString port;
    bool only = false;
};

// The hint as it stands now, copied: a detection takes it once at its start, so a hint set while it
// runs applies from the next one.
DetectionHint DetectionHintSnapshot();

// The type numbers in the order their trials run: the hinted ones first in the host's order, the
// rest after them in type order. Numbers outside the family table and repeats are passed over.
QVector<int> FamilyTrialOrder(const QVector<int>& hinted);

// The type numbers detection tries under this hint: FamilyTrialOrder of its families, or with `only`
// the families named alone, in the host's order (numbers outside the table and repeats passed over).
QVector<int> HintedTrialOrder(const DetectionHint& hint);

// The port list with the hinted port moved to the front. A hinted port is found by its name as
// listed or by the path detection opens for it; one the list does not hold changes nothing (and
// *found is false).
QList<QPair<QString, QString>> PortsHintedFirst(const QList<QPair<QString, QString>>& ports,
                                                const QString& hintedPort, bool* found);
