#include "TABFileExport.h"

#include "kstMapInfoStyle.h"
#include "kstVectorShape.h"

namespace Kestrum {

TABFileExport::TABFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("Mapinfo File");
    m_dataSourceCreateOption.insert(QStringLiteral("FORMAT"), QStringLiteral("TAB"));
    m_dataSourceCreateOption.insert(QStringLiteral("SPATIAL_INDEX_MODE"), QStringLiteral("OPTIMIZED"));
    m_pointSymbols = false;
}

OGRFeature* TABFileExport::getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable*)
{
    return newFeature(collect, definition, false);
}

void TABFileExport::setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer*, OGRStyleTable*)
{
    if (setDirectStyle(collect, feature, kstVectorShape::Color_RGB))
        kstMapInfoStyle::addMapInfoIds(feature);
}

} // namespace Kestrum
