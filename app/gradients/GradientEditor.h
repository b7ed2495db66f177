#pragma once

#include "settings/GradientPreset.h"

#include <QWidget>

#include <optional>

class AppSettings;
class GradientStopBar;
class QDoubleSpinBox;
class QLabel;
class QListWidget;
class QPushButton;

// The gradient library: every preset with its accent colour; the user's own presets
// can be renamed, deleted and edited stop by stop, built-ins only duplicated. Every
// edit is written to the library at once, so the meters show it while editing.
class GradientEditor final : public QWidget {
    Q_OBJECT

public:
    explicit GradientEditor(AppSettings &settings, QWidget *parent = nullptr);

    // Shows the preset with this id (nothing when it is not in the library).
    void selectPreset(const Uuid &id);
    std::optional<GradientPreset> currentPreset() const;
    std::optional<Uuid> selectedStop() const { return selectedStop_; }

    // The editing actions, as the buttons run them.
    void addPreset();
    void duplicatePreset();
    void renamePreset(const QString &newName);
    void deletePreset();
    void addStop(float levelDb);
    void removeSelectedStop();
    void moveStop(const Uuid &stopId, float levelDb);
    void setStopColor(const Uuid &stopId, const RgbColor &color);

    QListWidget *presetList() const { return list_; }
    GradientStopBar *stopBar() const { return stopBar_; }
    QLabel *builtInMessage() const { return builtInMessage_; }

private:
    void reloadList();
    void showCurrent();
    // Writes an edited copy of the current preset back, unless it is a built-in.
    bool store(const GradientPreset &edited);
    void pickStopColor(const Uuid &stopId);
    void askRename();
    void exportCurrent();

    AppSettings &settings_;                  // the library edited
    std::optional<Uuid> currentId_;          // preset shown on the right
    std::optional<Uuid> selectedStop_;       // stop the level field and colour button edit
    QListWidget *list_ = nullptr;            // every preset, built-ins first
    GradientStopBar *stopBar_ = nullptr;     // preview with stop handles
    QLabel *title_ = nullptr;                // current preset's name
    QLabel *builtInMessage_ = nullptr;       // why a built-in cannot be edited
    QDoubleSpinBox *stopLevel_ = nullptr;    // selected stop's level, dB
    QPushButton *stopColor_ = nullptr;       // selected stop's colour
    QPushButton *addStop_ = nullptr;
    QPushButton *removeStop_ = nullptr;
    QPushButton *rename_ = nullptr;
    QPushButton *delete_ = nullptr;
    QPushButton *useForMeter_ = nullptr;
};
