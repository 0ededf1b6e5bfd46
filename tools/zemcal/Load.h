// Loading a calibration file for the tool, with one clear message per
// failure instead of a bare "false" or an escaping conversion exception.
#pragma once

#include <zemcal/ZemCal.h>

#include <memory>
#include <string>

namespace zemcal_tool {

/// A calibration loaded through ZemCal::loadUcf, with what the tool shows
/// about how it was loaded.
struct LoadedCalibration {
    std::string path;
    bool binary = false;            ///< binary calibration file (else text correction file)
    std::unique_ptr<tagLenPar> rec; ///< the record (large: kept off the stack)
    double fieldSizeOption = 0.0;   ///< FieldSize set in the record before loading
    bool fieldSizeFromFile = false; ///< a binary file's own FieldSize (> 1 mm) replaced it
    long long fileBytes = 0;        ///< size of the file
    long long completeBytes = 0;    ///< size a binary file with these contents has (0 for text)

    /// A binary file that ends before its contents do: the library loads
    /// what is there and leaves the rest of the record at its defaults.
    bool truncated() const { return binary && fileBytes < completeBytes; }
};

/// Where the parameter block of a binary file ends: a file shorter than this
/// lacks part of the fit.
constexpr long long kParameterBlockEnd = CCalibFile::ParameterBlockEnd;

/// "110 mm (from the file)" or "100 mm (from --field-size)".
std::string fieldSizeNote(const LoadedCalibration& lc);

/// What loadCalibration does with a truncated binary file.
enum class Truncated {
    Refuse,  ///< an error: a cut-off file is no calibration to correct with or convert
    Accept,  ///< load it anyway, for a command that reports what the file holds
};

/// Loads path with FieldSize preset to fieldSize through CCalibFile::Load.
/// Throws ToolError with its message naming the file and the problem.
LoadedCalibration loadCalibration(const std::string& path, double fieldSize,
                                  Truncated truncated = Truncated::Refuse);

}  // namespace zemcal_tool
