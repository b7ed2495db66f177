#pragma once

#include <QRect>
#include <QString>

#include <optional>

// The text form of a window frame kept in the settings store: "{{x, y}, {w, h}}",
// origin then size, as the frames of earlier versions were written.
namespace frame_text {

QString format(const QRect &frame);
// Reads the four numbers of that form (whitespace and fractional parts tolerated,
// fractions rounded); anything else, or a size that is not positive, gives nullopt.
std::optional<QRect> parse(const QString &text);

} // namespace frame_text
