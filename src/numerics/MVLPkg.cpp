// STUB: placeholder until the real implementation lands.
#include <zemcal/MVLPkg.h>
int MVLPkg::SolveLinearEquations(unsigned, unsigned, const std::vector<std::vector<double>>&, const std::vector<double>&, std::vector<double>&) { return 3; }
int MVLPkg::UnsafeSolveLinearEquations(unsigned, unsigned, const std::vector<std::vector<double>>&, const std::vector<double>&, std::vector<double>&) { return 3; }
std::vector<double> MVLPkg::Gauss(std::vector<std::vector<double>>) { return {}; }
