#include "kstSevenParamter.h"

#include <QRandomGenerator>
#include <QtTest>

#include <ogr_spatialref.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

using namespace Kestrum;

namespace {

constexpr double kA = 6378137.0;
constexpr double kWgs84B = 6356752.314245179;
constexpr double kGrs80B = kA * (1.0 - 1.0 / 298.257222101); // CGCS2000

// A PROJ coordinate operation run through GDAL: the reference for the
// conversions and the transformation.
class ProjOperation
{
public:
    // A PROJ operation between coordinates in metres.
    explicit ProjOperation(const QByteArray& operation)
    {
        OGRCoordinateTransformationOptions options;
        options.SetCoordinateOperation(operation.constData(), false);
        m_ct.reset(OGRCreateCoordinateTransformation(nullptr, nullptr, options));
    }
    // Between two reference systems, longitude first.
    ProjOperation(const char* source, const char* target)
    {
        OGRSpatialReference src, dst;
        src.SetFromUserInput(source);
        dst.SetFromUserInput(target);
        src.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        dst.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        m_ct.reset(OGRCreateCoordinateTransformation(&src, &dst));
    }
    bool isValid() const { return m_ct != nullptr; }
    PointZ__ operator()(PointZ__ p) const
    {
        if (!m_ct->Transform(1, &p.x, &p.y, &p.z))
            p = PointZ__(qQNaN(), qQNaN(), qQNaN());
        return p;
    }

private:
    struct Destroy
    {
        void operator()(OGRCoordinateTransformation* ct) const { OGRCoordinateTransformation::DestroyCT(ct); }
    };
    std::unique_ptr<OGRCoordinateTransformation, Destroy> m_ct;
};

// PROJ's Helmert transformation: rotations in arc seconds, scale in ppm.
QByteArray helmert(const SevenParamter__& p)
{
    const double arcSeconds = 180.0 / M_PI * 3600.0;
    return QString::asprintf("+proj=helmert +x=%.17g +y=%.17g +z=%.17g +rx=%.17g +ry=%.17g +rz=%.17g "
                             "+s=%.17g +convention=coordinate_frame",
                             p.dx, p.dy, p.dz, p.rx * arcSeconds, p.ry * arcSeconds, p.rz * arcSeconds, p.ppm())
        .toLatin1();
}

SevenParamter__ knownParameters()
{
    SevenParamter__ p(-120.5, 230.25, 85.75);
    p.rx = 3e-6;
    p.ry = -2e-6;
    p.rz = 4.5e-6;
    p.scale = 1.0 + 5e-6;
    return p;
}

// Geocentric points of a regional network (longitude 100..120, latitude
// 20..45 degrees, heights up to 2 km), placed by PROJ.
QList<PointZ__> network(QRandomGenerator& rng, int n)
{
    const ProjOperation toGeocentric("EPSG:4979", "EPSG:4978");
    QList<PointZ__> points;
    for (int i = 0; i < n; ++i)
        points << toGeocentric(PointZ__(100.0 + rng.bounded(20.0), 20.0 + rng.bounded(25.0), rng.bounded(2000.0)));
    return points;
}

QList<PointZ__> repeated(int n, const PointZ__& p) { return QVector<PointZ__>(n, p).toList(); }

double maxAbs(double a, double b, double c) { return std::max({std::fabs(a), std::fabs(b), std::fabs(c)}); }

} // namespace

class tst_kstSevenParamter : public QObject
{
    Q_OBJECT

private slots:
    void recordStreamAndTransform();
    void fitRecoversKnownParameters();
    void badInputLeavesStateUnchanged();
    void geocentricAgainstProj();
    void gaussKruegerAgainstProj();
};

