#include "views/qt/ReducedResolutionLayer.h"

#include "views/qt/PremultipliedPixel.h"

#include <algorithm>
#include <cmath>

namespace {

// A target pixel centre lies between layer pixels index and index + 1 (the border
// shifts the layer by one pixel): at (target + 0.5) / factor + 0.5 in layer pixel centres.
void locate(int target, int factor, int &index, std::uint32_t &weight)
{
    const double position = (target + 0.5) / factor + 0.5;
    index = static_cast<int>(std::floor(position));
    weight = static_cast<std::uint32_t>(std::lround((position - index) * 256.0));
}

} // namespace

void ReducedResolutionLayer::reset(int targetWidth, int targetHeight, int factor)
{
    factor = std::max(1, factor);
    targetWidth = std::max(0, targetWidth);
    targetHeight = std::max(0, targetHeight);
    if (factor == factor_ && targetWidth == targetWidth_ && targetHeight == targetHeight_ && !pixels_.empty()) {
        clear();
        return;
    }
    factor_ = factor;
    targetWidth_ = targetWidth;
    targetHeight_ = targetHeight;
    width_ = (targetWidth_ + factor_ - 1) / factor_ + 2;
    height_ = (targetHeight_ + factor_ - 1) / factor_ + 2;
    pixels_.assign(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_), 0u);
    blendedRow_.assign(static_cast<std::size_t>(width_), 0u);
    columnIndex_.resize(static_cast<std::size_t>(targetWidth_));
    columnWeight_.resize(static_cast<std::size_t>(targetWidth_));
    for (int x = 0; x < targetWidth_; ++x)
        locate(x, factor_, columnIndex_[static_cast<std::size_t>(x)], columnWeight_[static_cast<std::size_t>(x)]);
    touchedLeft_ = touchedTop_ = 0;
    touchedRight_ = touchedBottom_ = -1;
}

void ReducedResolutionLayer::clear()
{
    for (int j = touchedTop_; j <= touchedBottom_ && touchedLeft_ <= touchedRight_; ++j)
        std::fill_n(pixels_.begin() + static_cast<std::ptrdiff_t>(j) * width_ + touchedLeft_,
                    touchedRight_ - touchedLeft_ + 1, 0u);
    touchedLeft_ = touchedTop_ = 0;
    touchedRight_ = touchedBottom_ = -1;
}

void ReducedResolutionLayer::touch(double left, double top, double right, double bottom)
{
    const int l = std::max(0, static_cast<int>(std::floor(left)));
    const int t = std::max(0, static_cast<int>(std::floor(top)));
    const int r = std::min(width_ - 1, static_cast<int>(std::ceil(right)));
    const int b = std::min(height_ - 1, static_cast<int>(std::ceil(bottom)));
    if (l > r || t > b) return;
    if (touchedLeft_ > touchedRight_) {
        touchedLeft_ = l;
        touchedTop_ = t;
        touchedRight_ = r;
        touchedBottom_ = b;
        return;
    }
    touchedLeft_ = std::min(touchedLeft_, l);
    touchedTop_ = std::min(touchedTop_, t);
    touchedRight_ = std::max(touchedRight_, r);
    touchedBottom_ = std::max(touchedBottom_, b);
}

void ReducedResolutionLayer::compositeOnto(PixelSurface &target)
{
    const int width = std::min(target.width, targetWidth_);
    const int height = std::min(target.height, targetHeight_);
    if (width <= 0 || height <= 0 || touchedLeft_ > touchedRight_) return;

    // Target rows that read touched layer rows: a row reads layer rows j and j + 1.
    int firstRow = 0;
    int lastRow = height - 1;
    {
        std::uint32_t unused = 0;
        int j = 0;
        while (firstRow < height && (locate(firstRow, factor_, j, unused), j + 1 < touchedTop_)) ++firstRow;
        while (lastRow >= firstRow && (locate(lastRow, factor_, j, unused), j > touchedBottom_)) --lastRow;
    }
    // Target columns that read touched layer columns.
    const auto columnsBegin = columnIndex_.begin();
    const auto columnsEnd = columnsBegin + width;
    const int left = static_cast<int>(std::lower_bound(columnsBegin, columnsEnd, touchedLeft_ - 1) - columnsBegin);
    const int right = static_cast<int>(std::upper_bound(columnsBegin, columnsEnd, touchedRight_) - columnsBegin) - 1;
    if (left > right) return;
    // Layer columns read by those target columns.
    const int from = columnIndex_[static_cast<std::size_t>(left)];
    const int to = columnIndex_[static_cast<std::size_t>(right)] + 1;

    for (int y = firstRow; y <= lastRow; ++y) {
        int j = 0;
        std::uint32_t rowWeight = 0;
        locate(y, factor_, j, rowWeight);
        const std::uint32_t *above = pixels_.data() + static_cast<std::ptrdiff_t>(j) * width_;
        const std::uint32_t *below = above + width_;
        bool empty = true;
        for (int k = from; k <= to; ++k) {
            const std::uint32_t value = premultiplied::interpolated(above[k], below[k], rowWeight);
            blendedRow_[static_cast<std::size_t>(k)] = value;
            empty = empty && value == 0;
        }
        if (empty) continue;

        std::uint32_t *out = target.pixels + static_cast<std::ptrdiff_t>(y) * target.stride;
        for (int x = left; x <= right; ++x) {
            const auto k = static_cast<std::size_t>(columnIndex_[static_cast<std::size_t>(x)]);
            const std::uint32_t a = blendedRow_[k];
            const std::uint32_t b = blendedRow_[k + 1];
            if ((a | b) == 0) continue;
            out[x] = premultiplied::over(premultiplied::interpolated(a, b, columnWeight_[static_cast<std::size_t>(x)]), out[x]);
        }
    }
}
