#include "app/settingswindow/LevelMeterTab.h"
#include "app/settingswindow/RangeEditor.h"
#include "app/settingswindow/SettingsWindow.h"
#include "engine/AudioEngine.h"
#include "tests/app/WidgetTestSupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class SettingsWindowTest : public ::testing::Test {
protected:
    SettingsWindowTest() : engine(env.settings, AudioEngine::TickSource::external), window(env.settings, engine, nullptr)
    {
    }

    template <typename T> T *control(const char *name)
    {
        T *found = window.findChild<T *>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    // Chooses the item whose stored text is `data`, as a user's click would.
    static void choose(QComboBox *box, const QString &data)
    {
        const int index = box->findData(data);
        ASSERT_GE(index, 0) << data.toStdString();
        box->setCurrentIndex(index);
        emit box->activated(index);
    }

    TestSettings env;
    AudioEngine engine;
    SettingsWindow window;
};

TEST_F(SettingsWindowTest, HasOneTabPerPartOfTheMeter)
{
    QStringList titles;
    for (int i = 0; i < window.tabs()->count(); ++i) titles << window.tabs()->tabText(i);
    EXPECT_EQ(titles, (QStringList{"Level Meter", "Spectrum", "Phase Scope", "Loudness", "Input"}));
}

TEST_F(SettingsWindowTest, EveryKindOfControlWritesItsSettingAtOnce)
{
    control<QCheckBox>("showSpectralMeter")->click();
    EXPECT_FALSE(env.settings.showSpectralMeter());
    control<QDoubleSpinBox>("meterSize")->setValue(2.0);
    EXPECT_DOUBLE_EQ(env.settings.meterSize(), 2.0);
    control<QSpinBox>("fractionalDigits")->setValue(2);
    EXPECT_EQ(env.settings.fractionalDigits(), 2);
    choose(control<QComboBox>("meterScale"), QStringLiteral("K-14"));
    EXPECT_EQ(env.settings.selectedMeterScale(), MeterScale::k14);
    choose(control<QComboBox>("ballistics"), QStringLiteral("VU"));
    EXPECT_EQ(env.settings.meterBallisticsModeString(), QStringLiteral("VU"));
    choose(control<QComboBox>("spectralOctaveResolution"), QStringLiteral("1/3 Octave"));
    EXPECT_EQ(env.settings.spectralOctaveResolutionString(), QStringLiteral("1/3 Octave"));
    choose(control<QComboBox>("lissajousPlacement"), QStringLiteral("bottom"));
    EXPECT_EQ(env.settings.lissajousPlacement(), QStringLiteral("bottom"));
    choose(control<QComboBox>("broadcastPreset"), QStringLiteral("EBU R128"));
    EXPECT_EQ(env.settings.selectedBroadcastPresetName(), QStringLiteral("EBU R128"));
    control<QRadioButton>("lufsBars")->click();
    EXPECT_FALSE(env.settings.lufsRingMode());
}

TEST_F(SettingsWindowTest, GradientPickersOfferSameAndStoreThePresetId)
{
    QComboBox *spectral = control<QComboBox>("spectralGradient");
    choose(spectral, QStringLiteral("same"));
    EXPECT_TRUE(env.settings.spectralUseSameGradient());

    const GradientPreset &other = env.settings.gradientPresets().at(2);
    const QString id = QString::fromStdString(other.id.toString());
    choose(spectral, id);
    EXPECT_FALSE(env.settings.spectralUseSameGradient());
    EXPECT_EQ(env.settings.spectralGradient().id, other.id);

    choose(control<QComboBox>("meterGradient"), id);
    EXPECT_EQ(env.settings.selectedGradient().id, other.id);
    EXPECT_EQ(control<QComboBox>("meterGradient")->findData(QStringLiteral("same")), -1);
}

