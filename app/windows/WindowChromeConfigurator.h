#pragma once

#include "settings/Color.h"

#include <QObject>
#include <QPointer>

#include <optional>

class QWidget;

// Applies the window chrome setting and the background colour to one meter window,
// touching the window only when a value differs from the one applied last: changing
// window flags makes the window system unmap and remap the window, which flickers.
//
// Chrome on: an ordinary decorated window. Chrome off: frameless, the content drawn
// with rounded corners on a translucent window. Either way the meter window itself
// moves the window when its background is dragged.
class WindowChromeConfigurator final : public QObject {
    Q_OBJECT

public:
    static constexpr double cornerRadius = 15.0; // points, of the frameless window's content

    explicit WindowChromeConfigurator(QWidget *window);

    // Applies at once; returns whether the window was changed.
    bool apply(bool showChrome, const RgbColor &backgroundColor);
    // Applies from the event loop, after whatever triggered it has finished.
    void applyLater(bool showChrome, const RgbColor &backgroundColor);

    bool setStaysOnTop(bool staysOnTop);
    bool staysOnTop() const { return staysOnTop_; }

    // The last applied chrome choice; true before the first apply.
    bool showsChrome() const { return lastShowChrome_.value_or(true); }
    std::optional<bool> lastShowChrome() const { return lastShowChrome_; }
    std::optional<RgbColor> lastBackgroundColor() const { return lastBackgroundColor_; }
    // How often the window's flags or palette were actually changed.
    int windowChangeCount() const { return windowChangeCount_; }

signals:
    void chromeChanged(bool showChrome);

private:
    void updateWindowFlags();

    QPointer<QWidget> window_;                 // the window styled; may be destroyed first
    std::optional<bool> lastShowChrome_;       // chrome state last applied
    std::optional<RgbColor> lastBackgroundColor_; // background last applied
    bool staysOnTop_ = false;                  // keep the window above others
    int windowChangeCount_ = 0;                // flag or palette changes made
};
