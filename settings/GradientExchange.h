#pragma once

#include "settings/ExchangeFiles.h"
#include "settings/GradientPreset.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

class AppSettings;

// Gradient exchange files: the preset records of the settings store, either a JSON array
// (every custom preset) or a single record (one preset exported from the editor).
namespace gradient_exchange {

inline constexpr const char *defaultFileName = "KelvraMeters_Gradients.kmgradients";
inline constexpr const char *fileSuffix = "kmgradients";

// The presets of a gradient file, or the diagnostic line saying why there are none:
// "Failed to decode gradient file" for content that is no gradient record (or array of
// records), "Failed to import gradient: " and the reason when it exceeds the limits.
struct DecodedGradients {
    std::vector<GradientPreset> presets;
    QString failure;
};
DecodedGradients decode(const QByteArray &json);

// What importing several files did: presets added, and one failure line per skipped file.
struct GradientImportResult {
    struct FileFailure {
        QString path;    // the skipped file
        QString failure; // the line printed to standard error
    };
    int importedCount = 0;
    std::vector<FileFailure> failures;

    bool succeeded() const { return failures.empty(); }
};

// Writes every preset whose isBuiltIn is false, in list order, as a JSON array.
// Failures print "Failed to export gradients: " and the reason.
ExchangeResult exportAllCustomToFile(const AppSettings &settings, const QString &path);

// Writes one preset as a single record. Failures print "Failed to export gradient: ".
ExchangeResult exportPresetToFile(const GradientPreset &preset, const QString &path);

// Reads each file in turn; the presets of every readable file are added as imports add
// them (new ids, unique names, saved); a file that fails is skipped whole.
GradientImportResult importFiles(AppSettings &settings, const QStringList &paths);

// The name proposed when one preset is exported: the preset's name with the gradient
// suffix, made safe as a file name ("Warm/Cold" becomes "Warm-Cold.kmgradients").
QString proposedFileName(const GradientPreset &preset);

} // namespace gradient_exchange
