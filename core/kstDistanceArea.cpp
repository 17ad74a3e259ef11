#include "kstDistanceArea.h"

#include <QLineF>

#include <ogr_geometry.h>

#include <cmath>

namespace Kestrum {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kRadToDeg = 180.0 / kPi;
// Degree display texts divide by π cut to twelve decimals.
constexpr double kDisplayPi = 3.141592653589;

// WGS84.
constexpr double kWgs84SemiMajor = 6378137.0;
constexpr double kWgs84SemiMinor = 6356752.314245179;
constexpr double kWgs84InvFlattening = 298.2572235629972;

// Points closer than this in both coordinates (degrees) are the same point.
constexpr double kSamePointDegrees = 1e-10;
// The inverse problem iterates on λ until it moves by no more than this; the
// counter allows 19 iterations, after which the points are taken as nearly
// antipodal, where the iteration need not converge.
constexpr double kLambdaTolerance = 1e-12;
constexpr int kInverseIterationBudget = 20;
constexpr double kNoConvergence = -1.0;
// The direct problem iterates on σ to this relative change.
constexpr double kSigmaTolerance = 1e-9;
constexpr int kDirectIterationLimit = 999;
// location() accepts start points inside the Web Mercator range only.
constexpr double kMaxLongitude = 180.0;
constexpr double kMaxLatitude = 85.05115;
// Below this latitude step (radians) an edge's mean of Q is taken at its midpoint
// instead of the difference quotient of Qbar, which would lose all its digits.
constexpr double kFlatEdgeLatitude = 1e-6;

// The area thresholds at which the display switches to square kilometres.
constexpr double kAreaWordsKmThreshold = 10000.0;
constexpr double kAreaSymbolsKmThreshold = 100000.0;
constexpr double kSquareMetresPerSquareKm = 1000000.0;
constexpr double kMetresPerKm = 1000.0;

// Vincenty's series in u² = cos²α · (a² − b²) / b² for the ratio of the
// geodesic's arc length to b·σ on the auxiliary sphere (A) and for the
// correction Δσ (B).
double vincentyA(double uSq)
{
    return 1.0 + uSq / 16384.0 * (4096.0 + uSq * (-768.0 + uSq * (320.0 - 175.0 * uSq)));
}

double vincentyB(double uSq)
{
    return uSq / 1024.0 * (256.0 + uSq * (-128.0 + uSq * (74.0 - 47.0 * uSq)));
}

// Δσ: the difference between the spherical arc σ and s / (b·A), where 2σm is the
// arc from the equator crossing to the geodesic's midpoint.
double deltaSigma(double B, double sinSigma, double cosSigma, double cos2SigmaM)
{
    const double c2 = cos2SigmaM * cos2SigmaM;
    return B * sinSigma * (cos2SigmaM + B / 4.0 * (cosSigma * (-1.0 + 2.0 * c2)
           - B / 6.0 * cos2SigmaM * (-3.0 + 4.0 * sinSigma * sinSigma) * (-3.0 + 4.0 * c2)));
}

// Longitude on the ellipsoid and on the auxiliary sphere differ by this term:
// L = λ − lambdaExcess.
double lambdaExcess(double f, double sinAlpha, double cosSqAlpha, double sigma,
                    double sinSigma, double cosSigma, double cos2SigmaM)
{
    const double C = f / 16.0 * cosSqAlpha * (4.0 + f * (4.0 - 3.0 * cosSqAlpha));
    return (1.0 - C) * f * sinAlpha
           * (sigma + C * sinSigma * (cos2SigmaM + C * cosSigma * (-1.0 + 2.0 * cos2SigmaM * cos2SigmaM)));
}

double secondEccentricitySq(double a, double b)
{
    return (a * a - b * b) / (b * b);
}

// The auxiliary-sphere arc of the inverse problem for one value of λ.
struct InverseArc
{
    double sinSigma = 0.0;
    double cosSigma = 0.0;
    double sigma = 0.0;
    double sinAlpha = 0.0;
    double cosSqAlpha = 0.0;
    double cos2SigmaM = 0.0;
};

struct ReducedLatitude
{
    double sinU;
    double cosU;
};

// U = atan((1 − f) · tan φ), the latitude on the auxiliary sphere.
ReducedLatitude reducedLatitude(double f, double latRad)
{
    const double U = std::atan((1.0 - f) * std::tan(latRad));
    return { std::sin(U), std::cos(U) };
}

InverseArc inverseArc(const ReducedLatitude& u1, const ReducedLatitude& u2, double lambda)
{
    InverseArc arc;
    const double sinLambda = std::sin(lambda);
    const double cosLambda = std::cos(lambda);
    const double y = u2.cosU * sinLambda;
    const double x = u1.cosU * u2.sinU - u1.sinU * u2.cosU * cosLambda;
    arc.sinSigma = std::sqrt(y * y + x * x);
    arc.cosSigma = u1.sinU * u2.sinU + u1.cosU * u2.cosU * cosLambda;
    arc.sigma = std::atan2(arc.sinSigma, arc.cosSigma);
    // α: the azimuth where the geodesic crosses the equator.
    const double alpha = std::asin(u1.cosU * u2.cosU * sinLambda / arc.sinSigma);
    arc.sinAlpha = std::sin(alpha);
    arc.cosSqAlpha = std::cos(alpha) * std::cos(alpha);
    arc.cos2SigmaM = arc.cosSigma - 2.0 * u1.sinU * u2.sinU / arc.cosSqAlpha;
    return arc;
}

// The arc σ of the direct problem, from its first approximation sigma0 = s / (b·A)
// and the arc sigma1 from the equator crossing to the start point; cos2SigmaM
// receives the value used in the last correction.
double directArc(double sigma0, double sigma1, double B, double* cos2SigmaM)
{
    double sigma = sigma0;
    double sigmaPrev = 0.0;
    int iterations = 0;
    do {
        *cos2SigmaM = std::cos(2.0 * sigma1 + sigma);
        sigmaPrev = sigma;
        sigma = sigma0 + deltaSigma(B, std::sin(sigma), std::cos(sigma), *cos2SigmaM);
    } while (++iterations < kDirectIterationLimit && std::abs((sigmaPrev - sigma) / sigma) > kSigmaTolerance);
    return sigma;
}

// Length of the open path through the points, segment by segment; a segment
// that does not converge contributes its -1 like any other length.
double pathLength(const kstDistanceArea& da, const QVector<QPointF>& points)
{
    double sum = 0.0;
    for (int i = 0; i + 1 < points.size(); ++i)
        sum += da.distance(points.at(i), points.at(i + 1), nullptr, nullptr);
    return sum;
}

QVector<QPointF> curvePoints(const OGRSimpleCurve* curve)
{
    QVector<QPointF> points;
    points.reserve(curve->getNumPoints());
    for (int i = 0; i < curve->getNumPoints(); ++i)
        points.append(QPointF(curve->getX(i), curve->getY(i)));
    return points;
}

QVector<QPointF> openRing(const QPolygonF& ring)
{
    QVector<QPointF> open = ring;
    if (ring.isClosed())
        open.removeLast();
    return open;
}

QPolygonF closedRing(const QPolygonF& ring)
{
    QPolygonF closed = ring;
    if (!closed.isClosed())
        closed.append(closed.first());
    return closed;
}

// The 2D type of an OGR geometry code, accepting the plain, 2.5D, M and ZM
// codes. getGeometryType() reports Z with the 2.5D flag, so the ISO Z codes
// (the 1000 series) do not come from OGR's own geometries and are not measured.
OGRwkbGeometryType measuredBaseType(OGRwkbGeometryType type)
{
    constexpr unsigned k25DFlag = 0x80000000u;
    const unsigned code = static_cast<unsigned>(type);
    if (code == static_cast<unsigned>(wkbLinearRing))
        return wkbLinearRing;
    unsigned base = code;
    if (code & k25DFlag)
        base = code & ~k25DFlag;
    else if (code > 2000 && code < 4000) // M and ZM
        base = code % 1000;
    if (base >= static_cast<unsigned>(wkbPoint) && base <= static_cast<unsigned>(wkbGeometryCollection))
        return static_cast<OGRwkbGeometryType>(base);
    return wkbUnknown;
}

QString fixed(const QString& pattern, double value, int decimals)
{
    return pattern.arg(value, 0, 'f', decimals, QLatin1Char(' '));
}

} // namespace

