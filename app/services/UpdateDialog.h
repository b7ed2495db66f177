#pragma once

#include "tools/update/UpdateChecker.h"

#include <QDialog>
#include <QUrl>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

// The answer of an update check, in German like the menu item that asks for it:
// "Suche nach Updates …" while the check runs, then up to date, the newer version
// with its release notes and download, the reason a check failed, or that no feed is
// set up. KelvraMeters installs nothing itself: the download opens in the browser and
// the package manager installs it.
class UpdateDialog final : public QDialog {
    Q_OBJECT

public:
    explicit UpdateDialog(QWidget *parent = nullptr);

    void showChecking();
    void showNoFeed();
    void showResult(const UpdateCheckResult &result);

    // What the dialog says right now (its first line), and its parts, for tests.
    QString headline() const;
    QString detail() const;
    QPushButton *downloadButton() const { return downloadButton_; }
    QLabel *releaseNotesLabel() const { return notesLabel_; }
    QUrl downloadUrl() const { return downloadUrl_; }

private:
    void showState(const QString &headline, bool busy);
    // Hands `url` to the desktop's browser; says where to go when there is none.
    void openInBrowser(const QUrl &url);

    QLabel *headlineLabel_;        // the answer in one sentence
    QLabel *detailLabel_;          // the release's title; hidden when empty
    QLabel *notesLabel_;           // "Versionshinweise" link; hidden without notes
    QLabel *installNoteLabel_;     // who installs the update; only with a newer version
    QLabel *noBrowserLabel_;       // says no browser opened; else hidden
    QLineEdit *addressField_;      // then the address, to copy; else hidden
    QProgressBar *busyBar_;        // runs while checking
    QPushButton *downloadButton_;  // opens downloadUrl_; only with a newer version
    QPushButton *closeButton_;
    QUrl downloadUrl_;             // of the newer version shown
};
