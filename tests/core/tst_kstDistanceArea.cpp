#include "kstDistanceArea.h"

#include <GeographicLib/Ellipsoid.hpp>
#include <GeographicLib/Geodesic.hpp>

#include <ogr_geometry.h>

#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace Kestrum;
using GeographicLib::Geodesic;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDeg = kPi / 180.0;

// A point drawn uniformly over the sphere.
QPointF randomPoint(QRandomGenerator& rng)
{
    const double lat = std::asin(rng.bounded(2.0) - 1.0) / kDeg;
    return QPointF(rng.bounded(360.0) - 180.0, lat);
}

// Area enclosed by a ring whose edges run straight in longitude and latitude:
// the sum over the edges of the zone area between edge and equator, integrated
// along the edge (Simpson) from GeographicLib's authalic latitude. The smaller
// of the two sides of the ring.
double straightEdgeArea(const QPolygonF& ring)
{
    const GeographicLib::Ellipsoid& e = GeographicLib::Ellipsoid::WGS84();
    const auto zone = [&](double lat) { return e.Area() / (4 * kPi) * std::sin(e.AuthalicLatitude(lat) * kDeg); };
    const int steps = 64;
    double sum = 0.0;
    for (int i = 0; i < ring.size(); ++i) {
        const QPointF p = ring[i], q = ring[(i + 1) % ring.size()];
        double simpson = zone(p.y()) + zone(q.y());
        for (int k = 1; k < steps; ++k)
            simpson += (k % 2 ? 4 : 2) * zone(p.y() + (q.y() - p.y()) * k / steps);
        sum += std::remainder(q.x() - p.x(), 360.0) * kDeg * simpson / (3 * steps);
    }
    return std::min(std::abs(sum), e.Area() - std::abs(sum));
}

bool near(double value, double reference, double relative)
{
    return std::abs(value / reference - 1) < relative;
}

// Counter-clockwise rectangle ring with a vertex every `step` degrees along the parallels.
QPolygonF rectangleRing(double lon1, double lon2, double lat1, double lat2, double step)
{
    QPolygonF ring;
    const int n = qCeil((lon2 - lon1) / step);
    for (int i = 0; i <= n; ++i)
        ring << QPointF(lon1 + (lon2 - lon1) * i / n, lat1);
    for (int i = n; i >= 0; --i)
        ring << QPointF(lon1 + (lon2 - lon1) * i / n, lat2);
    return ring;
}

double geodesicLength(const QVector<QPointF>& points)
{
    double sum = 0.0;
    for (int i = 0; i + 1 < points.size(); ++i) {
        double s12 = 0.0;
        Geodesic::WGS84().Inverse(points[i].y(), points[i].x(), points[i + 1].y(), points[i + 1].x(), s12);
        sum += s12;
    }
    return sum;
}

QPolygonF ring(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

QPolygonF closed(const QPolygonF& ring)
{
    return QPolygonF(ring) << ring.first();
}

std::unique_ptr<OGRGeometry> fromWkt(const char* wkt)
{
    OGRGeometry* geometry = nullptr;
    OGRGeometryFactory::createFromWkt(wkt, nullptr, &geometry);
    return std::unique_ptr<OGRGeometry>(geometry);
}

} // namespace

class tst_kstDistanceArea : public QObject
{
    Q_OBJECT

private slots:
    void geodesicsMatchGeographicLib();
    void ringAreasAndPerimeters();
    void ogrGeometriesAndDegenerateInput();
    void displayStrings();

private:
    kstDistanceArea m_da;
};

