// The virtual head's physics; the model is described in VirtualHead.h.
#include "VirtualHead.h"

#include <cmath>
#include <cstdio>

namespace zemcal_tool {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRadPerDeg = kPi / 180.0;

// The largest optical angle per axis the model accepts (rad): beyond about
// 40 degrees no flat-field lens exists and the lens formula stops being a
// sensible description.
constexpr double kMaxAxisAngle = 0.7;

std::string format(const char* fmt, double a) {
    char buf[160];
    std::snprintf(buf, sizeof buf, fmt, a);
    return buf;
}

}  // namespace

std::string validateGeometry(double valSize, double fieldSize, std::int32_t resolution) {
    if (!(valSize > 0.0) || !std::isfinite(valSize)) return "the working field (--val-size) must be positive";
    if (!(fieldSize > valSize) || !std::isfinite(fieldSize))
        return "the device span (--field-size) must exceed the working field (--val-size): "
               "corrected commands for the corners need room beyond it";
    // The binary calibration file raises any resolution below 16 bits to
    // 65535, so a coarser head could not round-trip through a file; above 24
    // bits galvo units stop being exact in single precision.
    if (resolution < 65535 || resolution > 16777215)
        return "the resolution must lie between 65535 and 16777215 galvo units";
    return {};
}

std::string validateHeadParams(const HeadParams& p) {
    const double values[] = {p.focal, p.f2, p.f3, p.valSize, p.fieldSize, p.rotationDeg,
                             p.scaleLeft, p.scaleRight, p.scaleTop, p.scaleBottom,
                             p.trapezoidX, p.trapezoidY, p.shearDeg, p.offsetX, p.offsetY,
                             p.noiseUm};
    for (double v : values)
        if (!std::isfinite(v)) return "every head parameter must be a finite number";
    if (p.focal <= 0.0) return "the focal length must be positive";
    if (std::string g = validateGeometry(p.valSize, p.fieldSize, p.resolution); !g.empty()) return g;
    const double maxAngle = p.fieldSize * 0.5 / p.focal;
    if (maxAngle > kMaxAxisAngle)
        return format("the focal length is too short for the span: the edge of the span is %.3g rad "
                      "off axis (at most 0.7)", maxAngle);
    // The radius must grow with the field angle over the whole span.
    const double tMax = maxAngle * std::sqrt(2.0);
    for (int i = 0; i <= 16; ++i) {
        const double t = tMax * i / 16.0;
        if (p.focal + 2.0 * p.f2 * t + 3.0 * p.f3 * t * t <= 0.0)
            return "the lens radius r = f T + f2 T^2 + f3 T^3 must grow with T over the span";
    }
    if (std::fabs(p.rotationDeg) > 10.0 || std::fabs(p.shearDeg) > 10.0)
        return "rotation and shear are mounting errors of at most 10 degrees";
    const double percents[] = {p.scaleLeft, p.scaleRight, p.scaleTop, p.scaleBottom,
                               p.trapezoidX, p.trapezoidY};
    for (double v : percents)
        if (std::fabs(v) > 10.0) return "scale and trapezoid errors are at most 10 percent";
    if (std::fabs(p.offsetX) > p.valSize * 0.1 || std::fabs(p.offsetY) > p.valSize * 0.1)
        return "the offset is at most a tenth of the working field";
    if (p.noiseUm < 0.0 || p.noiseUm > 1000.0)
        return "the measurement noise lies between 0 and 1000 micrometres";
    return {};
}

