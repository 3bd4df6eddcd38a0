#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QLocalServer;
class QLocalSocket;
class VirtualDisplay;

// Serves the control channel of a virtual display (see DisplayControl.h) on a local socket at a
// path: each "show R G B" line is shown on the display before "ok" goes back, so a client that has
// its answer knows the patch is up. Lives on the thread whose event loop runs it.
class DisplayControlServer : public QObject {
    Q_OBJECT

public:
    explicit DisplayControlServer(std::shared_ptr<VirtualDisplay> display, QObject* parent = nullptr);
    ~DisplayControlServer() override;

    // Listens at `path`, replacing a socket file left there by a server that is gone. False with a
    // sentence in *error.
    bool listen(const QString& path, QString* error = nullptr);
    // Stops listening and removes the socket file.
    void close();
    QString path() const;
    // How many patches were shown through the channel.
    int patchesShown() const;

signals:
    // After each patch the channel showed.
    void shown(double r, double g, double b);

private:
    void onConnection();
    void onReadable(QLocalSocket* socket);

    std::shared_ptr<VirtualDisplay> m_display;
    QLocalServer* m_server = nullptr;
    int m_shown = 0;
};
