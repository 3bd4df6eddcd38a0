#pragma once

#include <QByteArray>
#include <QString>

#include <mutex>

// One pseudo-terminal standing in for a USB-serial adapter. The instrument side holds the master;
// the library opens the link <tmp>/dev/cu.usbserial-SIM<n>, which points at the slave device.
class PtyLink {
public:
    PtyLink();
    ~PtyLink();
    PtyLink(const PtyLink&) = delete;
    PtyLink& operator=(const PtyLink&) = delete;

    // Creates the pseudo-terminal in raw mode and its link. False (with *error set) on failure.
    bool open(QString* error = nullptr);
    // The path a host opens: a temporary folder's dev/cu.usbserial-SIM<n>, unique in the machine.
    QString linkPath() const;
    // The slave device itself (/dev/pts/N).
    QString devicePath() const;
    int masterFd() const;
    // The line speed currently set on the device by whoever opened it (the library), in baud.
    int baudRate() const;
    bool isPlugged() const;
    // Pulls the adapter: closes the device and removes the link. Idempotent.
    void unplug();
    // Writes bytes as the instrument; returns the count written or -1. The master does not block:
    // when the device's input is full (nobody reads it) fewer bytes, possibly 0, are written.
    qint64 write(const QByteArray& bytes);

private:
    void closeLocked();

    mutable std::mutex m_mutex;
    int m_master = -1;
    // Our own hold on the device: the library may close and reopen it without the master seeing a
    // hang-up, and its termios (the speed the library set) stays readable.
    int m_slave = -1;
    QString m_folder;
    QString m_link;
    QString m_device;
    qint64 m_number = -1;
};
