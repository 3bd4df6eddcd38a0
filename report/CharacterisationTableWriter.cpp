#include "CharacterisationTableWriter.h"

#include "FigureText.h"
#include "QuantityText.h"
#include "ResultText.h"

namespace {
const int kLabelWidth = 13;

QString right(const QString& text, int width) {
    return text.rightJustified(width, QLatin1Char(' '));
}

QString left(const QString& text, int width) {
    return text.leftJustified(width, QLatin1Char(' '), true);
}

QString quantity(Quantity q, double value) {
    return QuantityText(q, value, true);
}

QString cell(Quantity q, const std::optional<double>& value, int width) {
    return right(value ? quantity(q, *value) : QStringLiteral("-"), width);
}

QString figure(const std::optional<double>& value, int decimals, int width) {
    return right(value ? FigureText(*value, decimals) : QStringLiteral("-"), width);
}

QString lightText(const MeasuredLight& light) {
    QString text = quantity(Quantity::Lv, light.Lv) + QStringLiteral(" cd/m²");
    if (light.xy)
        text += QStringLiteral("   x %1  y %2")
                    .arg(quantity(Quantity::x, light.xy->x), quantity(Quantity::y, light.xy->y));
    return text;
}

QString whitenessText(const MeasuredLight& light, const WhitenessFigures& w) {
    if (!light.xy)
        return QString();
    QString text = w.cct ? QStringLiteral("   CCT %1 K  Duv %2")
                               .arg(quantity(Quantity::CCT, *w.cct), quantity(Quantity::Duv, *w.duv))
                         : QStringLiteral("   CCT -");
    if (w.deltaUvToTarget)
        text += QStringLiteral("   Δu′v′ to target %1").arg(quantity(Quantity::DeltaUv, *w.deltaUvToTarget));
    return text;
}

void summary(const CharacterisationFigures& f, QTextStream& out) {
    const Target& t = f.target;
    out << QStringLiteral("Characterisation against %1 primaries, white %2, EOTF %3\n\n")
               .arg(SpaceTitle(t.spaceName()), t.whiteName(), t.eotf().Name());
    if (f.white)
        out << left(QStringLiteral("White"), kLabelWidth) << lightText(f.white->light)
            << whitenessText(f.white->light, f.white->whiteness) << '\n';
    if (f.black)
        out << left(QStringLiteral("Black"), kLabelWidth) << lightText(f.black->light) << '\n';
    if (f.contrast)
        out << left(QStringLiteral("Contrast"), kLabelWidth)
            << (f.contrast->ratio ? FigureText(*f.contrast->ratio, 0) + QStringLiteral(":1")
                                  : QStringLiteral("- (black measured as zero)"))
            << '\n';
    if (f.gamma.fitted)
        out << left(QStringLiteral("Gamma"), kLabelWidth) << FigureText(*f.gamma.fitted, 2)
            << QStringLiteral(" fitted over %1 grey step%2%3\n")
                   .arg(f.gamma.steps)
                   .arg(f.gamma.steps == 1 ? QString() : QStringLiteral("s"))
                   .arg(f.black ? QStringLiteral(", black compensated") : QString());
    if (f.primaries) {
        const auto xy = [](const Chromaticity& c) {
            return QStringLiteral("%1, %2").arg(quantity(Quantity::x, c.x), quantity(Quantity::y, c.y));
        };
        out << left(QStringLiteral("Primaries"), kLabelWidth)
            << QStringLiteral("red %1   green %2   blue %3\n")
                   .arg(xy(f.primaries->red), xy(f.primaries->green), xy(f.primaries->blue));
    }
    if (!f.gamut.isEmpty()) {
        out << left(QStringLiteral("Gamut"), kLabelWidth) << right(QStringLiteral("coverage xy"), 13)
            << right(QStringLiteral("area xy"), 11) << right(QStringLiteral("coverage u′v′"), 15)
            << right(QStringLiteral("area u′v′"), 11) << '\n';
        for (const GamutFigures& g : f.gamut)
            out << left(QStringLiteral("  ") + SpaceTitle(g.space), kLabelWidth)
                << right(PercentText(g.xy.coverage), 13) << right(PercentText(g.xy.areaRatio), 11)
                << right(PercentText(g.uv.coverage), 15) << right(PercentText(g.uv.areaRatio), 11) << '\n';
    }
    if (f.deltaE) {
        const DeltaEFigures& d = *f.deltaE;
        out << left(QStringLiteral("ΔE2000"), kLabelWidth)
            << QStringLiteral("mean %1   median %2   max %3 over %4 patches: %5\n")
                   .arg(quantity(Quantity::DeltaE2000, d.mean), quantity(Quantity::DeltaE2000, d.median),
                        quantity(Quantity::DeltaE2000, d.max))
                   .arg(d.count)
                   .arg(d.verdict)
            << QString(kLabelWidth, QLatin1Char(' '))
            << QStringLiteral("(nominal: mean ≤ 1.5 and max ≤ 4; recommended: mean ≤ 1 and max ≤ 3)\n");
    }
    if (f.drift) {
        const DriftFigures& d = *f.drift;
        out << left(QStringLiteral("Drift"), kLabelWidth)
            << QStringLiteral("white %1%2 % over %3 s (%4 readings)")
                   .arg(d.luminanceChangePercent >= 0 ? QStringLiteral("+") : QString())
                   .arg(FigureText(d.luminanceChangePercent, 2))
                   .arg(FigureText(d.seconds, 1))
                   .arg(d.whiteReadings);
        if (d.maxDeltaUv)
            out << QStringLiteral(", largest Δu′v′ %1").arg(quantity(Quantity::DeltaUv, *d.maxDeltaUv));
        out << (d.normalised ? QStringLiteral("; readings normalised\n") : QStringLiteral("\n"));
    }
}

void greys(const CharacterisationFigures& f, QTextStream& out) {
    if (f.greys.isEmpty())
        return;
    const bool colour = f.hasColour;
    out << QStringLiteral("\nGrey steps\n") << right(QStringLiteral("level"), 6)
        << right(QStringLiteral("Lv (cd/m²)"), 12);
    if (colour)
        out << right(QStringLiteral("x"), 8) << right(QStringLiteral("y"), 8)
            << right(QStringLiteral("CCT (K)"), 9) << right(QStringLiteral("Duv"), 8)
            << right(QStringLiteral("Δu′v′"), 8);
    out << right(QStringLiteral("target Lv"), 11);
    if (colour)
        out << right(QStringLiteral("ΔE2000"), 8);
    out << right(QStringLiteral("gamma"), 7) << right(QStringLiteral("gamma bc"), 10) << '\n';
    for (const GreyStep& s : f.greys) {
        out << right(FigureText(s.level, 3), 6);
        if (s.failed) {
            out << QStringLiteral("  failed\n");
            continue;
        }
        out << right(quantity(Quantity::Lv, s.light.Lv), 12);
        if (colour) {
            out << cell(Quantity::x, s.light.xy ? std::optional<double>(s.light.xy->x) : std::nullopt, 8)
                << cell(Quantity::y, s.light.xy ? std::optional<double>(s.light.xy->y) : std::nullopt, 8)
                << cell(Quantity::CCT, s.whiteness.cct, 9) << cell(Quantity::Duv, s.whiteness.duv, 8)
                << cell(Quantity::DeltaUv, s.whiteness.deltaUvToTarget, 8);
        }
        out << cell(Quantity::Lv, s.targetLv, 11);
        if (colour)
            out << cell(Quantity::DeltaE2000, s.deltaE2000, 8);
        out << figure(s.gamma, 2, 7) << figure(s.gammaBlackCompensated, 2, 10) << '\n';
    }
}

void patches(const CharacterisationFigures& f, QTextStream& out) {
    const bool colour = f.hasColour;
    out << QStringLiteral("\nPatches\n") << right(QStringLiteral("id"), 4) << QStringLiteral("  ")
        << left(QStringLiteral("set"), 13) << left(QStringLiteral("name"), 14)
        << right(QStringLiteral("R"), 6) << right(QStringLiteral("G"), 6) << right(QStringLiteral("B"), 6)
        << right(QStringLiteral("Lv (cd/m²)"), 12);
    if (colour)
        out << right(QStringLiteral("x"), 8) << right(QStringLiteral("y"), 8);
    out << right(QStringLiteral("target Lv"), 11);
    if (colour)
        out << right(QStringLiteral("ΔE2000"), 8);
    out << '\n';
    for (const PatchFigures& p : f.patches) {
        out << right(QString::number(p.patch.id), 4) << QStringLiteral("  ") << left(p.patch.set, 12) << ' '
            << left(p.patch.name, 13) << ' ' << right(FigureText(p.patch.r, 3), 6)
            << right(FigureText(p.patch.g, 3), 6) << right(FigureText(p.patch.b, 3), 6);
        if (p.failed) {
            out << QStringLiteral("   failed (%1)\n").arg(ResultCodeHex(p.result));
            continue;
        }
        out << right(quantity(Quantity::Lv, p.light.Lv), 12);
        if (colour)
            out << cell(Quantity::x, p.light.xy ? std::optional<double>(p.light.xy->x) : std::nullopt, 8)
                << cell(Quantity::y, p.light.xy ? std::optional<double>(p.light.xy->y) : std::nullopt, 8);
        out << cell(Quantity::Lv, p.target ? std::optional<double>(p.target->Y) : std::nullopt, 11);
        if (colour)
            out << cell(Quantity::DeltaE2000, p.deltaE2000, 8);
        out << '\n';
    }
}
} // namespace

void CharacterisationTableWriter::Write(const CharacterisationFigures& f, QTextStream& out) const {
    summary(f, out);
    greys(f, out);
    patches(f, out);
    if (!f.notes.isEmpty()) {
        out << QStringLiteral("\nNotes\n");
        for (const QString& note : f.notes)
            out << QStringLiteral("  - ") << note << '\n';
    }
}
