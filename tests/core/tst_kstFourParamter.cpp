#include "kstFourParamter.h"

#include <QRandomGenerator>
#include <QTransform>
#include <QtTest>

#include <cmath>
#include <complex>
#include <random>

using namespace Kestrum;

namespace {

// Qt's own composition of the similarity: an independent way to build
// destination points from known parameters.
QTransform similarity(double dx, double dy, double rotation, double scale)
{
    return QTransform().translate(dx, dy).rotateRadians(rotation).scale(scale, scale);
}

// Closed-form least-squares similarity on centred coordinates, written with
// complex numbers (d = m * s + t): the same optimum reached without the
// normal equations.
FourParamter__ centroidFit(const QList<QPointF>& src, const QList<QPointF>& dest)
{
    using C = std::complex<double>;
    const auto c = [](const QPointF& p) { return C(p.x(), p.y()); };
    C cs, cd, num;
    double den = 0;
    for (int i = 0; i < src.size(); ++i) {
        cs += c(src[i]) / double(src.size());
        cd += c(dest[i]) / double(src.size());
    }
    for (int i = 0; i < src.size(); ++i) {
        num += std::conj(c(src[i]) - cs) * (c(dest[i]) - cd);
        den += std::norm(c(src[i]) - cs);
    }
    const C m = num / den, t = cd - m * cs;
    FourParamter__ p(t.real(), t.imag());
    p.rotation = std::arg(m);
    p.scale = std::abs(m);
    return p;
}

QList<QPointF> repeated(int n, const QPointF& p) { return QVector<QPointF>(n, p).toList(); }

} // namespace

class tst_kstFourParamter : public QObject
{
    Q_OBJECT

private slots:
    void streamDeviationsAndBadInput();
    void fitIsTheLeastSquaresOptimum();
    void mapScaleCoordinatesKeepTheirMillimetres();
};

void tst_kstFourParamter::streamDeviationsAndBadInput()
{
    // Four doubles in declaration order.
    FourParamter__ p(-123.4, 567.8);
    p.rotation = -0.7;
    p.scale = 0.9993;
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly), in(&bytes, QIODevice::ReadOnly);
    out << p;
    double v[4];
    in >> v[0] >> v[1] >> v[2] >> v[3];
    QCOMPARE(bytes.size(), 32);
    QCOMPARE(QList<double>({v[0], v[1], v[2], v[3]}), QList<double>({p.dx, p.dy, p.rotation, p.scale}));

    // A longer list has no counterpart for its tail.
    QCOMPARE(kstFourParamter::deviations({{0, 0}, {1, 1}, {5, 5}}, {{0, 2}, {4, 5}}), QList<double>({2.0, 5.0}));
    QCOMPARE(kstFourParamter::maxDeviation({0.4, 2.7, 2.2}), 2.7);
    QCOMPARE(kstFourParamter::maxDeviation({}), 0.0);

    // Bad input logs and leaves parameters, mean error and residuals alone.
    const QList<QPointF> residuals{{0.1, -0.2}, {0.3, 0.4}};
    kstFourParamter fit(p);
    fit.setMiddleError(0.25);
    fit.setResiduals(residuals);

    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::backCalc:src points size < 2!");
    fit.backCalc({QPointF(1, 1)}, {QPointF(2, 2)});
    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::backCalc:src points size != dest points size!");
    fit.backCalc({QPointF(0, 0), QPointF(1, 0), QPointF(0, 1)}, {QPointF(0, 0), QPointF(1, 0)});
    QVERIFY(fit.fourParamter().dx == p.dx && fit.fourParamter().rotation == p.rotation
            && fit.fourParamter().scale == p.scale);
    QCOMPARE(fit.middleError(), 0.25);
    QCOMPARE(fit.residuals(), residuals);

    QTest::ignoreMessage(QtDebugMsg, "kstFourParamter::transform:no point need transform!");
    QVERIFY(fit.transforms({}).isEmpty());

    // Coincident points fix neither rotation nor scale; the fit must still
    // come back, one residual per pair.
    fit.backCalc(repeated(5, QPointF(0, 0)), repeated(5, QPointF(3, 3)));
    QCOMPARE(fit.residuals().size(), 5);
    QVERIFY(!std::isfinite(fit.fourParamter().scale) || !std::isfinite(fit.fourParamter().rotation));
}

