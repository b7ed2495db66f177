#include "views/PeakTriangle.h"

Path peakTrianglePath(const Rect &rect)
{
    Path path;
    path.moveTo({rect.left(), rect.top()});
    path.lineTo({rect.right(), rect.centerY()});
    path.lineTo({rect.left(), rect.bottom()});
    path.close();
    return path;
}

Path peakTrianglePathTurned(const Rect &rect)
{
    // Turning by 180 degrees about the centre swaps opposite corners.
    Path path;
    path.moveTo({rect.right(), rect.bottom()});
    path.lineTo({rect.left(), rect.centerY()});
    path.lineTo({rect.right(), rect.top()});
    path.close();
    return path;
}
