// MVLPkg: solvers for dense square linear systems.
#pragma once

#include <vector>

#include <zemcal/Export.h>

/// Two independent solvers of n x n systems. Stateless.
///
/// Result codes of the LU solver: 0 solved; 1 singular or too
/// ill-conditioned; 2 a row of A is entirely zero; 3 an exception was raised
/// inside the solver (SolveLinearEquations catches it; the Unsafe worker lets
/// it escape).
class ZEMCAL_API MVLPkg {
public:
    /// Solves A x = b by Crout LU decomposition with scaled partial pivoting
    /// and iterative refinement. Never throws. m is accepted for
    /// compatibility and not used: the work vectors are sized from n.
    /// x may be the same vector as b. A system whose refinement has not
    /// settled after 64 rounds is reported as too ill-conditioned (1).
    static int SolveLinearEquations(unsigned n, unsigned m, const std::vector<std::vector<double>>& A,
                                    const std::vector<double>& b, std::vector<double>& x);

    /// The worker of SolveLinearEquations; may throw (std::bad_alloc, or
    /// std::out_of_range when A or b is smaller than n).
    static int UnsafeSolveLinearEquations(unsigned n, unsigned m,
                                          const std::vector<std::vector<double>>& A,
                                          const std::vector<double>& b, std::vector<double>& x);

    /// Plain Gauss elimination with partial pivoting on an augmented matrix
    /// of n = M.size() rows and n+1 columns (the last one the right-hand
    /// side); returns the n unknowns, none for an empty M. No pivot test: a
    /// singular system gives infinities or NaNs. M must have that shape: a
    /// row shorter than n+1 throws std::out_of_range before anything is
    /// computed; columns past n+1 are ignored.
    static std::vector<double> Gauss(std::vector<std::vector<double>> M);
};
