#include "app/settingswindow/TestTonePanel.h"

#include "app/settingswindow/SettingsControls.h"
#include "engine/CrossThreadCall.h"
#include "tools/TestToneGenerator.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QStandardPaths>
#include <QThread>
#include <QVBoxLayout>

TestTonePanel::TestTonePanel(QWidget *parent) : QGroupBox(QStringLiteral("Test tones"), parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(settings_controls::note(QStringLiteral(
        "Reference files (997 Hz sine, 48 kHz, 24-bit) and a README of what each meter must read. "
        "Play one through the captured source to check the meters.")));
    exportButton_ = new QPushButton(QStringLiteral("Export Test Tones…"));
    exportButton_->setObjectName(QStringLiteral("exportTestTones"));
    auto *row = new QHBoxLayout;
    row->addWidget(exportButton_);
    row->addStretch(1);
    layout->addLayout(row);
    result_ = settings_controls::note();
    result_->setObjectName(QStringLiteral("testToneResult"));
    result_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    result_->hide();
    layout->addWidget(result_);

    connect(exportButton_, &QPushButton::clicked, this, &TestTonePanel::exportTestTones);
}

void TestTonePanel::exportTestTones()
{
    const QString start = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Export Test Tones"), start);
    if (!folder.isEmpty()) exportTestTonesTo(folder);
}

void TestTonePanel::exportTestTonesTo(const QString &folder)
{
    if (exporting_) return;
    exporting_ = true;
    exportButton_->setEnabled(false);
    result_->setText(QStringLiteral("Writing test tones…"));
    result_->show();

    QPointer<TestTonePanel> panel(this);
    QThread *worker = QThread::create([panel, folder] {
        int count = 0;
        QString error;
        try {
            count = int(TestToneGenerator::exportAll(QDir(folder).filesystemAbsolutePath()).size());
        } catch (const TestToneGenerator::Error &failure) {
            error = QString::fromStdString(failure.what());
        }
        // Back on the panel's thread; a panel closed meanwhile drops the message.
        crossThreadCall(qApp, [panel, folder, count, error] {
            if (panel) panel->finish(folder, count, error);
        });
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start();
}

void TestTonePanel::finish(const QString &folder, int fileCount, const QString &error)
{
    exporting_ = false;
    exportButton_->setEnabled(true);
    if (error.isEmpty()) {
        result_->setText(QStringLiteral("Wrote %1 tone files and %2 to %3")
                             .arg(fileCount)
                             .arg(QString::fromUtf8(TestToneGenerator::readmeFileName.data(),
                                                    qsizetype(TestToneGenerator::readmeFileName.size())),
                                  QDir::toNativeSeparators(folder)));
    } else {
        result_->setText(QStringLiteral("Export failed: %1").arg(error));
    }
    emit exportFinished(error.isEmpty());
}

QString TestTonePanel::resultText() const { return result_->text(); }
