#pragma once

#include "Patch.h"

#include <QString>
#include <QVector>

// Device values from a CGATS file: fields RGB_R, RGB_G, RGB_B in 0..100, one patch a row, read with
// LittleCMS's CGATS reader. Appends to `patches` (set "file", ids continuing from the last one
// there). False with a message naming the file (and the field or row at fault) on any error.
bool AddCgatsFilePatches(const QString& path, QVector<Patch>* patches, QString* error);
