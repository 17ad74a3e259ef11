#pragma once

// What the benchmarks share: timing, process memory, the GDAL handles and
// ogr2ogr as a baseline, and the random features they measure on.

#include "VectorLine.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>

namespace Kestrum {
namespace Bench {

// Benchmarks run without a display unless told otherwise; call before the application object.
inline void offscreenByDefault()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

inline double secondsFor(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return timer.nsecsElapsed() * 1e-9;
}

inline double msFor(const std::function<void()>& work) { return secondsFor(work) * 1e3; }

// Best of `runs`; `run` returns false on failure (then -1), `after` runs untimed.
inline double bestSeconds(int runs, const std::function<bool()>& run, const std::function<void()>& after = {})
{
    double best = -1.0;
    for (int i = 0; i < runs; ++i) {
        bool ok = false;
        const double seconds = secondsFor([&] { ok = run(); });
        if (after)
            after();
        if (!ok)
            return -1.0;
        best = best < 0 ? seconds : std::min(best, seconds);
    }
    return best;
}

// A figure of /proc/self/status in kB ("VmRSS", "VmHWM").
inline qint64 statusKb(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(int(qstrlen(key)) + 1).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

// Registers GDAL's drivers and checks the scratch folder of a run (false,
// with a message, when there is none).
inline bool gdalScratch(const QTemporaryDir& dir)
{
    GDALAllRegister();
    if (dir.isValid())
        return true;
    std::fprintf(stderr, "no temporary directory\n");
    return false;
}

// WGS84 with longitude first, as the layers hold it.
inline void setWgs84(OGRSpatialReference& srs)
{
    srs.SetWellKnownGeogCS("WGS84");
    srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
}

struct DatasetCloser
{
    void operator()(GDALDataset* dataset) const { GDALClose(GDALDataset::ToHandle(dataset)); }
};
using DatasetPtr = std::unique_ptr<GDALDataset, DatasetCloser>;
using FeaturePtr = std::unique_ptr<OGRFeature, decltype(&OGRFeature::DestroyFeature)>;

inline FeaturePtr newFeature(OGRFeatureDefn* definition)
{
    return FeaturePtr(OGRFeature::CreateFeature(definition), &OGRFeature::DestroyFeature);
}

inline DatasetPtr openVector(const QString& path)
{
    return DatasetPtr(
        GDALDataset::FromHandle(GDALOpenEx(path.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr)));
}

// A new data source of a driver; empty (with a message) when GDAL refuses.
inline DatasetPtr createVector(const char* driver, const QString& path)
{
    GDALDriver* gdalDriver = GetGDALDriverManager()->GetDriverByName(driver);
    DatasetPtr dataset(gdalDriver ? gdalDriver->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr)
                                  : nullptr);
    if (!dataset)
        std::fprintf(stderr, "cannot create %s: %s\n", qPrintable(path), CPLGetLastErrorMsg());
    return dataset;
}

// Wall time of ogr2ogr writing `in` to `out` in a format; negative on failure.
inline double ogr2ogrSeconds(const QString& format, const QStringList& options, const QString& in, const QString& out,
                             int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    process.start(QStringLiteral("ogr2ogr"), QStringList{"-f", format} + options + QStringList{out, in});
    if (!process.waitForStarted(-1) || !process.waitForFinished(timeoutMs)) {
        std::fprintf(stderr, "ogr2ogr did not run: %s\n", qPrintable(process.errorString()));
        process.kill();
        process.waitForFinished(-1);
        return -1.0;
    }
    const double seconds = timer.nsecsElapsed() * 1e-9;
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "ogr2ogr failed with exit code %d\n", process.exitCode());
        return -1.0;
    }
    return seconds;
}

// A random centre in China, in degrees.
inline QPointF parcelCentre(QRandomGenerator& rng)
{
    const double x = 73.0 + rng.bounded(60.0);
    return QPointF(x, 18.0 + rng.bounded(35.0));
}

// An unclosed ring of n points around a centre, anticlockwise (or clockwise).
inline QVector<QPointF> parcelRing(QRandomGenerator& rng, const QPointF& centre, int n, bool clockwise = false)
{
    QVector<QPointF> points;
    points.reserve(n);
    for (int k = 0; k < n; ++k) {
        const double angle = (clockwise ? -2.0 : 2.0) * M_PI * k / n;
        const double radius = 0.01 + rng.bounded(0.005);
        points.append(centre + QPointF(radius * std::cos(angle), radius * std::sin(angle)));
    }
    return points;
}

// Adds a collect holding one shape to a layer.
inline void addShapeCollect(kstVectorLayer* layer, quint64 fid, kstVectorShape* shape)
{
    auto* collect = kstVectorCollect::newCollect();
    collect->m_layer = layer;
    collect->m_fid = fid;
    shape->setShapeCollect(collect, 0);
    collect->m_shapes << shape;
    layer->m_collects.insert(fid, collect);
}

// A layer of `count` lines of `vertices` points each (fids from 1): each
// starts at a random point of origin + spread and walks east by `step`,
// wandering up or down by at most as much.
inline kstVectorLayer* walkingLines(quint32 seed, int count, int vertices, const QPointF& origin, const QSizeF& spread,
                                    double step)
{
    QRandomGenerator rng(seed);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    for (int i = 0; i < count; ++i) {
        const double x = rng.generateDouble() * spread.width();
        QPointF p = origin + QPointF(x, rng.generateDouble() * spread.height());
        QVector<QPointF> points;
        for (int k = 0; k < vertices; ++k)
            points << (p += QPointF(step, rng.generateDouble() * 2 * step - step));
        addShapeCollect(layer, quint64(i + 1), new VectorLine(points, nullptr));
    }
    return layer;
}

} // namespace Bench
} // namespace Kestrum
