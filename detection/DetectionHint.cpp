#include "DetectionHint.h"

#include "ChromameterMinoltaApi.h"
#include "InstrumentFamilies.h"
#include "PortFilter.h"

#include <QDebug>
#include <QMutex>
#include <QMutexLocker>

namespace {
QMutex g_hintMutex;
DetectionHint g_hint;
} // namespace

DetectionHint DetectionHintSnapshot() {
    QMutexLocker lock(&g_hintMutex);
    return g_hint;
}

QVector<int> FamilyTrialOrder(const QVector<int>& hinted) {
    QVector<int> order;
    for (int type : hinted) {
        if (InstrumentFamilyOf(type) && !order.contains(type))
            order.append(type);
    }
    for (const InstrumentFamily& family : kInstrumentFamilies) {
        if (!order.contains(family.type))
            order.append(family.type);
    }
    return order;
}

QVector<int> HintedTrialOrder(const DetectionHint& hint) {
    if (!hint.only)
        return FamilyTrialOrder(hint.families);
    QVector<int> order;
    for (int type : hint.families) {
        if (InstrumentFamilyOf(type) && !order.contains(type))
            order.append(type);
    }
    return order;
}

QList<QPair<QString, QString>> PortsHintedFirst(const QList<QPair<QString, QString>>& ports,
                                                const QString& hintedPort, bool* found) {
    *found = false;
    if (hintedPort.isEmpty())
        return ports;
    for (int i = 0; i < ports.size(); ++i) {
        if (ports[i].first == hintedPort || CandidatePortPath(ports[i].first) == hintedPort) {
            QList<QPair<QString, QString>> reordered = ports;
            reordered.move(i, 0);
            *found = true;
            return reordered;
        }
    }
    return ports;
}

void ChromameterSetDetectionHint(const int* families, int count, const char* portName) {
    ChromameterSetDetectionHintEx(families, count, portName, 0);
}

void ChromameterSetDetectionHintEx(const int* families, int count, const char* portName, unsigned int flags) {
    if (flags & ~CHROMAMETER_DETECT_ONLY_HINTED) {
        qDebug().noquote() << QStringLiteral("detection hint not changed: unknown flags 0x%1")
                                  .arg(flags & ~CHROMAMETER_DETECT_ONLY_HINTED, 0, 16);
        return;
    }
    if (count < 0 || (!families && count > 0)) {
        qDebug().noquote() << QStringLiteral("detection hint not changed: %1 family numbers given in %2")
                                  .arg(count)
                                  .arg(families ? QStringLiteral("a list") : QStringLiteral("no list"));
        return;
    }
    const bool only = (flags & CHROMAMETER_DETECT_ONLY_HINTED) != 0;
    // Trying only the families named, with none named, would try nothing at all.
    if (only && count == 0) {
        qDebug().noquote() << QStringLiteral(
            "detection hint not changed: only the hinted families asked for, and no family named");
        return;
    }
    DetectionHint hint;
    for (int i = 0; i < count; ++i) {
        if (!InstrumentFamilyOf(families[i])) {
            qDebug().noquote() << QStringLiteral(
                                      "detection hint not changed: family %1 is not one of 0 to %2")
                                      .arg(families[i])
                                      .arg(kInstrumentFamilyCount - 1);
            return;
        }
        if (!hint.families.contains(families[i]))
            hint.families.append(families[i]);
    }
    if (portName)
        hint.port = QString::fromUtf8(portName);
    hint.only = only;
    QMutexLocker lock(&g_hintMutex);
    g_hint = hint;
}
