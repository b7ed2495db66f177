#include "app/windows/FrameText.h"
#include "app/windows/WindowStyleManager.h"
#include "tests/app/WidgetTestSupport.h"

#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

class WindowStyleManagerTest : public ::testing::Test {
protected:
    WindowStyleManagerTest() { window.resize(meter_window_type::defaultSize(MeterWindowType::levelMeter)); }

    void saveFrame(MeterWindowType type, const QString &text)
    {
        env.store->writeString(WindowStyleManager::frameKey(type), text);
    }
    QString savedFrame(MeterWindowType type) const
    {
        return env.store->readString(WindowStyleManager::frameKey(type)).value_or(QString());
    }

    TestSettings env;
    WindowStyleManager manager{*env.store};
    QWidget window{nullptr, Qt::Window};
};

TEST(FrameTextTest, WritesOriginThenSizeInBraces)
{
    EXPECT_EQ(frame_text::format(QRect(100, -20, 50, 300)), QStringLiteral("{{100, -20}, {50, 300}}"));
}

TEST(FrameTextTest, ReadsWhatItWritesAndToleratesSpacingAndFractions)
{
    const QRect frame(-1280, 44, 221, 119);
    EXPECT_EQ(frame_text::parse(frame_text::format(frame)), frame);
    EXPECT_EQ(frame_text::parse(QStringLiteral(" {{10.4,20.6},{ 50 , 300.5 }} ")), QRect(10, 21, 50, 301));
}

TEST(FrameTextTest, RejectsAnythingElse)
{
    for (const char *text : {"", "garbage", "{{1, 2}, {3}}", "{{1, 2}, {0, 300}}", "{{1, 2}, {50, -3}}",
                             "{1, 2, 3, 4}", "{{1, 2}, {50, 300}} trailing", "{{nan, 2}, {50, 300}}",
                             "{{1e99, 2}, {50, 300}}"})
        EXPECT_FALSE(frame_text::parse(QString::fromLatin1(text))) << text;
}

TEST_F(WindowStyleManagerTest, RegistrationIsIdempotent)
{
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{30, 40}, {60, 320}}"));
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    FrameSaveDelegate *delegate = manager.delegate(&window);
    ASSERT_NE(delegate, nullptr);

    // A second registration neither re-applies a (changed) frame nor adds a delegate.
    window.resize(70, 330);
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{0, 0}, {90, 390}}"));
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    EXPECT_EQ(window.size(), QSize(70, 330));
    EXPECT_EQ(manager.trackedCount(), 1u);
    EXPECT_EQ(manager.delegate(&window), delegate);
    EXPECT_EQ(manager.trackedType(&window), MeterWindowType::levelMeter);
}

TEST_F(WindowStyleManagerTest, RestoresTheSavedFrameAndSetsTheMinimumSize)
{
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{100, 120}, {60, 320}}"));
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    EXPECT_EQ(window.pos(), QPoint(100, 120));
    EXPECT_EQ(window.size(), QSize(60, 320));
    EXPECT_EQ(window.minimumSize(), QSize(32, 100));
    EXPECT_EQ(window.palette().color(QPalette::Window), WindowStyleManager::windowBackground());
}

TEST_F(WindowStyleManagerTest, WithoutASavedFrameTheWindowKeepsItsOwn)
{
    window.setGeometry(15, 25, 80, 200);
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    EXPECT_EQ(window.geometry(), QRect(15, 25, 80, 200));
}

TEST_F(WindowStyleManagerTest, ImplausibleSizesFallBackToTheDefaultAtTheSavedOrigin)
{
    struct Case {
        MeterWindowType type;
        const char *saved;
        QRect expected;
    };
    const Case cases[] = {
        {MeterWindowType::levelMeter, "{{200, 100}, {500, 600}}", {200, 100, 50, 300}},
        {MeterWindowType::levelMeter, "{{200, 100}, {400, 600}}", {200, 100, 400, 600}},
        {MeterWindowType::levelMeter, "{{200, 100}, {80, 1401}}", {200, 100, 50, 300}},
        {MeterWindowType::levelMeter, "{{200, 100}, {80, 1400}}", {200, 100, 80, 1400}},
        {MeterWindowType::numericalMeter, "{{5, 6}, {901, 200}}", {5, 6, 220, 120}},
        {MeterWindowType::numericalMeter, "{{5, 6}, {900, 501}}", {5, 6, 220, 120}},
        {MeterWindowType::numericalMeter, "{{5, 6}, {900, 500}}", {5, 6, 900, 500}},
    };
    for (const Case &c : cases) {
        TestSettings env;
        WindowStyleManager manager(*env.store);
        env.store->writeString(WindowStyleManager::frameKey(c.type), QString::fromLatin1(c.saved));
        QWidget window(nullptr, Qt::Window);
        manager.registerWindow(&window, c.type);
        EXPECT_EQ(QRect(window.pos(), window.size()), c.expected) << c.saved;
    }
}

