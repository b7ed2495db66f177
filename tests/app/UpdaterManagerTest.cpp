// The updater's decisions: when it checks, when it stays quiet, and what the dialog
// says, against feeds served by a real HTTP server on 127.0.0.1.
#include "app/services/UpdateDialog.h"
#include "app/services/UpdaterManager.h"
#include "tests/app/WidgetTestSupport.h"
#include "tests/support/LocalHttpServer.h"

#include <QDateTime>
#include <QDesktopServices>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

const QString lastCheckKey = QString::fromLatin1(UpdaterManager::lastUpdateCheckKey);

QByteArray feedOffering(const QByteArray &version)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>\n"
           "<item><title>KelvraMeters " + version + " – true-peak history</title>\n"
           "<sparkle:releaseNotesLink>http://kelvra.example/notes.html</sparkle:releaseNotesLink>\n"
           "<enclosure url=\"http://kelvra.example/kelvrameters.deb\" sparkle:version=\"" + version + "\"/></item>\n"
           "</channel></rss>\n";
}

// Catches what the dialog hands to the desktop instead of starting a browser.
class OpenedUrls : public QObject {
    Q_OBJECT

public:
    OpenedUrls() { QDesktopServices::setUrlHandler(QStringLiteral("http"), this, "open"); }
    ~OpenedUrls() override { QDesktopServices::unsetUrlHandler(QStringLiteral("http")); }
    QList<QUrl> urls;

public slots:
    void open(const QUrl &url) { urls.append(url); }
};

class UpdaterManagerTest : public ::testing::Test {
protected:
    enum class Serve { newer, same, serverError };

    UpdaterManagerTest()
    {
        server.server().Get("/appcast.xml", [this](const httplib::Request &, httplib::Response &response) {
            ++requests;
            switch (serve.load()) {
            case Serve::newer: response.set_content(feedOffering("1.3.0").toStdString(), "application/rss+xml"); break;
            case Serve::same: response.set_content(feedOffering("1.2.0").toStdString(), "application/rss+xml"); break;
            case Serve::serverError: response.status = 500; break;
            }
        });
        server.start();
    }

    UpdaterManager::Config config(QUrl feed) const
    {
        UpdaterManager::Config c;
        c.feedUrl = std::move(feed);
        c.installedVersion = QStringLiteral("1.2.0");
        c.transferTimeout = std::chrono::milliseconds(2000);
        return c;
    }
    QUrl feedUrl() const { return QUrl(QString::fromStdString(server.url("/appcast.xml"))); }

    // Runs until the updater's current check has answered.
    static void waitForAnswer(UpdaterManager &updater)
    {
        ASSERT_TRUE(updater.isChecking());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !updater.isChecking(); }, 20000));
    }

    void storeLastCheck(std::chrono::seconds ago)
    {
        env.store->writeString(lastCheckKey,
                               QDateTime::currentDateTimeUtc().addSecs(-ago.count()).toString(Qt::ISODate));
    }

    TestSettings env;
    LocalHttpServer server;
    std::atomic<int> requests{0};
    std::atomic<Serve> serve{Serve::same};
};

TEST_F(UpdaterManagerTest, AutomaticChecksStayQuietUnlessThereIsANewerVersion)
{
    UpdaterManager updater(*env.store, config(feedUrl()));
    updater.runAutomaticCheck();
    waitForAnswer(updater);
    EXPECT_EQ(updater.dialog(), nullptr);
    // The answered check is remembered, so the next launch today does not ask again.
    const QDateTime last = QDateTime::fromString(env.store->readString(lastCheckKey).value_or(QString()), Qt::ISODate);
    ASSERT_TRUE(last.isValid());
    EXPECT_LE(last.secsTo(QDateTime::currentDateTimeUtc()), 60);

    env.store->remove(lastCheckKey);
    serve = Serve::serverError;
    updater.runAutomaticCheck();
    waitForAnswer(updater);
    EXPECT_EQ(updater.dialog(), nullptr);

    env.store->remove(lastCheckKey);
    serve = Serve::newer;
    updater.runAutomaticCheck();
    waitForAnswer(updater);
    ASSERT_NE(updater.dialog(), nullptr);
    EXPECT_TRUE(updater.dialog()->isVisible());
    EXPECT_EQ(updater.dialog()->headline(), QStringLiteral("Version 1.3.0 ist verfügbar (installiert: 1.2.0)."));
    EXPECT_EQ(requests, 3);
}

TEST_F(UpdaterManagerTest, AnUnreachableFeedIsTriedAgainAtTheNextLaunch)
{
    UpdaterManager updater(*env.store, config(QUrl(QStringLiteral("http://127.0.0.1:1/appcast.xml"))));
    updater.runAutomaticCheck();
    waitForAnswer(updater);
    EXPECT_EQ(updater.dialog(), nullptr);
    EXPECT_FALSE(env.store->contains(lastCheckKey));
    EXPECT_TRUE(updater.isAutomaticCheckDue());
}

