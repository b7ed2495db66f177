#include "app/windows/WindowStyleManager.h"

#include "app/windows/FrameText.h"
#include "settings/DefaultsStore.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QScreen>
#include <QWidget>

#include <algorithm>

FrameSaveDelegate::FrameSaveDelegate(WindowStyleManager &windowManager, MeterWindowType type, QWidget *window)
    : QObject(&windowManager), windowManager_(windowManager), type_(type), window_(window)
{
    saveTimer_.setSingleShot(true);
    saveTimer_.setInterval(saveDelay);
    connect(&saveTimer_, &QTimer::timeout, this, &FrameSaveDelegate::saveFrame);
    window->installEventFilter(this);
}

void FrameSaveDelegate::saveFrame()
{
    saveTimer_.stop();
    if (window_) windowManager_.saveFrame(type_, WindowStyleManager::currentFrame(window_));
}

bool FrameSaveDelegate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == window_) {
        switch (event->type()) {
        case QEvent::Move:
        case QEvent::Resize:
            // Only a visible window has a frame worth keeping; hidden ones get moved
            // and resized by Qt while they are set up.
            if (window_->isVisible()) saveTimer_.start();
            break;
        case QEvent::Hide:
            if (saveTimer_.isActive()) saveFrame();
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

QColor WindowStyleManager::windowBackground() { return QColor::fromRgbF(0.08f, 0.08f, 0.1f, 1.0f); }

QString WindowStyleManager::frameKey(MeterWindowType type)
{
    return QStringLiteral("KelvraMeters.windowFrame.") + meter_window_type::rawValue(type);
}

WindowStyleManager::WindowStyleManager(DefaultsStore &store, QObject *parent)
    : QObject(parent), store_(store),
      restoresPosition_(!QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
{
}

void WindowStyleManager::registerWindow(QWidget *window, MeterWindowType type)
{
    if (!window || isTracked(window)) return;
    trackedWindows_[window] = type;
    connect(window, &QObject::destroyed, this, [this, window] {
        trackedWindows_.erase(window);
        delegates_.erase(window);
    });

    window->setMinimumSize(minimumWindowSize);

    if (std::optional<QRect> saved = loadFrame(type)) {
        // A frame smaller than the minimum, or one no screen shows (a monitor since
        // unplugged, a corrupt entry), would restore a meter nobody can use or find:
        // the window keeps the place and size it has without a saved frame.
        const bool tooSmall =
            saved->width() < minimumWindowSize.width() || saved->height() < minimumWindowSize.height();
        if (tooSmall || (restoresPosition_ && !isOnAScreen(*saved)))
            saved = QRect(window->pos(), meter_window_type::defaultSize(type));
        applyFrame(window, *saved);
    }

    // A frame far larger than any sensible meter comes from a corrupt or stale entry:
    // keep where the window is, give it its default size again.
    const QSize limit = meter_window_type::sanityLimit(type);
    if (window->width() > limit.width() || window->height() > limit.height())
        window->resize(meter_window_type::defaultSize(type));

    const QRect frame = currentFrame(window);
    QTimer::singleShot(reapplyDelay, this, [this, weakWindow = QPointer<QWidget>(window), frame] {
        if (weakWindow) applyFrame(weakWindow, frame);
    });

    delegates_[window] = new FrameSaveDelegate(*this, type, window);

    QPalette palette = window->palette();
    palette.setColor(QPalette::Window, windowBackground());
    window->setPalette(palette);
}

std::optional<MeterWindowType> WindowStyleManager::trackedType(const QWidget *window) const
{
    const auto it = trackedWindows_.find(window);
    if (it == trackedWindows_.end()) return std::nullopt;
    return it->second;
}

FrameSaveDelegate *WindowStyleManager::delegate(const QWidget *window) const
{
    const auto it = delegates_.find(window);
    return it == delegates_.end() ? nullptr : it->second;
}

std::optional<QRect> WindowStyleManager::loadFrame(MeterWindowType type) const
{
    const std::optional<QString> text = store_.readString(frameKey(type));
    if (!text) return std::nullopt;
    return frame_text::parse(*text);
}

void WindowStyleManager::saveFrame(MeterWindowType type, const QRect &frame)
{
    store_.writeString(frameKey(type), frame_text::format(frame));
}

bool WindowStyleManager::isOnAScreen(const QRect &frame)
{
    // Enough of it must show to grab and drag it back: a strip along the top.
    constexpr int grabbable = 24;
    const QList<QScreen *> screens = QGuiApplication::screens();
    return std::any_of(screens.begin(), screens.end(), [&](const QScreen *screen) {
        const QRect visible = screen->geometry().intersected(frame);
        return visible.width() >= std::min(grabbable, frame.width()) && visible.height() >= std::min(grabbable, frame.height());
    });
}

QRect WindowStyleManager::currentFrame(const QWidget *window) { return {window->pos(), window->size()}; }

void WindowStyleManager::applyFrame(QWidget *window, const QRect &frame) const
{
    if (restoresPosition_) window->move(frame.topLeft());
    window->resize(frame.size());
}
