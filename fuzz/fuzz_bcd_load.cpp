// Fuzz target: CBcdFile::LoadBcdFile on arbitrary bytes.
//
// Bytes that start with the magic take the binary route (fixed offsets, table
// counts and sizes from the file); anything else is imported as a text
// correction file and fitted. A successful load is saved and reloaded, and
// the record, whatever the file put into it, is used for point corrections.
// Only the conversion error of a non-numeric text key may escape the loader.
#include <zemcal/BcdFile.h>

#include <stdexcept>

#include "FuzzSupport.h"

using namespace zemcal::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (silenceStdout(), true);
    (void)quiet;
    const std::string path = writeScratch("input.bin", data, size);

    tagLenPar par;
    bool loaded = false;
    try {
        loaded = CBcdFile::LoadBcdFile(path.c_str(), par);
    } catch (const std::invalid_argument&) {
        return 0;  // a text key that does not hold a number
    } catch (const std::out_of_range&) {
        return 0;  // a text key whose number does not fit
    }
    // A failed load still leaves a record a careless host might use.
    exercisePoints(par);
    if (loaded) checkSaveReload(par);
    return 0;
}