kstDistanceArea::kstDistanceArea()
    : m_semiMajor(kWgs84SemiMajor)
    , m_semiMinor(kWgs84SemiMinor)
    , m_invFlattening(kWgs84InvFlattening)
{
    computeAreaInit();
}

kstDistanceArea::kstDistanceArea(double semiMajor, double semiMinor)
    : m_semiMajor(semiMajor)
    , m_semiMinor(semiMinor)
    , m_invFlattening(semiMajor / (semiMajor - semiMinor)) // +∞ for a sphere, so f = 0
{
    computeAreaInit();
}

// The area element of the ellipsoid is b² · cos φ / (1 − e² sin² φ)² dφ dλ
// (b² = a² (1 − e²) is the area scale). Q(φ), the integral of
// cos φ / (1 − e² sin² φ)² from the equator to φ, is expanded to e⁶:
//   Q(φ) = s + (2/3) e² s³ + (3/5) e⁴ s⁵ + (4/7) e⁶ s⁷,  s = sin φ,
// and Qbar is an antiderivative of Q, written in c = cos φ, so that the mean of
// Q along an edge whose latitude varies linearly is ΔQbar / Δφ.
void kstDistanceArea::computeAreaInit()
{
    const double a = m_semiMajor;
    const double b = m_semiMinor;
    const double e2 = 1.0 - (b * b) / (a * a);
    const double e4 = e2 * e2;
    const double e6 = e4 * e2;

    m_twoPi = kTwoPi;
    m_areaScale = a * a * (1.0 - e2);

    m_q1 = (2.0 / 3.0) * e2;
    m_q2 = (3.0 / 5.0) * e4;
    m_q3 = (4.0 / 7.0) * e6;

    m_qbar0 = -1.0 - m_q1 - m_q2 - m_q3;
    m_qbar1 = (2.0 / 9.0) * e2 + (2.0 / 5.0) * e4 + (4.0 / 7.0) * e6;
    m_qbar2 = -(3.0 / 25.0) * e4 - (12.0 / 35.0) * e6;
    m_qbar3 = (4.0 / 49.0) * e6;

    m_qPole = getQ(kPi / 2.0);
    m_ellipsoidArea = 4.0 * kPi * m_qPole * m_areaScale;
    if (m_ellipsoidArea < 0.0)
        m_ellipsoidArea = -m_ellipsoidArea;
}

