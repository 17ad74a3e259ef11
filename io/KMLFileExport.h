#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// KML through libkml, with the feature styles in each layer's style table.
class KSTVECTOR_EXPORT KMLFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit KMLFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~KMLFileExport() override { stopExport(); }
};

} // namespace Kestrum
