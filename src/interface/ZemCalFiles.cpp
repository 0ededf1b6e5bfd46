// The facade's file and table calls.
//
// The table calls never touch a record of the caller's: each loads the file
// into a fresh default record, works on it and lets it go. Only
// setCalibPnts writes the file back; setEqualPnts does not: it works on the
// temporary record alone and changes no file.
#include <zemcal/BcdFile.h>
#include <zemcal/CalibAlg.h>
#include <zemcal/Facade.h>

#include <memory>

namespace {

// A fresh record holding the file at path; a missing or unreadable file
// leaves the defaults, which the table calls then work on.
std::unique_ptr<tagLenPar> loadTemporary(const char* path) {
    auto tmp = std::make_unique<tagLenPar>();
    CBcdFile::LoadBcdFile(path, *tmp);
    return tmp;
}

}  // namespace

bool ZemCal::loadUcf(const char* path, tagLenPar& par) { return CBcdFile::LoadBcdFile(path, par); }

bool ZemCal::saveUcf(const char* path, tagLenPar& par, CalVerion ver) {
    par.Version = ver;
    CCalibAlg::MVLSMCoef(par);
    return CBcdFile::SaveBcdFile(path, par);
}

bool ZemCal::getBasePara(const char* path, double& fieldSize, double& valSize, int& lineCount) {
    return CBcdFile::GetBasePara(path, fieldSize, valSize, lineCount);
}

bool ZemCal::setCalibPnts(const char* path, int index, int count, tagCalData* pnts) {
    auto tmp = loadTemporary(path);
    // Saved even when the table was refused: the file then holds the refit
    // of what it had. The revised fit is stamped so QX/QY are fitted too.
    CCalibAlg::setCalibPnts(*tmp, index, count, pnts);
    tmp->Version = CalVerRevised;
    CCalibAlg::MVLSMCoef(*tmp);
    return CBcdFile::SaveBcdFile(path, *tmp);
}

bool ZemCal::getCalibPnts(const char* path, int index, int& count, tagCalData* pnts) {
    return CCalibAlg::getCalibPnts(*loadTemporary(path), index, count, pnts);
}

bool ZemCal::setEqualPnts(const char* path, int index, int count, tagVeyPointF* pnts) {
    return CCalibAlg::setEqualPnts(*loadTemporary(path), index, count, pnts);
}

bool ZemCal::getEqualPnts(const char* path, int index, int& count, tagVeyPointF* pnts) {
    return CCalibAlg::getEqualPnts(*loadTemporary(path), index, count, pnts);
}
