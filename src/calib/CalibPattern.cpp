// CCalibPattern: the nodes a technician marks, and the commands that mark
// them (see CalibWorkflow.h for the frames and the node layout).
#include <zemcal/CalibWorkflow.h>

#include <stdexcept>
#include <string>

#include <zemcal/CalibAlg.h>
#include <zemcal/Facade.h>
#include <zemcal/PointCorrector.h>

bool CCalibPattern::IsGridSize(int n) { return CCalibAlg::GetCalIndex(n) != 0; }

tagVeyPointF CCalibPattern::Node(double valSize, int n, int row, int col) {
    // V*(j/(n-1)) - V/2 puts the last node exactly on +V/2.
    const double last = n - 1;
    return {static_cast<float>(valSize * (col / last) - valSize * 0.5),
            static_cast<float>(valSize * 0.5 - valSize * (row / last))};
}

namespace {

std::vector<tagPatternNode> nodesOf(const tagLenPar& par, int n) {
    std::vector<tagPatternNode> nodes;
    nodes.reserve(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    for (int row = 0; row < n; ++row)
        for (int col = 0; col < n; ++col)
            nodes.push_back({row, col, CCalibPattern::Node(par.ValSize, n, row, col), {}});
    return nodes;
}

}  // namespace

std::vector<tagPatternNode> CCalibPattern::NinePoints(const tagLenPar& par) {
    std::vector<tagPatternNode> nodes = nodesOf(par, 3);
    ZemCal zc;
    for (tagPatternNode& node : nodes) zc.LP2DPEX_Cal(node.Nominal, node.Command, par);
    return nodes;
}

std::vector<tagPatternNode> CCalibPattern::Grid(const tagLenPar& par, int n) {
    if (!IsGridSize(n))
        throw std::invalid_argument("a grid has 5, 9, 17, 25, 33 or 65 points per side, not " +
                                    std::to_string(n));
    std::vector<tagPatternNode> nodes = nodesOf(par, n);
    const CPointCorrector corrector(par, true);
    for (tagPatternNode& node : nodes) corrector.Correct(node.Nominal, node.Command);
    return nodes;
}
