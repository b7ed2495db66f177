#include "settings/ExchangeFiles.h"

#include "settings/AppSettings.h"

#include <QFile>
#include <QJsonObject>
#include <QJsonValue>
#include <QSaveFile>

#include <cstdio>

namespace exchange_files {

std::optional<QByteArray> readFile(const QString &path, QString &error)
{
    if (path.isEmpty()) {
        error = QStringLiteral("no file name given");
        return std::nullopt;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    const QString tooLarge = QStringLiteral("%1 is larger than %2 MiB").arg(path).arg(maxFileBytes / (1024 * 1024));
    // A regular file says its size up front; pipes and devices report 0, so reading stops
    // one byte past the limit instead.
    if (file.size() > maxFileBytes) {
        error = tooLarge;
        return std::nullopt;
    }
    QByteArray bytes = file.read(maxFileBytes + 1);
    if (bytes.size() > maxFileBytes) {
        error = tooLarge;
        return std::nullopt;
    }
    if (file.error() != QFileDevice::NoError) {
        error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    if (bytes.trimmed().isEmpty()) {
        error = QStringLiteral("%1 is empty").arg(path);
        return std::nullopt;
    }
    return bytes;
}

bool writeFile(const QString &path, const QByteArray &bytes, QString &error)
{
    if (path.isEmpty()) {
        error = QStringLiteral("no file name given");
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

QString checkPresetLimits(const QJsonArray &presets)
{
    if (presets.size() > maxPresets)
        return QStringLiteral("more than %1 gradient presets").arg(maxPresets);
    qsizetype stopsInFile = 0;
    for (const QJsonValue &preset : presets) {
        // Shape and types are the decoder's business; only sizes are looked at here.
        const QJsonObject object = preset.toObject();
        const QJsonValue name = object.value(QLatin1StringView("name"));
        if (name.isString() && name.toString().size() > maxTextLength)
            return QStringLiteral("a gradient preset name longer than %1 characters").arg(maxTextLength);
        const QJsonValue stops = object.value(QLatin1StringView("stops"));
        if (!stops.isArray())
            continue;
        const qsizetype count = stops.toArray().size();
        if (count > maxStopsPerPreset)
            return QStringLiteral("a gradient preset with more than %1 stops").arg(maxStopsPerPreset);
        stopsInFile += count;
        if (stopsInFile > maxStopsInFile)
            return QStringLiteral("more than %1 gradient stops in all").arg(maxStopsInFile);
    }
    return {};
}

ExchangeResult fail(const QString &line)
{
    const QByteArray text = line.toUtf8();
    std::fprintf(stderr, "%s\n", text.constData());
    std::fflush(stderr);
    return ExchangeResult{line};
}

} // namespace exchange_files
