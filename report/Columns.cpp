#include "Columns.h"

Columns::Columns(const InstrumentInfo& instrument, const QVector<Quantity>& quantities, bool hasReference)
    : m_instrument(instrument), m_hasReference(hasReference),
      m_showMeasureData(instrument.givesMeasureData && quantities.isEmpty()) {
    QVector<Quantity> wanted = quantities;
    if (wanted.isEmpty()) {
        wanted = {Quantity::Lv, Quantity::x, Quantity::y, Quantity::CCT, Quantity::Duv};
        if (hasReference)
            wanted << Quantity::DeltaUv;
    }
    const QVector<Quantity> possible = applicable();
    for (Quantity q : wanted) {
        if (possible.contains(q))
            m_shown << q;
    }
}

QVector<Quantity> Columns::applicable() const {
    QVector<Quantity> list;
    for (Quantity q : AllQuantities()) {
        if (q != Quantity::Lv && !m_instrument.givesXy)
            continue;
        if (IsDifference(q) && !m_hasReference)
            continue;
        list << q;
    }
    return list;
}

const char* Columns::MeasureDataName(int index) {
    static const char* const names[7] = {"value1", "value2", "value3", "Lv", "x", "y", "value7"};
    return index >= 0 && index < 7 ? names[index] : "";
}

const QVector<int>& Columns::ExtraMeasureData() {
    static const QVector<int> extra = {0, 1, 2, 6};
    return extra;
}
