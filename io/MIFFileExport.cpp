#include "MIFFileExport.h"

#include "kstMapInfoStyle.h"
#include "kstVectorShape.h"

namespace Kestrum {

MIFFileExport::MIFFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("Mapinfo File");
    m_dataSourceCreateOption.insert(QStringLiteral("FORMAT"), QStringLiteral("MIF"));
    m_dataSourceCreateOption.insert(QStringLiteral("SPATIAL_INDEX_MODE"), QStringLiteral("OPTIMIZED"));
    m_pointSymbols = false;
}

OGRFeature* MIFFileExport::getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable*)
{
    return newFeature(collect, definition, false);
}

void MIFFileExport::setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer*, OGRStyleTable*)
{
    if (setDirectStyle(collect, feature, kstVectorShape::Color_RGB))
        kstMapInfoStyle::addMapInfoIds(feature);
}

} // namespace Kestrum
