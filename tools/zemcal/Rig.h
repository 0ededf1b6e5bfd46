// Rig: the host side of the virtual bench. It turns a logical point into
// galvo commands through the library (uncorrected or corrected), routes the
// commands to the mirrors as a controller card does, and asks the virtual
// head where the spot lands.
//
// Frames: the library's least-squares path corrects in the "command frame",
// the logical frame with the saved invert flags applied (the flip flag
// chooses which coordinate each invert flag negates), and never exchanges
// the axes itself. With the flip flag set the card therefore sends the
// corrected x to the Y mirror and y to the X mirror, which is what a head
// whose X mirror draws along logical y needs.
#pragma once

#include <zemcal/ZemCal.h>

#include <vector>

#include "VirtualHead.h"

namespace zemcal_tool {

/// The least-squares path's flag set of a record.
struct AxisFlags {
    bool flip = false;
    bool xInvert = false;
    bool yInvert = false;
};

AxisFlags savedFlags(const tagLenPar& rec);

/// The inversion rule: negates x and/or y as the flags say. It is its own
/// inverse, so it maps logical to command frame and back.
Vec2 applyInversion(Vec2 p, const AxisFlags& f);

/// One marked point.
struct Shot {
    Vec2 device;           ///< the library's output, galvo units (before routing)
    Vec2 spot;             ///< where it landed (or was measured), mm, workpiece frame
    bool clamped = false;  ///< a coordinate hit the clamp (0 or Resolution) or is NaN
};

class Rig {
public:
    explicit Rig(VirtualHead& head) : head_(head) {}

    /// Ideal linear command Center + k*P (ZemCal::LP2DPEX_Cal).
    Shot linear(const tagLenPar& rec, Vec2 p) const;
    /// Corrected commands (ZemCal::CalibPoint with rec.UseLsm as set) for
    /// many points, prepared in one go by a CPointCorrector built from rec:
    /// the same commands, much faster for a record with grid tables. One
    /// shot per point, in order.
    std::vector<Shot> correctedAll(const tagLenPar& rec, const std::vector<Vec2>& points) const;

private:
    Shot fire(const tagLenPar& rec, tagVeyPointF out) const;

    VirtualHead& head_;
};

}  // namespace zemcal_tool
