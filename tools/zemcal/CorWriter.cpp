// Text correction file writer; see CorWriter.h.
//
// The importer splits a point row on single spaces and converts each part
// with strtod, narrowing to float: "%.9g" of a float reads back to the same
// float, so the file carries the measured points bit for bit. ValSize is
// read as a float, hence also written with %.9g.
#include "CorWriter.h"

#include "Text.h"

namespace zemcal_tool {

std::string correctionFileText(const tagLenPar& rec, const std::vector<std::string>& commentLines) {
    std::string t;
    for (const std::string& c : commentLines) t += "; " + c + "\n";
    t += "[CalCoefs]\n";
    t += strprintf("ValSize=%.9g\n", static_cast<float>(rec.ValSize));
    t += strprintf("Resolution=%d\n", static_cast<int>(rec.Resolution));
    t += strprintf("LEN_XYFLIP=%d\n", static_cast<int>(rec.XYFlipSaved));
    t += strprintf("LEN_XINVERT=%d\n", static_cast<int>(rec.XInvertSaved));
    t += strprintf("LEN_YINVERT=%d\n", static_cast<int>(rec.YInvertSaved));
    t += "[Cal3]\n";
    for (int i = 0; i < 9; ++i) {
        const tagCalData& d = rec.Pnt[i];
        t += strprintf("PNT%d=%.9g %.9g %.9g %.9g\n", i, d.PntA.x, d.PntA.y, d.PntB.x, d.PntB.y);
    }
    return t;
}

}  // namespace zemcal_tool
