// CCalibFile: loading and saving a calibration file (and writing any other
// file the same safe way) with one clear sentence
// for every failure, for hosts that show errors to a person (the zemcal tool,
// the C API and the language bindings all report through it).
//
// ZemCal::loadUcf reports a refused file only as false, and a text key that
// does not hold a number as an escaping std::invalid_argument; here both
// become a status and a message naming the file (and, for a text correction
// file, the line and the key).
//
// Units: the field size in millimetres.
//
// Error contract: nothing throws; every failure is a Status other than Ok,
// with the message filled in.
#pragma once

#include <string>

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

/// What CCalibFile::Load found about the file it loaded.
struct tagLoadInfo {
    bool Binary = false;             ///< a binary calibration file (else a text correction file)
    bool FieldSizeFromFile = false;  ///< a binary file's own FieldSize (> 1 mm) replaced the one given
    long long FileBytes = 0;         ///< size of the file in bytes
    long long CompleteBytes = 0;     ///< size a binary file with these contents has (0 for text)

    /// A binary file that ends before its contents do: the library loads
    /// what is there and leaves the rest of the record at its defaults.
    bool Truncated() const { return Binary && FileBytes < CompleteBytes; }
};

class ZEMCAL_API CCalibFile {
public:
    /// The kind of failure, for hosts that map it onto their own errors.
    enum Status {
        Ok = 0,
        BadArgument,  ///< an argument out of range (a field size that is not positive)
        FileError,    ///< the file cannot be opened, read or written
        DataError,    ///< the file's contents are refused
        NoMemory,     ///< not enough memory for the file's tables
    };

    /// Where the parameter block of a binary file (nine points, fitted shape
    /// and coefficients) ends: a file shorter than this lacks part of the fit.
    static constexpr long long ParameterBlockEnd = 856;

    /// Loads path into par through ZemCal::loadUcf, with par.FieldSize
    /// preset to fieldSize (mm; the text format does not carry it, a binary
    /// file's own value wins when it exceeds 1 mm). A truncated binary file
    /// is refused unless acceptTruncated is set. par should be a freshly
    /// constructed record (a failed load leaves what was already read). On
    /// failure message holds one sentence naming the file.
    static Status Load(const char* path, double fieldSize, bool acceptTruncated, tagLenPar& par,
                       tagLoadInfo& info, std::string& message);

    /// Saves par through ZemCal::saveUcf (stamps ver, refits par, writes the
    /// file atomically). Version '3' is refused, since the library could not
    /// load the file back. On failure message names the file and the reason.
    static Status Save(const char* path, tagLenPar& par, CalVerion ver, std::string& message);

    /// Writes contents to path the way a calibration is saved: through a
    /// temporary beside it renamed over it, or, where none can be made (or
    /// path is a hard-linked file, a device, a FIFO), copied into it once
    /// the space is reserved; a symbolic link stays a link to the file it
    /// names, and an existing file keeps its mode. A failed write leaves a
    /// previous file as it was. On failure message names the file and why.
    static Status WriteFile(const char* path, const std::string& contents, std::string& message);
};
