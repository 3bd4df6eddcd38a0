#include "PortFilter.h"

#include <gtest/gtest.h>

TEST(PortFilter, BluetoothDescriptionInChineseIsSkipped) {
    EXPECT_EQ(ClassifyPort(QStringLiteral("cu.usbserial-A1"), QString::fromUtf8("蓝牙串口")),
              PortVerdict::Bluetooth);
}

TEST(PortFilter, BluetoothDescriptionIsSkippedInAnyCase) {
    EXPECT_EQ(ClassifyPort(QStringLiteral("cu.usbserial-A1"), QStringLiteral("Bluetooth-Incoming-Port")),
              PortVerdict::Bluetooth);
    EXPECT_EQ(ClassifyPort(QStringLiteral("cu.usbserial-A1"), QStringLiteral("BLUETOOTH modem")),
              PortVerdict::Bluetooth);
    EXPECT_EQ(ClassifyPort(QStringLiteral("COM3"), QStringLiteral("Standard Serial over bluetooth link")),
              PortVerdict::Bluetooth);
}

TEST(PortFilter, BluetoothNameIsSkippedInAnyCase) {
    EXPECT_EQ(ClassifyPort(QStringLiteral("cu.Bluetooth-Incoming-Port"), QString()), PortVerdict::Bluetooth);
    EXPECT_EQ(ClassifyPort(QStringLiteral("tty.usbserial-BLUETOOTH"), QStringLiteral("USB-Serial")),
              PortVerdict::Bluetooth);
}

TEST(PortFilter, ChineseBluetoothWordInNameAloneDoesNotSkip) {
    // Only the description is searched for the Chinese word.
    EXPECT_EQ(ClassifyPort(QString::fromUtf8("cu.usbserial-蓝牙"), QStringLiteral("USB-Serial")),
              PortVerdict::Candidate);
}

TEST(PortFilter, UsbSerialNamesAreCandidates) {
    for (const char* name : {"COM3", "tty.usbserial-A1", "cu.usbserial-A1", "tty.usbmodem1411",
                             "cu.usbmodem1411", "/dev/cu.usbserial-FT123"})
        EXPECT_EQ(ClassifyPort(QString::fromLatin1(name), QStringLiteral("USB-Serial Controller")),
                  PortVerdict::Candidate)
            << name;
}

TEST(PortFilter, OtherNamesAreNeverTried) {
    for (const char* name :
         {"ttyUSB0", "ttyS0", "ttyACM0", "cu.debug-console", "tty.wlan", "com3", "CU.USBSERIAL-A1"})
        EXPECT_EQ(ClassifyPort(QString::fromLatin1(name), QStringLiteral("USB-Serial Controller")),
                  PortVerdict::NotUsbSerial)
            << name;
}

TEST(PortFilter, NameWithoutDevIsPrefixed) {
    EXPECT_EQ(CandidatePortPath(QStringLiteral("cu.usbserial-A1")), QStringLiteral("/dev/cu.usbserial-A1"));
    EXPECT_EQ(CandidatePortPath(QStringLiteral("COM3")), QStringLiteral("/dev/COM3"));
}

TEST(PortFilter, NameHoldingDevIsUsedAsIs) {
    EXPECT_EQ(CandidatePortPath(QStringLiteral("/dev/cu.usbserial-A1")),
              QStringLiteral("/dev/cu.usbserial-A1"));
    EXPECT_EQ(CandidatePortPath(QStringLiteral("/tmp/chromasim-x/dev/cu.usbserial-SIM7")),
              QStringLiteral("/tmp/chromasim-x/dev/cu.usbserial-SIM7"));
}

TEST(PortFilter, DevTestIsCaseSensitive) {
    EXPECT_EQ(CandidatePortPath(QStringLiteral("/DEV/cu.usbserial-A1")),
              QStringLiteral("/dev//DEV/cu.usbserial-A1"));
}