void tst_kstDistanceArea::geodesicsMatchGeographicLib()
{
    QRandomGenerator rng(20240611);
    double maxDistance = 0.0, maxAzimuth = 0.0;
    int compared = 0;
    for (int i = 0; i < 4000; ++i) {
        const QPointF p1 = randomPoint(rng);
        // A third of the pairs are short (up to ~1 km), the rest anywhere.
        const QPointF p2 = i % 3 ? randomPoint(rng)
                                 : p1 + QPointF(rng.bounded(0.02) - 0.01, rng.bounded(0.02) - 0.01);
        double s12, azi1, azi2;
        Geodesic::WGS84().Inverse(p1.y(), p1.x(), p2.y(), p2.x(), s12, azi1, azi2);
        if (s12 > 19.9e6) // nearly antipodal: no convergence is an accepted outcome
            continue;
        double course1 = 0.0, course2 = 0.0;
        const double s = m_da.distance(p1, p2, &course1, &course2);
        QVERIFY2(s >= 0.0, qPrintable(QString("no convergence at %1,%2 %3,%4")
                                      .arg(p1.x()).arg(p1.y()).arg(p2.x()).arg(p2.y())));
        maxDistance = qMax(maxDistance, std::abs(s - s12));
        maxAzimuth = std::max({ maxAzimuth, std::abs(std::remainder(course1 - azi1 * kDeg, 2 * kPi)),
                                std::abs(std::remainder(course2 - azi2 * kDeg - kPi, 2 * kPi)) });
        ++compared;
    }
    qInfo("inverse: %d pairs, max |ds| = %.3g m, max |dazimuth| = %.3g rad", compared, maxDistance, maxAzimuth);
    QVERIFY(compared > 3900);
    QVERIFY(maxDistance < 2e-4); // Vincenty's series truncation is about 0.1 mm
    QVERIFY(maxAzimuth < 1e-9);

    // Same point within 1e-10 degrees: zero, azimuths untouched.
    double c1 = 42.0, c2 = 42.0;
    QCOMPARE(m_da.distance(QPointF(10, 20), QPointF(10 + 5e-11, 20), &c1, &c2), 0.0);
    QVERIFY(c1 == 42.0 && c2 == 42.0);

    // Nearly antipodal: either -1 or a plausible length, and it returns.
    const double far = m_da.distance(QPointF(0, 0), QPointF(179.7, 0.3), nullptr, nullptr);
    QVERIFY(far == -1.0 || (far > 19.9e6 && far < 20.1e6));

    // A sphere (f = 0, inverse flattening +inf), also through a copy: its
    // distances, and areas from its own zones.
    const double R = 6371000.0;
    const kstDistanceArea sphere(R, R), copy = sphere;
    double s12 = 0.0;
    Geodesic(R, 0.0).Inverse(10, 0, -35, 70, s12);
    QVERIFY(std::isinf(copy.invFlattening()));
    QVERIFY(std::abs(copy.distance(QPointF(0, 10), QPointF(70, -35), nullptr, nullptr) - s12) < 1e-6);
    QVERIFY(near(copy.ellipsoidArea(), 4 * kPi * R * R, 1e-14));
    QVERIFY(near(copy.area(ring({ QPointF(0, 0), QPointF(1, 0), QPointF(1, 1), QPointF(0, 1) })),
                 R * R * kDeg * std::sin(kDeg), 1e-12));

    rng.seed(7);
    double maxError = 0.0;
    for (int i = 0; i < 3000; ++i) {
        const QPointF p1(rng.bounded(360.0) - 180.0, rng.bounded(170.0) - 85.0);
        const double azimuth = rng.bounded(4.0 * kPi) - 2.0 * kPi;
        const double s = rng.bounded(15e6);
        double lat2, lon2;
        Geodesic::WGS84().Direct(p1.y(), p1.x(), azimuth / kDeg, s, lat2, lon2);
        const QPointF p2 = m_da.location(p1, s, azimuth);
        const QPointF reference(p2.x() - std::remainder(p2.x() - lon2, 360.0), lat2);
        maxError = qMax(maxError, m_da.distance(p2, reference, nullptr, nullptr));
    }
    qInfo("direct: max position error = %.3g m", maxError);
    QVERIFY(maxError < 2e-4);

    // Start points off the Web Mercator range give (0, 0).
    QCOMPARE(m_da.location(QPointF(10, 86), 1000, 0), QPointF(0, 0));
    QCOMPARE(m_da.location(QPointF(181, 0), 1000, 0), QPointF(0, 0));
}

