#include "RemoteModel.h"

#include "InstrumentModel.h"
#include "SimFamilies.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

RemoteModel::RemoteModel(const QString& family, int measureDelayMs)
    : m_family(family), m_measureDelayMs(measureDelayMs) {}

RemoteModel::~RemoteModel() {
    if (m_process.state() != QProcess::NotRunning) {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(3000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }
}

bool RemoteModel::start() {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("--serve"), m_family, QString::number(m_measureDelayMs)});
    if (!m_process.waitForStarted(5000))
        return false;
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(5000))
            return false;
    }
    m_portPath = QString::fromUtf8(m_process.readLine()).trimmed();
    return !m_portPath.isEmpty();
}

int RemoteModel::Serve(const QString& family, int measureDelayMs) {
    std::unique_ptr<InstrumentModel> model = CreateFamilyModel(family);
    if (!model || !model->start())
        return 1;
    model->setMeasureDelayMs(measureDelayMs);
    std::printf("%s\n", model->portPath().toUtf8().constData());
    std::fflush(stdout);
    // The parent closes our input when it is done with the instrument.
    char c;
    while (::read(STDIN_FILENO, &c, 1) > 0) {
    }
    model->stop();
    return 0;
}