double kstDistanceArea::getQ(double x) const
{
    const double s = std::sin(x);
    const double s2 = s * s;
    return s * (1.0 + s2 * (m_q1 + s2 * (m_q2 + s2 * m_q3)));
}

double kstDistanceArea::getQbar(double x) const
{
    const double c = std::cos(x);
    const double c2 = c * c;
    return c * (m_qbar0 + c2 * (m_qbar1 + c2 * (m_qbar2 + c2 * m_qbar3)));
}

// Vincenty's inverse method: iterate the longitude λ on the auxiliary sphere
// until it reproduces the ellipsoidal longitude difference L.
double kstDistanceArea::distance(const QPointF& p1, const QPointF& p2,
                                 double* course1, double* course2) const
{
    if (std::abs(p1.x() - p2.x()) < kSamePointDegrees && std::abs(p1.y() - p2.y()) < kSamePointDegrees)
        return 0.0;

    const double f = 1.0 / m_invFlattening;
    const double L = (p2.x() - p1.x()) * kDegToRad;
    const ReducedLatitude u1 = reducedLatitude(f, p1.y() * kDegToRad);
    const ReducedLatitude u2 = reducedLatitude(f, p2.y() * kDegToRad);

    double lambda = L;
    double lambdaPrev = m_twoPi;
    InverseArc arc;
    int budget = kInverseIterationBudget;
    while (std::abs(lambda - lambdaPrev) > kLambdaTolerance) {
        if (--budget == 0)
            return kNoConvergence;
        arc = inverseArc(u1, u2, lambda);
        lambdaPrev = lambda;
        lambda = L + lambdaExcess(f, arc.sinAlpha, arc.cosSqAlpha, arc.sigma,
                                  arc.sinSigma, arc.cosSigma, arc.cos2SigmaM);
    }

    const double uSq = arc.cosSqAlpha * secondEccentricitySq(m_semiMajor, m_semiMinor);
    const double s = m_semiMinor * vincentyA(uSq)
                     * (arc.sigma - deltaSigma(vincentyB(uSq), arc.sinSigma, arc.cosSigma, arc.cos2SigmaM));

    const double sinLambda = std::sin(lambda);
    const double cosLambda = std::cos(lambda);
    if (course1)
        *course1 = std::atan2(u2.cosU * sinLambda, u1.cosU * u2.sinU - u1.sinU * u2.cosU * cosLambda);
    if (course2) // the forward azimuth at p2, turned round to point back at p1
        *course2 = std::atan2(u1.cosU * sinLambda, u1.cosU * u2.sinU * cosLambda - u1.sinU * u2.cosU) + kPi;
    return s;
}

