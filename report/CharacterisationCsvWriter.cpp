#include "CharacterisationCsvWriter.h"

#include "FieldText.h"
#include "NumberText.h"
#include "QuantityText.h"

namespace {
QString value(Quantity q, double v) {
    return QuantityText(q, v, true);
}

QString field(const QString& column, const PatchFigures& p) {
    const MeasuredLight& light = p.light;
    const bool measured = !p.failed;
    if (column == QLatin1String("id"))
        return QString::number(p.patch.id);
    if (column == QLatin1String("set"))
        return CsvField(p.patch.set);
    if (column == QLatin1String("r"))
        return ShortestNumberText(p.patch.r);
    if (column == QLatin1String("g"))
        return ShortestNumberText(p.patch.g);
    if (column == QLatin1String("b"))
        return ShortestNumberText(p.patch.b);
    if (column == QLatin1String("Lv"))
        return measured ? value(Quantity::Lv, light.Lv) : QString();
    if (column == QLatin1String("x"))
        return measured && light.xy ? value(Quantity::x, light.xy->x) : QString();
    if (column == QLatin1String("y"))
        return measured && light.xy ? value(Quantity::y, light.xy->y) : QString();
    if (column == QLatin1String("X"))
        return measured && light.xyz ? value(Quantity::X, light.xyz->X) : QString();
    if (column == QLatin1String("Y"))
        return measured && light.xyz ? value(Quantity::Y, light.xyz->Y) : QString();
    if (column == QLatin1String("Z"))
        return measured && light.xyz ? value(Quantity::Z, light.xyz->Z) : QString();
    if (column == QLatin1String("target_X"))
        return p.target ? value(Quantity::X, p.target->X) : QString();
    if (column == QLatin1String("target_Y"))
        return p.target ? value(Quantity::Y, p.target->Y) : QString();
    if (column == QLatin1String("target_Z"))
        return p.target ? value(Quantity::Z, p.target->Z) : QString();
    if (column == QLatin1String("delta_E2000"))
        return p.deltaE2000 ? value(Quantity::DeltaE2000, *p.deltaE2000) : QString();
    if (column == QLatin1String("failed"))
        return p.failed ? QStringLiteral("true") : QStringLiteral("false");
    return QString();
}
} // namespace

void CharacterisationCsvWriter::Write(const CharacterisationFigures& f, QTextStream& out) const {
    QStringList columns;
    for (const QString& c : PatchColumns(f.hasColour)) {
        if (c == QLatin1String("rgb"))
            columns << QStringLiteral("r") << QStringLiteral("g") << QStringLiteral("b");
        else
            columns << c;
    }
    out << columns.join(QLatin1Char(',')) << '\n';
    for (const PatchFigures& p : f.patches) {
        QStringList fields;
        for (const QString& c : columns)
            fields << field(c, p);
        out << fields.join(QLatin1Char(',')) << '\n';
    }
}
