#include "PortCatalogue.h"

#include "ChromameterMinoltaApi.h"

#include <QMutex>
#include <QMutexLocker>
#include <QSerialPortInfo>

namespace {
QMutex g_catalogueMutex;
bool g_useCatalogue = false;
QList<QPair<QString, QString>> g_catalogue;
} // namespace

QList<QPair<QString, QString>> PortCatalogueEntries() {
    {
        QMutexLocker lock(&g_catalogueMutex);
        if (g_useCatalogue)
            return g_catalogue;
    }
    QList<QPair<QString, QString>> entries;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : ports)
        entries.append(qMakePair(info.portName(), info.description()));
    return entries;
}

void ChromameterSetPortCatalogue(const char* const* portNames, const char* const* descriptions, int count) {
    QList<QPair<QString, QString>> entries;
    for (int i = 0; i < count; ++i) {
        const QString name = portNames && portNames[i] ? QString::fromUtf8(portNames[i]) : QString();
        const QString description =
            descriptions && descriptions[i] ? QString::fromUtf8(descriptions[i]) : QString();
        entries.append(qMakePair(name, description));
    }
    QMutexLocker lock(&g_catalogueMutex);
    g_useCatalogue = count >= 0;
    g_catalogue = entries;
}
