#pragma once

#include "views/Canvas.h"

#include <optional>
#include <string>
#include <vector>

// A canvas that draws nothing and keeps every drawing call, with the state it was
// made in, so tests can check what a view would put on screen. Text is measured with
// fixed proportions of the font size, so layouts come out the same on every machine.
class RecordingCanvas final : public Canvas {
public:
    enum class Kind {
        FillRect,
        StrokeRect,
        FillRoundedRect,
        FillPath,
        StrokePath,
        StrokeLine,
        StrokeArc,
        FillEllipse,
        StrokeEllipse,
        Text,
    };

    struct GradientRecord {
        Point start;
        Point end;
        std::vector<DrawableGradientStop> stops;
    };

    struct Command {
        Kind kind = Kind::FillRect;
        Rect rect;                              // rectangles, ellipses
        double cornerRadius = 0.0;              // FillRoundedRect
        Point from;                             // StrokeLine start, StrokeArc centre, Text baseline start
        Point to;                               // StrokeLine end
        double radius = 0.0;                    // StrokeArc, points
        double startDegrees = 0.0;              // StrokeArc
        double sweepDegrees = 0.0;              // StrokeArc
        RgbColor color;                         // unused when gradient is set
        std::optional<GradientRecord> gradient; // gradient fills
        StrokeStyle stroke;                     // strokes; StrokeRect uses stroke.width
        Path path;                              // FillPath, StrokePath
        std::string text;                       // Text
        Font font;                              // Text
        // State the call was made in.
        Point translation;                      // accumulated translate() offset
        double opacity = 1.0;                   // accumulated multiplyOpacity() factor
        std::optional<Rect> clip;               // clip in canvas coordinates (after translation)
    };

    // Fixed text proportions of the font size: every glyph is this wide, this tall.
    static constexpr double glyphWidthFactor = 0.6;
    static constexpr double ascentFactor = 0.8;
    static constexpr double descentFactor = 0.2;

    const std::vector<Command> &commands() const { return commands_; }
    std::vector<Command> commandsOfKind(Kind kind) const;
    // Text commands whose text equals the given string.
    std::vector<Command> textCommands(std::string_view text) const;
    void clear() { commands_.clear(); }

    TextMetrics measureText(std::string_view text, const Font &font) const override;

    void save() override;
    void restore() override;
    void translate(double dx, double dy) override;
    void multiplyOpacity(double factor) override;
    void clipToRect(const Rect &rect) override;

    void fillRect(const Rect &rect, const RgbColor &color) override;
    void strokeRect(const Rect &rect, const RgbColor &color, double lineWidth) override;
    void fillRoundedRect(const Rect &rect, double cornerRadius, const RgbColor &color) override;
    void fillRoundedRect(const Rect &rect, double cornerRadius, const LinearGradient &gradient) override;
    void fillPath(const Path &path, const RgbColor &color) override;
    void fillPath(const Path &path, const LinearGradient &gradient) override;
    void strokePath(const Path &path, const RgbColor &color, const StrokeStyle &style) override;
    void strokeLine(Point from, Point to, const RgbColor &color, const StrokeStyle &style) override;
    void strokeArc(Point center, double radius, double startDegrees, double sweepDegrees, const RgbColor &color,
                   const StrokeStyle &style) override;
    void fillEllipse(const Rect &bounds, const RgbColor &color) override;
    void strokeEllipse(const Rect &bounds, const RgbColor &color, const StrokeStyle &style) override;
    // Recorded as one StrokeLine (round caps), FillEllipse or StrokeArc (butt ends)
    // command per element.
    void strokeSegments(std::span<const ColoredSegment> segments) override;
    void fillDiscs(std::span<const ColoredDisc> discs) override;
    void strokeArcs(std::span<const ColoredArc> arcs) override;
    void drawText(Point baselineStart, std::string_view text, const Font &font, const RgbColor &color) override;

private:
    struct State {
        Point translation;
        double opacity = 1.0;
        std::optional<Rect> clip;
    };

    Command &record(Kind kind);
    static GradientRecord toRecord(const LinearGradient &gradient);

    std::vector<Command> commands_;
    State state_;
    std::vector<State> saved_;
};
