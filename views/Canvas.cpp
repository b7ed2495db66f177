#include "views/Canvas.h"

LinearGradient gradientOver(const DrawableGradient &gradient, const Rect &rect)
{
    LinearGradient result;
    result.stops = gradient.stops;
    switch (gradient.direction) {
    case GradientDirection::BottomToTop:
        result.start = {rect.centerX(), rect.bottom()};
        result.end = {rect.centerX(), rect.top()};
        break;
    case GradientDirection::LeftToRight:
        result.start = {rect.left(), rect.centerY()};
        result.end = {rect.right(), rect.centerY()};
        break;
    }
    return result;
}
