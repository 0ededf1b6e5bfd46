// The measured errors of a pattern as a picture a technician reads at a
// glance: an arrow per node from its nominal position towards where it was
// measured (scaled, with a scale bar in micrometres), coloured by size, the
// worst nodes and the outliers labelled, the largest and RMS error in the
// title. No virtual head is involved: these are the measurement's numbers.
#pragma once

#include <string>

#include "Workflow.h"

namespace zemcal_tool {

/// Checks the measurement (nodes recognised over the field its nominal
/// positions span) and draws it. Throws ToolError naming name on a
/// measurement CMeasurementFit refuses.
std::string measuredErrorSvg(const MeasuredRows& m, const std::string& name);

}  // namespace zemcal_tool
