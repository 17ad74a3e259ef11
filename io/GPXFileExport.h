#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// GPX: points become waypoints, lines routes and multi-lines tracks; other
// attributes travel as extensions. Areas cannot be written. No styles.
class KSTVECTOR_EXPORT GPXFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit GPXFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~GPXFileExport() override { stopExport(); }

protected:
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
