// CBcdFile: the binary calibration file, the text correction-file import and
// the base-parameter file.
//
// Units: FieldSize and ValSize in millimetres; points as in <zemcal/LenPar.h>.
//
// Error contract: file problems are reported as false (or not at all, for the
// base-parameter calls), never by an exception; the one exception that can
// escape is the std::invalid_argument / std::out_of_range of a numeric text
// key that does not hold a number (LoadCorFile, and LoadBcdFile through it).
#pragma once

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

class ZEMCAL_API CBcdFile {
public:
    /// Writes par as a binary calibration file. True when the file was
    /// written and closed without error; a failed save leaves any previous
    /// file at path as it was: the new contents go to a temporary file that
    /// replaces it only once complete, keeping its permissions and any
    /// symbolic link to it. The file is written in place only where such a
    /// replacement cannot be made or would lose its hard links or owner (a
    /// read-only folder, a hard-linked or foreign-owned file, a device).
    /// False without touching the file for tables the loader could not take
    /// back: more than 4096 tables or 64 Mi points, or a table holding fewer
    /// than Num*Num points.
    static bool SaveBcdFile(const char* path, tagLenPar& par);

    /// Loads a binary calibration file, or imports a text correction file
    /// (then sets Version 'P' and fits). Stacks is cleared first. False for
    /// an unopenable file (or one that is not a regular file), version '3',
    /// a failed text import, or declared tables beyond the loader's memory
    /// limit (more than 4096 tables, more than 64 Mi points, or more points
    /// than the file has bytes); Stacks is then empty.
    static bool LoadBcdFile(const char* path, tagLenPar& par);

    /// Imports a text correction file into par (appending its complete grid
    /// tables to Stacks). False when a base point is missing or malformed.
    /// Throws std::invalid_argument / std::out_of_range for a numeric key
    /// that does not hold a number.
    static bool LoadCorFile(const char* path, tagLenPar& par);

    /// Grid size of a calibration-order code: 1..6 give 5, 9, 17, 33, 65,
    /// 25; any other code gives 3.
    static int GetCalOrder(int code);

    /// Reads FieldSize, ValSize (mm) and the line count from the head of a
    /// calibration or base-parameter file. Always true: outputs that could
    /// not be read keep their values.
    static bool GetBasePara(const char* path, double& fieldSize, double& valSize, int& lineCount);

    /// Writes the 38-byte base-parameter file (FieldSize, ValSize,
    /// ManLineCount). Always true.
    static bool SaveBasePara(const char* path, tagLenPar& par);
};
