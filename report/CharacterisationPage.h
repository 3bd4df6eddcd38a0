#pragma once

#include "CharacterisationFigures.h"

#include <QDateTime>
#include <QString>

// What the page says about the run beside its figures.
struct ReportHeader {
    QString instrument;  // "Minolta colour analyser (analyser) on /dev/cu.usbserial-…"
    QString displayName; // what the user calls the display; may be empty
    QDateTime date;      // when the run was measured
    QString patchSets;   // the --patches text; may be empty
};

// A characterisation as one self-contained HTML page: header, verdict, summary figures, the plots
// (inline SVG) and the full tables. Nothing is fetched and no script runs; it prints on A4 with a page
// break between sections and no dark backgrounds. A luminance meter's run has the tone plots only,
// and the page says why.
class CharacterisationPage {
public:
    CharacterisationPage(const CharacterisationFigures& figures, const ReportHeader& header);

    QString html() const;
    // Writes the page to `path` (replacing the file as a whole). False with a reason on failure.
    bool write(const QString& path, QString* error = nullptr) const;

private:
    QString header() const;
    QString verdict() const;
    QString summary() const;
    QString tonePlots() const;
    QString colourPlots() const;
    QString greyTable() const;
    QString patchTable() const;

    QString toneLinear() const;
    QString toneLog() const;
    QString pointGamma() const;
    QString greyDeltaUv() const;
    QString greyCct() const;
    QString chromaticityXy() const;
    QString chromaticityUv() const;
    QString deltaEBars() const;

    CharacterisationFigures m_f;
    ReportHeader m_header;
};