void tst_kstSevenParamter::recordStreamAndTransform()
{
    // A pure translation moves every point by exactly that vector.
    const kstSevenParamter shift(SevenParamter__(-200.5, 310.25, 7.125));
    const PointZ__ p(-2148744.5, 4426641.25, 4044655.75);
    const PointZ__ moved = shift.transform(p);
    QCOMPARE(moved.x, p.x - 200.5);
    QCOMPARE(moved.y, p.y + 310.25);
    QCOMPARE(moved.z, p.z + 7.125);
    QCOMPARE(shift.sevenParamter().scale, 1.0);

    // Rotations and scale with the coordinate-frame signs, list order kept.
    const SevenParamter__ known = knownParameters();
    QVERIFY(std::fabs(known.ppm() - 5.0) < 1e-9);
    const ProjOperation reference(helmert(known));
    QVERIFY(reference.isValid());
    QRandomGenerator rng(3);
    const QList<PointZ__> points = network(rng, 5);
    const QList<PointZ__> mapped = kstSevenParamter(known).transform(points);
    QCOMPARE(mapped.size(), points.size());
    for (int i = 0; i < points.size(); ++i)
        QVERIFY(kstSevenParamter::deviation(mapped[i], reference(points[i])) < 1e-6);

    // Seven doubles in declaration order; the caller's precision applies.
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << known;
    QCOMPARE(bytes.size(), 56);
    QDataStream in(bytes);
    QList<double> fields;
    while (fields.size() < 7) {
        double d = 0;
        in >> d;
        fields << d;
    }
    QCOMPARE(fields, QList<double>({known.dx, known.dy, known.dz, known.rx, known.ry, known.rz, known.scale}));
    QByteArray single;
    QDataStream out32(&single, QIODevice::WriteOnly);
    out32.setFloatingPointPrecision(QDataStream::SinglePrecision);
    out32 << known;
    QCOMPARE(single.size(), 28);
}

void tst_kstSevenParamter::fitRecoversKnownParameters()
{
    const SevenParamter__ truth = knownParameters();
    const ProjOperation forward(helmert(truth));
    QRandomGenerator rng(11);
    std::normal_distribution<double> noise(0.0, 1.0);

    // Three consistent pairs (nine equations, seven unknowns), then 30 pairs
    // with 2 cm noise per coordinate. A regional network hardly tells a
    // rotation about the Earth's centre or a scale change from a translation:
    // for this one (some 2500 km wide) the standard deviations are about
    // 0.04 m, 6e-9 rad and 0.004 ppm. The bounds are some six of them.
    const struct
    {
        int n;
        double sigma, translation, rotation, ppm;
    } cases[] = {{3, 0.0, 1e-4, 1e-12, 1e-6}, {30, 0.02, 0.25, 4e-8, 0.025}};
    for (const auto& c : cases) {
        const QList<PointZ__> src = network(rng, c.n);
        QList<PointZ__> dest;
        for (const PointZ__& s : src) {
            const PointZ__ d = forward(s);
            dest << PointZ__(d.x + c.sigma * noise(rng), d.y + c.sigma * noise(rng), d.z + c.sigma * noise(rng));
        }

        kstSevenParamter fit;
        fit.backCalc(src, dest);
        const SevenParamter__ p = fit.sevenParamter();
        const double dt = maxAbs(p.dx - truth.dx, p.dy - truth.dy, p.dz - truth.dz);
        const double dr = maxAbs(p.rx - truth.rx, p.ry - truth.ry, p.rz - truth.rz);
        qInfo("%d pairs, sigma %g m: translation error %.3g m, rotation error %.3g rad, scale error %.3g ppm, "
              "mean error %.4g m",
              c.n, c.sigma, dt, dr, std::fabs(p.ppm() - truth.ppm()), fit.middleError());
        QVERIFY(dt < c.translation);
        QVERIFY(dr < c.rotation);
        QVERIFY(std::fabs(p.ppm() - truth.ppm()) < c.ppm);

        // Residuals are computed minus observed and, the translation being
        // free, sum to zero; the mean error divides by 3n - 7.
        QCOMPARE(fit.residuals().size(), c.n);
        double vv = 0;
        PointZ__ sum;
        for (int i = 0; i < c.n; ++i) {
            const PointZ__ t = fit.transform(src[i]);
            const PointZ__ v(t.x - dest[i].x, t.y - dest[i].y, t.z - dest[i].z);
            QVERIFY(kstSevenParamter::deviation(v, fit.residuals()[i]) < 1e-6);
            vv += v.x * v.x + v.y * v.y + v.z * v.z;
            sum = PointZ__(sum.x + v.x, sum.y + v.y, sum.z + v.z);
        }
        QVERIFY(maxAbs(sum.x, sum.y, sum.z) < 1e-5);
        QVERIFY(std::fabs(fit.middleError() - std::sqrt(vv / (3 * c.n - 7))) < 1e-8);
        QVERIFY(fit.middleError() <= 1.3 * c.sigma + 1e-4 && fit.middleError() >= 0.7 * c.sigma);
    }
}

