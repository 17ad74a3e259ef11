#pragma once

#include <Eigen/Dense>

namespace Kestrum {

// The least-squares step shared by the plane and the spatial similarity fits:
// unknowns from the normal equations (AᵀA)⁻¹·AᵀL, the inverse by Eigen's
// dense LU with partial pivoting, and the residuals computed minus observed.
// Internal to the library; Eigen stays out of the public headers.
struct kstLeastSquares
{
    Eigen::VectorXd unknowns;
    Eigen::VectorXd residuals;

    static kstLeastSquares solve(const Eigen::MatrixXd& A, const Eigen::VectorXd& L)
    {
        const Eigen::MatrixXd At = A.transpose();
        // Coincident points make the normal matrix singular; the unknowns then
        // come out non-finite, which callers can detect.
        kstLeastSquares fit;
        fit.unknowns = (At * A).inverse() * (At * L);
        fit.residuals = A * fit.unknowns - L;
        return fit;
    }
};

} // namespace Kestrum
