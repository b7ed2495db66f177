#pragma once

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

class QWidget;

// Takes a picture of the screen for a feedback report, as PNG bytes, without blocking
// the event loop:
//  - X11: the whole screen the requesting window is on;
//  - Wayland: the desktop portal's screenshot (org.freedesktop.portal.Screenshot, not
//    interactive); when no portal answers, or it refuses, the program's own windows;
//  - anything else (offscreen, ...): the program's own windows.
// The PNG is encoded on a worker thread. Main thread.
class ScreenshotCapture final : public QObject {
    Q_OBJECT

public:
    enum class Method {
        screen,     // grab the screen through the window system
        portal,     // ask the desktop portal
        ownWindows, // paint our own visible windows side by side
    };
    using Completion = std::function<void(std::optional<QByteArray> png)>;

    // How long the portal may take (it can ask the user first) before our own windows are used.
    static constexpr int portalTimeoutMs = 30000;

    explicit ScreenshotCapture(QObject *parent = nullptr);

    // `done` runs later, on this thread, with the PNG bytes or nullopt when nothing
    // could be captured; not at all when this object is destroyed first. `requester`
    // picks the screen and is left out of a picture of our own windows.
    void erstelleScreenshot(QWidget *requester, Completion done);

    static Method methodFor(const QString &platformName);
    // Every visible top-level window except `except`, side by side on a dark ground;
    // null when there is none.
    static QImage grabOwnWindows(const QWidget *except);

private:
    void captureOwnWindows(QWidget *requester, Completion done);
    // Encodes `image` (or reads the file at `path`) on a worker thread.
    void deliverInBackground(QImage image, QString path, Completion done);
};
