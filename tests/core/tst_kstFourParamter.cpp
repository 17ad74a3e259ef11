#include "kstFourParamter.h"

#include <QRandomGenerator>
#include <QTransform>
#include <QtTest>

#include <cmath>
#include <random>

using namespace Kestrum;

namespace {

// Qt's own composition of the similarity: an independent way to build
// destination points from known parameters.
QTransform similarity(double dx, double dy, double rotation, double scale)
{
    return QTransform().translate(dx, dy).rotateRadians(rotation).scale(scale, scale);
}

// Closed-form least-squares similarity on centred coordinates: the same
// optimum reached without the normal equations.
FourParamter__ centroidFit(const QList<QPointF>& src, const QList<QPointF>& dest)
{
    QPointF cs, cd;
    for (int i = 0; i < src.size(); ++i) {
        cs += src[i] / src.size();
        cd += dest[i] / src.size();
    }
    double ss = 0, sa = 0, sb = 0;
    for (int i = 0; i < src.size(); ++i) {
        const QPointF s = src[i] - cs, d = dest[i] - cd;
        ss += s.x() * s.x() + s.y() * s.y();
        sa += s.x() * d.x() + s.y() * d.y();
        sb += s.x() * d.y() - s.y() * d.x();
    }
    const double a = sa / ss, b = sb / ss;
    FourParamter__ p(cd.x() - (a * cs.x() - b * cs.y()), cd.y() - (b * cs.x() + a * cs.y()));
    p.rotation = std::atan2(b, a);
    p.scale = std::hypot(a, b);
    return p;
}

QList<QPointF> randomPoints(QRandomGenerator& rng, int n, double extent)
{
    QList<QPointF> points;
    for (int i = 0; i < n; ++i)
        points << QPointF(rng.bounded(extent), rng.bounded(extent));
    return points;
}

QList<QPointF> repeated(int n, const QPointF& p) { return QVector<QPointF>(n, p).toList(); }

} // namespace

class tst_kstFourParamter : public QObject
{
    Q_OBJECT

private slots:
    void recordStreamAndTransform();
    void fitRecoversKnownParameters();
    void noisyFitIsTheLeastSquaresOptimum();
    void badInputLeavesStateUnchanged();
};

void tst_kstFourParamter::recordStreamAndTransform()
{
    const FourParamter__ shift(3, 4);
    QCOMPARE(shift.rotation, 0.0);
    QCOMPARE(shift.scale, 1.0);
    const kstFourParamter moved(shift);
    QCOMPARE(moved.transform(QPointF(1, 1)), QPointF(4, 5));
    QVERIFY(moved.residuals().isEmpty());

    // General parameters against Qt's composition, list order kept.
    FourParamter__ p(-123.4, 567.8);
    p.rotation = -0.7;
    p.scale = 0.9993;
    const QList<QPointF> points{{0, 0}, {1500.25, -320.5}, {-42, 9000}};
    const QList<QPointF> mapped = kstFourParamter(p).transforms(points);
    QCOMPARE(mapped.size(), points.size());
    for (int i = 0; i < points.size(); ++i)
        QVERIFY(kstFourParamter::deviation(mapped[i], similarity(-123.4, 567.8, -0.7, 0.9993).map(points[i])) < 1e-9);

    // Four doubles in declaration order; the caller's precision applies.
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << p;
    QCOMPARE(bytes.size(), 32);
    double v[4];
    QDataStream in(bytes);
    in >> v[0] >> v[1] >> v[2] >> v[3];
    QCOMPARE(QList<double>({v[0], v[1], v[2], v[3]}), QList<double>({p.dx, p.dy, p.rotation, p.scale}));
    QByteArray single;
    QDataStream out32(&single, QIODevice::WriteOnly);
    out32.setFloatingPointPrecision(QDataStream::SinglePrecision);
    out32 << p;
    QCOMPARE(single.size(), 16);

    QCOMPARE(kstFourParamter::deviation(QPointF(0, 0), QPointF(3, 4)), 5.0);
    QCOMPARE(kstFourParamter::deviations({{0, 0}, {1, 1}, {5, 5}}, {{0, 2}, {4, 5}}),
             QList<double>({2.0, 5.0}));
    QCOMPARE(kstFourParamter::maxDeviation({0.4, 2.7, 2.2}), 2.7);
    QCOMPARE(kstFourParamter::maxDeviation({}), 0.0);
}

void tst_kstFourParamter::fitRecoversKnownParameters()
{
    QRandomGenerator rng(20240611);
    const QList<QPointF> src = randomPoints(rng, 8, 2000.0);
    QList<QPointF> dest;
    for (const QPointF& s : src)
        dest << similarity(100, -50, 0.1, 1.0005).map(s);

    kstFourParamter fit;
    fit.backCalc(src, dest);
    const FourParamter__ p = fit.fourParamter();
    qInfo("exact fit: dx %.3g m, dy %.3g m, rotation %.3g rad, scale %.3g ppm", p.dx - 100.0,
          p.dy + 50.0, p.rotation - 0.1, p.ppm() - 500.0);
    QVERIFY(std::fabs(p.dx - 100.0) < 1e-8 && std::fabs(p.dy + 50.0) < 1e-8);
    QVERIFY(std::fabs(p.rotation - 0.1) < 1e-12);
    QVERIFY(std::fabs(p.ppm() - 500.0) < 1e-6);
    QVERIFY(fit.middleError() < 1e-9);
    for (int i = 0; i < src.size(); ++i)
        QVERIFY(kstFourParamter::deviation(fit.transform(src[i]), dest[i]) < 1e-8);

    // Any two distinct pairs fit exactly: the scale is the ratio of the
    // segment lengths, the rotation the turn between their directions.
    const QList<QPointF> s2{{1000.0, 2000.0}, {1300.0, 2400.0}};
    const QList<QPointF> d2{{5012.5, 7003.25}, {5212.5, 7503.25}};
    const QPointF ds = s2[1] - s2[0], dd = d2[1] - d2[0];
    fit.setMiddleError(7.0);
    fit.backCalc(s2, d2);
    QVERIFY(std::fabs(fit.fourParamter().scale - std::hypot(dd.x(), dd.y()) / std::hypot(ds.x(), ds.y())) < 1e-12);
    QVERIFY(std::fabs(fit.fourParamter().rotation
                      - (std::atan2(dd.y(), dd.x()) - std::atan2(ds.y(), ds.x()))) < 1e-12);
    QCOMPARE(fit.middleError(), 0.0);
    QCOMPARE(fit.residuals().size(), 2);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(std::hypot(fit.residuals()[i].x(), fit.residuals()[i].y()) < 1e-8);
        QVERIFY(kstFourParamter::deviation(fit.transform(s2[i]), d2[i]) < 1e-8);
    }
}

