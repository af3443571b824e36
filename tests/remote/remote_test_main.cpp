// Test entry for the remote messages: one application object for the event loop the network needs; the
// widget tests get the offscreen platform, so no display is needed.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#ifdef VELUMEN_REMOTE_WIDGETS
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    return RUN_ALL_TESTS();
}
