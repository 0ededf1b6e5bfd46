// Svg: a minimal SVG writer, enough for the plot command. Coordinates are
// pixels, y down; numbers are written with two decimals in the "C" format.
#pragma once

#include <string>
#include <vector>

#include "VirtualHead.h"

namespace zemcal_tool {

class Svg {
public:
    Svg(double width, double height);

    void rect(double x, double y, double w, double h, const std::string& fill,
              const std::string& stroke = "none", double strokeWidth = 0.0);
    void line(double x1, double y1, double x2, double y2, const std::string& stroke, double width,
              const std::string& dash = "");
    void polyline(const std::vector<Vec2>& points, const std::string& stroke, double width,
                  const std::string& dash = "");
    void circle(double cx, double cy, double r, const std::string& fill, const std::string& stroke = "none",
                double strokeWidth = 0.0);
    /// anchor: "start", "middle" or "end".
    void text(double x, double y, const std::string& s, double size, const char* anchor = "start",
              bool bold = false);

    /// The finished document.
    std::string str() const;

private:
    double width_, height_;
    std::string body_;
};

/// Escapes &, <, >, " for XML text and attributes.
std::string escapeXml(const std::string& s);

/// A perceptually ordered colour ramp (dark blue - teal - green - yellow)
/// for t in [0, 1] (clamped), as "#rrggbb".
std::string rampColour(double t);

/// The largest of 1, 2, 5 times a power of ten not above v (v > 0).
double niceFloor(double v);
/// v rounded up to two significant digits (v > 0): a colour scale that
/// the largest value nearly fills.
double roundUp2(double v);

}  // namespace zemcal_tool
