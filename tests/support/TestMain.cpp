#include <QCoreApplication>

#include <gtest/gtest.h>

// Every test binary runs with a Qt application object on its main thread: the serial port and the
// detector live there, and tests pump its event loop while the library works.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