std::vector<std::string> describeHeadParams(const HeadParams& p) {
    std::vector<std::string> lines;
    auto add = [&](const char* fmt, double v) { lines.push_back(format(fmt, v)); };
    add("lens         f = %g mm/rad", p.focal);
    if (p.f2 != 0.0 || p.f3 != 0.0) {
        add("             f2 = %g mm/rad^2", p.f2);
        add("             f3 = %g mm/rad^3", p.f3);
    }
    add("field        val-size = %g mm (working field)", p.valSize);
    add("             field-size = %g mm (device span)", p.fieldSize);
    add("             resolution = %.0f galvo units", p.resolution);
    add("mounting     rotation = %g deg", p.rotationDeg);
    add("             scale left/right = %+g %%", p.scaleLeft);
    lines.back() += format(" / %+g %%", p.scaleRight);
    add("             scale top/bottom = %+g %%", p.scaleTop);
    lines.back() += format(" / %+g %%", p.scaleBottom);
    add("             trapezoid x/y = %+g %%", p.trapezoidX);
    lines.back() += format(" / %+g %%", p.trapezoidY);
    add("             shear = %g deg", p.shearDeg);
    add("             offset = %+g mm", p.offsetX);
    lines.back() += format(", %+g mm", p.offsetY);
    lines.push_back(std::string("             axes: swap ") + (p.swap ? "yes" : "no") +
                    ", invert x " + (p.invertX ? "yes" : "no") + ", invert y " +
                    (p.invertY ? "yes" : "no"));
    add("measurement  noise = %g um", p.noiseUm);
    add("             seed = %.0f", p.seed);
    return lines;
}

VirtualHead::VirtualHead(const HeadParams& params)
    : p_(params),
      unitsPerMm_(static_cast<double>(params.resolution) / params.fieldSize),
      center_(static_cast<double>((params.resolution + 1) / 2)),
      rng_(params.seed) {}

Vec2 VirtualHead::lensSpot(double thx, double thy) const {
    const double dx = std::sin(thx);
    const double dy = std::cos(thx) * std::sin(thy);
    const double dz = std::cos(thx) * std::cos(thy);
    // sin T and T from the beam direction: atan2 keeps full precision near
    // the axis, where acos(cos thx cos thy) would lose half the digits.
    const double sinT = std::sqrt(dx * dx + dy * dy);
    if (sinT == 0.0) return {0.0, 0.0};
    const double t = std::atan2(sinT, dz);
    const double r = t * (p_.focal + t * (p_.f2 + t * p_.f3));
    return {r * dx / sinT, r * dy / sinT};
}

Vec2 VirtualHead::land(double gx, double gy) const {
    const double thx = (gx - center_) / unitsPerMm_ / p_.focal;
    const double thy = (gy - center_) / unitsPerMm_ / p_.focal;
    Vec2 s = lensSpot(thx, thy);

    // Head frame to workpiece frame.
    if (p_.invertX) s.x = -s.x;
    if (p_.invertY) s.y = -s.y;
    double x = p_.swap ? s.y : s.x;
    double y = p_.swap ? s.x : s.y;

    // Mounting errors, in the workpiece frame.
    x *= 1.0 + (x < 0.0 ? p_.scaleLeft : p_.scaleRight) / 100.0;
    y *= 1.0 + (y < 0.0 ? p_.scaleBottom : p_.scaleTop) / 100.0;
    const double half = p_.valSize * 0.5;
    const double tx = x * (1.0 + p_.trapezoidX / 100.0 * y / half);
    const double ty = y * (1.0 + p_.trapezoidY / 100.0 * x / half);
    const double sx = tx + std::tan(p_.shearDeg * kRadPerDeg) * ty;
    const double c = std::cos(p_.rotationDeg * kRadPerDeg);
    const double sn = std::sin(p_.rotationDeg * kRadPerDeg);
    return {c * sx - sn * ty + p_.offsetX, sn * sx + c * ty + p_.offsetY};
}

Vec2 VirtualHead::measure(double gx, double gy) {
    Vec2 v = land(gx, gy);
    const double sigma = p_.noiseUm * 1e-3;
    v.x += sigma * gaussian();
    v.y += sigma * gaussian();
    return v;
}

// Box-Muller on the raw 32-bit outputs of the generator (whose sequence the
// standard fixes), producing two deviates per pair of draws.
double VirtualHead::gaussian() {
    if (haveSpare_) {
        haveSpare_ = false;
        return spare_;
    }
    // u1 in (0, 1], u2 in [0, 1).
    const double u1 = (static_cast<double>(rng_()) + 1.0) / 4294967296.0;
    const double u2 = static_cast<double>(rng_()) / 4294967296.0;
    const double radius = std::sqrt(-2.0 * std::log(u1));
    spare_ = radius * std::sin(2.0 * kPi * u2);
    haveSpare_ = true;
    return radius * std::cos(2.0 * kPi * u2);
}

}  // namespace zemcal_tool
