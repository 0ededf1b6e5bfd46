// STUB: placeholder until the real implementation lands.
#include <zemcal/MvLsmFit.h>
CMvLsmFit::CMvLsmFit() : Det(0.0) {}
void CMvLsmFit::init() {}
void CMvLsmFit::init(std::vector<double>, std::vector<double>) {}
int CMvLsmFit::OLS() { return 0; }
void CMvLsmFit::creatorder(int) {}
void CMvLsmFit::creataorder(int, int, int) {}
int CMvLsmFit::getorder(int*, int) { return 1; }
int CMvLsmFit::getaorder(int*, int, int) { return 1; }
