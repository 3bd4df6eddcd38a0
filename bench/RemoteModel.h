#pragma once

#include <QProcess>
#include <QString>

// A family model served by a child process (this same program, started with --serve), so that its
// thread's CPU time and memory are not counted as the library's.
class RemoteModel {
public:
    RemoteModel(const QString& family, int measureDelayMs);
    ~RemoteModel();
    // Starts the child and learns its port. False if it did not come up.
    bool start();
    QString portPath() const { return m_portPath; }

    // The child's side: serves the family until its standard input closes. Returns the exit code.
    static int Serve(const QString& family, int measureDelayMs);

private:
    QString m_family;
    int m_measureDelayMs;
    QProcess m_process;
    QString m_portPath;
};
