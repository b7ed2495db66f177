#include "capture/DesktopApplications.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr qint64 maxEntryBytes = 256 * 1024; // a larger "desktop entry" is not one

// The shell-like words of an Exec line (double quotes group, backslash escapes).
QStringList words(const QString &line)
{
    QStringList result;
    QString current;
    bool quoted = false;
    bool inWord = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (c == QLatin1Char('\\') && i + 1 < line.size()) {
            current += line.at(++i);
            inWord = true;
        } else if (c == QLatin1Char('"')) {
            quoted = !quoted;
            inWord = true;
        } else if (c.isSpace() && !quoted) {
            if (inWord) result << current;
            current.clear();
            inWord = false;
        } else {
            current += c;
            inWord = true;
        }
    }
    if (inWord) result << current;
    return result;
}

struct DesktopEntry {
    QString name;
    QString exec;
    bool hidden = false;
    bool application = false;
};

DesktopEntry readEntry(const QString &path)
{
    DesktopEntry entry;
    QFile file(path);
    if (file.size() > maxEntryBytes || !file.open(QIODevice::ReadOnly | QIODevice::Text)) return entry;
    bool inMainGroup = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QStringLiteral("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup || line.startsWith(QLatin1Char('#'))) continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0) continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if (key == QStringLiteral("Name")) entry.name = value;
        else if (key == QStringLiteral("Exec")) entry.exec = value;
        else if (key == QStringLiteral("Type")) entry.application = value == QStringLiteral("Application");
        else if ((key == QStringLiteral("NoDisplay") || key == QStringLiteral("Hidden")) && value == QStringLiteral("true"))
            entry.hidden = true;
    }
    return entry;
}

} // namespace

QString execProgram(const QString &exec)
{
    QStringList parts = words(exec);
    // "env VAR=value program ..." runs `program`.
    if (!parts.isEmpty() && QFileInfo(parts.first()).fileName() == QStringLiteral("env")) {
        parts.removeFirst();
        while (!parts.isEmpty() && (parts.first().contains(QLatin1Char('=')) || parts.first().startsWith(QLatin1Char('-'))))
            parts.removeFirst();
    }
    if (parts.isEmpty()) return {};
    return QFileInfo(parts.first()).fileName();
}

std::vector<CapturedApp> installedApplications(const QStringList &dataDirectories)
{
    std::vector<CapturedApp> apps;
    QSet<QString> seenFiles;
    QSet<QString> seenIds;
    for (const QString &directory : dataDirectories) {
        const QDir applications(directory + QStringLiteral("/applications"));
        const QStringList files = applications.entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
        for (const QString &file : files) {
            if (seenFiles.contains(file)) continue;
            seenFiles.insert(file);
            const DesktopEntry entry = readEntry(applications.filePath(file));
            if (!entry.application || entry.hidden || entry.name.isEmpty()) continue;
            const QString program = execProgram(entry.exec);
            if (program.isEmpty() || seenIds.contains(program)) continue;
            seenIds.insert(program);
            apps.push_back({program, entry.name});
        }
    }
    std::sort(apps.begin(), apps.end(), [](const CapturedApp &a, const CapturedApp &b) {
        const int byName = QString::compare(a.displayName, b.displayName, Qt::CaseInsensitive);
        return byName != 0 ? byName < 0 : a.bundleIdentifier < b.bundleIdentifier;
    });
    return apps;
}

std::vector<CapturedApp> installedApplications()
{
    return installedApplications(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation));
}
