#pragma once

#include "kstVectorFileExport.h"

namespace Kestrum {

// AutoCAD DXF: every layer goes into the one OGR layer of the file, the
// layer's name into the field "Layer"; points with a text get a label entity;
// the reference system is written to a .prj file beside the drawing.
class KSTVECTOR_EXPORT DXFFileExport : public kstVectorFileExport
{
    Q_OBJECT

public:
    explicit DXFFileExport(QObject* parent = nullptr);
    // Stops a running export while this exporter's steps still exist.
    ~DXFFileExport() override { stopExport(); }

protected:
    OGRLayer* getLayer(kstVectorLayer* layer) override;
    void setFeatureFields(kstVectorCollect* collect, OGRFeature* feature) override;
    void setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* ogrLayer,
                          OGRStyleTable* styleTable) override;
    void genProjectionFile() override;
};

} // namespace Kestrum
