// The facts of a loaded calibration, built once as JSON and rendered as text
// from that same document, so that `info` and `info --json` never disagree.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

#include "Load.h"

namespace zemcal_tool {

/// Residual statistics of a table of point pairs: measured minus nominal.
struct ResidualStats {
    double maxUm = 0.0;
    double rmsUm = 0.0;
};

ResidualStats tableResiduals(const tagCalData* pnts, std::size_t count);

nlohmann::ordered_json describeCalibration(const LoadedCalibration& lc);

std::string renderInfoText(const nlohmann::ordered_json& info);

}  // namespace zemcal_tool
