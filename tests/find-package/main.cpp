// Links the installed library through the single public include.
#include <zemcal/ZemCal.h>

#include <cstdio>

int main() {
    tagLenPar lp;
    if (CCalibAlg::GetCalIndex(65) != 5 || lp.Center != 32768) return 1;
    std::printf("consumer: libZemCal %s found and linked\n", ZEMCAL_VERSION_STRING);
    return 0;
}
