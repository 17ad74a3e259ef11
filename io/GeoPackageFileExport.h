#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// GeoPackage, one table per layer. No styles.
class KSTVECTOR_EXPORT GeoPackageFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit GeoPackageFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~GeoPackageFileExport() override { stopExport(); }

protected:
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
