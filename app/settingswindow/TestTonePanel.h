#pragma once

#include <QGroupBox>
#include <QString>

class QLabel;
class QPushButton;

// Writes the reference tone files and their README into a folder the user picks, so
// the meters can be checked against a known signal. The files are written on a worker
// thread: about 40 MB of audio would otherwise stall the meters for a moment.
class TestTonePanel final : public QGroupBox {
    Q_OBJECT

public:
    explicit TestTonePanel(QWidget *parent = nullptr);

    // Asks for a folder, then exports into it.
    void exportTestTones();
    // Exports into folder without asking; the result line reports the outcome.
    void exportTestTonesTo(const QString &folder);

    bool isExporting() const { return exporting_; }
    QString resultText() const;

signals:
    void exportFinished(bool ok);

private:
    void finish(const QString &folder, int fileCount, const QString &error);

    QPushButton *exportButton_ = nullptr;
    QLabel *result_ = nullptr;   // what the last export did
    bool exporting_ = false;
};
