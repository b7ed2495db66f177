#include "app/services/ScreenshotCapture.h"
#include "engine/CrossThreadCall.h"

#include <QApplication>
#include <QBuffer>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QPainter>
#include <QPixmap>
#include <QRandomGenerator>
#include <QScreen>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <QWidget>

namespace {

constexpr auto portalService = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto requestInterface = "org.freedesktop.portal.Request";

QByteArray pngBytes(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) return {};
    return png;
}

// The file the portal wrote: passed on as it is when it is a PNG already.
QByteArray pngFromFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray bytes = file.readAll();
    if (bytes.startsWith("\x89PNG\r\n\x1a\n")) return bytes;
    return pngBytes(QImage::fromData(bytes));
}

} // namespace

// One Screenshot call to the desktop portal: the answer comes as the Response signal
// of a request object whose path is derived from our bus name and a token, so the
// signal is subscribed before the call is made. Deletes itself after reporting.
class PortalScreenshotRequest final : public QObject {
    Q_OBJECT

public:
    // `done` gets the path of the picture, or an empty string on any failure.
    using Done = std::function<void(const QString &path)>;

    PortalScreenshotRequest(Done done, QObject *parent) : QObject(parent), done_(std::move(done))
    {
        timeout_.setSingleShot(true);
        timeout_.setInterval(ScreenshotCapture::portalTimeoutMs);
        connect(&timeout_, &QTimer::timeout, this, [this] { finish({}); });
    }

    void start()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            QTimer::singleShot(0, this, [this] { finish({}); });
            return;
        }
        const QString token = QStringLiteral("kelvra%1").arg(QRandomGenerator::global()->generate());
        QString sender = bus.baseService().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        listenOn(QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token));

        QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(portalService), QLatin1String(portalPath),
                                                           QStringLiteral("org.freedesktop.portal.Screenshot"),
                                                           QStringLiteral("Screenshot"));
        call << QString() << QVariantMap{{QStringLiteral("handle_token"), token},
                                         {QStringLiteral("interactive"), false}};
        auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            const QDBusPendingReply<QDBusObjectPath> reply = *w;
            if (reply.isError()) {
                finish({});
                return;
            }
            // Older portals choose the request path themselves.
            if (reply.value().path() != requestPath_) listenOn(reply.value().path());
        });
        timeout_.start();
    }

private slots:
    void onResponse(uint response, const QVariantMap &results)
    {
        const QUrl uri(results.value(QStringLiteral("uri")).toString());
        finish(response == 0 && uri.isLocalFile() ? uri.toLocalFile() : QString());
    }

private:
    void listenOn(const QString &path)
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!requestPath_.isEmpty())
            bus.disconnect(QLatin1String(portalService), requestPath_, QLatin1String(requestInterface),
                           QStringLiteral("Response"), this, SLOT(onResponse(uint, QVariantMap)));
        requestPath_ = path;
        bus.connect(QLatin1String(portalService), path, QLatin1String(requestInterface), QStringLiteral("Response"),
                    this, SLOT(onResponse(uint, QVariantMap)));
    }

    void finish(const QString &path)
    {
        if (finished_) return;
        finished_ = true;
        timeout_.stop();
        if (!requestPath_.isEmpty())
            QDBusConnection::sessionBus().disconnect(QLatin1String(portalService), requestPath_,
                                                     QLatin1String(requestInterface), QStringLiteral("Response"),
                                                     this, SLOT(onResponse(uint, QVariantMap)));
        deleteLater();
        done_(path);
    }

    Done done_;            // told once
    QString requestPath_;  // request object whose Response we wait for
    QTimer timeout_;       // single shot: give up on the portal
    bool finished_ = false;
};

ScreenshotCapture::ScreenshotCapture(QObject *parent) : QObject(parent) {}

ScreenshotCapture::Method ScreenshotCapture::methodFor(const QString &platformName)
{
    if (platformName == QLatin1String("xcb")) return Method::screen;
    if (platformName.startsWith(QLatin1String("wayland"))) return Method::portal;
    return Method::ownWindows;
}

void ScreenshotCapture::erstelleScreenshot(QWidget *requester, Completion done)
{
    QPointer<QWidget> window(requester);
    switch (methodFor(QGuiApplication::platformName())) {
    case Method::screen:
        // After the current event, so the toggle that asked has been drawn.
        QTimer::singleShot(0, this, [this, window, done = std::move(done)]() mutable {
            QScreen *screen = window ? window->screen() : QGuiApplication::primaryScreen();
            const QImage image = screen ? screen->grabWindow(0).toImage() : QImage();
            if (image.isNull())
                captureOwnWindows(window, std::move(done));
            else
                deliverInBackground(image, {}, std::move(done));
        });
        break;
    case Method::portal: {
        auto *request = new PortalScreenshotRequest(
            [this, window, done = std::move(done)](const QString &path) mutable {
                if (path.isEmpty())
                    captureOwnWindows(window, std::move(done));
                else
                    deliverInBackground({}, path, std::move(done));
            },
            this);
        request->start();
        break;
    }
    case Method::ownWindows:
        QTimer::singleShot(0, this, [this, window, done = std::move(done)]() mutable {
            captureOwnWindows(window, std::move(done));
        });
        break;
    }
}

void ScreenshotCapture::captureOwnWindows(QWidget *requester, Completion done)
{
    const QImage image = grabOwnWindows(requester);
    if (image.isNull()) {
        done(std::nullopt);
        return;
    }
    deliverInBackground(image, {}, std::move(done));
}

QImage ScreenshotCapture::grabOwnWindows(const QWidget *except)
{
    constexpr int gap = 16; // px between windows and around them
    std::vector<QImage> shots;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        const Qt::WindowType type = widget->windowType();
        if (widget == except || !widget->isVisible() || widget->isMinimized()) continue;
        if (type != Qt::Window && type != Qt::Dialog && type != Qt::Tool) continue;
        QImage shot = widget->grab().toImage();
        if (shot.isNull()) continue;
        shot.setDevicePixelRatio(1.0); // laid out in device pixels
        shots.push_back(std::move(shot));
    }
    if (shots.empty()) return {};

    QSize size(gap, 0);
    for (const QImage &shot : shots) {
        size.rwidth() += shot.width() + gap;
        size.rheight() = std::max(size.height(), shot.height() + 2 * gap);
    }
    QImage canvas(size, QImage::Format_RGB32);
    canvas.fill(QColor(0x20, 0x20, 0x22));
    QPainter painter(&canvas);
    int x = gap;
    for (const QImage &shot : shots) {
        painter.drawImage(x, gap, shot);
        x += shot.width() + gap;
    }
    return canvas;
}

void ScreenshotCapture::deliverInBackground(QImage image, QString path, Completion done)
{
    // The relay lives on this thread until the worker's result has been handed to it;
    // only then is `done` called, and only while this object still exists.
    auto *relay = new QObject;
    QPointer<ScreenshotCapture> self(this);
    QThreadPool::globalInstance()->start(
        [relay, self, image = std::move(image), path = std::move(path), done = std::move(done)]() mutable {
            QByteArray png = path.isEmpty() ? pngBytes(image) : pngFromFile(path);
            crossThreadCall(relay, [relay, self, png = std::move(png), done = std::move(done)] {
                relay->deleteLater();
                if (!self) return;
                if (png.isEmpty())
                    done(std::nullopt);
                else
                    done(png);
            });
        });
}

#include "ScreenshotCapture.moc"
