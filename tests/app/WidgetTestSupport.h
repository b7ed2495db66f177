#pragma once

#include "settings/AppSettings.h"

#include <QApplication>

#include <memory>

// The QApplication WidgetTestMain.cpp made for the whole run (QT_QPA_PLATFORM=offscreen
// comes from CTest).
inline QApplication &widgetTestApp() { return *qApp; }

// Settings on a fresh in-memory store: tests never touch the user's file.
struct TestSettings {
    TestSettings() { widgetTestApp(); }

    std::shared_ptr<MemoryDefaultsStore> store = std::make_shared<MemoryDefaultsStore>();
    AppSettings settings{store};
};
