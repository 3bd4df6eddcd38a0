#pragma once

#include <QList>
#include <QPair>
#include <QString>

// The ports detection scans: the system's list, unless a catalogue was set with
// ChromameterSetPortCatalogue. Each entry is (port name, description).
QList<QPair<QString, QString>> PortCatalogueEntries();
