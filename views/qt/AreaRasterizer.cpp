#include "views/qt/AreaRasterizer.h"

#include "views/qt/PremultipliedPixel.h"

#include <algorithm>
#include <cmath>

bool isAreaUnderCurve(const Path &path)
{
    const std::vector<Path::Element> &elements = path.elements();
    if (elements.size() < 4 || elements.front().verb != Path::Verb::MoveTo) return false;
    const std::size_t last = elements.back().verb == Path::Verb::Close ? elements.size() - 2 : elements.size() - 1;
    if (last < 2) return false;
    for (std::size_t i = 1; i <= last; ++i) {
        if (elements[i].verb != Path::Verb::LineTo) return false;
        if (elements[i].point.x < elements[i - 1].point.x) return false;
    }
    return elements.front().point.y == elements[last].point.y;
}

void AreaRasterizer::begin(int width, int height)
{
    width_ = std::max(width, 0);
    height_ = std::max(height, 0);
    stride_ = width_ + 2;
    cells_.assign(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(height_), 0.0f);
}

void AreaRasterizer::addEdge(double x0, double y0, double x1, double y1)
{
    if (y0 == y1 || !std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1)) return;
    // Walk downwards; the sign keeps the winding direction.
    const float direction = y0 < y1 ? 1.0f : -1.0f;
    if (y0 > y1) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }
    if (y1 <= 0.0 || y0 >= height_) return;
    const double dxdy = (x1 - x0) / (y1 - y0);
    const double top = std::max(y0, 0.0);
    const double bottom = std::min(y1, static_cast<double>(height_));
    const float right = static_cast<float>(width_);
    double x = x0 + (top - y0) * dxdy;
    for (int row = static_cast<int>(top); row < height_ && row < bottom; ++row) {
        const double rowBottom = std::min(static_cast<double>(row + 1), bottom);
        const double dy = rowBottom - std::max(static_cast<double>(row), top);
        const double xNext = x + dxdy * dy;
        const float d = static_cast<float>(dy) * direction;
        // The edge's piece in this row, pushed inside the surface horizontally: its
        // height still counts in full, so the winding of the row stays right.
        const float xa = std::clamp(static_cast<float>(std::min(x, xNext)), 0.0f, right);
        const float xb = std::clamp(static_cast<float>(std::max(x, xNext)), 0.0f, right);
        x = xNext;
        float *cells = cells_.data() + static_cast<std::ptrdiff_t>(row) * stride_;
        const float xaFloor = std::floor(xa);
        const int first = static_cast<int>(xaFloor);
        const int end = static_cast<int>(std::ceil(xb));
        if (end <= first + 1) {
            // Within one column: the area right of the piece's middle goes to the next cell.
            const float middle = 0.5f * (xa + xb) - xaFloor;
            cells[first] += d - d * middle;
            cells[first + 1] += d * middle;
            continue;
        }
        // Across columns: the area right of the piece, split over the cells it crosses.
        const float slope = 1.0f / (xb - xa);
        const float firstFraction = xa - xaFloor;
        const float firstArea = 0.5f * slope * (1.0f - firstFraction) * (1.0f - firstFraction);
        const float lastFraction = xb - static_cast<float>(end) + 1.0f;
        const float lastArea = 0.5f * slope * lastFraction * lastFraction;
        cells[first] += d * firstArea;
        if (end == first + 2) {
            cells[first + 1] += d * (1.0f - firstArea - lastArea);
        } else {
            const float second = slope * (1.5f - firstFraction);
            cells[first + 1] += d * (second - firstArea);
            for (int column = first + 2; column < end - 1; ++column) cells[column] += d * slope;
            const float beforeLast = second + static_cast<float>(end - first - 3) * slope;
            cells[end - 1] += d * (1.0f - beforeLast - lastArea);
        }
        cells[end] += d * lastArea;
    }
}

void AreaRasterizer::fill(PixelSurface &surface, std::span<const std::uint32_t> rowColors)
{
    const int width = std::min(width_, surface.width);
    const int height = std::min({height_, surface.height, static_cast<int>(rowColors.size())});
    for (int row = 0; row < height; ++row) {
        const float *cells = cells_.data() + static_cast<std::ptrdiff_t>(row) * stride_;
        std::uint32_t *pixels = surface.pixels + static_cast<std::ptrdiff_t>(row) * surface.stride;
        const std::uint32_t color = rowColors[static_cast<std::size_t>(row)];
        float winding = 0.0f;
        for (int column = 0; column < width; ++column) {
            winding += cells[column];
            const float coverage = std::min(std::fabs(winding), 1.0f);
            const auto alpha = static_cast<std::uint32_t>(coverage * 255.0f + 0.5f);
            pixels[column] = alpha == 255u ? color : premultiplied::scaled(color, alpha);
        }
    }
}
