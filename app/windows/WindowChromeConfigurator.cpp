#include "app/windows/WindowChromeConfigurator.h"

#include <QPalette>
#include <QTimer>
#include <QWidget>

WindowChromeConfigurator::WindowChromeConfigurator(QWidget *window) : QObject(window), window_(window) {}

bool WindowChromeConfigurator::apply(bool showChrome, const RgbColor &backgroundColor)
{
    if (!window_) return false;
    bool touched = false;
    if (lastShowChrome_ != showChrome) {
        lastShowChrome_ = showChrome;
        updateWindowFlags();
        emit chromeChanged(showChrome);
        touched = true;
    }
    if (lastBackgroundColor_ != backgroundColor) {
        lastBackgroundColor_ = backgroundColor;
        QPalette palette = window_->palette();
        palette.setColor(QPalette::Window, QColor::fromRgbF(static_cast<float>(backgroundColor.red),
                                                           static_cast<float>(backgroundColor.green),
                                                           static_cast<float>(backgroundColor.blue)));
        window_->setPalette(palette);
        ++windowChangeCount_;
        touched = true;
    }
    if (touched) window_->update();
    return touched;
}

void WindowChromeConfigurator::applyLater(bool showChrome, const RgbColor &backgroundColor)
{
    QTimer::singleShot(0, this, [this, showChrome, backgroundColor] { apply(showChrome, backgroundColor); });
}

bool WindowChromeConfigurator::setStaysOnTop(bool staysOnTop)
{
    if (staysOnTop_ == staysOnTop) return false;
    staysOnTop_ = staysOnTop;
    updateWindowFlags();
    return true;
}

void WindowChromeConfigurator::updateWindowFlags()
{
    Qt::WindowFlags flags = window_->windowFlags();
    flags.setFlag(Qt::FramelessWindowHint, !showsChrome());
    flags.setFlag(Qt::WindowStaysOnTopHint, staysOnTop_);
    if (flags == window_->windowFlags()) return;

    // New flags hide the window; put it back where and as it was.
    const bool wasVisible = window_->isVisible();
    const QPoint position = window_->pos();
    const QSize size = window_->size();
    window_->setWindowFlags(flags);
    window_->move(position);
    window_->resize(size);
    if (wasVisible) window_->show();
    ++windowChangeCount_;
}
