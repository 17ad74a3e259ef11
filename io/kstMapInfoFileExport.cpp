#include "kstMapInfoFileExport.h"

#include "kstMapInfoStyle.h"
#include "kstVectorShape.h"

namespace Kestrum {

kstMapInfoFileExport::kstMapInfoFileExport(const QString& format, QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("Mapinfo File");
    m_dataSourceCreateOption.insert(QStringLiteral("FORMAT"), format);
    m_dataSourceCreateOption.insert(QStringLiteral("SPATIAL_INDEX_MODE"), QStringLiteral("OPTIMIZED"));
    m_pointSymbols = false;
}

OGRFeature* kstMapInfoFileExport::getFeature(kstVectorCollect* collect, OGRFeatureDefn* definition, OGRStyleTable*)
{
    return newFeature(collect, definition, false);
}

void kstMapInfoFileExport::setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer*,
                                            OGRStyleTable*)
{
    if (setDirectStyle(collect, feature, kstVectorShape::Color_RGB))
        kstMapInfoStyle::addMapInfoIds(feature);
}

} // namespace Kestrum
