#include "Cti3File.h"

#include <QFile>

#include <lcms2.h>

#include <iterator>
#include <memory>

namespace {
void setError(QString* error, const QString& text) {
    if (error)
        *error = text;
}

struct It8Free {
    void operator()(void* it8) const { cmsIT8Free(it8); }
};

const char* const kFields[] = {"SAMPLE_ID", "RGB_R", "RGB_G", "RGB_B", "XYZ_X", "XYZ_Y", "XYZ_Z"};
} // namespace

bool WriteCti3(const CharacterisationFigures& f, const QString& path, QString* error) {
    if (!f.hasColour) {
        setError(error, QStringLiteral("a CTI3 file needs XYZ, which a luminance meter does not give"));
        return false;
    }
    if (!f.white || !f.white->light.xyz || !(f.white->light.xyz->Y > 0.0)) {
        setError(error, QStringLiteral("a CTI3 file is normalised to the white, which was not measured"));
        return false;
    }
    QVector<const PatchFigures*> rows;
    for (const PatchFigures& p : f.patches)
        if (!p.failed && p.light.xyz)
            rows.append(&p);

    std::unique_ptr<void, It8Free> it8(cmsIT8Alloc(nullptr));
    if (!it8) {
        setError(error, QStringLiteral("LittleCMS could not start a CGATS sheet"));
        return false;
    }
    cmsHANDLE h = it8.get();
    const Xyz white = *f.white->light.xyz;
    const QByteArray luminance = QStringLiteral("%1 %2 %3")
                                     .arg(white.X, 0, 'f', 6)
                                     .arg(white.Y, 0, 'f', 6)
                                     .arg(white.Z, 0, 'f', 6)
                                     .toLatin1();
    cmsIT8SetSheetType(h, "CTI3");
    cmsIT8SetPropertyStr(h, "DESCRIPTOR", "Display characterisation");
    cmsIT8SetPropertyStr(h, "ORIGINATOR", "chromameter");
    cmsIT8SetPropertyStr(h, "DEVICE_CLASS", "DISPLAY");
    cmsIT8SetPropertyStr(h, "COLOR_REP", "RGB_XYZ");
    cmsIT8SetPropertyStr(h, "LUMINANCE_XYZ_CDM2", luminance.constData());
    cmsIT8SetPropertyDbl(h, "NUMBER_OF_FIELDS", std::size(kFields));
    for (int i = 0; i < int(std::size(kFields)); ++i)
        cmsIT8SetDataFormat(h, i, kFields[i]);
    cmsIT8SetPropertyDbl(h, "NUMBER_OF_SETS", rows.size());

    const double scale = 100.0 / white.Y;
    for (int row = 0; row < rows.size(); ++row) {
        const PatchFigures& p = *rows[row];
        const double values[6] = {100.0 * p.patch.r,      100.0 * p.patch.g,      100.0 * p.patch.b,
                                  p.light.xyz->X * scale, p.light.xyz->Y * scale, p.light.xyz->Z * scale};
        cmsIT8SetDataRowCol(h, row, 0, QByteArray::number(p.patch.id).constData());
        for (int col = 0; col < 6; ++col)
            cmsIT8SetDataRowColDbl(h, row, col + 1, values[col]);
    }
    const QByteArray file = QFile::encodeName(path);
    if (!cmsIT8SaveToFile(h, file.constData())) {
        setError(error, QStringLiteral("could not write %1").arg(path));
        return false;
    }
    return true;
}
