// Finding the key behind a refused text correction file, so that the
// refusal can name its line and say what is wrong with it.
#pragma once

#include <string>

namespace zemcal::files {

/// The first problem of a text correction file, in the order the importer
/// reads it: a base point missing or malformed, or a numeric key that does
/// not hold a number.
struct TextDiagnosis {
    int line = 0;      ///< 1-based line of the offending key; 0 when absent
    std::string what;  ///< empty when no problem was found
};

TextDiagnosis diagnoseTextFile(const std::string& path);

}  // namespace zemcal::files