void tst_kstSevenParamter::badInputLeavesStateUnchanged()
{
    const SevenParamter__ p = knownParameters();
    kstSevenParamter fit(p);
    fit.setMiddleError(0.5);
    fit.setResiduals({PointZ__(0.1, 0.2, 0.3)});
    const PointZ__ a(1, 2, 3), b(4, 5, 6), c(7, 8, 10);

    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::backCalc:src points size < 3!");
    fit.backCalc({}, {});
    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::backCalc:src points size < 3!");
    fit.backCalc({a, b}, {a, b});
    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::backCalc:src points size != dest points size!");
    fit.backCalc({a, b, c}, {a, b, c, a});
    QCOMPARE(fit.sevenParamter().dx, p.dx);
    QCOMPARE(fit.sevenParamter().rz, p.rz);
    QCOMPARE(fit.sevenParamter().scale, p.scale);
    QCOMPARE(fit.middleError(), 0.5);
    QCOMPARE(fit.residuals().size(), 1);
    QCOMPARE(fit.residuals().first().z, 0.3);

    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::transform:no point need transform!");
    QVERIFY(fit.transform(QList<PointZ__>()).isEmpty());

    // Coincident points fix neither rotations nor scale; the fit must still
    // come back, one residual per pair.
    fit.backCalc(repeated(4, PointZ__()), repeated(4, a));
    QCOMPARE(fit.residuals().size(), 4);
    QVERIFY(!std::isfinite(fit.sevenParamter().scale) || !std::isfinite(fit.sevenParamter().rx));
    fit.backCalc(repeated(4, c), repeated(4, a));
    QCOMPARE(fit.residuals().size(), 4);

    QCOMPARE(kstSevenParamter::deviation(PointZ__(1, 2, 3), PointZ__(3, 5, 9)), 7.0);
    QCOMPARE(kstSevenParamter::deviations({a, b}, {a, PointZ__(4, 5, 7), c}), QList<double>({0.0, 1.0}));
}

void tst_kstSevenParamter::geocentricAgainstProj()
{
    // The equator at Greenwich lies on the X axis at the semi-major axis.
    const PointZ__ origin = kstSevenParamter::blh2xyz(PointZ__(0, 0, 0), kA, kWgs84B);
    QCOMPARE(origin.x, kA);
    QCOMPARE(origin.y, 0.0);
    QCOMPARE(origin.z, 0.0);

    const struct
    {
        const char *geographic, *geocentric;
        double b;
    } ellipsoids[] = {{"EPSG:4979", "EPSG:4978", kWgs84B},
                      {"+proj=longlat +ellps=GRS80 +type=crs", "+proj=geocent +ellps=GRS80 +type=crs", kGrs80B}};
    double worstXyz = 0, worstLat = 0, worstLon = 0, worstH = 0;
    for (const auto& e : ellipsoids) {
        const ProjOperation forward(e.geographic, e.geocentric);
        QVERIFY(forward.isValid());
        for (double lon = -180.0; lon < 180.0; lon += 7.5) {
            for (double lat = -88.0; lat <= 88.0; lat += 4.0) {
                for (double h : {-400.0, 0.0, 1234.5, 9000.0}) {
                    const PointZ__ ref = forward(PointZ__(lon, lat, h));
                    worstXyz = std::max(worstXyz,
                                        kstSevenParamter::deviation(kstSevenParamter::blh2xyz(PointZ__(lon, lat, h), kA, e.b), ref));

                    // The iteration stops within 1e-10 rad of the latitude;
                    // the height, from Z / sin B, is undefined on the equator.
                    // The longitude (90..270) is the geodetic one for X < 0
                    // and a half turn off elsewhere.
                    const PointZ__ back = kstSevenParamter::xyz2blh(ref, kA, e.b);
                    worstLat = std::max(worstLat, std::fabs(back.y - lat));
                    if (lat != 0.0)
                        worstH = std::max(worstH, std::fabs(back.z - h));
                    const double lonExpected = ref.x < 0 ? lon : lon + 180.0;
                    worstLon = std::max(worstLon, std::fabs(std::remainder(back.x - lonExpected, 360.0)));
                    QVERIFY(back.x > 90.0 - 1e-9 && back.x < 270.0 + 1e-9);
                }
            }
        }
    }
    qInfo("blh2xyz vs PROJ: %.3g m; xyz2blh vs PROJ: latitude %.3g deg, longitude %.3g deg, height %.3g m",
          worstXyz, worstLat, worstLon, worstH);
    QVERIFY(worstXyz < 1e-4);
    QVERIFY(worstLat < 1e-10 * 180.0 / M_PI);
    QVERIFY(worstLon < 1e-9);
    QVERIFY(worstH < 1e-3);
}

