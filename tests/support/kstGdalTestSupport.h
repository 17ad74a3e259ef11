#pragma once

// GDAL handles for the tests that write and read GIS files.

#include <QString>

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <memory>

namespace Kestrum {

struct GdalCloser
{
    void operator()(GDALDataset* d) const { GDALClose(d); }
    void operator()(OGRFeature* f) const { OGRFeature::DestroyFeature(f); }
    void operator()(OGRCoordinateTransformation* ct) const { OGRCoordinateTransformation::DestroyCT(ct); }
};
using DatasetPtr = std::unique_ptr<GDALDataset, GdalCloser>;
using FeaturePtr = std::unique_ptr<OGRFeature, GdalCloser>;

// A reference system from anything GDAL reads (EPSG code, WKT, name), longitude first.
inline OGRSpatialReference srsOf(const char* definition)
{
    OGRSpatialReference srs;
    srs.SetFromUserInput(definition);
    srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return srs;
}

inline DatasetPtr openVector(const QString& path)
{
    return DatasetPtr(
        GDALDataset::FromHandle(GDALOpenEx(path.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr)));
}

inline DatasetPtr createVector(const char* driver, const QString& path)
{
    return DatasetPtr(GetGDALDriverManager()->GetDriverByName(driver)->Create(path.toUtf8().constData(), 0, 0, 0,
                                                                             GDT_Unknown, nullptr));
}

} // namespace Kestrum
