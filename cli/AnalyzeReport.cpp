#include "cli/AnalyzeReport.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace analyze_report {

namespace {

std::string joined(const std::vector<std::string> &parts, const char *separator)
{
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) text += (i == 0 ? "" : separator) + parts[i];
    return text;
}

std::string fixed(const std::optional<double> &value, int width, const char *missing = "-inf")
{
    char buffer[64];
    if (value)
        std::snprintf(buffer, sizeof buffer, "%*.1f", width, *value);
    else
        std::snprintf(buffer, sizeof buffer, "%*s", width, missing);
    return buffer;
}

// 0:03.2, 10:00.0, 1:02:03.5
std::string clock(double seconds)
{
    const double tenths = std::round(seconds * 10.0);
    const auto total = static_cast<long long>(tenths);
    const long long hours = total / 36000, minutes = total / 600 % 60, rest = total % 600;
    char buffer[48];
    if (hours > 0)
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld:%02lld.%lld", hours, minutes, rest / 10, rest % 10);
    else
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld.%lld", minutes, rest / 10, rest % 10);
    return buffer;
}

std::string jsonString(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char buffer[8];
                std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
                out += buffer;
            } else {
                out += c;
            }
        }
    }
    return out + '"';
}

std::string jsonNumber(const std::optional<double> &value) { return value ? exactNumber(*value) : "null"; }
std::string csvNumber(const std::optional<double> &value) { return value ? exactNumber(*value) : ""; }

std::string csvField(const std::string &text)
{
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string out = "\"";
    for (const char c : text) out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + '"';
}

// Per-file figures that exist only once the file was opened.
bool measured(const FileAnalysis &result) { return result.opened && result.sampleRate > 0; }

} // namespace

std::string exactNumber(double value)
{
    char buffer[64];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    return std::string(buffer, end);
}

std::string textHeader(bool withTarget)
{
    std::string line = "I (LUFS)  LRA (LU)  max M  max S  TP (dBTP)  SP (dBFS)   duration    rate  ch  ";
    if (withTarget) line += "target  ";
    return line + "file\n";
}

std::string textRow(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict)
{
    char middle[96];
    std::snprintf(middle, sizeof middle, "  %9s  %9s  %10s  %6d  %2d  ", fixed(analysis::maxPeakDecibels(result.truePeaks), 9).c_str(),
                  fixed(analysis::maxPeakDecibels(result.samplePeaks), 9).c_str(), clock(result.durationSeconds()).c_str(),
                  result.sampleRate, result.channels);
    std::string line = fixed(result.integratedLufs, 8) + "  " + fixed(result.loudnessRangeLu, 8, "-") + "  " +
                       fixed(result.maxMomentaryLufs, 5) + "  " + fixed(result.maxShortTermLufs, 5) + middle;
    if (verdict) line += !verdict->pass ? "-       " : *verdict->pass ? "pass    " : "FAIL    ";
    line += displayName + "\n";
    for (const std::string &note : result.notes) line += "    note: " + note + "\n";
    if (!result.error.empty()) line += "    error: " + result.error + "\n";
    return line;
}

std::string jsonLine(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict)
{
    std::vector<std::string> channels;
    for (const double peak : result.truePeaks) channels.push_back(jsonNumber(analysis::peakDecibels(peak)));
    const bool known = measured(result);
    std::string line = "{\"file\":" + jsonString(displayName);
    line += ",\"integrated_lufs\":" + jsonNumber(result.integratedLufs);
    line += ",\"lra_lu\":" + jsonNumber(result.loudnessRangeLu);
    line += ",\"max_momentary_lufs\":" + jsonNumber(result.maxMomentaryLufs);
    line += ",\"max_shortterm_lufs\":" + jsonNumber(result.maxShortTermLufs);
    line += ",\"true_peak_dbtp\":" + jsonNumber(analysis::maxPeakDecibels(result.truePeaks));
    line += ",\"true_peak_dbtp_channels\":[" + joined(channels, ",") + "]";
    line += ",\"sample_peak_dbfs\":" + jsonNumber(analysis::maxPeakDecibels(result.samplePeaks));
    line += ",\"duration_s\":" + (known ? exactNumber(result.durationSeconds()) : std::string("null"));
    line += ",\"sample_rate\":" + (known ? std::to_string(result.sampleRate) : std::string("null"));
    line += ",\"channels\":" + (known ? std::to_string(result.channels) : std::string("null"));
    if (verdict) {
        line += ",\"target\":" + jsonString(verdict->target);
        line += ",\"pass\":" + std::string(!verdict->pass ? "null" : *verdict->pass ? "true" : "false");
    }
    if (!result.notes.empty()) line += ",\"note\":" + jsonString(joined(result.notes, "; "));
    if (!result.error.empty()) line += ",\"error\":" + jsonString(result.error);
    return line + "}";
}

std::string csvHeader(bool withTarget)
{
    std::string line = "file,integrated_lufs,lra_lu,max_momentary_lufs,max_shortterm_lufs,true_peak_dbtp,"
                       "true_peak_dbtp_channels,sample_peak_dbfs,duration_s,sample_rate,channels";
    if (withTarget) line += ",target,pass";
    return line + ",note,error\n";
}

std::string csvRow(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict)
{
    std::vector<std::string> channels;
    for (const double peak : result.truePeaks) channels.push_back(csvNumber(analysis::peakDecibels(peak)));
    const bool known = measured(result);
    std::vector<std::string> fields{
        csvField(displayName),
        csvNumber(result.integratedLufs),
        csvNumber(result.loudnessRangeLu),
        csvNumber(result.maxMomentaryLufs),
        csvNumber(result.maxShortTermLufs),
        csvNumber(analysis::maxPeakDecibels(result.truePeaks)),
        joined(channels, ";"),
        csvNumber(analysis::maxPeakDecibels(result.samplePeaks)),
        known ? exactNumber(result.durationSeconds()) : "",
        known ? std::to_string(result.sampleRate) : "",
        known ? std::to_string(result.channels) : "",
    };
    if (verdict) {
        fields.push_back(csvField(verdict->target));
        fields.push_back(!verdict->pass ? "" : *verdict->pass ? "true" : "false");
    }
    fields.push_back(csvField(joined(result.notes, "; ")));
    fields.push_back(csvField(result.error));
    return joined(fields, ",") + "\n";
}

} // namespace analyze_report
