#pragma once

#include "CharacterisationFigures.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVector>

// What the profile says about itself.
struct DisplayProfileSettings {
    int version = 2;     // 2 writes ICC 2.4 (read by the widest range of programs), 4 writes 4.3
    QString displayName; // goes into the description with the date
    QDateTime date;      // when the display was measured
    QString copyright = QStringLiteral("No copyright: made by chromameter from the user's own measurements");
};

// A matrix/shaper ICC display profile from a characterisation, written with LittleCMS.
//
// Colorants: the measured red, green and blue at 100 % less the black, scaled so that they add up to
// the measured white less the black, and adapted from that white to D50 with Bradford; the adaptation
// is stored in 'chad'. Tone curves: one shared curve from the grey steps, or one a channel when the
// run holds per-channel ramps (patches of set "ramps", one channel driven); each sampled at 1024
// levels, black subtracted and normalised to 0..1. 'wtpt' is D50 in both versions (the adapted white,
// as version 4 requires; version 2 the same, so both describe the display alike); the display's own
// white is 'chad'⁻¹·D50, and its absolute luminance is 'lumi'.
class DisplayProfile {
public:
    static const int kCurveSamples = 1024;

    DisplayProfile(const CharacterisationFigures& figures, const DisplayProfileSettings& settings);

    // False when the run cannot make a profile (no colour, no white, a primary missing); error() says
    // why.
    bool isValid() const { return m_error.isEmpty(); }
    const QString& error() const { return m_error; }

    // The profile as ICC bytes; empty when it is not valid.
    QByteArray iccData() const;
    // Writes the profile to `path` (replacing the file as a whole). False with a reason on failure.
    bool write(const QString& path, QString* error = nullptr) const;

    // The model: linear device RGB to PCS XYZ (D50, white Y = 1), and the curves (one, or red, green,
    // blue), each kCurveSamples values from 0 to 1.
    const Matrix3& colorants() const { return m_colorants; }
    const Matrix3& adaptation() const { return m_adaptation; }
    const QVector<QVector<double>>& curves() const { return m_curves; }
    QString description() const;

private:
    bool build(const CharacterisationFigures& figures);

    DisplayProfileSettings m_settings;
    QString m_error;
    Matrix3 m_colorants{};
    Matrix3 m_adaptation{};
    QVector<QVector<double>> m_curves;
    double m_whiteLuminance = 0.0; // cd/m²
};