void tst_kstSevenParamter::gaussKruegerAgainstProj()
{
    // Zone 20 of the six-degree zoning: central meridian 117 degrees.
    const PointZ__ centre = kstSevenParamter::blh2xyh_gauss(PointZ__(117.0, 0.0, 12.5), kA, kWgs84B, 6);
    QCOMPARE(centre.x, 20500000.0);
    QCOMPARE(centre.y, 0.0);
    QCOMPARE(centre.z, 12.5);
    const PointZ__ centreBack = kstSevenParamter::xyh2blh_gauss(centre, kA, kWgs84B, 6);
    QVERIFY(std::fabs(centreBack.x - 117.0) < 1e-12);
    QCOMPARE(centreBack.y, 0.0);

    const struct
    {
        const char* ellps;
        double b;
    } ellipsoids[] = {{"WGS84", kWgs84B}, {"GRS80", kGrs80B}};
    double worstPlane = 0, worstAngle = 0;
    for (const auto& e : ellipsoids) {
        for (int zone : {1, 20, 21, 30, 45, 60}) {
            const int meridian = 6 * zone - 3;
            const QByteArray gk = QString::asprintf("+proj=tmerc +lat_0=0 +lon_0=%d +k=1 +x_0=%d +y_0=0 +ellps=%s "
                                                    "+units=m +type=crs",
                                                    meridian, zone * 1000000 + 500000, e.ellps)
                                      .toLatin1();
            const QByteArray geographic = QByteArray("+proj=longlat +type=crs +ellps=") + e.ellps;
            const ProjOperation forward(geographic.constData(), gk.constData());
            QVERIFY(forward.isValid());
            // The whole zone, its western edge included, over the latitudes in use.
            for (double dl = -3.0; dl < 3.0; dl += 0.25) {
                for (double lat = -80.0; lat <= 84.0; lat += 2.0) {
                    const PointZ__ blh(meridian + dl, lat, 50.0);
                    const PointZ__ ref = forward(blh);
                    const PointZ__ xyh = kstSevenParamter::blh2xyh_gauss(blh, kA, e.b, 6);
                    worstPlane = std::max(worstPlane, std::hypot(xyh.x - ref.x, xyh.y - ref.y));
                    QCOMPARE(xyh.z, 50.0);

                    const PointZ__ back = kstSevenParamter::xyh2blh_gauss(xyh, kA, e.b, 6);
                    worstAngle = std::max({worstAngle, std::fabs(back.x - blh.x) * std::cos(lat * M_PI / 180),
                                           std::fabs(back.y - blh.y)});
                    QCOMPARE(back.z, 50.0);
                }
            }
        }
    }
    // The e^6 meridian-arc series dominates both figures, near latitude 70.
    qInfo("Gauss-Krueger vs PROJ tmerc: %.3g mm; round trip: %.3g deg (%.3g mm)", worstPlane * 1e3, worstAngle,
          worstAngle * 111319.49 * 1e3);
    QVERIFY(worstPlane < 1e-3);
    QVERIFY(worstAngle < 1e-8); // about 1 mm on the ground
}

QTEST_GUILESS_MAIN(tst_kstSevenParamter)
#include "tst_kstSevenParamter.moc"
