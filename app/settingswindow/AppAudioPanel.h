#pragma once

#include <QGroupBox>

class AudioEngineControl;
class QCheckBox;
class QListWidget;

// Meters the sum of what chosen applications play: the switch for that mode and the
// list to choose from, applications playing now first, then installed ones. Without a
// capture control the group is shown but disabled.
class AppAudioPanel final : public QGroupBox {
    Q_OBJECT

public:
    explicit AppAudioPanel(AudioEngineControl *control, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void rebuildList();
    void refreshChecks();
    void chooseChecked();

    AudioEngineControl *control_;    // mode, lists and selection; may be null
    QCheckBox *mode_ = nullptr;      // application audio on or off
    QListWidget *list_ = nullptr;    // checkable; item data: the application's identifier
    bool scanned_ = false;           // installed applications looked up once shown
};
