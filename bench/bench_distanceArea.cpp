// Throughput of kstDistanceArea::distance() and area() against GeographicLib's
// geodesic inverse and polygon area on the same inputs, measured in one run.
#include "kstDistanceArea.h"

#include <GeographicLib/Geodesic.hpp>
#include <GeographicLib/PolygonArea.hpp>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <QElapsedTimer>
#include <QRandomGenerator>

#include <cmath>
#include <cstdio>
#include <functional>

using namespace Kestrum;
using GeographicLib::Geodesic;

namespace {

constexpr int kPairs = 200000;
constexpr int kAreaRounds = 50;

QPointF randomPoint(QRandomGenerator& rng)
{
    const double lat = std::asin(rng.bounded(2.0) - 1.0) * 180.0 / 3.141592653589793;
    return QPointF(rng.bounded(360.0) - 180.0, lat);
}

QVector<QVector<QPointF>> countryRings()
{
    QVector<QVector<QPointF>> rings;
    GDALAllRegister();
    auto* ds = static_cast<GDALDataset*>(GDALOpenEx(KST_SAMPLE_DATA_DIR "/world-countries.geojson",
                                                    GDAL_OF_VECTOR | GDAL_OF_READONLY, nullptr, nullptr, nullptr));
    if (!ds)
        return rings;
    for (auto&& feature : *ds->GetLayer(0)) {
        OGRGeometry* geometry = feature->GetGeometryRef();
        OGRGeometry* first = geometry;
        if (wkbFlatten(geometry->getGeometryType()) == wkbMultiPolygon)
            first = geometry->toMultiPolygon()->getGeometryRef(0);
        const OGRLinearRing* ring = first->toPolygon()->getExteriorRing();
        QVector<QPointF> points;
        for (int i = 0; i < ring->getNumPoints(); ++i)
            points.append(QPointF(ring->getX(i), ring->getY(i)));
        rings.append(points);
    }
    GDALClose(ds);
    return rings;
}

// Runs `body` once and returns operations per second; `sink` keeps the results alive.
double opsPerSecond(qint64 ops, const std::function<double()>& body, double& sink)
{
    QElapsedTimer timer;
    timer.start();
    sink += body();
    return ops / (timer.nsecsElapsed() * 1e-9);
}

void report(const char* what, double ours, double reference)
{
    std::printf("%-34s %12.0f ops/s   GeographicLib %12.0f ops/s   ratio %.2f\n",
                what, ours, reference, ours / reference);
}

} // namespace

int main()
{
    const kstDistanceArea da;
    const Geodesic& geodesic = Geodesic::WGS84();
    double sink = 0.0;

    QRandomGenerator rng(20240611);
    QVector<QPointF> from, to;
    for (int i = 0; i < kPairs; ++i) {
        from.append(randomPoint(rng));
        to.append(randomPoint(rng));
    }

    const double oursDistance = opsPerSecond(kPairs, [&] {
        double sum = 0.0, c1, c2;
        for (int i = 0; i < kPairs; ++i)
            sum += da.distance(from[i], to[i], &c1, &c2) + c1 + c2;
        return sum;
    }, sink);
    const double refDistance = opsPerSecond(kPairs, [&] {
        double sum = 0.0, s12, azi1, azi2;
        for (int i = 0; i < kPairs; ++i) {
            geodesic.Inverse(from[i].y(), from[i].x(), to[i].y(), to[i].x(), s12, azi1, azi2);
            sum += s12 + azi1 + azi2;
        }
        return sum;
    }, sink);
    report("distance + azimuths (pairs)", oursDistance, refDistance);

    const QVector<QVector<QPointF>> rings = countryRings();
    qint64 vertices = 0;
    for (const auto& ring : rings)
        vertices += ring.size();
    const qint64 ringOps = qint64(rings.size()) * kAreaRounds;

    const double oursArea = opsPerSecond(ringOps, [&] {
        double sum = 0.0;
        for (int r = 0; r < kAreaRounds; ++r)
            for (const auto& ring : rings)
                sum += da.area(ring);
        return sum;
    }, sink);
    const double refArea = opsPerSecond(ringOps, [&] {
        double sum = 0.0;
        for (int r = 0; r < kAreaRounds; ++r) {
            for (const auto& ring : rings) {
                GeographicLib::PolygonArea polygon(geodesic);
                for (const QPointF& p : ring)
                    polygon.AddPoint(p.y(), p.x());
                double perimeter, area;
                polygon.Compute(false, true, perimeter, area);
                sum += area;
            }
        }
        return sum;
    }, sink);
    std::printf("%d country rings, %lld vertices\n", rings.size(), static_cast<long long>(vertices));
    report("area (country rings)", oursArea, refArea);

    std::printf("(checksum %g)\n", sink);
    return 0;
}
