#include "PatchLayout.h"

#include <algorithm>
#include <cmath>

QRect PatchArea(const QSize& screen, double percent) {
    const int width = screen.width();
    const int height = screen.height();
    if (percent >= 100.0 || width <= 0 || height <= 0)
        return QRect(0, 0, std::max(width, 0), std::max(height, 0));
    const double area = std::max(percent, 0.0) / 100.0 * double(width) * double(height);
    const int shortSide = std::min(width, height);
    int w = int(std::lround(std::sqrt(area)));
    int h = w;
    if (w > shortSide) {
        // Too big for a square: the full short side, and the long side makes up the area.
        if (width >= height) {
            h = height;
            w = int(std::lround(area / height));
        } else {
            w = width;
            h = int(std::lround(area / width));
        }
    }
    w = std::clamp(w, 1, width);
    h = std::clamp(h, 1, height);
    return QRect((width - w) / 2, (height - h) / 2, w, h);
}

int EightBitLevel(double value) {
    if (!(value > 0.0))
        return 0;
    return std::min(255, int(std::lround(value * 255.0)));
}
