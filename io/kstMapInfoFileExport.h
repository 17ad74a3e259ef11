#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// What the MapInfo exporters share, in either of the driver's two formats:
// the driver numbers the features; lines and areas carry their styles
// directly, in colours without alpha, with the MapInfo patterns named beside
// the OGR ids; points carry none.
class KSTVECTOR_EXPORT kstMapInfoFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    // Stops a running export while this exporter's steps still exist.
    ~kstMapInfoFileExport() override { stopExport(); }

protected:
    // `format` is the driver's "FORMAT" option: "TAB" or "MIF".
    kstMapInfoFileExport(const QString& format, QObject* parent);

    OGRFeature* getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable* styleTable) override;
    void setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* ogrLayer,
                          OGRStyleTable* styleTable) override;
};

} // namespace Kestrum
