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
    // How late a packet of the realistic line may come: a busy host, USB frames scheduled late.
    static constexpr int kDefaultUsbJitterMs = 8;
    static constexpr int kMaxUsbJitterMs = 100;

    LineModel() = default;
    explicit LineModel(Kind kind, int usbPeriodMs = kDefaultUsbPeriodMs, int usbJitterMs = 0,
                       quint32 seed = 0);

    // The realistic model a desk most often has: an FTDI-style adapter with its 16 ms latency timer,
    // at a random phase, and half of its packets late by 1 to 8 ms.
    static LineModel realistic();
    // Parses "instant", "bytewise", "usb", or "usb:PERIOD" (PERIOD in ms, 1 to 255) followed by any of
    // ":jitter=MS" (0 to 100) and ":seed=N". False if unknown. `line` may be null, to check a name only.
    static bool parse(const QString& text, LineModel* line);

    Kind kind() const { return m_kind; }
    int usbPeriodMs() const { return m_usbPeriodMs; }
    // The USB line: at most how many ms a packet is late; each packet is late with even odds, by 1 to
    // this many ms (uniformly), and the packets behind it wait for it. 0: none is late.
    int usbJitterMs() const { return m_usbJitterMs; }
    // What the random draws of the USB line (the latency timer's phase, late packets) start from:
    // 0 draws a fresh seed at every start of the simulated instrument.
    quint32 seed() const { return m_seed; }
    // The same line with the given seed.
    LineModel withSeed(quint32 seed) const;
    // The text parse() reads back: "instant", "bytewise", "usb:16", "usb:16:jitter=8:seed=7".
    QString name() const;
    // Nanoseconds one byte (start bit, 8 data bits, stop bit) spends on the line at `baud`.
    static qint64 byteTimeNs(int baud);

private:
    Kind m_kind = Instant;
    int m_usbPeriodMs = kDefaultUsbPeriodMs;
    int m_usbJitterMs = 0;
    quint32 m_seed = 0;
};
