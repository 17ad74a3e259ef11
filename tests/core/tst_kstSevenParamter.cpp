#include "kstSevenParamter.h"

#include <QRandomGenerator>
#include <QtTest>

#include <ogr_spatialref.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <tuple>

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
    ProjOperation(const QByteArray& source, const QByteArray& target)
    {
        OGRSpatialReference src, dst;
        src.SetFromUserInput(source.constData());
        dst.SetFromUserInput(target.constData());
        src.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        dst.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        m_ct.reset(OGRCreateCoordinateTransformation(&src, &dst));
    }
    bool isValid() const { return m_ct != nullptr; }
    PointZ__ operator()(PointZ__ p) const
    {
        return m_ct->Transform(1, &p.x, &p.y, &p.z) ? p : PointZ__(qQNaN(), qQNaN(), qQNaN());
    }

private:
    std::unique_ptr<OGRCoordinateTransformation, void (*)(OGRCoordinateTransformation*)> m_ct{
        nullptr, OGRCoordinateTransformation::DestroyCT};
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
    std::tie(p.rx, p.ry, p.rz, p.scale) = std::make_tuple(3e-6, -2e-6, 4.5e-6, 1.0 + 5e-6);
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
    void recordStreamAndBadInput();
    void fitRecoversKnownParameters();
    void conversionsAgainstProj();
};

void tst_kstSevenParamter::recordStreamAndBadInput()
{
    // A record made from a translation alone has no rotation and unit scale.
    const PointZ__ p(-2148744.5, 4426641.25, 4044655.75);
    QCOMPARE(kstSevenParamter::deviation(kstSevenParamter(SevenParamter__(-200.5, 310.25, 7.125)).transform(p),
                                         PointZ__(p.x - 200.5, p.y + 310.25, p.z + 7.125)),
             0.0);

    // Seven doubles in declaration order.
    const SevenParamter__ known = knownParameters();
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly), in(&bytes, QIODevice::ReadOnly);
    out << known;
    QCOMPARE(bytes.size(), 56);
    QList<double> fields;
    for (double d = 0; fields.size() < 7; fields << d)
        in >> d;
    QCOMPARE(fields, QList<double>({known.dx, known.dy, known.dz, known.rx, known.ry, known.rz, known.scale}));

    // Bad input logs and leaves parameters, mean error and residuals alone.
    kstSevenParamter fit(known);
    fit.setMiddleError(0.5);
    fit.setResiduals({PointZ__(0.1, 0.2, 0.3)});
    const PointZ__ a(1, 2, 3), b(4, 5, 6), c(7, 8, 10);

    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::backCalc:src points size < 3!");
    fit.backCalc({a, b}, {a, b});
    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::backCalc:src points size != dest points size!");
    fit.backCalc({a, b, c}, {a, b, c, a});
    QVERIFY(fit.sevenParamter().dx == known.dx && fit.sevenParamter().rz == known.rz
            && fit.sevenParamter().scale == known.scale);
    QCOMPARE(fit.middleError(), 0.5);
    QVERIFY(fit.residuals().size() == 1 && fit.residuals().first().z == 0.3);

    QTest::ignoreMessage(QtDebugMsg, "kstSevenParamter::transform:no point need transform!");
    QVERIFY(fit.transform(QList<PointZ__>()).isEmpty());

    // Coincident points fix neither rotations nor scale; the fit must still
    // come back, one residual per pair.
    fit.backCalc(repeated(4, PointZ__()), repeated(4, a));
    QCOMPARE(fit.residuals().size(), 4);
    QVERIFY(!std::isfinite(fit.sevenParamter().scale) || !std::isfinite(fit.sevenParamter().rx));

    // A longer list has no counterpart for its tail.
    QCOMPARE(kstSevenParamter::deviations({a, b}, {PointZ__(3, 5, 9), PointZ__(4, 5, 7), c}), QList<double>({7.0, 1.0}));
}

void tst_kstSevenParamter::fitRecoversKnownParameters()
{
    const SevenParamter__ truth = knownParameters();
    const ProjOperation forward(helmert(truth));
    QVERIFY(forward.isValid());
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
        for (const PointZ__& d : src)
            dest << forward(PointZ__(d.x + c.sigma * noise(rng), d.y + c.sigma * noise(rng), d.z + c.sigma * noise(rng)));
        kstSevenParamter fit;
        fit.backCalc(src, dest);
        const SevenParamter__ p = fit.sevenParamter();
        const double dt = maxAbs(p.dx - truth.dx, p.dy - truth.dy, p.dz - truth.dz);
        const double dr = maxAbs(p.rx - truth.rx, p.ry - truth.ry, p.rz - truth.rz);
        qInfo("%d pairs, sigma %g m: translation error %.3g m, rotation error %.3g rad, scale error %.3g ppm, "
              "mean error %.4g m",
              c.n, c.sigma, dt, dr, std::fabs(p.ppm() - truth.ppm()), fit.middleError());
        QVERIFY(dt < c.translation && dr < c.rotation && std::fabs(p.ppm() - truth.ppm()) < c.ppm);

        // Residuals are computed minus observed and, the translation being
        // free, sum to zero; the mean error divides by 3n - 7. Transforming
        // the list keeps its order, with the coordinate-frame signs of the
        // rotations that PROJ uses.
        const QList<PointZ__> mapped = fit.transform(src);
        QVERIFY(mapped.size() == c.n && fit.residuals().size() == c.n);
        double vv = 0;
        PointZ__ sum;
        for (int i = 0; i < c.n; ++i) {
            const PointZ__ v(mapped[i].x - dest[i].x, mapped[i].y - dest[i].y, mapped[i].z - dest[i].z);
            QVERIFY(kstSevenParamter::deviation(v, fit.residuals()[i]) < 1e-6);
            vv += v.x * v.x + v.y * v.y + v.z * v.z;
            sum = PointZ__(sum.x + v.x, sum.y + v.y, sum.z + v.z);
        }
        QVERIFY(maxAbs(sum.x, sum.y, sum.z) < 1e-5);
        QVERIFY(std::fabs(fit.middleError() - std::sqrt(vv / (3 * c.n - 7))) < 1e-8);
        QVERIFY(fit.middleError() <= 1.3 * c.sigma + 1e-6 && fit.middleError() >= 0.7 * c.sigma);
    }
}

