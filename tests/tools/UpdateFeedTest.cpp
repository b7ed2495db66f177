// The update check: appcast reading and version order as plain functions, then the
// checker against a real HTTP server on 127.0.0.1.
#include "tools/update/Appcast.h"
#include "tools/update/UpdateChecker.h"
#include "tools/update/UpdateFeed.h"
#include "tools/update/VersionCompare.h"

#include "tests/engine/QtTestSupport.h"
#include "tests/support/LocalHttpServer.h"

#include <QHostAddress>
#include <QTcpServer>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <thread>

namespace {

using Outcome = UpdateCheckResult::Outcome;
using Failure = UpdateCheckResult::Failure;

QByteArray feed(const QByteArray &items)
{
    return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel>
<title>KelvraMeters</title>
<link>https://kelvra.example/</link>
)" + items + "</channel>\n</rss>\n";
}

// An item in the attribute style: the versions sit on the enclosure.
QByteArray attributeItem(const QByteArray &version, const QByteArray &extra = {})
{
    return "<item><title>KelvraMeters " + version + "</title>" + extra +
           "<enclosure url=\"https://kelvra.example/kelvrameters-" + version +
           ".deb\" sparkle:version=\"" + version + "\" length=\"1\" type=\"application/octet-stream\"/></item>\n";
}

AppcastItem newestOf(const QByteArray &xml, const QUrl &base = {})
{
    const AppcastReadResult result = readAppcast(xml, base);
    EXPECT_TRUE(result.newest.has_value()) << result.error.toStdString();
    EXPECT_TRUE(result.error.isEmpty());
    return result.newest.value_or(AppcastItem{});
}

QString errorOf(const QByteArray &xml)
{
    const AppcastReadResult result = readAppcast(xml);
    EXPECT_FALSE(result.newest.has_value());
    return result.error;
}