double kstDistanceArea::distanceFlat(const QPointF& p1, const QPointF& p2,
                                     double* angle1, double* angle2) const
{
    const QLineF line(p1, p2);
    const double theta = line.angle();
    if (angle1)
        *angle1 = theta * kDegToRad;
    if (angle2)
        *angle2 = (180.0 - theta) * kDegToRad;
    return line.length();
}

// Vincenty's direct method: find the arc σ on the auxiliary sphere whose
// ellipsoidal length is the given distance, then map its end point back.
QPointF kstDistanceArea::location(const QPointF& p1, double distance, double azimuth) const
{
    const double a = m_semiMajor;
    const double b = m_semiMinor;
    if ((a < 0.0 && b < 0.0) || std::abs(p1.x()) > kMaxLongitude || std::abs(p1.y()) > kMaxLatitude)
        return QPointF(0.0, 0.0);

    double alpha1 = azimuth;
    if (alpha1 < 0.0)
        alpha1 += m_twoPi;
    if (alpha1 > m_twoPi)
        alpha1 -= m_twoPi;
    const double sinAlpha1 = std::sin(alpha1);
    const double cosAlpha1 = std::cos(alpha1);

    const double f = 1.0 / m_invFlattening;
    const double tanU1 = (1.0 - f) * std::tan(p1.y() * kDegToRad);
    const double U1 = std::atan(tanU1);
    const double sinU1 = std::sin(U1);
    const double cosU1 = std::cos(U1);
    const double sigma1 = std::atan2(tanU1, cosAlpha1); // arc from the equator crossing to p1
    const double sinAlpha = sinAlpha1 * cosU1;          // α: azimuth at the equator crossing
    const double cosSqAlpha = 1.0 - sinAlpha * sinAlpha;
    const double uSq = cosSqAlpha * secondEccentricitySq(a, b);
    const double A = vincentyA(uSq);
    const double B = vincentyB(uSq);

    double cos2SigmaM = 0.0;
    const double sigma = directArc(distance / (b * A), sigma1, B, &cos2SigmaM);

    const double sinSigma = std::sin(sigma);
    const double cosSigma = std::cos(sigma);
    const double t = sinU1 * sinSigma - cosU1 * cosSigma * cosAlpha1;
    const double phi2 = std::atan2(sinU1 * cosSigma + cosU1 * sinSigma * cosAlpha1,
                                   (1.0 - f) * std::sqrt(sinAlpha * sinAlpha + t * t));
    const double lambda = std::atan2(sinSigma * sinAlpha1, cosU1 * cosSigma - sinU1 * sinSigma * cosAlpha1);
    const double L = lambda - lambdaExcess(f, sinAlpha, cosSqAlpha, sigma, sinSigma, cosSigma, cos2SigmaM);

    return QPointF((p1.x() * kDegToRad + L) * kRadToDeg, phi2 * kRadToDeg);
}

