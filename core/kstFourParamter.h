#pragma once

#include "kstVectorGlobal.h"

#include <QDataStream>
#include <QList>
#include <QPointF>

namespace Kestrum {

// Parameters of a plane similarity transformation:
//   x' = dx + scale * (cos(rotation) * x - sin(rotation) * y)
//   y' = dy + scale * (sin(rotation) * x + cos(rotation) * y)
// rotation is in radians, counter-clockwise. The translation is in the unit
// of the coordinates; the transformation itself does not care which unit.
struct KSTVECTOR_EXPORT FourParamter__
{
    double dx = 0.0;
    double dy = 0.0;
    double rotation = 0.0;
    double scale = 1.0;

    FourParamter__() = default;
    // A pure translation.
    FourParamter__(double dx_, double dy_) : dx(dx_), dy(dy_) {}

    // Scale deviation in parts per million.
    double ppm() const { return (scale - 1.0) * 1000000.0; }
};

// The four fields in declaration order; the stream's byte order and
// floating-point precision apply (32 bytes with the default double precision).
KSTVECTOR_EXPORT QDataStream& operator<<(QDataStream& out, const FourParamter__& param);
KSTVECTOR_EXPORT QDataStream& operator>>(QDataStream& in, FourParamter__& param);

// Estimates a plane similarity transformation from corresponding points by
// least squares, keeps it with the residuals and the mean error of that fit,
// and applies it to points.
class KSTVECTOR_EXPORT kstFourParamter
{
public:
    kstFourParamter() = default;
    explicit kstFourParamter(const FourParamter__& param);

    // Fits the parameters that map src onto dest (at least two pairs).
    // Replaces the parameters, the residuals (computed minus observed, one
    // per pair) and the mean error of unit weight. Bad input leaves all
    // three untouched.
    void backCalc(const QList<QPointF>& src, const QList<QPointF>& dest);

    QPointF transform(const QPointF& p) const;
    QList<QPointF> transforms(const QList<QPointF>& points) const;

    FourParamter__ fourParamter() const { return m_param; }
    void setFourParamter(const FourParamter__& param) { m_param = param; }
    double middleError() const { return m_middleError; }
    void setMiddleError(double middleError) { m_middleError = middleError; }
    QList<QPointF> residuals() const { return m_residuals; }
    void setResiduals(const QList<QPointF>& residuals) { m_residuals = residuals; }

    // Distance between p and q.
    static double deviation(const QPointF& p, const QPointF& q);
    // deviation(a[i], b[i]) for each index the two lists share, in order.
    static QList<double> deviations(const QList<QPointF>& a, const QList<QPointF>& b);
    // The largest value, 0 for an empty list.
    static double maxDeviation(const QList<double>& values);

private:
    FourParamter__ m_param;
    double m_middleError = 0.0;
    QList<QPointF> m_residuals;
};

} // namespace Kestrum
