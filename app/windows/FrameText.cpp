#include "app/windows/FrameText.h"

#include <QRegularExpression>

#include <cmath>

namespace frame_text {

QString format(const QRect &frame)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}").arg(frame.x()).arg(frame.y()).arg(frame.width()).arg(frame.height());
}

std::optional<QRect> parse(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(
        R"(^\s*\{\s*\{\s*([-+]?\d+(?:\.\d+)?)\s*,\s*([-+]?\d+(?:\.\d+)?)\s*\}\s*,)"
        R"(\s*\{\s*([-+]?\d+(?:\.\d+)?)\s*,\s*([-+]?\d+(?:\.\d+)?)\s*\}\s*\}\s*$)"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch()) return std::nullopt;

    int values[4] = {};
    for (int i = 0; i < 4; ++i) {
        const double value = match.captured(i + 1).toDouble();
        // Screens are far smaller than this; larger numbers are garbage, not frames.
        if (!std::isfinite(value) || std::fabs(value) > 1.0e6) return std::nullopt;
        values[i] = static_cast<int>(std::lround(value));
    }
    if (values[2] <= 0 || values[3] <= 0) return std::nullopt;
    return QRect(values[0], values[1], values[2], values[3]);
}

} // namespace frame_text