TEST_F(UpdaterManagerTest, AutomaticChecksHappenAtMostOnceADay)
{
    storeLastCheck(std::chrono::hours(1));
    UpdaterManager updater(*env.store, config(feedUrl()));
    EXPECT_FALSE(updater.isAutomaticCheckDue());
    updater.runAutomaticCheck();
    EXPECT_FALSE(updater.isChecking());
    QTest::qWait(100);
    EXPECT_EQ(requests, 0);

    storeLastCheck(std::chrono::hours(48));
    updater.runAutomaticCheck();
    updater.runAutomaticCheck(); // while one runs, another one is not started
    waitForAnswer(updater);
    EXPECT_EQ(requests, 1);

    // A last check in the future (the clock was set back) does not hold checks off.
    storeLastCheck(-std::chrono::hours(72));
    EXPECT_TRUE(updater.isAutomaticCheckDue());
}

TEST_F(UpdaterManagerTest, WithoutAFeedNothingIsFetchedAndTheMenuItemSaysSo)
{
    UpdaterManager updater(*env.store, config(QUrl()));
    updater.startDelayed();
    EXPECT_TRUE(updater.isStartPending());
    updater.runAutomaticCheck();
    EXPECT_TRUE(updater.isStarted());
    EXPECT_FALSE(updater.isChecking());
    EXPECT_EQ(updater.dialog(), nullptr);

    updater.checkForUpdates();
    EXPECT_FALSE(updater.isChecking());
    ASSERT_NE(updater.dialog(), nullptr);
    EXPECT_EQ(updater.dialog()->headline(), QStringLiteral("Keine Update-Quelle eingerichtet."));
    EXPECT_FALSE(updater.dialog()->downloadButton()->isVisibleTo(updater.dialog()));
    EXPECT_EQ(requests, 0);
}

TEST_F(UpdaterManagerTest, TheMenuItemAlwaysChecksAndAnswersInOneDialog)
{
    storeLastCheck(std::chrono::minutes(5)); // a recent automatic check does not stop it
    UpdaterManager updater(*env.store, config(feedUrl()));

    updater.checkForUpdates();
    UpdateDialog *dialog = updater.dialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->headline(), QStringLiteral("Suche nach Updates …"));
    waitForAnswer(updater);
    EXPECT_EQ(dialog->headline(), QStringLiteral("KelvraMeters ist auf dem neuesten Stand (Version 1.2.0)."));
    EXPECT_FALSE(dialog->downloadButton()->isVisibleTo(dialog));

    serve = Serve::serverError;
    updater.checkForUpdates();
    waitForAnswer(updater);
    EXPECT_EQ(updater.dialog(), dialog); // the same dialog, not a second one
    EXPECT_TRUE(dialog->headline().startsWith(QStringLiteral("Die Prüfung auf Updates ist fehlgeschlagen: ")));
    EXPECT_TRUE(dialog->headline().contains(QStringLiteral("HTTP 500")));
    EXPECT_EQ(requests, 2);
}

TEST_F(UpdaterManagerTest, AMenuCheckDuringAnAutomaticOneGetsItsAnswer)
{
    UpdaterManager updater(*env.store, config(feedUrl()));
    updater.runAutomaticCheck();
    updater.checkForUpdates();
    waitForAnswer(updater);
    ASSERT_NE(updater.dialog(), nullptr);
    EXPECT_EQ(updater.dialog()->headline(), QStringLiteral("KelvraMeters ist auf dem neuesten Stand (Version 1.2.0)."));
    EXPECT_EQ(requests, 1);
}

TEST_F(UpdaterManagerTest, ClosingTheDialogWhileCheckingDismissesAQuietAnswer)
{
    UpdaterManager updater(*env.store, config(feedUrl()));
    updater.checkForUpdates();
    updater.dialog()->reject();
    waitForAnswer(updater);
    EXPECT_FALSE(updater.dialog()->isVisible());

    serve = Serve::newer;
    updater.checkForUpdates();
    updater.dialog()->reject();
    waitForAnswer(updater);
    EXPECT_TRUE(updater.dialog()->isVisible());
}

TEST_F(UpdaterManagerTest, ANewerVersionOffersItsNotesAndDownloadInTheBrowser)
{
    serve = Serve::newer;
    OpenedUrls opened;
    UpdaterManager updater(*env.store, config(feedUrl()));
    updater.checkForUpdates();
    waitForAnswer(updater);
    UpdateDialog &dialog = *updater.dialog();
    EXPECT_EQ(dialog.detail(), QStringLiteral("KelvraMeters 1.3.0 – true-peak history"));
    ASSERT_TRUE(dialog.downloadButton()->isVisibleTo(&dialog));
    EXPECT_EQ(dialog.downloadButton()->text(), QStringLiteral("Herunterladen"));
    EXPECT_TRUE(dialog.releaseNotesLabel()->text().contains(QStringLiteral(">Versionshinweise<")));

    dialog.downloadButton()->click();
    emit dialog.releaseNotesLabel()->linkActivated(QStringLiteral("http://kelvra.example/notes.html"));
    EXPECT_EQ(opened.urls, (QList<QUrl>{QUrl(QStringLiteral("http://kelvra.example/kelvrameters.deb")),
                                        QUrl(QStringLiteral("http://kelvra.example/notes.html"))}));

    // The next answer leaves nothing of the release behind.
    serve = Serve::same;
    updater.checkForUpdates();
    waitForAnswer(updater);
    EXPECT_FALSE(dialog.downloadButton()->isVisibleTo(&dialog));
    EXPECT_FALSE(dialog.releaseNotesLabel()->isVisibleTo(&dialog));
    EXPECT_TRUE(dialog.detail().isEmpty());
}

} // namespace

#include "UpdaterManagerTest.moc"
