#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// MapInfo MIF/MID: the driver numbers the features; lines and areas carry
// their styles directly, in colours without alpha, with the MapInfo
// patterns named beside the OGR ids; points carry none.
class KSTVECTOR_EXPORT MIFFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit MIFFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~MIFFileExport() override { stopExport(); }

protected:
    OGRFeature* getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable* styleTable) override;
    void setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* ogrLayer,
                          OGRStyleTable* styleTable) override;
};

} // namespace Kestrum
