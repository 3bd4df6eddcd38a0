#include "SerialHost.h"

#include <QDir>
#include <QFileInfo>

::testing::AssertionResult plugIn(SimInstrument& sim, SerialHost& host) {
    if (!sim.start())
        return ::testing::AssertionFailure() << "the simulated instrument did not start";
    if (!host.open(sim.portPath(), 9600))
        return ::testing::AssertionFailure() << "the host could not open " << sim.portPath().toStdString();
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult pulledWhileOpen(SimInstrument& sim, SerialHost& host) {
    const ::testing::AssertionResult plugged = plugIn(sim, host);
    if (plugged)
        sim.unplug();
    return plugged;
}

QString simLinkFolder(const QString& link) {
    // <tmp>/dev/cu.usbserial-SIM<n>: the temporary folder is two levels up.
    QDir dir = QFileInfo(link).dir();
    dir.cdUp();
    return dir.absolutePath();
}
