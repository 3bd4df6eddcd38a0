#pragma once

#include <QString>

// How the simulated cable hands bytes over. Every byte takes 10 bits of line time at the speed the
// library set; the host then receives it the way a USB-serial adapter delivers it.
class LineModel {
public:
    enum Kind {
        Instant,  // a reply reaches the host whole, at once: no line time (fast scenarios)
        ByteWise, // a piece of a byte or two as each crosses the line (Prolific, CH340 chips)
        Usb,      // packets of at most 62 bytes on a free-running latency timer (FTDI-style chips)
    };

    static constexpr int kDefaultUsbPeriodMs = 16;
    static constexpr int kUsbPacketBytes = 62;

    LineModel() = default;
    explicit LineModel(Kind kind, int usbPeriodMs = kDefaultUsbPeriodMs);

    // The realistic model a desk most often has: an FTDI-style adapter with its 16 ms latency timer.
    static LineModel realistic();
    // Parses "instant", "bytewise", "usb" or "usb:PERIOD" (PERIOD in ms, 1 to 255). False if unknown.
    // `line` may be null, to check a name only.
    static bool parse(const QString& text, LineModel* line);

    Kind kind() const { return m_kind; }
    int usbPeriodMs() const { return m_usbPeriodMs; }
    // The text parse() reads back: "instant", "bytewise", "usb:16".
    QString name() const;
    // Nanoseconds one byte (start bit, 8 data bits, stop bit) spends on the line at `baud`.
    static qint64 byteTimeNs(int baud);

private:
    Kind m_kind = Instant;
    int m_usbPeriodMs = kDefaultUsbPeriodMs;
};
