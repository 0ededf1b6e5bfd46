// The head as one measured grid shows it: the command sent to each node and
// the position measured there, both as functions of the node's index, and
// the inverse maps the grid solver needs. Internal to the library.
//
// Interpolation: tensor Lagrange cubics in the (column, row) index over the
// four nearest nodes of the same side of the middle row and column (three
// on a 5 x 5 grid): the correction treats each half-axis on its own, so
// both maps may bend at the middle, and a stencil that crossed it would
// smear the bend. Outside the grid the end stencils extrapolate.
#pragma once

#include <vector>

namespace zemcal_detail {

struct Vec2d {
    double x = 0.0, y = 0.0;
};

class HeadModel {
public:
    /// n x n nodes, row by row: the commands (galvo units) and the measured
    /// positions (mm). n >= 3 and odd.
    HeadModel(int n, std::vector<Vec2d> commands, std::vector<Vec2d> measured);

    /// The maps at index (u, v) = (column, row), fractional.
    Vec2d Command(double u, double v) const { return at(commands_, u, v); }
    Vec2d Landing(double u, double v) const { return at(measured_, u, v); }

    /// The index where the measured positions reach p, found by Newton from
    /// (u, v); false when it does not converge.
    bool IndexOfLanding(Vec2d p, double& u, double& v) const { return invert(measured_, p, u, v); }
    /// The index where the commands reach c; false when it does not converge.
    bool IndexOfCommand(Vec2d c, double& u, double& v) const { return invert(commands_, c, u, v); }

    /// True when a map turns over somewhere: the cells of the grid of values
    /// do not all keep the orientation of the first.
    static bool Folds(int n, const std::vector<Vec2d>& values);

private:
    Vec2d at(const std::vector<Vec2d>& f, double u, double v) const;
    bool invert(const std::vector<Vec2d>& f, Vec2d target, double& u, double& v) const;

    int n_;
    std::vector<Vec2d> commands_, measured_;
};

}  // namespace zemcal_detail
