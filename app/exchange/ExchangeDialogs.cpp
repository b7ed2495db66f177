#include "app/exchange/ExchangeDialogs.h"

#include "engine/dsp/MeterBallistics.h"
#include "engine/dsp/OctaveResolution.h"
#include "settings/AppSettings.h"
#include "settings/GradientExchange.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QStandardPaths>
#include <QWidget>

#include <optional>
#include <string_view>

namespace {

QString qstring(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

struct FileKind {
    QString description; // first name filter, e.g. "KelvraMeters Settings"
    const char *suffix;  // without the dot
};

const FileKind settingsKind{QStringLiteral("KelvraMeters Settings"), settings_exchange::fileSuffix};
const FileKind gradientsKind{QStringLiteral("KelvraMeters Gradients"), gradient_exchange::fileSuffix};

QStringList nameFilters(const FileKind &kind)
{
    return {QStringLiteral("%1 (*.%2)").arg(kind.description, QLatin1StringView(kind.suffix)),
            QStringLiteral("JSON (*.json)"), QStringLiteral("All files (*)")};
}

void bringToFront(QWidget *parent)
{
    if (!parent)
        return;
    // A hidden window (the app reached through its tray icon) stays hidden: the panel
    // itself then comes up as a top-level window.
    QWidget *window = parent->window();
    if (!window->isVisible())
        return;
    window->raise();
    window->activateWindow();
}

QString startDirectory()
{
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return QFileInfo(documents).isDir() ? documents : QDir::homePath();
}

std::optional<QString> chooseSaveFile(QWidget *parent, const QString &title, const QString &proposedName,
                                      const FileKind &kind)
{
    bringToFront(parent);
    QFileDialog dialog(parent, title, startDirectory());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilters(nameFilters(kind));
    // A name typed without an extension still gets the one the importer looks for.
    dialog.setDefaultSuffix(QLatin1StringView(kind.suffix));
    dialog.selectFile(proposedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}

QStringList chooseOpenFiles(QWidget *parent, const QString &title, const FileKind &kind, QFileDialog::FileMode mode)
{
    bringToFront(parent);
    QFileDialog dialog(parent, title, startDirectory());
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(mode);
    dialog.setNameFilters(nameFilters(kind));
    if (dialog.exec() != QDialog::Accepted)
        return {};
    return dialog.selectedFiles();
}

exchange_dialogs::Outcome report(QWidget *parent, const QString &title, const ExchangeResult &result)
{
    if (result.succeeded())
        return exchange_dialogs::Outcome::done;
    QMessageBox::warning(parent, title, result.failure);
    return exchange_dialogs::Outcome::failed;
}

} // namespace

namespace exchange_dialogs {

Outcome exportAllSettings(QWidget *parent, const AppSettings &settings)
{
    const auto path = chooseSaveFile(parent, QStringLiteral("Export All Settings"),
                                     QLatin1StringView(settings_exchange::defaultFileName), settingsKind);
    if (!path)
        return Outcome::cancelled;
    return report(parent, QStringLiteral("Export Failed"), settings_exchange::exportToFile(settings, *path));
}

Outcome importAllSettings(QWidget *parent, AppSettings &settings)
{
    const QStringList paths =
        chooseOpenFiles(parent, QStringLiteral("Import Settings"), settingsKind, QFileDialog::ExistingFile);
    if (paths.isEmpty())
        return Outcome::cancelled;
    return report(parent, QStringLiteral("Import Failed"),
                  settings_exchange::importFromFile(settings, paths.constFirst(), engineEnumerationNames()));
}

Outcome exportAllCustomGradients(QWidget *parent, const AppSettings &settings)
{
    const auto path = chooseSaveFile(parent, QStringLiteral("Export All Custom Gradients"),
                                     QLatin1StringView(gradient_exchange::defaultFileName), gradientsKind);
    if (!path)
        return Outcome::cancelled;
    return report(parent, QStringLiteral("Export Failed"), gradient_exchange::exportAllCustomToFile(settings, *path));
}

Outcome exportGradient(QWidget *parent, const GradientPreset &preset)
{
    const auto path = chooseSaveFile(parent, QStringLiteral("Export Gradient Preset"),
                                     gradient_exchange::proposedFileName(preset), gradientsKind);
    if (!path)
        return Outcome::cancelled;
    return report(parent, QStringLiteral("Export Failed"), gradient_exchange::exportPresetToFile(preset, *path));
}

Outcome importGradients(QWidget *parent, AppSettings &settings)
{
    const QStringList paths = chooseOpenFiles(parent, QStringLiteral("Import Gradient Preset(s)"), gradientsKind,
                                              QFileDialog::ExistingFiles);
    if (paths.isEmpty())
        return Outcome::cancelled;
    const auto result = gradient_exchange::importFiles(settings, paths);
    if (result.succeeded())
        return Outcome::done;
    // One line per skipped file, named, since the fixed diagnostic lines do not say which.
    QStringList lines;
    for (const auto &failure : result.failures)
        lines << QStringLiteral("%1: %2").arg(QFileInfo(failure.path).fileName(), failure.failure);
    if (result.importedCount > 0)
        lines << QStringLiteral("%1 preset(s) from the other files were imported.").arg(result.importedCount);
    QMessageBox::warning(parent, QStringLiteral("Import Failed"), lines.join(QLatin1Char('\n')));
    return Outcome::failed;
}

EngineEnumerationNames engineEnumerationNames()
{
    EngineEnumerationNames names;
    for (const MeterBallistics mode : meter_ballistics::allCases)
        names.ballisticsModes.push_back(qstring(meter_ballistics::rawValue(mode)));
    for (const OctaveResolution resolution : octave_resolution::allCases)
        names.octaveResolutions.push_back(qstring(octave_resolution::rawValue(resolution)));
    return names;
}

} // namespace exchange_dialogs
