// Fit driver: chooses the second-order fit by the record's version byte.
#include <zemcal/CalibAlg.h>

void CCalibAlg::MVLSMCoef(tagLenPar& par) {
    // Records imported from the text correction format ('P') keep the classic
    // fit their correction was tuned to; every other version gets the revised one.
    if ((static_cast<unsigned>(par.Version) & 0xFFu) == CalVerClassic) {
        MVLSMCoef2(par);
    } else {
        MVLSMCoef2_new(par);
    }
}