// Each edge, drawn straight in longitude and latitude, bounds together with the
// north pole a region of area b² ∫ (Q(π/2) − Q(φ)) dλ; summed round the ring the
// regions add up to the ring's area, with the sign of its orientation.
double kstDistanceArea::area(const QVector<QPointF>& ring) const
{
    if (ring.isEmpty())
        return 0.0;

    double x2 = ring.last().x() * kDegToRad;
    double y2 = ring.last().y() * kDegToRad;
    double qbar2 = getQbar(y2);
    double sum = 0.0;
    for (const QPointF& point : ring) {
        double x1 = x2;
        const double y1 = y2;
        const double qbar1 = qbar2;
        x2 = point.x() * kDegToRad;
        y2 = point.y() * kDegToRad;
        qbar2 = getQbar(y2);

        // Take each edge the short way round; a raised x2 stays raised as the
        // next edge's start, so a ring across the antimeridian stays continuous.
        if (x1 > x2) {
            while (x1 - x2 > kPi)
                x2 += m_twoPi;
        } else if (x2 > x1) {
            while (x2 - x1 > kPi)
                x1 += m_twoPi;
        }

        const double dx = x2 - x1;
        const double dy = y2 - y1;
        if (std::abs(dy) > kFlatEdgeLatitude)
            sum += dx * (m_qPole - (qbar2 - qbar1) / dy);
        else
            sum += dx * (m_qPole - getQ((y1 + y2) * 0.5));
    }

    double result = m_areaScale * sum;
    if (result < 0.0)
        result = -result;
    if (result > m_ellipsoidArea)
        result = m_ellipsoidArea;
    // A ring splits the ellipsoid in two; it encloses the smaller part.
    return result > m_ellipsoidArea * 0.5 ? m_ellipsoidArea - result : result;
}

double kstDistanceArea::area(const QPolygonF& ring) const
{
    if (ring.size() < 3)
        return 0.0;
    return area(openRing(ring));
}

double kstDistanceArea::area(const Polygon__& polygon) const
{
    double result = area(polygon.outer);
    for (const QPolygonF& hole : polygon.inner)
        result -= area(hole);
    return result;
}

double kstDistanceArea::area(OGRGeometry* geometry) const
{
    if (!geometry)
        return 0.0;
    switch (measuredBaseType(geometry->getGeometryType())) {
    case wkbLinearRing:
        return area(geometry->toLinearRing());
    case wkbPolygon:
        return area(geometry->toPolygon());
    case wkbMultiPolygon:
        return area(geometry->toMultiPolygon());
    case wkbGeometryCollection: {
        double sum = 0.0;
        for (OGRGeometry* member : *geometry->toGeometryCollection())
            sum += area(member);
        return sum;
    }
    default:
        return 0.0;
    }
}

double kstDistanceArea::area(OGRLinearRing* ring) const
{
    if (!ring || ring->getNumPoints() < 3)
        return 0.0;
    return area(curvePoints(ring));
}

double kstDistanceArea::area(OGRPolygon* polygon) const
{
    if (!polygon)
        return 0.0;
    double result = area(polygon->getExteriorRing());
    for (int i = 0; i < polygon->getNumInteriorRings(); ++i)
        result -= area(polygon->getInteriorRing(i));
    return result;
}

double kstDistanceArea::area(OGRMultiPolygon* multiPolygon) const
{
    if (!multiPolygon)
        return 0.0;
    double sum = 0.0;
    for (OGRPolygon* polygon : *multiPolygon)
        sum += area(polygon);
    return sum;
}

double kstDistanceArea::areaFlat(const QVector<QPointF>& ring) const
{
    const int n = ring.size();
    double twiceArea = 0.0;
    for (int i = 0; i < n; ++i) {
        const QPointF& p = ring.at(i);
        const QPointF& q = ring.at((i + 1) % n);
        twiceArea += p.x() * q.y() - q.x() * p.y();
    }
    return std::abs(twiceArea * 0.5);
}

