#pragma once

#include "settings/GradientPreset.h"

#include <QByteArray>
#include <QJsonArray>
#include <QString>

#include <optional>
#include <vector>

class AppSettings;

// Outcome of one export or import: empty on success, otherwise the diagnostic line that
// was printed to standard error ("Failed to import settings: the file is empty"), so a
// window can show the same text to the user.
struct ExchangeResult {
    QString failure;

    bool succeeded() const { return failure.isEmpty(); }
};

// What the settings and gradient exchange files share: bounded reading, atomic writing,
// and limits on preset content.
namespace exchange_files {

// Real exchange files are a few kilobytes: tens of gradients of about ten stops each.
// The limits keep a broken or hostile file from filling memory or stalling the
// interface while leaving ample room for any real setup. An import saves the library
// once, so its cost is linear in the stops it adds: a file right at these limits,
// 128 presets of one name with 32 stops each, imports in well under 0.1 s.
inline constexpr qint64 maxFileBytes = 16 * 1024 * 1024;
inline constexpr qsizetype maxPresets = 128;
inline constexpr qsizetype maxStopsPerPreset = 256;
inline constexpr qsizetype maxStopsInFile = 4096;
// Longest name or text value, in UTF-16 code units: names are short labels in lists.
inline constexpr qsizetype maxTextLength = 1024;

// The whole file, or nullopt with `error` set when it cannot be read, is larger than
// maxFileBytes (also for endless devices such as /dev/zero) or is empty.
std::optional<QByteArray> readFile(const QString &path, QString &error);

// Writes through a temporary file that replaces `path` only when everything was written,
// so a failed export never leaves a truncated file behind.
bool writeFile(const QString &path, const QByteArray &bytes, QString &error);

// Empty when every element of this JSON array of preset records stays inside the limits
// above (count, stops, name length), else the reason. Runs before decoding, so a huge
// array is refused without building anything from it.
QString checkPresetLimits(const QJsonArray &presets);

// Prints `line` to standard error and returns it as a failed result.
ExchangeResult fail(const QString &line);

} // namespace exchange_files