void tst_kstSevenParamter::conversionsAgainstProj()
{
    // The equator at Greenwich lies on the X axis at the semi-major axis.
    QCOMPARE(kstSevenParamter::deviation(kstSevenParamter::blh2xyz(PointZ__(0, 0, 0), kA, kWgs84B), PointZ__(kA, 0, 0)),
             0.0);

    double worstXyz = 0, worstLat = 0, worstLon = 0, worstH = 0, worstPlane = 0, worstAngle = 0;
    for (const auto& [ellps, b] : {std::make_pair("WGS84", kWgs84B), std::make_pair("GRS80", kGrs80B)}) {
        const QByteArray geographic = QByteArray("+proj=longlat +type=crs +ellps=") + ellps;
        const ProjOperation toXyz(geographic, QByteArray("+proj=geocent +type=crs +ellps=") + ellps);
        QVERIFY(toXyz.isValid());
        for (double lon = -180.0; lon < 180.0; lon += 7.5) {
            for (double lat = -88.0; lat <= 88.0; lat += 4.0) {
                for (double h : {-400.0, 0.0, 1234.5, 9000.0}) {
                    const PointZ__ ref = toXyz(PointZ__(lon, lat, h)), back = kstSevenParamter::xyz2blh(ref, kA, b);
                    const PointZ__ xyz = kstSevenParamter::blh2xyz(PointZ__(lon, lat, h), kA, b);
                    worstXyz = std::max(worstXyz, kstSevenParamter::deviation(xyz, ref));
                    // The iteration stops within 1e-10 rad of the latitude;
                    // the height, from Z / sin B, is undefined on the equator.
                    // The longitude (90..270) is the geodetic one for X < 0
                    // and a half turn off elsewhere.
                    worstLat = std::max(worstLat, std::fabs(back.y - lat));
                    if (lat != 0.0)
                        worstH = std::max(worstH, std::fabs(back.z - h));
                    const double lonExpected = ref.x < 0 ? lon : lon + 180.0;
                    worstLon = std::max(worstLon, std::fabs(std::remainder(back.x - lonExpected, 360.0)));
                    QVERIFY(back.x > 90.0 - 1e-9 && back.x < 270.0 + 1e-9);
                }
            }
        }
        // Six-degree Gauss-Krueger zones with the zone number before the
        // false easting: whole zones, western edges included, over the
        // latitudes in use.
        for (int zone : {1, 20, 21, 30, 45, 60}) {
            const ProjOperation toGk(geographic, QString::asprintf("+proj=tmerc +lat_0=0 +lon_0=%d +k=1 +x_0=%d +y_0=0 "
                                                                   "+units=m +type=crs +ellps=%s",
                                                                   6 * zone - 3, zone * 1000000 + 500000, ellps)
                                                     .toLatin1());
            QVERIFY(toGk.isValid());
            for (double dl = -3.0; dl < 3.0; dl += 0.25) {
                for (double lat = -80.0; lat <= 84.0; lat += 2.0) {
                    const PointZ__ blh(6 * zone - 3 + dl, lat, 50.0), ref = toGk(blh);
                    const PointZ__ xyh = kstSevenParamter::blh2xyh_gauss(blh, kA, b, 6);
                    const PointZ__ back = kstSevenParamter::xyh2blh_gauss(xyh, kA, b, 6);
                    worstPlane = std::max(worstPlane, std::hypot(xyh.x - ref.x, xyh.y - ref.y));
                    worstAngle = std::max({worstAngle, std::fabs(back.x - blh.x) * std::cos(lat * M_PI / 180),
                                           std::fabs(back.y - blh.y)});
                    QVERIFY(xyh.z == 50.0 && back.z == 50.0);
                }
            }
        }
    }
    qInfo("blh2xyz vs PROJ: %.3g m; xyz2blh vs PROJ: latitude %.3g deg, longitude %.3g deg, height %.3g m",
          worstXyz, worstLat, worstLon, worstH);
    // The e^6 meridian-arc series dominates both figures, near latitude 70.
    qInfo("Gauss-Krueger vs PROJ tmerc: %.3g mm; round trip: %.3g deg (%.3g mm)", worstPlane * 1e3, worstAngle,
          worstAngle * 111319.49 * 1e3);
    QVERIFY(worstXyz < 1e-4 && worstLat < 1e-10 * 180.0 / M_PI && worstLon < 1e-9 && worstH < 1e-3);
    QVERIFY(worstPlane < 1e-3);
    QVERIFY(worstAngle < 1e-8); // about 1 mm on the ground
}

QTEST_GUILESS_MAIN(tst_kstSevenParamter)
#include "tst_kstSevenParamter.moc"
