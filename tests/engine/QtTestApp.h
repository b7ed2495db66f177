#pragma once

#include <QCoreApplication>

// The engine's QObjects and queued ticks need an application object; GoogleTest owns
// main(), so tests create it on first use and keep it for the whole run.
inline QCoreApplication &qtTestApp()
{
    static int argc = 1;
    static char name[] = "kelvra-engine-test";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}
