#include "DisplayControlServer.h"

#include "DisplayControl.h"
#include "VirtualDisplay.h"

#include <QLocalServer>
#include <QLocalSocket>

namespace {
// A client that never ends its line must not make the buffer grow for ever.
const int kLineLimit = 1024;
} // namespace

DisplayControlServer::DisplayControlServer(std::shared_ptr<VirtualDisplay> display, QObject* parent)
    : QObject(parent), m_display(std::move(display)), m_server(new QLocalServer(this)) {
    connect(m_server, &QLocalServer::newConnection, this, &DisplayControlServer::onConnection);
}

DisplayControlServer::~DisplayControlServer() {
    close();
}

bool DisplayControlServer::listen(const QString& path, QString* error) {
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // A socket file whose server is gone would make listen() fail; a live server keeps its own.
    QLocalSocket probe;
    probe.connectToServer(path);
    if (probe.waitForConnected(200)) {
        probe.disconnectFromServer();
        if (error)
            *error = QStringLiteral("another virtual display already listens at %1").arg(path);
        return false;
    }
    QLocalServer::removeServer(path);
    if (!m_server->listen(path)) {
        if (error)
            *error = QStringLiteral("cannot listen at %1 (%2)").arg(path, m_server->errorString());
        return false;
    }
    return true;
}

void DisplayControlServer::close() {
    if (m_server->isListening())
        m_server->close();
}

QString DisplayControlServer::path() const {
    return m_server->fullServerName();
}

int DisplayControlServer::patchesShown() const {
    return m_shown;
}

void DisplayControlServer::onConnection() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { onReadable(socket); });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        // Bytes that came with the connection are already waiting.
        if (socket->bytesAvailable() > 0)
            onReadable(socket);
    }
}

void DisplayControlServer::onReadable(QLocalSocket* socket) {
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine(kLineLimit);
        if (line.trimmed().isEmpty())
            continue;
        double rgb[3];
        QString why;
        if (!ParseDisplayShowLine(line, rgb, &why)) {
            socket->write("error " + why.toUtf8() + '\n');
            continue;
        }
        m_display->Show(rgb[0], rgb[1], rgb[2]);
        ++m_shown;
        socket->write("ok\n");
        socket->flush();
        emit shown(rgb[0], rgb[1], rgb[2]);
    }
    if (socket->bytesAvailable() > kLineLimit) {
        socket->write("error line too long\n");
        socket->disconnectFromServer();
    }
}
