#pragma once

#include "engine/analysis/FileAnalysis.h"

#include <optional>
#include <string>

// The lines `kelvrameters analyze` prints for one file: aligned text, a JSON object or
// a CSV record. Plain C++, so the formats are easy to check.
namespace analyze_report {

// The verdict against a delivery target, when one was asked for.
struct Verdict {
    std::string target;       // the preset's name
    std::optional<bool> pass; // empty when the file could not be read
};

// Aligned text: the header, then one row per file (file name last, so long names do not
// break the columns), followed by indented note and error lines.
std::string textHeader(bool withTarget);
std::string textRow(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict);

// One JSON object on one line (no newline at the end).
std::string jsonLine(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict);

// CSV with the JSON keys as the header; a value that was not measured is an empty field,
// per-channel true peaks are one field separated by ';'.
std::string csvHeader(bool withTarget);
std::string csvRow(const FileAnalysis &result, const std::string &displayName, const std::optional<Verdict> &verdict);

// Shortest text that reads back as the same double ("-23.000000000000004", "48000").
std::string exactNumber(double value);

} // namespace analyze_report