void tst_kstFourParamter::noisyFitIsTheLeastSquaresOptimum()
{
    const double sigma = 0.02; // metres, per coordinate
    const int n = 40;
    QRandomGenerator rng(7);
    std::normal_distribution<double> noise(0.0, sigma);
    const QList<QPointF> src = randomPoints(rng, n, 1000.0);
    QList<QPointF> dest;
    for (const QPointF& s : src)
        dest << similarity(100, -50, 0.1, 1.0005).map(s) + QPointF(noise(rng), noise(rng));

    kstFourParamter fit;
    fit.backCalc(src, dest);
    const FourParamter__ p = fit.fourParamter();

    const FourParamter__ ref = centroidFit(src, dest);
    QVERIFY(std::fabs(p.dx - ref.dx) < 1e-7 && std::fabs(p.dy - ref.dy) < 1e-7);
    QVERIFY(std::fabs(p.rotation - ref.rotation) < 1e-11);
    QVERIFY(std::fabs(p.scale - ref.scale) < 1e-11);

    // Rotation and relative scale are known to sigma over the root of the
    // points' squared spread about their centroid (~2600 m), about 8e-6;
    // the translation, referred to an origin some 700 m from the centroid,
    // to about 6 mm. The bounds are some six standard deviations.
    qInfo("noisy fit (sigma %g m, %d pairs): dx %.3g m, dy %.3g m, rotation %.3g rad, "
          "scale %.3g ppm, mean error %.4g m",
          sigma, n, p.dx - 100.0, p.dy + 50.0, p.rotation - 0.1, p.ppm() - 500.0, fit.middleError());
    QVERIFY(std::fabs(p.dx - 100.0) < 0.04 && std::fabs(p.dy + 50.0) < 0.04);
    QVERIFY(std::fabs(p.rotation - 0.1) < 5e-5);
    QVERIFY(std::fabs(p.ppm() - 500.0) < 50.0);

    // Residuals are computed minus observed, sum to zero (the translation is
    // free) and give the mean error with the divisor 2n - 3.
    QCOMPARE(fit.residuals().size(), n);
    double vv = 0;
    QPointF sum;
    for (int i = 0; i < n; ++i) {
        const QPointF v = fit.transform(src[i]) - dest[i];
        QVERIFY(kstFourParamter::deviation(v, fit.residuals()[i]) < 1e-8);
        vv += v.x() * v.x() + v.y() * v.y();
        sum += v;
    }
    QVERIFY(std::hypot(sum.x(), sum.y()) < 1e-7);
    QVERIFY(std::fabs(fit.middleError() - std::sqrt(vv / (2 * n - 3))) < 1e-10);
    QVERIFY(fit.middleError() > 0.7 * sigma && fit.middleError() < 1.3 * sigma);
}

void tst_kstFourParamter::badInputLeavesStateUnchanged()
{
    FourParamter__ p(1, 2);
    p.rotation = 0.3;
    const QList<QPointF> residuals{{0.1, -0.2}, {0.3, 0.4}};
    kstFourParamter fit(p);
    fit.setMiddleError(0.25);
    fit.setResiduals(residuals);

    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::backCalc:src points size < 2!");
    fit.backCalc({}, {});
    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::backCalc:src points size < 2!");
    fit.backCalc({QPointF(1, 1)}, {QPointF(2, 2)});
    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::backCalc:src points size != dest points size!");
    fit.backCalc({QPointF(0, 0), QPointF(1, 0), QPointF(0, 1)}, {QPointF(0, 0), QPointF(1, 0)});
    QCOMPARE(fit.fourParamter().dx, 1.0);
    QCOMPARE(fit.fourParamter().rotation, 0.3);
    QCOMPARE(fit.fourParamter().scale, 1.0);
    QCOMPARE(fit.middleError(), 0.25);
    QCOMPARE(fit.residuals(), residuals);

    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::transform:no point need transform!");
    QVERIFY(fit.transforms({}).isEmpty());

    // Coincident points fix neither rotation nor scale; the fit must still
    // come back, one residual per pair.
    fit.backCalc(repeated(5, QPointF(0, 0)), repeated(5, QPointF(3, 3)));
    QCOMPARE(fit.residuals().size(), 5);
    QVERIFY(!std::isfinite(fit.fourParamter().scale) || !std::isfinite(fit.fourParamter().rotation));
    fit.backCalc(repeated(4, QPointF(517.5, -203.25)), repeated(4, QPointF(1, 2)));
    QCOMPARE(fit.residuals().size(), 4);
}

QTEST_GUILESS_MAIN(tst_kstFourParamter)
#include "tst_kstFourParamter.moc"