void tst_kstFourParamter::fitIsTheLeastSquaresOptimum()
{
    // Two pairs (an exact fit, no redundancy), eight exact pairs, and 40 pairs
    // with 2 cm noise per coordinate. With noise, rotation and relative scale
    // are known to sigma over the root of the points' squared spread about
    // their centroid (~2600 m), about 8e-6; the translation, referred to an
    // origin some 700 m from the centroid, to about 6 mm. The bounds are some
    // six standard deviations.
    const struct
    {
        int n;
        double sigma, translation, rotation, ppm;
    } cases[] = {{2, 0.0, 1e-8, 1e-12, 1e-6}, {8, 0.0, 1e-8, 1e-12, 1e-6}, {40, 0.02, 0.04, 5e-5, 50.0}};
    QRandomGenerator rng(7);
    std::normal_distribution<double> noise(0.0, 1.0);
    const QTransform truth = similarity(100, -50, 0.1, 1.0005);
    for (const auto& c : cases) {
        QList<QPointF> src, dest;
        for (int i = 0; i < c.n; ++i) {
            src << QPointF(rng.bounded(1000.0), rng.bounded(1000.0));
            dest << truth.map(src.last()) + QPointF(c.sigma * noise(rng), c.sigma * noise(rng));
        }
        kstFourParamter fit;
        fit.setMiddleError(7.0); // an exact fit must not keep a stale figure
        fit.backCalc(src, dest);
        const FourParamter__ p = fit.fourParamter(), ref = centroidFit(src, dest);
        qInfo("%d pairs, sigma %g m: dx %.3g m, dy %.3g m, rotation %.3g rad, scale %.3g ppm, mean error %.4g m", c.n,
              c.sigma, p.dx - 100.0, p.dy + 50.0, p.rotation - 0.1, p.ppm() - 500.0, fit.middleError());
        QVERIFY(std::fabs(p.dx - 100.0) < c.translation && std::fabs(p.dy + 50.0) < c.translation);
        QVERIFY(std::fabs(p.rotation - 0.1) < c.rotation);
        QVERIFY(std::fabs(p.ppm() - 500.0) < c.ppm);
        QVERIFY(std::fabs(p.dx - ref.dx) < 1e-7 && std::fabs(p.dy - ref.dy) < 1e-7);
        QVERIFY(std::fabs(p.rotation - ref.rotation) < 1e-11 && std::fabs(p.scale - ref.scale) < 1e-11);

        // Residuals are computed minus observed, sum to zero (the translation
        // is free) and give the mean error with the divisor 2n - 3; two pairs
        // leave nothing to estimate it from. Transforming the list keeps its
        // order, and the transformation is Qt's composition of the same steps.
        const QList<QPointF> mapped = fit.transforms(src);
        QVERIFY(mapped.size() == c.n && fit.residuals().size() == c.n);
        double vv = 0;
        QPointF sum;
        for (int i = 0; i < c.n; ++i) {
            const QPointF v = mapped[i] - dest[i];
            QVERIFY(kstFourParamter::deviation(v, fit.residuals()[i]) < 1e-8);
            vv += QPointF::dotProduct(v, v);
            sum += v;
        }
        QVERIFY(std::hypot(sum.x(), sum.y()) < 1e-7);
        QVERIFY(std::fabs(fit.middleError() - (c.n > 2 ? std::sqrt(vv / (2 * c.n - 3)) : 0.0)) < 1e-10);
        QVERIFY(fit.middleError() >= 0.7 * c.sigma && fit.middleError() <= 1.3 * c.sigma + 1e-9);
    }
}

void tst_kstFourParamter::mapScaleCoordinatesKeepTheirMillimetres()
{
    // Control points 20 km apart where Web Mercator puts eastern Asia (x about
    // 1.3e7 m): the normal equations of raw coordinates lose millimetres there.
    const double rotation = 0.3 * M_PI / 180.0;
    const QTransform truth = similarity(120.0, -45.0, rotation, 1.0002);
    const QPointF corner(12958000.0, 4852000.0);
    QList<QPointF> src, dest;
    for (const QPointF& offset : {QPointF(0, 0), QPointF(20000, 0), QPointF(20000, 20000), QPointF(0, 20000),
                                  QPointF(7300, 12100), QPointF(15800, 4400)}) {
        src << corner + offset;
        dest << truth.map(src.last());
    }
    kstFourParamter fit;
    fit.backCalc(src, dest);
    const FourParamter__ p = fit.fourParamter();
    const double worst = kstFourParamter::maxDeviation(kstFourParamter::deviations(fit.transforms(src), dest));
    qInfo("worst control point %.3g m, mean error %.3g m", worst, fit.middleError());
    QVERIFY(worst < 1e-5);
    QVERIFY(fit.middleError() < 1e-5);
    QVERIFY(std::fabs(p.rotation / rotation - 1.0) < 1e-6);
    QVERIFY(std::fabs(p.scale - 1.0002) < 1e-9);
    QVERIFY(std::fabs(p.dx - 120.0) < 1e-3 && std::fabs(p.dy + 45.0) < 1e-3);
}

QTEST_GUILESS_MAIN(tst_kstFourParamter)
#include "tst_kstFourParamter.moc"
