#include <QApplication>

#include <gtest/gtest.h>

// Widgets need one QApplication, made before the first test and destroyed after the
// last, while Qt's own globals still exist (a static one would outlive them).
int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    // Test discovery runs without CTest's environment; tests never need a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
