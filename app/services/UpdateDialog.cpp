#include "app/services/UpdateDialog.h"

#include "app/shell/DarkAppearance.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int textWidth = 420; // pixels: the column of text beside the icon
}

UpdateDialog::UpdateDialog(QWidget *parent)
    : QDialog(parent),
      headlineLabel_(new QLabel(this)),
      detailLabel_(new QLabel(this)),
      notesLabel_(new QLabel(this)),
      installNoteLabel_(new QLabel(this)),
      noBrowserLabel_(new QLabel(this)),
      addressField_(new QLineEdit(this)),
      busyBar_(new QProgressBar(this))
{
    setWindowTitle(QStringLiteral("Software-Update"));
    setObjectName(QStringLiteral("update-dialog"));

    auto *iconLabel = new QLabel(this);
    iconLabel->setPixmap(applicationIcon().pixmap(64, 64));
    iconLabel->setAlignment(Qt::AlignTop);

    QFont bold = headlineLabel_->font();
    bold.setBold(true);
    headlineLabel_->setFont(bold);
    // Wrapped labels of a fixed width know their height; otherwise the dialog guesses
    // it from a narrower line and keeps a gap under the text.
    for (QLabel *label : {headlineLabel_, detailLabel_, installNoteLabel_, noBrowserLabel_}) {
        label->setWordWrap(true);
        label->setFixedWidth(textWidth);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    installNoteLabel_->setText(
        QStringLiteral("Installiert wird die neue Version über die Paketverwaltung, nicht von KelvraMeters."));
    noBrowserLabel_->setText(QStringLiteral("Es ließ sich kein Browser öffnen. Die Adresse zum Kopieren:"));
    addressField_->setReadOnly(true);
    addressField_->setFixedWidth(textWidth);
    notesLabel_->setTextFormat(Qt::RichText);
    notesLabel_->setTextInteractionFlags(Qt::TextBrowserInteraction);
    connect(notesLabel_, &QLabel::linkActivated, this,
            [this](const QString &link) { openInBrowser(QUrl(link)); });
    busyBar_->setRange(0, 0); // no known end: a busy indicator
    busyBar_->setTextVisible(false);

    auto *buttons = new QDialogButtonBox(this);
    downloadButton_ = buttons->addButton(QStringLiteral("Herunterladen"), QDialogButtonBox::ActionRole);
    closeButton_ = buttons->addButton(QStringLiteral("Schließen"), QDialogButtonBox::RejectRole);
    // The download opens in the browser; the dialog stays open for the release notes.
    connect(downloadButton_, &QPushButton::clicked, this, [this] { openInBrowser(downloadUrl_); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto *text = new QVBoxLayout;
    text->addWidget(headlineLabel_);
    text->addWidget(detailLabel_);
    text->addWidget(notesLabel_);
    text->addWidget(installNoteLabel_);
    text->addWidget(noBrowserLabel_);
    text->addWidget(addressField_);
    text->addWidget(busyBar_);
    text->addStretch(1);
    auto *top = new QHBoxLayout;
    top->addWidget(iconLabel);
    top->addLayout(text, 1);
    top->setSpacing(16);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(8);
    layout->addWidget(buttons);
    // Always as large as what it says right now, like a message box.
    layout->setSizeConstraint(QLayout::SetFixedSize);

    showChecking();
}

QString UpdateDialog::headline() const { return headlineLabel_->text(); }

QString UpdateDialog::detail() const { return detailLabel_->text(); }

void UpdateDialog::showState(const QString &headline, bool busy)
{
    headlineLabel_->setText(headline);
    detailLabel_->clear();
    detailLabel_->hide();
    notesLabel_->clear();
    notesLabel_->hide();
    installNoteLabel_->hide();
    noBrowserLabel_->hide();
    addressField_->hide();
    downloadButton_->hide();
    downloadUrl_.clear();
    busyBar_->setVisible(busy);
    closeButton_->setDefault(true);
}

void UpdateDialog::openInBrowser(const QUrl &url)
{
    if (QDesktopServices::openUrl(url)) return;
    addressField_->setText(url.toString(QUrl::FullyEncoded));
    addressField_->setCursorPosition(0);
    noBrowserLabel_->show();
    addressField_->show();
}

void UpdateDialog::showChecking() { showState(QStringLiteral("Suche nach Updates …"), true); }

void UpdateDialog::showNoFeed()
{
    showState(QStringLiteral("Keine Update-Quelle eingerichtet."), false);
    detailLabel_->setText(QStringLiteral("Die Adresse eines Update-Feeds nennt die Umgebungsvariable "
                                         "KELVRA_UPDATE_FEED_URL oder die gleichnamige CMake-Einstellung."));
    detailLabel_->show();
}

void UpdateDialog::showResult(const UpdateCheckResult &result)
{
    using Outcome = UpdateCheckResult::Outcome;
    switch (result.outcome) {
    case Outcome::upToDate:
        showState(QStringLiteral("KelvraMeters ist auf dem neuesten Stand (Version %1).").arg(result.installedVersion),
                  false);
        break;
    case Outcome::failed:
        showState(QStringLiteral("Die Prüfung auf Updates ist fehlgeschlagen: %1").arg(result.error), false);
        break;
    case Outcome::updateAvailable: {
        const AppcastItem &release = result.newest;
        showState(QStringLiteral("Version %1 ist verfügbar (installiert: %2).")
                      .arg(release.version, result.installedVersion),
                  false);
        detailLabel_->setText(release.title);
        detailLabel_->setVisible(!release.title.isEmpty());
        if (!release.releaseNotesUrl.isEmpty()) {
            notesLabel_->setText(QStringLiteral("<a href=\"%1\">Versionshinweise</a>")
                                     .arg(release.releaseNotesUrl.toString(QUrl::FullyEncoded).toHtmlEscaped()));
            notesLabel_->show();
        }
        installNoteLabel_->show();
        downloadUrl_ = release.downloadUrl;
        downloadButton_->setVisible(!downloadUrl_.isEmpty());
        downloadButton_->setDefault(!downloadUrl_.isEmpty());
        break;
    }
    }
}
