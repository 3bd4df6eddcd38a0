#include "CgatsPatchFile.h"

#include <QFileInfo>

#include <lcms2.h>

#include <memory>

namespace {
const char* const kFields[3] = {"RGB_R", "RGB_G", "RGB_B"};

// LittleCMS reports a parse error through its context's log handler; this keeps the last one so the
// user sees why the file was refused.
void keepMessage(cmsContext context, cmsUInt32Number, const char* text) {
    auto* message = static_cast<QString*>(cmsGetContextUserData(context));
    if (message)
        *message = QString::fromLocal8Bit(text);
}

struct ContextDeleter {
    void operator()(cmsContext c) const { cmsDeleteContext(c); }
};
struct It8Freer {
    void operator()(void* h) const { cmsIT8Free(h); }
};
} // namespace

bool AddCgatsFilePatches(const QString& path, QVector<Patch>* patches, QString* error) {
    auto fail = [&](const QString& why) {
        if (error)
            *error = QString("patch file \"%1\": %2").arg(path, why);
        return false;
    };
    if (!QFileInfo(path).isFile())
        return fail("no such file");

    QString lcmsMessage;
    std::unique_ptr<_cmsContext_struct, ContextDeleter> context(cmsCreateContext(nullptr, &lcmsMessage));
    if (!context)
        return fail("LittleCMS could not start");
    cmsSetLogErrorHandlerTHR(context.get(), keepMessage);
    const QByteArray localPath = QFile::encodeName(path);
    std::unique_ptr<void, It8Freer> it8(cmsIT8LoadFromFile(context.get(), localPath.constData()));
    if (!it8)
        return fail("not a readable CGATS file" +
                    (lcmsMessage.isEmpty() ? QString() : " (" + lcmsMessage + ")"));

    int columns[3] = {-1, -1, -1};
    for (int c = 0; c < 3; ++c) {
        columns[c] = cmsIT8FindDataFormat(it8.get(), kFields[c]);
        if (columns[c] < 0)
            return fail(
                QString("no field %1 (RGB_R, RGB_G and RGB_B are needed, in 0..100)").arg(kFields[c]));
    }
    const int rows = int(cmsIT8GetPropertyDbl(it8.get(), "NUMBER_OF_SETS"));
    if (rows <= 0)
        return fail("no patches (NUMBER_OF_SETS is 0)");

    // A sample's own name, where the file gives one, is what a person recognises it by.
    const int nameColumn = cmsIT8FindDataFormat(it8.get(), "SAMPLE_NAME");
    const int idColumn = cmsIT8FindDataFormat(it8.get(), "SAMPLE_ID");

    QVector<Patch> added;
    int id = patches->isEmpty() ? 1 : patches->last().id + 1;
    for (int row = 0; row < rows; ++row) {
        double rgb[3] = {0, 0, 0};
        for (int c = 0; c < 3; ++c) {
            const char* text = cmsIT8GetDataRowCol(it8.get(), row, columns[c]);
            bool ok = false;
            rgb[c] = QString::fromLatin1(text ? text : "").trimmed().toDouble(&ok) / 100.0;
            if (!ok || !(rgb[c] >= 0.0 && rgb[c] <= 1.0))
                return fail(QString("row %1: field %2 is \"%3\", not a number from 0 to 100")
                                .arg(row + 1)
                                .arg(kFields[c])
                                .arg(QString::fromLatin1(text ? text : "")));
        }
        Patch patch;
        patch.id = id++;
        patch.set = "file";
        const char* name = nameColumn >= 0 ? cmsIT8GetDataRowCol(it8.get(), row, nameColumn) : nullptr;
        const char* sample = idColumn >= 0 ? cmsIT8GetDataRowCol(it8.get(), row, idColumn) : nullptr;
        patch.name = name && *name       ? QString::fromLatin1(name)
                     : sample && *sample ? QString("sample %1").arg(QString::fromLatin1(sample))
                                         : QString("row %1").arg(row + 1);
        patch.r = rgb[0];
        patch.g = rgb[1];
        patch.b = rgb[2];
        added.append(patch);
    }
    *patches += added;
    return true;
}
