#pragma once

#include "app/windows/MeterWindowType.h"

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>

#include <chrono>
#include <map>
#include <optional>

class DefaultsStore;
class QWidget;
class WindowStyleManager;

// Watches one meter window and saves its frame once a move or resize has ended:
// window managers report a drag as a stream of events, so the save waits until the
// stream has been quiet for saveDelay. A pending save is written at once when the
// window hides, so closing right after a drag keeps the new place.
class FrameSaveDelegate final : public QObject {
    Q_OBJECT

public:
    static constexpr auto saveDelay = std::chrono::milliseconds(300);

    FrameSaveDelegate(WindowStyleManager &windowManager, MeterWindowType type, QWidget *window);

    MeterWindowType type() const { return type_; }
    bool isSavePending() const { return saveTimer_.isActive(); }
    // Writes the window's current frame now.
    void saveFrame();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    WindowStyleManager &windowManager_; // where frames are saved
    MeterWindowType type_;              // names the saved frame
    QPointer<QWidget> window_;          // the window watched; may be destroyed first
    QTimer saveTimer_;                  // single shot: saveDelay after the last move or resize
};

// Registers the meter windows once each: minimum size, the saved frame (with a sanity
// check against corrupt entries), the dark window background and a FrameSaveDelegate
// that keeps the frame up to date. Main thread only.
class WindowStyleManager final : public QObject {
    Q_OBJECT

public:
    static constexpr QSize minimumWindowSize{32, 100};
    // The saved frame is applied a second time this long after registration, because
    // the first show lets the window system and the layout resize the window again.
    static constexpr auto reapplyDelay = std::chrono::milliseconds(150);
    // sRGB 0.08, 0.08, 0.1: shows around the meter content while a window is resized.
    static QColor windowBackground();
    static QString frameKey(MeterWindowType type);
    // Whether enough of `frame` lies on one of the screens to see and drag the window.
    static bool isOnAScreen(const QRect &frame);

    // `store` must outlive the manager.
    explicit WindowStyleManager(DefaultsStore &store, QObject *parent = nullptr);

    // Styles the window and restores its frame; a window already registered is left alone.
    void registerWindow(QWidget *window, MeterWindowType type);

    bool isTracked(const QWidget *window) const { return trackedWindows_.contains(window); }
    std::optional<MeterWindowType> trackedType(const QWidget *window) const;
    std::size_t trackedCount() const { return trackedWindows_.size(); }
    FrameSaveDelegate *delegate(const QWidget *window) const;

    std::optional<QRect> loadFrame(MeterWindowType type) const;
    void saveFrame(MeterWindowType type, const QRect &frame);

    // Whether saved origins are applied. Off under Wayland, where clients cannot place
    // their windows; there only the size is restored.
    bool restoresPosition() const { return restoresPosition_; }
    void setRestoresPosition(bool restores) { restoresPosition_ = restores; }

    // The frame as it is saved: the window's position (frame corner) and its content size.
    static QRect currentFrame(const QWidget *window);

private:
    void applyFrame(QWidget *window, const QRect &frame) const;

    DefaultsStore &store_;                                       // holds the saved frames
    bool restoresPosition_ = true;                               // apply saved origins
    std::map<const QWidget *, MeterWindowType> trackedWindows_;  // windows registered so far
    std::map<const QWidget *, FrameSaveDelegate *> delegates_;   // owned by this manager (children)
};
