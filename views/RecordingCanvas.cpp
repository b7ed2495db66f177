#include "views/RecordingCanvas.h"

#include <algorithm>
#include <cassert>

namespace {

// Code points in a UTF-8 string: every byte that does not continue a sequence.
std::size_t codePointCount(std::string_view text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

Rect intersect(const Rect &a, const Rect &b)
{
    const double left = std::max(a.left(), b.left());
    const double top = std::max(a.top(), b.top());
    const double right = std::min(a.right(), b.right());
    const double bottom = std::min(a.bottom(), b.bottom());
    return {left, top, std::max(0.0, right - left), std::max(0.0, bottom - top)};
}

} // namespace

std::vector<RecordingCanvas::Command> RecordingCanvas::commandsOfKind(Kind kind) const
{
    std::vector<Command> result;
    std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(result),
                 [kind](const Command &c) { return c.kind == kind; });
    return result;
}

std::vector<RecordingCanvas::Command> RecordingCanvas::textCommands(std::string_view text) const
{
    std::vector<Command> result;
    std::copy_if(commands_.begin(), commands_.end(), std::back_inserter(result),
                 [text](const Command &c) { return c.kind == Kind::Text && c.text == text; });
    return result;
}

TextMetrics RecordingCanvas::measureText(std::string_view text, const Font &font) const
{
    return {static_cast<double>(codePointCount(text)) * font.size * glyphWidthFactor, font.size * ascentFactor,
            font.size * descentFactor};
}

void RecordingCanvas::save() { saved_.push_back(state_); }

void RecordingCanvas::restore()
{
    assert(!saved_.empty());
    if (saved_.empty()) return;
    state_ = saved_.back();
    saved_.pop_back();
}

void RecordingCanvas::translate(double dx, double dy)
{
    state_.translation.x += dx;
    state_.translation.y += dy;
}

void RecordingCanvas::multiplyOpacity(double factor) { state_.opacity *= factor; }

void RecordingCanvas::clipToRect(const Rect &rect)
{
    const Rect placed{rect.x + state_.translation.x, rect.y + state_.translation.y, rect.width, rect.height};
    state_.clip = state_.clip ? intersect(*state_.clip, placed) : placed;
}

RecordingCanvas::Command &RecordingCanvas::record(Kind kind)
{
    Command &command = commands_.emplace_back();
    command.kind = kind;
    command.translation = state_.translation;
    command.opacity = state_.opacity;
    command.clip = state_.clip;
    return command;
}

RecordingCanvas::GradientRecord RecordingCanvas::toRecord(const LinearGradient &gradient)
{
    return {gradient.start, gradient.end, {gradient.stops.begin(), gradient.stops.end()}};
}

void RecordingCanvas::fillRect(const Rect &rect, const RgbColor &color)
{
    Command &c = record(Kind::FillRect);
    c.rect = rect;
    c.color = color;
}

void RecordingCanvas::strokeRect(const Rect &rect, const RgbColor &color, double lineWidth)
{
    Command &c = record(Kind::StrokeRect);
    c.rect = rect;
    c.color = color;
    c.stroke.width = lineWidth;
}

void RecordingCanvas::fillRoundedRect(const Rect &rect, double cornerRadius, const RgbColor &color)
{
    Command &c = record(Kind::FillRoundedRect);
    c.rect = rect;
    c.cornerRadius = cornerRadius;
    c.color = color;
}

void RecordingCanvas::fillRoundedRect(const Rect &rect, double cornerRadius, const LinearGradient &gradient)
{
    Command &c = record(Kind::FillRoundedRect);
    c.rect = rect;
    c.cornerRadius = cornerRadius;
    c.gradient = toRecord(gradient);
}

void RecordingCanvas::fillPath(const Path &path, const RgbColor &color)
{
    Command &c = record(Kind::FillPath);
    c.path = path;
    c.color = color;
}

void RecordingCanvas::fillPath(const Path &path, const LinearGradient &gradient)
{
    Command &c = record(Kind::FillPath);
    c.path = path;
    c.gradient = toRecord(gradient);
}

void RecordingCanvas::strokePath(const Path &path, const RgbColor &color, const StrokeStyle &style)
{
    Command &c = record(Kind::StrokePath);
    c.path = path;
    c.color = color;
    c.stroke = style;
}

void RecordingCanvas::strokeLine(Point from, Point to, const RgbColor &color, const StrokeStyle &style)
{
    Command &c = record(Kind::StrokeLine);
    c.from = from;
    c.to = to;
    c.color = color;
    c.stroke = style;
}

void RecordingCanvas::strokeArc(Point center, double radius, double startDegrees, double sweepDegrees,
                                const RgbColor &color, const StrokeStyle &style)
{
    Command &c = record(Kind::StrokeArc);
    c.from = center;
    c.radius = radius;
    c.startDegrees = startDegrees;
    c.sweepDegrees = sweepDegrees;
    c.color = color;
    c.stroke = style;
}

void RecordingCanvas::fillEllipse(const Rect &bounds, const RgbColor &color)
{
    Command &c = record(Kind::FillEllipse);
    c.rect = bounds;
    c.color = color;
}

void RecordingCanvas::strokeEllipse(const Rect &bounds, const RgbColor &color, const StrokeStyle &style)
{
    Command &c = record(Kind::StrokeEllipse);
    c.rect = bounds;
    c.color = color;
    c.stroke = style;
}

void RecordingCanvas::drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color)
{
    Command &c = record(Kind::Text);
    c.from = baselineStart;
    c.text = std::string(text);
    c.font = font;
    c.color = color;
}

void RecordingCanvas::strokeSegments(std::span<const ColoredSegment> segments)
{
    for (const ColoredSegment &s : segments) strokeLine(s.from, s.to, s.color, {s.width, LineCap::Round});
}

void RecordingCanvas::fillDiscs(std::span<const ColoredDisc> discs)
{
    for (const ColoredDisc &d : discs) fillEllipse(Rect::centeredAt(d.center, d.diameter, d.diameter), d.color);
}

void RecordingCanvas::strokeArcs(std::span<const ColoredArc> arcs)
{
    for (const ColoredArc &a : arcs)
        strokeArc(a.center, a.radius, a.startDegrees, a.sweepDegrees, a.color, {a.width, LineCap::Butt});
}
