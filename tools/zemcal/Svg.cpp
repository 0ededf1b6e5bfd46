// The SVG writer; see Svg.h.
#include "Svg.h"

#include <algorithm>
#include <cmath>

#include "Text.h"

namespace zemcal_tool {

Svg::Svg(double width, double height) : width_(width), height_(height) {}

void Svg::rect(double x, double y, double w, double h, const std::string& fill, const std::string& stroke,
               double strokeWidth) {
    body_ += strprintf("<rect x=\"%.2f\" y=\"%.2f\" width=\"%.2f\" height=\"%.2f\" fill=\"%s\"", x, y, w, h,
                       fill.c_str());
    if (stroke != "none") body_ += strprintf(" stroke=\"%s\" stroke-width=\"%.2f\"", stroke.c_str(), strokeWidth);
    body_ += "/>\n";
}

void Svg::line(double x1, double y1, double x2, double y2, const std::string& stroke, double width,
               const std::string& dash) {
    body_ += strprintf("<line x1=\"%.2f\" y1=\"%.2f\" x2=\"%.2f\" y2=\"%.2f\" stroke=\"%s\" stroke-width=\"%.2f\"",
                       x1, y1, x2, y2, stroke.c_str(), width);
    if (!dash.empty()) body_ += " stroke-dasharray=\"" + dash + "\"";
    body_ += "/>\n";
}

void Svg::polyline(const std::vector<Vec2>& points, const std::string& stroke, double width,
                   const std::string& dash) {
    body_ += "<polyline fill=\"none\" stroke=\"" + stroke + "\"" + strprintf(" stroke-width=\"%.2f\"", width);
    if (!dash.empty()) body_ += " stroke-dasharray=\"" + dash + "\"";
    body_ += " points=\"";
    for (const Vec2& p : points) body_ += strprintf("%.2f,%.2f ", p.x, p.y);
    body_ += "\"/>\n";
}

void Svg::circle(double cx, double cy, double r, const std::string& fill, const std::string& stroke,
                 double strokeWidth) {
    body_ += strprintf("<circle cx=\"%.2f\" cy=\"%.2f\" r=\"%.2f\" fill=\"%s\"", cx, cy, r, fill.c_str());
    if (stroke != "none") body_ += strprintf(" stroke=\"%s\" stroke-width=\"%.2f\"", stroke.c_str(), strokeWidth);
    body_ += "/>\n";
}

void Svg::text(double x, double y, const std::string& s, double size, const char* anchor, bool bold) {
    body_ += strprintf("<text x=\"%.2f\" y=\"%.2f\" font-size=\"%.1f\" text-anchor=\"%s\"%s>", x, y, size, anchor,
                       bold ? " font-weight=\"bold\"" : "");
    body_ += escapeXml(s) + "</text>\n";
}

std::string Svg::str() const {
    return strprintf("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
                     "viewBox=\"0 0 %.0f %.0f\" font-family=\"DejaVu Sans, Arial, sans-serif\">\n",
                     width_, height_, width_, height_) +
           strprintf("<rect x=\"0\" y=\"0\" width=\"%.0f\" height=\"%.0f\" fill=\"#ffffff\"/>\n", width_, height_) +
           body_ + "</svg>\n";
}

std::string escapeXml(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string rampColour(double t) {
    // Five stops close to the viridis map, interpolated linearly in RGB.
    static const double stops[5][3] = {
        {68, 1, 84}, {59, 82, 139}, {33, 145, 140}, {94, 201, 98}, {253, 231, 37}};
    if (!(t > 0.0)) t = 0.0;  // NaN too
    if (t > 1.0) t = 1.0;
    const double pos = t * 4.0;
    const int i = std::min(3, static_cast<int>(pos));
    const double f = pos - i;
    int rgb[3];
    for (int c = 0; c < 3; ++c) rgb[c] = static_cast<int>(std::lround(stops[i][c] + (stops[i + 1][c] - stops[i][c]) * f));
    return strprintf("#%02x%02x%02x", rgb[0], rgb[1], rgb[2]);
}

double niceFloor(double v) {
    const double p = std::pow(10.0, std::floor(std::log10(v)));
    const double m = v / p;
    return (m >= 5.0 ? 5.0 : m >= 2.0 ? 2.0 : 1.0) * p;
}

double roundUp2(double v) {
    const double p = std::pow(10.0, std::floor(std::log10(v)) - 1.0);
    return std::ceil(v / p - 1e-9) * p;
}

}  // namespace zemcal_tool
