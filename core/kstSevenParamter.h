#pragma once

#include "kstVectorGlobal.h"

#include <QDataStream>
#include <QList>

namespace Kestrum {

// Three coordinates. Depending on the operation: Cartesian X, Y, Z;
// longitude (degrees), latitude (degrees), height; or Gauss-Krueger
// easting, northing, height.
struct KSTVECTOR_EXPORT PointZ__
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    PointZ__() = default;
    PointZ__(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
};

// Parameters of a three-dimensional similarity transformation with small
// rotations (radians, coordinate-frame convention), scale applied after
// the rotation:
//   X' = dx + scale * ( x + rz * y - ry * z)
//   Y' = dy + scale * (-rz * x + y + rx * z)
//   Z' = dz + scale * ( ry * x - rx * y + z)
struct KSTVECTOR_EXPORT SevenParamter__
{
    double dx = 0.0;
    double dy = 0.0;
    double dz = 0.0;
    double rx = 0.0;
    double ry = 0.0;
    double rz = 0.0;
    double scale = 1.0;

    SevenParamter__() = default;
    // A pure translation.
    SevenParamter__(double dx_, double dy_, double dz_) : dx(dx_), dy(dy_), dz(dz_) {}

    // Scale deviation in parts per million.
    double ppm() const { return (scale - 1.0) * 1000000.0; }
};

// The seven fields in declaration order; the stream's byte order and
// floating-point precision apply (56 bytes with the default double precision).
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const SevenParamter__& param);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, SevenParamter__& param);

// Estimates a seven-parameter datum transformation from corresponding
// Cartesian points by least squares, keeps it with the residuals and the
// mean error of that fit, and applies it. Also carries the geodetic and
// Gauss-Krueger conversions that surround such a transformation.
class KSTVECTOR_EXPORT kstSevenParamter
{
public:
    kstSevenParamter() = default;
    explicit kstSevenParamter(const SevenParamter__& param);

    // Fits the parameters that map src onto dest (at least three pairs).
    // Replaces the parameters, the residuals (computed minus observed, one
    // per pair) and the mean error of unit weight. Bad input leaves all
    // three untouched.
    void backCalc(const QList<PointZ__>& src, const QList<PointZ__>& dest);

    PointZ__ transform(const PointZ__& p) const;
    QList<PointZ__> transform(const QList<PointZ__>& points) const;

    SevenParamter__ sevenParamter() const { return m_param; }
    void setSevenParamter(const SevenParamter__& param) { m_param = param; }
    double middleError() const { return m_middleError; }
    void setMiddleError(double middleError) { m_middleError = middleError; }
    QList<PointZ__> residuals() const { return m_residuals; }
    void setResiduals(const QList<PointZ__>& residuals) { m_residuals = residuals; }

    // Distance between p and q.
    static double deviation(const PointZ__& p, const PointZ__& q);
    // deviation(a[i], b[i]) for each index the two lists share, in order.
    static QList<double> deviations(const QList<PointZ__>& a, const QList<PointZ__>& b);

    // Conversions on the ellipsoid with semi-major axis a and semi-minor
    // axis b (metres). Angles are in degrees.

    // (longitude, latitude, height) to geocentric (X, Y, Z).
    static PointZ__ blh2xyz(PointZ__ blh, double a, double b);
    // Geocentric (X, Y, Z) to (longitude, latitude, height). The longitude
    // is atan(Y / X) + 180 degrees, the geodetic longitude (0 to 360) only
    // for X < 0; elsewhere it is off by 180 degrees. The height is undefined
    // on the equator.
    static PointZ__ xyz2blh(PointZ__ xyz, double a, double b);
    // (longitude, latitude, height) to Gauss-Krueger (easting, northing,
    // height). The easting carries the zone number in its millions and a
    // false easting of 500000; the height is copied.
    static PointZ__ blh2xyh_gauss(PointZ__ blh, double a, double b, int zoneWidth);
    // The inverse of blh2xyh_gauss.
    static PointZ__ xyh2blh_gauss(PointZ__ xyh, double a, double b, int zoneWidth);

private:
    SevenParamter__ m_param;
    double m_middleError = 0.0;
    QList<PointZ__> m_residuals;
};

} // namespace Kestrum
