// Runs GoogleTest inside a QApplication, so that widget tests have an event
// loop (the offscreen platform needs no display).
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
    google::InitGoogleLogging(argv[0]);
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