// A frame below the minimum, or one on no screen (the offscreen screen is 800 x 600 at
// the origin), is not restored: the window keeps its own place at the default size.
TEST_F(WindowStyleManagerTest, FramesOffEveryScreenOrBelowTheMinimumAreReset)
{
    struct Case {
        MeterWindowType type;
        const char *saved;
        QRect expected;
    };
    const Case cases[] = {
        {MeterWindowType::levelMeter, "{{5000, 4000}, {50, 300}}", {15, 25, 50, 300}},
        {MeterWindowType::levelMeter, "{{-400, 100}, {60, 320}}", {15, 25, 50, 300}},
        {MeterWindowType::levelMeter, "{{790, 590}, {60, 320}}", {15, 25, 50, 300}},
        {MeterWindowType::levelMeter, "{{-30, -10}, {60, 320}}", {-30, -10, 60, 320}},
        {MeterWindowType::levelMeter, "{{200, 100}, {10, 40}}", {15, 25, 50, 300}},
        {MeterWindowType::numericalMeter, "{{300, 200}, {250, 99}}", {15, 25, 220, 120}},
        {MeterWindowType::numericalMeter, "{{770, 570}, {250, 150}}", {770, 570, 250, 150}},
    };
    for (const Case &c : cases) {
        TestSettings env;
        WindowStyleManager manager(*env.store);
        manager.setRestoresPosition(true);
        env.store->writeString(WindowStyleManager::frameKey(c.type), QString::fromLatin1(c.saved));
        QWidget window(nullptr, Qt::Window);
        window.setGeometry(15, 25, 70, 200);
        manager.registerWindow(&window, c.type);
        EXPECT_EQ(QRect(window.pos(), window.size()), c.expected) << c.saved;
    }
}

TEST_F(WindowStyleManagerTest, UnderWaylandOnlyTheSizeIsRestored)
{
    manager.setRestoresPosition(false);
    window.move(7, 8);
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{300, 400}, {60, 320}}"));
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    EXPECT_EQ(window.pos(), QPoint(7, 8));
    EXPECT_EQ(window.size(), QSize(60, 320));
}

TEST_F(WindowStyleManagerTest, ReappliesTheFrameAfterTheWindowSettles)
{
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{100, 120}, {60, 320}}"));
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    window.resize(140, 500); // what a first layout pass might do
    QTRY_COMPARE_WITH_TIMEOUT(window.size(), QSize(60, 320), 1000);
}

TEST_F(WindowStyleManagerTest, SavesTheFrameOnceMovingHasStopped)
{
    manager.registerWindow(&window, MeterWindowType::numericalMeter);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QTest::qWait(400); // let the settle-down re-apply pass
    env.store->remove(WindowStyleManager::frameKey(MeterWindowType::numericalMeter));

    window.move(210, 220);
    window.resize(230, 130);
    EXPECT_TRUE(manager.delegate(&window)->isSavePending());
    EXPECT_TRUE(savedFrame(MeterWindowType::numericalMeter).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(savedFrame(MeterWindowType::numericalMeter), QStringLiteral("{{210, 220}, {230, 130}}"),
                              2000);
    EXPECT_EQ(manager.loadFrame(MeterWindowType::numericalMeter), QRect(210, 220, 230, 130));
}

TEST_F(WindowStyleManagerTest, HidingWritesAPendingFrameAtOnce)
{
    manager.registerWindow(&window, MeterWindowType::levelMeter);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QTest::qWait(400);
    window.resize(77, 333);
    window.hide();
    EXPECT_EQ(manager.loadFrame(MeterWindowType::levelMeter)->size(), QSize(77, 333));
}

TEST_F(WindowStyleManagerTest, ACorruptSavedFrameLoadsAsNone)
{
    saveFrame(MeterWindowType::levelMeter, QStringLiteral("{{1, 2}, {oops}}"));
    EXPECT_FALSE(manager.loadFrame(MeterWindowType::levelMeter));
    EXPECT_FALSE(manager.loadFrame(MeterWindowType::numericalMeter));
}

} // namespace