void tst_kstDistanceArea::ringAreasAndPerimeters()
{
    QVERIFY(std::abs(m_da.ellipsoidArea() - 510065621153775.3) < 0.5);
    QVERIFY(std::abs(m_da.ellipsoidArea() / GeographicLib::Ellipsoid::WGS84().Area() - 1) < 1e-8);
    const QPolygonF square = ring({ QPointF(0, 0), QPointF(1, 0), QPointF(1, 1), QPointF(0, 1) });
    QVERIFY(std::abs(m_da.area(square) - 12308463893.975) < 1e-3);

    // Slanted edges at high latitude (the series stops at e⁶; the e⁸ term is a
    // few parts in 10⁹ at 60°); edges so nearly level that a difference
    // quotient in latitude would cancel away; a ring across the antimeridian;
    // a ring enclosing more than half the ellipsoid, which measures the other side.
    const QPolygonF slanted = ring({ QPointF(10, 60), QPointF(14, 61), QPointF(13, 65), QPointF(9, 63) });
    const QPolygonF band = rectangleRing(-100, 100, -80, 80, 10);
    for (const auto& [r, tolerance] : std::initializer_list<std::pair<QPolygonF, double>>{
             { slanted, 1e-8 },
             { ring({ QPointF(0, 40), QPointF(1, 40 + 1e-7), QPointF(1, 41), QPointF(0, 41 - 1e-7) }), 1e-9 },
             { ring({ QPointF(179, 10), QPointF(-179, 10), QPointF(-178, 12), QPointF(178, 12) }), 1e-9 }, { band, 1e-8 } })
        QVERIFY2(near(m_da.area(r), straightEdgeArea(r), tolerance), qPrintable(QString::number(r.first().y())));
    QVERIFY(m_da.area(band) < m_da.ellipsoidArea() / 2);

    // Orientation and the closing point do not matter.
    QCOMPARE(m_da.area(QPolygonF(QVector<QPointF>(slanted.rbegin(), slanted.rend()))), m_da.area(slanted));
    QCOMPARE(m_da.area(closed(slanted)), m_da.area(slanted));

    // A hole is subtracted from the area and added to the perimeter.
    const Polygon__ withHole{ rectangleRing(0, 2, 0, 2, 1), { rectangleRing(0.5, 1.5, 0.5, 1.5, 1) } };
    QVERIFY(near(m_da.area(withHole), straightEdgeArea(withHole.outer) - straightEdgeArea(withHole.inner[0]), 1e-9));
    QVERIFY(std::abs(m_da.perimeter(withHole) - geodesicLength(closed(withHole.outer))
                     - geodesicLength(closed(withHole.inner[0]))) < 1e-4);

    QCOMPARE(m_da.areaFlat({ QPointF(0, 0), QPointF(0, 2), QPointF(3, 2), QPointF(3, 0) }), 6.0);

    // A point list is a path; a ring closes.
    const QPolygonF triangle = ring({ QPointF(10, 50), QPointF(12, 51), QPointF(11, 53) });
    QVERIFY(std::abs(m_da.perimeter(static_cast<const QVector<QPointF>&>(triangle)) - geodesicLength(triangle)) < 1e-4);
    QVERIFY(std::abs(m_da.perimeter(triangle) - geodesicLength(closed(triangle))) < 1e-4);
    QCOMPARE(m_da.perimeter(closed(triangle)), m_da.perimeter(triangle));

    // The planar segment: its length and Qt angle (counter-clockwise with y pointing down).
    double angle1 = 0.0, angle2 = 0.0;
    QCOMPARE(m_da.distanceFlat(QPointF(0, 0), QPointF(3, -4), &angle1, &angle2), 5.0);
    QVERIFY(std::abs(angle1 - std::atan2(4.0, 3.0)) < 1e-12 && std::abs(angle2 - (kPi - std::atan2(4.0, 3.0))) < 1e-12);
}

