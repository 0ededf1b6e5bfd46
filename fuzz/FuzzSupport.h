// Shared parts of the fuzz targets: scratch files, the checks that follow a
// successful load, and the way a target reports a finding.
//
// The loaders take paths, so every input goes through a file. Each process
// keeps one scratch directory (under $TMPDIR, else /tmp) with fixed names in
// it and removes it at exit; scripts/fuzz.sh points TMPDIR at /dev/shm so the
// saves' fsync costs nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <zemcal/LenPar.h>

namespace zemcal::fuzz {

/// Path of a per-process scratch file called `name`; the file itself is not
/// touched.
std::string scratchPath(const char* name);

/// Replaces the scratch file `name` with the `size` bytes at `data` and
/// returns its path.
std::string writeScratch(const char* name, const std::uint8_t* data, std::size_t size);

/// The whole contents of a file; empty when it does not exist.
std::string readFile(const std::string& path);

/// Reports a finding (a broken invariant) and aborts, so that libFuzzer keeps
/// the input and the replay program fails.
[[noreturn]] void fail(const char* what);

/// Runs the point corrections a host would run on a loaded record: the
/// facade's CalibPoint on the manual and the least-squares path and
/// LP2DPEX_SFT with and without the shift, on fixed points from the centre to
/// far outside the field and on non-finite ones. Checks that each call
/// reports success, that LP2DPEX_SFT's result lies in the device range, and
/// that a CPointCorrector built from the record gives the same bits.
/// `par` is unchanged on return.
void exercisePoints(tagLenPar& par);

/// Saves `par` as a binary calibration file and checks the round trip:
/// the saved file loads, and saving the loaded record and loading that again
/// gives the same bytes (load and save are inverse on what a load produces).
/// A record the saver refuses (tables it could not write faithfully) is not
/// an error.
void checkSaveReload(tagLenPar& par);

/// Discards what the library prints to standard output (the INI store's
/// debug dump on every save), which would otherwise flood the fuzzer's log.
void silenceStdout();

}  // namespace zemcal::fuzz

/// The entry point every target defines (libFuzzer's signature).
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
