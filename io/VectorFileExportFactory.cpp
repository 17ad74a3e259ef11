#include "VectorFileExportFactory.h"

#include "DXFFileExport.h"
#include "GPXFileExport.h"
#include "GeoJSONFileExport.h"
#include "GeoPackageFileExport.h"
#include "KMLFileExport.h"
#include "MIFFileExport.h"
#include "SHPFileExport.h"
#include "SQLiteFileExport.h"
#include "TABFileExport.h"

namespace Kestrum {

kstVectorFileExport* VectorFileExportFactory::create(Export_Type type)
{
    switch (type) {
    case Export_SHP: return new SHPFileExport(nullptr);
    case Export_KML: return new KMLFileExport(nullptr);
    case Export_DXF: return new DXFFileExport(nullptr);
    case Export_GeoJSON: return new GeoJSONFileExport(nullptr);
    case Export_GPX: return new GPXFileExport(nullptr);
    case Export_TAB: return new TABFileExport(nullptr);
    case Export_MIF: return new MIFFileExport(nullptr);
    case Export_SQLite: return new SQLiteFileExport(nullptr);
    case Export_GeoPackage: return new GeoPackageFileExport(nullptr);
    }
    return nullptr;
}

QString VectorFileExportFactory::formatString(Export_Type type)
{
    switch (type) {
    case Export_SHP: return QStringLiteral("Shapefile");
    case Export_KML: return QStringLiteral("KML");
    case Export_DXF: return QStringLiteral("AutoCAD DXF");
    case Export_GeoJSON: return QStringLiteral("GeoJSON");
    case Export_GPX: return QStringLiteral("GPX");
    case Export_TAB: return QStringLiteral("Mapinfo TAB");
    case Export_MIF: return QStringLiteral("Mapinfo MIF");
    case Export_SQLite: return QStringLiteral("SQLite/Spatialite");
    case Export_GeoPackage: return QStringLiteral("GeoPackage");
    }
    return QString();
}

} // namespace Kestrum