void tst_kstDistanceArea::ogrGeometriesAndDegenerateInput()
{
    const auto polygon = fromWkt("POLYGON ((0 0,2 0,2 2,0 2,0 0),(0.5 0.5,0.5 1.5,1.5 1.5,1.5 0.5,0.5 0.5))");
    const Polygon__ record{ rectangleRing(0, 2, 0, 2, 2), { rectangleRing(0.5, 1.5, 0.5, 1.5, 1) } };
    const double area = m_da.area(record), perimeter = m_da.perimeter(record);

    // An OGR polygon measures like the same record, and so do its Z, M and ZM variants; a curve polygon is not measured.
    for (int zm = 0; zm < 4; ++zm) {
        const std::unique_ptr<OGRGeometry> g(polygon->clone());
        g->set3D(zm & 1);
        g->setMeasured(zm & 2);
        QVERIFY(std::abs(m_da.area(g.get()) - area) < 1e-3 && std::abs(m_da.perimeter(g.get()) - perimeter) < 1e-6);
    }
    QCOMPARE(m_da.area(fromWkt("CURVEPOLYGON ((0 0,2 0,2 2,0 2,0 0))").get()), 0.0);

    // Collections sum their members; lines have length but no area.
    const auto collection = fromWkt("GEOMETRYCOLLECTION (MULTIPOLYGON (((0 0,1 0,1 1,0 1,0 0)),((5 5,6 5,6 6,5 6,5 5))),"
                                    "LINESTRING (10 50,12 51,11 53),POINT (3 3),MULTILINESTRING ((0 0,1 1),(2 2)))");
    const double expectedArea = m_da.area(rectangleRing(0, 1, 0, 1, 1)) + m_da.area(rectangleRing(5, 6, 5, 6, 1));
    QVERIFY(std::abs(m_da.area(collection.get()) - expectedArea) < 1e-3);
    const double lines = geodesicLength({ QPointF(10, 50), QPointF(12, 51), QPointF(11, 53) })
                         + geodesicLength({ QPointF(0, 0), QPointF(1, 1) });
    const double rings = geodesicLength(closed(rectangleRing(0, 1, 0, 1, 1)))
                         + geodesicLength(closed(rectangleRing(5, 6, 5, 6, 1)));
    QVERIFY(std::abs(m_da.perimeter(collection.get()) - lines - rings) < 1e-3);

    // A linear ring is closed in place before it is measured.
    const auto openRing = fromWkt("POLYGON ((0 0,1 0,1 1))");
    OGRLinearRing* linear = openRing->toPolygon()->getExteriorRing();
    QCOMPARE(linear->getNumPoints(), 3);
    const double triangle = m_da.perimeter(linear);
    QCOMPARE(linear->getNumPoints(), 4);
    QVERIFY(std::abs(triangle - geodesicLength({ QPointF(0, 0), QPointF(1, 0), QPointF(1, 1), QPointF(0, 0) })) < 1e-4);

    // Too few points, a ring folded on itself, a hole of two points, missing
    // and empty OGR geometries: all measure nothing.
    const QPointF a(1, 1), b(2, 2), c(1, 2);
    OGRPolygon empty;
    const QVector<double> measures{
        m_da.area(QVector<QPointF>()), m_da.area(ring({ a, b })), m_da.area(ring({ a, b, a })), m_da.area(Polygon__()),
        m_da.areaFlat(QVector<QPointF>()), m_da.perimeter(QVector<QPointF>{ a }), m_da.perimeter(ring({ a, b })),
        m_da.perimeter(Polygon__{ ring({ a, b, c }), { ring({ a, b }) } }) - m_da.perimeter(ring({ a, b, c })),
        m_da.area(static_cast<OGRGeometry*>(nullptr)), m_da.area(static_cast<OGRLinearRing*>(nullptr)),
        m_da.area(static_cast<OGRPolygon*>(nullptr)), m_da.area(static_cast<OGRMultiPolygon*>(nullptr)),
        m_da.perimeter(static_cast<OGRGeometry*>(nullptr)), m_da.perimeter(static_cast<OGRLineString*>(nullptr)),
        m_da.perimeter(static_cast<OGRLinearRing*>(nullptr)), m_da.perimeter(static_cast<OGRPolygon*>(nullptr)),
        m_da.perimeter(static_cast<OGRMultiPolygon*>(nullptr)), m_da.perimeter(static_cast<OGRMultiLineString*>(nullptr)),
        m_da.area(&empty), m_da.perimeter(&empty), m_da.area(fromWkt("POLYGON ((0 0,1 1,0 0))").get()),
        m_da.perimeter(fromWkt("LINESTRING EMPTY").get()) };
    QCOMPARE(measures, QVector<double>(measures.size(), 0.0));
}

void tst_kstDistanceArea::displayStrings()
{
    // Units switch at 10000 m² and 1000 m, in words or in symbols.
    QCOMPARE(kstDistanceArea::areaString(9999.99, true), QStringLiteral("9999.99平方米"));
    QCOMPARE(kstDistanceArea::areaString(10000, true), QStringLiteral("0.0100平方公里"));
    QCOMPARE(kstDistanceArea::areaString(2500000, false), QStringLiteral("2.5000k㎡"));
    QCOMPARE(kstDistanceArea::lengthString(999.5, false), QStringLiteral("999.50m"));
    QCOMPARE(kstDistanceArea::lengthString(1000, true), QStringLiteral("1.000 公里"));
    QCOMPARE(kstDistanceArea::degreeString(-kPi / 2, false), QStringLiteral("-90.000°"));
}

QTEST_GUILESS_MAIN(tst_kstDistanceArea)
#include "tst_kstDistanceArea.moc"
