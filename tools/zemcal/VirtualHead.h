// VirtualHead: a physically modelled two-axis galvanometer scan head behind an
// f-theta lens, so that the mark-measure-fit-correct workflow runs without
// hardware.
//
// Model, from the device command to the measured spot:
//   1. Command: a galvo gets D in galvo units; its command in millimetres is
//      c = (D - Center) / k with k = Resolution / FieldSize, Center =
//      (Resolution + 1) / 2 as the library computes it.
//   2. Mirrors: the optical angle is linear in the command, th = c / f.
//      The X mirror comes first, so the beam leaves along
//      d = (sin thx, cos thx sin thy, cos thx cos thy).
//   3. Lens: the field angle T (cos T = cos thx cos thy) lands at radius
//      r = f T + f2 T^2 + f3 T^3 along the azimuth of d:
//      X = r sin thx / sin T, Y = r cos thx sin thy / sin T (-> f thx, f thy
//      as T -> 0). With f = 160 mm a linear command aimed at a corner of a
//      100 mm field misses it by about 1.8 mm: the pincushion to calibrate.
//   4. Mounting, from the head's frame to the workpiece (logical) frame, y up:
//      invert flags negate the head's X / Y spot coordinate, swap exchanges
//      them (the X mirror then draws along logical y); then, in the workpiece
//      frame, a scale per half-axis, a trapezoid (a tilted head: the x extent
//      grows towards the top, the y extent towards the right), a shear of the
//      y axis towards x, a rotation about the centre and an offset.
//   5. Measurement: Gaussian noise of the given standard deviation on each
//      coordinate, from a seeded std::mt19937 through Box-Muller, so a seed
//      gives the same numbers on every standard library.
// Everything is double precision: the head is the physical world, not part of
// the bit-exact calibration arithmetic.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace zemcal_tool {

/// A point in millimetres (workpiece frame) or galvo units, double precision.
struct Vec2 {
    double x = 0.0;
    double y = 0.0;
};

/// The named parameters of a virtual head. Defaults describe a realistic
/// 16-bit head with a 160 mm f-theta lens and small mounting errors.
struct HeadParams {
    double focal = 160.0;      ///< f, mm per radian (first f-theta coefficient)
    double f2 = 0.0;           ///< mm per radian^2
    double f3 = 0.0;           ///< mm per radian^3
    double valSize = 100.0;    ///< mm: side of the working field
    double fieldSize = 110.0;  ///< mm: device span, Resolution galvo units wide
    std::int32_t resolution = 65535;  ///< largest galvo command
    double rotationDeg = 0.3;  ///< mounting rotation, counter-clockwise
    double scaleLeft = 0.25;   ///< percent: scale error of the left half (x < 0)
    double scaleRight = -0.15; ///< percent: right half (x > 0)
    double scaleTop = 0.2;     ///< percent: top half (y > 0)
    double scaleBottom = -0.3; ///< percent: bottom half (y < 0)
    double trapezoidX = 0.1;   ///< percent: growth of the x extent from centre to top edge
    double trapezoidY = -0.06; ///< percent: growth of the y extent from centre to right edge
    double shearDeg = 0.05;    ///< y axis leaning towards +x
    double offsetX = 0.04;     ///< mm
    double offsetY = -0.03;    ///< mm
    bool swap = false;         ///< the X mirror draws along logical y
    bool invertX = false;      ///< the head's X axis points along -x
    bool invertY = false;      ///< the head's Y axis points along -y
    double noiseUm = 0.5;      ///< measurement noise, standard deviation in micrometres
    std::uint32_t seed = 1;    ///< seed of the measurement noise
};

/// Checks a working field, device span and resolution; returns an empty
/// string when a calibration can be made of them, else a sentence.
std::string validateGeometry(double valSize, double fieldSize, std::int32_t resolution);

/// Checks the parameters; returns an empty string when they are usable, else
/// a sentence naming the first bad one.
std::string validateHeadParams(const HeadParams& p);

/// One "name = value unit" line per parameter, for the tool to print.
std::vector<std::string> describeHeadParams(const HeadParams& p);

/// The virtual head. Landing is deterministic; measuring adds seeded noise.
class VirtualHead {
public:
    explicit VirtualHead(const HeadParams& params);

    const HeadParams& params() const { return p_; }

    /// Where the spot lands (mm, workpiece frame) for the galvo commands
    /// gx (X mirror) and gy (Y mirror), in galvo units.
    Vec2 land(double gx, double gy) const;

    /// The spot as a measuring system reports it: land() plus noise.
    Vec2 measure(double gx, double gy);

    /// The lens alone: spot in the head's frame for optical angles (rad).
    Vec2 lensSpot(double thx, double thy) const;

private:
    double gaussian();

    HeadParams p_;
    double unitsPerMm_;
    double center_;
    std::mt19937 rng_;
    bool haveSpare_ = false;
    double spare_ = 0.0;
};

}  // namespace zemcal_tool
