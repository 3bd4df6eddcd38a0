#include "ManualPatchDisplay.h"

#include <QTextStream>

#include <cmath>

ManualPatchDisplay::ManualPatchDisplay(QTextStream* out, QTextStream* in) : out_(out), in_(in) {}

bool ManualPatchDisplay::Show(const Patch& patch, QString* error) {
    auto eight = [](double v) { return int(std::lround(v * 255.0)); };
    *out_ << QString("Show patch %1%2: R %3 G %4 B %5 (8-bit %6 %7 %8), then press Enter")
                 .arg(patch.id)
                 .arg(patch.name.isEmpty() ? QString() : " (" + patch.name + ")")
                 .arg(patch.r, 0, 'f', 4)
                 .arg(patch.g, 0, 'f', 4)
                 .arg(patch.b, 0, 'f', 4)
                 .arg(eight(patch.r))
                 .arg(eight(patch.g))
                 .arg(eight(patch.b))
          << Qt::endl;
    const QString answer = in_->readLine();
    if (answer.isNull()) {
        if (error)
            *error = QString("the input ended before patch %1 was confirmed").arg(patch.id);
        return false;
    }
    return true;
}
