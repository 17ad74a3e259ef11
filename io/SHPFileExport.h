#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// ESRI shapefiles: one .shp per layer with a .cpg file naming the character set of its text. No styles.
class KSTVECTOR_EXPORT SHPFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit SHPFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~SHPFileExport() override { stopExport(); }

protected:
    OGRLayer* getLayer(kstVectorLayer* layer) override;
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
