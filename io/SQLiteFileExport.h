#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// SpatiaLite database, one table per layer. No styles.
class KSTVECTOR_EXPORT SQLiteFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit SQLiteFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~SQLiteFileExport() override { stopExport(); }

protected:
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
