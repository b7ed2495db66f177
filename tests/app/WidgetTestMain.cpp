#include <QApplication>

#include <gtest/gtest.h>

// Widgets need one QApplication, made before the first test and destroyed after the
// last, while Qt's own globals still exist (a static one would outlive them).
int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
