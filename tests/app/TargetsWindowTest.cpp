#include "app/shell/AppActions.h"
#include "app/shell/MenuTable.h"
#include "app/windows/LevelMeterWindow.h"
#include "app/windows/NumericalMeterWindow.h"

#include "WidgetTestSupport.h"

#include <QAction>
#include <QTest>

#include <gtest/gtest.h>

namespace {

void publishLoudness(MeterData &data, double integrated, double truePeak)
{
    data.assign(MeterField::IntegratedLUFS, &MeterValues::integratedLUFS, integrated);
    data.assign(MeterField::TruePeakLeft, &MeterValues::truePeakLeft, truePeak);
    data.assign(MeterField::TruePeakRight, &MeterValues::truePeakRight, truePeak);
    data.flush();
}

} // namespace

class TargetsWindowTest : public ::testing::Test {
protected:
    TestSettings env;
    MeterData data;
};

// The menu item writes the setting; the window grows by the table's height to show
// it and gives the height back when it goes.
TEST_F(TargetsWindowTest, ToggleGrowsTheNumericalMeterAndShrinksItBack)
{
    NumericalMeterWindow window(env.settings, data);
    AppActions actions(env.settings);
    QAction *toggle = actions.action(MenuCommand::toggleTargetsTable);
    ASSERT_TRUE(toggle && toggle->isCheckable());
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_FALSE(env.settings.showTargetsTable());
    window.resize(300, 200); // a user's size, larger than the rows need
    const QSize before = window.size();

    toggle->trigger();
    EXPECT_TRUE(env.settings.showTargetsTable());
    const QSize grown = window.size();
    const NumericalMeterLayout parts = window.currentLayout();
    ASSERT_TRUE(parts.targetsTable);
    EXPECT_LE(parts.targetsTable->bottom(), parts.body.bottom());
    EXPECT_LE(parts.targetsTable->right(), parts.body.right());
    EXPECT_GE(parts.targetsTable->x, parts.body.x);
    EXPECT_GT(grown.height(), before.height() + 80); // seven rows and the titles

    env.settings.setShowTargetsTable(false);
    EXPECT_FALSE(toggle->isChecked());
    EXPECT_EQ(window.size(), before);
    EXPECT_FALSE(window.currentLayout().targetsTable);

    // A start with the table already on opens large enough for it.
    env.settings.setShowTargetsTable(true);
    NumericalMeterWindow reopened(env.settings, data);
    EXPECT_GE(reopened.width(), reopened.preferredSize().width());
    EXPECT_GE(reopened.height(), reopened.preferredSize().height());
}

// Screen readers get the shown values, the verdicts while the table is on, and "no
// integrated loudness yet" before there is one.
TEST_F(TargetsWindowTest, NumericalMeterDescribesItsValuesAndVerdicts)
{
    env.settings.setShowTargetsTable(true);
    NumericalMeterWindow window(env.settings, data);
    EXPECT_EQ(window.accessibleName(), QStringLiteral("Numerical meter"));
    EXPECT_TRUE(window.accessibleDescription().contains(QStringLiteral("no integrated loudness yet")));

    data.assign(MeterField::PeakLevelLeft, &MeterValues::peakLevelLeft, -12.3f);
    publishLoudness(data, -22.0, -1.0);
    QTRY_VERIFY(window.accessibleDescription().contains(QStringLiteral("peak -12.3 dB")));
    const QString description = window.accessibleDescription();
    EXPECT_TRUE(description.contains(QString::fromUtf8("EBU R128: +1.0 LU from -23 \u00B11 LUFS, true peak within "
                                                       "-1 dBTP, pass.")))
        << description.toStdString();
    EXPECT_TRUE(description.contains(QStringLiteral("Spotify: -8.0 LU"))) << description.toStdString();

    env.settings.setShowTargetsTable(false);
    QTRY_VERIFY(!window.accessibleDescription().contains(QStringLiteral("Delivery targets")));
}

TEST_F(TargetsWindowTest, LevelMeterDescribesLevelsAndLoudnessWhileItIsShown)
{
    LevelMeterWindow window(env.settings, data);
    EXPECT_EQ(window.accessibleName(), QStringLiteral("Level meter"));
    data.assign(MeterField::RmsLevelRight, &MeterValues::rmsLevelRight, -18.0f);
    data.flush();
    QTRY_VERIFY(window.accessibleDescription().contains(QStringLiteral("RMS -18.0 dB")));
    EXPECT_FALSE(window.accessibleDescription().contains(QStringLiteral("Loudness")));

    env.settings.setShowLUFSMeter(true);
    publishLoudness(data, -23.4, -2.0);
    QTRY_VERIFY(window.accessibleDescription().contains(QStringLiteral("integrated -23.4 LUFS")));
    EXPECT_TRUE(window.accessibleDescription().contains(QStringLiteral("true peak -2.0 dBTP")));
}
