#pragma once

#include <QGuiApplication>

namespace view_test {

// Fonts and image plugins need one GUI application object per process.
inline void ensureGuiApplication()
{
    if (QCoreApplication::instance()) return;
    // Tests never need a display; respect a platform chosen by the caller.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "views_qt_tests";
    static char *argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
}

} // namespace view_test
