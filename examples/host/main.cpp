// A minimal marking host: load a calibration, correct a few points on both
// correction paths, print them.
//
//   zemcal_host CALIBRATION_FILE [FIELD_SIZE_MM]
#include <zemcal/ZemCal.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CALIBRATION_FILE [FIELD_SIZE_MM]\n", argv[0]);
        return 2;
    }
    ZemCal zc;
    tagLenPar lens;  // caller-owned record; ~10 KB
    if (argc > 2) lens.FieldSize = std::atof(argv[2]);  // a text file does not carry it
    try {
        if (!zc.loadUcf(argv[1], lens)) {
            std::fprintf(stderr, "%s: not a calibration file zemcal can load\n", argv[1]);
            return 1;
        }
    } catch (const std::exception& e) {  // a text file with a non-numeric value
        std::fprintf(stderr, "%s: %s\n", argv[1], e.what());
        return 1;
    }
    std::printf("libZemCal %s: %s, version 0x%02X, %zu grid table(s)\n", ZEMCAL_VERSION_STRING,
                argv[1], lens.Version, lens.Stacks.size());

    const tagVeyPointF points[] = {{0.0f, 0.0f}, {25.0f, 0.0f}, {-40.0f, 40.0f}, {50.0f, -50.0f}};
    for (int useLsm : {1, 0}) {
        lens.UseLsm = useLsm;  // 1: least-squares fit and grids, 0: manual box correction
        std::printf("%s path:\n", useLsm ? "least-squares" : "manual");
        for (const tagVeyPointF& p : points) {
            tagVeyPointF out{};
            zc.CalibPoint(lens, p, out);
            std::printf("  (%7.2f, %7.2f) mm -> (%10.3f, %10.3f)\n", p.x, p.y, out.x, out.y);
        }
    }
    return 0;
}
