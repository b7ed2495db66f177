#include "app/windows/WindowChromeConfigurator.h"
#include "tests/app/WidgetTestSupport.h"

#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

constexpr RgbColor black{0.0, 0.0, 0.0, 1.0};
constexpr RgbColor navy{0.0, 0.0, 0.3, 1.0};

class ChromeTest : public ::testing::Test {
protected:
    ChromeTest()
    {
        widgetTestApp();
        window.setGeometry(40, 50, 60, 300);
    }

    QWidget window{nullptr, Qt::Window};
    WindowChromeConfigurator chrome{&window};
};

TEST_F(ChromeTest, ChromeOffMakesTheWindowFramelessAndOnRestoresIt)
{
    chrome.apply(true, black);
    const Qt::WindowFlags decorated = window.windowFlags();
    EXPECT_FALSE(decorated.testFlag(Qt::FramelessWindowHint));

    chrome.apply(false, black);
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_FALSE(chrome.showsChrome());

    chrome.apply(true, black);
    EXPECT_EQ(window.windowFlags(), decorated);
    EXPECT_EQ(window.geometry(), QRect(40, 50, 60, 300));
}

TEST_F(ChromeTest, TheSameValuesAgainTouchNothing)
{
    EXPECT_TRUE(chrome.apply(false, navy));
    const int changes = chrome.windowChangeCount();
    const Qt::WindowFlags flags = window.windowFlags();
    EXPECT_FALSE(chrome.apply(false, navy));
    EXPECT_EQ(chrome.windowChangeCount(), changes);
    EXPECT_EQ(window.windowFlags(), flags);
}

TEST_F(ChromeTest, OnlyTheChangedValueIsApplied)
{
    chrome.apply(true, black);
    const int changes = chrome.windowChangeCount();
    const Qt::WindowFlags flags = window.windowFlags();
    chrome.apply(true, navy);
    EXPECT_EQ(chrome.windowChangeCount(), changes + 1); // the palette only
    EXPECT_EQ(window.windowFlags(), flags);
    EXPECT_EQ(window.palette().color(QPalette::Window), QColor::fromRgbF(0.0f, 0.0f, 0.3f));
}

TEST_F(ChromeTest, AVisibleWindowStaysVisibleAndInPlaceAcrossChanges)
{
    chrome.apply(true, black);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const QRect before = window.geometry();
    chrome.apply(false, black);
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(window.geometry().size(), before.size());
    chrome.setStaysOnTop(true);
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::FramelessWindowHint));
}

TEST_F(ChromeTest, AppliesLaterFromTheEventLoop)
{
    chrome.apply(true, black);
    chrome.applyLater(false, black);
    EXPECT_TRUE(chrome.showsChrome());
    QTRY_VERIFY(!chrome.showsChrome());
}

} // namespace