double kstDistanceArea::perimeter(const QVector<QPointF>& points) const
{
    return pathLength(*this, points);
}

double kstDistanceArea::perimeter(const QPolygonF& ring) const
{
    if (ring.size() < 3)
        return 0.0;
    return pathLength(*this, closedRing(ring));
}

double kstDistanceArea::perimeter(const Polygon__& polygon) const
{
    double result = perimeter(polygon.outer);
    for (const QPolygonF& hole : polygon.inner)
        result += perimeter(hole);
    return result;
}

double kstDistanceArea::perimeter(OGRGeometry* geometry) const
{
    if (!geometry)
        return 0.0;
    switch (measuredBaseType(geometry->getGeometryType())) {
    case wkbLinearRing:
        return perimeter(geometry->toLinearRing());
    case wkbLineString:
        return perimeter(geometry->toLineString());
    case wkbMultiLineString:
        return perimeter(geometry->toMultiLineString());
    case wkbPolygon:
        return perimeter(geometry->toPolygon());
    case wkbMultiPolygon:
        return perimeter(geometry->toMultiPolygon());
    case wkbGeometryCollection: {
        double sum = 0.0;
        for (OGRGeometry* member : *geometry->toGeometryCollection())
            sum += perimeter(member);
        return sum;
    }
    default:
        return 0.0;
    }
}

double kstDistanceArea::perimeter(OGRLineString* line) const
{
    if (!line)
        return 0.0;
    return pathLength(*this, curvePoints(line));
}

double kstDistanceArea::perimeter(OGRLinearRing* ring) const
{
    if (!ring)
        return 0.0;
    ring->closeRings();
    if (ring->getNumPoints() < 4)
        return 0.0;
    return pathLength(*this, curvePoints(ring));
}

double kstDistanceArea::perimeter(OGRPolygon* polygon) const
{
    if (!polygon)
        return 0.0;
    double result = perimeter(polygon->getExteriorRing());
    for (int i = 0; i < polygon->getNumInteriorRings(); ++i)
        result += perimeter(polygon->getInteriorRing(i));
    return result;
}

double kstDistanceArea::perimeter(OGRMultiPolygon* multiPolygon) const
{
    if (!multiPolygon)
        return 0.0;
    double sum = 0.0;
    for (OGRPolygon* polygon : *multiPolygon)
        sum += perimeter(polygon);
    return sum;
}

double kstDistanceArea::perimeter(OGRMultiLineString* multiLine) const
{
    if (!multiLine)
        return 0.0;
    double sum = 0.0;
    for (OGRLineString* line : *multiLine)
        sum += perimeter(line);
    return sum;
}

QString kstDistanceArea::areaString(double area, bool unitWords)
{
    if (unitWords) {
        if (area < kAreaWordsKmThreshold)
            return fixed(QStringLiteral("%1平方米"), area, 2);
        return fixed(QStringLiteral("%1平方公里"), area / kSquareMetresPerSquareKm, 4);
    }
    if (area < kAreaSymbolsKmThreshold)
        return fixed(QStringLiteral("%1㎡"), area, 2);
    return fixed(QStringLiteral("%1k㎡"), area / kSquareMetresPerSquareKm, 4);
}

QString kstDistanceArea::lengthString(double length, bool unitWords)
{
    if (length < kMetresPerKm)
        return fixed(unitWords ? QStringLiteral("%1 米") : QStringLiteral("%1m"), length, 2);
    return fixed(unitWords ? QStringLiteral("%1 公里") : QStringLiteral("%1km"), length / kMetresPerKm, 3);
}

QString kstDistanceArea::degreeString(double radians, bool unitWords)
{
    return fixed(unitWords ? QStringLiteral("%1度") : QStringLiteral("%1°"), radians * 180.0 / kDisplayPi, 3);
}

} // namespace Kestrum