TEST(AppcastTest, AttributeStylePrefersTheShortVersionAndTheReleaseNotesLink)
{
    const AppcastItem item = newestOf(feed(R"(
<item>
  <title>KelvraMeters 1.4 – loudness history</title>
  <link>https://kelvra.example/</link>
  <sparkle:releaseNotesLink>
    https://kelvra.example/notes/1.4.html
  </sparkle:releaseNotesLink>
  <description><![CDATA[<ul><li>New</li></ul>]]></description>
  <enclosure url="https://kelvra.example/Kelvra Meters 1.4.deb" sparkle:version="412"
             sparkle:shortVersionString="1.4.0" length="1623481" type="application/octet-stream"/>
</item>)"));
    EXPECT_EQ(item.version, QStringLiteral("1.4.0")); // not the build number 412
    EXPECT_EQ(item.title, QStringLiteral("KelvraMeters 1.4 – loudness history"));
    EXPECT_EQ(item.releaseNotesUrl, QUrl(QStringLiteral("https://kelvra.example/notes/1.4.html")));
    EXPECT_EQ(item.downloadUrl.toString(QUrl::FullyEncoded),
              QStringLiteral("https://kelvra.example/Kelvra%20Meters%201.4.deb"));
}

TEST(AppcastTest, ElementStyleReadsVersionsInsideTheItemAndFallsBackToLink)
{
    const AppcastItem item = newestOf(feed(R"(
<item>
  <title>Version 2.0</title>
  <link>https://kelvra.example/2.0</link>
  <sparkle:version>2.0.1</sparkle:version>
  <pubDate>Sat, 26 Jul 2025 15:20:11 +0000</pubDate>
  <enclosure url="https://kelvra.example/2.0.tar.gz" length="107758" type="application/octet-stream"/>
</item>)"));
    EXPECT_EQ(item.version, QStringLiteral("2.0.1"));
    EXPECT_EQ(item.releaseNotesUrl, QUrl(QStringLiteral("https://kelvra.example/2.0")));
    EXPECT_EQ(item.downloadUrl, QUrl(QStringLiteral("https://kelvra.example/2.0.tar.gz")));
}

TEST(AppcastTest, PicksTheNewestItemWhateverTheOrderAndLeavesBetasOut)
{
    const AppcastItem item = newestOf(feed(attributeItem("1.9.3") + attributeItem("1.10.0") + attributeItem("1.2") +
                                           attributeItem("3.0.0", "<sparkle:channel>beta</sparkle:channel>") +
                                           "<item><title>no version</title></item>\n"));
    EXPECT_EQ(item.version, QStringLiteral("1.10.0"));
    EXPECT_EQ(item.title, QStringLiteral("KelvraMeters 1.10.0"));
    EXPECT_EQ(item.downloadUrl, QUrl(QStringLiteral("https://kelvra.example/kelvrameters-1.10.0.deb")));
}

TEST(AppcastTest, LinksResolveAgainstTheFeedAndOnlyWebLinksForThisSystemRemain)
{
    const AppcastItem item = newestOf(feed(R"(
<item>
  <sparkle:version>1.5</sparkle:version>
  <sparkle:releaseNotesLink>javascript:alert(1)</sparkle:releaseNotesLink>
  <enclosure url="downloads/kelvrameters.dmg" sparkle:os="macos"/>
  <enclosure url="downloads/kelvrameters.deb" sparkle:os="linux"/>
</item>)"),
                                      QUrl(QStringLiteral("https://kelvra.example/feeds/appcast.xml")));
    EXPECT_TRUE(item.releaseNotesUrl.isEmpty());
    EXPECT_EQ(item.downloadUrl, QUrl(QStringLiteral("https://kelvra.example/feeds/downloads/kelvrameters.deb")));
}

TEST(AppcastTest, UnusableFeedsAreReadableErrors)
{
    // The reader's position points at the broken tag.
    const QString broken = errorOf("<?xml version=\"1.0\"?>\n<rss version=\"2.0\">\n<channel>\n<item></channel>\n</rss>");
    EXPECT_TRUE(broken.contains(QStringLiteral("kein gültiges XML (Zeile 4, Spalte"))) << broken.toStdString();

    EXPECT_TRUE(errorOf("<html><body>Login</body></html>").contains(QStringLiteral("kein RSS-Feed (Wurzelelement <html>)")));
    EXPECT_TRUE(errorOf("  \n").contains(QStringLiteral("leer")));
    // Well-formed, but nothing a user of the default channel could install.
    EXPECT_TRUE(errorOf(feed("")).contains(QStringLiteral("keine Version")));
    EXPECT_TRUE(errorOf(feed(attributeItem("9.0", "<sparkle:channel>beta</sparkle:channel>")))
                    .contains(QStringLiteral("keine Version")));
    // An undeclared prefix is malformed XML, not a version-less feed.
    EXPECT_TRUE(errorOf("<rss><channel><item><sparkle:version>1</sparkle:version></item></channel></rss>")
                    .contains(QStringLiteral("kein gültiges XML")));
}

TEST(VersionCompareTest, OrdersReleasesNumericallyPartByPart)
{
    struct Case {
        const char *a;
        const char *b;
        int expected; // sign of compareVersions(a, b)
    };
    const Case cases[] = {
        {"1.10.0", "1.9.3", 1},        {"1.2", "1.2.0", 0},           {"1.2.0", "1.2.1", -1},
        {"2", "1.99.99", 1},           {"0.1.0", "0.1.0", 0},         {"v1.3", "1.3.0", 0},
        {"1.3+build7", "1.3", 0},      {"1.2.0-beta2", "1.2.0", -1},  {"1.2.0-beta10", "1.2.0-beta2", 1},
        {"1.2.0-rc1", "1.2.0-beta3", 1}, {"1.2.0b", "1.1.9", 1},      {"1.2.0-RC1", "1.2.0-rc1", 0},
        {"10", "9", 1},                {"", "0.0.1", -1},             {"99999999999999999999", "1", 1},
    };
    const auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (const Case &c : cases) {
        const QString a = QString::fromLatin1(c.a);
        const QString b = QString::fromLatin1(c.b);
        EXPECT_EQ(sign(compareVersions(a, b)), c.expected) << c.a << " vs " << c.b;
        EXPECT_EQ(sign(compareVersions(b, a)), -c.expected) << c.b << " vs " << c.a;
    }
}

TEST(UpdateFeedTest, TheEnvironmentOverridesTheBuiltInFeed)
{
    const QByteArray saved = qgetenv(update_feed::environmentVariable);
    const bool wasSet = qEnvironmentVariableIsSet(update_feed::environmentVariable);

    qunsetenv(update_feed::environmentVariable);
    EXPECT_EQ(update_feed::configuredUrl().toString(), update_feed::builtInUrl());
    qputenv(update_feed::environmentVariable, " https://kelvra.example/appcast.xml ");
    EXPECT_EQ(update_feed::configuredUrl(), QUrl(QStringLiteral("https://kelvra.example/appcast.xml")));
    qputenv(update_feed::environmentVariable, "/srv/appcast.xml");
    EXPECT_EQ(update_feed::configuredUrl(), QUrl::fromLocalFile(QStringLiteral("/srv/appcast.xml")));
    qputenv(update_feed::environmentVariable, ""); // set but empty: turned off
    EXPECT_TRUE(update_feed::configuredUrl().isEmpty());

    if (wasSet)
        qputenv(update_feed::environmentVariable, saved);
    else
        qunsetenv(update_feed::environmentVariable);
    EXPECT_FALSE(update_feed::runningVersion().isEmpty());
}

// The checker against feeds served by a real server.
class UpdateCheckerTest : public ::testing::Test {
protected:
    UpdateCheckerTest()
    {
        testApplication();
        auto serve = [this](const char *path, QByteArray body) {
            server.server().Get(path, [body](const httplib::Request &, httplib::Response &response) {
                response.set_content(body.toStdString(), "application/rss+xml");
            });
        };
        const QByteArray notes = "<sparkle:releaseNotesLink>https://kelvra.example/notes/1.3.0.html"
                                 "</sparkle:releaseNotesLink>";
        serve("/newer.xml", feed(attributeItem("1.3.0", notes) + attributeItem("1.2.0")));
        serve("/same.xml", feed(attributeItem("1.2.0")));
        serve("/older.xml", feed(attributeItem("1.1.0")));
        serve("/1.9.xml", feed(attributeItem("1.9.0")));
        serve("/malformed.xml", "<rss version=\"2.0\"><channel><item>\n<title>oops</item></channel></rss>");
        serve("/releases/appcast.xml", feed(R"(<item><sparkle:version>1.4</sparkle:version>
                                               <enclosure url="kelvrameters-1.4.deb"/></item>)"));
        server.server().Get("/moved.xml", [](const httplib::Request &, httplib::Response &response) {
            response.set_redirect("/releases/appcast.xml");
        });
        server.server().Get("/error.xml", [](const httplib::Request &, httplib::Response &response) {
            response.status = 500;
            response.set_content("boom", "text/plain");
        });
        server.server().Get("/stalled.xml", [this](const httplib::Request &, httplib::Response &response) {
            server.holdUntilShutdown();
            response.set_content("late", "text/plain");
        });
        server.start();
    }

    QUrl url(const char *path) const { return QUrl(QString::fromStdString(server.url(path))); }

    // Runs one check to its answer; counts every finished() it sees meanwhile.
    UpdateCheckResult check(const QUrl &feedUrl, const QString &installed = QStringLiteral("1.2.0"))
    {
        UpdateChecker checker;
        checker.setTransferTimeout(std::chrono::milliseconds(500));
        int answers = 0;
        UpdateCheckResult result;
        QObject::connect(&checker, &UpdateChecker::finished, [&](const UpdateCheckResult &r) {
            ++answers;
            result = r;
        });
        EXPECT_TRUE(checker.check(feedUrl, installed));
        EXPECT_TRUE(checker.isChecking());
        EXPECT_TRUE(waitUntil([&] { return answers > 0; }, std::chrono::seconds(20)));
        runEventsFor(std::chrono::milliseconds(20));
        EXPECT_EQ(answers, 1);
        EXPECT_FALSE(checker.isChecking());
        EXPECT_EQ(result.installedVersion, installed);
        return result;
    }

    LocalHttpServer server;
};

TEST_F(UpdateCheckerTest, ComparesTheFeedsNewestReleaseWithTheInstalledOne)
{
    const UpdateCheckResult newer = check(url("/newer.xml"));
    EXPECT_EQ(newer.outcome, Outcome::updateAvailable);
    EXPECT_EQ(newer.failure, Failure::none);
    EXPECT_EQ(newer.httpStatus, 200);
    EXPECT_EQ(newer.newest.version, QStringLiteral("1.3.0"));
    EXPECT_EQ(newer.newest.title, QStringLiteral("KelvraMeters 1.3.0"));
    EXPECT_EQ(newer.newest.releaseNotesUrl, QUrl(QStringLiteral("https://kelvra.example/notes/1.3.0.html")));
    EXPECT_EQ(newer.newest.downloadUrl, QUrl(QStringLiteral("https://kelvra.example/kelvrameters-1.3.0.deb")));

    EXPECT_EQ(check(url("/same.xml")).outcome, Outcome::upToDate);
    const UpdateCheckResult older = check(url("/older.xml"));
    EXPECT_EQ(older.outcome, Outcome::upToDate);
    EXPECT_EQ(older.newest.version, QStringLiteral("1.1.0"));
    // Text order would call 1.9.0 newer than 1.10.0.
    EXPECT_EQ(check(url("/1.9.xml"), QStringLiteral("1.10.0")).outcome, Outcome::upToDate);
    EXPECT_EQ(check(url("/1.9.xml"), QStringLiteral("1.8.12")).outcome, Outcome::updateAvailable);
}

TEST_F(UpdateCheckerTest, FollowsRedirectsAndResolvesLinksAgainstTheFinalAddress)
{
    const UpdateCheckResult result = check(url("/moved.xml"));
    EXPECT_EQ(result.outcome, Outcome::updateAvailable);
    EXPECT_EQ(result.newest.downloadUrl, url("/releases/kelvrameters-1.4.deb"));
}

TEST_F(UpdateCheckerTest, FailuresSayWhatWentWrong)
{
    for (const char *path : {"/error.xml", "/missing.xml"}) {
        const UpdateCheckResult result = check(url(path));
        EXPECT_EQ(result.outcome, Outcome::failed) << path;
        EXPECT_EQ(result.failure, Failure::http) << path;
        const int status = path == std::string("/error.xml") ? 500 : 404;
        EXPECT_EQ(result.httpStatus, status);
        EXPECT_TRUE(result.error.startsWith(QStringLiteral("Der Server antwortete mit HTTP %1").arg(status)))
            << result.error.toStdString();
    }

    const UpdateCheckResult malformed = check(url("/malformed.xml"));
    EXPECT_EQ(malformed.failure, Failure::feed);
    EXPECT_TRUE(malformed.error.contains(QStringLiteral("Zeile 2"))) << malformed.error.toStdString();

    // A port nobody listens on any more.
    QTcpServer gone;
    ASSERT_TRUE(gone.listen(QHostAddress::LocalHost));
    const QUrl refused(QStringLiteral("http://127.0.0.1:%1/appcast.xml").arg(gone.serverPort()));
    gone.close();
    const UpdateCheckResult unreachable = check(refused);
    EXPECT_EQ(unreachable.failure, Failure::network);
    EXPECT_EQ(unreachable.httpStatus, 0);
    EXPECT_TRUE(unreachable.error.startsWith(QStringLiteral("Keine Verbindung zum Server ("))) << unreachable.error.toStdString();

    EXPECT_EQ(check(QUrl(QStringLiteral("appcast.xml"))).failure, Failure::network); // not an address
}

TEST_F(UpdateCheckerTest, AStalledServerTimesOutAndOneCheckRunsAtATime)
{
    UpdateChecker checker;
    checker.setTransferTimeout(std::chrono::milliseconds(300));
    std::vector<UpdateCheckResult> answers;
    QObject::connect(&checker, &UpdateChecker::finished, [&](const UpdateCheckResult &r) { answers.push_back(r); });
    ASSERT_TRUE(checker.check(url("/stalled.xml"), QStringLiteral("1.2.0")));
    EXPECT_FALSE(checker.check(url("/newer.xml"), QStringLiteral("1.2.0")));
    ASSERT_TRUE(waitUntil([&] { return !answers.empty(); }, std::chrono::seconds(20)));
    runEventsFor(std::chrono::milliseconds(50));
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].failure, Failure::timeout);
    EXPECT_TRUE(answers[0].error.contains(QStringLiteral("0.3 s"))) << answers[0].error.toStdString();

    // The checker is free again afterwards.
    ASSERT_TRUE(checker.check(url("/newer.xml"), QStringLiteral("1.2.0")));
    ASSERT_TRUE(waitUntil([&] { return answers.size() == 2; }, std::chrono::seconds(20)));
    EXPECT_EQ(answers[1].outcome, Outcome::updateAvailable);
}

TEST_F(UpdateCheckerTest, DestroyingTheCheckerMidRequestIsSafe)
{
    auto checker = std::make_unique<UpdateChecker>();
    bool answered = false;
    QObject::connect(checker.get(), &UpdateChecker::finished, [&] { answered = true; });
    ASSERT_TRUE(checker->check(url("/stalled.xml"), QStringLiteral("1.2.0")));
    runEventsFor(std::chrono::milliseconds(50));
    checker.reset();
    runEventsFor(std::chrono::milliseconds(50));
    EXPECT_FALSE(answered);
}

} // namespace
