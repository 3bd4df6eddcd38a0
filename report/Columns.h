#pragma once

#include "Quantity.h"
#include "Reading.h"

#include <QVector>

// Which values a run's output shows, for every output format alike: the chosen quantities (by
// default Lv, x, y, CCT and Duv, and Δu′v′ with a reference) as far as the instrument gives them
// (none but Lv for the luminance meter); Tcp when it is read; by default the spectroradiometer's
// further values of ReadMeasureData too.
class Columns {
public:
    // `quantities` empty: the default columns.
    explicit Columns(const InstrumentInfo& instrument = InstrumentInfo(),
                     const QVector<Quantity>& quantities = QVector<Quantity>(), bool hasReference = false);

    const InstrumentInfo& instrument() const { return m_instrument; }
    // The quantity columns of the table and CSV, in output order.
    const QVector<Quantity>& shown() const { return m_shown; }
    // Every quantity that applies to this instrument and run, in output order (what JSON carries).
    QVector<Quantity> applicable() const;
    // Whether the table and CSV show the further values of ReadMeasureData.
    bool showsMeasureData() const { return m_showMeasureData; }

    // ReadMeasureData's seven values by name, in its parameter order: value1, value2, value3, Lv, x, y,
    // value7.
    static const char* MeasureDataName(int index);
    // The values of ReadMeasureData that Lv, x and y do not already show (indices into the seven).
    static const QVector<int>& ExtraMeasureData();

private:
    InstrumentInfo m_instrument;
    bool m_hasReference;
    bool m_showMeasureData;
    QVector<Quantity> m_shown;
};
