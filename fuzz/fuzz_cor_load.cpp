// Fuzz target: CBcdFile::LoadCorFile on arbitrary text.
//
// An imported record is fitted both ways a host can ask for (the classic fit
// of version 'P', as the loader does, and the revised one that the table
// calls stamp), used for point corrections after each fit, then saved and
// reloaded. Only the conversion error of a non-numeric key may escape the
// import.
#include <zemcal/BcdFile.h>
#include <zemcal/CalibAlg.h>

#include <stdexcept>

#include "FuzzSupport.h"

using namespace zemcal::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (silenceStdout(), true);
    (void)quiet;
    const std::string path = writeScratch("input.cor", data, size);

    tagLenPar par;
    bool loaded = false;
    try {
        loaded = CBcdFile::LoadCorFile(path.c_str(), par);
    } catch (const std::invalid_argument&) {
        return 0;  // a key that does not hold a number
    } catch (const std::out_of_range&) {
        return 0;  // a key whose number does not fit
    }
    if (!loaded) {
        exercisePoints(par);  // what a careless host would do with the rest
        return 0;
    }

    tagLenPar revised = par;
    revised.Version = CalVerRevised;
    CCalibAlg::MVLSMCoef(revised);
    exercisePoints(revised);

    par.Version = CalVerClassic;
    CCalibAlg::MVLSMCoef(par);
    exercisePoints(par);
    checkSaveReload(par);
    return 0;
}
