#include <QCoreApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Every test binary runs with a Qt application object on its main thread: the serial port and the
// detector live there, and tests pump its event loop while the library works.
int main(int argc, char** argv) {
    // What a host keeps between runs (chromameter's last connection) goes to a cache folder of this
    // process, which its child processes inherit: no test reads or writes the user's own, and no
    // test sees what another one left.
    QTemporaryDir cache;
    if (cache.isValid())
        qputenv("XDG_CACHE_HOME", cache.path().toLocal8Bit());
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