TEST_F(SettingsWindowTest, ControlsFollowChangesMadeElsewhereWithoutWritingBack)
{
    QSignalSpy changes(&env.settings, &AppSettings::changed);
    env.settings.setShowPeakHold(false);
    env.settings.setPeakHoldTime(4.5);
    env.settings.setSelectedMeterScaleRaw(QStringLiteral("DIN"));
    env.settings.setLufsRingMode(false);
    EXPECT_EQ(changes.count(), 4); // only the four writes above, no echoes from the controls

    EXPECT_FALSE(control<QCheckBox>("showPeakHold")->isChecked());
    EXPECT_DOUBLE_EQ(control<QDoubleSpinBox>("peakHoldTime")->value(), 4.5);
    EXPECT_EQ(control<QComboBox>("meterScale")->currentData().toString(), QStringLiteral("DIN"));
    EXPECT_TRUE(control<QRadioButton>("lufsBars")->isChecked());
}

TEST_F(SettingsWindowTest, BoundsOfARangeStayApart)
{
    QDoubleSpinBox *bottom = control<QDoubleSpinBox>("spectralMinAmplitude");
    QDoubleSpinBox *top = control<QDoubleSpinBox>("spectralMaxAmplitude");
    top->setValue(-20.0);
    bottom->setValue(-10.0); // above the top: held 6 dB under it
    EXPECT_DOUBLE_EQ(env.settings.spectralMinAmplitude(), -26.0);
    EXPECT_LT(env.settings.spectralMinAmplitude(), env.settings.spectralMaxAmplitude());
}

class RangeEditorTest : public SettingsWindowTest {
protected:
    RangeEditorTest()
    {
        env.settings.setUseCustomRange(true);
        editor = window.levelMeterTab()->rangeEditor();
        editor->resize(420, 44);
    }

    void drag(double fromDb, double toDb)
    {
        const int y = 14;
        QTest::mousePress(editor, Qt::LeftButton, {}, QPoint(static_cast<int>(editor->positionOf(fromDb)), y));
        QMouseEvent move(QEvent::MouseMove, QPointF(editor->positionOf(toDb), y), editor->mapToGlobal(QPointF(0, 0)),
                         Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(editor, &move);
        QTest::mouseRelease(editor, Qt::LeftButton, {}, QPoint(static_cast<int>(editor->positionOf(toDb)), y));
    }

    RangeEditor *editor = nullptr;
};

TEST_F(RangeEditorTest, HandlesSetTheCustomRange)
{
    drag(-60.0, -40.0);
    EXPECT_NEAR(env.settings.meterRangeMin(), -40.0, 1.0);
    drag(6.0, 0.0);
    EXPECT_NEAR(env.settings.meterRangeMax(), 0.0, 1.0);
    EXPECT_FLOAT_EQ(env.settings.effectiveMaxDb(), static_cast<float>(env.settings.meterRangeMax()));
}

TEST_F(RangeEditorTest, TheHandlesStaySixDecibelsApart)
{
    drag(-60.0, 10.0); // the lower handle pushed past the upper one
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMin(), 0.0);
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMax(), 6.0);

    env.settings.setMeterRangeMin(-30.0);
    drag(6.0, -50.0); // the upper handle pulled under the lower one
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMax(), -24.0);
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMin(), -30.0);
}

TEST_F(RangeEditorTest, HandlesStopAtTheEditorsEnds)
{
    drag(-60.0, -200.0);
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMin(), -96.0);
    drag(6.0, 100.0);
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMax(), 12.0);
}

TEST_F(RangeEditorTest, PresetsSetBothEndsAndSwitchTheCustomRangeOn)
{
    env.settings.setUseCustomRange(false);
    const meter_range::RangePreset &preset = meter_range::presets().back();
    QPushButton *button = nullptr;
    for (QPushButton *b : window.findChildren<QPushButton *>())
        if (b->text() == QString::fromUtf8(preset.label)) button = b;
    ASSERT_NE(button, nullptr);
    button->click();
    EXPECT_TRUE(env.settings.useCustomRange());
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMin(), preset.minDb);
    EXPECT_DOUBLE_EQ(env.settings.meterRangeMax(), preset.maxDb);
    EXPECT_EQ(editor->minDb(), preset.minDb);
}

} // namespace
