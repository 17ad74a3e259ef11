#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// GeoPackage, one table per layer. No styles.
class KSTVECTOR_EXPORT GeoPackageFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit GeoPackageFileExport(QObject* parent = nullptr);

protected:
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
