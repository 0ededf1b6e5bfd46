// Outliers of a measured grid: nodes whose error departs from what their
// neighbours predict. Internal to the library.
//
// The error field of a measured grid is smooth (the head's distortion left
// over by the calibration), so each node's error is predicted from the
// nearest nodes of its row and of its column by a cubic (Lagrange weights w
// over up to four neighbours: exact for a cubic field). The correction
// treats each half-axis on its own, so the field may bend at the middle row
// and column: neighbours are taken from the node's own side of them. The
// two predictions are averaged with weights 1/sum(w^2), the inverse of the
// noise each adds, so that an edge node leans on the direction that
// interpolates. The
// departure d of a node from its prediction, divided by a = sqrt(1 + the
// noise of the prediction), is compared with the measurement's own scatter,
// the median of those scaled departures: a node departs when
//   |d| / a > max(5 * median, 10 um).
// An outlier also spoils its neighbours' predictions, so the worst node is
// taken out and the rest predicted again without it, until none departs
// (at most a quarter of the nodes).
#pragma once

#include <vector>

namespace zemcal_detail {

/// errors: the n x n error vectors (mm) row by row, x then y per node.
/// Returns the indices of the outlying nodes, worst first.
std::vector<int> FindOutliers(const std::vector<double>& errors, int n);

}  // namespace zemcal_detail
