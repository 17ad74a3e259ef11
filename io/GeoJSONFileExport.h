#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// GeoJSON: every layer goes into the one layer of the file, named after the file. No styles.
class KSTVECTOR_EXPORT GeoJSONFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit GeoJSONFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~GeoJSONFileExport() override { stopExport(); }

protected:
    OGRLayer* getLayer(kstVectorLayer* layer) override;
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
