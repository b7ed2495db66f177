#include "app/gradients/GradientEditor.h"
#include "app/gradients/GradientStopBar.h"
#include "tests/app/WidgetTestSupport.h"

#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class GradientEditorTest : public ::testing::Test {
protected:
    GradientEditorTest() : editor(env.settings) {}

    const GradientPreset &firstBuiltIn() const { return env.settings.gradientPresets().front(); }
    QPushButton *button(const char *name) { return editor.findChild<QPushButton *>(QString::fromLatin1(name)); }

    TestSettings env;
    GradientEditor editor;
};

TEST_F(GradientEditorTest, BuiltInPresetsCannotBeEdited)
{
    const GradientPreset builtIn = firstBuiltIn();
    ASSERT_TRUE(builtIn.isBuiltIn);
    const std::vector<GradientPreset> before = env.settings.gradientPresets();
    editor.selectPreset(builtIn.id);

    EXPECT_TRUE(editor.builtInMessage()->isVisibleTo(&editor));
    EXPECT_EQ(editor.builtInMessage()->text(),
              QStringLiteral("Built-in presets cannot be edited.\nDuplicate to create an editable copy."));
    EXPECT_FALSE(button("renamePreset")->isEnabled());
    EXPECT_FALSE(button("deletePreset")->isEnabled());
    EXPECT_FALSE(button("addStop")->isEnabled());

    // Even when asked directly, nothing changes.
    editor.moveStop(builtIn.stops.front().id, -12.0f);
    editor.setStopColor(builtIn.stops.front().id, {1.0, 0.0, 0.0, 1.0});
    editor.addStop(-30.0f);
    editor.renamePreset(QStringLiteral("Mine now"));
    editor.deletePreset();
    EXPECT_EQ(env.settings.gradientPresets(), before);
}

TEST_F(GradientEditorTest, DuplicatingABuiltInGivesAnEditableCopy)
{
    const GradientPreset builtIn = firstBuiltIn();
    editor.selectPreset(builtIn.id);
    editor.duplicatePreset();

    const GradientPreset copy = *editor.currentPreset();
    EXPECT_FALSE(copy.isBuiltIn);
    EXPECT_NE(copy.id, builtIn.id);
    EXPECT_EQ(copy.name, builtIn.name + " Copy");
    EXPECT_FALSE(editor.builtInMessage()->isVisibleTo(&editor));
    EXPECT_TRUE(button("renamePreset")->isEnabled());

    editor.duplicatePreset(); // again: the name stays unique
    EXPECT_NE(editor.currentPreset()->name, copy.name);
}

TEST_F(GradientEditorTest, EditsOfAnOwnPresetAreStoredAtOnce)
{
    editor.addPreset();
    const GradientPreset added = *editor.currentPreset();
    ASSERT_FALSE(added.isBuiltIn);
    ASSERT_GE(added.stops.size(), 2u);
    const Uuid stop = added.stops.front().id;

    editor.moveStop(stop, -42.5f);
    editor.setStopColor(stop, {0.25, 0.5, 0.75, 1.0});
    const GradientColorStop edited = env.settings.gradientPreset(added.id)->stops.front();
    EXPECT_FLOAT_EQ(edited.levelDb, -42.5f);
    EXPECT_DOUBLE_EQ(edited.green, 0.5);

    editor.renamePreset(QStringLiteral("  Studio  "));
    EXPECT_EQ(env.settings.gradientPreset(added.id)->name, "Studio");

    // The stored library survives a restart.
    AppSettings reloaded(env.store);
    EXPECT_EQ(reloaded.gradientPreset(added.id)->name, "Studio");
}

TEST_F(GradientEditorTest, StopsCanBeAddedAndRemovedButTwoRemain)
{
    editor.addPreset();
    const Uuid id = editor.currentPreset()->id;
    const std::size_t count = editor.currentPreset()->stops.size();

    editor.addStop(-30.0f);
    ASSERT_EQ(env.settings.gradientPreset(id)->stops.size(), count + 1);
    ASSERT_TRUE(editor.selectedStop());
    // A new stop takes the colour the gradient already had at its level.
    EXPECT_EQ(env.settings.gradientPreset(id)->colorAt(-30.0f), editor.currentPreset()->colorAt(-30.0f));

    for (std::size_t i = 0; i < count + 1; ++i) {
        if (!editor.selectedStop()) emit editor.stopBar()->stopSelected(editor.currentPreset()->stops.front().id);
        editor.removeSelectedStop();
    }
    EXPECT_EQ(env.settings.gradientPreset(id)->stops.size(), 2u);
}

TEST_F(GradientEditorTest, DeletingShowsAnotherPreset)
{
    editor.addPreset();
    const Uuid id = editor.currentPreset()->id;
    const std::size_t count = env.settings.gradientPresets().size();
    editor.deletePreset();
    EXPECT_EQ(env.settings.gradientPresets().size(), count - 1);
    EXPECT_FALSE(env.settings.gradientPreset(id));
    ASSERT_TRUE(editor.currentPreset());
    EXPECT_EQ(editor.presetList()->count(), static_cast<int>(count - 1));
}

TEST_F(GradientEditorTest, DraggingAStopOnTheBarMovesIt)
{
    editor.addPreset();
    editor.resize(720, 360);
    editor.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&editor));
    GradientStopBar *bar = editor.stopBar();
    const GradientColorStop stop = editor.currentPreset()->stops.at(1); // -18 dB
    const int handleY = static_cast<int>(bar->barRect().bottom() + 6);
    const QPoint from(static_cast<int>(bar->positionOf(stop.levelDb)), handleY);
    const QPoint to(static_cast<int>(bar->positionOf(-30.0f)), handleY);

    QTest::mousePress(bar, Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, QPointF(to), bar->mapToGlobal(QPointF(to)), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(bar, &move);
    QTest::mouseRelease(bar, Qt::LeftButton, {}, to);

    const float moved = env.settings.gradientPreset(editor.currentPreset()->id)->stops.at(1).levelDb;
    EXPECT_NEAR(moved, -30.0f, 0.5f);
    EXPECT_EQ(editor.selectedStop(), stop.id);
}

} // namespace
