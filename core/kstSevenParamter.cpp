#include "kstSevenParamter.h"

#include "kstLeastSquares.h"

#include <QDebug>

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>

namespace Kestrum {

QDataStream& operator<<(QDataStream& out, const SevenParamter__& param)
{
    return out << param.dx << param.dy << param.dz << param.rx << param.ry << param.rz
               << param.scale;
}

QDataStream& operator>>(QDataStream& in, SevenParamter__& param)
{
    return in >> param.dx >> param.dy >> param.dz >> param.rx >> param.ry >> param.rz
              >> param.scale;
}

namespace {

// Degree/radian factors of the geodetic conversions. They are deliberately
// the truncated values the stored coordinates of this system were computed
// with: the exact factors would move results by a few micrometres only, but
// conversions would no longer reproduce existing figures digit for digit.
constexpr double kTruncatedPi = 3.141592653589;
constexpr double kRho = 0.0174532925199433; // radians per degree
// The half turn added to the quadrant-less longitude of xyz2blh.
constexpr double kPi = 3.141592653589793;

constexpr double kZoneMillions = 1000000.0;
constexpr double kFalseEasting = 500000.0;

// Stop criterion of the latitude iteration, radians (about 0.6 mm).
constexpr double kLatitudeTolerance = 1e-10;

double toRadians(double degrees) { return degrees / 180.0 * kTruncatedPi; }
double toDegrees(double radians) { return radians * 180.0 / kTruncatedPi; }

// First eccentricity squared, e^2 = 2f - f^2 with the flattening f.
double eccentricitySquared(double a, double b)
{
    const double f = (a - b) / a;
    return 2.0 * f - f * f;
}

// Second eccentricity squared, e'^2 = e^2 / (1 - e^2).
double secondEccentricitySquared(double e2) { return e2 / (1.0 - e2); }

// Radius of curvature in the prime vertical at latitude B (radians).
double primeVerticalRadius(double a, double e2, double B)
{
    const double s = std::sin(B);
    return a / std::sqrt(1.0 - e2 * s * s);
}

// Mean growth of the meridian arc per radian of latitude, in units of a.
double meridianArcRate(double e2)
{
    const double e4 = e2 * e2, e6 = e4 * e2;
    return 1.0 - e2 / 4.0 - 3.0 * e4 / 64.0 - 5.0 * e6 / 256.0;
}

// Length of the meridian arc from the equator to latitude B (radians),
// series in e^2 to the third power; the omitted e^8 terms stay below a
// millimetre on Earth ellipsoids (largest near latitude 70 degrees).
double meridianArc(double a, double e2, double B)
{
    const double e4 = e2 * e2, e6 = e4 * e2;
    return a * (meridianArcRate(e2) * B
                - (3.0 * e2 / 8.0 + 3.0 * e4 / 32.0 + 45.0 * e6 / 1024.0) * std::sin(2.0 * B)
                + (15.0 * e4 / 256.0 + 45.0 * e6 / 1024.0) * std::sin(4.0 * B)
                - (35.0 * e6 / 3072.0) * std::sin(6.0 * B));
}

// Central meridian (degrees) of zone n. The half width is taken in integer
// arithmetic, as the zone tables do.
double centralMeridian(double zone, int zoneWidth)
{
    return zone * zoneWidth - zoneWidth / 2;
}

// One step of the latitude iteration: the geocentric latitude corrected by
// the offset of the ellipsoid normal, N e^2 sin B, along the Z axis.
double nextLatitude(double a, double e2, double p, double Z, double B)
{
    return std::atan((primeVerticalRadius(a, e2, B) * e2 * std::sin(B) + Z) / p);
}

// Rows 3i .. 3i + 2 hold the linearised model for pair i in the unknowns
// [dx, dy, dz, m, m rx, m ry, m rz]; the products m r are linear where
// m and r separately are not.
Eigen::MatrixXd designMatrix(const QList<PointZ__>& src)
{
    const int n = src.size();
    Eigen::MatrixXd A = Eigen::MatrixXd::Zero(3 * n, 7);
    for (int i = 0; i < n; ++i) {
        const double x = src[i].x, y = src[i].y, z = src[i].z;
        A.row(3 * i) << 1.0, 0.0, 0.0, x, 0.0, -z, y;
        A.row(3 * i + 1) << 0.0, 1.0, 0.0, y, z, 0.0, -x;
        A.row(3 * i + 2) << 0.0, 0.0, 1.0, z, -y, x, 0.0;
    }
    return A;
}

Eigen::VectorXd observations(const QList<PointZ__>& dest)
{
    const int n = dest.size();
    Eigen::VectorXd L(3 * n);
    for (int i = 0; i < n; ++i) {
        L(3 * i) = dest[i].x;
        L(3 * i + 1) = dest[i].y;
        L(3 * i + 2) = dest[i].z;
    }
    return L;
}

} // namespace

kstSevenParamter::kstSevenParamter(const SevenParamter__& param) : m_param(param) {}

void kstSevenParamter::backCalc(const QList<PointZ__>& src, const QList<PointZ__>& dest)
{
    const int n = src.size();
    if (n < 3) {
        qDebug().noquote() << "kstSevenParamter::backCalc:src points size < 3!";
        return;
    }
    if (dest.size() != n) {
        qDebug().noquote() << "kstSevenParamter::backCalc:src points size != dest points size!";
        return;
    }

    const kstLeastSquares fit = kstLeastSquares::solve(designMatrix(src), observations(dest));
    const Eigen::VectorXd& U = fit.unknowns;
    const Eigen::VectorXd& V = fit.residuals;
    m_residuals.clear();
    m_residuals.reserve(n);
    for (int i = 0; i < n; ++i)
        m_residuals.append(PointZ__(V(3 * i), V(3 * i + 1), V(3 * i + 2)));

    m_middleError = std::sqrt(V.dot(V) / (3 * n - 7));

    const double m = U(3);
    m_param.dx = U(0);
    m_param.dy = U(1);
    m_param.dz = U(2);
    m_param.scale = m;
    m_param.rx = U(4) / m;
    m_param.ry = U(5) / m;
    m_param.rz = U(6) / m;
}

PointZ__ kstSevenParamter::transform(const PointZ__& p) const
{
    const SevenParamter__& t = m_param;
    return PointZ__(t.dx + t.scale * (p.x + t.rz * p.y - t.ry * p.z),
                    t.dy + t.scale * (-t.rz * p.x + p.y + t.rx * p.z),
                    t.dz + t.scale * (t.ry * p.x - t.rx * p.y + p.z));
}

QList<PointZ__> kstSevenParamter::transform(const QList<PointZ__>& points) const
{
    QList<PointZ__> result;
    if (points.isEmpty()) {
        qDebug().noquote() << "kstSevenParamter::transform:no point need transform!";
        return result;
    }
    result.reserve(points.size());
    for (const PointZ__& p : points)
        result.append(transform(p));
    return result;
}

double kstSevenParamter::deviation(const PointZ__& p, const PointZ__& q)
{
    const double ex = q.x - p.x, ey = q.y - p.y, ez = q.z - p.z;
    return std::sqrt(ex * ex + ey * ey + ez * ez);
}

QList<double> kstSevenParamter::deviations(const QList<PointZ__>& a, const QList<PointZ__>& b)
{
    // A list longer than its partner has no counterpart for its tail.
    const int n = std::min(a.size(), b.size());
    QList<double> result;
    result.reserve(n);
    for (int i = 0; i < n; ++i)
        result.append(deviation(a[i], b[i]));
    return result;
}

PointZ__ kstSevenParamter::blh2xyz(PointZ__ blh, double a, double b)
{
    const double e2 = eccentricitySquared(a, b);
    const double L = toRadians(blh.x), B = toRadians(blh.y), H = blh.z;
    const double N = primeVerticalRadius(a, e2, B);
    return PointZ__((N + H) * std::cos(B) * std::cos(L),
                    (N + H) * std::cos(B) * std::sin(L),
                    (N * (1.0 - e2) + H) * std::sin(B));
}

PointZ__ kstSevenParamter::xyz2blh(PointZ__ xyz, double a, double b)
{
    const double e2 = eccentricitySquared(a, b);
    const double X = xyz.x, Y = xyz.y, Z = xyz.z;
    const double p = std::sqrt(X * X + Y * Y);

    // Fixed-point iteration from the geocentric latitude. Each step shrinks
    // the error by a factor of about e^2, so it converges in a handful of
    // steps; a NaN input fails the comparison and ends it at once.
    double B = std::atan(Z / p);
    double next = nextLatitude(a, e2, p, Z, B);
    while (std::fabs(next - B) >= kLatitudeTolerance) {
        B = next;
        next = nextLatitude(a, e2, p, Z, B);
    }
    const double N = primeVerticalRadius(a, e2, B);

    // Height along the normal from the Z component; ill-conditioned near the
    // equator, where sin B vanishes.
    const double H = Z / std::sin(B) - N * (1.0 - e2);
    // One-argument arc tangent shifted by a half turn: the geodetic
    // longitude for the western half-space X < 0 only.
    const double lon = std::atan(Y / X) + kPi;
    return PointZ__(toDegrees(lon), toDegrees(B), H);
}

PointZ__ kstSevenParamter::blh2xyh_gauss(PointZ__ blh, double a, double b, int zoneWidth)
{
    const double e2 = eccentricitySquared(a, b);
    const double ep2 = secondEccentricitySquared(e2);

    // Zones are counted in six-degree steps from Greenwich on the integral
    // degrees of the longitude.
    const double zone = std::trunc(std::trunc(blh.x) / 6.0) + 1.0;
    const double B = toRadians(blh.y);
    const double L = toRadians(blh.x);
    const double L0 = toRadians(centralMeridian(zone, zoneWidth));

    const double t = std::tan(B), t2 = t * t, t4 = t2 * t2;
    const double cosB = std::cos(B);
    const double eta2 = ep2 * cosB * cosB, eta4 = eta2 * eta2;
    const double N = primeVerticalRadius(a, e2, B);
    const double l = (L - L0) * cosB;
    const double l2 = l * l, l3 = l2 * l, l4 = l3 * l, l5 = l4 * l, l6 = l5 * l;

    // Series in the longitude difference l to the sixth order, exact to well
    // under a millimetre within three degrees of the central meridian.
    const double easting =
        N * (l + (1.0 - t2 + eta2) * l3 / 6.0
             + (5.0 - 18.0 * t2 + t4 + 72.0 * eta2 - 58.0 * ep2) * l5 / 120.0)
        + zone * kZoneMillions + kFalseEasting;
    const double northing =
        meridianArc(a, e2, B)
        + N * t
              * (l2 / 2.0 + (5.0 - t2 + 9.0 * eta2 + 4.0 * eta4) * l4 / 24.0
                 + (61.0 - 58.0 * t2 + t4 + 600.0 * eta2 - 330.0 * ep2) * l6 / 720.0);
    return PointZ__(easting, northing, blh.z);
}

PointZ__ kstSevenParamter::xyh2blh_gauss(PointZ__ xyh, double a, double b, int zoneWidth)
{
    const double e2 = eccentricitySquared(a, b);
    const double ep2 = secondEccentricitySquared(e2);
    const double r = std::sqrt(1.0 - e2);
    const double e1 = (1.0 - r) / (1.0 + r);
    const double e1_2 = e1 * e1, e1_3 = e1_2 * e1, e1_4 = e1_3 * e1;

    // Footpoint latitude: the latitude whose meridian arc equals the
    // northing, by the series inversion of the arc length in e1.
    const double mu = xyh.y / (a * meridianArcRate(e2));
    const double Bf = mu + (3.0 * e1 / 2.0 - 27.0 * e1_3 / 32.0) * std::sin(2.0 * mu)
                      + (21.0 * e1_2 / 16.0 - 55.0 * e1_4 / 32.0) * std::sin(4.0 * mu)
                      + (151.0 * e1_3 / 96.0) * std::sin(6.0 * mu)
                      + (1097.0 * e1_4 / 512.0) * std::sin(8.0 * mu);

    const double cosBf = std::cos(Bf), tanBf = std::tan(Bf), sinBf = std::sin(Bf);
    const double C = ep2 * cosBf * cosBf, C2 = C * C;
    const double T = tanBf * tanBf, T2 = T * T;
    const double N = primeVerticalRadius(a, e2, Bf);
    // Radius of curvature in the meridian at the footpoint.
    const double R = a * (1.0 - e2) / std::pow(1.0 - e2 * sinBf * sinBf, 1.5);

    const double zone = std::trunc(xyh.x / kZoneMillions);
    const double D = (xyh.x - (zone * kZoneMillions + kFalseEasting)) / N;
    const double D2 = D * D, D3 = D2 * D, D4 = D3 * D, D5 = D4 * D, D6 = D5 * D;
    const double L0 = centralMeridian(zone, zoneWidth);

    const double dLambda =
        (D - (1.0 + 2.0 * T + C) * D3 / 6.0
         + (5.0 - 2.0 * C + 28.0 * T - 3.0 * C2 + 8.0 * ep2 + 24.0 * T2) * D5 / 120.0)
        / cosBf;
    // The e'^2 coefficient of the sixth-order term is 256 where series
    // tables print 252; the two differ by well under 0.1 mm within a zone,
    // and keeping 256 reproduces the figures this conversion has given.
    const double B =
        Bf - (N * tanBf / R)
                 * (D2 / 2.0 - (5.0 + 3.0 * T + 10.0 * C - 4.0 * C2 - 9.0 * ep2) * D4 / 24.0
                    + (61.0 + 90.0 * T + 298.0 * C + 45.0 * T2 - 256.0 * ep2 - 3.0 * C2) * D6
                          / 720.0);
    return PointZ__((dLambda + L0 * kRho) / kRho, B / kRho, xyh.z);
}

} // namespace Kestrum
