#include "CharacterisationJsonWriter.h"

#include "FieldText.h"
#include "FigureText.h"
#include "QuantityText.h"

namespace {
const int kGammaDecimals = 4;
const int kGamutDecimals = 5;
const int kContrastDecimals = 2;
const int kPercentDecimals = 3;
const int kSecondsDecimals = 3;

// The members of one JSON object, in the order they are added.
class Members {
public:
    void add(const char* key, const QString& json) {
        m_members << JsonString(QLatin1String(key)) + QLatin1Char(':') + json;
    }
    void quantity(const char* key, Quantity q, double value) { add(key, QuantityJson(q, value, true)); }
    void quantity(const char* key, Quantity q, const std::optional<double>& value) {
        add(key, value ? QuantityJson(q, *value, true) : QStringLiteral("null"));
    }
    bool isEmpty() const { return m_members.isEmpty(); }
    QString object() const { return QLatin1Char('{') + m_members.join(QLatin1Char(',')) + QLatin1Char('}'); }

private:
    QStringList m_members;
};

QString array(const QStringList& items) {
    return QLatin1Char('[') + items.join(QLatin1Char(',')) + QLatin1Char(']');
}

QString boolean(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

void addLight(Members& m, const MeasuredLight& light) {
    m.quantity("Lv", Quantity::Lv, light.Lv);
    if (light.xy) {
        m.quantity("x", Quantity::x, light.xy->x);
        m.quantity("y", Quantity::y, light.xy->y);
    }
}

// CCT and Duv are null where the chromaticity has none (too far from the locus); all three are
// absent without a chromaticity.
void addWhiteness(Members& m, const MeasuredLight& light, const WhitenessFigures& w) {
    if (!light.xy)
        return;
    m.quantity("CCT", Quantity::CCT, w.cct);
    m.quantity("Duv", Quantity::Duv, w.duv);
    if (w.deltaUvToTarget)
        m.quantity("delta_uv", Quantity::DeltaUv, *w.deltaUvToTarget);
}

QString target(const Target& t) {
    Members m;
    m.add("space", JsonString(t.spaceName()));
    m.add("white", JsonString(t.whiteName()));
    m.quantity("white_x", Quantity::x, t.white().x);
    m.quantity("white_y", Quantity::y, t.white().y);
    m.add("eotf", JsonString(t.eotf().Name()));
    return m.object();
}

QString grey(const GreyStep& step) {
    Members m;
    m.add("level", JsonNumber(step.level));
    if (!step.failed) {
        addLight(m, step.light);
        addWhiteness(m, step.light, step.whiteness);
    }
    if (step.targetLv)
        m.quantity("target_Lv", Quantity::Lv, *step.targetLv);
    if (step.deltaE2000)
        m.quantity("delta_E2000", Quantity::DeltaE2000, *step.deltaE2000);
    if (step.gamma)
        m.add("gamma", FigureJson(*step.gamma, kGammaDecimals));
    if (step.gammaBlackCompensated)
        m.add("gamma_black_compensated", FigureJson(*step.gammaBlackCompensated, kGammaDecimals));
    m.add("failed", boolean(step.failed));
    return m.object();
}

QString point(const Chromaticity& c) {
    Members m;
    m.quantity("x", Quantity::x, c.x);
    m.quantity("y", Quantity::y, c.y);
    return m.object();
}

QString gamut(const GamutFigures& g) {
    Members m;
    m.add("coverage_xy", FigureJson(g.xy.valid ? g.xy.coverage : qQNaN(), kGamutDecimals));
    m.add("area_ratio_xy", FigureJson(g.xy.valid ? g.xy.areaRatio : qQNaN(), kGamutDecimals));
    m.add("coverage_uv", FigureJson(g.uv.valid ? g.uv.coverage : qQNaN(), kGamutDecimals));
    m.add("area_ratio_uv", FigureJson(g.uv.valid ? g.uv.areaRatio : qQNaN(), kGamutDecimals));
    return m.object();
}

QString patch(const PatchFigures& p, bool hasColour) {
    Members m;
    m.add("id", QString::number(p.patch.id));
    m.add("set", JsonString(p.patch.set));
    m.add("rgb", array({JsonNumber(p.patch.r), JsonNumber(p.patch.g), JsonNumber(p.patch.b)}));
    if (!p.failed) {
        m.quantity("Lv", Quantity::Lv, p.light.Lv);
        if (hasColour && p.light.xy) {
            m.quantity("x", Quantity::x, p.light.xy->x);
            m.quantity("y", Quantity::y, p.light.xy->y);
        }
        if (hasColour && p.light.xyz) {
            m.quantity("X", Quantity::X, p.light.xyz->X);
            m.quantity("Y", Quantity::Y, p.light.xyz->Y);
            m.quantity("Z", Quantity::Z, p.light.xyz->Z);
        }
    }
    if (p.target) {
        if (hasColour)
            m.quantity("target_X", Quantity::X, p.target->X);
        m.quantity("target_Y", Quantity::Y, p.target->Y);
        if (hasColour)
            m.quantity("target_Z", Quantity::Z, p.target->Z);
    }
    if (p.deltaE2000)
        m.quantity("delta_E2000", Quantity::DeltaE2000, *p.deltaE2000);
    m.add("failed", boolean(p.failed));
    return m.object();
}
} // namespace

void CharacterisationJsonWriter::Write(const CharacterisationFigures& f, QTextStream& out) const {
    Members c;
    c.add("target", target(f.target));
    if (f.white) {
        Members w;
        addLight(w, f.white->light);
        addWhiteness(w, f.white->light, f.white->whiteness);
        c.add("white", w.object());
    }
    if (f.black) {
        Members b;
        addLight(b, f.black->light);
        c.add("black", b.object());
    }
    if (f.contrast)
        c.add("contrast", FigureJson(f.contrast->ratio.value_or(qQNaN()), kContrastDecimals));
    QStringList greys;
    for (const GreyStep& step : f.greys)
        greys << grey(step);
    if (!greys.isEmpty())
        c.add("greys", array(greys));
    if (f.gamma.fitted) {
        Members g;
        g.add("fitted", FigureJson(*f.gamma.fitted, kGammaDecimals));
        c.add("gamma", g.object());
    }
    if (f.primaries) {
        Members p;
        p.add("red", point(f.primaries->red));
        p.add("green", point(f.primaries->green));
        p.add("blue", point(f.primaries->blue));
        c.add("primaries", p.object());
    }
    if (!f.gamut.isEmpty()) {
        Members g;
        for (const GamutFigures& space : f.gamut)
            g.add(space.space.toLatin1().constData(), gamut(space));
        c.add("gamut", g.object());
    }
    if (f.deltaE) {
        Members d;
        d.quantity("mean", Quantity::DeltaE2000, f.deltaE->mean);
        d.quantity("median", Quantity::DeltaE2000, f.deltaE->median);
        d.quantity("max", Quantity::DeltaE2000, f.deltaE->max);
        d.add("verdict", JsonString(f.deltaE->verdict));
        c.add("delta_E2000", d.object());
    }
    if (f.drift) {
        Members d;
        d.add("luminance_change_percent", FigureJson(f.drift->luminanceChangePercent, kPercentDecimals));
        if (f.drift->maxDeltaUv)
            d.quantity("max_delta_uv", Quantity::DeltaUv, *f.drift->maxDeltaUv);
        d.add("seconds", FigureJson(f.drift->seconds, kSecondsDecimals));
        d.add("white_readings", QString::number(f.drift->whiteReadings));
        d.add("normalised", boolean(f.drift->normalised));
        c.add("drift", d.object());
    }
    QStringList patches;
    for (const PatchFigures& p : f.patches)
        patches << patch(p, f.hasColour);
    c.add("patches", array(patches));

    Members root;
    root.add("characterisation", c.object());
    out << root.object() << '\n';
}
