#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// SpatiaLite database, one table per layer. No styles.
class KSTVECTOR_EXPORT SQLiteFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit SQLiteFileExport(QObject* parent = nullptr);

protected:
    void setFeatureStyles(kstVectorCollect*, OGRFeature*, OGRLayer*, OGRStyleTable*) override {}
};

} // namespace Kestrum
